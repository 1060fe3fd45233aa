// PixRectWrap: a rectangle over an existing block of 32-bit frame memory, all its lines or one of its two
// fields, read and written in place. It is the one place where frame bytes become typed pixels; it neither
// converts nor copies them, except that a copy of a wrapper is a compact image of its own.
#pragma once

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/SICommon.h"

template <class T>
class PixRectWrap;

/// A rectangle over w x h pixels of 4 bytes, rows stored with a stride of exactly w pixels, line 0 first. The
/// width of the rectangle is the stride.
template <>
class PixRectWrap<ARGBVal> : public PixRectRW<ARGBVal> {
  public:
    /// No data.
    PixRectWrap() = default;
    /// As by default, with these debug categories.
    explicit PixRectWrap(const DBGState& s) : PixRect<ARGBVal>(s), PixRectRW<ARGBVal>(s) {}
    /// Over `data`, which stays the caller's and must outlive the wrapper. Bounds (0, 0, w - 1, hy), hy by
    /// lines: all h - 1, even (h + 1) / 2 - 1, odd h / 2 - 1. A selection outside the three, or null data,
    /// gives no rows; the former keeps default bounds.
    PixRectWrap(ARGBVal* data, int w, int h, siwraptype type);
    /// A copy is always a compact all-lines image that owns its block, whatever lines the source shows. A
    /// source without rows gives a copy without data.
    explicit PixRectWrap(PixRectWrap* src);
    /// A compact all-lines copy that owns its block.
    PixRectWrap(const PixRectWrap& src);

    using PixRectRW<ARGBVal>::init;
    /// Row table over the wrapped memory for the present bounds: consecutive rows of `width` pixels.
    void init() override;
    /// Frees the row table, and the wrapped memory where this object owns it.
    void freestore() override;
    ~PixRectWrap() override;
    void printInfo() const override;

    /// Makes the row table for the line selection. The two field selections are for a zero origin only.
    void makerows();
    /// Becomes a compact all-lines copy of `src`'s pixels with its bounds, scale pair and debug state, in a
    /// block of its own. A source without rows leaves this object without data.
    void copyfromwrapped(const PixRectWrap* src);
    /// Lets go of the wrapped memory, freeing it where this object owns it; reads give `blackpixel` from then
    /// on.
    void freewrapdata();
    /// The first pixel of the wrapped memory, null without data.
    ARGBVal* getwrapdata() const { return _data; }
    /// True when this object frees the wrapped memory.
    bool owndata() const { return _owndata; }
    /// The name of a line selection; "" for values outside the three.
    static const char* typetoname(siwraptype type);

    using PixRectRW<ARGBVal>::operator=;
    /// Assignment copies pixels, like every rectangle's.
    PixRectWrap& operator=(const PixRectWrap& src) {
        PixRectRW<ARGBVal>::operator=(src);
        return *this;
    }

    /// First pixel of the wrapped memory.
    ARGBVal* _data = nullptr;
    /// Which lines of the frame it shows.
    siwraptype _type = SIAllLines;
    /// True when `_data` was allocated by this object.
    bool _owndata = false;

  private:
    void droprows();

    // The row table as allocated. `_rast` moves with the origin and the bounds may be set freely, so neither
    // tells where the table begins.
    ARGBVal** _rowtable = nullptr;
};
