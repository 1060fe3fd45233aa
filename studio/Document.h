// The document under work: the edit at its newest revision, every step before it, and the file that each
// change is saved to. Clips are not looked at here. One thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "edit/Edit.h"

namespace tumblewash::studio {

/// How things stand with the file.
enum class Saving {
    none,     ///< there is nothing to save: no clip, or no change yet
    saved,    ///< the file holds the newest revision
    failed,   ///< it could not be written, see `problem`; saving is tried again
    conflict  ///< another program has changed the file
};

/// What to do about a file that another program has changed.
enum class Choice {
    theirs,  ///< take over what the file says, as a step that can be undone
    mine,    ///< overwrite it
    both     ///< keep mine in a new file beside it, and go on with that
};

/// An edit with its history and its file.
class Document {
  public:
    /// Opens `file`, a name that ends in .edit.json, where it exists, with the steps that an earlier run kept
    /// in the folder `state`; else starts with `edit`, which is saved with its first change. Without a folder
    /// no steps are kept. Throws Refusal for a file that is no document.
    Document(std::string file, edit::Edit edit, std::string state = {});

    const std::string& file() const noexcept { return file_; }
    const edit::Edit& edit() const noexcept { return edit_; }
    std::uint64_t revision() const noexcept { return revision_; }
    Saving saving() const noexcept { return saving_; }
    /// Why it could not be saved, one line.
    const std::string& problem() const noexcept { return problem_; }
    /// Names of the steps that undo and redo would take; empty where there is none.
    std::string undoLabel() const { return past_.empty() ? std::string() : past_.back().label; }
    std::string redoLabel() const { return future_.empty() ? std::string() : future_.back().label; }

    /// The edit that a change of the document's JSON makes: `patch` is a JSON Patch (RFC 6902). Nothing is
    /// changed yet. Throws Refused (400, 422) for a patch that does not apply or makes no document.
    edit::Edit patched(const std::string& patch) const;
    /// The edits that `undo` and `redo` lead to. Throws Refused (409) where there is no step.
    edit::Edit before() const;
    edit::Edit after() const;

    /// Takes an edit over as one more step; steps of the same gesture, which has a name, become one.
    void change(edit::Edit edit, const std::string& label, const std::string& gesture);
    void undo();
    void redo();

    /// Writes the newest revision, unless it is written already, or another program has changed the file.
    void save();
    /// Looks whether another program has changed the file. True when `saving` has changed.
    bool look();
    /// Answers a conflict. `theirs` may throw Refusal for a file that is no document; then nothing changes.
    void resolve(Choice choice);

    /// The document as it is written. Throws Refusal for names that a document cannot hold.
    std::string text() const;

  private:
    struct Step {
        std::string label;
        std::string gesture;
        edit::Edit edit;  ///< on the other side of the step
    };
    void take(edit::Edit edit);
    void recall();
    void keepSteps() const;

    std::string file_;
    edit::Edit edit_;
    std::string state_;
    std::uint64_t revision_ = 1;
    std::vector<Step> past_;
    std::vector<Step> future_;
    bool exists_ = false;
    bool dirty_ = false;
    std::string written_;  ///< what the file held when it was last read or written here
    Saving saving_ = Saving::none;
    std::string problem_;
};

}  // namespace tumblewash::studio
