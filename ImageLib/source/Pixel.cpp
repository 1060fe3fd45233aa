// The instantiations of the pixel family that the library provides.
#include "ImageLib/source/Pixel.h"

#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/HSVPixel.h"
#include "ImageLib/source/RGBPixel.h"

template class Pixel<float>;
template class Pixel<unsigned char>;
template class Pixel<int>;
template class Pixel<double>;

template class GreyPixel<float>;
template class GreyPixel<unsigned char>;
template class GreyPixel<int>;

template class RGBPixel<float>;
template class RGBPixel<unsigned char>;
template class RGBPixel<double>;

template class HSVPixel<float>;
template class HSVPixel<unsigned char>;
