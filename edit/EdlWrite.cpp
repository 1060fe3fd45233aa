#include <fmt/format.h>

#include <filesystem>
#include <map>
#include <set>

#include "edit/Edl.h"
#include "edit/Errors.h"
#include "edit/Timecode.h"
#include "edit/Words.h"
#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::edit {
namespace {

constexpr std::size_t kReelLength = 8;

/// The name in a comment: the file's without its folder, on one line.
std::string nameOf(const CutClip& clip) {
    return media::printable(std::filesystem::path(clip.file).filename().string());
}

/// A reel of its own for each file: letters and digits of its name, a number where two would be equal.
class Reels {
  public:
    std::string of(const CutClip& clip) {
        if (clip.file.empty()) return "BL";
        if (const auto known = reels_.find(clip.file); known != reels_.end()) return known->second;
        std::string reel = reelOf(clip.file, kReelLength);
        // These words have a meaning of their own.
        if (reel.empty() || reel == "BL" || reel == "BLACK" || reel == "AX" || reel == "BARS") reel = "CLIP";
        for (int number = 2; taken_.count(reel) != 0; ++number) {
            const std::string digits = std::to_string(number);
            reel = reelOf(clip.file, kReelLength - digits.size()) + digits;
        }
        taken_.insert(reel);
        return reels_[clip.file] = reel;
    }

  private:
    std::map<std::string, std::string> reels_;
    std::set<std::string> taken_;
};

class Writer {
  public:
    explicit Writer(const CutList& list) : list_(list), drop_(dropsFrames(list.rate)) {}

    std::string write() {
        const std::string title = list_.title.empty() ? "EDIT" : media::printable(list_.title);
        text_ = fmt::format("TITLE: {}\nFCM: {}\n", title, drop_ ? "DROP FRAME" : "NON-DROP FRAME");
        record_ = *frameOf({1, 0, 0, 0, false}, list_.rate, drop_);
        for (std::size_t i = 0; i < list_.clips.size(); ++i) writeClip(i);
        if (list_.closing) writeClosing();
        return text_;
    }

  private:
    std::string code(std::int64_t frame) const { return timeCodeOf(frame, list_.rate, drop_); }

    void line(const std::string& reel, const std::string& kind, std::int64_t in, std::int64_t out,
              std::int64_t length) {
        text_ += fmt::format("{:03}  {:<8} V     {:<7} {} {} {} {}\n", event_, reel, kind, code(in),
                             code(out), code(record_), code(record_ + length));
    }

    void comment(const char* what, const std::string& name) {
        text_ += fmt::format("* {}: {}\n", what, name);
    }

    void seamComment(const CutSeam& seam) {
        std::string words = "effect=" + seam.effect;
        if (seam.direction) words += fmt::format(" direction={}", wordFor(directionWords(), *seam.direction));
        if (seam.seed) words += fmt::format(" seed={}", *seam.seed);
        if (seam.sound) words += fmt::format(" audio={}", wordFor(audioWords(), *seam.sound));
        words +=
            seam.halves ? fmt::format(" placement=halves frames={}", seam.frames()) : " placement=overlap";
        text_ += fmt::format("* {} {}\n", kEdlComment, words);
    }

    void rateComment() {
        if (event_ != 1) return;
        text_ += fmt::format("* {} rate={}\n", kEdlComment, rateWords(list_.rate));
    }

    /// The source's own number for a frame.
    static std::int64_t source(const CutClip& clip, std::int64_t frame) {
        return clip.file.empty() || clip.still ? frame : clip.start + frame;
    }

    static std::int64_t reach(const CutSeam* seam, std::int64_t CutSeam::*side) {
        return seam && !seam->halves ? seam->*side : 0;
    }

    const CutSeam* seamBefore(std::size_t i) const {
        return i > 0 && list_.seams[i - 1] ? &*list_.seams[i - 1] : nullptr;
    }

    void writeClip(std::size_t i) {
        const CutClip& clip = list_.clips[i];
        const CutSeam* into = seamBefore(i);
        const CutSeam* next = i < list_.seams.size() && list_.seams[i] ? &*list_.seams[i] : nullptr;
        std::int64_t in = clip.in - reach(into, &CutSeam::before);
        // Pictures of black and of stills have no numbers; a list counts them from 0.
        if (clip.file.empty() || clip.still) in = 0;
        std::int64_t length = clip.frames() + reach(into, &CutSeam::before) - reach(next, &CutSeam::before);
        if (i + 1 == list_.clips.size() && list_.closing) length -= list_.closing->frames();
        ++event_;
        if (i == 0 && list_.opening) {
            line("BL", "C", 0, 0, 0);
            writeIncoming(clip, list_.opening->frames(), in, length);
            comment("TO CLIP NAME", nameOf(clip));
            seamComment(*list_.opening);
        } else if (into && !into->halves) {
            const CutClip& from = list_.clips[i - 1];
            line(reels_.of(from), "C", lastOut_, lastOut_, 0);
            writeIncoming(clip, into->frames(), in, length);
            if (!from.file.empty()) comment("FROM CLIP NAME", nameOf(from));
            if (!clip.file.empty()) comment("TO CLIP NAME", nameOf(clip));
            seamComment(*into);
        } else {
            line(reels_.of(clip), "C", source(clip, in), source(clip, in + length), length);
            if (!clip.file.empty()) comment("FROM CLIP NAME", nameOf(clip));
            if (into) seamComment(*into);
        }
        rateComment();
        lastOut_ = source(clip, in + length);
        record_ += length;
    }

    void writeIncoming(const CutClip& clip, std::int64_t seam, std::int64_t in, std::int64_t length) {
        line(reels_.of(clip), fmt::format("D {:03}", seam), source(clip, in), source(clip, in + length),
             length);
    }

    void writeClosing() {
        const CutClip& last = list_.clips.back();
        const std::int64_t n = list_.closing->frames();
        ++event_;
        line(reels_.of(last), "C", lastOut_, lastOut_, 0);
        line("BL", fmt::format("D {:03}", n), 0, n, n);
        if (!last.file.empty()) comment("FROM CLIP NAME", nameOf(last));
        seamComment(*list_.closing);
        record_ += n;
    }

    const CutList& list_;
    bool drop_;
    Reels reels_;
    std::string text_;
    std::int64_t record_ = 0;
    std::int64_t lastOut_ = 0;
    int event_ = 0;
};

}  // namespace

std::string edlText(const CutList& list, std::vector<std::string>& remarks) {
    bool sound = false;
    bool stills = false;
    for (const CutClip& clip : list.clips) {
        sound = sound || clip.sounds;
        stills = stills || clip.still;
        if (media::isPattern(clip.file))
            throw Refusal(
                Problem::BadRequest,
                fmt::format("{}: this program draws it itself; other programs need a file", clip.file));
    }
    if (nominalRate(list.rate) > 100)
        throw Refusal(Problem::BadRequest,
                      fmt::format("an EDL counts frames in two digits; {} frames per second are too many",
                                  describe(list.rate)));
    for (const auto& seam : list.seams)
        if (seam && seam->halves) {
            remarks.emplace_back("an EDL has no morph: it becomes a cut, with the effect in a comment");
            break;
        }
    if (sound) remarks.emplace_back("an EDL names the pictures only; sound goes with its clip");
    if (stills) remarks.emplace_back("an EDL counts the pictures of a still from 0");
    return Writer(list).write();
}

}  // namespace tumblewash::edit
