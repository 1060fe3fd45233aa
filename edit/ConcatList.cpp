#include "edit/ConcatList.h"

#include <fmt/format.h>

#include <filesystem>
#include <sstream>

#include "edit/Errors.h"
#include "media/FileClock.h"
#include "media/Pattern.h"
#include "media/Probe.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

namespace fs = std::filesystem;
using media::printable;

namespace {

constexpr std::string_view kHead = "ffconcat version 1.0";

bool blank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

/// Takes the next argument off a line as the format quotes it: '...' literally, \x is x outside. False at the
/// end of the line and for a quote that is not closed.
bool takeArgument(const std::string& line, std::size_t& at, std::string& argument) {
    while (at < line.size() && blank(line[at])) ++at;
    if (at == line.size()) return false;
    argument.clear();
    for (; at < line.size() && !blank(line[at]); ++at) {
        if (line[at] == '\\' && at + 1 < line.size()) {
            argument += line[++at];
        } else if (line[at] == '\'') {
            const std::size_t end = line.find('\'', at + 1);
            if (end == std::string::npos) return false;
            argument += line.substr(at + 1, end - at - 1);
            at = end;
        } else {
            argument += line[at];
        }
    }
    return true;
}

/// `S[.m]` with `s`, `ms` or `us`, or `[HH:]MM:SS[.m]`, in microseconds. Negative times come as such.
std::optional<std::int64_t> parseClock(std::string text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) text.erase(0, 1);
    std::int64_t scale = 1000000;
    const auto ends = [&](const char* unit, std::int64_t value) {
        const std::string_view word(unit);
        if (text.size() <= word.size() || text.compare(text.size() - word.size(), word.size(), word) != 0)
            return false;
        text.resize(text.size() - word.size());
        scale = value;
        return true;
    };
    if (!ends("ms", 1000) && !ends("us", 1)) ends("s", 1000000);
    std::int64_t micros = 0;
    std::int64_t total = 0;
    std::size_t parts = 0;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ':');) {
        if (++parts > 3 || !parseDecimal(part, micros)) return std::nullopt;
        if (total > 1000000000) return std::nullopt;
        total = total * 60;
        if (parts > 1 && scale != 1000000) return std::nullopt;
        total += micros;
        if (total > std::int64_t{1000000000} * 1000000) return std::nullopt;
    }
    if (parts == 0) return std::nullopt;
    if (scale != 1000000) total = total * scale / 1000000;
    return negative ? -total : total;
}

/// One file of a list with what follows it.
struct Entry {
    std::size_t line = 0;
    std::string file;
    std::optional<std::int64_t> in, out, duration;  ///< microseconds on the file's own clock
};

class Reader {
  public:
    Reader(const std::string& text, const std::string& name, const ExchangeSettings& settings,
           std::vector<std::string>& remarks)
        : text_(text), name_(name), settings_(settings), remarks_(remarks) {}

