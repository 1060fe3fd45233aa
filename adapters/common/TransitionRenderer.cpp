#include "adapters/common/TransitionRenderer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "adapters/common/MorphMatte.h"
#include "host/Session.h"
#include "memory/FrameMemory.h"
#include "pluginDistort/v1/Transitions.h"

namespace tumblewash::adapters {

using host::FrameRequest;
using host::FrameResult;
using host::FrameSource;
using host::HostError;
using host::kMaxPictureHeight;
using host::kMaxPictureWidth;
using host::kMinPictureSide;
using host::LentFrame;
using host::PluginModule;
using host::Session;
using host::SessionSettings;
using memory::dropKeptFrames;
using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::FieldMaker;

namespace {

// Far finer than any host's step, and start + count + frame stays inside 32 bits.
constexpr std::int32_t kFrameCount = 1 << 29;

// Cells of the random field: the wash-away draws one number for each.
constexpr int kRandomDraws = 64 * 64;

std::int32_t frameAt(double position) {
    const auto frame = std::lround(position * kFrameCount);
    return static_cast<std::int32_t>(std::clamp<long>(frame, 1, kFrameCount - 1));
}

// Answers with the two canvases of the moment. The plug-in asks for the frame being rendered and, when two
// clips take part, for one further on: that is the second canvas.
class CanvasSource final : public FrameSource {
  public:
    Canvas* from = nullptr;
    Canvas* to = nullptr;
    std::int32_t frame = 0;

    LentFrame lend(const FrameRequest& request) override {
        Canvas* canvas = request.number == frame ? from : to;
        if (canvas == nullptr) throw HostError("there is no second picture", kPluginCantGetNeededFrame);
        LentFrame lent;
        lent.picture = canvas->picture();
        return lent;
    }
    void giveBack(const LentFrame&) noexcept override {}
};

// True when nobody else drew from or seeded the shared generator since it was seeded: then its next number is
// the one that a private generator of the same seed gives after as many draws.
bool generatorUndisturbed(unsigned seed) {
    std::array<char, 128> state{};
    random_data data{};
    initstate_r(seed, state.data(), state.size(), &data);
    std::int32_t expected = 0;
    for (int i = 0; i <= kRandomDraws; ++i) random_r(&data, &expected);
    return rand() == expected;
}

bool isOpaque(const Canvas& canvas) {
    if (canvas.opaque()) return true;
    for (int y = 0; y < canvas.height(); ++y) {
        const std::uint8_t* row = canvas.row(y);
        for (int x = 0; x < canvas.width(); ++x)
            if (row[4 * x] != 255) return false;
    }
    return true;
}

// The alpha of `from` as an opaque grey picture.
void makeMatte(const Canvas& from, Canvas& matte) {
    matte.resize(from.width(), from.height());
    for (int y = 0; y < from.height(); ++y) {
        const std::uint8_t* in = from.row(y);
        std::uint8_t* out = matte.row(y);
        for (int x = 0; x < from.width(); ++x) {
            out[4 * x] = 255;
            std::memset(out + 4 * x + 1, in[4 * x], 3);
        }
    }
}

// What a displacement field makes of opaque alpha: a read at a whole position, see ContImage.
constexpr std::uint8_t kDisplacedOpaque = (255 + 4 * 255) % 256;

// An opaque single clip under a displacement field: its pixels arrive whole or not at all.
void coverWhereDisplaced(Canvas& picture) {
    for (int y = 0; y < picture.height(); ++y) {
        std::uint8_t* row = picture.row(y);
        for (int x = 0; x < picture.width(); ++x) {
            const bool covered = row[4 * x] == kDisplacedOpaque;
            if (!covered) std::memset(row + 4 * x, 0, 4);
            if (covered) row[4 * x] = 255;
        }
    }
}

// Puts the rendered matte into the rendered picture's alpha. Where the plug-in interpolates, four truncated
// contributions may lose up to three from a full 255: such values count as full.
void applyMatte(const Canvas& matte, bool interpolated, Canvas& picture) {
    const unsigned full = interpolated ? 252 : 255;
    for (int y = 0; y < picture.height(); ++y) {
        const std::uint8_t* in = matte.row(y);
        std::uint8_t* out = picture.row(y);
        for (int x = 0; x < picture.width(); ++x) {
            const std::uint8_t alpha = in[4 * x + 1] >= full ? std::uint8_t{255} : in[4 * x + 1];
            out[4 * x] = alpha;
            for (int c = 1; c < 4; ++c) out[4 * x + c] = std::min(out[4 * x + c], alpha);
        }
    }
}

}  // namespace

bool joinsTwoClips(const EffectRecord& effect) noexcept {
    return effect.type == kPluginTransitionBetweenType;
}

bool pictureArrives(const EffectRecord& effect) noexcept {
    return effect.type == kPluginTransitionBeforeType;
}

bool hasKnobs(const EffectRecord& effect) noexcept {
    return effect.field == FieldMaker::washAway;
}

Phase phaseOf(double position) noexcept {
    if (position >= 1) return Phase::last;
    return position > 0 ? Phase::between : Phase::first;
}

// One session with the source that feeds it; used by one thread at a time.
struct TransitionRenderer::Lane {
    Lane(const EffectRecord& effect, int width, int height, const Knobs& knobsOfLane) : knobs(knobsOfLane) {
        settings.effect = effect.index;
        settings.width = width;
        settings.height = height;
        settings.frameCount = kFrameCount;
        settings.direction = knobs.direction;
        settings.seed = knobs.seed;
    }

