// How the pictures of a morph move: both motion fields, estimated once for two pictures and kept by whoever
// renders more than one moment of them. It does not move anything.
#pragma once

#include <utility>

#include "pluginDistort/v1/DeepProcess.h"

namespace tumblewash::effects {

/// The motion between two pictures. Nothing of it changes once it is made: threads may share it.
class MorphMotion {
  public:
    /// Takes both fields.
    explicit MorphMotion(plugin::DeepMotion motion) : fields(std::move(motion)) {}
    plugin::DeepMotion fields;  ///< of the first and of the last picture
};

}  // namespace tumblewash::effects
