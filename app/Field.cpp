#include "app/Field.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <optional>
#include <vector>

#include "app/Canvas.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "app/Stills.h"
#include "app/Written.h"
#include "edit/Errors.h"
#include "edit/Outputs.h"
#include "edit/Report.h"
#include "edit/Request.h"
#include "edit/ResultShape.h"
#include "edit/StillRender.h"
#include "effects/Effect.h"
#include "media/Quoting.h"
#include "media/StillIO.h"

namespace tumblewash::app {

using edit::describe;
using edit::directionFor;
using edit::directionName;
using edit::Edges;
using edit::Effect;
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
using edit::StillPair;
using edit::StillRenderer;
using edit::TransitionJob;
using edit::writeResultPng;
using effects::Alpha;
using effects::FieldVector;
using effects::VectorField;
using host::PluginModule;
using media::FrameRate;
using media::MediaInfo;
using media::MediaKind;
using media::PictureRef;
using media::PngAlpha;
using media::probe;
using media::quotedName;

namespace {

constexpr int kMargin = 32;
constexpr int kHeader = 84;
constexpr int kLegend = 96;
constexpr int kLongest = 1280;
constexpr double kReach = 0.94;  ///< longest arrow, in spacings
constexpr double kSpacing = 34;  ///< pixels between arrows

// From calm to strong; readable on dark and on light pictures.
Colour heat(double t) {
    static constexpr Colour kStops[] = {
        {84, 120, 220}, {64, 190, 200}, {150, 210, 90}, {250, 200, 60}, {240, 90, 60}};
    const double place = std::clamp(t, 0.0, 1.0) * 4;
    const int stop = std::min(3, static_cast<int>(place));
    return blend(kStops[stop], kStops[stop + 1], place - stop);
}

struct Scale {
    double longest = 0;  ///< frame pixels
    double reach = 0;    ///< drawn length of the longest arrow
    bool root = false;   ///< lengths grow with the square root
    double drawn(double pixels) const {
        if (longest <= 0) return 0;
        const double part = pixels / longest;
        return reach * (root ? std::sqrt(part) : part);
    }
    double warmth(double pixels) const { return longest > 0 ? std::sqrt(pixels / longest) : 0; }
};

struct Frame {
    int x;
    int y;
    int width;
    int height;
    double scale;
};

double lengthOf(const FieldVector& v) {
    return std::hypot(v.dx, v.dy);
}

// One arrow per place, each showing the very cell under its middle.
std::vector<FieldVector> gridOf(const VectorField& field, PixelSize size, double scale) {
    const int columns = std::max(4, static_cast<int>(size.width * scale / kSpacing));
    const int rows = std::max(3, static_cast<int>(size.height * scale / kSpacing));
    std::vector<FieldVector> grid;
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) {
            const int u = (2 * c + 1) * field.columns / (2 * columns);
            const int v = (2 * r + 1) * field.rows / (2 * rows);
            FieldVector vector = field.cells[static_cast<std::size_t>(v * field.columns + u)];
            vector.x = (c + 0.5) * size.width / columns;
            vector.y = (r + 0.5) * size.height / rows;
            grid.push_back(vector);
        }
    return grid;
}

Scale scaleOf(const std::vector<FieldVector>& grid, double pictureScale) {
    Scale scale;
    double least = 1e30;
    for (const FieldVector& v : grid) {
        const double length = lengthOf(v);
        scale.longest = std::max(scale.longest, length);
        if (length > 0) least = std::min(least, length);
    }
    // True to scale where the arrows fit between their neighbours; squeezed where the range is wide.
    const double trueReach = scale.longest * pictureScale;
    scale.reach = std::min(trueReach, kSpacing * kReach);
    scale.root = scale.longest > 8 * least && trueReach > kSpacing * kReach;
    return scale;
}

void drawArrows(Canvas& canvas, const Frame& at, const std::vector<FieldVector>& grid, const Scale& scale) {
    for (const bool halo : {true, false})
        for (const FieldVector& v : grid) {
            const double length = lengthOf(v);
            const double x = at.x + v.x * at.scale;
            const double y = at.y + v.y * at.scale;
            const double drawn = scale.drawn(length);
            const double ux = length > 0 ? v.dx / length : 0;
            const double uy = length > 0 ? v.dy / length : 0;
            // The picture comes from (x + dx, y + dy): the arrow points the other way.
            const double x0 = x + ux * drawn / 2;
            const double y0 = y + uy * drawn / 2;
            const double x1 = x - ux * drawn / 2;
            const double y1 = y - uy * drawn / 2;
            if (halo)
                canvas.line(x0, y0, x1, y1, drawn < 1 ? 3.5 : 4.5, {0, 0, 0}, 0.45);
            else
                canvas.arrow(x0, y0, x1, y1, 2.0,
                             length < 0.5 ? Colour{190, 195, 205} : heat(scale.warmth(length)));
        }
}

std::string pixelsText(double pixels) {
    return fmt::format("{} px", static_cast<long>(std::lround(pixels)));
}

void drawLegend(Canvas& canvas, const Scale& scale, const Palette& palette, int y, bool arriving) {
    const int middle = y + 38;
    if (scale.longest < 0.5) {
        canvas.text(kMargin, middle + 5, "nothing moves: every arrow is shorter than half a pixel", 15,
                    palette.faint);
        return;
    }
    int x = kMargin;
    const double parts[] = {0.1, 0.5, 1.0};
    for (const double part : parts) {
        const double pixels = scale.longest * part;
        const double drawn = std::max(2.0, scale.drawn(pixels));
        canvas.arrow(x, middle, x + drawn, middle, 2.4, heat(scale.warmth(pixels)));
        x += static_cast<int>(drawn) + 12;
        x += canvas.text(x, middle + 5, pixelsText(pixels), 15, palette.ink) + 36;
    }
    const int bar = 220;
    const int left = canvas.width() - kMargin - bar;
    for (int i = 0; i < bar; ++i)
        canvas.fill(left + i, middle - 7, 1, 12, heat(static_cast<double>(i) / (bar - 1)));
    canvas.text(left, middle + 24, "0", 12, palette.faint);
    canvas.text(left + bar / 2, middle + 24, pixelsText(scale.longest / 4), 12, palette.faint, Face::Sans,
                Align::Centre);
    canvas.text(left + bar, middle + 24, pixelsText(scale.longest), 12, palette.faint, Face::Sans,
                Align::Right);
    const char* when = arriving
                           ? "frame pixels still to go at the start; the picture arrives against the arrows"
                           : "frame pixels moved by the end";
    canvas.text(kMargin, y + 78,
                fmt::format("{}; lengths drawn {}", when, scale.root ? "by square root" : "in proportion"),
                13, palette.faint);
}

void drawPlates(Canvas& canvas, const Frame& at, const effects::Effect& effect, PixelSize size,
                const Palette& palette, int legend) {
    constexpr int kSteps = 10;
    constexpr double kLast = 0.999;  // at 1 there is no plate
    std::vector<plugin::Plate> plates;
    for (int i = 0; i <= kSteps; ++i)
        plates.push_back(
            effect.plateAt(std::min(kLast, static_cast<double>(i) / kSteps), size.width, size.height));
    const auto px = [&](const plugin::Plate& p, std::size_t c) { return at.x + p[c].x * at.scale; };
    const auto py = [&](const plugin::Plate& p, std::size_t c) { return at.y + p[c].y * at.scale; };
    const auto swatch = [&](int i) { return heat(static_cast<double>(i) / kSteps); };
    canvas.clip(at.x, at.y, at.width, at.height);
    for (int i = 0; i <= kSteps; ++i) {
        const plugin::Plate& p = plates[static_cast<std::size_t>(i)];
        const Colour colour = swatch(i);
        for (std::size_t c = 0; c < 4; ++c) {
            const std::size_t d = (c + 1) % 4;
            canvas.line(px(p, c), py(p, c), px(p, d), py(p, d), 4.5, {0, 0, 0}, 0.4);
            // The picture's own top edge is the thick one: it shows which way up the plate is.
            canvas.line(px(p, c), py(p, c), px(p, d), py(p, d), c == 0 ? 3.4 : 1.6, colour);
        }
    }
    canvas.unclip();
    for (int i = 0; i <= kSteps; ++i) {
        const int x = kMargin + i * (canvas.width() - 2 * kMargin - 44) / kSteps;
        canvas.fill(x, legend + 26, 26, 5, swatch(i));
        canvas.text(x, legend + 50, fmt::format("{} %", 100 * i / kSteps), 13, palette.ink);
    }
    canvas.text(
        kMargin, legend + 80,
        fmt::format("the plate at eleven moments, in a frame of {}; the thick edge is the picture's top",
                    describe(size)),
        13, palette.faint);
}

TransitionJob fieldJob(const Options& o, const Effect& effect, const MediaInfo& first) {
    TransitionJob job;
    job.effect = effect;
    job.size = settleSize(o.size, first, Edges::Any);
    job.frames = first.kind == MediaKind::still ? 1000 : 30;
    job.direction = directionFor(o.direction, effect);
    job.seed = o.seed;
    return job;
}

// The field at full strength; a morph's is the motion between its two key pictures.
VectorField fieldOf(const effects::Effect& effect, StillRenderer& renderer) {
    const PixelSize size = renderer.job().size;
    if (effect.record().driver != plugin::EffectDriver::morph) return effect.field(size.width, size.height);
    const auto key = [](const PictureRef& picture) {
        return effects::Picture{picture.data(), picture.stride(), picture.width(), picture.height(),
                                Alpha::opaque};
    };
    const PictureRef first = renderer.sourceA(0), last = renderer.sourceB(0);
    const auto motion = effect.motionBetween({key(first), key(last)});
    if (motion == nullptr) throw std::bad_alloc();
    return effect.field(size.width, size.height, motion.get());
}

std::string subtitle(const TransitionJob& job) {
    if (job.effect.info.flags != 0)
        return fmt::format("{}   direction {}   seed {}   {}", job.effect.id, directionName(job.direction),
                           job.seed, describe(job.size));
    return fmt::format("{}   {}", job.effect.id, describe(job.size));
}

}  // namespace

