// The platform's plain types: integers under their platform names, points, rectangles, colours, pixel maps,
// errors. A pixel map describes 32-bit memory, four bytes per pixel in the order alpha, red, green, blue on
// every machine. It is no drawing code: World.h makes worlds, Handles.h relocatable blocks, CopyBits.h moves
// pixels.
#pragma once

#include <cstddef>
#include <cstdint>

using Boolean = unsigned char;                  ///< one byte, 0 or non-zero
using SInt8 = signed char;                      ///< signed byte, used for handle states
using SInt16 = std::int16_t;                    ///< 16-bit signed
using UInt16 = std::uint16_t;                   ///< 16-bit unsigned
using SInt32 = std::int32_t;                    ///< 32-bit signed
using UInt32 = std::uint32_t;                   ///< 32-bit unsigned
using OSErr = std::int16_t;                     ///< platform error code, 0 on success
using OSType = std::uint32_t;                   ///< four-character code, first character in the high byte
using Fixed = std::int32_t;                     ///< 16.16 fixed-point number
using ScriptCode = std::int16_t;                ///< writing system of a font
using Ptr = char*;                              ///< address of untyped memory
using Handle = Ptr*;                            ///< address of a master pointer, see Handles.h
using Size = std::ptrdiff_t;                    ///< size of a memory block in bytes
using GWorldFlags = std::int32_t;               ///< state word of a pixel map, see `pixelsLocked`
using Str255 = unsigned char[256];              ///< length byte and up to 255 bytes of UTF-8
using StringPtr = unsigned char*;               ///< address of a length-prefixed string
using ConstStr255Param = const unsigned char*;  ///< a length-prefixed string that is only read

/// Error codes of the platform services.
enum : OSErr {
    noErr = 0,                        ///< success
    paramErr = -50,                   ///< an argument is null or out of range
    memFullErr = -108,                ///< no memory for the block
    nilHandleErr = -109,              ///< the handle or its master pointer is null
    memWZErr = -111,                  ///< the handle is free already
    cDepthErr = -157,                 ///< a depth other than 32 bits per pixel was asked for
    gestaltUndefSelectorErr = -5551,  ///< `Gestalt` does not know the selector
};

/// A point, vertical coordinate first.
struct Point {
    std::int16_t v;  ///< row
    std::int16_t h;  ///< column
};

/// A rectangle of pixels: rows top .. bottom - 1, columns left .. right - 1.
struct Rect {
    std::int16_t top;     ///< first row inside
    std::int16_t left;    ///< first column inside
    std::int16_t bottom;  ///< first row below
    std::int16_t right;   ///< first column to the right
};

/// A colour of three 16-bit channels; drawing uses the high byte of each.
struct RGBColor {
    std::uint16_t red;    ///< 0 to 0xFFFF
    std::uint16_t green;  ///< 0 to 0xFFFF
    std::uint16_t blue;   ///< 0 to 0xFFFF
};

/// 32-bit pixel memory with bounds and a row stride. Pixel (x, y), bounds.left <= x < bounds.right, is the
/// four bytes at baseAddr + (y - bounds.top) * stride + (x - bounds.left) * 4, where stride = rowBytes &
/// 0x3FFF.
struct PixMap {
    Ptr baseAddr;            ///< first byte of the first row; the map does not own it
    std::int16_t rowBytes;   ///< row stride in bytes; the top two bits are flags
    Rect bounds;             ///< coordinates of the pixels
    std::int16_t pixelSize;  ///< bits per pixel, always 32
    GWorldFlags pixelState;  ///< `pixelsLocked`, `pixelsPurgeable`
};

using PixMapPtr = PixMap*;      ///< address of a pixel map
using PixMapHandle = PixMap**;  ///< handle whose block is a `PixMap`
using BitMap = PixMap;          ///< what `CopyBits` takes; there is one kind of map here

struct OpaqueWorld;                     ///< an off-screen world, see World.h
using CGrafPtr = OpaqueWorld*;          ///< a port to draw into; every port here is an off-screen world
using GWorldPtr = OpaqueWorld*;         ///< an off-screen world
struct OpaqueDevice;                    ///< a display device; there are none
using GDHandle = OpaqueDevice**;        ///< always null here
struct OpaqueColorTable;                ///< colour tables belong to indexed depths; there are none
using CTabHandle = OpaqueColorTable**;  ///< always null here
struct OpaqueRegion;                    ///< regions clip drawing on a screen; there are none
using RgnHandle = OpaqueRegion**;       ///< always null here

inline constexpr std::int16_t kRowBytesMask = 0x3FFF;   ///< the stride in `PixMap::rowBytes`
inline constexpr std::int16_t kMaxRowBytes = 0x3FFC;    ///< widest stride of a world: 4095 pixels
inline constexpr GWorldFlags pixelsPurgeable = 1 << 6;  ///< state bit: the pixels may be purged
inline constexpr GWorldFlags pixelsLocked = 1 << 7;     ///< state bit: the pixels stay where they are
