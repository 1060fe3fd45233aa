#include "fuzz/UnsteadyFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "fuzz/Target.h"

namespace tumblewash::fuzz {

namespace {

using Bytes = std::vector<std::uint8_t>;

/// The folder for this process's files, in memory where the machine has such a place; removed at the end.
const std::string& folder() {
    static const std::string made = [] {
        for (std::string name : {"/dev/shm/tumblewash-fuzz-XXXXXX", "/tmp/tumblewash-fuzz-XXXXXX"})
            if (mkdtemp(name.data()) != nullptr) return name;
        demand(false, "there is no folder for inputs");
        return std::string();
    }();
    static const bool removedAtEnd = std::atexit([] { rmdir(folder().c_str()); }) == 0;
    demand(removedAtEnd, "the folder for inputs would stay");
    return made;
}

void writeWhole(const std::string& path, const Bytes& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    demand(file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() &&
               std::fclose(file) == 0,
           "an input cannot be written");
}

/// The file under watch. What the hooks need is set before anybody reads and stays until the file is gone.
struct Watch {
    std::atomic<bool> on{false};
    std::atomic<int> readings{0};
    dev_t device = 0;
    ino_t number = 0;
    Trouble trouble = Trouble::none;
    int at = 0;
    std::string path;
    Bytes backwards;
};
Watch watch;

/// What this reading is to be.
enum class Verdict { plain, fail, shorten };

Verdict verdictOn(int file) {
    if (!watch.on.load()) return Verdict::plain;
    struct stat status {};
    if (fstat(file, &status) != 0 || status.st_dev != watch.device || status.st_ino != watch.number)
        return Verdict::plain;
    const int reading = watch.readings++;
    if (reading < watch.at) return Verdict::plain;
    const bool first = reading == watch.at;
    switch (watch.trouble) {
        case Trouble::none:
            break;
        case Trouble::fails:
            return first ? Verdict::fail : Verdict::plain;
        case Trouble::failsForEver:
            return Verdict::fail;
        case Trouble::comesShort:
            return Verdict::shorten;
        case Trouble::isCutOff:
            if (first)
                demand(truncate(watch.path.c_str(), status.st_size / 2) == 0, "an input cannot be cut off");
            break;
        case Trouble::isWrittenOver:
            if (first) writeWhole(watch.path, watch.backwards);
            break;
        case Trouble::isReplaced:
            if (first) {
                writeWhole(watch.path + "~", watch.backwards);
                demand(std::rename((watch.path + "~").c_str(), watch.path.c_str()) == 0,
                       "an input cannot be replaced");
            }
            break;
    }
    return Verdict::plain;
}

/// Runs `call` with the length that the verdict leaves.
template <class Call>
ssize_t readingOf(int file, std::size_t length, Call call) {
    switch (verdictOn(file)) {
        case Verdict::fail:
            errno = EIO;
            return -1;
        case Verdict::shorten:
            return call(std::min<std::size_t>(length, 7));
        case Verdict::plain:
            break;
    }
    return call(length);
}

}  // namespace

UnsteadyFile::UnsteadyFile(std::span<const std::uint8_t> bytes, const std::string& ending, Trouble trouble,
                           int reading)
    : path_(folder() + "/input" + ending) {
    writeWhole(path_, Bytes(bytes.begin(), bytes.end()));
    struct stat status {};
    demand(stat(path_.c_str(), &status) == 0, "an input has vanished");
    watch.device = status.st_dev;
    watch.number = status.st_ino;
    watch.trouble = trouble;
    watch.at = reading;
    watch.path = path_;
    watch.backwards.assign(bytes.rbegin(), bytes.rend());
    watch.readings = 0;
    watch.on = true;
}

UnsteadyFile::~UnsteadyFile() {
    watch.on = false;
    unlink(path_.c_str());
}

}  // namespace tumblewash::fuzz

extern "C" {

ssize_t read(int file, void* to, size_t length) {
    return tumblewash::fuzz::readingOf(file, length,
                                       [&](size_t n) { return syscall(SYS_read, file, to, n); });
}

ssize_t pread(int file, void* to, size_t length, off_t from) {
    return tumblewash::fuzz::readingOf(file, length,
                                       [&](size_t n) { return syscall(SYS_pread64, file, to, n, from); });
}

ssize_t pread64(int file, void* to, size_t length, off64_t from) {
    return tumblewash::fuzz::readingOf(file, length,
                                       [&](size_t n) { return syscall(SYS_pread64, file, to, n, from); });
}
}
