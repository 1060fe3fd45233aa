// The fixture of every test that writes into rectangles: whatever a test did, the shared zero pixels are zero
// after it. Also catches the library's diagnostic text. Not here: any helper that knows an operation.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/HSVPixel.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"

namespace tumblewash::reference {

inline void expectBlackpixelsZero() {
    const ARGBVal a = PixRectBase<ARGBVal>::blackpixel;
    EXPECT_EQ(0, a._alpha + a._red + a._green + a._blue);
    const RGBGrVal g = PixRectBase<RGBGrVal>::blackpixel;
    EXPECT_EQ(0, g._red + g._green + g._blue + g._grey);
    EXPECT_EQ(0.0f, PixRectBase<GreyPixel<float>>::blackpixel._grey);
    EXPECT_EQ(0, PixRectBase<GreyPixel<unsigned char>>::blackpixel._grey);
    EXPECT_EQ(0, PixRectBase<GreyPixel<int>>::blackpixel._grey);
    const RGBPixel<float> f = PixRectBase<RGBPixel<float>>::blackpixel;
    EXPECT_EQ(0.0f, f._grey + f._red + f._green + f._blue);
    const RGBPixel<unsigned char> c = PixRectBase<RGBPixel<unsigned char>>::blackpixel;
    EXPECT_EQ(0, c._grey + c._red + c._green + c._blue);
    const HSVPixel<unsigned char> h = PixRectBase<HSVPixel<unsigned char>>::blackpixel;
    EXPECT_EQ(0, h.gethue() + h.getsat() + h.getval());
}

class RectTest : public ::testing::Test {
  protected:
    void TearDown() override { expectBlackpixelsZero(); }
};

/// Collects what the library says while it lives.
class TraceCatcher {
  public:
    TraceCatcher() : file_(std::tmpfile()) { SICommon_H::traceto(file_); }
    TraceCatcher(const TraceCatcher&) = delete;
    TraceCatcher& operator=(const TraceCatcher&) = delete;
    ~TraceCatcher() {
        SICommon_H::traceto(nullptr);
        std::fclose(file_);
    }

    std::string text() const {
        std::string all;
        std::rewind(file_);
        for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_)) all.push_back(static_cast<char>(c));
        return all;
    }

  private:
    std::FILE* file_;
};

}  // namespace tumblewash::reference
