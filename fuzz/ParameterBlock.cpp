// The entry function under parameter blocks of any shape, every frame between forbidden pages.

#include "fuzz/Target.h"
#include "tests/faults/RandomBlock.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tumblewash::faults::ByteChoice choice({data, size});
    const std::string wrong = tumblewash::faults::runRandomBlocks(choice, 12);
    tumblewash::fuzz::demand(wrong.empty(), wrong);
    return 0;
}
