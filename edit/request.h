// A movie that was asked for, checked and ready to be made: clips opened and counted, effects described,
// sizes and rates settled, the plan drawn up. Nothing has been rendered or written yet.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "edit/clips.h"
#include "edit/effects.h"
#include "edit/order.h"
#include "edit/plan.h"
#include "media/Writer.h"

namespace tumblewash::edit {

/// Everything that rendering needs to know.
struct MovieRequest {
    explicit MovieRequest(host::PluginModule plugin) : module(std::move(plugin)) {}

    host::PluginModule module;
    std::vector<Effect> effects;  ///< one per seam, or the one of a single clip
    std::vector<Clip> clips;
    PixelSize size;
    media::FrameRate rate;
    media::FieldOrder fields = media::FieldOrder::progressive;
    bool sound = false;
    FramePlan plan;
    media::WriterSettings writer;
    std::vector<std::int64_t> lengths;  ///< n of each transition
};

/// Settles a movie request, cheapest checks first, and throws Refusal, MediaError or HostError for what
/// cannot be made. Writes nothing.
MovieRequest prepareMovie(const MovieOrder& order);

/// Which sizes a result may have.
enum class Edges {
    Any,         ///< an odd input keeps its size
    PreferEven,  ///< an odd input grows by one; an odd --size stays
    OnlyEven     ///< an odd input grows by one; an odd --size is refused
};

/// The size of a result: the order's one, else the first input's display size. Refuses sizes outside the
/// limits.
PixelSize settleSize(const MovieOrder& order, const media::MediaInfo& first, Edges edges);

/// The length n of a transition in frames at `rate`: the order's, or what the plug-in reports for its speed,
/// or 1 s.
std::int64_t settleLength(const MovieOrder& order, const Effect& effect, media::FrameRate rate);

}  // namespace tumblewash::edit
