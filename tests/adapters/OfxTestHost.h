// A small OpenFX host for tests: property sets in memory, clips fed from pictures of the test, one instance
// at a time. It loads the bundle as a foreign program would, by path, and calls nothing but the standard's
// entries.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "adapters/openfx/OfxAbi.h"

namespace tumblewash::test {

/// Values of one property; the alternative is fixed by the first set.
using PropertyValues =
    std::variant<std::vector<int>, std::vector<double>, std::vector<std::string>, std::vector<void*>>;

struct PropertySet {
    std::map<std::string, PropertyValues> values;

    [[nodiscard]] std::string string(const std::string& name, std::size_t index = 0) const;
    [[nodiscard]] std::vector<std::string> strings(const std::string& name) const;
    [[nodiscard]] double number(const std::string& name) const;
    [[nodiscard]] int integer(const std::string& name) const;
    [[nodiscard]] bool has(const std::string& name) const { return values.contains(name); }
    OfxPropertySetHandle handle() { return reinterpret_cast<OfxPropertySetHandle>(this); }
};

struct Parameter {
    std::string type;
    PropertySet properties;
    double number = 0;
};

/// One picture handed to a clip: memory, bounds, stride of either sign.
struct TestImage {
    std::vector<std::uint8_t> memory;
    OfxRectI bounds{};
    int rowBytes = 0;  ///< negative: the first row in memory is the top one
    std::string depth = ofx::kDepthByte;
    std::string alpha = ofx::kImageUnPreMultiplied;
    std::string components = ofx::kComponentRGBA;

    /// A picture filled with `fill`, `gap` spare bytes a row.
    static TestImage make(int width, int height, const std::string& depth = ofx::kDepthByte,
                          bool topDown = false, int gap = 0, std::uint8_t fill = 0xA5);
    [[nodiscard]] int width() const { return bounds.x2 - bounds.x1; }
    [[nodiscard]] int height() const { return bounds.y2 - bounds.y1; }
    [[nodiscard]] int pixelBytes() const;
    /// Pixel (x, y) with y counted from the top.
    [[nodiscard]] std::uint8_t* fromTop(int x, int y);
    [[nodiscard]] const std::uint8_t* fromTop(int x, int y) const {
        return const_cast<TestImage*>(this)->fromTop(x, y);
    }
};

/// Which suites a host offers; a missing one is answered with null.
struct SuiteChoice {
    bool property = true;
    bool effect = true;
    bool parameter = true;
    bool message = true;
};

class OfxTestHost {
  public:
    /// Loads `bundleBinary`; throws std::runtime_error with dlerror's words.
    explicit OfxTestHost(const std::string& bundleBinary, SuiteChoice suites = {});
    ~OfxTestHost();
    OfxTestHost(const OfxTestHost&) = delete;
    OfxTestHost& operator=(const OfxTestHost&) = delete;

    [[nodiscard]] int pluginCount() const;
    [[nodiscard]] OfxPlugin* plugin(int index) const;

    /// Plain call of an action on the current effect.
    OfxStatus act(int index, const char* action, PropertySet* in = nullptr, PropertySet* out = nullptr);
    /// Load, describe, describe-in-context and create in one; the statuses must be OK or default.
    void bringUp(int index, const std::string& context);
    /// Destroy and unload.
    void takeDown(int index);

    /// Renders at `position` into `output`, whole bounds or the given window.
    OfxStatus render(int index, double position, TestImage* from, TestImage* to, TestImage& output,
                     const OfxRectI* window = nullptr);
    OfxStatus identity(int index, double position, std::string& clip);

    PropertySet effect;                           ///< the descriptor, then the instance
    std::map<std::string, PropertySet> clips;     ///< as defined
    std::map<std::string, Parameter> parameters;  ///< as defined
    std::map<std::string, OfxRectD> regions;      ///< where the clips have pixels; others cannot tell
    std::vector<std::string> messages;
    int imagesOut = 0;    ///< fetched and not released
    int failFetchAt = 0;  ///< the n-th clipGetImage fails
    int aborts = 0;       ///< answer of abort

  private:
    friend struct TestSuites;
    void* library_ = nullptr;
    SuiteChoice choice_;
    OfxHost host_{};
    PropertySet hostProperties_;
    std::string context_;
    std::map<std::string, TestImage*> images_;
    std::vector<std::unique_ptr<PropertySet>> lent_;
};

}  // namespace tumblewash::test