    // Other code of the process may draw random numbers just now; then the field is made again. Renderers do
    // not disturb each other: drawing and looking whether it was alone is one step.
    void open(bool random) {
        static std::mutex drawing;
        const std::lock_guard alone(drawing);
        for (int attempt = 0; attempt < 64; ++attempt) {
            session = std::make_unique<Session>(PluginModule(HYPluginEntry), settings, source);
            session->open();
            if (!random || generatorUndisturbed(knobs.seed)) return;
        }
        throw HostError("the random numbers of this program are drawn by somebody else all the time");
    }

    void render(std::int32_t frame, Canvas& from, Canvas* to, Canvas& out) {
        source.frame = frame;
        source.from = &from;
        source.to = to;
        const FrameResult result = session->renderFrame(frame, out.picture());
        if (!result.ok()) throw HostError(result.problem, result.code);
    }

    Knobs knobs;
    SessionSettings settings;
    CanvasSource source;
    std::unique_ptr<Session> session;
    Canvas fromMatte, toMatte, outMatte;
};

TransitionRenderer::TransitionRenderer(const EffectRecord& effect, int width, int height)
    : effect_(effect), width_(width), height_(height) {
    if (width < kMinPictureSide || height < kMinPictureSide || width > kMaxPictureWidth ||
        height > kMaxPictureHeight)
        note_ = "tumblewash: " + std::to_string(width) + " x " + std::to_string(height) +
                " is outside 16 x 16 to 4095 x 32767, so a plain cross-dissolve is shown; use another size";
}

// A host that is done with one may not come back: its frames need not wait in memory.
TransitionRenderer::~TransitionRenderer() {
    idle_.clear();
    dropKeptFrames();
}

std::unique_ptr<TransitionRenderer::Lane> TransitionRenderer::takeLane(const Knobs& knobs) {
    // The morph keeps the first pictures it sees, so each of its frames starts afresh.
    const bool reusable = effect_.driver != EffectDriver::morph;
    if (reusable) {
        const std::lock_guard lock(mutex_);
        std::erase_if(idle_, [&](const auto& lane) { return lane->knobs != knobs; });
        if (!idle_.empty()) {
            auto lane = std::move(idle_.back());
            idle_.pop_back();
            return lane;
        }
    }
    auto lane = std::make_unique<Lane>(effect_, width_, height_, knobs);
    lane->open(hasKnobs(effect_));
    return lane;
}

void TransitionRenderer::giveLane(std::unique_ptr<Lane> lane) {
    if (effect_.driver == EffectDriver::morph) return;
    const std::lock_guard lock(mutex_);
    idle_.push_back(std::move(lane));
}

void TransitionRenderer::dissolve(double position, const Canvas& from, const Canvas* to, Canvas& out) const {
    const bool arrives = pictureArrives(effect_);
    const auto level = static_cast<unsigned>(std::lround(std::clamp(position, 0.0, 1.0) * 255));
    const unsigned fromWeight = arrives ? level : 255 - level;
    for (int y = 0; y < height_; ++y) {
        const std::uint8_t* a = from.row(y);
        const std::uint8_t* b = to != nullptr ? to->row(y) : nullptr;
        std::uint8_t* o = out.row(y);
        for (int i = 0; i < 4 * width_; ++i)
            o[i] = static_cast<std::uint8_t>((a[i] * fromWeight + (b != nullptr ? b[i] * level : 0) + 127) /
                                             255);
    }
}

void TransitionRenderer::cut(double position, const Canvas& from, const Canvas* to, Canvas& out) const {
    const Canvas& shown = position < 0.5 || to == nullptr ? from : *to;
    for (int y = 0; y < height_; ++y) std::copy_n(shown.row(y), 4 * width_, out.row(y));
}

void TransitionRenderer::render(double position, const Knobs& knobs, Canvas& from, Canvas* to, Canvas& out) {
    out.resize(width_, height_);
    out.setOpaque(false);
    if (effect_.driver == EffectDriver::none) return cut(position, from, to, out);
    if (!note_.empty()) return dissolve(position, from, to, out);

    const std::int32_t wanted = frameAt(position);
    // The morph counts from one: its frame k shows (k + 1) / count.
    const bool morph = effect_.driver == EffectDriver::morph;
    const std::int32_t frame = morph ? std::min(wanted - 1, kFrameCount - 2) : wanted;

    auto lane = takeLane(knobs);
    const bool opaque = isOpaque(from) && (to == nullptr || isOpaque(*to));
    if (opaque && (to != nullptr || effect_.driver == EffectDriver::distort)) {
        lane->render(frame, from, to, out);
        if (to == nullptr) coverWhereDisplaced(out);
        out.setOpaque(to != nullptr);
    } else {
        renderWithMatte(*lane, frame, from, to, out);
    }
    from.setOpaque(false);
    if (to != nullptr) to->setOpaque(false);
    giveLane(std::move(lane));
}

void TransitionRenderer::renderWithMatte(Lane& lane, std::int32_t frame, Canvas& from, Canvas* to,
                                         Canvas& out) {
    makeMatte(from, lane.fromMatte);
    if (to != nullptr) makeMatte(*to, lane.toMatte);
    lane.outMatte.resize(width_, height_);
    const bool morph = effect_.driver == EffectDriver::morph;
    // Both layers of a morph must move along the motion of the colours, so it is found before they are
    // touched.
    if (morph && to != nullptr)
        morphMatte(from, *to, lane.fromMatte, lane.toMatte, static_cast<double>(frame + 1) / kFrameCount,
                   lane.outMatte);
    lane.render(frame, from, to, out);
    if (!morph) lane.render(frame, lane.fromMatte, to != nullptr ? &lane.toMatte : nullptr, lane.outMatte);
    applyMatte(lane.outMatte, effect_.driver != EffectDriver::distort, out);
}

}  // namespace tumblewash::adapters
