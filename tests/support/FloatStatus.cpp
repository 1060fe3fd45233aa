// Lets PowerPC test programs run under emulators that refuse an instruction which processors take.
//
// The C library's sin, cos and their kin save the rounding mode with `mffscrni`, an instruction of the year
// 2015, and look only afterwards whether the processor has it: older ones ignore the bits that set it apart
// and run it as `mffs`, which is all that is needed there. The emulator of Debian 12 (7.2) has 32-bit
// processors only, all of them older, and refuses the bits for every model with an illegal instruction; later
// ones run it as hardware does. The handler below does what the hardware does, for this instruction and its
// siblings, and nothing else.
#include <signal.h>
#include <ucontext.h>

#include <cstdint>
#include <cstring>

namespace {

constexpr unsigned kInstructionPointer = 32;  // its place among the general registers of a signal frame

// Primary opcode 63 and extended opcode 583: `mffs` when the bits of the third field are ignored.
bool readsFloatStatus(std::uint32_t instruction) {
    return (instruction & 0xFC0007FFU) == 0xFC00048EU;
}

void onIllegalInstruction(int number, siginfo_t*, void* context) {
    mcontext_t* registers = static_cast<ucontext_t*>(context)->uc_mcontext.uc_regs;
    std::uint32_t instruction = 0;
    std::memcpy(&instruction, reinterpret_cast<const void*>(registers->gregs[kInstructionPointer]), 4);
    if (!readsFloatStatus(instruction)) {
        signal(number, SIG_DFL);  // it is run again on return, and ends the program
        return;
    }
    registers->fpregs.fpregs[instruction >> 21 & 31] = registers->fpregs.fpscr;
    registers->gregs[kInstructionPointer] += 4;
}

[[gnu::constructor]] void takeFloatStatusInstructions() {
    struct sigaction action {};
    action.sa_sigaction = onIllegalInstruction;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGILL, &action, nullptr);
}

}  // namespace
