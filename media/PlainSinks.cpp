// The outputs without a movie encoder: numbered PNG files, fingerprints, nothing at all.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

#include "media/StagedSequence.h"
#include "media/Staging.h"
#include "media/detail/Png.h"
#include "media/detail/Sink.h"

extern "C" {
#include <libavutil/md5.h>
}

namespace tumblewash::media {

namespace {

void checkSize(const std::string& output, const WriterSettings& settings) {
    if (settings.width < 1 || settings.height < 1 || settings.width > kMaxPictureSide ||
        settings.height > kMaxPictureSide)
        throw MediaError(MediaErrorCode::badRequest, output, "pictures go from 1x1 to 16384x16384");
}

class SequenceSink final : public Sink {
  public:
    SequenceSink(const std::string& output, const WriterSettings& settings)
        : files_(output, settings.force),
          encoder_(output, settings.width, settings.height,
                   settings.keepAlpha ? PngAlpha::keep : PngAlpha::drop) {}
    void picture(const PictureRef& picture) override {
        const PictureRef argb = picture.layout() == PixelLayout::argb ? picture : toArgb(picture);
        const std::vector<uint8_t>& bytes = encoder_.encode(argb.data(), argb.stride());
        files_.add(bytes.data(), bytes.size());
    }
    void samples(const float*, size_t) override {}
    void finish() override { files_.commit(); }
    std::vector<std::string> warnings() const override { return files_.warnings(); }

  private:
    StagedSequence files_;
    PngEncoder encoder_;
};

class NullSink final : public Sink {
  public:
    void picture(const PictureRef&) override {}
    void samples(const float*, size_t) override {}
    void finish() override {}
};

struct Md5 {
    std::unique_ptr<AVMD5, decltype(&av_free)> state{orBadAlloc(av_md5_alloc()), &av_free};
    Md5() { av_md5_init(state.get()); }
    void add(const uint8_t* bytes, size_t size) { av_md5_update(state.get(), bytes, size); }
    std::string text() {
        uint8_t digest[16];
        av_md5_final(state.get(), digest);
        char out[33];
        for (int i = 0; i < 16; ++i) std::snprintf(out + 2 * i, 3, "%02x", digest[i]);
        return out;
    }
};

/// One line "frame K MD5" for each picture's bytes and one "sound N MD5" for all N sample frames, taken as 16
/// bits so that the last digits of float arithmetic do not show.
class DigestSink final : public Sink {
  public:
    DigestSink(const std::string& output, const WriterSettings& settings)
        : output_(output),
          sound_(settings.sound),
          width_(static_cast<size_t>(settings.channels)),
          number_(settings.firstPicture) {
        const std::string path = output.substr(std::strlen("md5:"));
        if (!path.empty()) file_.emplace(path, settings.force);
    }
    void picture(const PictureRef& picture) override {
        const PictureRef argb = picture.layout() == PixelLayout::argb ? picture : toArgb(picture);
        Md5 sum;
        sum.add(argb.data(),
                size_t{4} * static_cast<size_t>(argb.width()) * static_cast<size_t>(argb.height()));
        line("frame " + std::to_string(number_++) + " " + sum.text() + "\n");
    }
    void samples(const float* interleaved, size_t frames) override {
        bytes_.clear();
        for (size_t i = 0; i < frames * width_; ++i) {
            const long value = std::lrint(std::clamp(interleaved[i], -1.0F, 1.0F) * 32767.0F);
            bytes_.push_back(static_cast<uint8_t>(value & 0xFF));
            bytes_.push_back(static_cast<uint8_t>(value >> 8 & 0xFF));
        }
        samples_ += frames;
        soundSum_.add(bytes_.data(), bytes_.size());
    }
    void finish() override {
        if (sound_) line("sound " + std::to_string(samples_) + " " + soundSum_.text() + "\n");
        if (file_) file_->commit();
    }

  private:
    void line(const std::string& text) {
        if (file_) return file_->write(text.data(), text.size());
        const char* at = text.data();
        for (size_t left = text.size(); left > 0;) {
            const ssize_t written = ::write(STDOUT_FILENO, at, left);
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) throwNotWritable("standard output", written < 0 ? errno : ENOSPC);
            at += written;
            left -= static_cast<size_t>(written);
        }
    }

    std::string output_;
    bool sound_;
    size_t width_;
    int64_t number_;
    std::optional<StagedFile> file_;
    Md5 soundSum_;
    std::vector<uint8_t> bytes_;
    size_t samples_ = 0;
};

}  // namespace

void checkSequence(const std::string& output, const WriterSettings& settings) {
    checkSize(output, settings);
    checkSequenceTarget(output, settings.force);
}

std::unique_ptr<Sink> makeSequence(const std::string& output, const WriterSettings& settings) {
    return std::make_unique<SequenceSink>(output, settings);
}

void checkDigest(const std::string& output, const WriterSettings& settings) {
    checkSize(output, settings);
    const std::string path = output.substr(std::strlen("md5:"));
    if (!path.empty()) checkTarget(path, settings.force);
}

std::unique_ptr<Sink> makeDigest(const std::string& output, const WriterSettings& settings) {
    return std::make_unique<DigestSink>(output, settings);
}

void checkNull(const std::string& output, const WriterSettings& settings) {
    checkSize(output, settings);
}

std::unique_ptr<Sink> makeNull(const std::string&, const WriterSettings&) {
    return std::make_unique<NullSink>();
}

}  // namespace tumblewash::media
