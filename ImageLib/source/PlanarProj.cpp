#include "ImageLib/source/PlanarProj.h"

#include <dlfcn.h>

#include <cstddef>
#include <cstdint>

// The solver's Fortran interface: every argument by address, integers of 32 bits, the length of the character
// last.
extern "C" {
void sgetrf_(const std::int32_t* m, const std::int32_t* n, float* a, const std::int32_t* lda,
             std::int32_t* pivot, std::int32_t* info);
void sgetrs_(const char* trans, const std::int32_t* n, const std::int32_t* nrhs, const float* a,
             const std::int32_t* lda, const std::int32_t* pivot, float* b, const std::int32_t* ldb,
             std::int32_t* info, std::size_t transLength);
}

namespace {

// The solver's library may keep threads and registers with the C library for good, so it must not go when a
// module that brought it in is unloaded. Linked in statically it is the module itself, which may go.
bool keepSolverLoaded() {
    Dl_info solver{}, own{};
    if (dladdr(reinterpret_cast<const void*>(&sgetrf_), &solver) == 0 || solver.dli_fname == nullptr)
        return false;
    if (dladdr(reinterpret_cast<const void*>(&keepSolverLoaded), &own) == 0 ||
        own.dli_fbase == solver.dli_fbase)
        return false;
    return dlopen(solver.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
}

}  // namespace

void PlanarProj::solvefor(float* x, float* y, float* xd, float* yd) {
    for (int i = 0; i < 4; ++i) {
        const float rows[2][8] = {{x[i], y[i], 1.0F, 0.0F, 0.0F, 0.0F, (-xd[i]) * x[i], (-xd[i]) * y[i]},
                                  {0.0F, 0.0F, 0.0F, x[i], y[i], 1.0F, (-yd[i]) * x[i], (-yd[i]) * y[i]}};
        for (int c = 0; c < 8; ++c) {
            A[(2 * i) * 8 + c] = rows[0][c];
            A[(2 * i + 1) * 8 + c] = rows[1][c];
        }
        B[2 * i] = xd[i];
        B[2 * i + 1] = yd[i];
    }
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
            At[c * 8 + r] = A[r * 8 + c];
        }
    }
    const std::int32_t n = 8;
    static const bool kept = keepSolverLoaded();
    static_cast<void>(kept);
    const std::int32_t one = 1;
    std::int32_t pivot[8] = {};
    std::int32_t info = 0;
    sgetrf_(&n, &n, At, &n, pivot, &info);
    if (info == 0) {
        sgetrs_("N", &n, &one, At, &n, pivot, B, &n, &info, 1);
    }
}

void PlanarProj::proj(float x, float y, float& xd, float& yd) const {
    const float across = (x * B[0] + y * B[1]) + B[2];
    const float down = (x * B[3] + y * B[4]) + B[5];
    const float factor = (x * B[6] + y * B[7]) + 1.0F;
    xd = across / factor;
    yd = down / factor;
}
