// BlockMean: sums of packed pixels over blocks, the inner work of a reduction by block averages.
// Rows are added to sums of each column first, and columns to blocks once for many rows: whole numbers, exact
// in any order. It neither divides nor knows which rows and columns a block samples; SamplePixRect does both.
#pragma once

#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// `count` neighbouring columns, beginning with `first`, that belong to block number `block`.
struct BlockRun {
    int first;
    int count;
    int block;
};

/// How many rows sums of 16 bits hold.
constexpr int kMostRowsInColumns = 257;

/// columns[i] becomes the sum of rows[0][i] ... rows[rowCount - 1][i], for `bytes` bytes; rowCount is at most
/// kMostRowsInColumns.
void sumColumnsScalar(const unsigned char* const* rows, int rowCount, int bytes, std::uint16_t* columns);

/// Adds red, green and blue of each run's columns to sums[3 * block], sums[3 * block + 1] and sums[3 * block
/// + 2]. `columns` holds four sums a column, alpha first; the caller sees to it that no sum passes 2^32 - 1.
void addBlockRunsScalar(const std::uint16_t* columns, const BlockRun* runs, int runCount,
                        std::uint32_t* sums);

/// The version in use: the same sums, with the vectors of the machine it runs on.
void sumColumns(const unsigned char* const* rows, int rowCount, int bytes, std::uint16_t* columns,
                InstructionSet set = InstructionSet::best);

/// The version in use: the same sums, with the vectors of the machine it runs on.
void addBlockRuns(const std::uint16_t* columns, const BlockRun* runs, int runCount, std::uint32_t* sums,
                  InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
