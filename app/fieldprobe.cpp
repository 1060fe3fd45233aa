// How a field is had: the plug-in's own state block after it was initialised (and, for the morph, after its
// first frame), and for the tumble the corners that it logs. Nothing is computed a second time here.
#include <cstdio>
#include <cstring>
#include <optional>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"
#include "app/field.h"
#include "pluginDistort/v1/process_init.h"

namespace tumblewash {
namespace {

// The session keeps its parameter block to itself, so an entry function of our own stands between the two
// and notes the state block that passes through. One thread at a time looks.
struct Watch {
    const PluginModule* module = nullptr;
    const _EffectData* state = nullptr;
    std::optional<Plate> plate;
};
thread_local Watch watch;

int watchingEntry(short which, HYPluginParams* params) {
    const int result = watch.module->call(which, *params);
    watch.state = static_cast<const _EffectData*>(params->clientData);
    return result;
}

void watchLog(const char* text) {
    static constexpr char kCorners[] = "Tumble corners R ";
    if (std::strncmp(text, kCorners, sizeof kCorners - 1) != 0) return;
    int c[8] = {};
    if (std::sscanf(text + sizeof kCorners - 1, "%d,%d %d,%d %d,%d %d,%d", &c[0], &c[1], &c[2], &c[3], &c[4],
                    &c[5], &c[6], &c[7]) != 8)
        return;
    Plate plate;
    for (std::size_t i = 0; i < 4; ++i) plate[i] = {double(c[2 * i]), double(c[2 * i + 1])};
    watch.plate = plate;
}

class Watching {
  public:
    explicit Watching(const PluginModule& module) : observer_(setLogObserver(watchLog)) {
        watch = {&module, nullptr, {}};
    }
    ~Watching() {
        setLogObserver(observer_);
        watch = {};
    }
    Watching(const Watching&) = delete;
    Watching& operator=(const Watching&) = delete;

  private:
    LogObserver observer_;
};

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

Plate platePosition(const PluginModule& module, const TransitionJob& job, StillPair inputs, std::int64_t k) {
    const Watching watching(module);
    TransitionJob whole = job;
    // Whole frames: the corners are then logged in frame rows.
    whole.proxy = true;
    StillRenderer renderer(PluginModule(watchingEntry), whole, inputs);
    renderer.render(k);
    return watch.plate.value_or(Plate{});
}

}  // namespace tumblewash
