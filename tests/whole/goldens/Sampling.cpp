// Sampled rectangles of every pair of types and continuous images of every kind.
#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/SamplePixRect.h"
#include "tests/whole/goldens/Digest.h"
#include "tests/whole/goldens/Scenes.h"

namespace tumblewash::goldens {

namespace {

constexpr sisamplecodes codes[] = {SIQuickSample, SIBestSample, SISingleSample, SISmoothSample};
constexpr double factors[][2] = {{18, 6}, {1.0 / 3.0, 1.0 / 3.0}, {2.5, 1.2}, {1, 3}, {1, 1}, {0.7, 2.0}};

template <class D, class S>
void sampled(Digests& list, const std::string& pair) {
    PixRectRW<S> source = scattered<S>(-3, 2, 50, 31, 5);
    Digest demand, stored;
    for (const sisamplecodes code : codes) {
        for (const auto& f : factors) {
            demand.put(SamplePixRectNC<D, S>(source, f[0], f[1], code));
            stored.put(static_cast<const PixRectRW<D>&>(SamplePixRect<D, S>(source, f[0], f[1], code)));
        }
    }
    record(list, "sampling/" + pair + "/onDemand", demand);
    record(list, "sampling/" + pair + "/stored", stored);
}

template <class T>
void continuous(Digests& list, const std::string& type) {
    PixRectRW<T> source = scattered<T>(0, 0, 11, 9, 6);
    const char* const names[] = {"bilinear", "smooth", "pyramid", "bicubic"};
    for (const siinterpcode code : {SIInterpBilinear, SIInterpSmooth, SIInterpPyramid, SIInterpBicubic}) {
        const ContImageRef<T> image(source, code);
        Digest digest;
        for (int j = -9; j < 84; ++j)
            for (int i = -9; i < 100; ++i) digest.put(image.pixdd(i * 0.125 + 0.01 * (j & 3), j * 0.125));
        record(list, "continuous/" + type + "/" + names[code], digest);
    }
    ContImageRef<T> image(source, SIInterpBilinear);
    record(list, "continuous/" + type + "/enlarged",
           Digest().put(SamplePixRectNC<T, T>(image, 0.3, 0.4, SIBestSample)));
}

}  // namespace

void sampling(Digests& list) {
    sampled<ARGBVal, ARGBVal>(list, "ARGBVal,ARGBVal");
    sampled<RGBGrVal, ARGBVal>(list, "RGBGrVal,ARGBVal");
    sampled<GreyPixel<float>, ARGBVal>(list, "GreyPixel<float>,ARGBVal");
    sampled<GreyPixel<unsigned char>, ARGBVal>(list, "GreyPixel<byte>,ARGBVal");
    sampled<ARGBVal, GreyPixel<float>>(list, "ARGBVal,GreyPixel<float>");
    sampled<GreyPixel<float>, GreyPixel<float>>(list, "GreyPixel<float>,GreyPixel<float>");
    sampled<GreyPixel<float>, GreyPixel<unsigned char>>(list, "GreyPixel<float>,GreyPixel<byte>");
    sampled<GreyPixel<unsigned char>, GreyPixel<float>>(list, "GreyPixel<byte>,GreyPixel<float>");
    sampled<GreyPixel<unsigned char>, GreyPixel<unsigned char>>(list, "GreyPixel<byte>,GreyPixel<byte>");
    sampled<RGBPixel<float>, RGBPixel<float>>(list, "RGBPixel<float>,RGBPixel<float>");
    continuous<ARGBVal>(list, "ARGBVal");
    continuous<GreyPixel<unsigned char>>(list, "GreyPixel<byte>");
    continuous<GreyPixel<float>>(list, "GreyPixel<float>");
    continuous<RGBPixel<float>>(list, "RGBPixel<float>");
}

}  // namespace tumblewash::goldens
