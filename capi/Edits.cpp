// Whole edits: tumblewash.h over edit/.
#include <atomic>
#include <new>
#include <stdexcept>
#include <string>

#include "capi/LastError.h"
#include "capi/tumblewash.h"
#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/JsonText.h"
#include "edit/Render.h"
#include "host/HostError.h"
#include "media/MediaError.h"

namespace tumblewash::capi {

namespace {

using edit::Problem;
using edit::Refusal;
using media::MediaError;
using media::MediaErrorCode;

tw_status statusOf(Problem problem) {
    switch (problem) {
        case Problem::BadRequest:
            return TW_BAD_ARGUMENT;
        case Problem::BadInput:
            return TW_BAD_INPUT;
        case Problem::BadOutput:
            return TW_BAD_OUTPUT;
        case Problem::Interrupted:
            return TW_CANCELLED;
        case Problem::RenderFailed:
            break;
    }
    return TW_FAILED;
}

tw_status statusOf(MediaErrorCode code) {
    switch (code) {
        case MediaErrorCode::unreadable:
        case MediaErrorCode::undecodable:
        case MediaErrorCode::noVideo:
            return TW_BAD_INPUT;
        case MediaErrorCode::badRequest:
            return TW_BAD_ARGUMENT;
        case MediaErrorCode::notWritable:
            return TW_BAD_OUTPUT;
        case MediaErrorCode::cancelled:
            return TW_CANCELLED;
        case MediaErrorCode::encoding:
            break;
    }
    return TW_FAILED;
}

/// Keeps the program's words for a caller, who has a flag where the program has an option.
tw_status refused(tw_status status, const char* words) noexcept {
    try {
        std::string text = words;
        const std::string option = "; add --force to ";
        if (const auto at = text.rfind(option); at != std::string::npos)
            text.replace(at, option.size(), "; pass TW_REPLACE to ");
        return failed(status, text.c_str());
    } catch (...) {
        return failed(status, words);
    }
}

/// What is wrong with a caller's arguments; null when nothing is.
const char* problemOf(const char* edit, const char* output, unsigned flags) noexcept {
    if (edit == nullptr || output == nullptr || *output == '\0')
        return "an edit and an output are needed; one of them is missing";
    return (flags & ~TW_REPLACE) != 0 ? "unknown flags; pass TW_REPLACE or 0" : nullptr;
}

/// Runs what may throw anything that a run of the program may meet.
template <class Work>
tw_status guarded(const std::atomic<bool>& cancel, Work work) noexcept {
    try {
        work();
        return TW_OK;
    } catch (const std::bad_alloc&) {
        return failed(TW_NO_MEMORY, "memory ran out; use a smaller size or fewer clips");
    } catch (const Refusal& refusal) {
        if (!cancel) return refused(statusOf(refusal.problem()), refusal.what());
    } catch (const MediaError& error) {
        if (!cancel) return refused(statusOf(error.code()), error.what());
    } catch (const std::exception& error) {
        if (!cancel) return failed(TW_FAILED, error.what());
    } catch (...) {
        if (!cancel) return failed(TW_FAILED, "rendering failed");
    }
    return failed(TW_CANCELLED, "cancelled; nothing was written");
}

struct Progress {
    tw_progress tell;
    void* user;
};

void render(const edit::Edit& edit, const char* output, unsigned flags, const char* document,
            const Progress& progress, std::atomic<bool>& cancel) {
    edit::RenderSettings settings;
    settings.output = output;
    settings.force = (flags & TW_REPLACE) != 0;
    if (document != nullptr) settings.reads = {document};
    settings.cancel = &cancel;
    edit::MovieRequest request = edit::prepareMovie(edit, settings);
    edit::Report report = edit::beginReport(edit, settings, request);
    const std::int64_t total = request.end - request.first;
    edit::RenderHooks hooks;
    hooks.advance = [&](std::int64_t done) {
        if (progress.tell != nullptr && !cancel && progress.tell(progress.user, done, total) != 0)
            cancel = true;
    };
    edit::renderMovie(settings, request, report, hooks);
}

}  // namespace

}  // namespace tumblewash::capi

using namespace tumblewash;
using namespace tumblewash::capi;

extern "C" {

tw_status tw_render_edit(const char* json, const char* folder, const char* output, unsigned flags,
                         tw_progress progress, void* user) {
    if (const char* problem = problemOf(json, output, flags)) return failed(TW_BAD_ARGUMENT, problem);
    std::atomic<bool> cancel{false};
    return guarded(cancel, [&] {
        edit::Edit edit = edit::readEdit(json, "edit");
        edit.folder = folder == nullptr ? "" : folder;
        capi::render(edit, output, flags, nullptr, {progress, user}, cancel);
    });
}

tw_status tw_render_edit_file(const char* file, const char* output, unsigned flags, tw_progress progress,
                              void* user) {
    if (const char* problem = problemOf(file, output, flags)) return failed(TW_BAD_ARGUMENT, problem);
    std::atomic<bool> cancel{false};
    return guarded(cancel, [&] {
        const edit::Edit edit = edit::readEdit(edit::readDocument(file), file);
        capi::render(edit, output, flags, file, {progress, user}, cancel);
    });
}
}
