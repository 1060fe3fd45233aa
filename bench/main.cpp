#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "bench/Paired.h"
#include "bench/Rows.h"
#include "bench/Yardsticks.h"

#if !defined(NDEBUG)
#error "the benchmarks are of use in an optimised build only"
#endif

namespace {

using tumblewash::bench::Aim;
using tumblewash::bench::Times;

/// Cost per pixel at another size against that at 1920 x 1080.
void addPerPixel(tumblewash::bench::Table& table, const Times& times, const Times& base, int w, int h) {
    const double pixels = 1.0e-6 * w * h;
    for (const auto& [name, milliseconds] : times) {
        const auto at = base.find(name);
        if (at == base.end() || at->second <= 0.0 || milliseconds <= 0.0) continue;
        table.addFigures("per megapixel, " + name + " " + std::to_string(w) + "x" + std::to_string(h),
                         milliseconds / pixels, "the same at 1920x1080", at->second / 2.0736, Aim::atMost,
                         1.3);
    }
}

}  // namespace

int main(int argc, char** argv) {
    namespace bench = tumblewash::bench;
    std::string only, json;
    int rounds = 31;
    CLI::App app("Measures our routines against a yardstick in the same run");
    app.add_option("ROWS", only, "measure only the rows whose name contains this text");
    app.add_option("ROUNDS", rounds, "measure each row this often")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--json", json, "write the rows to this file too");
    CLI11_PARSE(app, argc, argv);
    bench::useOneThread();
    bench::Table table(only, rounds);
    Times base;
    bench::addGeometry(table, 1920, 1080, base);
    bench::addCopies(table, 1920, 1080, base);
    bench::addLibrary(table, 1920, 1080, base);
    for (const auto& [w, h] : {std::pair{720, 480}, std::pair{3840, 2160}}) {
        Times times;
        bench::addGeometry(table, w, h, times);
        bench::addCopies(table, w, h, times);
        bench::addLibrary(table, w, h, times);
        addPerPixel(table, times, base, w, h);
    }
    bench::addColour(table, 1920, 1080);
    bench::addAdapters(table, 1920, 1080);
    bench::addDirect(table, 1920, 1080);
    for (const auto& [w, h] : {std::pair{1920, 1080}, std::pair{3840, 2160}}) bench::addThreads(table, w, h);
    bench::addDeep(table, 1920, 1080);
    bench::addComposition(table, 1920, 1080);
    bench::addKernels(table, 1920);
    std::printf("\n%d rows miss their target.\n", table.missed());
    try {
        if (!json.empty()) table.writeJson(json);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "tumblewash_bench: %s\n", problem.what());
        return 1;
    }
    return 0;
}
