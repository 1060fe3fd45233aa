#include "edit/JsonText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include "edit/Errors.h"
#include "media/Quoting.h"

namespace tumblewash::edit {
namespace {

/// Where the parser stands: one entry for each open array or object.
struct Level {
    bool object = false;
    std::string key;
    std::size_t index = 0;
    std::set<std::string, std::less<>> keys;
};

std::string pointerOf(const std::vector<Level>& levels) {
    std::string pointer;
    for (const Level& level : levels)
        pointer = pointerTo(pointer, level.object ? level.key : std::to_string(level.index));
    return pointer;
}

/// What the parser says, without its own numbers and without the bytes it read last.
std::string reasonOf(const std::string& what) {
    std::string reason = what;
    const std::size_t column = reason.find("column ");
    const std::size_t start = column == std::string::npos ? std::string::npos : reason.find(": ", column);
    if (start != std::string::npos) reason = reason.substr(start + 2);
    const std::size_t last = reason.find("; last read");
    if (last != std::string::npos) {
        const std::size_t expected = reason.find("; expected", last);
        reason = reason.substr(0, last) + (expected == std::string::npos ? "" : reason.substr(expected));
    }
    constexpr std::string_view kAsItStands = "syntax error while parsing ";
    if (reason.rfind(kAsItStands, 0) == 0) {
        const std::size_t dash = reason.find(" - ");
        if (dash != std::string::npos) reason = reason.substr(dash + 3);
    }
    return reason;
}

std::size_t linesBefore(std::string_view text, std::size_t end) {
    return 1 +
           static_cast<std::size_t>(std::count(
               text.begin(), text.begin() + static_cast<std::ptrdiff_t>(std::min(end, text.size())), '\n'));
}

/// Walks a text without building values. Ends quietly where the text is not JSON.
class Walk {
  public:
    explicit Walk(std::string_view text) : text_(text) {
        if (text_.substr(0, 3) == "\xEF\xBB\xBF") at_ = 3;
        blanks();
    }

    std::size_t at() const { return at_; }

    /// Goes from a container's start to the value of `part`; false, and no step, when there is none.
    bool enter(const std::string& part) {
        const std::size_t start = at_;
        const bool object = peek() == '{';
        if (!object && peek() != '[') return false;
        ++at_;
        std::size_t found = std::string_view::npos;
        for (std::size_t index = 0; at_ < text_.size(); ++index) {
            blanks();
            if (peek() == '}' || peek() == ']') break;
            std::string key = std::to_string(index);
            if (object) {
                key = string();
                blanks();
                ++at_;  // the colon
                blanks();
            }
            if (key == part) found = at_;
            if (found != std::string_view::npos && !object) break;
            skip();
            blanks();
            if (peek() != ',') break;
            ++at_;
        }
        at_ = found == std::string_view::npos ? start : found;
        return found != std::string_view::npos;
    }

  private:
    char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }

    void blanks() {
        while (at_ < text_.size() && std::strchr(" \t\r\n", text_[at_]) && text_[at_] != '\0') ++at_;
    }

    /// A string's text, read over. Escapes are taken as JSON has them.
    std::string string() {
        const std::size_t first = at_;
        if (peek() != '"') return "";
        for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_)
            if (text_[at_] == '\\') ++at_;
        at_ = std::min(at_ + 1, text_.size());
        const Json value = Json::parse(text_.substr(first, at_ - first), nullptr, false);
        return value.is_string() ? value.get<std::string>() : "";
    }

