#include "edit/OtioDocument.h"

#include <fmt/format.h>

#include <stdexcept>
#include <string_view>
#include <utility>

#include "edit/Errors.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

using media::FrameRate;
using media::printable;

namespace {

/// Python's JSON has words for numbers that are none; outside strings they become null, which no time may be.
std::string withoutNonNumbers(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (quoted) {
            out += text[i];
            if (text[i] == '\\' && i + 1 < text.size())
                out += text[++i];
            else if (text[i] == '"')
                quoted = false;
            continue;
        }
        bool replaced = false;
        for (const std::string_view word : {"-Infinity", "Infinity", "-Inf", "Inf", "NaN"}) {
            if (text.compare(i, word.size(), word) != 0) continue;
            out += "null";
            i += word.size() - 1;
            replaced = true;
            break;
        }
        if (replaced) continue;
        quoted = text[i] == '"';
        out += text[i];
    }
    return out;
}

}  // namespace

OtioDocument::OtioDocument(const std::string& text, std::string name)
    : text_(withoutNonNumbers(text)), name_(std::move(name)), root_(parseJson(text_, name_)) {}

void OtioDocument::refuse(const OtioNode& node, const std::string& words) const {
    throw Refusal(Problem::BadRequest,
                  fmt::format("{}:{}: {}: {}", media::quotedName(name_), lineOf(text_, node.pointer),
                              node.pointer.empty() ? "/" : printable(node.pointer), words));
}

OtioNode OtioNode::child(const char* key) const {
    if (!json || !json->is_object()) return {};
    const auto found = json->find(key);
    if (found == json->end() || found->is_null()) return {};
    return {&*found, pointerTo(pointer, key)};
}

std::string OtioNode::words(const char* key) const {
    const OtioNode value = child(key);
    return value.json && value.json->is_string() ? value.json->get<std::string>() : "";
}

std::string OtioNode::schema() const {
    const std::string name = words("OTIO_SCHEMA");
    return name.substr(0, name.rfind('.'));
}

bool OtioNode::enabled() const {
    const OtioNode value = child("enabled");
    return !value.json || !value.json->is_boolean() || value.json->get<bool>();
}

std::vector<OtioNode> OtioDocument::list(const OtioNode& node, const char* key) const {
    const OtioNode list = node.child(key);
    std::vector<OtioNode> out;
    if (!list.json) return out;
    if (!list.json->is_array()) refuse(list, "give a list, [ ... ]");
    for (std::size_t i = 0; i < list.json->size(); ++i)
        out.push_back({&(*list.json)[i], pointerTo(list.pointer, std::to_string(i))});
    return out;
}

double OtioDocument::number(const OtioNode& parent, const char* key) const {
    const OtioNode node = parent.child(key);
    if (!node.json || !node.json->is_number()) refuse(parent, fmt::format("\"{}\" is not a number", key));
    return node.json->get<double>();
}

FrameRate OtioDocument::rateIn(const OtioNode& time) const {
    const std::optional<FrameRate> rate = rateOf(number(time, "rate"));
    if (!rate) refuse(time, "the rate is not between 1 and 240");
    return *rate;
}

Moment OtioDocument::moment(const OtioNode& time) const {
    if (time.schema() != "RationalTime") refuse(time, "a RationalTime is needed here");
    try {
        return Moment::ofFrames(number(time, "value"), rateIn(time));
    } catch (const std::out_of_range&) {
        refuse(time, "the time is too large");
    }
}

std::optional<OtioRange> OtioDocument::rangeIn(const OtioNode& parent, const char* key) const {
    const OtioNode node = parent.child(key);
    if (!node.json) return std::nullopt;
    const OtioNode start = node.child("start_time");
    const OtioNode duration = node.child("duration");
    if (!start.json || !duration.json)
        refuse(node, "a TimeRange with start_time and duration is needed here");
    OtioRange range{moment(start), moment(duration), rateIn(duration)};
    if (range.duration < Moment()) refuse(node, "the duration is negative");
    return range;
}

}  // namespace tumblewash::edit
