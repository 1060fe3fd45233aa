// Emits one diagnostic text: on standard error where traces are on, nowhere otherwise.
#include "ImageLib/source/SICommon.h"

int main() {
    return siprintf("a trace of %d words\n", 5);
}
