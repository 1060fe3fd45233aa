#include "media/Reader.h"

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include "media/KnownInput.h"
#include "media/detail/Allowance.h"
#include "media/detail/DecodedPictureDetail.h"
#include "media/detail/Sound.h"
#include "media/detail/SteadyPictures.h"

namespace tumblewash::media {

namespace {

// Of large pictures one waits while the next transition frame is rendered, for which both clips have some.
constexpr size_t kLargeAhead = 1;

size_t mayWaitFor(const ReaderSettings& settings) {
    const size_t usual = static_cast<size_t>(settings.prefetch) + 1;
    if (!isLarge(settings.width, settings.height)) return usual;
    return std::min(usual, kLargeAhead);
}

void checkSettings(const std::string& path, const ReaderSettings& settings) {
    const auto refuse = [&](const std::string& why) {
        throw MediaError(MediaErrorCode::badRequest, path, why);
    };
    if (settings.width < 0 || settings.height < 0 || settings.width > kMaxPictureSide ||
        settings.height > kMaxPictureSide)
        refuse("cannot be brought to that size; sides go from 1 to 16384");
    if (settings.rate.num < 0 || settings.rate.den <= 0 || settings.rate.value() > 1000)
        refuse("cannot be brought to that rate; rates go up to 1000 pictures a second");
    if (!(settings.stillSeconds > 0 && settings.stillSeconds <= 86400))
        refuse("a still lasts more than 0 s and at most a day");
    if (settings.sampleRate < 8000 || settings.sampleRate > 192000)
        refuse("sample rates go from 8000 to 192000");
    if (settings.channels != 1 && settings.channels != 2 && settings.channels != 6)
        refuse("sound has 1, 2 or 6 channels");
}

ReaderSettings completed(const MediaInfo& info, ReaderSettings settings) {
    checkSettings(info.path, settings);
    if (settings.width == 0) settings.width = std::min(info.width, kMaxPictureSide);
    if (settings.height == 0) settings.height = std::min(info.height, kMaxPictureSide);
    if (!settings.rate) settings.rate = info.rate ? info.rate : FrameRate{25, 1};
    if (!isPacked(settings.layout) && (settings.width % 2 != 0 || settings.height % 2 != 0))
        throw MediaError(MediaErrorCode::badRequest, info.path,
                         "4:2:0 pictures need even sides; round the size");
    return settings;
}

}  // namespace

struct Reader::Impl {
    Impl(ProbeDetail found, const ReaderSettings& wanted, std::optional<Extent> known = std::nullopt)
        : facts(std::move(found)),
          settings(completed(facts.info, wanted)),
          extent(known ? *std::move(known) : measureExtent(facts, settings.threads, settings.cancel)),
          pictures(facts, settings, extent),
          sound(openSound(facts, {settings.sampleRate, settings.sound ? settings.channels : 0},
                          settings.cancel)),
          fields(pictures.fields()) {
        start();
    }
    ~Impl() { stop(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void start();
    void stop();
    void produce();
    PictureRef take();
    void noteLosses();

    const ProbeDetail facts;
    const ReaderSettings settings;
    const Extent extent;
    SteadyPictures pictures;  // the producing thread's while one runs
    std::unique_ptr<SoundSource> sound;
    const FieldOrder fields;
    int64_t position = 0;
    int64_t samplePosition = 0;
    std::shared_ptr<const PictureOrigin> origin;  // of decoded pictures, once one was asked for
    bool soundElsewhere = false;  // the sound's own position is found when samples are asked for

    std::thread producer;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::deque<PictureRef> queue;
    std::exception_ptr failure;
    bool ended = false;
    bool stopping = false;
    int64_t damaged = 0;
    int64_t patched = 0;
    int64_t missing = 0;
};

void Reader::Impl::start() {
    ended = stopping = false;
    failure = nullptr;
    if (settings.prefetch > 0 && facts.info.kind == MediaKind::clip)
        producer = std::thread([this] { produce(); });
}

void Reader::Impl::stop() {
    if (!producer.joinable()) return;
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    producer.join();
    queue.clear();
}

void Reader::Impl::produce() {
    const size_t depth = mayWaitFor(settings);
    std::exception_ptr problem;
    for (bool more = true; more;) {
        // Whatever goes wrong here, the receiver is waiting to be told.
        try {
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return stopping || queue.size() < depth; });
                if (stopping) return;
            }
            PictureRef picture = pictures.next();
            const std::lock_guard lock(mutex);
            if (stopping) return;
            damaged = pictures.damaged();
            patched = pictures.patched();
            missing = pictures.missing();
            more = static_cast<bool>(picture);
            if (more) queue.push_back(std::move(picture));
        } catch (...) {
            problem = std::current_exception();
            more = false;
        }
        if (more) changed.notify_all();
    }
    const std::lock_guard lock(mutex);
    failure = problem;
    ended = true;
    changed.notify_all();
}

