#include "ImageLib/kernels/YuvRow.h"

#include "ImageLib/kernels/YuvRowLoops.h"

namespace tumblewash::kernels {

void chromaTermsRowScalar(const YuvMatrix& matrix, const std::uint8_t* cb, const std::uint8_t* cr,
                          std::size_t pixels, const ChromaTerms& terms) {
    yuvloops::chromaTerms(matrix, cb, cr, pixels, terms);
}

void argbRowFromYuvScalar(const YuvMatrix& matrix, const std::uint8_t* y, const ChromaTerms& terms,
                          std::size_t pixels, std::uint8_t* argb) {
    yuvloops::argbFromYuv(matrix, y, terms, pixels, argb);
}

void lumaRowFromArgbScalar(const YuvMatrix& matrix, const std::uint8_t* argb, std::size_t pixels,
                           std::uint8_t* y) {
    yuvloops::lumaFromArgb(matrix, argb, pixels, y);
}

void chromaRowFromArgbScalar(const YuvMatrix& matrix, const std::uint8_t* above, const std::uint8_t* below,
                             std::size_t samples, std::uint8_t* cb, std::uint8_t* cr) {
    yuvloops::chromaFromArgb(matrix, above, below, samples, cb, cr);
}

}  // namespace tumblewash::kernels
