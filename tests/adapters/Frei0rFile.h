// A built frei0r file of one variant, loaded as hosts load it: its entries by name, its instances, one
// picture.
#pragma once

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "adapters/common/TransitionRenderer.h"

extern "C" {
#include <frei0r.h>
}

namespace tumblewash::test {

/// One loaded file. Functions throw std::runtime_error when it cannot be loaded.
class Frei0rFile {
  public:
    /// Where the file of an effect lies.
    static std::string pathOf(const plugin::EffectRecord& effect) {
        std::string stem = effect.id;
        std::replace(stem.begin(), stem.end(), '-', '_');
        return std::string(TUMBLEWASH_FREI0R_DIR) + "/tumblewash_" + stem + ".so";
    }

    explicit Frei0rFile(const plugin::EffectRecord& effect) : two_(adapters::joinsTwoClips(effect)) {
        handle_ = dlopen(pathOf(effect).c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle_ == nullptr) throw std::runtime_error(dlerror());
    }
    ~Frei0rFile() { dlclose(handle_); }
    Frei0rFile(const Frei0rFile&) = delete;
    Frei0rFile& operator=(const Frei0rFile&) = delete;

    [[nodiscard]] void* symbol(const char* name) const { return dlsym(handle_, name); }
    template <class F>
    [[nodiscard]] F* entry(const char* name) const {
        return reinterpret_cast<F*>(symbol(name));
    }

    [[nodiscard]] f0r_instance_t construct(unsigned w, unsigned h) const {
        return entry<decltype(f0r_construct)>("f0r_construct")(w, h);
    }
    void destruct(f0r_instance_t instance) const { entry<decltype(f0r_destruct)>("f0r_destruct")(instance); }
    void set(f0r_instance_t instance, int index, double value) const { setValue(instance, &value, index); }
    void set(f0r_instance_t instance, int index, const char* text) const {
        std::string copy = text;
        char* value = copy.data();
        setValue(instance, &value, index);
    }
    /// The picture of the instance's position, over memory that held something else.
    [[nodiscard]] std::vector<std::uint8_t> update(f0r_instance_t instance,
                                                   const std::vector<std::uint8_t>& a,
                                                   const std::vector<std::uint8_t>& b) const {
        std::vector<std::uint8_t> out(a.size(), 0xA5);
        const auto* in1 = reinterpret_cast<const std::uint32_t*>(a.data());
        const auto* in2 = reinterpret_cast<const std::uint32_t*>(b.data());
        auto* result = reinterpret_cast<std::uint32_t*>(out.data());
        if (two_)
            entry<decltype(f0r_update2)>("f0r_update2")(instance, 0.0, in1, in2, nullptr, result);
        else
            entry<decltype(f0r_update)>("f0r_update")(instance, 0.0, in1, result);
        return out;
    }

  private:
    void setValue(f0r_instance_t instance, f0r_param_t value, int index) const {
        entry<decltype(f0r_set_param_value)>("f0r_set_param_value")(instance, value, index);
    }

    bool two_;
    void* handle_;
};

}  // namespace tumblewash::test
