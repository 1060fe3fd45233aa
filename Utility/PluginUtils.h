// Helpers over worlds and pixel maps that the frame drivers share: scoped locks and styles, copies, the two
// fields of an interlaced frame, and text and string helpers for host records. None of it knows an effect;
// pixels are moved by the platform's CopyBits.
#pragma once

#include <cstdint>

#include "hostapi/HYPlugin.h"
#include "platform/Types.h"

/// Locks a world's pixels. There is no destructor: callers call `Restore` where the lock ends, also on error
/// paths, and may do so after the world was disposed.
class StGWorldLock {
  public:
    /// Locks the pixels of `world`, which may be null and is not owned.
    explicit StGWorldLock(GWorldPtr world);

    /// Puts the pixels' state back as it was. Nothing for a null world, for a saved state that is negative,
    /// and, on the modern system, for a handle whose world is gone.
    void Restore();

  private:
    GWorldPtr mGWorld;
    PixMapHandle mPixMapHandle;
    GWorldFlags mPixelState;
};

/// Remembers the current world's two colours and sets others until `Restore`.
class StColorPush {
  public:
    /// Saves the colours, then sets those given; a null one stays as it is.
    StColorPush(const RGBColor* foreground, const RGBColor* background);

    /// Remembers the colours of the current world.
    void Save();

    /// Sets the remembered colours in the current world.
    void Restore();

  private:
    RGBColor mForeground;
    RGBColor mBackground;
};

/// Remembers the current world's text font and size and sets others until `Restore`.
class StFontPush {
  public:
    /// Saves font and size, then sets those given.
    StFontPush(std::int16_t font, std::int16_t size);

    /// Remembers font and size of the current world.
    void Save();

    /// Sets the remembered font and size in the current world.
    void Restore();

  private:
    std::int16_t mFont;
    std::int16_t mSize;
};

/// Scales `sourceRect` of one world onto `destinationRect` of another, both locked meanwhile.
void CopyGWorldBits(GWorldPtr source, GWorldPtr destination, const Rect* sourceRect,
                    const Rect* destinationRect);

/// Scales the whole source world onto the whole destination world.
void CopyGWorldBits(GWorldPtr source, GWorldPtr destination);

/// Makes a world with the source's bounds and pixels; the caller owns `copy`.
/// @return `kPluginOutOfMemory` when the world cannot be made.
[[nodiscard]] HYPluginResult DuplicateGWorld(GWorldPtr source, GWorldPtr& copy);

/// Scales the whole source map onto the whole destination map.
void CopyPMH(PixMapHandle source, PixMapHandle destination);

/// Makes two pixel-map handles over the even and the odd lines of `frame`; they share its pixels, which must
/// outlive them. `rect` (null: the frame's bounds) gives the height that is halved, the even field taking the
/// extra line, and where the odd field starts: its left edge counts in BYTES and its top in frame lines. The
/// even field starts at the frame's first line whatever the rectangle says. Free the pair with
/// `ReleaseOddAndEvenPixMapHandles`.
/// @return 0; -50 for a null frame or a stride whose double reaches the flag bits; the error of `HandToHand`,
/// after which
///         the handles already made are left as they are.
[[nodiscard]] OSErr CreateOddAndEvenPixMapHandles(PixMapHandle frame, InterlacedPMH& fields,
                                                  const Rect* rect = nullptr);

/// Disposes the odd, then the even handle and nulls them; null ones are skipped.
void ReleaseOddAndEvenPixMapHandles(InterlacedPMH& fields);

/// Copies the fields that `mask` names, 1 the even and 2 the odd one, each scaled bounds to bounds.
void CopyInterlacedPMH(InterlacedPMH& source, InterlacedPMH& destination, std::int32_t mask);

/// Copies both fields of one world to another's. When the destination's fields cannot be made, nothing is
/// copied and the source's handles are not released.
void CopyGWorldBitsInterlaced(GWorldPtr source, GWorldPtr destination);

/// Copies the bytes of a localised string to `destination`, up to 255 and WITHOUT a terminating zero; a
/// missing string leaves the destination untouched.
void GetStringFromResource(std::int16_t list, std::int16_t index, char* destination);

/// Fills slider `slider` (0 to 2, others are ignored) of `getInfo2`: its default, its label (string slider +
/// 1 of `labelList`) and the names of its ends (strings 2 x slider + 1 and 2 x slider + 2 of `limitList`). A
/// label takes at most 127 bytes, cut between characters, and a zero; a missing string leaves it as it was.
void AddSlider(_PluginParams* params, std::int16_t slider, std::int16_t labelList, std::int16_t limitList,
               float defaultValue);

/// Number of characters of a C string in the font's script; 0 for null.
[[nodiscard]] std::int16_t StringLength(const char* text, std::int16_t font);

/// Fits a text into a width by choosing its size.
///
/// Measures with the host's `StringWidth` at the size rounded to the nearest pixel. While the text is too
/// wide, at most five times, the size becomes size x maxWidth / width - 0.5, never below 1. Then it grows by
/// whole pixels while the text still fits, up to 1000. `result` gets the last size that fitted, or the last
/// one tried when none did; a text without width keeps its rounded size. The current world's style is put
/// back.
/// @return height of the text's ink at that size in pixels, from `OutlineMetrics` at scale 1.
std::int16_t CalculateTextSize(_HYProcs* procs, ConstStr255Param text, std::int16_t font, float size,
                               std::int16_t maxWidth, short& result);

/// Finds the pair with the widest title, the widest subtitle and the widest sum of both, measured by the host
/// at size 24 in the title's font. The first of equals wins; a missing string counts as wide as that of the
/// pair before. The title's strings are converted in place and back, so their buffers need no extra room. All
/// results are 0 when nothing is wider.
void FindLongestTitleInfo(_HYProcs* procs, _HYPluginTitleInfo* titleInfo, int& longestTitle,
                          int& longestSubTitle, int& longestPair);

/// Does nothing: titles are drawn without blur.
void ApplyTitleBlur(GWorldPtr source, GWorldPtr destination, Rect rect);

/// Does nothing: titles are drawn without blur.
void ApplyTitleBlurFade(GWorldPtr source, GWorldPtr destination, Rect rect);
