// Emits one diagnostic text: on standard error where traces are on, nowhere otherwise. Standard output is
// closed, so that nothing can arrive there.
#include <cstdio>

#include "ImageLib/source/SICommon.h"

int main() {
    std::fclose(stdout);
    return siprintf("a trace of %d words\n", 5);
}
