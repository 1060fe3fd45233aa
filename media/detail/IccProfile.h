// A picture's colour profile (ICC): what it is called, whether it means anything but sRGB, and its pixels
// turned into sRGB. Relative colorimetric with black point compensation.
// It knows rows of 16-bit pixels, no files and no picture formats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tumblewash::media {

/// What pixels a profile can be for.
enum class ProfilePixels { grey, rgb, ink, other };

/// A profile that was read and judged. Copies share it; all of it may be used from several threads.
class IccProfile {
  public:
    /// The profile in `bytes`. Never throws over what is in them: a profile that is cut short, lies or is of
    /// a class that describes no picture is `usable() == false`.
    static IccProfile fromBytes(std::span<const uint8_t> bytes);
    /// Primaries and white as CIE 1931 x and y (red, green, blue, white), with the transfer curve of sRGB.
    static IccProfile fromPrimaries(const std::string& name, std::span<const double, 8> xy);

    /// False for ink and other pixels too.
    bool usable() const noexcept;
    ProfilePixels pixels() const noexcept;
    /// The first 64 bytes of its description as `printable` has them; empty when it has none.
    const std::string& name() const noexcept;
    /// True when no colour would move by more than one code of 255.
    bool isSrgb() const noexcept;

    /// Turns `count` pixels of red, green, blue and alpha, 0..65535 each, into sRGB where they stand. A grey
    /// profile reads red. Alpha stays. Only for profiles of grey or RGB that are usable.
    void toSrgb(uint16_t* rgba, size_t count) const;

  private:
    struct State;
    explicit IccProfile(std::shared_ptr<const State> state) noexcept : state_(std::move(state)) {}
    std::shared_ptr<const State> state_;
};

}  // namespace tumblewash::media
