#include "ImageLib/source/FlowMorph.h"

#include <cstddef>
#include <vector>

#include "ImageLib/kernels/BilinearRow.h"
#include "ImageLib/kernels/MorphRow.h"
#include "ImageLib/source/FieldRows.h"
#include "ImageLib/source/LogHook.h"
#include "ImageLib/source/SICommon.h"

namespace {

unsigned char* bytesOf(const PixRectWrap<ARGBVal>& frame) {
    return reinterpret_cast<unsigned char*>(frame.getwrapdata());
}

/// The field of a frame that begins with line `first` (0 even, 1 odd).
tumblewash::FieldPixels fieldOf(const PixRectWrap<ARGBVal>& frame, int first) {
    const auto pitch = static_cast<std::ptrdiff_t>(frame.width()) * 4;
    return {bytesOf(frame) + first * pitch, 2 * pitch, frame.width(), (frame.height() + 1 - first) / 2};
}

void morphRows(const PixRectWrap<ARGBVal>& source, const PixRectWrap<ARGBVal>& dest,
               PixRectRW<RGBPixel<float>>& flow, float t) {
    const int columns = dest.width();
    const int rows = dest.height() / 2;
    const tumblewash::FieldPixels even = fieldOf(source, 0);
    const tumblewash::FieldPixels odd = fieldOf(source, 1);
    const auto pitch = static_cast<std::ptrdiff_t>(columns) * 4;
    tumblewash::FieldRows field(flow, even.columns, even.rows, columns);
    std::vector<float> atX(static_cast<std::size_t>(columns));
    std::vector<float> atY(atX.size());
    for (int y = 0; y < rows; ++y) {
        if (y == rows - 1) {
            dest._debug(DBGProblem, "MorphBetween2- Last Row = Even=%d Odd=%d\n", (dest.height() + 1) / 2 - 1,
                        dest.height() / 2 - 1);
        }
        field.select(y);
        tumblewash::morphPositionRow(field.red(), field.green(), t, y, columns, atX.data(), atY.data());
        unsigned char* out = bytesOf(dest) + 2 * y * pitch;
        const tumblewash::FieldReading fields[2] = {{even, out}, {odd, out + pitch}};
        tumblewash::bilinearRow(fields, 2, atX.data(), atY.data(), columns);
    }
}

}  // namespace

void MorphBetween(PixRectWrap<ARGBVal>& source, PixRectWrap<ARGBVal>& /*other*/, PixRectWrap<ARGBVal>& dest,
                  PixRectRW<RGBPixel<float>>* flow, float t) {
    tumblewash::logLine("MorphBetween1\n\r");
    tumblewash::logLine("MorphBetween2\n\r");
    const bool somePixels = source.getwrapdata() != nullptr && dest.getwrapdata() != nullptr &&
                            dest.width() >= 0 && dest.height() > 1 && source.width() >= 0 &&
                            source.height() > 0;
    if (somePixels) {
        morphRows(source, dest, *flow, t);
    }
    tumblewash::logLine("MorphBetween3\n\r");
}
