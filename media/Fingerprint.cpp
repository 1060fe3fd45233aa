#include "media/Fingerprint.h"

#include <cstdio>

#include "media/detail/Av.h"

extern "C" {
#include <libavutil/sha.h>
}

namespace tumblewash::media {

struct Sha256::Impl {
    std::unique_ptr<AVSHA, decltype(&av_free)> state{orBadAlloc(av_sha_alloc()), &av_free};
};

Sha256::Sha256() : impl_(std::make_unique<Impl>()) {
    av_sha_init(impl_->state.get(), 256);
}
Sha256::~Sha256() = default;

void Sha256::add(const void* bytes, size_t size) {
    av_sha_update(impl_->state.get(), static_cast<const uint8_t*>(bytes), size);
}

std::string Sha256::text() {
    std::array<uint8_t, 32> digest{};
    av_sha_final(impl_->state.get(), digest.data());
    std::string out;
    for (const uint8_t byte : digest) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", byte);
        out += two;
    }
    return out;
}

std::string sha256Of(std::string_view text) {
    Sha256 sum;
    sum.add(text.data(), text.size());
    return sum.text();
}

}  // namespace tumblewash::media
