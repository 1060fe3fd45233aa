#include "app/signals.h"

#include <csignal>

namespace tumblewash::app {
namespace {

std::atomic<bool> interrupted{false};
std::atomic<int> signalNumber{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

extern "C" void onInterrupt(int number) {
    signalNumber.store(number);
    interrupted.store(true);
}

}  // namespace

void installSignalHandlers() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A closed pipe and a full quota come back as errors of the write itself, which name the file.
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGXFSZ, &action, nullptr);
}

const std::atomic<bool>& interruptFlag() {
    return interrupted;
}

const char* interruptName() {
    const int number = signalNumber.load();
    return number == SIGINT ? "SIGINT" : number == SIGTERM ? "SIGTERM" : "a signal";
}

}  // namespace tumblewash::app
