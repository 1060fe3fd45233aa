// Which variant of the catalogue a loadable file is: the one thing in which the frei0r plug-ins differ, so
// that the rest is compiled once. It is not a setting of a running plug-in.
#pragma once

namespace tumblewash::adapters {

extern const short kVariant;  ///< effect index, 1 to 13

}  // namespace tumblewash::adapters
