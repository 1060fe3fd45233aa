#include "edit/clips.h"

#include <fmt/format.h>

namespace tumblewash::edit {

using media::kChannels;
using media::MediaError;
using media::MediaErrorCode;
using media::PictureRef;
using media::Reader;
using media::ReaderSettings;

Clip::Clip(std::string path, const ReaderSettings& settings) : path_(std::move(path)), settings_(settings) {
    Reader& open = reader();
    info_ = open.info();
    frames_ = open.frameCount();
    fields_ = open.fields();
}

Reader& Clip::reader() {
    if (!reader_) reader_ = std::make_unique<Reader>(Reader::open(path_, settings_));
    return *reader_;
}

void Clip::close() {
    if (!reader_) return;
    for (std::string& line : reader_->warnings()) closedWarnings_.push_back(std::move(line));
    reader_.reset();
    last_ = {};
}

PictureRef Clip::nextPicture() {
    PictureRef picture = reader().readPicture();
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
    reader().readSamples(interleaved.data(), interleaved.size() / kChannels);
}

PictureRef Clip::pictureAt(std::int64_t index) {
    Reader& open = reader();
    open.seek(index);
    PictureRef picture = open.readPicture();
    open.seek(0);
    return picture;
}

std::vector<std::string> Clip::warnings() const {
    std::vector<std::string> lines;
    const auto add = [&](const std::vector<std::string>& some) {
        for (const std::string& line : some) lines.push_back(path_ + ": " + line);
    };
    add(closedWarnings_);
    if (reader_) add(reader_->warnings());
    if (missing_ > 0)
        lines.push_back(
            fmt::format("{}: {} of {} pictures could not be had; the last good one stands in for them", path_,
                        missing_, frames_));
    return lines;
}

}  // namespace tumblewash::edit
