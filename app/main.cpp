#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "app/ExitCode.h"
#include "app/Program.h"
#include "media/InputMemory.h"

namespace {

// A program may be started without standard streams. The first files it opened would then get their numbers,
// and what is meant for a terminal would go into a movie. The null device keeps the numbers, opened the wrong
// way round, so that reading and writing them still fails as it does on a closed stream.
bool keepStandardNumbers() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(number, F_GETFD) >= 0) continue;
        if (open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY) != number) return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (!keepStandardNumbers()) return static_cast<int>(tumblewash::app::ExitCode::RenderFailed);
    const int status = tumblewash::app::runProgram(argc, argv);
    if (!tumblewash::media::workLeftBehind()) return status;
    // Nothing may be taken away from under a decoder that was given up.
    std::fflush(stdout);
    std::_Exit(status);
}
