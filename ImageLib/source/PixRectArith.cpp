// The instantiations of whole-rectangle arithmetic that the library provides. Those that are no member
// templates come with the rectangle classes.
#include "ImageLib/source/PixRect.h"

template SIerrorcode PixRectRW<ARGBVal>::fillWith(const ARGBVal&);
template SIerrorcode PixRectRW<ARGBVal>::fillWith(const int&);
template SIerrorcode PixRectRW<ARGBVal>::fillWith(const RGBPixel<float>&);
template SIerrorcode PixRectRW<ARGBVal>::fillWith(const double&);
template SIerrorcode PixRectRW<ARGBVal>::add(const PixRect<ARGBVal>&);
template SIerrorcode PixRectRW<ARGBVal>::add(const PixRect<RGBPixel<float>>&);
template SIerrorcode PixRectRW<ARGBVal>::subtract(const PixRect<ARGBVal>&);
template SIerrorcode PixRectRW<ARGBVal>::subtract(const PixRect<RGBPixel<float>>&);
template SIerrorcode PixRectRW<ARGBVal>::incrementby(const ARGBVal&);
template SIerrorcode PixRectRW<ARGBVal>::incrementby(const int&);
template SIerrorcode PixRectRW<ARGBVal>::incrementby(const RGBPixel<float>&);
template SIerrorcode PixRectRW<ARGBVal>::blendwith(const PixRect<ARGBVal>&, float);
template SIerrorcode PixRectRW<ARGBVal>::blendwithalpha(const PixRect<ARGBVal>&, sialphamethod);
template SIerrorcode PixRectRW<ARGBVal>::blendwithlimit(const PixRect<ARGBVal>&, int, int&);
template SIerrorcode PixRectRW<ARGBVal>::blendwithlimitrgb(const PixRect<ARGBVal>&, int);
template SIerrorcode PixRectRW<ARGBVal>::blendwithpeak(const PixRect<ARGBVal>&, Shape2D&);

#define SI_INSTANTIATE_INCREMENT(T)                                \
    template SIerrorcode PixRectRW<T>::incrementby(const double&); \
    template SIerrorcode PixRectRW<T>::operator+=(const double&);
SI_FOR_EACH_RECT_PIXEL(SI_INSTANTIATE_INCREMENT)