    Edit read() {
        readLines();
        if (entries_.empty()) refuse(1, "the list names no file");
        Edit edit;
        if (settings_.fps)
            edit.output.rate = Written<media::FrameRate>{*settings_.fps, rateWords(*settings_.fps)};
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            std::optional<EditClip> clip = clipOf(i);
            if (!clip) continue;
            if (!edit.clips.empty()) {
                clip->seam = EditSeam{};
                clip->seam->effect = "none";
            }
            edit.clips.push_back(std::move(*clip));
        }
        return edit;
    }

  private:
    [[noreturn]] void refuse(std::size_t line, const std::string& words) const {
        throw Refusal(Problem::BadRequest, fmt::format("{}:{}: {}", media::quotedName(name_), line, words));
    }

    void readLines() {
        if (text_.rfind("\xEF\xBB\xBF", 0) == 0)
            refuse(1,
                   "the list begins with a byte order mark, which ffmpeg does not accept; save it without");
        std::istringstream stream(text_);
        std::size_t number = 0;
        for (std::string line; std::getline(stream, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            ++number;
            if (number == 1 && line != kHead)
                refuse(1, fmt::format("a concat list begins with \"{}\"", kHead));
            if (number > 1) readLine(line, number);
        }
        if (number == 0) refuse(1, fmt::format("a concat list begins with \"{}\"", kHead));
    }

    void readLine(const std::string& line, std::size_t number) {
        std::size_t at = 0;
        std::string word;
        while (at < line.size() && blank(line[at])) ++at;
        if (at == line.size() || line[at] == '#') return;
        if (!takeArgument(line, at, word)) refuse(number, "a quote is not closed");
        std::string argument;
        const bool given = takeArgument(line, at, argument);
        const auto need = [&] {
            if (!given) refuse(number, fmt::format("{} needs a value, or its quote is not closed", word));
        };
        if (word == "file") {
            need();
            entries_.push_back({number, checked(argument, number), {}, {}, {}});
        } else if (word == "inpoint" || word == "outpoint" || word == "duration") {
            need();
            if (entries_.empty()) refuse(number, fmt::format("{} stands before any file", word));
            const auto time = parseClock(argument);
            if (!time)
                refuse(number,
                       fmt::format("{} is not a time; write 1.5, 500ms or 00:00:01.5", printable(argument)));
            if (*time < 0) refuse(number, fmt::format("{} is negative", word));
            (word == "inpoint"    ? entries_.back().in
             : word == "outpoint" ? entries_.back().out
                                  : entries_.back().duration) = *time;
        } else if (word == "stream" || word == "exact_stream_id" || word == "chapter" ||
                   word == "stream_codec" || word == "stream_extradata" || word == "stream_meta" ||
                   word == "file_packet_meta" || word == "file_packet_metadata") {
            sayOnce(fmt::format("{} of the list is left out", word));
        } else if (word == "option") {
            refuse(number, "the option directive is not supported; remove the line");
        } else {
            refuse(number, fmt::format("{} is not a directive of a concat list", printable(word)));
        }
    }

    void sayOnce(const std::string& words) {
        for (const std::string& said : remarks_)
            if (said == words) return;
        remarks_.push_back(words);
    }

    /// The file of an entry, refused where it may lead out of the list's folder.
    std::string checked(const std::string& said, std::size_t line) const {
        if (said.find('\0') != std::string::npos) refuse(line, "a name holds a zero byte");
        const fs::path folder = fs::path(name_).parent_path();
        const fs::path file = folder / said;
        if (settings_.unsafePaths) return file.string();
        const std::size_t scheme = said.find(':');
        const auto unsafe = [&](const char* why) {
            refuse(line, fmt::format("{}: {}; --unsafe-paths allows it", printable(said), why));
        };
        if (scheme != std::string::npos && said.find('/') > scheme) unsafe("this is an address, not a file");
        if (fs::path(said).is_absolute()) unsafe("the name does not begin in the list's folder");
        std::error_code problem;
        const fs::path root = fs::canonical(folder.empty() ? "." : folder, problem);
        const fs::path real = fs::canonical(file, problem);
        if (problem) {
            if (fs::path(said).lexically_normal().string().rfind("..", 0) == 0)
                unsafe("it lies outside the list's folder");
            return file.string();  // missing files are named together later
        }
        const auto mismatch = std::mismatch(root.begin(), root.end(), real.begin(), real.end());
        if (mismatch.first != root.end()) unsafe("it lies outside the list's folder");
        if (!fs::is_regular_file(real, problem)) unsafe("it is not a regular file");
        return file.string();
    }

    std::optional<EditClip> clipOf(std::size_t index) {
        const Entry& entry = entries_[index];
        std::error_code ignored;
        EditClip clip;
        clip.file = entry.file;
        if (!fs::exists(entry.file, ignored)) return clip;  // refused with all the others
        const media::MediaInfo info = media::probe(entry.file);
        if (info.kind == media::MediaKind::still) {
            const bool last = index + 1 == entries_.size();
            const bool crutch =
                last && index > 0 && !entry.duration && entries_[index - 1].file == entry.file;
            if (crutch) return std::nullopt;
            if (entry.duration) clip.length = microTime(*entry.duration);
            if (clip.length && clip.length->value.count == 0)
                refuse(entry.line, "a still that lasts no time");
            return clip;
        }
        if (entry.duration) sayOnce("duration cuts nothing from a movie; outpoint does");
        const std::int64_t start = media::readFileClock(entry.file).startMicroseconds;
        const auto own = [&](std::int64_t time) { return std::max<std::int64_t>(0, time - start); };
        if (entry.in && own(*entry.in) > 0) clip.in = microTime(own(*entry.in));
        if (entry.out) clip.out = microTime(own(*entry.out));
        if (entry.out && entry.in && *entry.out <= *entry.in)
            refuse(entry.line, "the outpoint is not after the inpoint");
        return clip;
    }

    static EditTime microTime(std::int64_t micros) { return {{TimeSpan::Unit::Microseconds, micros}, {}}; }

    const std::string& text_;
    const std::string& name_;
    const ExchangeSettings& settings_;
    std::vector<std::string>& remarks_;
    std::vector<Entry> entries_;
};

