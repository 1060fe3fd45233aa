#include "app/program.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <new>

#include "app/demo.h"
#include "app/field.h"
#include "app/help.h"
#include "app/list.h"
#include "app/movie.h"
#include "app/options.h"
#include "app/sheet.h"
#include "app/signals.h"
#include "app/stills.h"
#include "edit/errors.h"
#include "edit/outputs.h"
#include "host/HostError.h"
#include "media/MediaError.h"
#include "media/Staging.h"

namespace tumblewash::app {

using edit::failWhileWorking;
using edit::Problem;
using edit::Refusal;
using host::HostError;
using media::MediaError;
using media::MediaErrorCode;
using media::throwNotWritable;

namespace {

void print(const std::string& text) try {
    if (std::fputs(text.c_str(), stdout) == EOF || std::fflush(stdout) != 0)
        throwNotWritable("standard output", errno);
} catch (const MediaError& problem) {
    failWhileWorking(problem);
}

std::string generated(const std::string& what) {
    return what == "man" ? manPage() : completionScript(what);
}

void dispatch(const Options& o) {
    if (o.version) return print(versionText());
    if (!o.generate.empty()) return print(generated(o.generate));
    if (o.help) return print(helpText(o.command));
    switch (o.command) {
        case Command::Join:
        case Command::Out:
        case Command::In:
            return makeMovie(o);
        case Command::Frame:
            return makeFrame(o);
        case Command::Sheet:
            return makeSheet(o);
        case Command::Field:
            return makeField(o);
        case Command::List:
            return print(o.json ? listJson(o) : listText(o));
        case Command::Demo:
            return makeDemo(o);
        case Command::None:
            return print(helpText(Command::None));
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

ExitCode refuse(ExitCode code, const char* words) {
    // What breaks off after a signal breaks because of it, whatever it says about itself.
    if (interruptFlag().load()) code = ExitCode::Interrupted;
    // Plain calls: memory may have run out, and standard error may be closed.
    if (code == ExitCode::Interrupted)
        std::fprintf(stderr, "tumblewash: interrupted by %s: nothing was written\n", interruptName());
    else
        std::fprintf(stderr, "tumblewash: %s\n", words);
    return code;
}

}  // namespace

ExitCode runProgram(const std::vector<std::string>& arguments) noexcept {
    try {
        installSignalHandlers();
        dispatch(parseOptions(arguments));
        return ExitCode::Done;
    } catch (const Refusal& refusal) {
        return refuse(codeOf(refusal.problem()), refusal.what());
    } catch (const MediaError& problem) {
        return refuse(codeOf(problem.code()), problem.what());
    } catch (const HostError& problem) {
        return refuse(problem.code() == kPluginBadParams ? ExitCode::BadUsage : ExitCode::RenderFailed,
                      problem.what());
    } catch (const std::bad_alloc&) {
        return refuse(ExitCode::RenderFailed, "memory ran out; use a smaller --size or fewer --threads");
    } catch (const std::exception& problem) {
        return refuse(ExitCode::RenderFailed, problem.what());
    } catch (...) {
        return refuse(ExitCode::RenderFailed, "something unforeseen went wrong; please report it");
    }
}

}  // namespace tumblewash::app
