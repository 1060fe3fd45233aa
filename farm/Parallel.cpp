// The engine `parallel`: items by GNU parallel, with its log of what was done. Started again by hand, its
// script takes up what the log does not have.
#include <fmt/format.h>

#include "farm/Engine.h"

namespace tumblewash::farm {

std::vector<Script> parallelScripts(const Job& job) {
    // The command is for a shell that parallel starts; names reach it through the environment, so that
    // nothing in them is taken for one of its own signs.
    std::string text = fmt::format(
        "#!/bin/sh\n# {}: by GNU parallel.\n{}"
        "PARALLEL_SHELL=/bin/sh\nexport PARALLEL_SHELL\nfailed=0\n",
        job.title, shellHead(job));
    if (!job.items.empty()) {
        const std::string jobs = job.jobs > 0 ? fmt::format(" --jobs {}", job.jobs) : "";
        text += fmt::format(
            "printf '%s\\n' {} |\n    parallel --will-cite{} --joblog \"$TUMBLEWASH_FOLDER/joblog\" "
            "--resume-failed \\\n        'sh \"$TUMBLEWASH_FOLDER/item.sh\" {{}}' || failed=1\n",
            fmt::join(job.items, " "), jobs);
    }
    text += finishLines(job);
    return {{"parallel.sh", std::move(text)}, itemScript(job)};
}

}  // namespace tumblewash::farm
