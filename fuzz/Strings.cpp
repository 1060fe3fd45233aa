// String lists out of any bytes: what comes back is well formed and bounded.

#include "fuzz/Target.h"
#include "platform/Resources.h"

namespace {

bool wellFormed(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80    ? 1
                                   : lead >= 0xF0 ? 4
                                   : lead >= 0xE0 ? 3
                                   : lead >= 0xC2 ? 2
                                                  : 0;
        if (length == 0 || lead > 0xF4 || lead == 0 || i + length > text.size()) return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
        i += length;
    }
    return true;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using tumblewash::fuzz::demand;
    const auto lists = tumblewash::platform::ParseStringLists({data, size});
    demand(lists.size() <= 4096, "too many strings");
    for (const auto& [place, text] : lists) {
        demand(!text.empty() && text.size() <= 255, "a string of " + std::to_string(text.size()) + " bytes");
        demand(wellFormed(text), "a string that is no UTF-8");
    }
    const std::string name(reinterpret_cast<const char*>(data), size);
    const auto languages = tumblewash::platform::LanguagesForLocale(name);
    demand(!languages.empty() && languages.back() == "en", "English is not the last resort");
    for (const std::string& language : languages)
        demand(language.find('/') == std::string::npos && language.find("..") == std::string::npos,
               "a language leads to another folder");
    return 0;
}
