// Any bytes as a picture's colour profile: judged, named in one printable line, and used on a few pixels.

#include <array>

#include "fuzz/Target.h"
#include "media/Quoting.h"
#include "media/detail/IccProfile.h"

using tumblewash::fuzz::demand;
using tumblewash::media::IccProfile;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const IccProfile profile = IccProfile::fromBytes({data, size});
    demand(profile.name().size() <= 1024, "a profile's name without an end");
    for (const char c : profile.name())
        demand(static_cast<unsigned char>(c) >= 0x20, "a control character in a name");
    demand(tumblewash::media::isUtf8(profile.name()), "a name that is no UTF-8");
    if (!profile.usable()) {
        demand(!profile.isSrgb(), "what cannot be used is sRGB");
        return 0;
    }
    std::array<std::uint16_t, 4 * 27> pixels{};
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<std::uint16_t>(i * 2467);
    const std::array before = pixels;
    profile.toSrgb(pixels.data(), 27);
    for (std::size_t i = 3; i < pixels.size(); i += 4) demand(pixels[i] == before[i], "alpha did not stay");
    return 0;
}
