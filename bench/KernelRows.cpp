#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "ImageLib/kernels/BilinearRow.h"
#include "ImageLib/kernels/BlendRow.h"
#include "ImageLib/kernels/BlockMatch.h"
#include "ImageLib/kernels/BlockMean.h"
#include "ImageLib/kernels/ConvolveRow.h"
#include "ImageLib/kernels/DeepBilinearRow.h"
#include "ImageLib/kernels/FieldRow.h"
#include "ImageLib/kernels/InstructionSet.h"
#include "ImageLib/kernels/ProjectRow.h"
#include "ImageLib/kernels/WarpRow.h"
#include "bench/Kernel.h"
#include "bench/Rows.h"
#include "bench/Yardsticks.h"

namespace tumblewash::bench {

namespace {

using kernels::InstructionSet;

/// Rows of a picture: enough for a kernel that reads its neighbours, few enough for the nearest cache.
constexpr int kRowCount = 8;

/// Positions along a row that slants a little, between pixels.
struct Positions {
    std::vector<float> x, y;
    explicit Positions(int count) {
        for (int i = 0; i < count; ++i) {
            x.push_back(static_cast<float>(i) * 0.97F);
            y.push_back(1.0F + 5.0F * static_cast<float>(i) / static_cast<float>(count));
        }
    }
};

void addBlends(Table& table, int width, Picture& from, Picture& to) {
    const auto pixels = static_cast<std::size_t>(width) * kRowCount;
    const Kernel proportion(table, "blend in proportion", width), alpha(table, "blend by alpha", width);
    const auto inProportion = [&](InstructionSet set) {
        kernels::blendInProportionRow(to.data(), from.data(), pixels, 1.5F, set);
    };
    proportion.beside(inProportion,
                      [&] { kernels::blendInProportionRowScalar(to.data(), from.data(), pixels, 1.5F); });
    proportion.besideOpenCv(inProportion, "addWeighted", [&] { blendHalf(from, to); });
    const auto byAlpha = [&](InstructionSet set) {
        kernels::blendByAlphaRow(to.data(), from.data(), pixels, set);
    };
    alpha.beside(byAlpha, [&] { kernels::blendByAlphaRowScalar(to.data(), from.data(), pixels); });
    alpha.besideOpenCv(byAlpha, "addWeighted", [&] { blendHalf(from, to); });
}

void addConvolution(Table& table, int width, Picture& from, Picture& to) {
    float weights[5][5], flat[25];
    for (int i = 0; i < 25; ++i)
        weights[i / 5][i % 5] = flat[i] =
            0.01F * static_cast<float>((3 - std::abs(i / 5 - 2)) * (3 - std::abs(i % 5 - 2)));
    const kernels::ConvolveWeights taps(weights, 1.0F / 0.81F);
    const auto over = [&](auto convolve) {
        const int pitch = width * 4;
        for (int y = 2; y < kRowCount - 2; ++y) {
            const unsigned char* rows[5];
            for (int j = 0; j < 5; ++j) rows[j] = from.data() + std::ptrdiff_t{pitch} * (y - 2 + j);
            convolve(rows, to.data() + std::ptrdiff_t{pitch} * y);
        }
    };
    const auto version = [&](InstructionSet set) {
        over([&](const auto& rows, unsigned char* out) {
            kernels::convolveRow(taps, rows, width - 4, 0, out, set);
        });
    };
    const Kernel kernel(table, "convolution, 4 rows", width);
    kernel.beside(version, [&] {
        over([&](const auto& rows, unsigned char* out) {
            kernels::convolveRowScalar(taps, rows, width - 4, 0, out);
        });
    });
    Picture four(width, 4), filtered(width, 4);
    kernel.besideOpenCv(version, "filter2D", [&] { filter5x5(four, filtered, flat); });
}

void addBilinear(Table& table, int width, Picture& from, Picture& to) {
    const Positions at(width);
    const kernels::FieldReading reading{{from.data(), std::ptrdiff_t{width} * 4, width, kRowCount},
                                        to.data()};
    Kernel(table, "bilinear", width)
        .beside(
            [&](InstructionSet set) {
                kernels::bilinearRow(&reading, 1, at.x.data(), at.y.data(), width, set);
            },
            [&] { kernels::bilinearRowScalar(&reading, 1, at.x.data(), at.y.data(), width); });
    std::vector<unsigned char> deep(static_cast<std::size_t>(width) * kRowCount * 8, 77), out(deep.size());
    const kernels::DeepReading deepReading{{deep.data(), std::ptrdiff_t{width} * 8, width, kRowCount, {}, {}},
                                           out.data()};
    Kernel(table, "bilinear, deep", width)
        .beside(
            [&](InstructionSet set) {
                kernels::deepBilinearRow(&deepReading, 1, at.x.data(), at.y.data(), width, set);
            },
            [&] { kernels::deepBilinearRowScalar(&deepReading, 1, at.x.data(), at.y.data(), width); });
}

void addProjection(Table& table, int width) {
    const float h[8] = {0.97F, 0.02F, 1.0F, -0.02F, 0.97F, 2.0F, 1.0e-6F, 2.0e-6F};
    const kernels::OpenBounds bounds{-1.0F, static_cast<float>(width), -1.0F, 1080.0F};
    std::vector<float> x(static_cast<std::size_t>(width)), y(x.size());
    std::vector<std::uint64_t> inside(x.size() / 64 + 1);
    Kernel(table, "projection", width)
        .beside(
            [&](InstructionSet set) {
                kernels::projectRow(h, 5, 0, width, bounds, x.data(), y.data(), inside.data(), set);
            },
            [&] { kernels::projectRowScalar(h, 5, 0, width, bounds, x.data(), y.data(), inside.data()); });
}

void addWarp(Table& table, int width, Picture& from, Picture& to) {
    const kernels::WarpShape shape{width, width, kRowCount, kRowCount / 2, 0.5F};
    std::mt19937 random(3);
    std::vector<float> moved(static_cast<std::size_t>(width));
    for (float& m : moved) m = 20.0F * static_cast<float>(random() % 1000) / 1000.0F;
    const kernels::WarpEstimate red{moved.data(), moved.data(), 0.0F, 0.001F},
        green{nullptr, nullptr, 0.0F, 0.0F};
    std::vector<std::int32_t> index(moved.size());
    std::vector<int> undecided(moved.size() + 16);
    // The rows about fetches need the indices, whichever rows are wanted.
    kernels::estimateIndexRowScalar(shape, red, green, 0.4F, 0.6F, 1, 0, width, index.data(),
                                    undecided.data());
    Kernel(table, "warp, estimates", width)
        .beside(
            [&](InstructionSet set) {
                kernels::estimateIndexRow(shape, red, green, 0.4F, 0.6F, 1, 0, width, index.data(),
                                          undecided.data(), set);
            },
            [&] {
                kernels::estimateIndexRowScalar(shape, red, green, 0.4F, 0.6F, 1, 0, width, index.data(),
                                                undecided.data());
            });
    unsigned char* odd = to.data() + std::ptrdiff_t{width} * 4;
    const auto scalar = [&] {
        kernels::warpFetchRowScalar(shape, from.data(), index.data(), width, to.data(), odd);
    };
    Kernel(table, "warp, fetch singly", width)
        .beside(
            [&](InstructionSet set) {
                kernels::warpFetchRowSingly(shape, from.data(), index.data(), width, to.data(), odd, set);
            },
            scalar);
    Kernel(table, "warp, fetch by gathers", width)
        .beside(
            [&](InstructionSet set) {
                kernels::warpFetchRowGathering(shape, from.data(), index.data(), width, to.data(), odd, set);
            },
            scalar);
}

void addField(Table& table, int width) {
    constexpr int cellCount = 64;
    std::vector<kernels::FieldRun> runs;
    for (int cell = 0; cell + 1 < cellCount; ++cell)
        runs.push_back(
            {cell * width / (cellCount - 1), (cell + 1) * width / (cellCount - 1), cell, cell + 1});
    const std::vector<double> near(static_cast<std::size_t>(width), 0.3), far(near.size(), 0.7);
    const std::vector<float> cells(cellCount, 0.25F);
    std::vector<float> out(near.size());
    const kernels::FieldColumns columns{near.data(), far.data()};
    const auto runCount = static_cast<int>(runs.size());
    const kernels::FieldChannel channel{cells.data(), cells.data(), out.data()};
    Kernel(table, "field", width)
        .beside(
            [&](InstructionSet set) {
                kernels::enlargeFieldRow(runs.data(), runCount, columns, 0.4, 0.6, &channel, 1, width, set);
            },
            [&] {
                kernels::enlargeFieldRowScalar(runs.data(), runCount, columns, 0.4, 0.6, &channel, 1, width);
            });
    Kernel(table, "field, one row of cells", width)
        .beside(
            [&](InstructionSet set) {
                kernels::enlargeCellRow(runs.data(), runCount, columns, cells.data(), out.data(), width, set);
            },
            [&] {
                kernels::enlargeCellRowScalar(runs.data(), runCount, columns, cells.data(), out.data(),
                                              width);
            });
}

void addMotion(Table& table, int width, Picture& from, Picture& other) {
    const unsigned char* rows[kRowCount];
    for (int y = 0; y < kRowCount; ++y) rows[y] = from.data() + std::ptrdiff_t{width} * 4 * y;
    std::vector<std::uint16_t> columns(static_cast<std::size_t>(width) * 4);
    Kernel(table, "motion, columns", width)
        .beside(
            [&](InstructionSet set) { kernels::sumColumns(rows, kRowCount, width * 4, columns.data(), set); },
            [&] { kernels::sumColumnsScalar(rows, kRowCount, width * 4, columns.data()); });
    std::vector<kernels::BlockRun> runs;
    for (int block = 0; block < 40; ++block) runs.push_back({block * width / 40, width / 40, block});
    std::vector<std::uint32_t> sums(std::size_t{3} * 40);
    Kernel(table, "motion, blocks", width)
        .beside(
            [&](InstructionSet set) {
                kernels::addBlockRuns(columns.data(), runs.data(), 40, sums.data(), set);
            },
            [&] { kernels::addBlockRunsScalar(columns.data(), runs.data(), 40, sums.data()); });
    std::uint32_t scores[kernels::kMatchPlaces * kernels::kMatchPlaces];
    const std::ptrdiff_t pitch = std::ptrdiff_t{width} * 4;
    Kernel(table, "motion, match", width)
        .beside(
            [&](InstructionSet set) { kernels::matchSums(from.data(), other.data(), pitch, scores, set); },
            [&] { kernels::matchSumsScalar(from.data(), other.data(), pitch, scores); });
}

}  // namespace

void addKernels(Table& table, int width) {
    Picture from = scene(width, kRowCount, 1), to = scene(width, kRowCount, 2);
    addBlends(table, width, from, to);
    addConvolution(table, width, from, to);
    addBilinear(table, width, from, to);
    addProjection(table, width);
    addWarp(table, width, from, to);
    addField(table, width);
    addMotion(table, width, from, to);
    addConversions(table, width);
}

}  // namespace tumblewash::bench
