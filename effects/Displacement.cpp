#include "effects/Displacement.h"

#include "pluginDistort/v1/DeepProcess.h"
#include "pluginDistort/v1/DistortProcess.h"

namespace tumblewash::effects {

std::unique_ptr<DisplacementField> displacementOf(const plugin::EffectRecord& effect,
                                                  const EffectKnobs& knobs) {
    switch (effect.field) {
        case plugin::FieldMaker::washAway:
            return plugin::seededWashAway(knobs.direction, knobs.seed);
        case plugin::FieldMaker::tiltPlate:
            return std::unique_ptr<DisplacementField>(makeTiltPlate(kTiltZoom, kTiltCells));
        case plugin::FieldMaker::none:
            break;
    }
    return nullptr;
}

}  // namespace tumblewash::effects
