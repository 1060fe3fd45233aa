// A small plug-in for the tests of the host: it describes itself as the catalogue does, keeps a block of
// random numbers as its state, and draws a plain dissolve. What it does in a frame can be replaced per
// thread.
#pragma once

#include <array>
#include <functional>

#include "hostapi/HYPlugin.h"

namespace tumblewash::test {

/// What the fake keeps in clientData.
struct FakeState {
    std::array<int, 256> field;
};

/// The entry function. Exceptions thrown by a replacement leave it, as a careless plug-in's would.
int fakeEntry(short which, HYPluginParams* params);

using Step = std::function<int(short which, HYPluginParams& params)>;

/// Replaces one selector's work in this thread until it goes out of scope.
class Replace {
  public:
    Replace(HYPluginSelector selector, Step step);
    ~Replace();
    Replace(const Replace&) = delete;
    Replace& operator=(const Replace&) = delete;

  private:
    HYPluginSelector selector_;
};

/// The fake's own work for one frame, for replacements that only add to it.
int fakeFrame(short which, HYPluginParams& params);

}  // namespace tumblewash::test
