// Drives a fuzz target where the compiler brings no fuzzer: seeds from files, then changed and made-up inputs
// from a seeded generator, for a given time. An input that ends the program is kept beside the corpus.
//   fuzz_NAME [-seconds=N] [-seed=N] [FILE or FOLDER...]

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "fuzz/Target.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::size_t kMost = 4096;

const Bytes* running = nullptr;

/// Keeps the input in hand; only calls that a signal handler may make.
void keepInput() {
    if (running == nullptr) return;
    const int file = open("fuzz-finding.bin", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) return;
    if (write(file, running->data(), running->size()) < 0) return;
    close(file);
}

extern "C" void onEnd(int number) {
    keepInput();
    signal(number, SIG_DFL);
    raise(number);
}

// The sanitizers call this before they end the program.
extern "C" void __asan_on_error() {
    keepInput();
}

void run(const Bytes& input) {
    running = &input;
    alarm(10);  // an input that hangs is a finding too
    LLVMFuzzerTestOneInput(input.data(), input.size());
    alarm(0);
    rusage used{};
    tumblewash::fuzz::demand(getrusage(RUSAGE_SELF, &used) == 0 && used.ru_maxrss < 1L << 20,
                             "an input takes more than 1 GiB");
    running = nullptr;
}

Bytes fileBytes(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<Bytes> readCorpus(const std::vector<std::string>& places) {
    std::vector<Bytes> corpus;
    for (const std::string& place : places) {
        if (!std::filesystem::is_directory(place)) {
            corpus.push_back(fileBytes(place));
            continue;
        }
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::directory_iterator(place))
            if (entry.is_regular_file()) files.push_back(entry.path());
        std::sort(files.begin(), files.end());
        for (const auto& file : files) corpus.push_back(fileBytes(file));
    }
    return corpus;
}

class Inputs {
  public:
    Inputs(std::vector<Bytes> corpus, unsigned seed) : corpus_(std::move(corpus)), random_(seed) {}

    Bytes next() {
        Bytes input = corpus_.empty() || below(4) == 0 ? madeUp() : corpus_[below(corpus_.size())];
        for (std::size_t i = 1 + below(6); i > 0; --i) change(input);
        if (input.size() > std::max(kMost, longest())) input.resize(kMost);
        return input;
    }

  private:
    std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random_); }
    std::uint8_t byte() {
        static constexpr std::uint8_t kUsual[] = {0, 1, 0x7F, 0x80, 0xFF, 16, 32};
        return below(2) == 0 ? kUsual[below(std::size(kUsual))] : static_cast<std::uint8_t>(random_());
    }
    std::size_t longest() const {
        std::size_t most = 0;
        for (const Bytes& seed : corpus_) most = std::max(most, seed.size());
        return most;
    }
    Bytes madeUp() {
        Bytes bytes(below(2) == 0 ? below(64) : below(kMost));
        for (std::uint8_t& b : bytes) b = static_cast<std::uint8_t>(random_());
        return bytes;
    }
    void change(Bytes& bytes) {
        if (bytes.empty()) {
            bytes.push_back(byte());
            return;
        }
        const std::size_t at = below(bytes.size());
        switch (below(6)) {
            case 0:
                bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ (1U << below(8)));
                break;
            case 1:
                bytes[at] = byte();
                break;
            case 2:
                bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), byte());
                break;
            case 3:
                bytes.erase(
                    bytes.begin() + static_cast<std::ptrdiff_t>(at),
                    bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), at + 1 + below(8))));
                break;
            case 4:
                bytes.resize(at);
                break;
            default:
                if (!corpus_.empty()) splice(bytes, at);
        }
    }
    /// The head of one input with the tail of another.
    void splice(Bytes& bytes, std::size_t at) {
        const Bytes& other = corpus_[below(corpus_.size())];
        if (other.empty()) return;
        bytes.resize(at);
        bytes.insert(bytes.end(), other.begin() + static_cast<std::ptrdiff_t>(below(other.size())),
                     other.end());
    }

    std::vector<Bytes> corpus_;
    std::mt19937 random_;
};

}  // namespace

int main(int argc, char** argv) {
    double seconds = 5;
    unsigned seed = 1;
    std::vector<std::string> places;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word.rfind("-seconds=", 0) == 0)
            seconds = std::stod(word.substr(9));
        else if (word.rfind("-seed=", 0) == 0)
            seed = static_cast<unsigned>(std::stoul(word.substr(6)));
        else
            places.push_back(word);
    }
    for (const int number : {SIGABRT, SIGSEGV, SIGALRM, SIGFPE, SIGBUS}) signal(number, onEnd);
    const std::vector<Bytes> corpus = readCorpus(places);
    const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    long runs = 0;
    for (const Bytes& input : corpus) {
        run(input);
        ++runs;
    }
    Inputs inputs(corpus, seed);
    while (std::chrono::steady_clock::now() < until) {
        run(inputs.next());
        ++runs;
    }
    std::printf("%ld inputs from %zu seeds in %.0f s, seed %u: no finding\n", runs, corpus.size(), seconds,
                seed);
    return 0;
}
