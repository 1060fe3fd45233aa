#include "adapters/frei0r/Variant.h"

// Compiled for each loadable file, with TUMBLEWASH_EFFECT set to the index of its variant.
const short tumblewash::adapters::kVariant = TUMBLEWASH_EFFECT;
