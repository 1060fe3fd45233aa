// The zero pixel of every rectangle type answers for all missing pixels. It is looked at when the program
// starts and again after the last test: whatever ran in between, nothing may have written it.
#include <gtest/gtest.h>

#include <cstring>

#include "ImageLib/source/PixRect.h"

namespace {

template <class T>
void expectZero(const char* name) {
    const T& p = PixRectBase<T>::blackpixel;
    if constexpr (std::is_base_of_v<SICommon, T>) {
        EXPECT_EQ(p.dbg.value(), 0) << name;
    } else {
        const unsigned char zero[4] = {};
        EXPECT_EQ(std::memcmp(&p, zero, sizeof zero), 0) << name;
    }
    if constexpr (std::is_base_of_v<GreyPixelType, T>) {
        EXPECT_EQ(p._grey, 0) << name;
    } else if constexpr (std::is_base_of_v<HSVPixelType, T>) {
        EXPECT_TRUE(p._hue == 0 && p._sat == 0 && p._val == 0) << name;
    } else {
        EXPECT_TRUE(p._red == 0 && p._green == 0 && p._blue == 0) << name;
    }
    if constexpr (std::is_base_of_v<SICommon, T> && std::is_base_of_v<RGBPixelType, T>) {
        EXPECT_EQ(p._grey, 0) << name;
    }
}

void expectEveryBlackPixelIsZero() {
#define EXPECT_ZERO(T) expectZero<T>(#T);
    SI_FOR_EACH_RECT_PIXEL(EXPECT_ZERO)
#undef EXPECT_ZERO
}

class BlackPixels : public ::testing::Environment {
  public:
    void SetUp() override { expectEveryBlackPixelIsZero(); }
    void TearDown() override { expectEveryBlackPixelIsZero(); }
};

[[maybe_unused]] const ::testing::Environment* const blackpixels =
    ::testing::AddGlobalTestEnvironment(new BlackPixels);

}  // namespace

TEST(BlackPixelTest, EveryZeroPixelIsZeroWhileTestsRun) {
    expectEveryBlackPixelIsZero();
}
