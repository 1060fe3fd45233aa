// The engine `local`: items side by side on this machine, by xargs.
#include <fmt/format.h>

#include <thread>

#include "farm/Engine.h"

namespace tumblewash::farm {

namespace {

// An item that is killed ends with a signal, at which xargs would start no more of them.
constexpr const char* kOneItem = "exec 2>/dev/null; sh \"$TUMBLEWASH_FOLDER/item.sh\" \"$1\" || exit 1";

}  // namespace

std::vector<Script> localScripts(const Job& job) {
    const unsigned cores = std::thread::hardware_concurrency();
    const int jobs = job.jobs > 0 ? job.jobs : static_cast<int>(cores > 0 ? cores : 1);
    std::string text = fmt::format("#!/bin/sh\n# {}: {} side by side on this machine.\n{}failed=0\n",
                                   job.title, jobs, shellHead(job));
    if (!job.items.empty())
        text += fmt::format("printf '%s\\n' {} |\n    xargs -n 1 -P {} sh -c '{}' item || failed=1\n",
                            fmt::join(job.items, " "), jobs, kOneItem);
    text += finishLines(job);
    return {{"local.sh", std::move(text)}, itemScript(job)};
}

}  // namespace tumblewash::farm