    /// Reads over one value.
    void skip() {
        int depth = 0;
        do {
            blanks();
            const char c = peek();
            if (c == '"') {
                for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_)
                    if (text_[at_] == '\\') ++at_;
                at_ = std::min(at_ + 1, text_.size());
            } else if (c == '{' || c == '[') {
                ++depth;
                ++at_;
            } else if (c == '}' || c == ']') {
                if (depth == 0) return;
                --depth;
                ++at_;
            } else if (depth > 0 && (c == ',' || c == ':')) {
                ++at_;
            } else {
                const std::size_t before = at_;
                while (at_ < text_.size() && !std::strchr(",:]}[{\" \t\r\n", text_[at_])) ++at_;
                if (at_ == before) return;
            }
        } while (depth > 0 && at_ < text_.size());
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

std::vector<std::string> partsOf(std::string_view pointer) {
    std::vector<std::string> parts;
    while (!pointer.empty()) {
        pointer.remove_prefix(1);
        const std::size_t end = std::min(pointer.find('/'), pointer.size());
        std::string part;
        for (std::size_t i = 0; i < end; ++i) {
            const bool escape = pointer[i] == '~' && i + 1 < end;
            part += escape ? (pointer[i + 1] == '1' ? '/' : '~') : pointer[i];
            if (escape) ++i;
        }
        parts.push_back(std::move(part));
        pointer.remove_prefix(end);
    }
    return parts;
}

}  // namespace

std::string pointerTo(const std::string& pointer, std::string_view part) {
    std::string out = pointer + "/";
    for (const char c : part) {
        if (c == '~')
            out += "~0";
        else if (c == '/')
            out += "~1";
        else
            out += c;
    }
    return out;
}

std::size_t lineOf(std::string_view text, std::string_view pointer) {
    Walk walk(text);
    for (const std::string& part : partsOf(pointer))
        if (!walk.enter(part)) break;
    return linesBefore(text, walk.at());
}

Json parseJson(const std::string& text, const std::string& name) {
    std::vector<Level> levels;
    const auto refuse = [&](std::size_t line, const std::string& words) {
        throw Refusal(Problem::BadRequest, fmt::format("{}:{}: {}", media::quotedName(name), line, words));
    };
    const auto ended = [&] {
        if (!levels.empty() && !levels.back().object) ++levels.back().index;
    };
    const auto see = [&](int depth, Json::parse_event_t event, Json& value) {
        using Event = Json::parse_event_t;
        switch (event) {
            case Event::object_start:
            case Event::array_start:
                if (depth >= kDeepestJson)
                    refuse(lineOf(text, pointerOf(levels)),
                           fmt::format("nested more than {} deep", kDeepestJson));
                levels.push_back({event == Event::object_start, {}, 0, {}});
                break;
            case Event::key: {
                Level& level = levels.back();
                level.key = value.get<std::string>();
                if (!level.keys.insert(level.key).second)
                    refuse(lineOf(text, pointerOf(levels)), pointerOf(levels) + ": is given twice");
                break;
            }
            case Event::object_end:
            case Event::array_end:
                levels.pop_back();
                ended();
                break;
            case Event::value:
                ended();
                break;
        }
        return true;
    };
    try {
        return Json::parse(text, see);
    } catch (const Json::parse_error& problem) {
        const std::size_t line = linesBefore(text, problem.byte == 0 ? 0 : problem.byte - 1);
        refuse(line, "not valid JSON: " + reasonOf(problem.what()));
    } catch (const Json::out_of_range&) {
        refuse(lineOf(text, pointerOf(levels)), "a number is too large");
    }
    return {};
}

std::string readDocument(const std::string& file) {
    const auto refuse = [&](const std::string& words) {
        throw Refusal(Problem::BadInput, fmt::format("{}: {}", media::quotedName(file), words));
    };
    std::error_code problem;
    const std::filesystem::file_status status = std::filesystem::status(file, problem);
    if (!std::filesystem::exists(status)) refuse("no such file");
    if (std::filesystem::is_directory(status)) refuse("is a folder; give an edit");
    if (!std::filesystem::is_regular_file(status)) refuse("is not a regular file");
    if (std::filesystem::file_size(file, problem) > kLargestDocument)
        refuse(fmt::format("is larger than {} MiB; an edit is a small text", kLargestDocument >> 20));
    errno = 0;
    std::ifstream in(file, std::ios::binary);
    std::string text;
    if (in) {
        text.resize(std::filesystem::file_size(file, problem));
        in.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(std::max<std::streamsize>(in.gcount(), 0)));
    }
    if (!in.is_open() || in.bad()) refuse(fmt::format("cannot be read: {}", std::strerror(errno)));
    return text;
}

}  // namespace tumblewash::edit
