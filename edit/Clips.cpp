#include "edit/Clips.h"

#include <fmt/format.h>

#include <algorithm>

#include "media/Quoting.h"

namespace tumblewash::edit {

using media::FieldOrder;
using media::KnownInput;
using media::MediaError;
using media::MediaErrorCode;
using media::MediaInfo;
using media::MediaKind;
using media::PictureRef;
using media::PixelLayout;
using media::quotedName;
using media::Reader;
using media::ReaderSettings;

namespace {

// Video black with full alpha, whatever the pictures of a run look like.
PictureRef blackPicture(const ReaderSettings& settings, FieldOrder fields) {
    const PictureRef argb = PictureRef::makeArgb(settings.width, settings.height);
    for (int y = 0; y < argb.height(); ++y) {
        std::uint8_t* row = argb.data() + y * argb.stride();
        for (int x = 0; x < argb.width(); ++x) {
            const std::uint8_t pixel[] = {255, 0, 0, 0};
            std::copy(std::begin(pixel), std::end(pixel), row + 4 * x);
        }
    }
    switch (settings.layout) {
        case PixelLayout::yuv420:
            return fromArgb(argb, settings.matrix, fields);
        case PixelLayout::yuv420p10:
            return fromDeep(toDeep(argb), settings.layout, settings.matrix, fields);
        case PixelLayout::deep:
            return toDeep(argb);
        default:
            return argb;
    }
}

}  // namespace

Clip::Clip(std::string path, const ReaderSettings& settings) : path_(std::move(path)), settings_(settings) {
    Reader& open = reader();
    info_ = open.info();
    frames_ = whole_ = open.frameCount();
    fields_ = open.fields();
    // What was planned holds for this file and no other that may take its name.
    settings_.identity = info_.identity;
}

Clip::Clip(MediaInfo still, const ReaderSettings& settings)
    : path_(still.path),
      settings_(settings),
      info_(std::move(still)),
      frames_(settings.stillFrames),
      whole_(frames_) {
    if (!settings_.identity) settings_.identity = info_.identity;
}

Clip::Clip(const KnownInput& known, const ReaderSettings& settings)
    : path_(known.info().path),
      settings_(settings),
      known_(known),
      info_(known.info()),
      frames_(known.frameCount(settings)),
      whole_(frames_) {
    settings_.identity = info_.identity;
    if (!known.warning().empty()) closedWarnings_.push_back(known.warning());
}

Clip::Clip(MediaInfo known, const ReaderSettings& settings, std::int64_t in, std::int64_t frames)
    : path_(known.path),
      settings_(settings),
      info_(std::move(known)),
      in_(in),
      frames_(frames),
      whole_(in + frames) {}

Clip Clip::black(std::int64_t frames, const ReaderSettings& settings, FieldOrder fields) {
    Clip clip;
    clip.path_ = "black";
    clip.settings_ = settings;
    clip.info_.path = clip.path_;
    clip.info_.kind = MediaKind::still;
    clip.frames_ = clip.whole_ = frames;
    clip.fields_ = fields;
    clip.black_ = true;
    return clip;
}

Clip Clip::again() const {
    Clip clip;
    clip.path_ = path_;
    clip.settings_ = settings_;
    clip.known_ = known_;
    clip.info_ = info_;
    clip.frames_ = clip.whole_ = whole_;
    clip.fields_ = fields_;
    return clip;
}

Clip Clip::again(const ReaderSettings& settings) const {
    Clip clip = again();
    clip.settings_ = settings;
    clip.settings_.identity = info_.identity;
    return clip;
}

Reader Clip::open(const ReaderSettings& settings) const {
    return known_ ? known_->open(settings) : Reader::open(path_, settings);
}

void Clip::last(std::int64_t frames) {
    settings_.stillFrames = frames;
    frames_ = whole_ = frames;
}

void Clip::move(const StillMove& way) {
    move_ = way;
}

void Clip::trim(std::int64_t in, std::int64_t out) {
    in_ = in;
    frames_ = out - in;
    if (reader_) reader_->seek(in_);
}

Reader& Clip::reader() {
    if (!reader_) {
        reader_ = std::make_unique<Reader>(open(settings_));
        info_.conversions = reader_->info().conversions;
        if (in_ > 0) reader_->seek(in_);
    }
    return *reader_;
}

void Clip::seek(std::int64_t index, std::int64_t sample) {
    if (isBlack()) return;
    if (move_) {
        next_ = index;
        return;
    }
    Reader& open = reader();
    // Frames of the result and of the clip are cut to samples on clocks that differ by a sample at most.
    const std::int64_t wanted = open.firstSampleOf(in_) + sample;
    std::int64_t from = in_ + index;
    while (from > in_ && open.firstSampleOf(from) > wanted) --from;
    open.seek(from);
    passed_ = 0;
    for (; from < in_ + index; ++from) nextPicture();
    std::vector<float> passed(
        static_cast<std::size_t>(std::max<std::int64_t>(0, wanted - open.samplePosition())) * width());
    if (!passed.empty()) nextSamples(passed);
}

void Clip::seekPicture(std::int64_t index) {
    if (isBlack()) return;
    if (move_)
        next_ = index;
    else
        reader().seek(in_ + index);
}

PictureRef Clip::blackNow() {
    if (!last_) last_ = blackPicture(settings_, fields_);
    return last_;
}

/// The still is read once, deep and as large as its way asks for; its file is closed then.
PictureRef Clip::movedAt(std::int64_t index) {
    if (!moving_) {
        ReaderSettings large = settings_;
        const PixelSize size{settings_.width, settings_.height};
        const PixelSize asked = readSizeOf(size, *move_);
        large.width = asked.width;
        large.height = asked.height;
        large.layout = PixelLayout::deep;
        large.stillFrames = 1;
        large.prefetch = 0;
        Reader open = Reader::open(path_, large);
        const PictureRef still = open.readPicture();
        for (std::string& line : open.warnings()) closedWarnings_.push_back(std::move(line));
        info_.conversions = open.info().conversions;
        if (!still)
            throw MediaError(MediaErrorCode::undecodable, path_,
                             "no picture can be decoded; the file is damaged");
        moving_.emplace(still, size, *move_, settings_.keepAlpha);
    }
    const double part = frames_ > 1 ? static_cast<double>(index) / static_cast<double>(frames_ - 1) : 0;
    return inLayout(moving_->at(std::min(part, 1.0)), settings_.layout, settings_.matrix);
}

void Clip::close() {
    if (isBlack()) last_ = {};
    moving_.reset();
    next_ = 0;
    if (!reader_) return;
    for (std::string& line : reader_->warnings()) closedWarnings_.push_back(std::move(line));
    reader_.reset();
    last_ = {};
    passed_ = 0;
}

void Clip::restart() {
    close();
    closedWarnings_.clear();
    missing_ = 0;
}

PictureRef Clip::nextPicture() {
    if (isBlack()) return blackNow();
    if (move_) return movedAt(next_++);
    Reader& open = reader();
    if (passed_ > 0) open.seekPictures(open.position() + passed_);
    passed_ = 0;
    PictureRef picture = open.readPicture();
    if (picture) {
        last_ = picture;
        return picture;
    }
    ++missing_;
    if (!last_)
        throw MediaError(MediaErrorCode::undecodable, path_,
                         "no picture can be decoded; the file is damaged");
    return last_;
}

void Clip::nextSamples(std::vector<float>& interleaved) {
    if (isBlack() || move_) {
        std::fill(interleaved.begin(), interleaved.end(), 0.0F);
        return;
    }
    reader().readSamples(interleaved.data(), interleaved.size() / width());
    if (gain_ == 1) return;
    const auto gain = static_cast<float>(gain_);
    for (float& sample : interleaved) sample *= gain;
}

PictureRef Clip::pictureAt(std::int64_t index) {
    if (isBlack()) return blackNow();
    if (move_) {
        next_ = 0;
        return movedAt(index);
    }
    Reader& open = reader();
    open.seek(in_ + index);
    PictureRef picture = open.readPicture();
    open.seek(in_);
    return picture;
}

std::vector<std::string> Clip::named(const std::vector<std::string>& lines) const {
    std::vector<std::string> out;
    for (const std::string& line : lines) out.push_back(quotedName(path_) + ": " + line);
    return out;
}

std::vector<std::string> Clip::conversions() const {
    return named(info_.conversions);
}

std::vector<std::string> Clip::warnings() const {
    std::vector<std::string> lines = named(closedWarnings_);
    if (reader_)
        for (std::string& line : named(reader_->warnings())) lines.push_back(std::move(line));
    if (missing_ > 0)
        lines.push_back(
            fmt::format("{}: {} of {} pictures are not available; the last good one is shown instead",
                        quotedName(path_), missing_, frames_));
    return lines;
}

}  // namespace tumblewash::edit
