// Runs the built program (or any other) the way a user does, and looks at what it made with ffprobe.
// Helpers for the tests of this folder only; they check nothing by themselves.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace tumblewash::app {

/// What a finished process left.
struct RunResult {
    int code = -1;  ///< exit code, or 128 + signal
    std::string out;
    std::string err;
};

/// A process under way; its output goes to files in `folder`.
class RunningProgram {
  public:
    RunningProgram(const std::vector<std::string>& arguments, const std::filesystem::path& folder);
    void signal(int number) const;
    /// Waits until the program handles `number` itself, so that a signal finds its handler.
    void waitForHandler(int number) const;
    /// Waits for the end.
    RunResult wait();

  private:
    pid_t pid_;
    std::filesystem::path out_;
    std::filesystem::path err_;
};

/// A folder of its own for each test, removed at its end.
class Workshop {
  public:
    Workshop();
    ~Workshop();
    Workshop(const Workshop&) = delete;
    Workshop& operator=(const Workshop&) = delete;

    const std::filesystem::path& folder() const { return folder_; }
    /// Path of a file in the folder.
    std::string file(const std::string& name) const { return (folder_ / name).string(); }
    /// Runs `tumblewash` with these arguments to its end.
    RunResult run(const std::vector<std::string>& arguments) const;
    /// Names in the folder, sorted, without the captured output.
    std::vector<std::string> names() const;

  private:
    std::filesystem::path folder_;
};

/// The whole file as bytes.
std::string bytesOf(const std::string& file);
void writeBytes(const std::string& file, const std::string& bytes);

/// Lines of a text.
std::vector<std::string> linesOf(const std::string& text);

/// ffprobe's JSON on a file, with frames counted.
nlohmann::json probeJson(const std::string& file);

/// The stream of a kind ("video", "audio") in ffprobe's JSON, or null.
nlohmann::json streamOf(const nlohmann::json& probe, const std::string& kind);

/// Runs a shell command; its exit code.
int shell(const std::string& command);

/// A drawn source of the given size and seconds at 25 frames per second.
std::string scene(const std::string& name, double seconds, const std::string& size = "64x48",
                  bool sound = true);

}  // namespace tumblewash::app
