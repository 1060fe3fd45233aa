#include "tests/app/ProgramRun.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace tumblewash::app {

RunningProgram::RunningProgram(const std::vector<std::string>& arguments, const std::filesystem::path& folder)
    : out_(folder / ".out"), err_(folder / ".err") {
    std::vector<std::string> words{TUMBLEWASH_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ < 0) throw std::runtime_error("fork failed");
    if (pid_ > 0) return;
    const int out = ::open(out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = ::open(err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    // Tests that a shell runs in the background ignore these, and programs go on to.
    for (const int number : {SIGINT, SIGHUP}) std::signal(number, SIG_DFL);
    ::execv(argv[0], argv.data());
    ::_exit(127);
}

void RunningProgram::signal(int number) const {
    ::kill(pid_, number);
}

void RunningProgram::waitForHandler(int number) const {
    for (int i = 0; i < 2000; ++i) {
        std::istringstream status(bytesOf("/proc/" + std::to_string(pid_) + "/status"));
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("SigCgt:", 0) != 0) continue;
            if (std::stoull(line.substr(7), nullptr, 16) >> (number - 1) & 1) return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

RunResult RunningProgram::wait() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    RunResult result;
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = bytesOf(out_.string());
    result.err = bytesOf(err_.string());
    return result;
}

Workshop::Workshop() {
    std::string name = (std::filesystem::temp_directory_path() / "tumblewash-test-XXXXXX").string();
    if (!::mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
    folder_ = name;
}

Workshop::~Workshop() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

RunResult Workshop::run(const std::vector<std::string>& arguments) const {
    return RunningProgram(arguments, folder_).wait();
}

std::vector<std::string> Workshop::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
        const std::string name = entry.path().filename().string();
        if (name != ".out" && name != ".err") names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string bytesOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream bytes;
    bytes << stream.rdbuf();
    return bytes.str();
}

void writeBytes(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

nlohmann::json probeJson(const std::string& file) {
    const std::string command =
        "ffprobe -v error -count_frames -show_streams -show_format -of json '" + file + "'";
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) throw std::runtime_error("ffprobe cannot be run");
    std::string text;
    std::array<char, 4096> part{};
    for (std::size_t got = 0; (got = std::fread(part.data(), 1, part.size(), pipe)) > 0;)
        text.append(part.data(), got);
    ::pclose(pipe);
    return nlohmann::json::parse(text);
}

nlohmann::json streamOf(const nlohmann::json& probe, const std::string& kind) {
    for (const auto& stream : probe["streams"])
        if (stream["codec_type"] == kind) return stream;
    return nullptr;
}

int shell(const std::string& command) {
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string scene(const std::string& name, double seconds, const std::string& size, bool sound) {
    std::ostringstream text;
    text << "pattern:" << name << "?size=" << size << "&seconds=" << seconds << "&fps=25";
    if (!sound) text << "&sound=0";
    return text.str();
}

}  // namespace tumblewash::app
