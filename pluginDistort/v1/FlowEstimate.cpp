#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include "ImageLib/kernels/BlockMatch.h"
#include "ImageLib/kernels/DeepConvertRow.h"
#include "ImageLib/source/SICommon.h"
#include "ImageLib/source/SamplePixRect.h"
#include "pluginDistort/v1/DeepProcess.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/process_init.h"

namespace {

using Frame = PixRectWrap<ARGBVal>;
using Field = PixRectRW<RGBPixel<float>>;
using Thumbnail = SamplePixRect<ARGBVal, ARGBVal>;

constexpr int kThumbnailSize = 40;
constexpr int kLatticeSize = 12;
constexpr int kSpacing = 3;         // thumbnail pixels between lattice points, and lattice cells' enlargement
constexpr int kRange = 2;           // thumbnail pixels searched in each direction
constexpr int kFeatureSize = 3;     // side of the block that is matched
constexpr int kBorder = 2;          // zero cells around the enlarged lattice
constexpr float kFlatness = 25.0f;  // a surface with less relief is not trusted

/// The best offset at one lattice point.
struct Offset {
    int x, y;
};

/// Thumbnails of small or odd fields may come out a few rows short; matching reads up to the full size.
std::unique_ptr<PixRectRW<ARGBVal>> padded(const PixRectRW<ARGBVal>& thumbnail) {
    auto full = std::make_unique<PixRectRW<ARGBVal>>(kThumbnailSize, kThumbnailSize);
    full->fillWith(ARGBVal(0, 0, 0, 0));
    full->copyfrom(thumbnail);
    return full;
}

/// A thumbnail at zero origin, exactly as large as the matching needs; a plain rectangle is matched fastest.
class MatchPicture {
  public:
    MatchPicture(Frame& field, float sx, float sy) : thumbnail_(field, sx, sy, SIQuickSample) {}

    int sampledWidth() const { return thumbnail_.width(); }
    int sampledHeight() const { return thumbnail_.height(); }

    void prepare() {
        thumbnail_.shiftorigin(-thumbnail_.lx(), -thumbnail_.ly());
        padded_ = padded(thumbnail_);
    }

    PixRectRW<ARGBVal>& pixels() { return *padded_; }

  private:
    Thumbnail thumbnail_;
    std::unique_ptr<PixRectRW<ARGBVal>> padded_;
};

/// A thumbnail's bytes, with a pixel behind the last row for vectors to read.
class ThumbnailBytes {
  public:
    explicit ThumbnailBytes(const PixRectRW<ARGBVal>& from) {
        for (int y = 0; y < kThumbnailSize; ++y) {
            std::memcpy(bytes_ + y * kPitch, &from.pixrefNB(from.lx(), from.ly() + y), kPitch);
        }
    }
    const unsigned char* at(int x, int y) const { return bytes_ + y * kPitch + x * 4; }

    static constexpr int kPitch = kThumbnailSize * 4;

