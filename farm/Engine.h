// What starts many runs of this program: on this machine, with GNU parallel, or with a cluster's scheduler.
// An engine turns a job into scripts that anybody can read, and that do the same when they are started by
// hand. docs/adding-an-engine.md says how to write one. Nothing here knows what the runs do.
#pragma once

#include <atomic>
#include <span>
#include <string>
#include <vector>

namespace tumblewash::farm {

/// Runs that do not depend on each other, and one after all of them.
struct Job {
    std::string title;                ///< for people: what is made
    std::string folder;               ///< absolute; scripts, logs and results are there
    std::string item;                 ///< shell lines that do one item, whose number is $1
    std::vector<int> items;           ///< the numbers, each once
    std::vector<std::string> finish;  ///< the words of the command after them
    bool finishAlways = false;        ///< also when an item failed
    int jobs = 0;  ///< side by side; 0: as many as there are cores, or as the cluster gives
};

/// One script: a name in the job's folder, and its text.
struct Script {
    std::string name;
    std::string text;
};

/// One engine.
struct Engine {
    const char* name;
    const char* command;  ///< without which it does nothing
    const char* package;  ///< Debian's, that has it
    const char* summary;
    std::vector<Script> (*scripts)(const Job&);  ///< the first one is started, with sh
};

/// All engines, the usual one first.
std::span<const Engine> engines();

/// An engine by its name. Throws Refusal (BadRequest) with the nearest name.
const Engine& engineNamed(const std::string& name);

/// Words of a command, blanks between.
std::string shellWords(const std::vector<std::string>& words);

/// `name=value` for each of what scripts of a job refer to, exported: the folder.
std::string shellHead(const Job& job);

/// The end of a script that waited for all items: the last command, unless $failed tells that an item failed
/// and that counts.
std::string finishLines(const Job& job);

/// The script `item.sh`, which every engine starts once for each item.
Script itemScript(const Job& job);

// The makers of the engines' scripts, one file each.
std::vector<Script> localScripts(const Job& job);
std::vector<Script> parallelScripts(const Job& job);
std::vector<Script> slurmScripts(const Job& job);

/// Writes the scripts into the job's folder and starts the first one, which is waited for. Returns its exit
/// status, 128 and the signal's number where one ended it. A raised `cancel` ends it and all it started.
/// Throws Refusal when the engine's command is not installed or the scripts cannot be written.
int startJob(const Engine& engine, const Job& job, const std::atomic<bool>* cancel);

/// The scripts as text, one below the other with their names.
std::string scriptsText(const Engine& engine, const Job& job);

}  // namespace tumblewash::farm
