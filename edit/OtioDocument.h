// OtioDocument: an OpenTimelineIO document as nodes that know where they stand, and the values that a node
// may hold: words, numbers, times, ranges, lists. What a timeline means is otioread's matter.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "edit/ExactTime.h"
#include "edit/JsonText.h"

namespace tumblewash::edit {

/// One object of the document and where it stands. It refers into the document.
struct OtioNode {
    const Json* json = nullptr;  ///< null where the document has nothing here
    std::string pointer;

    /// The member of this name; an empty node where there is none, or where it is null.
    OtioNode child(const char* key) const;
    /// The text of a member, "" where it is not one.
    std::string words(const char* key) const;
    /// `Clip` of `Clip.2`; "" for what is no object with a schema.
    std::string schema() const;
    /// False where the node says that it is switched off.
    bool enabled() const;
};

/// A time range in exact seconds, with the rate that it was said at.
struct OtioRange {
    Moment start;
    Moment duration;
    media::FrameRate rate;
};

/// A parsed document. Everything that it does not hold as it must is refused with the document's name, the
/// line and the node.
class OtioDocument {
  public:
    /// Parses `text`, which also may hold Python's words for numbers that are none; throws Refusal where it
    /// is not JSON.
    OtioDocument(const std::string& text, std::string name);
    OtioDocument(const OtioDocument&) = delete;
    OtioDocument& operator=(const OtioDocument&) = delete;

    /// The whole of it.
    OtioNode root() const { return {&root_, ""}; }
    /// Throws a Refusal about this node.
    [[noreturn]] void refuse(const OtioNode& node, const std::string& words) const;

    /// The nodes of a list of this name, none where it is missing.
    std::vector<OtioNode> list(const OtioNode& node, const char* key) const;
    /// A RationalTime.
    Moment moment(const OtioNode& time) const;
    /// The TimeRange of this name; nothing where there is none.
    std::optional<OtioRange> rangeIn(const OtioNode& parent, const char* key) const;

  private:
    double number(const OtioNode& parent, const char* key) const;
    media::FrameRate rateIn(const OtioNode& time) const;

    std::string text_;
    std::string name_;
    Json root_;
};

}  // namespace tumblewash::edit