  private:
    unsigned char bytes_[kPitch * kThumbnailSize + 4] = {};
};

/// The score that the correlator gives to a sum of differences.
float scoreOf(std::uint32_t sum) {
    return static_cast<float>(((static_cast<double>(sum) / kFeatureSize) / kFeatureSize) / 3.0);
}

/// Where the feature around (x, y) of `to` lies in `from`, relative to (x, y): what the correlator finds,
/// from plain memory. Its scores grow with the sums, so the first smallest sum has the first smallest score.
Offset matchBytes(const ThumbnailBytes& from, const ThumbnailBytes& to, int x, int y) {
    constexpr int f = kFeatureSize / 2;
    constexpr int s = f + kRange;
    constexpr int places = tumblewash::kernels::kMatchPlaces;
    static_assert(kFeatureSize == tumblewash::kernels::kMatchSide &&
                  kRange == tumblewash::kernels::kMatchRange);
    std::uint32_t sums[places * places];
    tumblewash::kernels::matchSums(to.at(x - f, y - f), from.at(x - s, y - s), ThumbnailBytes::kPitch, sums);
    const auto least = static_cast<int>(std::min_element(std::begin(sums), std::end(sums)) - sums);
    const std::uint32_t most = *std::max_element(std::begin(sums), std::end(sums));
    if (std::fabs(scoreOf(most) - scoreOf(sums[least])) < kFlatness) return {0, 0};
    return {least % places - kRange, least / places - kRange};
}

/// The lattice of offsets, in frame columns and field rows.
std::unique_ptr<Field> latticeOfOffsets(PixRectRW<ARGBVal>& from, PixRectRW<ARGBVal>& to, float sx,
                                        float sy) {
    auto flow = std::make_unique<Field>(kLatticeSize, kLatticeSize);
    const ThumbnailBytes fromBytes(from), toBytes(to);
    for (int gy = 0; gy < kLatticeSize; ++gy) {
        for (int gx = 0; gx < kLatticeSize; ++gx) {
            const int x = kSpacing * gx + to.lx() + kBorder + 1;
            const int y = kSpacing * gy + to.ly() + kBorder + 1;
            const Offset best = matchBytes(fromBytes, toBytes, x, y);
            flow->set(
                gx, gy,
                RGBPixel<float>(sx * static_cast<float>(best.x), sy * static_cast<float>(best.y), 0.0f));
            if (!tumblewash::plugin::logIsObserved()) continue;
            char text[256];
            std::snprintf(text, sizeof text, "Flow at %d %d is %d %d\n\r", x, y, best.x, best.y);
            logMessage(text);
        }
    }
    return flow;
}

/// Every lattice value repeated over a block, with a border of zero cells around the whole: a plain rectangle
/// enlarged by a whole factor.
Field* enlarged(const Field& flow) {
    constexpr int side = kLatticeSize * kSpacing;
    auto result = std::make_unique<Field>(side + 2 * kBorder, side + 2 * kBorder);
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            result->pixrefNB(x + kBorder, y + kBorder) = flow.pixrefNB(x / kSpacing, y / kSpacing);
        }
    }
    return result.release();
}

}  // namespace

Field* MakeFlowField(Frame& fromFrame, Frame& toFrame, Frame&) {
    if (toFrame.width() < 1 || toFrame.height() < 2 || fromFrame.width() < 1 || fromFrame.height() < 2)
        return new Field(kThumbnailSize, kThumbnailSize);
    const auto field = [](Frame& frame, siwraptype lines) {
        return Frame(frame.getwrapdata(), frame.width(), frame.height(), lines);
    };
    Frame toFrameEven = field(toFrame, SIEvenLines);
    Frame toFrameOdd = field(toFrame, SIOddLines);
    Frame fromFrameOdd = field(fromFrame, SIOddLines);
    const float sx = static_cast<float>(toFrameEven.width()) / static_cast<float>(kThumbnailSize);
    const float sy = static_cast<float>(toFrameEven.height()) / static_cast<float>(kThumbnailSize);
    MatchPicture to(toFrameOdd, sx, sy);
    MatchPicture from(fromFrameOdd, sx, sy);
    siprintf("Source and dest are %dx%d and %dx%d\n\r", to.sampledWidth(), to.sampledHeight(),
             from.sampledWidth(), from.sampledHeight());
    to.prepare();
    from.prepare();
    const std::unique_ptr<Field> flow = latticeOfOffsets(from.pixels(), to.pixels(), sx, sy);
    return enlarged(*flow);
}

tumblewash::plugin::DeepMotion tumblewash::plugin::estimateDeepMotion(const imagelib::DeepView& first,
                                                                      const imagelib::DeepView& last,
                                                                      const kernels::DeepRange& range) {
    const auto shallow = [&range](const imagelib::DeepView& picture) {
        const auto pitch = static_cast<std::size_t>(picture.width) * 4;
        std::vector<unsigned char> frame(pitch * static_cast<std::size_t>(picture.height));
        for (int y = 0; y < picture.height; ++y)
            kernels::deepToFrameRow(picture.row(y), &frame[pitch * static_cast<std::size_t>(y)],
                                    picture.width, range);
        return frame;
    };
    std::vector<unsigned char> firstBytes = shallow(first), lastBytes = shallow(last);
    Frame firstFrame(reinterpret_cast<ARGBVal*>(firstBytes.data()), first.width, first.height, SIAllLines);
    Frame lastFrame(reinterpret_cast<ARGBVal*>(lastBytes.data()), last.width, last.height, SIAllLines);
    DeepMotion motion;
    motion.forward.reset(MakeFlowField(firstFrame, lastFrame, firstFrame));
    motion.backward.reset(MakeFlowField(lastFrame, firstFrame, firstFrame));
    return motion;
}
