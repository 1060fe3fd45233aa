// The module's one exported symbol. Its C++ name differs from its linker name, since a function called main
// means something else to a compiler; the version script beside this file hides everything else.

#include "pluginDistort/v1/Transitions.h"

int exportedEntry(short which, HYPluginParams* params) __asm__("main");

__attribute__((visibility("default"), used)) int exportedEntry(short which, HYPluginParams* params) {
    return HYPluginEntry(which, params);
}
