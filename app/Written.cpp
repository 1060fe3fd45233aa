#include "app/Written.h"

#include <atomic>
#include <new>
#include <vector>

#include "media/Quoting.h"

namespace tumblewash::app {
namespace {

std::vector<std::string>& files() {
    static std::vector<std::string> noted;
    return noted;
}

std::atomic<bool> any{false};

}  // namespace

void noteWritten(const std::string& file) noexcept {
    if (file.empty()) return;
    any = true;
    try {
        files().push_back(file);
    } catch (const std::bad_alloc&) {
        // The file is in place all the same, and the run goes on.
    }
}

std::string writtenWords() {
    if (files().empty()) return any ? "its output was written" : "nothing was written";
    std::string words;
    for (std::size_t i = 0; i < files().size(); ++i) {
        if (i > 0) words += i + 1 == files().size() ? " and " : ", ";
        words += media::quotedName(files()[i]);
    }
    return words + (files().size() == 1 ? " was written" : " were written");
}

bool anythingWritten() noexcept {
    return any;
}

}  // namespace tumblewash::app
