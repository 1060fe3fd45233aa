// The engine `slurm`: a job array, and a job after it. Partition, account and limits are the site's, given as
// sbatch reads them from the environment: SBATCH_PARTITION, SBATCH_ACCOUNT, SBATCH_TIMELIMIT.
#include <fmt/format.h>

#include "farm/Engine.h"

namespace tumblewash::farm {

namespace {

/// 0,2-5,9: as the array's numbers are written.
std::string ranges(const std::vector<int>& items) {
    std::string out;
    for (std::size_t i = 0; i < items.size();) {
        std::size_t end = i;
        while (end + 1 < items.size() && items[end + 1] == items[end] + 1) ++end;
        if (!out.empty()) out += ',';
        out += end > i ? fmt::format("{}-{}", items[i], items[end]) : fmt::format("{}", items[i]);
        i = end + 1;
    }
    return out;
}

}  // namespace

std::vector<Script> slurmScripts(const Job& job) {
    const std::string cap = job.jobs > 0 ? fmt::format("%{}", job.jobs) : "";
    std::string start = fmt::format("#!/bin/sh\n# {}: a job array of Slurm, and a job after it.\n{}set -e\n",
                                    job.title, shellHead(job));
    const char* const after = job.finishAlways ? "afterany" : "afterok";
    if (job.items.empty()) {
        start += "finish=$(sbatch --parsable \"$TUMBLEWASH_FOLDER/finish.sh\")\necho \"finish $finish\"\n";
    } else {
        start += fmt::format(
            "array=$(sbatch --parsable \"$TUMBLEWASH_FOLDER/array.sh\")\n"
            "array=${{array%%;*}}\n"
            "finish=$(sbatch --parsable --dependency={}:\"$array\" --kill-on-invalid-dep=yes "
            "\"$TUMBLEWASH_FOLDER/finish.sh\")\n"
            "echo \"array $array, finish ${{finish%%;*}}\"\n",
            after);
    }
    std::vector<Script> scripts{{"slurm.sh", std::move(start)}, itemScript(job)};
    // The words of each run go to a log of its own in the folder, whatever its name holds.
    if (!job.items.empty())
        scripts.push_back(
            {"array.sh", fmt::format("#!/bin/sh\n#SBATCH --job-name=tumblewash\n#SBATCH --array={}{}\n"
                                     "#SBATCH --requeue\n#SBATCH --output=/dev/null\n{}"
                                     "exec sh \"$TUMBLEWASH_FOLDER/item.sh\" \"$SLURM_ARRAY_TASK_ID\"\n",
                                     ranges(job.items), cap, shellHead(job))});
    scripts.push_back(
        {"finish.sh", fmt::format("#!/bin/sh\n#SBATCH --job-name=tumblewash-finish\n#SBATCH --requeue\n"
                                  "#SBATCH --output=/dev/null\n{}"
                                  "exec >\"$TUMBLEWASH_FOLDER/finish.log\" 2>&1\nexec {}\n",
                                  shellHead(job), shellWords(job.finish))});
    return scripts;
}

}  // namespace tumblewash::farm
