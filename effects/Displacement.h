// The displacement field that an effect moves its picture along, made from the knobs alone. It has no size of
// its own in pixels and serves pictures of every size and depth.
#pragma once

#include <memory>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"
#include "effects/EffectKnobs.h"
#include "pluginDistort/v1/Catalogue.h"

namespace tumblewash::effects {

/// Red is horizontal and green vertical, as fractions of the picture.
using DisplacementField = PixRectRW<RGBPixel<float>>;

/// The field of `effect`, or null for effects without one. No shared generator is drawn from: any number of
/// threads may call this at once. Throws std::bad_alloc.
std::unique_ptr<DisplacementField> displacementOf(const plugin::EffectRecord& effect,
                                                  const EffectKnobs& knobs);

}  // namespace tumblewash::effects
