#include "media/Writer.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <exception>
#include <variant>

#include "media/NumberPattern.h"
#include "media/Reader.h"
#include "media/detail/Sink.h"
#include "media/detail/VideoEncoder.h"
#include "media/detail/Worker.h"

namespace tumblewash::media {

namespace {

template <size_t N>
bool endsIn(const std::string& output, const char (&ending)[N]) {
    return output.size() >= N && output.ends_with(ending);
}

/// The kinds of output. A new one is one more record here and a maker beside the others.
const std::array<SinkKind, 8>& kinds() {
    static const std::array<SinkKind, 8> table{{
        {{"null:", "nothing, for timing"},
         [](const std::string& s) { return s == "null:"; },
         checkNull,
         makeNull,
         PixelLayout::argb},
        {{"md5:[FILE]", "one fingerprint a picture and one for the sound, to FILE or standard output"},
         [](const std::string& s) { return s.starts_with("md5:"); },
         checkDigest,
         makeDigest,
         PixelLayout::argb},
        {{"NAME%05d.png", "numbered pictures, counted from 1"},
         [](const std::string& s) { return endsIn(s, ".png") && isNumberPattern(s); },
         checkSequence,
         makeSequence,
         PixelLayout::argb},
        {{"NAME.mp4", "H.264 or another codec, and AAC"},
         [](const std::string& s) { return endsIn(s, ".mp4"); },
         checkMovie,
         makeMovie,
         PixelLayout::yuv420},
        {{"NAME.mov", "H.264 or another codec, and AAC"},
         [](const std::string& s) { return endsIn(s, ".mov"); },
         checkMovie,
         makeMovie,
         PixelLayout::yuv420},
        {{"NAME.mkv", "H.264 or another codec, and AAC"},
         [](const std::string& s) { return endsIn(s, ".mkv"); },
         checkMovie,
         makeMovie,
         PixelLayout::yuv420},
        {{"NAME.webm", "VP9 or AV1, and Opus"},
         [](const std::string& s) { return endsIn(s, ".webm"); },
         checkMovie,
         makeMovie,
         PixelLayout::yuv420},
        {{"NAME.avi", "Motion JPEG and PCM"},
         [](const std::string& s) { return endsIn(s, ".avi"); },
         checkMovie,
         makeMovie,
         PixelLayout::yuv420},
    }};
    return table;
}

// Pictures and pieces of sound that may wait for the encoder. Small: the wait is what bounds the memory.
constexpr size_t kQueueDepth = 4;
constexpr size_t kLargeQueueDepth = 1;

using Samples = std::vector<float>;
struct Sound {
    Samples samples;
    bool own = false;  // what the settings' copy of sound holds
};
// A picture that is copied, of which there is nothing to hand on.
struct Copied {};
using Item = std::variant<PictureRef, Sound, Copied>;

void checkCommon(const std::string& output, const WriterSettings& settings) {
    if (!settings.rate || settings.rate.den <= 0 || settings.rate.value() > 1000 ||
        settings.rate.value() < 0.001)
        throw MediaError(MediaErrorCode::badRequest, output, "rates go from 0.001 to 1000 pictures a second");
    if (settings.channels != 1 && settings.channels != 2 && settings.channels != 6)
        throw MediaError(MediaErrorCode::badRequest, output, "sound has 1, 2 or 6 channels");
}

}  // namespace

const SinkKind& sinkKindOf(const std::string& output) {
    for (const SinkKind& kind : kinds())
        if (kind.matches(output)) return kind;
    std::string all;
    for (const SinkKind& kind : kinds()) all.append(all.empty() ? "" : ", ").append(kind.shown.pattern);
    throw MediaError(MediaErrorCode::badRequest, output, "unsupported output type; use one of " + all);
}

std::vector<OutputKind> outputKinds() {
    std::vector<OutputKind> out;
    for (const SinkKind& kind : kinds()) out.push_back(kind.shown);
    return out;
}

bool needsEvenSize(const std::string& output) {
    return sinkKindOf(output).layout == PixelLayout::yuv420;
}

struct Writer::Impl {
    Impl(const std::string& name, const WriterSettings& wanted)
        : output(name), settings(wanted), kind(sinkKindOf(name)), sink(kind.make(name, wanted)) {
        if (settings.ownThread)
            worker.emplace(output, isLarge(settings.width, settings.height) ? kLargeQueueDepth : kQueueDepth,
                           settings.cancel, [this](const Item& item) { encode(item); });
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    size_t width() const noexcept { return static_cast<size_t>(settings.channels); }
    void encode(const Item& item);
    void push(Item item);
    void waitUntilDone();
    void throwFailure();
    void passSound(bool last);
    void passSome(size_t frames, bool own);
    int64_t soundUpTo(int64_t pictureIndex) const {
        return av_rescale_rnd(pictureIndex, int64_t{settings.sampleRate} * settings.rate.den,
                              settings.rate.num, AV_ROUND_DOWN);
    }

    const std::string output;
    const WriterSettings settings;
    const SinkKind& kind;
    std::unique_ptr<Sink> sink;  // the worker's until it has ended
    int64_t pictures = 0;
    int64_t samples = 0;  // given by the caller
    int64_t owned = 0;    // of them, from the first on, what the settings' copy of sound holds
    int64_t passed = 0;   // given to the sink
    Samples held;         // sound whose picture has not come yet
    bool committed = false;

    std::atomic<double> pictureSeconds = 0;
    std::atomic<double> soundSeconds = 0;
    std::exception_ptr failure;          // of a call, where there is no worker
    std::optional<Worker<Item>> worker;  // ends before all that it works on
};

/// Hands one item to the sink, and notes what it took.
void Writer::Impl::encode(const Item& item) {
    const auto began = std::chrono::steady_clock::now();
    if (const auto* picture = std::get_if<PictureRef>(&item))
        sink->picture(*picture);
    else if (std::holds_alternative<Copied>(item))
        sink->copiedPicture();
    else if (const auto& [samples, own] = std::get<Sound>(item); own)
        sink->ownSamples(samples.data(), samples.size() / width());
    else
        sink->samples(samples.data(), samples.size() / width());
    const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    (std::holds_alternative<Sound>(item) ? soundSeconds : pictureSeconds) += took;
}

void Writer::Impl::push(Item item) {
    if (worker) return worker->push(std::move(item));
    throwFailure();
    try {
        encode(item);
    } catch (...) {
        failure = std::current_exception();
        throw;
    }
}

void Writer::Impl::waitUntilDone() {
    if (worker) return worker->finish();
    throwFailure();
}

void Writer::Impl::throwFailure() {
    if (failure) std::rethrow_exception(failure);
    throwIfRaised(settings.cancel, output);
}

/// Gives the sink the sound that belongs to the pictures so far; at the end cut or filled to their exact
/// length.
void Writer::Impl::passSound(bool last) {
    if (!settings.sound) {
        held.clear();
        return;
    }
    const auto wanted = static_cast<size_t>(soundUpTo(pictures) - passed) * width();
    if (last) held.resize(wanted, 0.0F);
    const size_t take = std::min(wanted, held.size()) / width();
    const size_t own = std::min(take, static_cast<size_t>(std::max<int64_t>(0, owned - passed)));
    passSome(own, true);
    passSome(take - own, false);
}

void Writer::Impl::passSome(size_t frames, bool own) {
    if (frames == 0) return;
    const auto cut = held.begin() + static_cast<ptrdiff_t>(frames * width());
    Sound now{Samples(held.begin(), cut), own};
    held.erase(held.begin(), cut);
    passed += static_cast<int64_t>(frames);
    push(std::move(now));
}

Writer::Writer(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
Writer::Writer(Writer&&) noexcept = default;
Writer& Writer::operator=(Writer&&) noexcept = default;
Writer::~Writer() = default;

void Writer::check(const std::string& output, const WriterSettings& settings) {
    const SinkKind& kind = sinkKindOf(output);
    checkCommon(output, settings);
    kind.check(output, settings);
}

Writer Writer::open(const std::string& output, const WriterSettings& settings) {
    check(output, settings);
    return Writer(std::make_unique<Impl>(output, settings));
}

const WriterSettings& Writer::settings() const noexcept {
    return impl_->settings;
}
PixelLayout Writer::preferredLayout() const noexcept {
    const bool deep = impl_->settings.colour && impl_->settings.colour->depth > 8;
    if (impl_->settings.keepAlpha) return deep ? PixelLayout::deep : PixelLayout::argb;
    return deep && impl_->kind.layout == PixelLayout::yuv420 ? PixelLayout::yuv420p10 : impl_->kind.layout;
}
ColourMatrix Writer::matrix() const noexcept {
    if (impl_->settings.colour) return impl_->settings.colour->matrix;
    if (movieKindOf(impl_->output) != nullptr) return movieColourOf(impl_->output, impl_->settings).matrix;
    return impl_->settings.matrix.value_or(colourMatrixFor(impl_->settings.width, impl_->settings.height));
}
int64_t Writer::pictures() const noexcept {
    return impl_->pictures;
}
int64_t Writer::samples() const noexcept {
    return impl_->samples;
}
double Writer::pictureSeconds() const {
    return impl_->pictureSeconds;
}
double Writer::soundSeconds() const {
    const double apart = impl_->sink->soundSeconds();
    return apart > 0 ? apart : impl_->soundSeconds.load();
}

void Writer::writePicture(const PictureRef& picture) {
    if (picture.width() != impl_->settings.width || picture.height() != impl_->settings.height)
        throw MediaError(MediaErrorCode::badRequest, impl_->output,
                         "a picture of " + std::to_string(picture.width()) + "x" +
                             std::to_string(picture.height()) + " does not fit into " +
                             std::to_string(impl_->settings.width) + "x" +
                             std::to_string(impl_->settings.height));
    impl_->push(picture);
    ++impl_->pictures;
    impl_->passSound(false);
}

void Writer::copyPicture() {
    impl_->push(Copied{});
    ++impl_->pictures;
    impl_->passSound(false);
}

void Writer::skipPicture() {
    throwIfRaised(impl_->settings.cancel, impl_->output);
    ++impl_->pictures;
    impl_->passSound(false);
}

void Writer::writePicture(const uint8_t* argb, ptrdiff_t stride) {
    const PictureRef copy = PictureRef::makeArgb(impl_->settings.width, impl_->settings.height);
    for (int y = 0; y < copy.height(); ++y)
        std::memcpy(copy.data() + y * copy.stride(), argb + y * stride, static_cast<size_t>(copy.stride()));
    writePicture(copy);
}

void Writer::writeSamples(const float* interleaved, size_t frames) {
    impl_->held.insert(impl_->held.end(), interleaved, interleaved + frames * impl_->width());
    impl_->samples += static_cast<int64_t>(frames);
    impl_->passSound(false);
}

void Writer::writeOwnSamples(const float* interleaved, size_t frames) {
    if (impl_->owned == impl_->samples) impl_->owned += static_cast<int64_t>(frames);
    writeSamples(interleaved, frames);
}

int64_t Writer::copiedSamples() const noexcept {
    return impl_->committed ? impl_->sink->copiedSamples() : 0;
}

void Writer::commit() {
    if (impl_->committed) return;
    if (impl_->pictures == 0)
        throw MediaError(MediaErrorCode::badRequest, impl_->output, "there is no picture to write");
    impl_->passSound(true);
    impl_->waitUntilDone();
    impl_->sink->finish();
    impl_->committed = true;
}

std::vector<std::string> Writer::warnings() const {
    return impl_->committed ? impl_->sink->warnings() : std::vector<std::string>();
}

}  // namespace tumblewash::media
