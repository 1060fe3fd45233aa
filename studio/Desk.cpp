#include "studio/Desk.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "edit/Document.h"
#include "edit/Effects.h"
#include "edit/Errors.h"
#include "edit/Exchange.h"
#include "edit/JsonText.h"
#include "edit/Mlt.h"
#include "edit/Shell.h"
#include "media/Codecs.h"
#include "media/MediaError.h"
#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::studio {

using edit::Edit;
using edit::EditClip;
using edit::Json;
using edit::Refusal;
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kPageOfEntries = 200;

Response jsonResponse(const Json& json, int status = 200) {
    Response response;
    response.status = status;
    response.type = "application/json";
    response.body = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    return response;
}

/// The body of a request: an object with these keys and no others.
Json bodyOf(const Request& request, std::initializer_list<const char*> keys) {
    Json body;
    try {
        body = edit::parseJson(request.body, "the request");
    } catch (const Refusal& refused) {
        throw Refused{400, "bad-json", refused.what()};
    }
    if (!body.is_object()) throw Refused{400, "bad-json", "send an object"};
    for (const auto& [key, value] : body.items())
        if (std::find(keys.begin(), keys.end(), key) == keys.end())
            throw Refused{400, "unknown-key", key + ": no such key"};
    return body;
}

std::string textAt(const Json& body, const char* key, const std::string& otherwise = {}) {
    const auto found = body.find(key);
    if (found == body.end()) return otherwise;
    if (!found->is_string()) throw Refused{400, "bad-json", std::string(key) + ": give a text"};
    return found->get<std::string>();
}

bool flagAt(const Json& body, const char* key) {
    const auto found = body.find(key);
    if (found == body.end()) return false;
    if (!found->is_boolean()) throw Refused{400, "bad-json", std::string(key) + ": give true or false"};
    return found->get<bool>();
}

const char* savingWord(Saving saving) {
    switch (saving) {
        case Saving::saved:
            return "saved";
        case Saving::failed:
            return "failed";
        case Saving::conflict:
            return "conflict";
        case Saving::none:
            break;
    }
    return "none";
}

/// A file's name as a word of a command, and no option.
std::string fileWord(const std::string& name) {
    return edit::shellWord((name.starts_with('-') ? "./" : "") + name);
}

std::string realPath(const std::string& path) {
    std::error_code problem;
    const fs::path real = fs::weakly_canonical(path.empty() ? "." : path, problem);
    return problem ? path : real.string();
}

/// Adds the files that an edit names to `files`.
void noteFiles(const Edit& edit, std::set<std::string>& files) {
    for (const EditClip& clip : edit.clips)
        if (!clip.black()) files.insert(fileOf(edit, clip));
    if (edit.music) files.insert(musicOf(edit));
}

}  // namespace

Desk::Desk(const std::string& document, Edit edit, const std::vector<std::string>& folders,
           const std::string& state, Events& events, const std::atomic<bool>& cancel)
    : events_(events),
      cancel_(cancel),
      document_(document, std::move(edit), state),
      folders_(folders),
      effects_(effectsJson(edit::openPlugin({}))),
      job_(
          [this] { events_.tell("job", job_.json().dump(-1, ' ', false, Json::error_handler_t::replace)); }) {
    noteFiles(document_.edit(), known_);
}

PlanRef Desk::plan() const {
    const std::scoped_lock hold(planLock_);
    return plan_;
}

void Desk::publish(PlanRef plan, std::string problem) {
    const std::scoped_lock hold(planLock_);
    plan_ = std::move(plan);
    problem_ = std::move(problem);
}

PlanRef Desk::settle(const Edit& edit, std::uint64_t revision) {
    edit::RenderSettings settings;
    settings.shelf = &shelf_;
    settings.planOnly = settings.countOnly = true;
    settings.cancel = &cancel_;
    return std::make_shared<const Plan>(revision, edit, prepareMovie(edit, settings));
}

void Desk::settleAsFarAsPossible() {
    if (document_.edit().clips.empty()) return publish(nullptr, {});
    try {
        publish(settle(document_.edit(), document_.revision()), {});
    } catch (const std::exception& problem) {
        publish(nullptr, problem.what());
    }
}

std::string Desk::folderOfDocument() const {
    return realPath(fs::path(document_.file()).parent_path().string());
}

std::string Desk::nameInDocument(const std::string& file) const {
    const std::string folder = folderOfDocument();
    if (file.starts_with(folder + "/")) return file.substr(folder.size() + 1);
    return file;
}

// What the document had at the start is its own affair; the page adds nothing from outside the folders. What
// it has chosen and is gone by now will be told as missing.
void Desk::refuseForeignFiles(const Edit& edit) const {
    const auto refuseOutside = [&](const std::string& file, const std::string& name) {
        std::error_code ignored;
        const bool gone = chosen_.contains(file) && !fs::exists(file, ignored);
        if (!known_.contains(file) && !folders_.find(file) && !gone)
            throw Refused{403, "outside", name + ": lies outside of the folders of this studio"};
    };
    for (const EditClip& clip : edit.clips)
        if (!clip.black() && !media::isPattern(clip.file)) refuseOutside(fileOf(edit, clip), clip.file);
    if (edit.music) refuseOutside(musicOf(edit), edit.music->file);
}

