#include "app/Program.h"

#include <fmt/format.h>

#include <cstdio>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "app/Batch.h"
#include "app/Demo.h"
#include "app/ExitCode.h"
#include "app/Farm.h"
#include "app/FfmpegScript.h"
#include "app/Field.h"
#include "app/Help.h"
#include "app/List.h"
#include "app/Movie.h"
#include "app/Options.h"
#include "app/Plans.h"
#include "app/Say.h"
#include "app/Sheet.h"
#include "app/Signals.h"
#include "app/Stills.h"
#include "app/Studio.h"
#include "app/Written.h"
#include "edit/DocumentKeys.h"
#include "edit/Errors.h"
#include "host/HostError.h"
#include "media/InputMemory.h"
#include "media/MediaError.h"

namespace tumblewash::app {

using edit::Problem;
using edit::Refusal;
using host::HostError;
using media::MediaError;
using media::MediaErrorCode;

namespace {

std::string generated(const std::string& what) {
    if (what == "schema") return edit::documentSchema();
    return what == "man" ? manPage() : completionScript(what);
}

void dispatch(const Options& o) {
    if (o.version) return printText(versionText());
    if (!o.generate.empty()) return printText(generated(o.generate));
    if (o.help) return printText(helpText(o.command));
    switch (o.command) {
        case Command::Join:
        case Command::Slideshow:
        case Command::Out:
        case Command::In:
            return makeMovie(o);
        case Command::Plan:
            return makePlan(o);
        case Command::Render:
            return renderDocument(o);
        case Command::Merge:
            return mergePlan(o);
        case Command::Submit:
            return submitPlan(o);
        case Command::Status:
            return showStatus(o);
        case Command::Batch:
            return runBatch(o);
        case Command::Frame:
            return makeFrame(o);
        case Command::Sheet:
            return makeSheet(o);
        case Command::Field:
            return makeField(o);
        case Command::FfmpegScript:
            return makeFfmpegScript(o);
        case Command::Studio:
            return runStudio(o);
        case Command::List:
            return printText(o.json ? listJson(o) : listText(o));
        case Command::Demo:
            return makeDemo(o);
        case Command::None:
            return printText(helpText(Command::None));
    }
}

ExitCode codeOf(MediaErrorCode code) {
    switch (code) {
        case MediaErrorCode::unreadable:
        case MediaErrorCode::undecodable:
        case MediaErrorCode::noVideo:
            return ExitCode::BadInput;
        case MediaErrorCode::badRequest:
            return ExitCode::BadUsage;
        case MediaErrorCode::notWritable:
            return ExitCode::BadOutput;
        case MediaErrorCode::encoding:
            return ExitCode::RenderFailed;
        case MediaErrorCode::cancelled:
            return ExitCode::Interrupted;
    }
    return ExitCode::RenderFailed;
}

ExitCode codeOf(Problem problem) {
    switch (problem) {
        case Problem::BadRequest:
            return ExitCode::BadUsage;
        case Problem::BadInput:
            return ExitCode::BadInput;
        case Problem::BadOutput:
            return ExitCode::BadOutput;
        case Problem::RenderFailed:
            return ExitCode::RenderFailed;
        case Problem::Interrupted:
            return ExitCode::Interrupted;
    }
    return ExitCode::RenderFailed;
}

int refuse(ExitCode code, const char* words) {
    // What breaks off after a signal breaks because of it, whatever it says about itself.
    if (interruptFlag().load()) {
        sayInterrupted(writtenWords().c_str());
        return interruptStatus();
    }
    // Plain calls: memory may have run out, and standard error may be closed.
    if (anythingWritten())
        std::fprintf(stderr, "tumblewash: %s; %s\n", words, writtenWords().c_str());
    else
        sayLine("tumblewash: ", words);
    return static_cast<int>(code);
}

}  // namespace

int runProgram(int argc, char** argv) noexcept {
    try {
        installSignalHandlers();
        media::limitMemoryOfInputs();
        dispatch(parseOptions(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc)));
        return static_cast<int>(ExitCode::Done);
    } catch (const Refusal& refusal) {
        return refuse(codeOf(refusal.problem()), refusal.what());
    } catch (const MediaError& problem) {
        return refuse(codeOf(problem.code()), problem.what());
    } catch (const HostError& problem) {
        return refuse(problem.code() == kPluginBadParams ? ExitCode::BadUsage : ExitCode::RenderFailed,
                      problem.what());
    } catch (const std::bad_alloc&) {
        return refuse(ExitCode::RenderFailed, "memory ran out; use a smaller --size or fewer --threads");
    } catch (const std::system_error& problem) {
        if (problem.code() != std::errc::resource_unavailable_try_again)
            return refuse(ExitCode::RenderFailed, problem.what());
        return refuse(ExitCode::RenderFailed,
                      "the system cannot start another thread; end other programs, or raise the process "
                      "limit (ulimit -u)");
    } catch (const std::exception& problem) {
        return refuse(ExitCode::RenderFailed, problem.what());
    } catch (...) {
        return refuse(ExitCode::RenderFailed, "internal error; please report it");
    }
}

}  // namespace tumblewash::app
