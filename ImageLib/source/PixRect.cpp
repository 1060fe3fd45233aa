// The instantiations of the rectangle templates that the library provides.
#include "ImageLib/source/PixRect.h"

#define SI_INSTANTIATE_RECT(T)     \
    template class PixRectBase<T>; \
    template class PixRect<T>;     \
    template class PixRectRW<T>;
SI_FOR_EACH_RECT_PIXEL(SI_INSTANTIATE_RECT)
