// Text in the current world: style, pen, measuring and drawing. A string is a length byte and up to 255 bytes
// of UTF-8. Sizes are pixels. Drawing goes through the text stack when the build has it and a font is
// installed, otherwise solid boxes with fixed advances are measured and drawn. Not a layout engine: one line,
// no wrapping.
#pragma once

#include <cstdint>

#include "platform/Types.h"

/// Vertical measures of the current text style in pixels.
struct FontInfo {
    std::int16_t ascent;   ///< baseline to top
    std::int16_t descent;  ///< baseline to bottom
    std::int16_t widMax;   ///< widest usual advance
    std::int16_t leading;  ///< extra space between lines
};

inline constexpr short systemFont = 0;      ///< sans-serif
inline constexpr short applFont = 1;        ///< sans-serif
inline constexpr short newYorkFont = 2;     ///< serif
inline constexpr short genevaFont = 3;      ///< sans-serif
inline constexpr short monacoFont = 4;      ///< fixed width
inline constexpr short timesFont = 20;      ///< serif
inline constexpr short helveticaFont = 21;  ///< sans-serif
inline constexpr short courierFont = 22;    ///< fixed width

inline constexpr ScriptCode smUnicodeScript = 126;  ///< the one script of all fonts here
inline constexpr short smSingleByte = 0;            ///< `CharacterByteType`: a character of one byte
inline constexpr short smFirstByte = -1;            ///< first byte of a longer character
inline constexpr short smLastByte = 1;              ///< last byte of a longer character
inline constexpr short smMiddleByte = 2;            ///< a byte between them

/// Sets the text size of the current world in pixels; 0 stands for 12, negative is ignored, at most 1000 is
/// used.
void TextSize(short size);

/// Sets the text font of the current world by number; unknown numbers draw as sans-serif.
void TextFont(short font);

/// Text size of the port (of the thread's own style when null).
[[nodiscard]] short GetPortTextSize(CGrafPtr port);

/// Text font of the port (of the thread's own style when null).
[[nodiscard]] short GetPortTextFont(CGrafPtr port);

/// Moves the pen: (h, v) is the baseline's left end of the next text, in the world's coordinates.
void MoveTo(short h, short v);

/// The pen position in the current world.
void GetPen(Point* pen);

/// Advance of the string in pixels in the current style, limited to 32767; 0 for null.
[[nodiscard]] short StringWidth(ConstStr255Param text);

/// Draws the string at the pen in the foreground colour, antialiased over what is there, alpha 255 where it
/// touches, clipped to the current world; moves the pen by the advance. Bytes that are no UTF-8 show as
/// replacement characters.
void DrawString(ConstStr255Param text);

/// Measures of the current style.
void GetFontInfo(FontInfo* info);

/// Measures `byteCount` bytes of UTF-8 one character at a time in the current style scaled by numer / denom.
/// `yMax` and `yMin` get the highest and lowest ink above the baseline. Each array, where not null, has
/// `byteCount` entries: advance and left bearing (16.16) and ink box (y up) of the character whose first byte
/// it is, zeros at its other bytes. `paramErr` for a null text, a negative count or a denominator of 0.
[[nodiscard]] OSErr OutlineMetrics(short byteCount, const void* text, Point numer, Point denom, short* yMax,
                                   short* yMin, Fixed* advances, Fixed* bearings, Rect* boxes);

/// The script of a font; one for all fonts.
[[nodiscard]] ScriptCode FontToScript(short font);

/// What the byte at `offset` is within its UTF-8 character. The bytes up to the character's end must be
/// readable or a terminating zero must come first.
[[nodiscard]] short CharacterByteType(const char* text, short offset, ScriptCode script);