// The name that was looked at may have come to stand for another file before it was opened.
void Desk::refuseForeignClips(const Plan& plan) const {
    for (std::size_t i = 0; i < plan.request.clips.size(); ++i) {
        const edit::Clip& clip = plan.request.clips[i];
        const EditClip& said = plan.edit.clips[i];
        if (said.black() || media::isPattern(said.file) || known_.contains(fileOf(plan.edit, said))) continue;
        if (folders_.find(clip.path()) != clip.info().identity)
            throw Refused{403, "outside", said.file + ": was replaced while it was looked at"};
    }
}

void Desk::refuseOld(const Json& body) const {
    const auto revision = body.find("revision");
    if (revision == body.end() || !revision->is_number_unsigned())
        throw Refused{400, "bad-json", "revision: give the revision that you have seen"};
    if (document_.saving() == Saving::conflict)
        throw Refused{409, "changed-outside", "the document was changed by another program"};
    if (revision->get<std::uint64_t>() != document_.revision())
        throw Refused{409, "revision", "the document has changed in the meantime"};
}

void Desk::saveAndTell() {
    document_.save();
    events_.tell("revision", fmt::format("{{\"revision\":{}}}", document_.revision()));
}

void Desk::edit(const Json& body) {
    refuseOld(body);
    const auto patch = body.find("patch");
    if (patch == body.end() || !patch->is_array()) throw Refused{400, "bad-json", "patch: give an array"};
    Edit next = document_.patched(patch->dump());
    refuseForeignFiles(next);
    const bool sound = plan() != nullptr || document_.edit().clips.empty();
    PlanRef settled;
    std::string problem;
    try {
        settled = settle(next, document_.revision() + 1);
        refuseForeignClips(*settled);
    } catch (const Refused&) {
        throw;
    } catch (const std::exception& refused) {
        // A document that could be settled stays one; of one that could not, every change may be a repair.
        if (sound) throw Refused{422, "cannot-be", refused.what()};
        problem = refused.what();
    }
    noteFiles(next, chosen_);
    document_.change(std::move(next), textAt(body, "label", "change"), textAt(body, "gesture"));
    publish(std::move(settled), std::move(problem));
    saveAndTell();
}

void Desk::step(const Json& body, bool back) {
    refuseOld(body);
    if (back) {
        (void)document_.before();
        document_.undo();
    } else {
        (void)document_.after();
        document_.redo();
    }
    settleAsFarAsPossible();
    saveAndTell();
}

void Desk::resolve(const Json& body) {
    if (document_.saving() != Saving::conflict)
        throw Refused{409, "no-conflict", "there is nothing to decide"};
    const std::string choice = textAt(body, "choice");
    if (choice != "theirs" && choice != "mine" && choice != "both")
        throw Refused{400, "bad-json", "choice: give theirs, mine or both"};
    document_.resolve(choice == "theirs" ? Choice::theirs : choice == "mine" ? Choice::mine : Choice::both);
    noteFiles(document_.edit(), known_);
    settleAsFarAsPossible();
    saveAndTell();
}

Json Desk::state() const {
    const PlanRef settled = plan();
    Json state{{"revision", document_.revision()},
               {"document", edit::parseJson(document_.text(), document_.file())},
               {"plan", settled ? planJson(*settled) : Json()},
               {"problem", problem_},
               {"file", fs::path(document_.file()).filename().string()},
               {"folder", folderOfDocument()},
               {"saving", savingWord(document_.saving())},
               {"savingProblem", document_.problem()},
               {"undo", document_.undoLabel()},
               {"redo", document_.redoLabel()},
               {"effects", effects_},
               {"job", job_.json()}};
    state["roots"] = Json::array();
    for (const std::string& path : folders_.paths())
        state["roots"].push_back(fs::path(path).filename().string());
    return state;
}

Json Desk::media(const Target& target) const {
    const auto root = static_cast<std::size_t>(target.whole("root", 0, 1000, 0));
    const auto from = static_cast<std::size_t>(target.whole("from", 0, 1000000, 0));
    const auto found = target.query.find("path");
    const std::string path = found == target.query.end() ? std::string() : found->second;
    const auto kind = target.query.find("kind");
    const bool music = kind != target.query.end() && kind->second == "music";
    if (kind != target.query.end() && !music && kind->second != "clips")
        throw Refused{400, "bad-query", "kind: give clips or music"};
    const std::vector<FolderEntry> entries = folders_.list(root, path, music ? Wanted::music : Wanted::clips);
    Json list{{"total", entries.size()}, {"entries", Json::array()}};
    const std::string base = folders_.paths().at(root) + "/" + (path.empty() ? "" : path + "/");
    for (std::size_t i = from; i < std::min(entries.size(), from + kPageOfEntries); ++i) {
        const FolderEntry& entry = entries[i];
        Json row{{"name", media::quotedName(entry.name)}, {"folder", entry.folder}, {"bytes", entry.bytes}};
        // What is no UTF-8 cannot stand in a document.
        if (media::isUtf8(entry.name))
            row[entry.folder ? "path" : "file"] = entry.folder ? (path.empty() ? "" : path + "/") + entry.name
                                                               : nameInDocument(base + entry.name);
        list["entries"].push_back(std::move(row));
    }
    return list;
}

