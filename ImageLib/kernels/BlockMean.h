// BlockMean: sums of packed pixels over runs of columns, the inner work of a reduction by block averages.
// One frame row at a time, added to sums of whole numbers: exact in any order.
// It neither divides nor knows which columns a block samples; SamplePixRect does both.
#pragma once

#include <cstdint>

namespace tumblewash {

/// `count` neighbouring columns, beginning with `first`, that belong to block number `block`.
struct BlockRun {
    int first;
    int count;
    int block;
};

/// Adds red, green and blue of each run's pixels to sums[3 * block], sums[3 * block + 1] and sums[3 * block +
/// 2]. `row` holds four bytes a pixel, alpha first; the caller sees to it that no sum passes 2^32 - 1.
void addBlockRunsScalar(const unsigned char* row, const BlockRun* runs, int runCount, std::uint32_t* sums);

/// The version in use.
inline void addBlockRuns(const unsigned char* row, const BlockRun* runs, int runCount, std::uint32_t* sums) {
    addBlockRunsScalar(row, runs, runCount, sums);
}

}  // namespace tumblewash
