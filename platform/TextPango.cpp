#include <dlfcn.h>
#include <fontconfig/fontconfig.h>
#include <pango/pangoft2.h>

#include <memory>
#include <mutex>

#include "platform/TextBackend.h"

// One font map for the program, one text at a time: captions are rare and short, and the map caches what it
// loads.

namespace tumblewash::platform {
namespace {

struct Release {
    void operator()(void* object) const { g_object_unref(object); }
    void operator()(PangoFontDescription* description) const { pango_font_description_free(description); }
    void operator()(PangoFontMetrics* metrics) const { pango_font_metrics_unref(metrics); }
};

template <class T>
using Owned = std::unique_ptr<T, Release>;

struct Stack {
    Stack() = default;
    // Shut down first: fonts and map hold each other, and releasing alone leaves some of them behind.
    ~Stack() {
        if (map) pango_fc_font_map_shutdown(PANGO_FC_FONT_MAP(map.get()));
    }
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;

    std::mutex mutex;
    Owned<PangoFontMap> map;
    bool tried = false;
};

Stack& stack() {
    static Stack the;
    return the;
}

const char* familyOf(short font) {
    switch (font) {
        case 2:
        case 20:
            return "Serif";
        case 4:
        case 22:
            return "Monospace";
        default:
            return "Sans";
    }
}

Owned<PangoFontDescription> describe(TextStyle style) {
    Owned<PangoFontDescription> description(pango_font_description_new());
    pango_font_description_set_family_static(description.get(), familyOf(style.font));
    pango_font_description_set_absolute_size(description.get(),
                                             static_cast<double>(style.size) * PANGO_SCALE);
    return description;
}

// A laid-out line; the stack's mutex is held by the caller.
struct Line {
    Line(PangoFontMap* map, TextStyle style, std::string_view text)
        : context(pango_font_map_create_context(map)), layout(pango_layout_new(context.get())) {
        pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
        pango_layout_set_font_description(layout.get(), describe(style).get());
        pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
        baseline = PANGO_PIXELS(pango_layout_get_baseline(layout.get()));
    }

    TextExtent extent() const {
        PangoRectangle ink, logical;
        pango_layout_get_extents(layout.get(), &ink, &logical);
        TextBox box{};
        if (ink.width > 0 && ink.height > 0) {
            box = {PANGO_PIXELS_FLOOR(ink.x), PANGO_PIXELS_FLOOR(ink.y) - baseline,
                   PANGO_PIXELS_CEIL(ink.x + ink.width), PANGO_PIXELS_CEIL(ink.y + ink.height) - baseline};
        }
        return {static_cast<double>(logical.width) / PANGO_SCALE, box};
    }

    Owned<PangoContext> context;
    Owned<PangoLayout> layout;
    int baseline;
};

TextExtent measure(TextStyle style, std::string_view text) {
    const std::lock_guard hold(stack().mutex);
    return Line(stack().map.get(), style, text).extent();
}

TextMask raster(TextStyle style, std::string_view text, const TextBox& window) {
    const std::lock_guard hold(stack().mutex);
    const Line line(stack().map.get(), style, text);
    TextBox ink = line.extent().ink;
    if (ink.left < ink.right) {  // antialiasing may spill into the next pixel
        ink = {ink.left - 1, ink.top - 1, ink.right + 1, ink.bottom + 1};
    }
    TextMask mask{Intersect(ink, window), {}};
    const int width = mask.box.right - mask.box.left, height = mask.box.bottom - mask.box.top;
    if (width <= 0) return mask;
    mask.coverage.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    FT_Bitmap bitmap{};
    bitmap.rows = static_cast<unsigned>(height);
    bitmap.width = static_cast<unsigned>(width);
    bitmap.pitch = width;
    bitmap.buffer = mask.coverage.data();
    bitmap.num_grays = 256;
    bitmap.pixel_mode = FT_PIXEL_MODE_GRAY;
    pango_ft2_render_layout(&bitmap, line.layout.get(), -mask.box.left, -mask.box.top - line.baseline);
    return mask;
}

LineMeasures line(TextStyle style) {
    const std::lock_guard hold(stack().mutex);
    const Owned<PangoContext> context(pango_font_map_create_context(stack().map.get()));
    const Owned<PangoFontMetrics> metrics(
        pango_context_get_metrics(context.get(), describe(style).get(), pango_language_get_default()));
    const Line widest(stack().map.get(), style, "M");
    return {PANGO_PIXELS_CEIL(pango_font_metrics_get_ascent(metrics.get())),
            PANGO_PIXELS_CEIL(pango_font_metrics_get_descent(metrics.get())),
            static_cast<int>(widest.extent().advance + 0.5), 0};
}

// The stack registers types with a library that is never unloaded, so it must not be unloaded either when a
// module that brought it in is: a second load would find its own types taken.
void keepLoaded() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&pango_ft2_font_map_new), &info) != 0 &&
        info.dli_fname != nullptr) {
        dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    }
}

// The stack aborts when it finds no font at all, so it is asked for one first.
bool anyFont() {
    if (FcInit() != FcTrue) return false;
    const FcFontSet* fonts = FcConfigGetFonts(nullptr, FcSetSystem);
    return fonts != nullptr && fonts->nfont > 0;
}

}  // namespace

const TextBackend* StackText() {
    static const TextBackend backend{measure, raster, line};
    const std::lock_guard hold(stack().mutex);
    if (!stack().tried) {
        stack().tried = true;
        keepLoaded();
        if (anyFont()) {
            stack().map.reset(pango_ft2_font_map_new());
            pango_ft2_font_map_set_resolution(PANGO_FT2_FONT_MAP(stack().map.get()), 72, 72);
        }
    }
    return stack().map ? &backend : nullptr;
}

}  // namespace tumblewash::platform
