#include "app/Plot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "app/Signals.h"
#include "edit/Parallel.h"
#include "edit/Preview.h"
#include "edit/Report.h"
#include "edit/Timeline.h"
#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::app {

using edit::ClipPreview;
using edit::describe;
using edit::Edit;
using edit::MovieRequest;
using edit::PixelSize;
using edit::Segment;
using media::PictureRef;

namespace {

constexpr int kMargin = 40;
constexpr int kRowWidth = 1520;
constexpr int kHeader = 92;
constexpr int kTitle = 24;  ///< a strip's name
constexpr int kThumb = 66;  ///< its pictures
constexpr int kWave = 30;   ///< its sound
constexpr int kLane = kTitle + kThumb + kWave;
constexpr int kBetween = 26;  ///< between the lanes: the seams' names
constexpr int kAxis = 34;
constexpr int kRow = 2 * kLane + kBetween + kAxis + 26;
constexpr int kFooter = 20;
/// A clip gets about this much width, as long as there are not more rows than this.
constexpr int kClipWidth = 190;
constexpr int kMostRows = 60;

/// Where frames lie: rows of equal length, one below the other.
struct Layout {
    Layout(const MovieRequest& request) : frames(request.plan.frames) {
        const auto clips = static_cast<std::int64_t>(request.clips.size());
        rows = static_cast<int>(
            std::clamp<std::int64_t>((clips * kClipWidth + kRowWidth - 1) / kRowWidth, 1, kMostRows));
        perRow = (frames + rows - 1) / rows;
    }
    int height() const { return kHeader + rows * kRow + kFooter; }
    int top(int row) const { return kHeader + row * kRow; }
    int laneTop(int row, std::size_t clip) const { return top(row) + (clip % 2 == 0 ? 0 : kLane + kBetween); }
    double x(int row, double frame) const {
        return kMargin + (frame - static_cast<double>(row) * static_cast<double>(perRow)) * kRowWidth /
                             static_cast<double>(perRow);
    }
    std::int64_t frames;
    std::int64_t perRow = 1;
    int rows = 1;
};

/// The part of a stretch of frames that lies in one row.
struct Piece {
    int row = 0;
    int x = 0;
    int width = 0;
    bool begins = false;  ///< the stretch's first frame lies here
    bool ends = false;
};

std::vector<Piece> piecesOf(const Layout& layout, std::int64_t first, std::int64_t count) {
    std::vector<Piece> pieces;
    const std::int64_t end = first + count;
    for (std::int64_t row = first / layout.perRow; row * layout.perRow < end; ++row) {
        const std::int64_t from = std::max(first, row * layout.perRow);
        const std::int64_t to = std::min(end, (row + 1) * layout.perRow);
        const int at = static_cast<int>(row);
        const int x = static_cast<int>(std::lround(layout.x(at, static_cast<double>(from))));
        const int right = static_cast<int>(std::lround(layout.x(at, static_cast<double>(to))));
        pieces.push_back({at, x, std::max(1, right - x), from == first, to == end});
    }
    return pieces;
}

/// The middle `width` columns of a picture.
PictureRef middleOf(const PictureRef& picture, int width) {
    if (width >= picture.width()) return picture;
    PictureRef cut = PictureRef::makeArgb(width, picture.height());
    const int left = (picture.width() - width) / 2;
    for (int y = 0; y < picture.height(); ++y)
        std::memcpy(cut.data() + y * cut.stride(), picture.data() + y * picture.stride() + 4 * left,
                    static_cast<std::size_t>(width) * 4);
    return cut;
}

std::string nameOf(const edit::EditClip& clip) {
    if (clip.title) return *clip.title;
    if (clip.black()) return "black";
    if (media::isPattern(clip.file)) return clip.file.substr(0, clip.file.find('?'));
    return media::quotedName(std::filesystem::path(clip.file).filename().string());
}

std::string shortClock(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::floor(seconds));
    const std::string clock = whole >= 3600
                                  ? fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60)
                                  : fmt::format("{}:{:02}", whole / 60, whole % 60);
    const double rest = seconds - static_cast<double>(whole);
    return rest < 0.05 ? clock : clock + fmt::format("{:.1f}", rest).substr(1);
}

class Drawing {
  public:
    Drawing(const Edit& edit, const MovieRequest& request, Theme theme)
        : edit_(edit),
          request_(request),
          palette_(paletteOf(theme)),
          layout_(request),
          canvas_(kRowWidth + 2 * kMargin, layout_.height(), palette_.paper) {
        const double aspect = static_cast<double>(request.size.width) / request.size.height;
        thumb_ = {std::clamp(static_cast<int>(std::lround(kThumb * aspect)), 24, 240), kThumb};
    }

