#include "edit/PictureSource.h"

#include <fmt/format.h>

#include <memory>

namespace tumblewash::edit {

using host::FramePlace;
using host::FrameRequest;
using host::HostError;
using host::LentFrame;
using media::PictureRef;
using media::PixelLayout;
using media::toArgb;

void PictureSource::put(FramePlace place, PictureRef picture) {
    pictures_[{place.clip, place.index}] = std::move(picture);
}

void PictureSource::drop(FramePlace place) {
    pictures_.erase({place.clip, place.index});
}

LentFrame PictureSource::lend(const FrameRequest& request) {
    const auto found = pictures_.find({request.clip, request.index});
    if (found == pictures_.end() || !found->second)
        throw HostError(fmt::format("picture {} of clip {} is not available", request.index, request.clip),
                        kPluginCantGetNeededFrame);
    auto lent = std::make_unique<PictureRef>();
    LentFrame frame;
    if (found->second.layout() == PixelLayout::argb) {
        // Shared bytes must stay as they are: a plate would paint its rim into a picture used elsewhere.
        frame.writable = found->second.storage().use_count() == 1;
        *lent = found->second;
    } else {
        *lent = toArgb(found->second);
    }
    frame.picture = {lent->data(), lent->stride(), lent->width(), lent->height()};
    frame.token = lent.release();
    return frame;
}

void PictureSource::giveBack(const LentFrame& frame) noexcept {
    delete static_cast<PictureRef*>(frame.token);
}

}  // namespace tumblewash::edit
