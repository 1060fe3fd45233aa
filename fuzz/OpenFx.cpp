// The OpenFX entry of every variant: actions in any order, missing suites, images of any shape, depth and
// stride, or none.

#include <dlfcn.h>

#include "fuzz/Target.h"
#include "tests/adapters/OfxTestHost.h"
#include "tests/faults/Choice.h"

namespace {

using namespace tumblewash::ofx;
using tumblewash::faults::ByteChoice;
using tumblewash::fuzz::demand;
using tumblewash::test::OfxTestHost;
using tumblewash::test::PropertySet;
using tumblewash::test::TestImage;

TestImage anyImage(ByteChoice& choice, int width, int height) {
    static const char* const kDepths[] = {kDepthByte, kDepthShort, kDepthFloat};
    TestImage image = TestImage::make(width, height, choice.oneOf(kDepths), choice.once(2),
                                      choice.range(0, 3) * 4, static_cast<std::uint8_t>(choice.bits()));
    const int dx = choice.range(-40, 40), dy = choice.range(-40, 40);
    image.bounds = {dx, dy, dx + width, dy + height};
    return image;
}

void render(ByteChoice& choice, OfxTestHost& host, int index) {
    const int w = choice.range(1, 40), h = choice.range(1, 40);
    TestImage from = anyImage(choice, w, h);
    TestImage to =
        choice.once(6) ? anyImage(choice, choice.range(1, 40), choice.range(1, 40)) : anyImage(choice, w, h);
    TestImage out = anyImage(choice, w, h);
    if (!choice.once(4)) {  // mostly as real hosts do: all pictures begin at one corner
        for (TestImage* image : {&from, &to})
            image->bounds = {out.bounds.x1, out.bounds.y1, out.bounds.x1 + image->width(),
                             out.bounds.y1 + image->height()};
    }
    OfxRectI window{out.bounds.x1 + choice.range(-5, 20), out.bounds.y1 + choice.range(-5, 20),
                    out.bounds.x2 + choice.range(-20, 5), out.bounds.y2 + choice.range(-20, 5)};
    host.failFetchAt = choice.once(8) ? choice.range(1, 3) : 0;
    const double position = choice.once(3) ? choice.wildReal() : choice.range(0, 100) / 100.0;
    static_cast<void>(host.render(index, position, choice.once(10) ? nullptr : &from,
                                  choice.once(10) ? nullptr : &to, out, choice.once(2) ? &window : nullptr));
    demand(host.imagesOut == 0, "an image was not given back");
}

/// Each input loads and unloads the binary as hosts do; held once more it stays mapped, for its counters of
/// what was covered are read between inputs.
void keepMapped() {
    static void* const held = dlopen(TUMBLEWASH_OFX_BINARY, RTLD_NOW | RTLD_LOCAL);
    demand(held != nullptr, "the binary cannot be loaded");
}

void anyAction(ByteChoice& choice, OfxTestHost& host, int index) {
    static const char* const kActions[] = {
        kActionLoad,           kActionDescribe,        kActionDescribeInContext,
        kActionCreateInstance, kActionDestroyInstance, kActionIsIdentity,
        kActionUnload,         kActionClipPreferences, kActionRegionOfDefinition,
        "OfxActionUnheardOf"};
    PropertySet in, out;
    static_cast<void>(host.act(index, choice.oneOf(kActions), &in, &out));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    keepMapped();
    ByteChoice choice({data, size});
    tumblewash::test::SuiteChoice suites;
    if (choice.once(8)) suites.message = false;
    OfxTestHost host(TUMBLEWASH_OFX_BINARY, suites);
    const int index = choice.range(0, host.pluginCount() - 1);
    try {
        static const char* const kContexts[] = {kContextGeneral, kContextTransition, kContextFilter};
        host.bringUp(index, choice.oneOf(kContexts));
    } catch (const std::runtime_error&) {
        return 0;  // a context that this variant does not serve
    }
    for (int n = 0; n < 12 && !choice.ended(); ++n) {
        std::string clip;
        switch (choice.range(0, 5)) {
            case 0:
                static_cast<void>(host.identity(index, choice.wildReal(), clip));
                break;
            default:
                render(choice, host, index);
        }
    }
    host.takeDown(index);
    if (choice.once(4)) anyAction(choice, host, index);
    return 0;
}