/// A name between quotes as the format has them.
std::string quoted(const std::string& name) {
    std::string out = "'";
    for (const char c : name) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

std::string secondsWords(std::int64_t micros) {
    return fmt::format("{}.{:06}", micros / 1000000, micros % 1000000);
}

/// True for the names that ffmpeg takes without `-safe 0`.
bool safeName(const std::string& name) {
    bool atStart = true;
    for (const char c : name) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                            c == '_' || c == '-';
        if (c == '/' ? atStart : !letter && (c != '.' || atStart)) return false;
        atStart = c == '/';
    }
    return true;
}

}  // namespace

std::string concatText(const CutList& list, const std::string& folder, std::vector<std::string>& remarks) {
    std::string text = std::string(kHead) + "\n";
    bool seams = list.opening || list.closing;
    for (const auto& seam : list.seams) seams = seams || seam;
    if (seams) remarks.emplace_back("a concat list has cuts alone: seams become cuts in their middle");
    bool safe = true;
    bool trims = false;
    for (const CutClip& clip : list.clips) {
        if (clip.file.empty())
            throw Refusal(Problem::BadRequest, "a concat list cannot hold black; use .otio or .edl");
        if (media::isPattern(clip.file))
            throw Refusal(
                Problem::BadRequest,
                fmt::format("{}: this program draws it itself; other programs need a file", clip.file));
        if (clip.file.find('\n') != std::string::npos || clip.file.find('\r') != std::string::npos)
            throw Refusal(
                Problem::BadRequest,
                fmt::format("{}: a concat list cannot hold a name with a line break", printable(clip.file)));
        std::error_code ignored;
        const fs::path file = fs::absolute(clip.file, ignored).lexically_normal();
        const fs::path from = fs::absolute(folder.empty() ? "." : folder, ignored).lexically_normal() / "";
        const std::string relative = file.lexically_relative(from.parent_path()).string();
        const bool below = !relative.empty() && relative.rfind("..", 0) != 0;
        const std::string name = below ? relative : file.string();
        safe = safe && below && safeName(name);
        text += fmt::format("file {}\n", quoted(name));
        if (clip.still) {
            text += fmt::format("duration {}\n", secondsWords(microsecondsOf(clip.frames(), list.rate)));
            continue;
        }
        const std::int64_t start = media::readFileClock(clip.file).startMicroseconds;
        if (clip.in > 0)
            text += fmt::format("inpoint {}\n", secondsWords(start + microsecondsOf(clip.in, list.rate)));
        text += fmt::format("outpoint {}\n", secondsWords(start + microsecondsOf(clip.out, list.rate)));
        trims = true;
    }
    if (trims)
        remarks.emplace_back("ffmpeg cuts where decoding allows; this program cuts at the exact picture");
    if (!safe) remarks.emplace_back("ffmpeg takes these names only with -safe 0");
    return text;
}

Edit readConcat(const std::string& text, const std::string& name, const ExchangeSettings& settings,
                std::vector<std::string>& remarks) {
    return Reader(text, name, settings, remarks).read();
}

}  // namespace tumblewash::edit
