#include "studio/Pictures.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <nlohmann/json.hpp>
#include <thread>

#include "edit/Effects.h"
#include "edit/Errors.h"
#include "media/Jpeg.h"
#include "media/MediaError.h"

namespace tumblewash::studio {

using edit::PixelSize;
using edit::Segment;
using media::PictureRef;

namespace {

constexpr std::size_t kJpegBytes = std::size_t{32} << 20;
constexpr int kCardWidth = 240;
constexpr int kNearWidth = 480;
constexpr int kArrowsAcross = 32;
constexpr int kArrowsDown = 24;

Response image(std::string bytes) {
    Response response;
    response.type = "image/jpeg";
    response.body = std::move(bytes);
    return response;
}

Response nothing() {
    Response response;
    response.status = 204;
    return response;
}

/// Does the work and answers, whatever comes of it.
template <class Make>
void answerWith(const Answer& answer, bool run, Make make) {
    Response response = nothing();
    if (!run) return answer(response);
    try {
        response = make();
    } catch (const Refused& refused) {
        response = refusal(refused.status, refused.code, refused.message);
    } catch (const media::MediaError& problem) {
        response = refusal(410, "no-picture", problem.what());
    } catch (const std::exception& problem) {
        response = refusal(422, "no-picture", problem.what());
    }
    answer(response);
}

}  // namespace

Pictures::Pictures(std::size_t cacheBytes, const std::atomic<bool>& cancel)
    : cancel_(cancel),
      // A quarter is for what is in hand: pictures being made, encoders, the newest stretches played.
      caches_(cacheBytes / 4 * 3 - std::min(kJpegBytes, cacheBytes / 2)),
      jpegs_(std::min(kJpegBytes, cacheBytes / 2)),
      first_(caches_, &cancel, static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U))),
      background_(caches_, &cancel),
      atHand_(caches_, &cancel),
      frames_(0),
      others_(5, &frames_),
      nears_(0) {}

std::string Pictures::jpeg(const PictureRef& picture, int width) const {
    const int w = std::clamp(width, 1, picture.width());
    const int h =
        std::max(1, static_cast<int>((static_cast<std::int64_t>(picture.height()) * w + picture.width() / 2) /
                                     picture.width()));
    const std::vector<std::uint8_t> bytes = media::jpegOf(picture, w, h);
    return {bytes.begin(), bytes.end()};
}

// Both sides of the seam that is looked at are decoded while the hand rests; the next seam, or a place beyond
// what was decoded, ends that.
void Pictures::prepareSeam(PlanRef plan, std::int64_t frame) {
    const Segment* segment = segmentAt(plan->request.plan, frame);
    if (segment == nullptr || segment->transition == Segment::kNone) return;
    const std::int64_t k = frame - segment->first;
    const std::int64_t most = background_.mostPrepared(*plan, *segment);
    const std::int64_t part = segment->count <= most ? 0 : k / std::max<std::int64_t>(1, most / 2);
    const std::uint64_t mark = plan->revision << 32 |
                               static_cast<std::uint64_t>(segment->transition + 1) << 12 |
                               static_cast<std::uint64_t>(part & 0xFFF);
    if (prepared_.exchange(mark) == mark) return;
    others_.postNewest("seam", [=, this](bool run) {
        if (!run) return;
        try {
            background_.prepare(*plan, *segment, k, [&] { return cancel_ || prepared_ != mark; });
        } catch (const std::exception&) {
            // Whoever asks for that frame is told.
            prepared_ = 0;
        }
        background_.close();
    });
}

void Pictures::expect(PlanRef plan, std::int64_t frame) {
    frames_.postNewest("expected", [=, this](bool run) {
        if (!run) return;
        try {
            (void)first_.ofMovie(*plan, frame, plan->request.size);
        } catch (const std::exception&) {
            // Whoever asks for that frame is told.
        }
    });
}

void Pictures::frame(PlanRef plan, const Target& target, Answer answer) {
    const std::int64_t f = target.whole("f", 0, std::int64_t{1} << 40, 0);
    const auto width = static_cast<int>(target.whole("w", 16, 4096, 960));
    const auto page = target.query.find("page");
    prepareSeam(plan, f);
    frames_.postNewest(page == target.query.end() ? "" : page->second, [=, this](bool run) {
        answerWith(answer, run, [&] {
            const std::string key = fmt::format("f|{}|{}|{}", plan->revision, f, width);
            if (std::optional<std::string> known = jpegs_.find(key)) return image(*std::move(known));
            std::string bytes = jpeg(first_.ofMovie(*plan, f, plan->request.size), width);
            jpegs_.keep(key, bytes, bytes.size());
            return image(std::move(bytes));
        });
    });
}

void Pictures::near(PlanRef plan, const Target& target, Answer answer) {
    const std::int64_t f = target.whole("f", 0, std::int64_t{1} << 40, 0);
    const auto page = target.query.find("page");
    nears_.postNewest(page == target.query.end() ? "" : page->second, [=, this](bool run) {
        answerWith(answer, run, [&] {
            const PixelSize size = sizeWithin(plan->request.size, kNearWidth, kNearWidth);
            const PictureRef picture = atHand_.nearMovie(*plan, f, size);
            if (!picture) return nothing();
            return image(jpeg(picture, picture.width()));
        });
    });
}

