// Everything that reads or changes the document: state, edits, undo, conflicts, the file chooser, exports,
// the movie. All of it runs on one thread, one request after another; the settled plan is handed to others.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "edit/ClipShelf.h"
#include "studio/Document.h"
#include "studio/Events.h"
#include "studio/Folders.h"
#include "studio/Http.h"
#include "studio/Job.h"
#include "studio/Plan.h"

namespace tumblewash::studio {

/// The desk. All but `plan` is one thread's at a time.
class Desk {
  public:
    /// Opens the document. Throws Refusal for a file that is no document and folders that cannot be opened.
    Desk(const std::string& document, edit::Edit edit, const std::vector<std::string>& folders,
         const std::string& state, Events& events, const std::atomic<bool>& cancel);

    /// Settles the document as far as it can be, which looks at its clips; the first thing to be done.
    void begin() { settleAsFarAsPossible(); }

    /// Answers `api/WORD`. Throws Refused, Refusal or MediaError.
    Response answer(const std::string& word, const Request& request, const Target& target);

    /// Looks after the file: changes from outside, and saving that has failed. To be called now and then.
    void tend();

    /// The newest edit that could be settled; null where there was none. From any thread.
    PlanRef plan() const;
    /// The finished movie of a job; empty where there is none. From any thread.
    std::string movie(std::uint64_t id) const { return job_.outputOf(id); }
    const Document& document() const noexcept { return document_; }
    /// The clips that are known, for whoever plans too. From any thread.
    edit::ClipShelf& shelf() noexcept { return shelf_; }
    /// True while a movie is made. From any thread.
    bool rendering() const { return job_.running(); }

  private:
    nlohmann::ordered_json state() const;
    nlohmann::ordered_json media(const Target& target) const;
    nlohmann::ordered_json exported(const std::string& format) const;
    void edit(const nlohmann::ordered_json& body);
    void step(const nlohmann::ordered_json& body, bool back);
    void resolve(const nlohmann::ordered_json& body);
    Response render(const nlohmann::ordered_json& body);
    void refuseOld(const nlohmann::ordered_json& body) const;
    void refuseForeignFiles(const edit::Edit& edit) const;
    void refuseForeignClips(const Plan& plan) const;
    PlanRef settle(const edit::Edit& edit, std::uint64_t revision);
    void settleAsFarAsPossible();
    void publish(PlanRef plan, std::string problem);
    void saveAndTell();
    std::string folderOfDocument() const;
    std::string nameInDocument(const std::string& file) const;

    Events& events_;
    const std::atomic<bool>& cancel_;
    Document document_;
    Folders folders_;
    edit::ClipShelf shelf_;
    std::set<std::string> known_;   ///< files of the document itself, wherever they lie
    std::set<std::string> chosen_;  ///< files that the page has chosen
    mutable std::mutex planLock_;
    PlanRef plan_;
    std::string problem_;  ///< why the document cannot be settled
    const nlohmann::ordered_json effects_;
    Job job_;
};

}  // namespace tumblewash::studio
