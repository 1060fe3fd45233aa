#include "app/Sheet.h"

#include <fmt/format.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <thread>

#include "app/Canvas.h"
#include "app/Progress.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "app/Stills.h"
#include "app/Written.h"
#include "edit/Effects.h"
#include "edit/Errors.h"
#include "edit/Outputs.h"
#include "edit/Parallel.h"
#include "edit/Request.h"
#include "edit/ResultShape.h"
#include "edit/StillRender.h"
#include "media/Pattern.h"
#include "media/Quoting.h"
#include "media/StillIO.h"

namespace tumblewash::app {

using edit::describe;
using edit::directionFor;
using edit::Edges;
using edit::Effect;
using edit::effectIds;
using edit::evenFrames;
using edit::findEffect;
using edit::makeRate;
using edit::openPlugin;
using edit::PixelSize;
using edit::Placement;
using edit::placementOf;
using edit::Problem;
using edit::Refusal;
using edit::settleSize;
using edit::StillInput;
using edit::StillRenderer;
using edit::TimeSpan;
using edit::TransitionJob;
using edit::writeResultPng;
using host::kMinPictureSide;
using host::PluginModule;
using media::FrameRate;
using media::isPattern;
using media::MediaInfo;
using media::MediaKind;
using media::parsePattern;
using media::PictureRef;
using media::PngAlpha;
using media::probe;
using media::quotedName;

namespace {

constexpr int kMargin = 40;
constexpr int kGap = 12;
constexpr int kRowGap = 20;
constexpr int kLabel = 224;
constexpr int kHeader = 112;
constexpr int kFooter = 44;
/// Frames are rendered at this width at most: finer ones would be lost in the tiles.
constexpr int kRenderWidth = 960;

// Where everything stands.
struct Layout {
    int columns;
    int rows;
    int tileWidth;
    int tileHeight;