void Pictures::clip(PlanRef plan, const Target& target, Answer answer) {
    const auto index = static_cast<std::size_t>(target.whole("clip", 0, 1000000, 0));
    const std::int64_t f = target.whole("f", 0, std::int64_t{1} << 40, 0);
    const auto width = static_cast<int>(target.whole("w", 16, 4096, 160));
    if (index >= plan->request.clips.size()) throw Refused{404, "no-such-clip", "there is no such clip"};
    const PixelSize size =
        width <= kNearWidth ? sizeWithin(plan->request.size, width, width) : plan->request.size;
    const auto page = target.query.find("page");
    const bool urgent = page != target.query.end();
    const auto work = [=, this](bool run) {
        answerWith(answer, run, [&] {
            const edit::Clip& clip = plan->request.clips[index];
            const auto& identity = clip.info().identity;
            const std::string key =
                fmt::format("c|{}|{}|{}|{}|{}x{}", clip.path(), identity ? identity->seconds : 0,
                            identity ? identity->nanoseconds : 0, f, size.width, size.height);
            if (std::optional<std::string> known = jpegs_.find(key)) return image(*std::move(known));
            Frames& frames = urgent ? first_ : background_;
            const Keep keep = urgent ? Keep::decoded : Keep::made;
            std::string bytes = jpeg(frames.ofClip(*plan, index, f - clip.in(), size, keep), width);
            jpegs_.keep(key, bytes, bytes.size());
            return image(std::move(bytes));
        });
    };
    if (urgent)
        frames_.postNewest(page->second, work);
    else
        others_.post(work);
}

void Pictures::field(PlanRef plan, const Target& target, Answer answer) {
    const auto seam = static_cast<std::size_t>(target.whole("seam", 0, 1000000, 0));
    if (seam >= plan->request.seams.size()) throw Refused{404, "no-such-seam", "there is no such seam"};
    others_.postNewest("field", [=, this](bool run) {
        answerWith(answer, run, [&] {
            const PixelSize size = sizeWithin(plan->request.size, kNearWidth, kNearWidth);
            const effects::VectorField field = background_.fieldOf(*plan, seam, size);
            const int across = (field.columns + kArrowsAcross - 1) / kArrowsAcross;
            const int down = (field.rows + kArrowsDown - 1) / kArrowsDown;
            nlohmann::json arrows = nlohmann::json::array();
            const auto part = [](double at, int side) { return std::round(1e4 * at / side) / 1e4; };
            for (int row = down / 2; row < field.rows; row += down)
                for (int column = across / 2; column < field.columns; column += across) {
                    const effects::FieldVector& v =
                        field.cells[static_cast<std::size_t>(row) * static_cast<std::size_t>(field.columns) +
                                    static_cast<std::size_t>(column)];
                    arrows.push_back({part(v.x + v.dx, size.width), part(v.y + v.dy, size.height),
                                      part(v.x, size.width), part(v.y, size.height)});
                }
            Response response;
            response.type = "application/json";
            response.body = nlohmann::json{{"arrows", arrows}}.dump();
            return response;
        });
    });
}

void Pictures::card(PlanRef plan, const Target& target, Answer answer) {
    const auto seam = static_cast<std::size_t>(target.whole("seam", 0, 1000000, 0));
    if (seam >= plan->request.seams.size()) throw Refused{404, "no-such-seam", "there is no such seam"};
    const auto id = target.query.find("effect");
    const std::string name = id == target.query.end() ? std::string() : id->second;
    others_.post([=, this](bool run) {
        answerWith(answer, run, [&] {
            const std::string key = fmt::format("s|{}|{}|{}", plan->revision, seam, name);
            if (std::optional<std::string> known = jpegs_.find(key)) return image(*std::move(known));
            const edit::Effect effect = edit::findEffect(plan->request.module, name);
            const edit::FramePlan changed = planWith(*plan, seam, effect);
            const Segment* segment = segmentOf(changed, seam);
            if (segment == nullptr) throw Refused{404, "cut", "a cut has no frames of its own"};
            const PixelSize size = sizeWithin(plan->request.size, kCardWidth, kCardWidth);
            const PictureRef strip = PictureRef::makeArgb(size.width * kCardFrames, size.height);
            for (int i = 0; i < kCardFrames; ++i) {
                const std::int64_t k = (segment->count - 1) * i / (kCardFrames - 1);
                const PictureRef one = background_.ofSegment(*plan, *segment, effect, seam, k, size);
                for (int y = 0; y < size.height; ++y)
                    std::memcpy(strip.data() + y * strip.stride() + 4 * i * size.width,
                                one.data() + y * one.stride(), static_cast<std::size_t>(4 * size.width));
            }
            std::string bytes = jpeg(strip, strip.width());
            jpegs_.keep(key, bytes, bytes.size());
            return image(std::move(bytes));
        });
    });
}

}  // namespace tumblewash::studio
