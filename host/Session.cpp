#include "host/Session.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <mutex>
#include <new>
#include <span>
#include <utility>

#include "host/Callbacks.h"
#include "host/Catalogue.h"
#include "host/CurrentWorld.h"
#include "host/FrameLoans.h"
#include "host/SeedLock.h"

namespace tumblewash::host {

namespace {

constexpr std::int16_t kTheClip = 1;  // the selector under which the plug-in asks for the clip's record

std::string effectText(int effect) {
    const bool known = effect >= 0 && effect < kEffectCount;
    return "effect " +
           (known ? std::string(effectNames()[static_cast<std::size_t>(effect)].id) : std::to_string(effect));
}

std::string framesText(int count) {
    return std::to_string(count) + (count == 1 ? " frame" : " frames");
}

std::int16_t toSample16(float sample) {
    if (std::isnan(sample)) return 0;
    return static_cast<std::int16_t>(std::lrintf(std::clamp(sample, -1.0F, 1.0F) * 32767.0F));
}

/// Sound that the plug-in borrowed for itself.
struct SoundLoan {
    std::vector<std::int16_t> samples;
};

}  // namespace

struct Session::Impl final : HostInstance {
    Impl(PluginModule plugin, const SessionSettings& wishes, FrameSource& frames)
        : module(std::move(plugin)),
          settings(wishes),
          source(frames),
          loans(frames, wishes.audio.channels),
          clip(wishes.clip) {
        transition.speed = settings.speed;
        transition.ver2.direction = settings.direction;
        filter.filterFrameCount = settings.frameCount;
        prepare(params);
        params.startFrame = settings.startFrame;
        params.frameCount = settings.frameCount;
        params.proxyOnly = settings.proxy ? 1 : 0;
        params.frameRect =
            Rect{0, 0, static_cast<std::int16_t>(settings.height), static_cast<std::int16_t>(settings.width)};
    }

    // What the plug-in asks for.
    HYPluginResult getFrame(std::int32_t number, int width, int height, HYRefDVQuality quality,
                            GWorldPtr& world, std::int16_t& volume, HYFrameCookie& cookie) override;
    HYPluginResult releaseFrame(HYFrameCookie cookie) override;
    HYPluginResult mixAudio(HYFrameCookie cookie, std::int16_t level) override;
    HYPluginResult getAudioFrame(std::int32_t number, std::int16_t*& samples, std::int32_t& count,
                                 HYAudioCookie& cookie) override;
    HYPluginResult releaseAudioFrame(HYAudioCookie cookie) override;
    HYPluginResult getMovieInfo(HYPluginMovieInfo& movie) override;
    HYPluginResult getClipInfo(std::int16_t which, HYPluginClipInfo& record) override;
    HYPluginResult setClipInfo(const HYPluginClipInfo& record) override;

    // What the session does.
    HYPluginResult request(HYPluginSelector selector);
    void initialise();
    void terminate();
    void checkDestination(const Picture& destination) const;
    FrameRequest frameRequest(std::int32_t number, int width, int height, HYRefDVQuality quality) const;
    int sampleCount(std::int32_t k) const;
    void draw(HYPluginSelector selector, const Picture& destination, HYPluginResult& result);
    void settle(HYPluginResult code, FrameResult& result);
    template <class Request>
    HYPluginResult askSource(Request request);

    /// Which of the two sounds a frame number of the frame being rendered carries.
    enum class Side { outgoing, incoming, neither };
    Side sideOf(std::int32_t number) const;
    struct Sound {
        AudioCircumstances now;
        const Loan* outgoing = nullptr;
        const Loan* incoming = nullptr;
    };
    Sound gatherSound() const;
    void mix(FrameResult& result);