    Layout(int wantedColumns, int wantedRows, PixelSize picture) : columns(wantedColumns), rows(wantedRows) {
        const int room = columns <= 6 ? 1488 : std::min(3200, 240 * columns);
        tileWidth = std::clamp((room - (columns - 1) * kGap) / columns, 120, 420);
        tileHeight = std::max(16, static_cast<int>(std::lround(static_cast<double>(tileWidth) *
                                                               picture.height / picture.width)));
        if (tileHeight > tileWidth * 3 / 2) {
            tileHeight = tileWidth * 3 / 2;
            tileWidth = std::max(16, static_cast<int>(std::lround(static_cast<double>(tileHeight) *
                                                                  picture.width / picture.height)));
        }
    }
    int width() const { return 2 * kMargin + kLabel + columns * tileWidth + (columns - 1) * kGap; }
    int height() const { return kHeader + rows * tileHeight + (rows - 1) * kRowGap + kFooter; }
    int x(int column) const { return kMargin + kLabel + column * (tileWidth + kGap); }
    int y(int row) const { return kHeader + row * (tileHeight + kRowGap); }
};

// The frames shown: the first, the last, and even steps between.
std::vector<std::int64_t> shownFrames(std::int64_t n, int columns) {
    std::vector<std::int64_t> frames;
    for (int i = 0; i < columns; ++i)
        frames.push_back(
            std::min<std::int64_t>(n - 1, std::llround(static_cast<double>(n) * i / (columns - 1))));
    return frames;
}

// What a reader calls an input: the file without its folders, the scene without its numbers.
std::string inputName(const std::string& path) {
    if (isPattern(path)) return parsePattern(path).name;
    return quotedName(std::filesystem::path(path).filename().string());
}

PixelSize renderSize(PixelSize size) {
    if (size.width <= kRenderWidth) return size;
    const double scale = static_cast<double>(kRenderWidth) / size.width;
    return {kRenderWidth, std::max(kMinPictureSide, static_cast<int>(std::lround(size.height * scale)))};
}

void drawHeader(Canvas& canvas, const Layout& layout, const Options& o, const Palette& palette,
                const std::vector<std::int64_t>& frames, std::int64_t n) {
    canvas.text(kMargin, 54, "tumblewash", 30, palette.ink);
    const std::string what = fmt::format("{}  →  {}", inputName(o.inputs[0]), inputName(o.inputs[1]));
    canvas.text(canvas.width() - kMargin, 52, canvas.fitted(what, canvas.width() - 2 * kMargin - kLabel, 15),
                15, palette.faint, Face::Sans, Align::Right);
    canvas.fill(kMargin, 72, canvas.width() - 2 * kMargin, 1, palette.edge);
    for (int column = 0; column < layout.columns; ++column) {
        const auto percent = std::lround(
            100.0 * static_cast<double>(frames[static_cast<std::size_t>(column)]) / static_cast<double>(n));
        canvas.text(layout.x(column) + layout.tileWidth / 2, kHeader - 14, fmt::format("{} %", percent), 14,
                    palette.faint, Face::Sans, Align::Centre);
    }
}

void drawLabel(Canvas& canvas, const Layout& layout, int row, const Effect& effect, const Palette& palette) {
    const int middle = layout.y(row) + layout.tileHeight / 2;
    const int room = kLabel - 28;
    canvas.fill(kMargin, layout.y(row), 3, layout.tileHeight, palette.accent, 0.85);
    canvas.text(kMargin + 18, middle - 6, canvas.fitted(effect.name, room, 19), 19, palette.ink);
    canvas.text(kMargin + 18, middle + 16, effect.id, 13, palette.accent, Face::Mono);
    if (layout.tileHeight < 90) return;
    const Placement placement = placementOf(effect);
    const char* kind = placement == Placement::After    ? "one clip, leaving"
                       : placement == Placement::Before ? "one clip, arriving"
                       : placement == Placement::Halves ? "two clips, half of each"
                                                        : "two clips, overlapping";
    canvas.text(kMargin + 18, middle + 36, kind, 12, palette.faint);
}

std::int64_t sheetFrames(const Options& o, const MediaInfo& a, const MediaInfo& b, FrameRate rate) {
    if (!o.durations.empty()) return evenFrames(o.durations.front().frames(rate));
    // Stills have frames without end: fine steps let the last column reach the end of the effect.
    if (a.kind == MediaKind::still && b.kind == MediaKind::still) return 1000;
    return evenFrames(TimeSpan{TimeSpan::Unit::Microseconds, 1000000}.frames(rate));
}

}  // namespace

std::vector<std::string> sheetEffectIds(const Options& o) {
    std::vector<std::string> ids;
    for (const std::string& id : o.effects.empty() ? std::vector<std::string>{"all"} : o.effects) {
        if (id != "all") {
            ids.push_back(id);
            continue;
        }
        for (const std::string& each : effectIds())
            if (each != "none") ids.push_back(each);
    }
    return ids;
}

void makeSheet(const Options& o) {
    const PluginModule module = openPlugin(o.plugin);
    std::vector<Effect> effects;
    for (const std::string& id : sheetEffectIds(o)) {
        effects.push_back(findEffect(module, id));
        if (placementOf(effects.back()) == Placement::Cut)
            throw Refusal(Problem::BadRequest,
                          fmt::format("{} draws nothing; leave it out of the sheet", id));
    }
    checkPictureOutput(o);
    const MediaInfo infoA = probe(o.inputs[0], &interruptFlag());
    const MediaInfo infoB = probe(o.inputs[1], &interruptFlag());
    const PixelSize size = renderSize(settleSize(o.size, infoA, Edges::PreferEven));
    const FrameRate rate = infoA.rate   ? makeRate(infoA.rate.num, infoA.rate.den)
                           : infoB.rate ? makeRate(infoB.rate.num, infoB.rate.den)
                                        : FrameRate{25, 1};
    const std::int64_t n = sheetFrames(o, infoA, infoB, rate);
    StillInput a(o.inputs[0], size, o.fit.value_or(media::Fit::contain), rate, false, &interruptFlag(),
                 o.wishes.map());
    StillInput b(o.inputs[1], size, o.fit.value_or(media::Fit::contain), rate, false, &interruptFlag(),
                 o.wishes.map());

    const Palette& palette = paletteOf(o.theme);
    const Layout layout(o.columns, static_cast<int>(effects.size()), size);
    const std::vector<std::int64_t> frames = shownFrames(n, layout.columns);
    Canvas canvas(layout.width(), layout.height(), palette.paper);
    drawHeader(canvas, layout, o, palette, frames, n);

    Progress progress(o, "sheet", layout.rows, {1, 1});
    std::atomic<int> done{0};
    std::mutex drawing;
    const int threads = o.threads > 0 ? o.threads : static_cast<int>(std::thread::hardware_concurrency());
    edit::inParallel(layout.rows, threads, &interruptFlag(), [&](int row) {
        const Effect& effect = effects[static_cast<std::size_t>(row)];
        TransitionJob job;
        job.effect = effect;
        job.size = size;
        job.frames = n;
        job.direction = directionFor(o.direction, effect);
        job.seed = o.seed;
        job.proxy = o.proxy;
        job.ownEffects = o.plugin.empty();
        StillRenderer renderer(module, job, {&a, &b});
        for (int column = 0; column < layout.columns; ++column) {
            const PictureRef picture = renderer.render(frames[static_cast<std::size_t>(column)]);
            // Tiles do not touch each other, so rows may draw at the same time.
            canvas.image(picture, layout.x(column), layout.y(row), layout.tileWidth, layout.tileHeight,
                         palette);
            canvas.frame(layout.x(column), layout.y(row), layout.tileWidth, layout.tileHeight, palette.edge);
        }
        renderer.finish();
        const std::scoped_lock hold(drawing);
        drawLabel(canvas, layout, row, effect, palette);
        progress.advance(++done);
    });
    progress.finish();
    writeResultPng(o.output, canvas.picture(), PngAlpha::drop, o.force);
    noteWritten(o.output);
    sayWarnings(o, {&a, &b});
    if (!o.quiet)
        say("{}: {} effects, {} steps each, {}", quotedName(o.output), layout.rows, layout.columns,
            describe(PixelSize{canvas.width(), canvas.height()}));
}

}  // namespace tumblewash::app