    PictureRef draw(const std::string& name, int threads) {
        header(name);
        for (int row = 0; row < layout_.rows; ++row) axis(row);
        previews_.resize(request_.clips.size());
        edit::inParallel(static_cast<int>(request_.clips.size()), threads, &interruptFlag(), [&](int i) {
            const auto index = static_cast<std::size_t>(i);
            previews_[index] = edit::previewClip(edit_, request_, index, thumb_, thumbFrames(index),
                                                 stretchesOf(index), &interruptFlag());
        });
        for (std::size_t i = 0; i < request_.clips.size(); ++i) strip(i);
        seams();
        drawLabels();
        return canvas_.picture();
    }

  private:
    void header(const std::string& name) {
        const std::string facts =
            fmt::format("{} clips   {}   {} at {} fps{}", request_.clips.size(),
                        edit::clockOf(request_.plan.frames, request_.rate), describe(request_.size),
                        describe(request_.rate), request_.sound ? "" : "   no sound");
        const int room = canvas_.width() - 2 * kMargin - canvas_.textWidth(facts, 15) - 30;
        canvas_.text(kMargin, 52, canvas_.fitted(edit_.title ? *edit_.title : name, room, 26), 26,
                     palette_.ink);
        canvas_.text(canvas_.width() - kMargin, 50, facts, 15, palette_.faint, Face::Sans, Align::Right);
        canvas_.fill(kMargin, 68, canvas_.width() - 2 * kMargin, 1, palette_.edge);
    }

    void axis(int row) {
        const double rate = request_.rate.value();
        const double perSecond = kRowWidth * rate / static_cast<double>(layout_.perRow);
        double step = 0.1;
        for (const double candidate : {0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0, 15.0, 30.0, 60.0, 120.0, 300.0,
                                       600.0, 1800.0, 3600.0, 7200.0, 36000.0}) {
            step = candidate;
            if (candidate * perSecond >= 84) break;
        }
        const std::int64_t first = static_cast<std::int64_t>(row) * layout_.perRow;
        const std::int64_t end = std::min(layout_.frames, first + layout_.perRow);
        const int y = layout_.top(row) + 2 * kLane + kBetween + 8;
        const int right = static_cast<int>(std::lround(layout_.x(row, static_cast<double>(end))));
        canvas_.fill(kMargin, y, right - kMargin, 1, palette_.edge);
        for (auto k = static_cast<std::int64_t>(std::ceil(static_cast<double>(first) / rate / step - 1e-9));;
             ++k) {
            const double frame = static_cast<double>(k) * step * rate;
            if (frame > static_cast<double>(end)) break;
            const int x = static_cast<int>(std::lround(layout_.x(row, frame)));
            canvas_.fill(x, y, 1, 6, palette_.faint);
            if (x + 40 < canvas_.width())
                canvas_.text(x + 4, y + 17, shortClock(static_cast<double>(k) * step), 11, palette_.faint);
        }
    }

    std::vector<Piece> pieces(std::size_t clip) const {
        return piecesOf(layout_, request_.plan.clipOrigins[clip], request_.clips[clip].frames());
    }

    int slotsOf(const Piece& piece) const { return std::max(1, piece.width / thumb_.width); }

    /// The frames that a strip's pictures show: the middle of each of its slots.
    std::vector<std::int64_t> thumbFrames(std::size_t clip) const {
        std::vector<std::int64_t> frames;
        const std::int64_t origin = request_.plan.clipOrigins[clip];
        for (const Piece& piece : pieces(clip)) {
            const int slots = slotsOf(piece);
            for (int k = 0; k < slots; ++k) {
                const double x = piece.x - kMargin + (k + 0.5) * piece.width / slots;
                const auto frame =
                    static_cast<std::int64_t>(x * static_cast<double>(layout_.perRow) / kRowWidth) +
                    piece.row * layout_.perRow - origin;
                frames.push_back(std::clamp<std::int64_t>(frame, 0, request_.clips[clip].frames() - 1));
            }
        }
        return frames;
    }

    std::size_t stretchesOf(std::size_t clip) const {
        std::size_t width = 0;
        for (const Piece& piece : pieces(clip)) width += static_cast<std::size_t>(piece.width);
        return width / 2 + 1;
    }

    void strip(std::size_t clip) {
        const ClipPreview& preview = previews_[clip];
        std::size_t picture = 0;
        int passed = 0;
        int whole = 0;
        for (const Piece& piece : pieces(clip)) whole += piece.width;
        for (const Piece& piece : pieces(clip)) {
            const int top = layout_.laneTop(piece.row, clip);
            canvas_.fill(piece.x, top, piece.width, kLane, palette_.panel);
            const int slots = slotsOf(piece);
            for (int k = 0; k < slots; ++k, ++picture) {
                const int from = piece.x + piece.width * k / slots;
                const int to = piece.x + piece.width * (k + 1) / slots;
                if (picture >= preview.pictures.size() || !preview.pictures[picture]) continue;
                const PictureRef shown = middleOf(preview.pictures[picture], to - from);
                canvas_.image(shown, from + (to - from - shown.width()) / 2, top + kTitle, shown.width(),
                              kThumb, palette_);
            }
            wave(preview, piece, top + kTitle + kThumb, passed, whole);
            passed += piece.width;
            canvas_.frame(piece.x, top, piece.width, kLane, palette_.edge);
            if (piece.begins) canvas_.fill(piece.x, top, 3, kLane, palette_.accent, 0.9);
            const std::string name = (piece.begins ? "" : "… ") + nameOf(edit_.clips[clip]);
            if (piece.width > 34)
                canvas_.text(piece.x + 10, top + 17, canvas_.fitted(name, piece.width - 16, 13), 13,
                             palette_.ink);
        }
    }

