// How a field is had: the plug-in's own state block after it was initialised (and, for the morph, after its
// first frame), and for the tumble the corners that it logs. Nothing is computed a second time here.
#include <cstdio>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"
#include "ImageLib/source/SICommon.h"
#include "app/field.h"

namespace tumblewash::app {

using edit::Placement;
using edit::placementOf;
using edit::StillPair;
using edit::StillRenderer;
using edit::TransitionJob;
using host::PluginModule;

namespace {

// The session keeps its parameter block to itself, so an entry function of our own stands between the two
// and notes the state block that passes through. One thread at a time looks.
struct Watch {
    const PluginModule* module = nullptr;
    const _EffectData* state = nullptr;
};
thread_local Watch watch;

int watchingEntry(short which, HYPluginParams* params) {
    const int result = watch.module->call(which, *params);
    watch.state = static_cast<const _EffectData*>(params->clientData);
    return result;
}

class Watching {
  public:
    explicit Watching(const PluginModule& module) { watch = {&module, nullptr}; }
    ~Watching() { watch = {}; }
    Watching(const Watching&) = delete;
    Watching& operator=(const Watching&) = delete;
};

// The library's trace, caught in memory while this stands.
class CaughtTrace {
  public:
    CaughtTrace() : file_(::open_memstream(&text_, &size_)) {
        if (!file_) throw std::bad_alloc();
        SICommon_H::traceto(file_);
    }
    ~CaughtTrace() {
        SICommon_H::traceto(nullptr);
        std::fclose(file_);
        std::free(text_);
    }
    CaughtTrace(const CaughtTrace&) = delete;
    CaughtTrace& operator=(const CaughtTrace&) = delete;

    std::string text() {
        std::fflush(file_);
        return {text_, size_};
    }

  private:
    char* text_ = nullptr;
    std::size_t size_ = 0;
    std::FILE* file_;
};

std::optional<Plate> lastPlate(const std::string& trace) {
    static constexpr char kCorners[] = "Tumble corners R ";
    const std::size_t at = trace.rfind(kCorners);
    if (at == std::string::npos) return {};
    int c[8] = {};
    if (std::sscanf(trace.c_str() + at + sizeof kCorners - 1, "%d,%d %d,%d %d,%d %d,%d", &c[0], &c[1], &c[2],
                    &c[3], &c[4], &c[5], &c[6], &c[7]) != 8)
        return {};
    Plate plate;
    for (std::size_t i = 0; i < 4; ++i)
        plate[i] = {static_cast<double>(c[2 * i]), static_cast<double>(c[2 * i + 1])};
    return plate;
}

}  // namespace

std::vector<FieldVector> effectField(const PluginModule& module, const TransitionJob& job, StillPair inputs,
                                     int& cells) {
    const Watching watching(module);
    StillRenderer renderer(PluginModule(watchingEntry), job, inputs);
    const bool motion = placementOf(job.effect) == Placement::Halves;
    if (motion) renderer.render(0);
    cells = 0;
    if (!watch.state || !watch.state->flowField1) return {};
    const PixRectRW<RGBPixel<float>>& field = *watch.state->flowField1;
    cells = field.width();
    const double width = job.size.width;
    const double height = job.size.height;
    std::vector<FieldVector> vectors;
    for (int v = 0; v < field.height(); ++v)
        for (int u = 0; u < cells; ++u) {
            const RGBPixel<float>& cell = field.pixref(u, v);
            FieldVector vector;
            vector.x = (u + 0.5) * width / cells;
            vector.y = (v + 0.5) * height / field.height();
            // Displacements are fractions of the frame; motion is in columns and in rows of one field.
            vector.dx = cell._red * (motion ? 1.0 : width);
            vector.dy = cell._green * (motion ? 2.0 : height);
            vectors.push_back(vector);
        }
    return vectors;
}

std::optional<Plate> platePosition(const PluginModule& module, const TransitionJob& job, StillPair inputs,
                                   std::int64_t k) {
    TransitionJob whole = job;
    // Whole frames: the corners are then logged in frame rows.
    whole.proxy = true;
    StillRenderer renderer(module, whole, inputs);
    CaughtTrace trace;
    renderer.render(k);
    return lastPlate(trace.text());
}

}  // namespace tumblewash::app
