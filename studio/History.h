// The steps of a document, kept in a file between two runs of the studio. They belong to one text of the
// document: once another program has changed it, they are gone. It knows no edits, only their texts.
#pragma once

#include <string>
#include <vector>

namespace tumblewash::studio {

/// A step and the document on its other side.
struct KeptStep {
    std::string label;
    std::string text;
    bool operator==(const KeptStep&) const = default;
};

/// What can be undone and redone, the next step last.
struct KeptSteps {
    std::vector<KeptStep> past;
    std::vector<KeptStep> future;
};

/// More than this of the oldest steps is forgotten.
constexpr std::size_t kMostHistoryBytes = std::size_t{1} << 20;

/// The steps that were kept of `document` when it held `text`; none where nothing fits. `folder` as
/// `stateFolder` says; without one nothing is kept.
KeptSteps readHistory(const std::string& folder, const std::string& document, const std::string& text);

/// Keeps the steps of `document`, which holds `text` by now. Where that fails there is none in the next run.
void writeHistory(const std::string& folder, const std::string& document, const std::string& text,
                  const KeptSteps& steps);

}  // namespace tumblewash::studio