void Reader::Impl::noteLosses() {
    const std::lock_guard lock(mutex);
    damaged = pictures.damaged();
    patched = pictures.patched();
    missing = pictures.missing();
}

PictureRef Reader::Impl::take() {
    if (!producer.joinable()) {
        PictureRef out = pictures.next();
        noteLosses();
        return out;
    }
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return !queue.empty() || ended; });
    if (queue.empty()) {
        if (failure) std::rethrow_exception(failure);
        return {};
    }
    PictureRef out = std::move(queue.front());
    queue.pop_front();
    changed.notify_all();
    return out;
}

Reader::Reader(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
Reader::Reader(Reader&&) noexcept = default;
Reader& Reader::operator=(Reader&&) noexcept = default;
Reader::~Reader() = default;

Reader Reader::open(const std::string& path, const ReaderSettings& settings) {
    std::unique_ptr<Impl> impl;
    runWithMemoryAllowance(path, [&] {
        impl = std::make_unique<Impl>(probeDetail(path, settings.cancel, settings.identity), settings);
    });
    return Reader(std::move(impl));
}

struct KnownInput::Facts {
    ProbeDetail probed;  ///< without the open file
    Extent extent;
};

KnownInput KnownInput::of(const std::string& path, const ReaderSettings& settings) {
    auto facts = std::make_shared<Facts>();
    runWithMemoryAllowance(path, [&] {
        facts->probed = probeDetail(path, settings.cancel, settings.identity);
        facts->extent = measureExtent(facts->probed, settings.threads, settings.cancel);
    });
    facts->probed.bytes.reset();
    return KnownInput(std::move(facts));
}

const MediaInfo& KnownInput::info() const noexcept {
    return facts_->probed.info;
}

int64_t KnownInput::frameCount(const ReaderSettings& settings) const {
    return pictureCount(facts_->probed, completed(info(), settings), facts_->extent);
}

const std::string& KnownInput::warning() const noexcept {
    return facts_->extent.warning;
}

Reader KnownInput::open(const ReaderSettings& settings) const {
    const std::string& path = info().path;
    std::unique_ptr<Reader::Impl> impl;
    runWithMemoryAllowance(path, [&] {
        ProbeDetail facts = facts_->probed;
        if (!facts.pattern) {
            facts.bytes = std::make_shared<InputBytes>(path);
            if (facts.bytes->identity() != info().identity) throwChanged(path);
        }
        impl = std::make_unique<Reader::Impl>(std::move(facts), settings, facts_->extent);
    });
    return Reader(std::move(impl));
}

const MediaInfo& Reader::info() const noexcept {
    return impl_->facts.info;
}
const ReaderSettings& Reader::settings() const noexcept {
    return impl_->settings;
}
FieldOrder Reader::fields() const noexcept {
    return impl_->fields;
}
int64_t Reader::frameCount() const noexcept {
    return impl_->pictures.count();
}
int64_t Reader::position() const noexcept {
    return impl_->position;
}
int64_t Reader::samplePosition() const noexcept {
    return impl_->samplePosition;
}

int64_t Reader::firstSampleOf(int64_t index) const noexcept {
    const FrameRate& rate = impl_->settings.rate;
    return av_rescale_rnd(index, int64_t{impl_->settings.sampleRate} * rate.den, rate.num, AV_ROUND_DOWN);
}

PictureRef Reader::readPicture() {
    throwIfRaised(impl_->settings.cancel, impl_->facts.info.path);
    PictureRef out = impl_->take();
    if (out) ++impl_->position;
    return out;
}

DecodedPicture Reader::readDecoded() {
    Impl& own = *impl_;
    throwIfRaised(own.settings.cancel, own.facts.info.path);
    if (own.producer.joinable())
        throw MediaError(MediaErrorCode::badRequest, own.facts.info.path,
                         "pictures that are decoded ahead are converted already");
    SteadyPictures::Undeveloped out = own.pictures.nextUndeveloped();
    own.noteLosses();
    if (!out.frame && !out.picture) return {};
    ++own.position;
    if (!own.origin) {
        auto origin = std::make_shared<PictureOrigin>(PictureOrigin{own.facts, own.settings});
        origin->facts.bytes.reset();
        origin->facts.still.reset();
        origin->settings.cancel = nullptr;
        own.origin = std::move(origin);
    }
    return DecodedPicture(std::make_shared<const DecodedPicture::Storage>(
        DecodedPicture::Storage{own.origin, std::move(out.frame), std::move(out.picture)}));
}

void Reader::readSamples(float* interleaved, size_t frames) {
    if (impl_->soundElsewhere) impl_->sound->seek(impl_->samplePosition);
    impl_->soundElsewhere = false;
    impl_->sound->read(interleaved, frames);
    impl_->samplePosition += static_cast<int64_t>(frames);
}

void Reader::seekPictures(int64_t index) {
    const int64_t to = std::clamp<int64_t>(index, 0, frameCount());
    if (to == impl_->position) return;
    impl_->stop();
    impl_->pictures.seek(to);
    impl_->position = to;
    impl_->start();
}

void Reader::seek(int64_t index) {
    const int64_t to = std::clamp<int64_t>(index, 0, frameCount());
    seekPictures(to);
    const int64_t sample = firstSampleOf(to);
    if (sample != impl_->samplePosition) impl_->soundElsewhere = true;
    impl_->samplePosition = sample;
}

std::vector<std::string> Reader::warnings() const {
    std::vector<std::string> out;
    if (!impl_->extent.warning.empty()) out.push_back(impl_->extent.warning);
    int64_t damaged = 0;
    int64_t patched = 0;
    int64_t missing = 0;
    {
        const std::lock_guard lock(impl_->mutex);
        damaged = impl_->damaged;
        patched = impl_->patched;
        missing = impl_->missing;
    }
    const auto counted = [](int64_t n, const char* one, const char* many) {
        return std::to_string(n) + (n == 1 ? one : many);
    };
    if (damaged > 0)
        out.push_back(counted(damaged, " picture is damaged and was left out",
                              " pictures are damaged and were left out"));
    if (patched > 0)
        out.push_back(counted(patched, " picture is damaged; the decoder filled in what is missing",
                              " pictures are damaged; the decoder filled in what is missing"));
    if (missing > 0)
        out.push_back("the clip ends early: " +
                      counted(missing, " picture is missing", " pictures are missing"));
    if (!impl_->sound->failure().empty()) out.push_back("its sound cannot be decoded and is left silent");
    if (impl_->sound->damaged() > 0)
        out.push_back(
            counted(impl_->sound->damaged(), " piece of sound is damaged", " pieces of sound are damaged"));
    return out;
}

}  // namespace tumblewash::media
