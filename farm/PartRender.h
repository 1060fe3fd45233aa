// Renders one part of a plan, or its sound: into the folder of parts with a receipt, or as fingerprints. A
// part opens its own clips alone, at its own first frame; the sound goes through all clips without their
// pictures.
#pragma once

#include <functional>
#include <string>

#include "farm/FarmPlan.h"
#include "farm/PartFiles.h"
#include "media/MediaError.h"

namespace tumblewash::farm {

/// How and whereto.
struct PartSettings {
    std::string output;  ///< a folder of parts, or `md5:` or `md5:FILE`
    bool force = false;  ///< render again what is done already; replace an old file of fingerprints
    int threads = 0;     ///< as `RenderSettings`, but for the encoder, whose threads the plan fixes
    media::CancelFlag cancel = nullptr;
    std::function<void(std::int64_t done)> advance;  ///< frames that are finished; may be empty
};

/// The frame plan that the parts cut up. Throws Refusal (BadRequest) when the plan's lengths do not add up.
edit::FramePlan framePlanOf(const FarmPlan& plan);

/// How everything that is made from a plan is written, parts and whole, without what only one of them has:
/// sound, words, its count of pictures.
media::WriterSettings writerOf(const FarmPlan& plan);

/// Refuses (BadRequest) a plan of another program, and inputs that are not as they were when it was made:
/// those of one part, or all of them for the sound.
void checkPlanHere(const FarmPlan& plan, const std::string& program, int number);

/// What became of a part.
struct PartResult {
    bool rendered = true;  ///< false: it was done already, and nothing was rendered
    PartWords words;       ///< what is to be told of it
};

/// Renders. Throws Refusal, MediaError or HostError; the folder then holds nothing half.
PartResult renderPart(const FarmPlan& plan, int number, const PartSettings& settings);

}  // namespace tumblewash::farm
