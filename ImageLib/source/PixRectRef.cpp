// The instantiations of the views: one of each kind for every pixel type that has rectangles.
#include "ImageLib/source/PixRectRef.h"

#define SI_INSTANTIATE_REF(T)     \
    template class PixRectRef<T>; \
    template class PixRectRWRef<T>;
SI_FOR_EACH_RECT_PIXEL(SI_INSTANTIATE_REF)
