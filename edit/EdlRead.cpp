#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <limits>
#include <map>
#include <sstream>

#include "edit/Edl.h"
#include "edit/Effects.h"
#include "edit/Errors.h"
#include "edit/StartCode.h"
#include "edit/Timecode.h"
#include "edit/Words.h"
#include "media/FileClock.h"
#include "media/Probe.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

using media::FrameRate;
using media::printable;

namespace {

/// One line of an event, as written.
struct EventLine {
    std::size_t line = 0;  ///< in the file, from 1
    long number = 0;
    std::string reel;
    char type = 'C';        ///< C, D or W
    std::int64_t fade = 0;  ///< frames of D and W
    TimeCode times[4];      ///< source in and out, record in and out
    bool drop = false;
    bool speed = false;  ///< an M2 line follows
};

/// An event: one line, or two with one number, and its comments.
struct Event {
    std::vector<EventLine> lines;
    std::string from;  ///< FROM CLIP NAME
    std::string to;
    std::string file;  ///< SOURCE FILE and its like
    std::map<std::string, std::string> own;
};

bool blank(char c) {
    return c == ' ' || c == '\t';
}

std::vector<std::string> wordsIn(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

std::string trimmed(std::string text) {
    while (!text.empty() && (blank(text.back()) || text.back() == '\r')) text.pop_back();
    std::size_t first = 0;
    while (first < text.size() && blank(text[first])) ++first;
    return text.substr(first);
}

std::optional<std::int64_t> wholeNumber(const std::string& text) {
    std::int64_t value = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (problem != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

/// What follows `* WORDS:` in a comment; nothing when the comment is another. Blanks and the colon vary.
std::optional<std::string> commentAfter(const std::string& comment, const std::string& words) {
    std::size_t at = 0;
    for (const std::string& word : wordsIn(words)) {
        while (at < comment.size() && blank(comment[at])) ++at;
        if (comment.compare(at, word.size(), word) != 0) return std::nullopt;
        at += word.size();
    }
    while (at < comment.size() && blank(comment[at])) ++at;
    if (at < comment.size() && comment[at] == ':')
        ++at;
    else if (at == comment.size() || !blank(comment[at - 1]))
        return std::nullopt;
    return trimmed(comment.substr(at));
}

bool isBlack(const std::string& reel) {
    return reel == "BL" || reel == "BLACK";
}

/// A list read into clips that meet at cuts.
class Reader {
  public:
    Reader(const std::string& text, const std::string& name, const ExchangeSettings& settings,
           MediaFinder& finder, std::vector<std::string>& remarks)
        : name_(name), settings_(settings), finder_(finder), remarks_(remarks) {
        std::istringstream stream(text);
        std::size_t number = 0;
        for (std::string line; std::getline(stream, line);) readLine(trimmed(line), ++number);
    }

    CutList read() {
        if (events_.empty()) refuse(1, "this is not an edit decision list: it has no events");
        findFiles();
        list_.rate = settleRate();
        for (const Event& event : events_) place(event);
        if (list_.clips.empty()) refuse(1, "no event has pictures");
        if (skipped_ > 0)
            remarks_.push_back(fmt::format(
                "{} ignored: sound, notes and colour",
                skipped_ == 1 ? "1 line of the list is" : fmt::format("{} lines of the list are", skipped_)));
        if (foreign_ > 0)
            remarks_.push_back(fmt::format("{} the effect of the edit (--effect)",
                                           foreign_ == 1
                                               ? "1 dissolve or wipe becomes"
                                               : fmt::format("{} dissolves and wipes become", foreign_)));
        if (speeds_ > 0)
            remarks_.push_back(
                fmt::format("changes of speed are ignored: {} at normal speed",
                            speeds_ == 1 ? "1 clip plays" : fmt::format("{} clips play", speeds_)));
        return list_;
    }

  private:
    [[noreturn]] void refuse(std::size_t line, const std::string& words) const {
        throw Refusal(Problem::BadRequest, fmt::format("{}:{}: {}", media::quotedName(name_), line, words));
    }

    void readLine(const std::string& line, std::size_t number) {
        if (line.empty()) return;
        if (line.front() >= '0' && line.front() <= '9') return readEvent(line, number);
        if (line.rfind("TITLE:", 0) == 0) {
            list_.title = trimmed(line.substr(6));
        } else if (line.rfind("FCM:", 0) == 0) {
            const std::string mode = trimmed(line.substr(4));
            if (mode != "DROP FRAME" && mode != "NON-DROP FRAME" && mode != "NON DROP FRAME")
                refuse(number, fmt::format("FCM is DROP FRAME or NON-DROP FRAME, not {}", printable(mode)));
            drop_ = mode == "DROP FRAME";
        } else if (line.front() == '*') {
            readComment(trimmed(line.substr(line.find_first_not_of("* \t") == std::string::npos
                                                ? line.size()
                                                : line.find_first_not_of("* \t"))));
        } else if (line.rfind("M2", 0) == 0) {
            if (events_.empty()) refuse(number, "M2 without an event before it");
            readSpeed(wordsIn(line));
        } else {
            ++skipped_;
        }
    }

    void readSpeed(const std::vector<std::string>& words) {
        std::vector<EventLine>& lines = events_.back().lines;
        for (EventLine& line : lines)
            if (words.size() > 1 && line.reel == words[1]) {
                line.speed = true;
                return;
            }
        lines.back().speed = true;
    }

    void readComment(const std::string& comment) {
        if (events_.empty()) return;
        Event& event = events_.back();
        if (const auto own = commentAfter(comment, "TUMBLEWASH")) {
            for (const std::string& word : wordsIn(*own)) {
                const std::size_t equals = word.find('=');
                if (equals != std::string::npos) event.own[word.substr(0, equals)] = word.substr(equals + 1);
            }
            return;
        }
        if (const auto name = commentAfter(comment, "FROM CLIP NAME"))
            event.from = *name;
        else if (const auto to = commentAfter(comment, "TO CLIP NAME"))
            event.to = *to;
        else if (const auto file = commentAfter(comment, "SOURCE FILE"))
            event.file = *file;
        else if (const auto clip = commentAfter(comment, "FROM CLIP"))
            event.file = *clip;
        else if (const auto from = commentAfter(comment, "FROM FILE"))
            event.file = *from;
        else if (comment.rfind("FREEZE FRAME", 0) == 0)
            event.lines.back().speed = true;
        else
            ++skipped_;
    }

    void readEvent(const std::string& line, std::size_t number) {
        const std::vector<std::string> words = wordsIn(line);
        const auto event = wholeNumber(words[0]);
        if (!event || words.size() < 8)
            refuse(number, "an event needs a number, a reel, a track, a type and four time codes");
        // The reel may hold blanks: everything is counted from the four times at the end.
        const std::size_t times = words.size() - 4;
        std::size_t kind = times - 1;
        EventLine read;
        read.line = number;
        read.number = static_cast<long>(*event);
        read.drop = drop_;
        if (const auto fade = wholeNumber(words[kind]); fade && kind > 3) {
            if (*fade < 0 || *fade > 100000) refuse(number, "the length of the transition is out of range");
            read.fade = *fade;
            --kind;
        }
        // A key may say B or O for background and out behind its letter.
        if (kind > 3 && (words[kind] == "B" || words[kind] == "O") && words[kind - 1] == "K") --kind;
        const std::string& type = words[kind];
        if (type.empty() || kind < 3) refuse(number, "the event type is missing: C, D or W");
        if (type.front() == 'K') refuse(number, "keys are not supported; remove them from the list");
        if (type != "C" && type != "D" && type.front() != 'W')
            refuse(number, fmt::format("unknown event type {}; use C, D or W", printable(type)));
        read.type = type.front();
        if (read.type != 'C' && read.fade == 0)
            refuse(number, "a dissolve or wipe needs its length in frames");
        const std::string& track = words[kind - 1];
        for (std::size_t i = 1; i < kind - 1; ++i) read.reel += (i > 1 ? " " : "") + words[i];
        for (std::size_t i = 0; i < 4; ++i) {
            const auto code = parseTimeCode(words[times + i]);
            if (!code) refuse(number, fmt::format("{} is not a time code", printable(words[times + i])));
            read.times[i] = *code;
        }
        if (track.find('V') == std::string::npos && track != "B") {
            ++skipped_;
            return;
        }
        if (!events_.empty() && events_.back().lines.size() == 1 &&
            events_.back().lines[0].number == read.number) {
            if (read.type == 'C') refuse(number, fmt::format("event {} appears twice", read.number));
            events_.back().lines.push_back(read);
        } else {
            if (read.type != 'C')
                refuse(number, fmt::format("event {} has a transition but no line for its outgoing clip",
                                           read.number));
            events_.push_back({{read}, "", "", "", {}});
        }
    }

    /// The file of a line: by the names in the comments, else by its reel.
    std::string fileOf(const EventLine& line, const std::string& name, const std::string& path) {
        if (isBlack(line.reel)) return "";
        if (line.reel == "BARS")
            refuse(line.line, "the reel BARS is a test picture of the editing system; replace it");
        for (const std::string& words : {path, name}) {
            if (words.empty()) continue;
            std::string file = finder_.find(words);
            if (file.empty()) file = finder_.findStem(std::filesystem::path(words).filename().string());
            if (file.empty()) file = finder_.findStem(std::filesystem::path(words).stem().string());
            if (!file.empty()) return file;
        }
        std::string file =
            name.empty() && path.empty() && line.reel != "AX" ? finder_.findReel(line.reel) : "";
        if (file.empty()) finder_.miss(!path.empty() ? path : !name.empty() ? name : "reel " + line.reel);
        return file;
    }

    void findFiles() {
        for (const Event& event : events_) {
            std::vector<std::string> files;
            for (std::size_t i = 0; i < event.lines.size(); ++i) {
                // In a dissolve FROM names the first line's clip and TO the second's.
                const bool second = i == 1;
                const bool lengthless = !second && event.lines.size() == 2 && sameTimes(event.lines[0]);
                const std::string& name = second ? event.to : event.from;
                const std::string path = second == (event.lines.size() == 2) ? event.file : "";
                // What runs on from the event before needs no file of its own.
                files.push_back(
                    lengthless && name.empty() && path.empty() ? "" : fileOf(event.lines[i], name, path));
            }
            files_.push_back(std::move(files));
        }
        finder_.refuseMissing(name_);
    }

    static bool sameTimes(const EventLine& line) { return line.times[0] == line.times[1]; }

    FrameRate settleRate() {
        if (settings_.fps) return *settings_.fps;
        for (const Event& event : events_)
            if (const auto said = event.own.find("rate"); said != event.own.end())
                return parseRate(said->second);
        bool drop = false;
        int most = 0;
        for (const Event& event : events_)
            for (const EventLine& line : event.lines)
                for (const TimeCode& code : line.times) {
                    drop = drop || line.drop || code.drop;
                    most = std::max(most, code.frames);
                }
        FrameRate rate{};
        if (drop) rate = most >= 30 ? FrameRate{60000, 1001} : FrameRate{30000, 1001};
        for (std::size_t i = 0; i < files_.size() && !rate; ++i)
            for (const std::string& file : files_[i])
                if (!rate && !file.empty()) rate = media::probe(file).rate;
        if (!rate) refuse(1, "an EDL has no frame rate, and none of its clips has one; give --fps");
        remarks_.push_back(fmt::format(
            "an EDL has no frame rate: {} frames per second assumed; --fps overrides it", describe(rate)));
        return makeRate(rate.num, rate.den);
    }

    std::int64_t frame(const EventLine& line, int which) const {
        const TimeCode& code = line.times[which];
        const bool drop = line.drop || code.drop;
        if (drop && !dropsFrames(list_.rate))
            refuse(line.line,
                   fmt::format("drop-frame time codes do not exist at {} frames per second; give --fps 29.97",
                               describe(list_.rate)));
        const auto frame = frameOf(code, list_.rate, drop);
        if (frame) return *frame;
        const bool dropped = code.frames < nominalRate(list_.rate);
        refuse(line.line,
               fmt::format("frame {} {}", code.frames,
                           dropped ? "is one that drop-frame time code skips"
                                   : fmt::format("does not exist at {} frames per second; give another --fps",
                                                 describe(list_.rate))));
    }

    struct Span {
        std::int64_t in, out, recordIn, recordOut;
        std::int64_t length() const { return recordOut - recordIn; }
    };

    Span spanOf(const EventLine& line) {
        const Span span{frame(line, 0), frame(line, 1), frame(line, 2), frame(line, 3)};
        if (span.length() < 0) refuse(line.line, "the record out is before the record in");
        if (line.speed) {
            ++speeds_;
        } else if (span.out - span.in != span.length() && !isBlack(line.reel)) {
            refuse(line.line,
                   fmt::format("the source lasts {} frames and the record {}; without M2 they must be equal",
                               span.out - span.in, span.length()));
        }
        return span;
    }

    /// The frame of the file that a source time code means.
    std::int64_t inFile(const std::string& file, std::int64_t source) {
        if (file.empty()) return 0;
        const auto known = starts_.find(file);
        const std::int64_t start =
            known != starts_.end() ? known->second : starts_[file] = startFrameOf(file, list_.rate);
        return source >= start ? source - start : source;
    }

    void append(const std::string& name, const std::string& file, std::int64_t in, std::int64_t frames,
                std::optional<CutSeam> seam) {
        CutClip clip;
        clip.name =
            name.empty() ? (file.empty() ? "black" : std::filesystem::path(file).filename().string()) : name;
        clip.file = file;
        clip.in = file.empty() ? 0 : in;
        clip.out = clip.in + frames;
        if (!list_.clips.empty()) list_.seams.push_back(std::move(seam));
        list_.clips.push_back(std::move(clip));
    }

    /// Black for what the record leaves out. `at` is where the next event begins.
    void fillTo(std::int64_t at, std::size_t line) {
        if (list_.clips.empty()) record_ = at;
        if (at < record_)
            refuse(line, fmt::format("begins {} frames before the end of the event before it", record_ - at));
        if (at > record_) append("black", "", 0, at - record_, std::nullopt);
        record_ = at;
    }

    void place(const Event& event) {
        const auto index = static_cast<std::size_t>(&event - events_.data());
        const std::vector<std::string>& files = files_[index];
        const EventLine& first = event.lines[0];
        const Span lead = spanOf(first);
        if (event.lines.size() == 1) {
            fillTo(lead.recordIn, first.line);
            if (lead.length() == 0) return;
            append(event.from, files[0], inFile(files[0], lead.in), lead.length(), morphOf(event));
            finish(lead);
            return;
        }
        const EventLine& second = event.lines[1];
        const Span span = spanOf(second);
        if (second.fade > span.length())
            refuse(second.line, fmt::format("the transition of {} frames is longer than its event of {}",
                                            second.fade, span.length()));
        if (lead.length() > 0) {
            fillTo(lead.recordIn, first.line);
            append(event.from, files[0], inFile(files[0], lead.in), lead.length(), std::nullopt);
            finish(lead);
        }
        fillTo(span.recordIn, second.line);
        CutSeam seam = seamOf(event, second);
        if (list_.clips.empty() && isBlack(first.reel)) {
            list_.opening = seam;
            append(event.to, files[1], inFile(files[1], span.in), span.length(), std::nullopt);
            finish(span);
            return;
        }
        const bool runsOn =
            !list_.clips.empty() &&
            (lead.length() > 0 || (lead.in == lastOut_ && (event.from.empty() || event.from == lastName_ ||
                                                           files[0].empty() || files[0] == lastFile_)));
        if (!runsOn) {
            if (files[0].empty() && !isBlack(first.reel))
                refuse(first.line,
                       "the previous clip does not continue here, and no other is named; add FROM CLIP NAME");
            append(event.from, files[0], inFile(files[0], lead.in), 0, std::nullopt);
        }
        const bool last = index + 1 == events_.size();
        if (last && isBlack(second.reel) && span.length() == second.fade &&
            !list_.clips.back().file.empty()) {
            list_.clips.back().out += span.length();
            seam.before = seam.after;
            seam.after = 0;
            list_.closing = seam;
            return;
        }
        append(event.to, files[1], inFile(files[1], span.in), span.length(), seam);
        finish(span);
    }

    void finish(const Span& span) {
        record_ = span.recordOut;
        lastOut_ = span.out;
        lastFile_ = list_.clips.back().file;
        lastName_ = list_.clips.back().name;
    }

    void readOwn(const Event& event, CutSeam& seam) const {
        const auto said = [&](const char* key) {
            const auto found = event.own.find(key);
            return found == event.own.end() ? std::string() : found->second;
        };
        const std::vector<std::string> known = effectIds();
        if (std::find(known.begin(), known.end(), said("effect")) == known.end()) return;
        seam.effect = said("effect");
        seam.direction = meaningOf(directionWords(), said("direction"));
        seam.sound = meaningOf(audioWords(), said("audio"));
        if (const auto seed = wholeNumber(said("seed"));
            seed && *seed >= 0 && *seed <= std::numeric_limits<std::uint32_t>::max())
            seam.seed = static_cast<std::uint32_t>(*seed);
        seam.halves = said("placement") == "halves";
    }

    CutSeam seamOf(const Event& event, const EventLine& line) {
        CutSeam seam;
        seam.after = line.fade;
        readOwn(event, seam);
        if (seam.halves) seam.effect.clear();
        seam.halves = false;
        if (seam.effect.empty()) ++foreign_;
        return seam;
    }

    /// The morph that our own comment puts on a cut.
    std::optional<CutSeam> morphOf(const Event& event) {
        CutSeam seam;
        readOwn(event, seam);
        const auto frames = event.own.find("frames");
        const auto n = frames == event.own.end() ? std::nullopt : wholeNumber(frames->second);
        if (!seam.halves || !n || *n < 2 || *n > 1000000 || list_.clips.empty()) return std::nullopt;
        seam.before = *n / 2;
        seam.after = *n - seam.before;
        return seam;
    }

    const std::string& name_;
    const ExchangeSettings& settings_;
    MediaFinder& finder_;
    std::vector<std::string>& remarks_;
    std::vector<Event> events_;
    std::vector<std::vector<std::string>> files_;
    std::map<std::string, std::int64_t> starts_;
    CutList list_;
    bool drop_ = false;
    int skipped_ = 0;
    int foreign_ = 0;
    int speeds_ = 0;
    std::int64_t record_ = 0;
    std::int64_t lastOut_ = -1;
    std::string lastFile_;
    std::string lastName_;
};

}  // namespace

CutList readEdl(const std::string& text, const std::string& name, const ExchangeSettings& settings,
                MediaFinder& finder, std::vector<std::string>& remarks) {
    return Reader(text, name, settings, finder, remarks).read();
}

}  // namespace tumblewash::edit
