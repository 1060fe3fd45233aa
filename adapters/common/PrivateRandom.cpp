// rand() and srand() of a loadable file's own: the plug-in's random field then shares no generator with the
// host's program, with other threads or with the other files. The numbers are the C library's. Linked into
// loadable files only, where these names stay inside; a program keeps the library's functions.

#include <array>
#include <cstdint>
#include <cstdlib>

namespace {

struct Generator {
    Generator() noexcept { seed(1); }
    void seed(unsigned number) noexcept {
        data = {};
        initstate_r(number, state.data(), state.size(), &data);
    }
    // 128 bytes select the additive generator behind the library's rand().
    std::array<char, 128> state{};
    random_data data{};
};

Generator& generator() noexcept {
    thread_local Generator own;
    return own;
}

}  // namespace

extern "C" int rand() noexcept {
    std::int32_t drawn = 0;
    random_r(&generator().data, &drawn);
    return drawn;
}

extern "C" void srand(unsigned seed) noexcept {
    generator().seed(seed);
}