void makeField(const Options& o) {
    if (!o.plugin.empty())
        throw Refusal(Problem::BadRequest, "field draws the built-in effects only; leave --plugin out");
    const PluginModule module = openPlugin({});
    if (o.effects.size() > 1)
        throw Refusal(Problem::BadRequest, "field draws one effect; give one id to --effect");
    const Effect effect = findEffect(module, o.effects.empty() ? "wash-away" : o.effects.front());
    checkPictureOutput(o);
    const MediaInfo first = probe(o.inputs.front(), &interruptFlag());
    const TransitionJob job = fieldJob(o, effect, first);
    const FrameRate rate = first.rate ? makeRate(first.rate.num, first.rate.den) : FrameRate{25, 1};
    StillInput a(o.inputs[0], job.size, o.fit.value_or(media::Fit::contain), rate, false, &interruptFlag(),
                 o.wishes.map());
    std::unique_ptr<StillInput> b;
    if (o.inputs.size() > 1)
        b = std::make_unique<StillInput>(o.inputs[1], job.size, o.fit.value_or(media::Fit::contain), rate,
                                         false, &interruptFlag(), o.wishes.map());
    const StillPair inputs{&a, b.get()};

    StillRenderer renderer(module, job, inputs);
    const effects::Effect moves(plugin::effectRecord(static_cast<short>(effect.index)),
                                {job.direction, job.seed});
    const VectorField field = fieldOf(moves, renderer);
    // Motion belongs to the picture it leads to; a wash or a plate to the picture that moves.
    const bool second = placementOf(effect) == Placement::Halves || effect.id.ends_with("-reveal");
    const PictureRef under = second ? renderer.sourceB(0) : renderer.sourceA(0);

    const double scale =
        std::min({static_cast<double>(kLongest) / job.size.width,
                  static_cast<double>(kLongest) / job.size.height, job.size.width < 640 ? 2.0 : 1.0});
    const Frame at{kMargin, kHeader, static_cast<int>(std::lround(job.size.width * scale)),
                   static_cast<int>(std::lround(job.size.height * scale)), scale};
    const Palette& palette = paletteOf(o.theme);
    Canvas canvas(std::max(at.width, 560) + 2 * kMargin, kHeader + at.height + kLegend + 8, palette.paper);
    canvas.text(kMargin, 46, effect.name, 26, palette.ink);
    canvas.text(kMargin, 70, subtitle(job), 14, palette.accent, Face::Mono);
    canvas.image(under, at.x, at.y, at.width, at.height, palette);
    canvas.fill(at.x, at.y, at.width, at.height, {8, 10, 14}, 0.48);
    const int legend = kHeader + at.height;
    if (field.columns == 0) {
        drawPlates(canvas, at, moves, job.size, palette, legend);
    } else {
        const std::vector<FieldVector> grid = gridOf(field, job.size, scale);
        const Scale lengths = scaleOf(grid, scale);
        drawArrows(canvas, at, grid, lengths);
        drawLegend(canvas, lengths, palette, legend,
                   effect.id.ends_with("-in") || effect.id.ends_with("-reveal"));
    }
    canvas.frame(at.x, at.y, at.width, at.height, palette.edge);
    writeResultPng(o.output, canvas.picture(), PngAlpha::drop, o.force);
    noteWritten(o.output);
    sayWarnings(o, inputs);
    if (!o.quiet) say("{}: {}, {}", quotedName(o.output), effect.id, describe(job.size));
}

}  // namespace tumblewash::app
