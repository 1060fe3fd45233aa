// The fake as a loadable module.
#include "tests/host/FakePlugin.h"

int moduleEntry(short which, HYPluginParams* params) __asm__("main");

int moduleEntry(short which, HYPluginParams* params) {
    return tumblewash::test::fakeEntry(which, params);
}
