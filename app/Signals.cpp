#include "app/Signals.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

#include "app/Written.h"
#include "media/HiddenNames.h"

namespace tumblewash::app {
namespace {

struct StopSignal {
    int number;
    const char* name;
};

constexpr StopSignal kStopSignals[] = {
    {SIGHUP, "SIGHUP"}, {SIGINT, "SIGINT"}, {SIGTERM, "SIGTERM"}, {SIGXCPU, "SIGXCPU"}, {SIGALRM, "SIGALRM"}};

// How long work in hand may take to end by itself.
constexpr unsigned kGraceSeconds = 1;

// How often the end waits for outputs that are just being put in place.
constexpr int kMostWaits = 5;

std::atomic<bool> interrupted{false};
std::atomic<int> signalNumber{0};
std::atomic<bool> said{false};
std::atomic<int> waits{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void put(const char* text) noexcept {
    // There is nobody left to tell when this fails.
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0) return;
}

/// Ends the program without waiting for anything, outputs under way removed.
void endNow() noexcept {
    if (media::puttingInPlace() && waits.fetch_add(1) < kMostWaits) {
        alarm(kGraceSeconds);
        return;
    }
    media::removeHiddenNames();
    // A thread may just have been making one.
    const timespec moment{0, 10'000'000};
    nanosleep(&moment, nullptr);
    media::removeHiddenNames();
    sayInterrupted(anythingWritten() ? "files that were finished stay" : "nothing was written");
    _exit(interruptStatus());
}

extern "C" void onStop(int number) {
    const int error = errno;
    int none = 0;
    if (signalNumber.compare_exchange_strong(none, number)) {
        interrupted.store(true);
        // The alarm is the second signal when nobody sends one: a decoder may be busy for minutes.
        alarm(kGraceSeconds);
    } else {
        endNow();
    }
    errno = error;
}

}  // namespace

void installSignalHandlers() {
    struct sigaction action {};
    action.sa_handler = onStop;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigset_t alarmOnly;
    sigemptyset(&alarmOnly);
    sigaddset(&alarmOnly, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarmOnly, nullptr);
    for (const StopSignal& stop : kStopSignals) {
        // What the caller ignores stays ignored: nohup, jobs in the background. The alarm is needed all the
        // same.
        struct sigaction before {};
        sigaction(stop.number, nullptr, &before);
        if (before.sa_handler != SIG_IGN || stop.number == SIGALRM) sigaction(stop.number, &action, nullptr);
    }
    // A closed pipe and a full quota come back as errors of the write itself, which name the file.
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGXFSZ, &action, nullptr);
}

const std::atomic<bool>& interruptFlag() {
    return interrupted;
}

int interruptStatus() noexcept {
    return 128 + signalNumber.load();
}

void sayInterrupted(const char* written) noexcept {
    if (said.exchange(true)) return;
    const int number = signalNumber.load();
    const char* name = "a signal";
    for (const StopSignal& stop : kStopSignals)
        if (stop.number == number) name = stop.name;
    for (const char* part : {"tumblewash: interrupted by ", name, ": ", written, "\n"}) put(part);
}

}  // namespace tumblewash::app
