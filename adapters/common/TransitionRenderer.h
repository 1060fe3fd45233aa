// One variant of the catalogue as a foreign host needs it: any position at any time from any thread, two
// pictures in, one out, alpha meaning what hosts mean by it. It hides the sessions behind it and keeps no
// picture from one call to the next. It knows no host interface: frei0r and OpenFX sit on top of it.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "adapters/common/Canvas.h"
#include "hostapi/HYPlugin.h"
#include "pluginDistort/v1/Catalogue.h"

namespace tumblewash::adapters {

/// What users may choose; the easing is the variant's own.
struct Knobs {
    HYPluginDirection direction = kPluginDirectionRight;
    unsigned seed = 1;
    friend bool operator==(const Knobs&, const Knobs&) = default;
};

/// True when the variant joins two clips (mixers), false when it works on one (filters).
[[nodiscard]] bool joinsTwoClips(const plugin::EffectRecord& effect) noexcept;

/// True for the variants with one clip whose picture arrives: position 0 shows nothing, 1 the picture.
[[nodiscard]] bool pictureArrives(const plugin::EffectRecord& effect) noexcept;

/// True when the direction and seed knobs change the picture.
[[nodiscard]] bool hasKnobs(const plugin::EffectRecord& effect) noexcept;

/// Where a position lies: at the ends a host must hand through one picture, bit for bit.
enum class Phase { first, between, last };
/// position <= 0 is first, >= 1 last; what is no number is first.
[[nodiscard]] Phase phaseOf(double position) noexcept;

/// Renders one variant at one size.
class TransitionRenderer {
  public:
    /// Cheap: sessions are made on first use. Sizes that the plug-in does not take (below 16 x 16, wider than
    /// 4095) are rendered as a plain cross-dissolve, see `note`.
    TransitionRenderer(const plugin::EffectRecord& effect, int width, int height);
    ~TransitionRenderer();
    TransitionRenderer(const TransitionRenderer&) = delete;
    TransitionRenderer& operator=(const TransitionRenderer&) = delete;

    /// Renders `position` (0 to 1, ends excluded: see phaseOf) of `from` and, for two clips, `to` into `out`.
    /// All canvases have the renderer's size; the sources are used as scratch and hold anything afterwards.
    /// Opaque sources of a two-clip variant give an opaque result, which `out` says (Canvas::opaque) instead
    /// of holding 255 everywhere; what a one-clip variant uncovers is zero; other alpha moves with the
    /// picture. Safe from several threads at once. Throws HostError or std::bad_alloc.
    void render(double position, const Knobs& knobs, Canvas& from, Canvas* to, Canvas& out);

    /// One line for the host's log when every frame of this size is a plain cross-dissolve; else empty.
    [[nodiscard]] const std::string& note() const noexcept { return note_; }
    [[nodiscard]] int width() const noexcept { return width_; }
    [[nodiscard]] int height() const noexcept { return height_; }

  private:
    struct Lane;

    std::unique_ptr<Lane> takeLane(const Knobs& knobs);
    void giveLane(std::unique_ptr<Lane> lane);
    void renderWithMatte(Lane& lane, std::int32_t frame, Canvas& from, Canvas* to, Canvas& out);
    void cut(double position, const Canvas& from, const Canvas* to, Canvas& out) const;
    void dissolve(double position, const Canvas& from, const Canvas* to, Canvas& out) const;

    const plugin::EffectRecord& effect_;
    int width_;
    int height_;
    std::string note_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<Lane>> idle_;
};

}  // namespace tumblewash::adapters
