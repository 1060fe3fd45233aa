// Compiles only where the records have the layout of the original machine: big-endian, 32-bit pointers.
#include <bit>

#include "hostapi/HYPlugin.h"

static_assert(std::endian::native == std::endian::big);
static_assert(sizeof(void*) == 4);
static_assert(sizeof(HYPluginParams) == 1940);
static_assert(sizeof(_HYProcs) == 120);
static_assert(sizeof(_EffectData) == 76);
static_assert(offsetof(HYPluginParams, frameRect) == 78);
static_assert(offsetof(HYPluginParams, getInfo4) == 1552);