    PluginModule module;
    SessionSettings settings;
    FrameSource& source;
    FrameLoans loans;
    std::vector<std::unique_ptr<SoundLoan>> soundLoans;
    HYPluginClipInfo clip;
    HYPluginParams params{};
    TransitionInfo info;
    bool open = false;
    bool firstFrame = true;                 // none was rendered since the session was opened
    std::string sourceProblem;              // what the source said when a frame could not be had
    std::optional<std::int32_t> lastFrame;  // rendered last and well, for the ramp
    AudioLevels levels;                     // at its end
    MixMoment moment;                       // the same, unrounded
};

template <class Request>
HYPluginResult Session::Impl::askSource(Request request) {
    try {
        request();
        return kPluginOK;
    } catch (const HostError& error) {
        sourceProblem = error.what();
        return error.code() == kPluginOK ? kPluginCantGetNeededFrame : error.code();
    } catch (const std::bad_alloc&) {
        return kPluginOutOfMemory;
    } catch (const std::exception& error) {
        sourceProblem = error.what();
        return kPluginCantGetNeededFrame;
    } catch (...) {
        return kPluginCantGetNeededFrame;
    }
}

HYPluginResult Session::Impl::getFrame(std::int32_t number, int width, int height, HYRefDVQuality quality,
                                       GWorldPtr& world, std::int16_t& volume, HYFrameCookie& cookie) {
    return askSource([&] {
        Loan& loan = loans.lend(frameRequest(number, width, height, quality));
        world = loan.world->world();
        volume = static_cast<std::int16_t>(std::clamp(loan.frame.volume, 0, 255));
        cookie = &loan;
    });
}

HYPluginResult Session::Impl::releaseFrame(HYFrameCookie cookie) {
    Loan* loan = loans.find(cookie);
    if (loan == nullptr) return kPluginBadParams;
    loans.release(*loan);
    return kPluginOK;
}

HYPluginResult Session::Impl::mixAudio(HYFrameCookie cookie, std::int16_t level) {
    Loan* loan = loans.find(cookie);
    if (loan == nullptr || sideOf(loan->request.number) == Side::neither) return kPluginBadParams;
    loan->askedLevel = loan->askedLevel.value_or(0) + level;
    return kPluginOK;
}

HYPluginResult Session::Impl::getAudioFrame(std::int32_t number, std::int16_t*& samples, std::int32_t& count,
                                            HYAudioCookie& cookie) {
    return askSource([&] {
        const FrameRequest wanted = frameRequest(number, settings.width, settings.height, kDVLowQuality);
        const auto channels = static_cast<std::size_t>(settings.audio.rate > 0 ? settings.audio.channels : 0);
        auto sound = std::make_unique<SoundLoan>();
        sound->samples.resize(static_cast<std::size_t>(wanted.sampleCount) * channels);
        soundLoans.reserve(soundLoans.size() + 1);
        const LentFrame frame = source.lend(wanted);
        if (frame.samples != nullptr) {
            const int available = std::clamp(frame.sampleCount, 0, wanted.sampleCount);
            std::transform(frame.samples, frame.samples + static_cast<std::size_t>(available) * channels,
                           sound->samples.begin(), toSample16);
        }
        source.giveBack(frame);
        samples = sound->samples.data();
        count = wanted.sampleCount;
        cookie = sound.get();
        soundLoans.push_back(std::move(sound));
    });
}

HYPluginResult Session::Impl::releaseAudioFrame(HYAudioCookie cookie) {
    const auto removed =
        std::erase_if(soundLoans, [cookie](const auto& loan) { return loan.get() == cookie; });
    return removed == 1 ? kPluginOK : kPluginBadParams;
}

HYPluginResult Session::Impl::getMovieInfo(HYPluginMovieInfo& movie) {
    movie = HYPluginMovieInfo{.width = static_cast<std::int16_t>(settings.width),
                              .height = static_cast<std::int16_t>(settings.height),
                              .timeScale = settings.audio.fpsNumerator,
                              .frameTime = settings.audio.fpsDenominator};
    return kPluginOK;
}

HYPluginResult Session::Impl::getClipInfo(std::int16_t which, HYPluginClipInfo& record) {
    if (which != kTheClip) return kPluginBadParams;
    std::memcpy(&record, &clip, sizeof record);  // to the byte, the gaps between fields too
    return kPluginOK;
}

HYPluginResult Session::Impl::setClipInfo(const HYPluginClipInfo& record) {
    std::memcpy(&clip, &record, sizeof clip);
    return kPluginOK;
}

HYPluginResult Session::Impl::request(HYPluginSelector selector) {
    const CurrentWorld restore;
    params.selector = selector;
    sourceProblem.clear();
    recordsLent = 0;
    return module.call(settings.effect, params);
}

void Session::Impl::initialise() {
    HYPluginResult result = kPluginOK;
    {
        const std::lock_guard<std::mutex> lock(SeedLock::mutex);
        const SeededNumbers seeded(settings.seed);
        result = request(kPlugInitialize);
    }
    loans.endRequest();
    soundLoans.clear();
    const int forgotten = std::exchange(recordsLent, 0);
    if (result == kPluginOK && forgotten == 0) return;
    if (params.clientData !=
        nullptr) {  // let it free what it made; the clip's record is none of its business yet
        const HYPluginClipInfo untouched = clip;
        request(kPlugTerminate);
        loans.endRequest();
        clip = untouched;
        params.clientData = nullptr;
    }
    const std::string what =
        result == kPluginOK ? "the plug-in kept a borrowed record" : resultSentence(result);
    throw HostError(effectText(settings.effect) + ": cannot be prepared: " + what,
                    result == kPluginOK ? kPluginFailed : result);
}

void Session::Impl::terminate() {
    open = false;
    const HYPluginResult result = request(kPlugTerminate);
    loans.endRequest();
    soundLoans.clear();
    const bool kept = std::exchange(params.clientData, nullptr) != nullptr;
    if (result != kPluginOK) {
        throw HostError(effectText(settings.effect) + ": did not end well: " + resultSentence(result),
                        result);
    }
    if (kept)
        throw HostError(effectText(settings.effect) + ": the plug-in kept its state after the end",
                        kPluginFailed);
}

void Session::Impl::checkDestination(const Picture& destination) const {
    checkPictureSize(settings.width, settings.height);
    if (destination.pixels == nullptr) throw HostError("there is no memory to draw into");
    if (destination.width != settings.width || destination.height != settings.height) {
        throw HostError("the destination is " + std::to_string(destination.width) + " x " +
                        std::to_string(destination.height) + " pixels, the transition " +
                        std::to_string(settings.width) + " x " + std::to_string(settings.height));
    }
    if (std::abs(destination.stride) < pictureStride(destination.width)) {
        throw HostError("the destination's rows overlap: a stride of " + std::to_string(destination.stride) +
                        " bytes is too short for " + std::to_string(destination.width) + " pixels");
    }
}

FrameRequest Session::Impl::frameRequest(std::int32_t number, int width, int height,
                                         HYRefDVQuality quality) const {
    const std::optional<FramePlace> place = locateFrame(settings, info.layout, number);
    if (!place || width < 1 || height < 1 || width > kMaxPictureWidth) {
        throw HostError("the plug-in asked for frame " + std::to_string(number) + " at " +
                            std::to_string(width) + " x " + std::to_string(height) +
                            ", which is not part of this transition",
                        kPluginCantGetNeededFrame);
    }
    return {.number = number,
            .clip = place->clip,
            .index = place->index,
            .width = width,
            .height = height,
            .quality = quality,
            .sampleCount = sampleCount(params.renderFrame)};
}

int Session::Impl::sampleCount(std::int32_t k) const {
    const AudioSettings& audio = settings.audio;
    const std::int64_t frame = std::int64_t{audio.firstOutputFrame} + k;
    return static_cast<int>(samplesBefore(frame + 1, audio.rate, audio.fpsNumerator, audio.fpsDenominator) -
                            samplesBefore(frame, audio.rate, audio.fpsNumerator, audio.fpsDenominator));
}

void Session::Impl::draw(HYPluginSelector selector, const Picture& destination, HYPluginResult& result) {
    checkDestination(destination);
    const WorldOver target(destination, WorldNeeds{});
    params.frame = target.world();
    result = request(selector);
    params.frame = nullptr;
    target.writeBack();
}

void Session::Impl::settle(HYPluginResult code, FrameResult& result) {
    result.code = code;
    result.framesLent = static_cast<int>(loans.all().size());
    for (const auto& loan : loans.all()) {
        if (loan->world->copied()) ++result.framesCopied;
    }
    const int forgottenSounds = static_cast<int>(std::exchange(soundLoans, {}).size());
    const int forgotten = std::exchange(recordsLent, 0) + forgottenSounds;
    result.loansTakenBack = loans.endRequest();

    const std::string where =
        effectText(settings.effect) + ", frame " + std::to_string(params.renderFrame) + ": ";
    if (code != kPluginOK) {
        result.problem = where + resultSentence(code);
        if (!sourceProblem.empty()) result.problem += ": " + sourceProblem;
        if (result.loansTakenBack > 0) {
            result.problem += "; " + framesText(result.loansTakenBack) + " left borrowed, taken back";
        }
    } else if (result.loansTakenBack > 0) {
        result.problem = where + "the plug-in kept " + framesText(result.loansTakenBack) + " of " +
                         std::to_string(result.framesLent) + " borrowed; taken back";
    } else if (forgotten > 0) {
        result.problem = where + "the plug-in kept a borrowed record; taken back";
    } else if (!sourceProblem.empty()) {
        result.warning = where + "went on without a frame: " + sourceProblem;
    }
}

Session::Impl::Side Session::Impl::sideOf(std::int32_t number) const {
    const std::int64_t current = std::int64_t{settings.startFrame} + params.renderFrame;
    if (number == current) return Side::outgoing;
    if (info.layout == ClipLayout::overlap && number == current + settings.frameCount) return Side::incoming;
    return Side::neither;
}

Session::Impl::Sound Session::Impl::gatherSound() const {
    Sound sound;
    AudioCircumstances& now = sound.now;
    now.effect = settings.effect;
    now.fraction = static_cast<double>(params.renderFrame) / settings.frameCount;
    now.arriving = info.layout == ClipLayout::arriving;
    now.steady = info.layout == ClipLayout::split;
    for (const auto& loan : loans.all()) {
        const Side side = sideOf(loan->request.number);
        if (side == Side::neither) continue;
        const bool leaves = side == Side::outgoing;
        const Loan*& slot = leaves ? sound.outgoing : sound.incoming;
        if (slot == nullptr) {
            slot = loan.get();
            (leaves ? now.outgoingVolume : now.incomingVolume) = loan->frame.volume;
        }
        if (!loan->askedLevel) continue;
        if (!now.asked) now.asked.emplace();
        (leaves ? now.asked->outgoing : now.asked->incoming) += *loan->askedLevel;
    }
    now.hasOutgoing = sound.outgoing != nullptr;
    now.hasIncoming = sound.incoming != nullptr;
    return sound;
}

void Session::Impl::mix(FrameResult& result) {
    const std::int32_t k = params.renderFrame;
    const AudioPolicy policy = settings.audio.policy;
    const Sound sound = gatherSound();
    result.asked = sound.now.asked;
    result.levels = decideLevels(policy, sound.now);
    const MixMoment to = mixMoment(policy, sound.now);
    MixMoment from = to;
    if (lastFrame && k == *lastFrame + 1) from = moment;
    if (firstFrame && k == 0 && settings.audio.before) from = momentOf(policy, *settings.audio.before);
    const auto add = [&](const Loan* loan, double gain, double next) {
        if (loan != nullptr)
            addRamped(result.samples, loan->samples, settings.audio.channels, gain, next, rampShape(policy));
    };
    add(sound.outgoing, from.outgoing, to.outgoing);
    add(sound.incoming, from.incoming, to.incoming);
    heal(result.samples);
    moment = to;
}

Session::Session(PluginModule module, const SessionSettings& settings, FrameSource& source)
    : impl_(std::make_unique<Impl>(std::move(module), settings, source)) {}

Session::~Session() {
    try {
        close();
    } catch (...) {
        // Whoever wants to know calls close.
    }
}

void Session::open() {
    if (impl_->open) throw HostError("the session is open already");
    impl_->info = describe(impl_->module, impl_->settings.effect, impl_->settings.speed);
    checkSettings(impl_->settings, impl_->info.layout);
    impl_->initialise();
    impl_->firstFrame = true;
    impl_->lastFrame.reset();
    impl_->levels = {};
    impl_->open = true;
}

const TransitionInfo& Session::info() const {
    return impl_->info;
}

FrameResult Session::renderFrame(std::int32_t k, const Picture& destination) {
    if (!impl_->open) throw HostError("the session is not open");
    if (k < 0 || k >= impl_->settings.frameCount) {
        throw HostError("frame " + std::to_string(k) + " lies outside a transition of " +
                        framesText(impl_->settings.frameCount));
    }
    impl_->params.renderFrame = k;
    impl_->filter.filterFrame = k;
    FrameResult result;
    HYPluginResult code = kPluginOK;
    impl_->draw(kPlugDoFrame, destination, code);
    const AudioSettings& audio = impl_->settings.audio;
    const int channels = audio.rate > 0 ? audio.channels : 0;
    result.samples.assign(
        static_cast<std::size_t>(impl_->sampleCount(k)) * static_cast<std::size_t>(channels), 0.0F);
    if (code == kPluginOK) impl_->mix(result);
    impl_->settle(code, result);
    impl_->firstFrame = false;
    impl_->lastFrame = code == kPluginOK ? std::optional(k) : std::nullopt;
    impl_->levels = result.levels;
    return result;
}

void Session::drawPlaceholder(const Picture& destination) {
    HYPluginResult code = kPluginOK;
    impl_->draw(kPlugFilePlaceHolder, destination, code);
    FrameResult result;
    impl_->settle(code, result);
    if (!result.ok()) throw HostError(result.problem, code == kPluginOK ? kPluginFailed : code);
}

void Session::close() {
    if (impl_->open) impl_->terminate();
}

bool Session::isOpen() const noexcept {
    return impl_->open;
}
const SessionSettings& Session::settings() const noexcept {
    return impl_->settings;
}
const HYPluginClipInfo& Session::clipInfo() const noexcept {
    return impl_->clip;
}
AudioLevels Session::levels() const noexcept {
    return impl_->levels;
}

}  // namespace tumblewash::host
