// The bytes of the host's pointer-free records as the original machine has them in memory: each field is
// written through its name and read back at its position, most significant byte first.
#include <bit>
#include <cstring>
#include <vector>

#include "tests/hostapi/FilledRecords.h"
#include "tests/whole/goldens/Digest.h"

namespace tumblewash::goldens {

namespace {

struct Place {
    std::size_t at, width;
};

// The image of a record: zero bytes, and each listed field in big-endian order.
template <class Record>
Digest image(const Record& r, const std::vector<Place>& places) {
    std::vector<unsigned char> memory(sizeof(Record)), bytes(sizeof(Record));
    std::memcpy(memory.data(), &r, sizeof(Record));
    for (const Place& p : places) {
        for (std::size_t i = 0; i < p.width; ++i) {
            const bool big = std::endian::native == std::endian::big;
            bytes[p.at + i] = memory[p.at + (big ? i : p.width - 1 - i)];
        }
    }
    return Digest().bytes(bytes.data(), bytes.size());
}

void information(Digests& list) {
    HYPluginGetInfo info{};
    test::fill(info);
    record(list, "records/HYPluginGetInfo",
           image(info, {{0, 1},
                        {1, 1},
                        {4, 4},
                        {8, 4},
                        {12, 4},
                        {16, 4},
                        {20, 4},
                        {24, 4},
                        {28, 1},
                        {32, 4},
                        {36, 2},
                        {38, 2},
                        {40, 2},
                        {42, 1},
                        {43, 1},
                        {44, 2},
                        {46, 2}}));
}

void extensions(Digests& list) {
    HYPluginFilterSliderInfo slider{};
    test::fill(slider);
    const auto text = [](std::initializer_list<std::size_t> starts, std::vector<Place> places) {
        for (const std::size_t s : starts)
            for (std::size_t i = 0; i < 128; ++i) places.push_back({s + i, 1});
        return places;
    };
    record(list, "records/HYPluginFilterSliderInfo", image(slider, text({0, 128, 256}, {{384, 4}})));
    HY4PluginGetInfo fourth{};
    fourth.titleSliders = slider;
    record(list, "records/HY4PluginGetInfo", image(fourth, text({0, 128, 256}, {{384, 4}})));
    HY2PluginGetInfo second{};
    test::fill(second);
    record(list, "records/HY2PluginGetInfo",
           image(second, text({0, 128, 256, 384, 516, 644, 772, 904, 1032, 1160}, {{512, 4},
                                                                                   {900, 4},
                                                                                   {1288, 4},
                                                                                   {1292, 4},
                                                                                   {1296, 4},
                                                                                   {1300, 4},
                                                                                   {1304, 4},
                                                                                   {1308, 4},
                                                                                   {1312, 4},
                                                                                   {1316, 4},
                                                                                   {1320, 4},
                                                                                   {1324, 4}})));
}

void clip(Digests& list) {
    HYPluginTransitionInfo transition{};
    test::fill(transition);
    record(list, "records/HYPluginTransitionInfo", image(transition, {{0, 4}, {4, 1}}));
    HYPluginClipInfo info{};
    test::fill(info);
    record(list, "records/HYPluginClipInfo",
           image(info, {{0, 2},
                        {2, 1},
                        {3, 1},
                        {4, 1},
                        {259, 1},
                        {260, 1},
                        {262, 2},
                        {264, 4},
                        {268, 4},
                        {272, 4},
                        {276, 4},
                        {492, 4}}));
}

}  // namespace

void records(Digests& list) {
    information(list);
    extensions(list);
    clip(list);
    const ARGBVal pixel(1, 2, 3, 4);
    record(list, "records/ARGBVal", image(pixel, {{0, 1}, {1, 1}, {2, 1}, {3, 1}}));
    const RGBGrVal grey(1, 2, 3, 4);
    record(list, "records/RGBGrVal", image(grey, {{0, 1}, {1, 1}, {2, 1}, {3, 1}}));
    const Rect rect{0x0102, 0x0304, 0x0506, -7};
    record(list, "records/Rect", image(rect, {{0, 2}, {2, 2}, {4, 2}, {6, 2}}));
}

}  // namespace tumblewash::goldens
