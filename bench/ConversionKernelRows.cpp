#include <cstdint>
#include <random>
#include <vector>

#include "ImageLib/kernels/ColourTableRow.h"
#include "ImageLib/kernels/DeepYuvRow.h"
#include "ImageLib/kernels/PackedRows.h"
#include "ImageLib/kernels/YuvRow.h"
#include "bench/Kernel.h"
#include "bench/Rows.h"
#include "bench/Yardsticks.h"
#include "media/detail/DeepMatrix.h"

namespace tumblewash::bench {

namespace {

using kernels::InstructionSet;

void addPacked(Table& table, int width) {
    Picture from = scene(width, 1, 1), to = scene(width, 1, 2);
    const auto pixels = static_cast<std::size_t>(width), bytes = pixels * 4;
    const std::uint8_t grey[4] = {255, 90, 91, 92};
    const Kernel add(table, "add bytes", width), pixel(table, "add a pixel", width),
        fill(table, "fill", width), luminance(table, "luminance", width),
        differences(table, "luminance differences", width);
    const auto added = [&](InstructionSet set) { kernels::addBytesRow(to.data(), from.data(), bytes, set); };
    add.beside(added, [&] { kernels::addBytesRowScalar(to.data(), from.data(), bytes); });
    add.besideOpenCv(added, "add", [&] { addFrames(from, to); });
    pixel.beside([&](InstructionSet set) { kernels::addPixelRow(to.data(), pixels, grey, set); },
                 [&] { kernels::addPixelRowScalar(to.data(), pixels, grey); });
    const auto filled = [&](InstructionSet set) { kernels::fillPixelRow(to.data(), pixels, grey, set); };
    fill.beside(filled, [&] { kernels::fillPixelRowScalar(to.data(), pixels, grey); });
    fill.besideOpenCv(filled, "setTo", [&] { fillFrame(to); });
    volatile std::uint64_t sum = 0;
    luminance.beside([&](InstructionSet set) { sum = kernels::sumLuminanceRow(from.data(), pixels, set); },
                     [&] { sum = kernels::sumLuminanceRowScalar(from.data(), pixels); });
    kernels::LuminanceDifferences apart;
    differences.beside(
        [&](InstructionSet set) {
            kernels::luminanceDifferencesRow(from.data(), to.data(), pixels, apart, set);
        },
        [&] { kernels::luminanceDifferencesRowScalar(from.data(), to.data(), pixels, apart); });
}

/// Samples and words as neighbours of one picture are: a slope with noise on it.
template <class Sample>
std::vector<Sample> slope(int count, int from, int to) {
    std::mt19937 random(5);
    std::vector<Sample> out;
    for (int i = 0; i < count; ++i)
        out.push_back(static_cast<Sample>(from + (to - from) * i / count + static_cast<int>(random() % 8)));
    return out;
}

void addYuv(Table& table, int width) {
    // BT.709 in 16.16.
    constexpr kernels::YuvMatrix matrix = {76309, 117489, -13975, -34925, 138438, 11966,  40254,
                                           4064,  -6596,  -22189, 28785,  28785,  -26145, -2640};
    const auto pixels = static_cast<std::size_t>(width);
    auto y = slope<std::uint8_t>(width, 20, 220), cb = slope<std::uint8_t>(width / 2, 100, 150),
         cr = slope<std::uint8_t>(width / 2, 150, 90);
    std::vector<int> red(pixels), green(pixels), blue(pixels);
    const kernels::ChromaTerms terms{red.data(), green.data(), blue.data()};
    Picture argb = scene(width, 2, 1);
    const std::uint8_t* below = argb.data() + 4 * pixels;
    Kernel(table, "chroma of a row", width)
        .beside(
            [&](InstructionSet set) {
                kernels::chromaTermsRow(matrix, cb.data(), cr.data(), pixels, terms, set);
            },
            [&] { kernels::chromaTermsRowScalar(matrix, cb.data(), cr.data(), pixels, terms); });
    Kernel(table, "pixels from Y'CbCr", width)
        .beside(
            [&](InstructionSet set) {
                kernels::argbRowFromYuv(matrix, y.data(), terms, pixels, argb.data(), set);
            },
            [&] { kernels::argbRowFromYuvScalar(matrix, y.data(), terms, pixels, argb.data()); });
    Kernel(table, "luma from pixels", width)
        .beside(
            [&](InstructionSet set) { kernels::lumaRowFromArgb(matrix, argb.data(), pixels, y.data(), set); },
            [&] { kernels::lumaRowFromArgbScalar(matrix, argb.data(), pixels, y.data()); });
    Kernel(table, "chroma from pixels", width)
        .beside(
            [&](InstructionSet set) {
                kernels::chromaRowFromArgb(matrix, argb.data(), below, pixels / 2, cb.data(), cr.data(), set);
            },
            [&] {
                kernels::chromaRowFromArgbScalar(matrix, argb.data(), below, pixels / 2, cb.data(),
                                                 cr.data());
            });
}

void addColourTable(Table& table, int width) {
    // The table that changes nothing: its values matter to no machine's time, where they lie does.
    std::vector<std::int16_t> nodes(kernels::kColourTableWords);
    for (std::size_t node = 0; node < nodes.size() / 4; ++node) {
        constexpr std::size_t side = kernels::kColourTableSide;
        const std::size_t places[] = {node / (side * side), node / side % side, node % side};
        for (std::size_t c = 0; c < 3; ++c)
            nodes[4 * node + c] = static_cast<std::int16_t>(static_cast<int>(places[c] * 1023) - 32768);
    }
    const auto pixels = static_cast<std::size_t>(width);
    auto red = slope<std::uint16_t>(width, 5000, 60000), green = slope<std::uint16_t>(width, 50000, 9000),
         blue = slope<std::uint16_t>(width, 20000, 30000);
    Kernel(table, "colour table", width)
        .beside(
            [&](InstructionSet set) {
                kernels::colourTableRow(nodes.data(), nullptr, red.data(), green.data(), blue.data(), pixels,
                                        set);
            },
            [&] {
                kernels::colourTableRowScalar(nodes.data(), nullptr, red.data(), green.data(), blue.data(),
                                              pixels);
            });
}

void addDeepYuv(Table& table, int width) {
    const kernels::DeepMatrix& matrix = media::deepMatrixOf(media::ColourMatrix::bt709);
    const auto pixels = static_cast<std::size_t>(width);
    auto y = slope<std::uint16_t>(width, 80, 900), cb = slope<std::uint16_t>(width / 2, 400, 600),
         cr = slope<std::uint16_t>(width / 2, 600, 400);
    auto red = slope<std::uint16_t>(width, 5000, 60000), green = slope<std::uint16_t>(width, 50000, 9000),
         blue = slope<std::uint16_t>(width, 20000, 30000);
    const kernels::DeepRow row{red.data(), green.data(), blue.data()};
    Kernel(table, "deep words from Y'CbCr", width)
        .beside(
            [&](InstructionSet set) {
                kernels::deepRowFromYuv(matrix, y.data(), cb.data(), cr.data(), true, pixels, red.data(),
                                        green.data(), blue.data(), set);
            },
            [&] {
                kernels::deepRowFromYuvScalar(matrix, y.data(), cb.data(), cr.data(), true, 0, pixels,
                                              red.data(), green.data(), blue.data());
            });
    Kernel(table, "luma from deep words", width)
        .beside(
            [&](InstructionSet set) {
                kernels::lumaRowFromDeep(matrix, row, pixels, 7, false, y.data(), set);
            },
            [&] { kernels::lumaRowFromDeepScalar(matrix, row, 0, pixels, 7, false, y.data()); });
    Kernel(table, "chroma from deep words", width)
        .beside(
            [&](InstructionSet set) {
                kernels::chromaRowFromDeep(matrix, row, row, pixels, 7, false, cb.data(), cr.data(), set);
            },
            [&] {
                kernels::chromaRowFromDeepScalar(matrix, row, row, 0, pixels, 7, false, cb.data(), cr.data());
            });
}

}  // namespace

void addConversions(Table& table, int width) {
    addPacked(table, width);
    addYuv(table, width);
    addColourTable(table, width);
    addDeepYuv(table, width);
}

}  // namespace tumblewash::bench
