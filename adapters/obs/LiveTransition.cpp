#include "adapters/obs/LiveTransition.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <utility>

#include "adapters/common/Rgba.h"

namespace tumblewash::adapters {

using plugin::EffectRecord;
using plugin::FractionRule;

namespace {

// A position that moves further than this in one frame was set by hand.
constexpr double kLargestStep = 0.25;
constexpr double kNoPosition = std::numeric_limits<double>::quiet_NaN();

/// The host draws and encodes meanwhile: of four processors and more, two may share a picture.
effects::Threads threadsForOnePicture() {
    return {std::thread::hardware_concurrency() >= 4 ? 2 : 1};
}

LiveTransition::Render rendererOf(const EffectRecord& record) {
    return [&record, renderer = std::shared_ptr<TransitionRenderer>()](double position, const Knobs& knobs,
                                                                       const Canvas& from, const Canvas& to,
                                                                       Canvas& out) mutable {
        const Phase phase = phaseOf(position);
        if (phase != Phase::between) {
            out = phase == Phase::first ? from : to;
            return;
        }
        if (renderer == nullptr || renderer->width() != from.width() || renderer->height() != from.height())
            renderer = std::make_shared<TransitionRenderer>(record, from.width(), from.height(),
                                                            threadsForOnePicture());
        renderer->render(position, knobs, from, &to, out);
    };
}

void read(const LivePicture& picture, int width, int height, Canvas& canvas) {
    canvas.resize(width, height);
    bool opaque = picture.pixels != nullptr;
    for (int y = 0; y < height; ++y) {
        if (picture.pixels == nullptr)
            std::fill_n(canvas.row(y), 4 * static_cast<std::size_t>(width), std::uint8_t{0});
        else
            opaque &= rowFromRgba(picture.pixels + picture.stride * static_cast<std::size_t>(y), width,
                                  AlphaKind::premultiplied, canvas.row(y));
    }
    canvas.setOpaque(opaque);
}

}  // namespace

LiveTransition::LiveTransition(const EffectRecord& record) : LiveTransition(rendererOf(record)) {}

LiveTransition::LiveTransition(Render render)
    : render_(std::move(render)), last_(kNoPosition), thread_([this] { work(); }) {}

LiveTransition::~LiveTransition() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void LiveTransition::restart() {
    const std::lock_guard lock(mutex_);
    ++run_;
    last_ = kNoPosition;
    counts_ = {};
}

LiveMoment LiveTransition::frame(double position) {
    const std::lock_guard lock(mutex_);
    ++frame_;
    ++counts_.frames;
    const double step = position - std::exchange(last_, position);
    const bool steady =
        std::abs(step) <= kLargestStep;  // not at the first frame, where the step is no number
    const double aimed = steady ? position + step * static_cast<double>(lag_) : position;
    return {std::clamp(aimed, 0.0, 1.0), frame_, run_};
}

// A finished picture moves to the host's side, so that the thread may have the next one.
void LiveTransition::collect() {
    if (state_ != State::finished) return;
    std::swap(shown_, result_);
    shownMoment_ = job_;
    fresh_ = true;
    state_ = State::idle;
}

const Canvas* LiveTransition::take() {
    const std::lock_guard lock(mutex_);
    collect();
    if (!std::exchange(fresh_, false) || shownMoment_.run != run_) return nullptr;
    lag_ = frame_ - shownMoment_.frame;
    return &shown_;
}

bool LiveTransition::submit(const LiveMoment& moment, const Knobs& knobs, int width, int height,
                            const LivePicture& from, const LivePicture& to) {
    {
        const std::lock_guard lock(mutex_);
        collect();
        if (state_ != State::idle) {
            ++counts_.late;
            return false;
        }
    }
    // The thread sleeps until it is given something, so both canvases are free.
    read(from, width, height, from_);
    read(to, width, height, to_);
    {
        const std::lock_guard lock(mutex_);
        job_ = moment;
        knobs_ = knobs;
        state_ = State::given;
    }
    wake_.notify_one();
    return true;
}

LiveCounts LiveTransition::counts() const {
    const std::lock_guard lock(mutex_);
    return counts_;
}

void LiveTransition::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return ended_ || state_ == State::given; });
        if (ended_) return;
        const LiveMoment moment = job_;
        const Knobs knobs = knobs_;
        lock.unlock();
        bool good = true;
        try {
            render_(moment.position, knobs, from_, to_, result_);
        } catch (const std::exception&) {
            good = false;
            std::swap(result_, moment.position < 0.5 ? from_ : to_);
        }
        for (int y = 0; y < result_.height(); ++y)
            rowToRgbaInPlace(result_.row(y), result_.width(), kindFor(result_, AlphaKind::premultiplied));
        lock.lock();
        if (!good && moment.run == run_) ++counts_.failed;
        state_ = State::finished;
    }
}

LiveLevels liveLevels(const EffectRecord& record, double position) noexcept {
    const double p = std::clamp(position, 0.0, 1.0);
    // How much of the incoming picture is there; the morph takes no fraction and dissolves evenly.
    double arrived = p;
    if (record.fraction != FractionRule::none) {
        const double fraction = plugin::effectFractionAt(record.fraction, p);
        arrived = record.reveal ? 1 - fraction : fraction;
    }
    return {static_cast<float>(1 - arrived), static_cast<float>(arrived)};
}

}  // namespace tumblewash::adapters
