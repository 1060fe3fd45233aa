// NamedColours: the sixteen-bit colours used for drawing over frames.
// They are not pixels and take part in no arithmetic. The record has the layout of the platform's colour
// record, which this library does not include: three unsigned 16-bit channels, red, green, blue.
#pragma once

#include <cstddef>
#include <cstdint>

/// Red, green, blue, each 0..0xFFFF.
struct SIRGBColour {
    /// Channel level, 0..0xFFFF.
    std::uint16_t red = 0;
    /// Channel level, 0..0xFFFF.
    std::uint16_t green = 0;
    /// Channel level, 0..0xFFFF.
    std::uint16_t blue = 0;

    /// The same colour as another record of three 16-bit channels, such as the platform's.
    template <class Record>
    constexpr Record as() const {
        static_assert(sizeof(Record) == sizeof(SIRGBColour));
        return Record{red, green, blue};
    }
    /// Equal in every field.
    friend constexpr bool operator==(const SIRGBColour&, const SIRGBColour&) = default;
};
static_assert(sizeof(SIRGBColour) == 6 && offsetof(SIRGBColour, red) == 0 &&
              offsetof(SIRGBColour, green) == 2 && offsetof(SIRGBColour, blue) == 4);

/// The "TV" colours cap bright channels at the broadcast-safe 0xEA00; their black is plain black.
inline constexpr SIRGBColour gRGBBlueTV{0x0000, 0x0000, 0xEA00};
inline constexpr SIRGBColour gRGBGreenTV{0x0000, 0xEA00, 0x0000};  ///< 0..0xFFFF per channel
inline constexpr SIRGBColour gRGBRedTV{0xEA00, 0x0000, 0x0000};    ///< 0..0xFFFF per channel
inline constexpr SIRGBColour gRGBLtGray{0x7FFF, 0x7FFF, 0x7FFF};   ///< 0..0xFFFF per channel
inline constexpr SIRGBColour gRGBDkGray{0x2FFF, 0x2FFF, 0x2FFF};   ///< 0..0xFFFF per channel
inline constexpr SIRGBColour gRGBBlackTV{0x0000, 0x0000, 0x0000};  ///< 0..0xFFFF per channel
inline constexpr SIRGBColour gRGBBlack{0x0000, 0x0000, 0x0000};    ///< 0..0xFFFF per channel
inline constexpr SIRGBColour gRGBWhiteTV{0xEA00, 0xEA00, 0xEA00};  ///< 0..0xFFFF per channel
inline constexpr SIRGBColour gRGBWhite{0xFFFF, 0xFFFF, 0xFFFF};    ///< 0..0xFFFF per channel
inline constexpr SIRGBColour rgbLtGray{0x7FFF, 0x7FFF, 0x7FFF};    ///< 0..0xFFFF per channel
inline constexpr SIRGBColour rgbDkGray{0x2FFF, 0x2FFF, 0x2FFF};    ///< 0..0xFFFF per channel
inline constexpr SIRGBColour rgbBlack{0x0000, 0x0000, 0x0000};     ///< 0..0xFFFF per channel
inline constexpr SIRGBColour rgbWhite{0xFFFF, 0xFFFF, 0xFFFF};     ///< 0..0xFFFF per channel
