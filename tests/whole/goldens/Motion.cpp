// Displacement surfaces, the flow warp, the morph, the motion estimate, and the projections whose solution is
// exact with any LAPACK.
#include <cstdlib>
#include <memory>

#include "ImageLib/source/FlowMorph.h"
#include "ImageLib/source/FlowWarp.h"
#include "ImageLib/source/PlanarProj.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "tests/whole/goldens/Digest.h"
#include "tests/whole/goldens/Scenes.h"

namespace tumblewash::goldens {

namespace {

using Field = PixRectRW<RGBPixel<float>>;

std::unique_ptr<Field> washAway(HYPluginDirection direction) {
    std::srand(1);
    return std::unique_ptr<Field>(makeWashAway(direction));
}

void surfaces(Digests& list) {
    const char* const names[] = {"none", "up", "down", "left", "right"};
    for (int d = kPluginDirectionNone; d <= kPluginDirectionRight; ++d)
        record(list, std::string("surfaces/washAway/") + names[d],
               Digest().put(*washAway(static_cast<HYPluginDirection>(d))));
    for (const int gran : {1, 7, 32})
        record(list, "surfaces/tiltPlate/" + std::to_string(gran),
               Digest().put(*std::unique_ptr<Field>(makeTiltPlate(0.5F, gran))));
    for (const int gran : {3, 32})
        record(list, "surfaces/magnifyingGlass/" + std::to_string(gran),
               Digest().put(*std::unique_ptr<Field>(makeMagnifyingGlass(0.5F, gran))));
}

void warp(Digests& list, const std::string& name, Field& field) {
    for (const int height : {64, 49}) {
        Digest digest;
        for (const float fac : {0.0F, 0.13F, 0.5F, 1.0F, 1.9F}) {
            std::vector<unsigned char> src = texture(96, height, 0, 0);
            std::vector<unsigned char> dest(src.size(), 17);
            DistortUsingFlow(src.data(), dest.data(), 96, 90, height, &field, fac);
            digest.bytes(dest.data(), dest.size());
        }
        record(list, "warp/" + name + "/" + std::to_string(height), digest);
    }
}

void warps(Digests& list) {
    warp(list, "washLeft", *washAway(kPluginDirectionLeft));
    warp(list, "washDown", *washAway(kPluginDirectionDown));
    warp(list, "tiltPlate", *std::unique_ptr<Field>(makeTiltPlate(0.5F, 32)));
    Field wild = randomField(13, 9, 0.4F, 14);
    warp(list, "random", wild);
}

// A wrapper over bytes.
PixRectWrap<ARGBVal> frameOver(std::vector<unsigned char>& bytes, int stride, int height) {
    return PixRectWrap<ARGBVal>(reinterpret_cast<ARGBVal*>(bytes.data()), stride, height, SIAllLines);
}

void morphs(Digests& list) {
    for (const int height : {64, 49}) {
        Digest digest;
        Field field = randomField(40, 40, 9.0F, 15);
        for (const float t : {0.0F, 0.25F, 0.8F, 1.0F}) {
            std::vector<unsigned char> from = texture(80, height, 0, 0), to = texture(80, height, 5, 3);
            std::vector<unsigned char> dest(from.size(), 17);
            auto source = frameOver(from, 80, height), other = frameOver(to, 80, height),
                 target = frameOver(dest, 80, height);
            MorphBetween(source, other, target, &field, t);
            digest.bytes(dest.data(), dest.size());
        }
        record(list, "morph/" + std::to_string(height), digest);
    }
}

void estimates(Digests& list) {
    for (const int height : {240, 161}) {
        std::vector<unsigned char> a = texture(200, height, 0, 0), b = texture(200, height, 7, 4);
        auto from = frameOver(a, 200, height), to = frameOver(b, 200, height);
        const std::unique_ptr<Field> field(MakeFlowField(from, to, to));
        record(list, "estimate/" + std::to_string(height), Digest().put(*field));
    }
}

// Four points onto themselves have the identity for their exact solution, whatever the order of elimination.
void identities(Digests& list) {
    float x[] = {0, 1, 1, 0}, y[] = {0, 0, 1, 1};
    PlanarProj pp;
    pp.solvefor(x, y, x, y);
    Digest coefficients;
    for (const float h : pp.B) coefficients.put(h == 0 ? 0.0F : h);
    record(list, "projection/identity/coefficients", coefficients);
    PixRectRW<ARGBVal> source = scattered<ARGBVal>(0, 0, 30, 20, 16);
    PixRectRW<ARGBVal> dest(0, 0, 32, 24);
    dest.fillWith(ARGBVal(1, 2, 3, 4));
    ProjWith(source, dest, pp);
    record(list, "projection/identity/filled", Digest().put(dest));
}

}  // namespace

void motion(Digests& list) {
    surfaces(list);
    warps(list);
    morphs(list);
    estimates(list);
    identities(list);
}

}  // namespace tumblewash::goldens
