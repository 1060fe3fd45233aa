#include "studio/Document.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/JsonText.h"
#include "edit/Outputs.h"
#include "media/MediaError.h"
#include "studio/History.h"
#include "studio/Http.h"

namespace tumblewash::studio {

using edit::Edit;
using edit::Json;

namespace {

/// What lies at `file` now; nothing when it cannot be read.
std::optional<std::string> bytesOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), {});
}

/// A name beside `file` that nothing has yet: my.edit.json, my-2.edit.json, ...
std::string freeNameBeside(const std::string& file) {
    constexpr std::string_view kEnding = ".edit.json";
    const std::string stem = file.substr(0, file.size() - kEnding.size());
    std::error_code ignored;
    for (int i = 2;; ++i) {
        std::string name = stem + "-" + std::to_string(i) + std::string(kEnding);
        if (!std::filesystem::exists(name, ignored)) return name;
    }
}

}  // namespace

Document::Document(std::string file, Edit edit, std::string state)
    : file_(std::move(file)), edit_(std::move(edit)), state_(std::move(state)) {
    std::error_code ignored;
    exists_ = std::filesystem::exists(file_, ignored);
    if (!exists_) return;
    written_ = edit::readDocument(file_);
    edit_ = edit::readEdit(written_, file_);
    saving_ = Saving::saved;
    recall();
}

void Document::recall() {
    const KeptSteps kept = readHistory(state_, file_, written_);
    try {
        for (const KeptStep& step : kept.past)
            past_.push_back({step.label, {}, edit::readEdit(step.text, file_)});
        for (const KeptStep& step : kept.future)
            future_.push_back({step.label, {}, edit::readEdit(step.text, file_)});
    } catch (const edit::Refusal&) {
        past_.clear();
        future_.clear();
    }
}

void Document::keepSteps() const {
    if (state_.empty()) return;
    KeptSteps steps;
    for (const Step& step : past_) steps.past.push_back({step.label, edit::editJson(step.edit)});
    for (const Step& step : future_) steps.future.push_back({step.label, edit::editJson(step.edit)});
    writeHistory(state_, file_, written_, steps);
}

std::string Document::text() const {
    return edit::editJson(edit_);
}

Edit Document::patched(const std::string& patch) const {
    try {
        const Json applied = Json::parse(text()).patch(Json::parse(patch));
        if (const auto clips = applied.find("clips");
            clips == applied.end() || !clips->is_array() || clips->empty())
            throw Refused{422, "no-clips", "an edit has one clip or more"};
        return edit::readEdit(applied.dump(), file_);
    } catch (const Json::exception& problem) {
        throw Refused{400, "bad-patch", std::string("this change does not fit: ") + problem.what()};
    } catch (const edit::Refusal& refused) {
        throw Refused{422, "bad-document", refused.what()};
    }
}

Edit Document::before() const {
    if (past_.empty()) throw Refused{409, "no-step", "there is nothing to undo"};
    return past_.back().edit;
}

Edit Document::after() const {
    if (future_.empty()) throw Refused{409, "no-step", "there is nothing to redo"};
    return future_.back().edit;
}

void Document::take(Edit edit) {
    edit_ = std::move(edit);
    ++revision_;
    dirty_ = true;
}

void Document::change(Edit edit, const std::string& label, const std::string& gesture) {
    const bool same =
        !gesture.empty() && !past_.empty() && past_.back().gesture == gesture && future_.empty();
    if (!same) past_.push_back({label, gesture, edit_});
    future_.clear();
    take(std::move(edit));
}

void Document::undo() {
    Step step = std::move(past_.back());
    past_.pop_back();
    future_.push_back({step.label, {}, edit_});
    take(std::move(step.edit));
}

void Document::redo() {
    Step step = std::move(future_.back());
    future_.pop_back();
    past_.push_back({step.label, {}, edit_});
    take(std::move(step.edit));
}

bool Document::look() {
    if (!exists_ || saving_ == Saving::conflict) return false;
    const std::optional<std::string> now = bytesOf(file_);
    // A file that is gone is simply written again.
    if (!now || *now == written_) return false;
    saving_ = Saving::conflict;
    return true;
}

void Document::save() {
    if (!dirty_ || edit_.clips.empty()) return;
    if (look() || saving_ == Saving::conflict) return;
    try {
        const std::string now = text();
        // A file that has come to lie there since the start is not ours.
        edit::TextFile(file_, now, exists_).commit();
        written_ = now;
        exists_ = true;
        dirty_ = false;
        saving_ = Saving::saved;
        problem_.clear();
        keepSteps();
    } catch (const edit::Refusal& refused) {
        saving_ = Saving::failed;
        problem_ = refused.what();
    } catch (const media::MediaError& problem) {
        saving_ = Saving::failed;
        problem_ = problem.what();
    }
}

void Document::resolve(Choice choice) {
    if (choice == Choice::theirs) {
        const std::string theirs = edit::readDocument(file_);
        Edit edit = edit::readEdit(theirs, file_);
        written_ = theirs;
        change(std::move(edit), "theirs", {});
        dirty_ = false;
        saving_ = Saving::saved;
        return;
    }
    if (choice == Choice::both) {
        file_ = freeNameBeside(file_);
        exists_ = false;
    } else {
        written_ = bytesOf(file_).value_or(written_);
    }
    dirty_ = true;
    saving_ = Saving::none;
    save();
}

}  // namespace tumblewash::studio