Json Desk::exported(const std::string& format) const {
    const std::string name = fs::path(document_.file()).filename().string();
    const std::string stem = name.substr(0, name.size() - std::string(".edit.json").size());
    if (format == "command")
        return {
            {"name", stem + ".sh"},
            {"text", fmt::format("tumblewash render {} -o {}\n", fileWord(name), fileWord(stem + ".mp4"))},
            {"remarks", Json::array()}};
    const PlanRef settled = plan();
    if (!settled) throw Refused{409, "no-plan", "the edit cannot be rendered as it is"};
    if (format == "mlt")
        return {{"name", stem + ".mlt"},
                {"text", mltProject(settled->edit, settled->request)},
                {"remarks", Json::array()}};
    if (format != "otio" && format != "edl" && format != "ffconcat")
        throw Refused{400, "bad-format", "format: give otio, edl, ffconcat, mlt or command"};
    std::vector<std::string> remarks;
    const std::string file = (fs::path(folderOfDocument()) / (stem + "." + format)).string();
    std::string text = edit::exchangeText(file, settled->edit, settled->request, remarks);
    return {{"name", stem + "." + format}, {"text", std::move(text)}, {"remarks", remarks}};
}

Response Desk::render(const Json& body) {
    const std::string name = textAt(body, "name");
    if (name.empty() || name.front() == '.' || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos || name.size() > 200)
        throw Refused{422, "bad-name", "give a file name without folders, such as movie.mp4"};
    if (media::movieKindOf(name) == nullptr)
        throw Refused{422, "bad-name", name + ": choose a name ending in " + media::movieEndings("or")};
    const std::string output = (fs::path(folderOfDocument()) / name).string();
    std::error_code ignored;
    const fs::file_status there = fs::symlink_status(output, ignored);
    // It may lead out of the folder.
    if (fs::is_symlink(there))
        throw Refused{409, "link", name + ": is a link to another file; choose another name"};
    if (!flagAt(body, "force") && fs::exists(there)) throw Refused{409, "exists", name + ": already exists"};
    if (!job_.start(document_.edit(), output, flagAt(body, "force"),
                    !body.contains("copy") || flagAt(body, "copy"), document_.file()))
        throw Refused{409, "busy", "a movie is being made already"};
    return jsonResponse(job_.json(), 202);
}

void Desk::tend() {
    const Saving before = document_.saving();
    document_.look();
    if (document_.saving() == Saving::failed) document_.save();
    if (document_.saving() != before)
        events_.tell("saving", fmt::format("{{\"saving\":\"{}\"}}", savingWord(document_.saving())));
}

Response Desk::answer(const std::string& word, const Request& request, const Target& target) {
    const bool post = request.method == "POST";
    const auto refuseMethod = [&](bool wanted) {
        if (post != wanted)
            throw Refused{405, "method", std::string("this is asked for by ") + (wanted ? "POST" : "GET")};
    };
    if (word == "state") {
        refuseMethod(false);
        return jsonResponse(state());
    }
    if (word == "media") {
        refuseMethod(false);
        return jsonResponse(media(target));
    }
    if (word == "edit") {
        refuseMethod(true);
        edit(bodyOf(request, {"revision", "label", "gesture", "patch"}));
        return jsonResponse(state());
    }
    if (word == "undo" || word == "redo") {
        refuseMethod(true);
        step(bodyOf(request, {"revision"}), word == "undo");
        return jsonResponse(state());
    }
    if (word == "resolve") {
        refuseMethod(true);
        resolve(bodyOf(request, {"choice"}));
        return jsonResponse(state());
    }
    if (word == "export") {
        refuseMethod(true);
        return jsonResponse(exported(textAt(bodyOf(request, {"format"}), "format")));
    }
    if (word == "render") {
        refuseMethod(true);
        return render(bodyOf(request, {"name", "force", "copy"}));
    }
    if (word == "cancel") {
        refuseMethod(true);
        const Json body = bodyOf(request, {"id"});
        const auto id = body.find("id");
        if (id == body.end() || !id->is_number_unsigned() || !job_.cancel(id->get<std::uint64_t>()))
            throw Refused{409, "no-job", "no such movie is being made"};
        return jsonResponse(job_.json(), 202);
    }
    throw Refused{404, "no-such-address", "there is no such address"};
}

}  // namespace tumblewash::studio
