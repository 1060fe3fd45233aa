// Switches of a program that owns its process, about inputs that ask for more than they should get.
// A program that shares its process with others leaves them alone: then decoders' pictures are counted all
// the same, but a container's own tables are not.
#pragma once

namespace tumblewash::media {

/// From now on, opening inputs adds at most 1 GiB to this process; what fails for it is a MediaError
/// (undecodable). The limit is the system's for the whole process (RLIMIT_DATA) while an input is being
/// opened.
void limitMemoryOfInputs() noexcept;

/// True once the decoding of an input was given up and still runs in a thread of its own. Such a program ends
/// with std::_Exit, which waits for nobody.
bool workLeftBehind() noexcept;

}  // namespace tumblewash::media
