// The instantiations of the walks that the library provides.
#include "ImageLib/source/Iterator.h"

#define SI_INSTANTIATE_ITERATOR(T)     \
    template class Iterator<T>;        \
    template class PixRectIterator<T>; \
    template class PixRectRWIterator<T>;
SI_FOR_EACH_ITERATOR_PIXEL(SI_INSTANTIATE_ITERATOR)
