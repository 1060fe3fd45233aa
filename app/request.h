// A movie that was asked for, checked and ready to be made: clips opened and counted, effects described,
// sizes and rates settled, the plan drawn up. Nothing has been rendered or written yet.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "app/clips.h"
#include "app/effects.h"
#include "app/options.h"
#include "app/plan.h"
#include "media/Writer.h"

namespace tumblewash {

/// Everything that rendering needs to know.
struct MovieRequest {
    explicit MovieRequest(PluginModule plugin) : module(std::move(plugin)) {}

    PluginModule module;
    std::vector<Effect> effects;  ///< one per seam, or the one of a single clip
    std::vector<Clip> clips;
    PixelSize size;
    FrameRate rate;
    FieldOrder fields = FieldOrder::progressive;
    bool sound = false;
    FramePlan plan;
    WriterSettings writer;
    std::vector<std::int64_t> lengths;  ///< n of each transition
};

/// Settles a movie request, cheapest checks first, and throws Refusal, MediaError or HostError for what
/// cannot be made. Writes nothing.
MovieRequest prepareMovie(const Options& options);

/// Which sizes a result may have.
enum class Edges {
    Any,         ///< an odd input keeps its size
    PreferEven,  ///< an odd input grows by one; an odd --size stays
    OnlyEven     ///< an odd input grows by one; an odd --size is refused
};

/// The size of a result: the options' one, else the first input's display size. Refuses sizes outside the
/// limits.
PixelSize settleSize(const Options& options, const MediaInfo& first, Edges edges);

/// The length n of a transition in frames at `rate`: --duration, or what the plug-in reports for --speed, or
/// 1 s.
std::int64_t settleLength(const Options& options, const Effect& effect, FrameRate rate);

}  // namespace tumblewash
