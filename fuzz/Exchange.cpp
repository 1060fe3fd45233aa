// Edits of other programs: any bytes are read or refused in one line, by each of the three readers; what is
// read as a cut list is written as OpenTimelineIO that reads again as the same list.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "edit/ConcatList.h"
#include "edit/CutList.h"
#include "edit/Edl.h"
#include "edit/Errors.h"
#include "edit/ExactTime.h"
#include "edit/MediaFinder.h"
#include "edit/Otio.h"
#include "fuzz/Target.h"
#include "media/MediaError.h"

namespace {

using namespace tumblewash::edit;
using tumblewash::fuzz::demand;

/// Files that documents may name: a photo, and two that are there and hold no media.
class Folder {
  public:
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "tumblewash-fuzz-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
        std::ofstream(path_ / "C.ppm") << "P6 16 16 255\n" << std::string(768, 'x');
        for (const char* name : {"A.mp4", "B.mp4"}) std::ofstream(path_ / name) << "no media";
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string file(const char* name) const { return (path_ / name).string(); }
    MediaFinder finder() const { return {path_.string(), path_.string()}; }

  private:
    std::filesystem::path path_;
};

const Folder& folder() {
    static const Folder made;
    return made;
}

/// Calls `read`; true when it read something. Whatever else it does is a refusal of one line.
template <class Read>
bool readOrRefused(const Read& read) {
    std::string line;
    try {
        read();
        return true;
    } catch (const Refusal& refusal) {
        line = refusal.what();
    } catch (const tumblewash::media::MediaError& problem) {
        line = problem.what();
    }
    demand(!line.empty() && line.find('\n') == std::string::npos, "a refusal is not one line: " + line);
    return false;
}

void demandLines(const std::vector<std::string>& remarks) {
    for (const std::string& remark : remarks)
        demand(!remark.empty() && remark.find('\n') == std::string::npos,
               "a remark is not one line: " + remark);
}

bool sameSeam(const std::optional<CutSeam>& a, const std::optional<CutSeam>& b) {
    if (!a || !b) return !a == !b;
    return a->effect == b->effect && a->halves == b->halves && a->before == b->before && a->after == b->after;
}

bool sameList(const CutList& a, const CutList& b) {
    if (a.clips.size() != b.clips.size() || a.seams.size() != b.seams.size()) return false;
    for (std::size_t i = 0; i < a.clips.size(); ++i) {
        const CutClip& one = a.clips[i];
        const CutClip& other = b.clips[i];
        if (one.file != other.file || one.frames() != other.frames()) return false;
        // Black has no numbers.
        if (!one.file.empty() && one.in != other.in) return false;
    }
    for (std::size_t i = 0; i < a.seams.size(); ++i)
        if (!sameSeam(a.seams[i], b.seams[i])) return false;
    return sameSeam(a.opening, b.opening) && sameSeam(a.closing, b.closing);
}

void takeFurther(const CutList& list) {
    demand(list.seams.size() + 1 == list.clips.size(), "a list has not one seam between two clips");
    readOrRefused([&] {
        std::vector<std::string> remarks;
        editOf(
            list,
            [](const std::string&, tumblewash::media::FrameRate) {
                return FileFacts{false, 100};
            },
            remarks);
        demandLines(remarks);
    });
    readOrRefused([&] {
        std::vector<std::string> remarks;
        edlText(list, remarks);
    });
    // A rate is written as a decimal number, which means one fraction only where rates are usual ones. The
    // source of an EDL's dissolve may lie in its seam alone; a clip without a length of its own is left out
    // there.
    const auto empty = [](const CutClip& clip) { return clip.frames() <= 0; };
    if (rateOf(list.rate.value()) != list.rate || std::any_of(list.clips.begin(), list.clips.end(), empty))
        return;
    readOrRefused([&] {
        std::vector<std::string> remarks;
        const std::string text = otioText(list, remarks);
        MediaFinder finder = folder().finder();
        ExchangeSettings settings;
        settings.fps = list.rate;
        const CutList again = readOtio(text, folder().file("x.otio"), settings, finder, remarks);
        demand(sameList(list, again), "a list changed when it was written and read again:\n" + text);
    });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> remarks;
    CutList list;
    MediaFinder finder = folder().finder();
    if (readOrRefused([&] { list = readOtio(text, folder().file("x.otio"), {}, finder, remarks); }))
        takeFurther(list);
    if (readOrRefused([&] { list = readEdl(text, folder().file("x.edl"), {}, finder, remarks); }))
        takeFurther(list);
    readOrRefused([&] { readConcat(text, folder().file("x.ffconcat"), {}, remarks); });
    demandLines(remarks);
    return 0;
}
