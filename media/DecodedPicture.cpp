#include "media/DecodedPicture.h"

#include <algorithm>

#include "media/MediaError.h"
#include "media/detail/DecodedPictureDetail.h"
#include "media/detail/PictureGraph.h"

namespace tumblewash::media {

namespace {

/// Both sides of a transition.
constexpr std::size_t kSetups = 2;

std::size_t bytesOf(const AVFrame& frame) {
    std::size_t sum = 0;
    for (const AVBufferRef* buffer : frame.buf) sum += buffer != nullptr ? buffer->size : 0;
    return sum;
}

}  // namespace

bool DecodedPicture::anySize() const noexcept {
    return storage_ && storage_->frame;
}

std::size_t DecodedPicture::bytes() const noexcept {
    if (!storage_) return 0;
    return bytesOf(storage_->frame ? *storage_->frame : *storage_->picture.storage()->frame);
}

/// A graph for one input and size.
struct PictureMaker::Setup {
    Setup(std::shared_ptr<const PictureOrigin> from, int width, int height, int threads)
        : origin(std::move(from)),
          settings(origin->settings),
          graph(origin->facts, sized(width, height, threads)) {}

    const ReaderSettings& sized(int width, int height, int threads) {
        settings.width = width;
        settings.height = height;
        settings.threads = threads;
        return settings;
    }

    const std::shared_ptr<const PictureOrigin> origin;
    ReaderSettings settings;
    PictureGraph graph;
};

PictureMaker::PictureMaker(int threads) : threads_(threads) {}
PictureMaker::~PictureMaker() = default;

void PictureMaker::forget() noexcept {
    setups_.clear();
}

PictureMaker::Setup& PictureMaker::setupFor(const DecodedPicture::Storage& storage, int width, int height) {
    const auto found = std::find_if(setups_.begin(), setups_.end(), [&](const auto& setup) {
        return setup->origin == storage.origin && setup->settings.width == width &&
               setup->settings.height == height;
    });
    if (found != setups_.end()) {
        std::rotate(setups_.begin(), found, found + 1);
    } else {
        if (setups_.size() >= kSetups) setups_.pop_back();
        setups_.insert(setups_.begin(), std::make_unique<Setup>(storage.origin, width, height, threads_));
    }
    return *setups_.front();
}

PictureRef PictureMaker::make(const DecodedPicture& picture, int width, int height) {
    const DecodedPicture::Storage& from = *picture.storage();
    const std::string& path = from.origin->facts.info.path;
    if (!from.frame) {
        if (width != from.picture.width() || height != from.picture.height())
            throw MediaError(MediaErrorCode::badRequest, path, "this picture has one size only");
        return copyPicture(from.picture);
    }
    if (width < 1 || height < 1 || width > kMaxPictureSide || height > kMaxPictureSide)
        throw MediaError(MediaErrorCode::badRequest, path,
                         "cannot be brought to that size; sides go from 1 to 16384");
    if (!isPacked(from.origin->settings.layout) && (width % 2 != 0 || height % 2 != 0))
        throw MediaError(MediaErrorCode::badRequest, path, "4:2:0 pictures need even sides; round the size");
    PictureGraph& graph = setupFor(from, width, height).graph;
    try {
        graph.push({shareFrame(*from.frame), 0, 1});
        PictureRef made = graph.pull().picture;
        if (!made) throw MediaError(MediaErrorCode::encoding, path, "a picture cannot be converted");
        return ownsBytes(made) ? made : copyPicture(made);
    } catch (...) {
        forget();
        throw;
    }
}

}  // namespace tumblewash::media