    void wave(const ClipPreview& preview, const Piece& piece, int top, int passed, int whole) {
        if (preview.peaks.empty()) return;
        const int middle = top + kWave / 2;
        for (int x = 0; x < piece.width; x += 2) {
            const std::size_t at = std::min(preview.peaks.size() - 1,
                                            static_cast<std::size_t>(passed + x) * preview.peaks.size() /
                                                static_cast<std::size_t>(std::max(1, whole)));
            const int half = std::max(1, static_cast<int>(std::lround(preview.peaks[at] * (kWave / 2 - 3))));
            canvas_.fill(piece.x + x, middle - half, std::min(1, piece.width - x), 2 * half, palette_.accent,
                         0.75);
        }
    }

    /// One band for each seam, with its effect between the lanes.
    void seams() {
        for (const Segment& segment : request_.plan.segments)
            if (segment.transition != Segment::kNone) seam(segment);
        for (std::size_t i = 1; i < request_.clips.size(); ++i) {
            if (request_.seams[i - 1].frames > 0) continue;
            const std::int64_t at = request_.plan.clipOrigins[i];
            const int row = static_cast<int>(at / layout_.perRow);
            const int x = static_cast<int>(std::lround(layout_.x(row, static_cast<double>(at))));
            canvas_.fill(x - 1, layout_.top(row), 2, 2 * kLane + kBetween, palette_.faint);
            label("cut", {row, x, 1, true, true});
        }
    }

    void seam(const Segment& segment) {
        const edit::SettledSeam& settled = request_.seams[static_cast<std::size_t>(segment.transition)];
        const auto clip = static_cast<std::size_t>(segment.clipA);
        const bool single = segment.clipB == Segment::kNone;
        const std::vector<Piece> bands = piecesOf(layout_, segment.first, segment.count);
        const Piece* widest = &bands.front();
        for (const Piece& band : bands) {
            const int top = single ? layout_.laneTop(band.row, clip) : layout_.top(band.row);
            const int height = single ? kLane : 2 * kLane + kBetween;
            canvas_.fill(band.x, top, band.width, height, palette_.accent, 0.22);
            canvas_.fill(band.x, top, 1, height, palette_.accent, 0.9);
            canvas_.fill(band.x + band.width - 1, top, 1, height, palette_.accent, 0.9);
            if (band.width > widest->width) widest = &band;
        }
        label(settled.effect.id, *widest);
    }

    /// The name of a seam, kept until its neighbours are known.
    void label(const std::string& words, const Piece& band) {
        const int width = canvas_.textWidth(words, 12, Face::Mono) + 12;
        labels_.push_back({band.row, band.x + band.width / 2 - width / 2, width, words});
    }

    /// Names that would cover each other move apart, first to the right, then back from the row's end.
    void drawLabels() {
        std::stable_sort(labels_.begin(), labels_.end(), [](const Label& a, const Label& b) {
            return a.row != b.row ? a.row < b.row : a.x < b.x;
        });
        for (std::size_t i = 0; i < labels_.size(); ++i) {
            Label& label = labels_[i];
            const bool follows = i > 0 && labels_[i - 1].row == label.row;
            label.x = std::max(label.x, follows ? labels_[i - 1].x + labels_[i - 1].width + 3 : kMargin);
        }
        for (std::size_t i = labels_.size(); i-- > 0;) {
            Label& label = labels_[i];
            const bool precedes = i + 1 < labels_.size() && labels_[i + 1].row == label.row;
            const int end = precedes ? labels_[i + 1].x - 3 : kMargin + kRowWidth;
            label.x = std::min(label.x, end - label.width);
            const int y = layout_.top(label.row) + kLane + 4;
            canvas_.fill(label.x, y, label.width, kBetween - 8, palette_.paper, 0.92);
            canvas_.frame(label.x, y, label.width, kBetween - 8, palette_.accent);
            canvas_.text(label.x + 6, y + 13, label.words, 12, palette_.ink, Face::Mono);
        }
    }

    struct Label {
        int row = 0;
        int x = 0;
        int width = 0;
        std::string words;
    };

    const Edit& edit_;
    const MovieRequest& request_;
    const Palette& palette_;
    Layout layout_;
    Canvas canvas_;
    PixelSize thumb_;
    std::vector<ClipPreview> previews_;
    std::vector<Label> labels_;
};

}  // namespace

PictureRef drawTimeline(const Edit& edit, const MovieRequest& request, const std::string& name, Theme theme,
                        int threads) {
    return Drawing(edit, request, theme).draw(name, threads);
}

}  // namespace tumblewash::app
