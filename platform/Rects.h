// Arithmetic of platform rectangles. No drawing.
#pragma once

#include "platform/Types.h"

/// Sets all four sides; note that left comes first.
void SetRect(Rect* r, short left, short top, short right, short bottom);

/// Moves the rectangle by (dh, dv); coordinates wrap at 16 bits.
void OffsetRect(Rect* r, short dh, short dv);

/// True when the rectangle encloses no pixel.
Boolean EmptyRect(const Rect* r);

/// Puts the part common to `a` and `b` into `out` (which may be one of them) and answers true; sets `out` to
/// zeros and answers false when they do not meet.
Boolean SectRect(const Rect* a, const Rect* b, Rect* out);

/// True when all four sides agree.
Boolean EqualRect(const Rect* a, const Rect* b);
