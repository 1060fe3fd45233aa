// A folder with small movies and photos in it, for edits that are settled and rendered.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "edit/Errors.h"
#include "edit/Request.h"
#include "media/StillIO.h"
#include "media/Writer.h"
#include "tests/edit/ExchangeFolder.h"

namespace tumblewash::edit {

class MediaFolder : public ExchangeFolder {
  public:
    MediaFolder() : ExchangeFolder({}) {}

    /// A picture of one colour; each movie and photo has its own.
    static media::PictureRef picture(int side, std::uint8_t grey, std::uint8_t alpha = 255) {
        const media::PictureRef out = media::PictureRef::makeArgb(side, side);
        for (std::ptrdiff_t i = 0; i < out.stride() * side; ++i)
            out.data()[i] = i % 4 == 0 ? alpha : static_cast<std::uint8_t>(grey + i % 4);
        return out;
    }
    /// A silent movie of 25 frames per second.
    std::string movie(const std::string& name, int frames, int side = 32) const {
        media::WriterSettings settings;
        settings.width = settings.height = side;
        settings.rate = {25, 1};
        settings.sound = false;
        media::Writer writer = media::Writer::open(path(name), settings);
        for (int i = 0; i < frames; ++i)
            writer.writePicture(picture(side, static_cast<std::uint8_t>(40 + i)));
        writer.commit();
        return path(name);
    }
    std::string photo(const std::string& name, std::uint8_t grey = 90, std::uint8_t alpha = 255,
                      int side = 32) const {
        writePng(path(name), picture(side, grey, alpha), media::PngAlpha::keep);
        return path(name);
    }
};

inline EditTime frames(std::int64_t count) {
    return {{TimeSpan::Unit::Frames, count}, {}};
}

/// The clips one after another, joined by one effect of `length` frames each.
inline Edit joined(const std::vector<std::string>& files, const std::string& effect = "wash-away",
                   std::int64_t length = 4) {
    Edit edit;
    for (const std::string& file : files) {
        edit.clips.emplace_back();
        edit.clips.back().file = file;
    }
    edit.still = frames(10);
    edit.seams.effect = effect;
    edit.seams.duration = frames(length);
    return edit;
}

/// The words and the kind of what `action` refuses; fails the test when it does not.
struct Refused {
    std::string words;
    Problem problem = Problem::BadRequest;
};
template <class Action>
Refused refusedBy(Action action) {
    try {
        action();
    } catch (const Refusal& refusal) {
        return {refusal.what(), refusal.problem()};
    }
    ADD_FAILURE() << "nothing was refused";
    return {};
}

}  // namespace tumblewash::edit
