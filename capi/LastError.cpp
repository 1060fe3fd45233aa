#include "capi/LastError.h"

#include <string>

namespace tumblewash::capi {

namespace {

struct Sentence {
    std::string text;
    const char* told = "";
};

Sentence& sentence() noexcept {
    thread_local Sentence kept;
    return kept;
}

}  // namespace

tw_status failed(tw_status status, const char* words) noexcept {
    Sentence& kept = sentence();
    try {
        kept.text = words;
        kept.told = kept.text.c_str();
    } catch (...) {
        kept.told = "memory ran out; use smaller pictures or free some";
    }
    return status;
}

const char* lastError() noexcept {
    return sentence().told;
}

}  // namespace tumblewash::capi
