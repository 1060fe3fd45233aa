// One variant of the catalogue as a foreign host needs it: any position at any time from any thread, two
// pictures in, one out. It keeps the effect that it prepared for the knobs used last, and no
// picture from one call to the next. It knows no host interface: frei0r and OpenFX sit on top of it.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "adapters/common/Canvas.h"
#include "effects/Effect.h"
#include "pluginDistort/v1/Catalogue.h"

namespace tumblewash::adapters {

/// What users may choose; the easing is the variant's own.
using Knobs = effects::EffectKnobs;
using effects::hasKnobs;
using effects::joinsTwoClips;
using effects::pictureArrives;

/// Where a position lies: at the ends a host must hand through one picture, bit for bit.
enum class Phase { first, between, last };
/// position <= 0 is first, >= 1 last; what is no number is first.
[[nodiscard]] Phase phaseOf(double position) noexcept;

/// Renders one variant at one size.
class TransitionRenderer {
  public:
    /// Cheap. Sizes below 16 x 16, of which the variants show next to nothing, are rendered as a plain
    /// cross-dissolve, see `note`.
    /// `threads` share one picture; hosts that render several at once want one thread for each.
    TransitionRenderer(const plugin::EffectRecord& effect, int width, int height,
                       const effects::Threads& threads = {});
    ~TransitionRenderer();
    TransitionRenderer(const TransitionRenderer&) = delete;
    TransitionRenderer& operator=(const TransitionRenderer&) = delete;

    /// Renders `position` (0 to 1, ends excluded: see phaseOf) of `from` and, for two clips, `to` into `out`.
    /// All canvases have the renderer's size; the sources are only read. Opaque sources of a two-clip variant
    /// give an opaque result, which `out` says (Canvas::opaque) instead of holding 255 everywhere; what a
    /// one-clip variant uncovers is zero; other alpha moves with the picture. Safe from several threads at
    /// once. Throws std::bad_alloc.
    void render(double position, const Knobs& knobs, const Canvas& from, const Canvas* to, Canvas& out);

    /// One line for the host's log when every frame of this size is a plain cross-dissolve; else empty.
    [[nodiscard]] const std::string& note() const noexcept { return note_; }
    [[nodiscard]] int width() const noexcept { return width_; }
    [[nodiscard]] int height() const noexcept { return height_; }

  private:
    std::shared_ptr<const effects::Effect> prepared(const Knobs& knobs);
    void dissolve(double position, const Canvas& from, const Canvas* to, Canvas& out) const;

    const plugin::EffectRecord& effect_;
    int width_;
    int height_;
    effects::Threads threads_;
    std::string note_;
    std::mutex mutex_;
    std::shared_ptr<const effects::Effect> lastUsed_;
};

}  // namespace tumblewash::adapters
