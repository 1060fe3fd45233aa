#include "bench/Maps.h"
#include "bench/Rows.h"

namespace tumblewash::bench {

void addCopies(Table& table, int w, int h, Times& times) {
    const std::string size = " " + std::to_string(w) + "x" + std::to_string(h);
    Picture from = scene(w, h, 1), to = scene(w, h, 2);
    Picture smaller = scene(w * 3 / 4, h * 3 / 4, 3);
    const WorldOver a(from), b(to), c(smaller);
    const auto copy = [&] { copyFrame(from, to); };
    times["CopyBits"] = table.add(
        "CopyBits" + size, [&] { a.copyTo(b); }, "memory copy", copy, Aim::atMost, 1.05);
    times["CopyBits, enlarged 4:3"] = table.add(
        "CopyBits, enlarged 4:3" + size, [&] { c.copyTo(b); }, "memory copy", copy, Aim::atMost, 3.0);
    times["CopyBits, reduced 3:4"] = table.add(
        "CopyBits, reduced 3:4" + size, [&] { a.copyTo(c); }, "memory copy", copy, Aim::atMost, 3.0);
    times["Blit"] = table.add(
        "Blit" + size, [&] { a.blendOver(b, 102); }, "blend of two frames", [&] { blendHalf(from, to); },
        Aim::fasterBy, 1.0);
}

}  // namespace tumblewash::bench
