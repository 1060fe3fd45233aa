// The two functions of the Highway library that the image library's kernels call, so that an adapter does not
// need the shared library: which instruction sets this machine has, and which one was chosen. Only the sets
// that the compiler can ask the processor about in one word are offered; every set gives the same bytes.

#include <hwy/targets.h>

namespace hwy {

int64_t SupportedTargets() {
    int64_t targets = HWY_STATIC_TARGET;
#if HWY_ARCH_X86
    __builtin_cpu_init();
    const bool ssse3 = __builtin_cpu_supports("ssse3") != 0;
    const bool sse4 = ssse3 && __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("pclmul") &&
                      __builtin_cpu_supports("aes");
    const bool avx2 = sse4 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                      __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    const bool avx3 = avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
                      __builtin_cpu_supports("avx512cd");
    if (ssse3) targets |= HWY_SSSE3;
    if (sse4) targets |= HWY_SSE4;
    if (avx2) targets |= HWY_AVX2;
    if (avx3) targets |= HWY_AVX3;
#endif
    return targets;
}

ChosenTarget& GetChosenTarget() {
    static ChosenTarget chosen;
    return chosen;
}

}  // namespace hwy
