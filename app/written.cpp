#include "app/written.h"

#include <vector>

#include "media/Quoting.h"

namespace tumblewash::app {
namespace {

std::vector<std::string>& files() {
    static std::vector<std::string> noted;
    return noted;
}

}  // namespace

void noteWritten(const std::string& file) {
    if (!file.empty()) files().push_back(file);
}

std::string writtenWords() {
    if (files().empty()) return "nothing was written";
    std::string words;
    for (std::size_t i = 0; i < files().size(); ++i) {
        if (i > 0) words += i + 1 == files().size() ? " and " : ", ";
        words += media::quotedName(files()[i]);
    }
    return words + (files().size() == 1 ? " was written" : " were written");
}

bool anythingWritten() noexcept {
    return !files().empty();
}

}  // namespace tumblewash::app
