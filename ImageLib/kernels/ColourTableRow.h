// ColourTableRow: one row of pixels through a three-dimensional colour table, tetrahedral between its nodes,
// in integers only: every machine gives the same words. Red, green and blue come as three planes of 16-bit
// words and are replaced. It knows neither transfers nor gamuts: those made the table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// Nodes along each axis: node k stands for the word 1024 k, the last one for a word past the end.
constexpr int kColourTableSide = 65;
/// Words of a whole table: four for each node, red slowest, blue fastest.
constexpr std::size_t kColourTableWords =
    std::size_t{4} * kColourTableSide * kColourTableSide * kColourTableSide;

/// A table holds at each node red, green and blue less 32768, and a fourth word that is 0. A pixel between
/// nodes lies in one of six tetrahedra along the diagonal of its cell, found by the order of its three
/// remainders; the result is (sum of the four corners by their weights, which are 1024 in all, + 512) / 1024.
/// Where `last` is given, a result is the number of one of its 65536 words, and that word is what is written.
/// `table` must be aligned to 8 bytes; the planes may not overlap.
void colourTableRowScalar(const std::int16_t* table, const std::uint16_t* last, std::uint16_t* red,
                          std::uint16_t* green, std::uint16_t* blue, std::size_t pixels);

/// The version in use: the same words, with the vectors of the machine it runs on.
void colourTableRow(const std::int16_t* table, const std::uint16_t* last, std::uint16_t* red,
                    std::uint16_t* green, std::uint16_t* blue, std::size_t pixels,
                    InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
