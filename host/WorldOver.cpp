#include "host/WorldOver.h"

#include <cstring>
#include <string>

#include "host/HostError.h"
#include "platform/World.h"

namespace tumblewash::host {

namespace {

/// The platform addresses pixels as aligned groups of four bytes with a positive stride of at most 0x3FFC.
bool suits(const Picture& picture, const WorldNeeds& needs) {
    const std::ptrdiff_t exact = pictureStride(picture.width);
    return needs.writable && reinterpret_cast<std::uintptr_t>(picture.pixels) % 4 == 0 &&
           picture.stride % 4 == 0 && picture.stride >= exact && picture.stride <= kMaxRowBytes &&
           (!needs.exactStride || picture.stride == exact);
}

const std::uint8_t* row(const Picture& picture, int y) {
    return picture.pixels + y * picture.stride;
}

}  // namespace

WorldOver::WorldOver(const Picture& picture, const WorldNeeds& needs, std::vector<std::uint8_t> buffer)
    : picture_(picture), buffer_(std::move(buffer)), copied_(!suits(picture, needs)) {
    const auto rowBytes = static_cast<std::size_t>(pictureStride(picture.width));
    if (copied_) {
        buffer_.resize(rowBytes * static_cast<std::size_t>(picture.height));
        for (int y = 0; y < picture.height; ++y) {
            std::memcpy(buffer_.data() + static_cast<std::size_t>(y) * rowBytes, row(picture, y), rowBytes);
        }
    }
    const Rect bounds{0, 0, static_cast<std::int16_t>(picture.height),
                      static_cast<std::int16_t>(picture.width)};
    const auto stride = static_cast<std::int32_t>(copied_ ? pictureStride(picture.width) : picture.stride);
    const OSErr error =
        platform::NewGWorldOver(&world_, copied_ ? buffer_.data() : picture.pixels, stride, &bounds);
    if (error == memFullErr) throw HostError("memory ran out; try smaller pictures", kPluginOutOfMemory);
    if (error != noErr || world_ == nullptr) {
        throw HostError("a picture of " + std::to_string(picture.width) + " x " +
                        std::to_string(picture.height) + " pixels cannot be drawn into");
    }
}

WorldOver::~WorldOver() {
    DisposeGWorld(world_);
}

void WorldOver::writeBack() const {
    if (!copied_) return;
    const auto rowBytes = static_cast<std::size_t>(pictureStride(picture_.width));
    for (int y = 0; y < picture_.height; ++y) {
        std::memcpy(picture_.pixels + y * picture_.stride,
                    buffer_.data() + static_cast<std::size_t>(y) * rowBytes, rowBytes);
    }
}

}  // namespace tumblewash::host
