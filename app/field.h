// The command `field`: what moves where, as arrows over the dimmed picture, or a plate's path.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "app/options.h"
#include "edit/stillrender.h"

namespace tumblewash::app {

/// Where one place of the frame gets its pixel from, in frame pixels: the picture moves from (x + dx, y + dy)
/// to (x, y).
struct FieldVector {
    double x = 0;
    double y = 0;
    double dx = 0;
    double dy = 0;
};

/// The four corners of a tumbling plate in frame pixels, in the order top left, top right, bottom right,
/// bottom left of the picture.
using Plate = std::array<std::array<double, 2>, 4>;

/// The field that an effect uses at full strength, one vector per cell, row by row; `cells` gets the cells
/// per row. Empty for effects without a field. For the morph, the forward motion field.
std::vector<FieldVector> effectField(const host::PluginModule& module, const edit::TransitionJob& job,
                                     edit::StillPair inputs, int& cells);

/// The plate at frame k of a tumble, from the built-in plug-in's trace; nothing when there is none, as from a
/// module loaded from a file. One thread of the process at a time.
std::optional<Plate> platePosition(const host::PluginModule& module, const edit::TransitionJob& job,
                                   edit::StillPair inputs, std::int64_t k);

/// Runs `field`. Throws Refusal, MediaError or HostError; an old output is then as it was.
void makeField(const Options& options);

}  // namespace tumblewash::app
