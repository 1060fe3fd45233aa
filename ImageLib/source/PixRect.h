// PixRect: rectangles of pixels of one type, addressed by absolute integer coordinates with inclusive bounds:
// the classes (PixRectClass.h, where their rules stand) with the bodies of all their members. They are
// neither views (PixRectRef), nor wrappers of frame memory (PixRectWrap), nor resamplers.
#pragma once

#include "ImageLib/source/PixRectArith.h"
#include "ImageLib/source/PixRectClass.h"
#include "ImageLib/source/PixRectConvolve.h"
#include "ImageLib/source/PixRectStore.h"

/// Undefined again below.
#define SI_EXTERN_RECT(T)                 \
    extern template class PixRectBase<T>; \
    extern template class PixRect<T>;     \
    extern template class PixRectRW<T>;
SI_FOR_EACH_RECT_PIXEL(SI_EXTERN_RECT)
#undef SI_EXTERN_RECT
