// The frei0r entries of every variant in any order, with any sizes, values and pictures that are missing.

#include <dlfcn.h>

#include <algorithm>
#include <vector>

#include "fuzz/Target.h"
#include "pluginDistort/v1/Catalogue.h"
#include "tests/faults/Choice.h"

extern "C" {
#include <frei0r.h>
}

namespace {

using tumblewash::faults::ByteChoice;
using tumblewash::fuzz::demand;

/// One loaded file; it stays loaded.
struct Library {
    explicit Library(int index) {
        std::string stem = tumblewash::plugin::effectRecord(static_cast<short>(index)).id;
        std::replace(stem.begin(), stem.end(), '-', '_');
        handle = dlopen((std::string(TUMBLEWASH_FREI0R_DIR) + "/tumblewash_" + stem + ".so").c_str(),
                        RTLD_NOW | RTLD_LOCAL);
        demand(handle != nullptr, "a file cannot be loaded");
        entry("f0r_init", init);
        entry("f0r_deinit", deinit);
        entry("f0r_get_plugin_info", info);
        entry("f0r_get_param_info", paramInfo);
        entry("f0r_construct", construct);
        entry("f0r_destruct", destruct);
        entry("f0r_set_param_value", set);
        entry("f0r_get_param_value", get);
        entry("f0r_update", update);
        entry("f0r_update2", update2);
        init();
    }
    template <class F>
    void entry(const char* name, F*& function) {
        function = reinterpret_cast<F*>(dlsym(handle, name));
        demand(function != nullptr, std::string(name) + " is missing");
    }
    void* handle = nullptr;
    decltype(f0r_init)* init = nullptr;
    decltype(f0r_deinit)* deinit = nullptr;
    decltype(f0r_get_plugin_info)* info = nullptr;
    decltype(f0r_get_param_info)* paramInfo = nullptr;
    decltype(f0r_construct)* construct = nullptr;
    decltype(f0r_destruct)* destruct = nullptr;
    decltype(f0r_set_param_value)* set = nullptr;
    decltype(f0r_get_param_value)* get = nullptr;
    decltype(f0r_update)* update = nullptr;
    decltype(f0r_update2)* update2 = nullptr;
};

Library& library(int index) {
    static std::vector<Library> all = [] {
        std::vector<Library> loaded;
        for (int i = 1; i < tumblewash::plugin::kEffectCount; ++i) loaded.emplace_back(i);
        return loaded;
    }();
    return all[static_cast<std::size_t>(index - 1)];
}

/// One instance and the pictures of its size.
struct Life {
    Life(Library& plugin, unsigned w, unsigned h)
        : lib(plugin),
          instance(lib.construct(w, h)),
          a(w * h, 0x80402010),
          b(w * h, 0xFF0080FF),
          out(w * h) {}
    ~Life() {
        if (instance) lib.destruct(instance);
    }
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;

    void step(ByteChoice& choice) {
        switch (choice.range(0, 5)) {
            case 0: {
                double value = choice.once(2) ? choice.range(0, 100) / 100.0 : choice.wildReal();
                return lib.set(instance, &value, choice.once(2) ? 0 : 2);
            }
            case 1: {
                static const char* const kWords[] = {"up", "down", "left", "right", "", "sideways"};
                char* word = const_cast<char*>(choice.oneOf(kWords));
                return lib.set(instance, &word, 1);
            }
            case 2: {
                double value = 0;
                lib.get(instance, &value, choice.once(2) ? 0 : 2);
                char* word = nullptr;
                return lib.get(instance, &word, 1);
            }
            case 3: {
                f0r_param_info_t info{};
                return lib.paramInfo(&info, choice.range(-2, 5));
            }
            default:
                return draw(choice);
        }
    }

    void draw(ByteChoice& choice) {
        const std::uint32_t* one = choice.once(12) ? nullptr : a.data();
        const std::uint32_t* two = choice.once(12) ? nullptr : b.data();
        std::uint32_t* to = choice.once(16) ? nullptr : choice.once(8) ? a.data() : out.data();
        const double time = choice.wildReal();
        if (choice.once(2))
            lib.update(instance, time, one, to);
        else
            lib.update2(instance, time, one, two, nullptr, to);
    }

    Library& lib;
    f0r_instance_t instance;
    std::vector<std::uint32_t> a, b, out;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteChoice choice({data, size});
    Library& lib = library(choice.range(1, tumblewash::plugin::kEffectCount - 1));
    demand(lib.construct(0, 9) == nullptr && lib.construct(70000, 2) == nullptr,
           "an impossible size was taken");
    Life life(lib, static_cast<unsigned>(choice.range(1, 40)), static_cast<unsigned>(choice.range(1, 40)));
    demand(life.instance != nullptr, "a size was refused");
    for (int n = 0; n < 24 && !choice.ended(); ++n) life.step(choice);
    return 0;
}
