// Whole-rectangle arithmetic, blending and filtering of every pixel type.
#include <functional>

#include "tests/whole/goldens/Digest.h"
#include "tests/whole/goldens/Scenes.h"

namespace tumblewash::goldens {

namespace {

using Frame = PixRectRW<ARGBVal>;

// The destination, after `change` worked on it with a source that overlaps only part of it.
void change(Digests& list, const char* name, const std::function<int(Frame&, const Frame&)>& operation) {
    Frame mine(-4, 2, 33, 25), other(3, -3, 40, 19);
    scatter(mine, 1);
    scatter(other, 2);
    Digest digest;
    digest.put(operation(mine, other));
    record(list, std::string("arithmetic/ARGBVal/") + name, digest.put(mine));
}

void pairs(Digests& list) {
    change(list, "copyfrom", [](Frame& a, const Frame& b) { return a.copyfrom(b); });
    change(list, "copyfromGrey", [](Frame& a, const Frame& b) {
        return a.copyfrom(PixRectRW<GreyPixel<float>>(static_cast<const PixRect<ARGBVal>&>(b)));
    });
    change(list, "add", [](Frame& a, const Frame& b) { return a.add(b); });
    change(list, "subtract", [](Frame& a, const Frame& b) { return a.subtract(b); });
    change(list, "blendwith", [](Frame& a, const Frame& b) { return a.blendwith(b, 0.7F); });
    change(list, "blendwithalpha",
           [](Frame& a, const Frame& b) { return a.blendwithalpha(b, SIAlphaSource); });
    change(list, "blendwithlimit", [](Frame& a, const Frame& b) {
        int rejected = 0;
        a.blendwithlimit(b, 60, rejected);
        return rejected;
    });
    change(list, "blendwithlimitrgb", [](Frame& a, const Frame& b) { return a.blendwithlimitrgb(b, 90); });
    change(list, "blendwithpeak", [](Frame& a, const Frame& b) {
        Shape2D shape(20, 12);
        for (int row = 0; row < 12; ++row)
            for (int column = 0; column < 20; ++column)
                shape.setweight(row, column, static_cast<float>(row * 20 + column) / 240.0F);
        return a.blendwithpeak(b, shape);
    });
}

void singles(Digests& list) {
    change(list, "fillWith", [](Frame& a, const Frame&) { return a.fillWith(ARGBVal(1, 2, 3, 4)); });
    change(list, "fillwithcount", [](Frame& a, const Frame&) { return a.fillwithcount(); });
    change(list, "incrementbyPixel",
           [](Frame& a, const Frame&) { return a.incrementby(ARGBVal(9, 80, 170, 255)); });
    change(list, "incrementbyColour",
           [](Frame& a, const Frame&) { return a.incrementby(RGBPixel<float>(3.7F, -20.2F, 300.5F)); });
    change(list, "incrementbyInt", [](Frame& a, const Frame&) { return a.incrementby(-77); });
    change(list, "incrementbyDouble", [](Frame& a, const Frame&) { return a.incrementby(-77.9); });
    change(list, "multiplyby", [](Frame& a, const Frame&) { return a.multiplyby(1.37); });
    change(list, "divide", [](Frame& a, const Frame&) { return a /= 3.0; });
}

template <class T>
void everyType(Digests& list, const std::string& type) {
    const PixRectRW<T> source = scattered<T>(-2, 1, 17, 14, 3);
    record(list, "arithmetic/" + type + "/converted", Digest().put(source));
    record(list, "arithmetic/" + type + "/totalLum", Digest().put(source.totalLum()));
    record(list, "arithmetic/" + type + "/averageHue", Digest().put(source.averageHue()));
    PixRectRW<T> work(source);
    work.multiplyby(0.83);
    work += 11.6;
    work /= 1.7;
    record(list, "arithmetic/" + type + "/steps", Digest().put(work));
    work.fillwithcount();
    record(list, "arithmetic/" + type + "/count", Digest().put(work));
    record(list, "arithmetic/" + type + "/toFrame",
           Digest().put(PixRectRW<ARGBVal>(static_cast<const PixRect<T>&>(source))));
}

template <class T>
void filtered(Digests& list, const std::string& type) {
    float skewed[5][5], negative[5][5];
    for (int i = 0; i < 5; ++i) {
        for (int j = 0; j < 5; ++j) {
            skewed[i][j] = static_cast<float>(1 + i * 5 + j) / 64.0F;
            negative[i][j] = i == 2 && j == 2 ? 9.5F : -0.25F;
        }
    }
    const PixRectRW<T> source = scattered<T>(-5, 3, 13, 16, 4);
    record(list, "convolution/" + type + "/skewed", Digest().put(PixRectRW<T>(source, skewed)));
    record(list, "convolution/" + type + "/negative", Digest().put(PixRectRW<T>(source, negative)));
}

}  // namespace

void arithmetic(Digests& list) {
    pairs(list);
    singles(list);
    everyType<ARGBVal>(list, "ARGBVal");
    everyType<RGBGrVal>(list, "RGBGrVal");
    everyType<GreyPixel<float>>(list, "GreyPixel<float>");
    everyType<GreyPixel<unsigned char>>(list, "GreyPixel<byte>");
    everyType<GreyPixel<int>>(list, "GreyPixel<int>");
    everyType<RGBPixel<float>>(list, "RGBPixel<float>");
    everyType<RGBPixel<unsigned char>>(list, "RGBPixel<byte>");
    everyType<HSVPixel<unsigned char>>(list, "HSVPixel<byte>");
}

void convolution(Digests& list) {
    filtered<ARGBVal>(list, "ARGBVal");
    filtered<RGBGrVal>(list, "RGBGrVal");
    filtered<GreyPixel<float>>(list, "GreyPixel<float>");
    filtered<GreyPixel<unsigned char>>(list, "GreyPixel<byte>");
    filtered<GreyPixel<int>>(list, "GreyPixel<int>");
    filtered<RGBPixel<float>>(list, "RGBPixel<float>");
    filtered<RGBPixel<unsigned char>>(list, "RGBPixel<byte>");
    filtered<HSVPixel<unsigned char>>(list, "HSVPixel<byte>");
}

}  // namespace tumblewash::goldens
