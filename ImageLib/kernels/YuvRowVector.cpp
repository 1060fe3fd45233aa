#include "ImageLib/kernels/YuvRow.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void chromaTermsRow(const YuvMatrix& matrix, const std::uint8_t* cb, const std::uint8_t* cr,
                    std::size_t pixels, const ChromaTerms& terms, InstructionSet) {
    chromaTermsRowScalar(matrix, cb, cr, pixels, terms);
}

void argbRowFromYuv(const YuvMatrix& matrix, const std::uint8_t* y, const ChromaTerms& terms,
                    std::size_t pixels, std::uint8_t* argb, InstructionSet) {
    argbRowFromYuvScalar(matrix, y, terms, pixels, argb);
}

void lumaRowFromArgb(const YuvMatrix& matrix, const std::uint8_t* argb, std::size_t pixels, std::uint8_t* y,
                     InstructionSet) {
    lumaRowFromArgbScalar(matrix, argb, pixels, y);
}

void chromaRowFromArgb(const YuvMatrix& matrix, const std::uint8_t* above, const std::uint8_t* below,
                       std::size_t samples, std::uint8_t* cb, std::uint8_t* cr, InstructionSet) {
    chromaRowFromArgbScalar(matrix, above, below, samples, cb, cr);
}

}  // namespace tumblewash::kernels

#else

#include "ImageLib/kernels/YuvRowLoops.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/YuvRowVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

HWY_ATTR void chromaTermsRow(const YuvMatrix& matrix, const std::uint8_t* cb, const std::uint8_t* cr,
                             std::size_t pixels, const ChromaTerms& terms) {
    yuvloops::chromaTerms(matrix, cb, cr, pixels, terms);
}

HWY_ATTR void argbRowFromYuv(const YuvMatrix& matrix, const std::uint8_t* y, const ChromaTerms& terms,
                             std::size_t pixels, std::uint8_t* argb) {
    yuvloops::argbFromYuv(matrix, y, terms, pixels, argb);
}

HWY_ATTR void lumaRowFromArgb(const YuvMatrix& matrix, const std::uint8_t* argb, std::size_t pixels,
                              std::uint8_t* y) {
    yuvloops::lumaFromArgb(matrix, argb, pixels, y);
}

HWY_ATTR void chromaRowFromArgb(const YuvMatrix& matrix, const std::uint8_t* above, const std::uint8_t* below,
                                std::size_t samples, std::uint8_t* cb, std::uint8_t* cr) {
    yuvloops::chromaFromArgb(matrix, above, below, samples, cb, cr);
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(chromaTermsRow);
HWY_EXPORT(argbRowFromYuv);
HWY_EXPORT(lumaRowFromArgb);
HWY_EXPORT(chromaRowFromArgb);

void chromaTermsRow(const YuvMatrix& matrix, const std::uint8_t* cb, const std::uint8_t* cr,
                    std::size_t pixels, const ChromaTerms& terms, InstructionSet set) {
    TUMBLEWASH_VERSION(chromaTermsRow, set)(matrix, cb, cr, pixels, terms);
}

void argbRowFromYuv(const YuvMatrix& matrix, const std::uint8_t* y, const ChromaTerms& terms,
                    std::size_t pixels, std::uint8_t* argb, InstructionSet set) {
    TUMBLEWASH_VERSION(argbRowFromYuv, set)(matrix, y, terms, pixels, argb);
}

void lumaRowFromArgb(const YuvMatrix& matrix, const std::uint8_t* argb, std::size_t pixels, std::uint8_t* y,
                     InstructionSet set) {
    TUMBLEWASH_VERSION(lumaRowFromArgb, set)(matrix, argb, pixels, y);
}

void chromaRowFromArgb(const YuvMatrix& matrix, const std::uint8_t* above, const std::uint8_t* below,
                       std::size_t samples, std::uint8_t* cb, std::uint8_t* cr, InstructionSet set) {
    TUMBLEWASH_VERSION(chromaRowFromArgb, set)(matrix, above, below, samples, cb, cr);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
