// The rows of the table, one function for each family; every function adds its rows at one frame size.
// Median times of geometry rows are kept, so that the sizes can be compared per pixel.
#pragma once

#include <map>
#include <string>

#include "bench/Paired.h"

namespace tumblewash::bench {

/// Median milliseconds by the row's name without the size.
using Times = std::map<std::string, double>;

/// Warps, tumble, morph, motion estimate.
void addGeometry(Table& table, int width, int height, Times& times);
/// `CopyBits` and the blend behind `Blit`.
void addCopies(Table& table, int width, int height, Times& times);
/// Convolution, metrics, arithmetic, sampling.
void addLibrary(Table& table, int width, int height, Times& times);
/// HDR into SDR through the colour table.
void addColour(Table& table, int width, int height);
/// What an adapter's conversions cost in a mixed frame.
void addAdapters(Table& table, int width, int height);
/// One call of effects/, an adapter's whole frame and a live picture beside a session's frame.
void addDirect(Table& table, int width, int height);
/// One picture by two threads beside the same by one, in wall time.
void addThreads(Table& table, int width, int height);
/// Whole frames over deep pixels beside the plug-in's own.
void addDeep(Table& table, int width, int height);
/// The plain composition of views beside the shipped paths: what the reformulations are worth.
void addComposition(Table& table, int width, int height);
/// Kernels, each version beside its scalar sibling; the rows are this wide.
void addKernels(Table& table, int width);
/// Those that add up packed pixels or change their colours or layout.
void addConversions(Table& table, int width);

}  // namespace tumblewash::bench
