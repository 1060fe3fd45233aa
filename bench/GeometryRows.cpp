#include <chrono>
#include <cmath>
#include <cstdlib>
#include <memory>

#include "ImageLib/source/FlowMorph.h"
#include "ImageLib/source/FlowWarp.h"
#include "bench/Maps.h"
#include "bench/Rows.h"
#include "bench/Yardsticks.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "tests/whole/reference/FlowMorph.h"
#include "tests/whole/reference/FlowWarp.h"

namespace tumblewash::bench {

namespace {

using Field = PixRectRW<RGBPixel<float>>;

/// The field in the yardstick's units: pixels of a whole frame.
CoarseField inPixels(const Field& field, double across, double down) {
    CoarseField out{field.width(), field.height(), {}};
    for (int y = 0; y < field.height(); ++y) {
        for (int x = 0; x < field.width(); ++x) {
            const RGBPixel<float> cell = field.pix(x, y);
            out.cells.push_back(static_cast<float>(cell.getred() * across));
            out.cells.push_back(static_cast<float>(cell.getgreen() * down));
        }
    }
    return out;
}

struct Surface {
    const char* name;
    std::unique_ptr<Field> field;
    double target;  ///< times faster than the yardstick
};

std::vector<Surface> surfaces() {
    std::srand(7);
    std::vector<Surface> all;
    all.push_back({"warp, wash up", std::unique_ptr<Field>(makeWashAway(kPluginDirectionUp)), 8.0});
    all.push_back({"warp, wash down", std::unique_ptr<Field>(makeWashAway(kPluginDirectionDown)), 8.0});
    all.push_back({"warp, wash left", std::unique_ptr<Field>(makeWashAway(kPluginDirectionLeft)), 8.0});
    all.push_back({"warp, wash right", std::unique_ptr<Field>(makeWashAway(kPluginDirectionRight)), 8.0});
    all.push_back({"warp, stretch", std::unique_ptr<Field>(makeTiltPlate(1.0F, 32)), 10.0});
    return all;
}

PixRectWrap<ARGBVal> wrapped(Picture& p) {
    return {reinterpret_cast<ARGBVal*>(p.data()), p.width, p.height, SIAllLines};
}

void addWarps(Table& table, int w, int h, Times& times, const std::string& size) {
    const Picture source = scene(w, h, 1);
    Picture from = source, ours = scene(w, h, 2), theirs = ours;
    for (const Surface& surface : surfaces()) {
        const CoarseField field = inPixels(*surface.field, w, h);
        const auto warp = [&, fac = 0.5F] {
            ::DistortUsingFlow(from.data(), ours.data(), w, w, h, surface.field.get(), fac);
        };
        times[surface.name] = table.add(
            surface.name + size, warp, "nearest remap with maps",
            [&] { remapAlong(source, theirs, field, 0.5F, false); }, Aim::fasterBy, surface.target);
        if (std::string(surface.name) == "warp, stretch") {
            table.add(
                std::string(surface.name) + ", in copies" + size, warp, "memory copy",
                [&] { copyFrame(source, theirs); }, Aim::atMost, 8.0);
        }
    }
}

/// The fraction, in hundredths, at which a tumble takes longest.
int slowestTumble(Picture& from, Picture& to) {
    int slowest = 0;
    double longest = 0.0;
    for (int percent = 0; percent < 100; ++percent) {
        for (int round = 0; round < 3; ++round) {
            const auto start = std::chrono::steady_clock::now();
            TumbleAway(nullptr, from.data(), to.data(), from.width, from.width, from.height,
                       static_cast<float>(percent) / 100.0F, false);
            const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
            if (round == 2 && time.count() > longest) {
                longest = time.count();
                slowest = percent;
            }
        }
    }
    return slowest;
}

void addTumbles(Table& table, int w, int h, Times& times, const std::string& size) {
    if (!table.wants("tumble" + size) && !table.wants("tumble")) return;
    Picture from = scene(w, h, 3), ours = scene(w, h, 4), theirs = ours;
    const Picture source = from;
    const auto tumbleAt = [&](float factor) {
        return [&, factor] { TumbleAway(nullptr, from.data(), ours.data(), w, w, h, factor, false); };
    };
    const auto perspective = [&](double degrees, double scale) {
        return [&, degrees, scale] { warpPerspectiveFrame(source, theirs, degrees, scale); };
    };
    times["tumble"] = table.add("tumble, turned a little (f = 0.01)" + size, tumbleAt(0.01F),
                                "perspective warp, whole frame", perspective(-3.6, 1.0), Aim::fasterBy, 4.0);
    table.add("tumble, plate fills the frame (f = 0)" + size, tumbleAt(0.0F), "perspective warp, whole frame",
              perspective(0.0, 1.0), Aim::fasterBy, 4.0);
    if (w == 1920) {
        const int slowest = slowestTumble(from, ours);
        table.add("tumble, slowest of 100 fractions" + size, tumbleAt(static_cast<float>(slowest) / 100.0F),
                  "perspective warp, whole frame", perspective(-3.6 * slowest, 1.0), Aim::fasterBy, 4.0);
        table.add("tumble, small plate (f = 0.8)" + size, tumbleAt(0.8F), "perspective warp, whole frame",
                  perspective(-3.6, 1.0), Aim::shown, 0.0);
    }
}

void addMorphs(Table& table, int w, int h, Times& times, const std::string& size) {
    Picture from = scene(w, h, 5), to = scene(w, h, 6);
    Picture forward(w, h), backward(w, h), out(w, h);
    PixRectWrap<ARGBVal> fromFrame = wrapped(from), toFrame = wrapped(to);
    PixRectWrap<ARGBVal> outFrame = wrapped(out), backwardFrame = wrapped(backward);
    const std::unique_ptr<Field> field1(MakeFlowField(fromFrame, toFrame, toFrame));
    const std::unique_ptr<Field> field2(MakeFlowField(toFrame, fromFrame, toFrame));
    const CoarseField theirs1 = inPixels(*field1, 1.0, 2.0), theirs2 = inPixels(*field2, 1.0, 2.0);
    const WorldOver over(backward), result(out);
    // As the plug-in does it: the forward picture is made in the destination itself.
    times["morph frame"] = table.add(
        "morph frame" + size,
        [&] {
            MorphBetween(fromFrame, toFrame, outFrame, field1.get(), 0.4F);
            MorphBetween(toFrame, fromFrame, backwardFrame, field2.get(), 0.6F);
            over.blendOver(result, 102);
        },
        "2 bilinear remaps with maps, blend",
        [&] {
            remapAlong(from, forward, theirs1, 0.4F, true);
            remapAlong(to, backward, theirs2, 0.6F, true);
            blendHalf(backward, forward);
        },
        Aim::fasterBy, 4.0);
    times["motion field"] = table.add(
        "motion field" + size, [&] { delete MakeFlowField(fromFrame, toFrame, toFrame); }, "memory copy",
        [&] { copyFrame(from, out); }, Aim::atMost, 0.6);
}

}  // namespace

void addGeometry(Table& table, int width, int height, Times& times) {
    const std::string size = " " + std::to_string(width) + "x" + std::to_string(height);
    addWarps(table, width, height, times, size);
    addTumbles(table, width, height, times, size);
    addMorphs(table, width, height, times, size);
}

void addComposition(Table& table, int w, int h) {
    const std::string size = " " + std::to_string(w) + "x" + std::to_string(h);
    Picture from = scene(w, h, 1), ours = scene(w, h, 2), theirs = ours;
    const std::vector<Surface> all = surfaces();
    for (const Surface* surface : {&all.front(), &all.back()}) {
        table.add(
            std::string("literal ") + surface->name + size,
            [&] { ::DistortUsingFlow(from.data(), ours.data(), w, w, h, surface->field.get(), 0.5F); },
            "literal composition of views",
            [&] {
                reference::DistortUsingFlow(from.data(), theirs.data(), w, w, h, surface->field.get(), 0.5F);
            },
            Aim::shown, 0.0);
    }
    PixRectWrap<ARGBVal> frame = wrapped(from), ourFrame = wrapped(ours), theirFrame = wrapped(theirs);
    const std::unique_ptr<Field> field(MakeFlowField(ourFrame, frame, frame));
    table.add(
        "literal morph, one picture" + size,
        [&] { ::MorphBetween(frame, theirFrame, ourFrame, field.get(), 0.4F); },
        "literal composition of views",
        [&] { reference::MorphBetween(frame, ourFrame, theirFrame, field.get(), 0.4F); }, Aim::shown, 0.0);
}

}  // namespace tumblewash::bench
