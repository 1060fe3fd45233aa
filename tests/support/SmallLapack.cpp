// The two LAPACK routines that the projection calls, for targets without a LAPACK package: LU factorisation
// with partial pivoting and the solve with its factors, unblocked, column-major, single precision. Last
// digits may differ from other LAPACK builds; results that must agree everywhere use identities. Formulas:
// Golub and Van Loan, Matrix Computations, algorithm 3.4.1.

#include <cmath>
#include <cstddef>
#include <utility>

extern "C" {

void sgetrf_(const int* m, const int* n, float* a, const int* lda, int* ipiv, int* info) {
    const int rows = *m;
    const int columns = *n;
    const auto at = [&](int row, int column) -> float& {
        return a[static_cast<std::ptrdiff_t>(column) * *lda + row];
    };
    *info = 0;
    for (int k = 0; k < rows && k < columns; ++k) {
        int pivot = k;
        for (int i = k + 1; i < rows; ++i)
            if (std::fabs(at(i, k)) > std::fabs(at(pivot, k))) pivot = i;
        ipiv[k] = pivot + 1;
        if (at(pivot, k) == 0.0F) {
            if (*info == 0) *info = k + 1;
            continue;
        }
        if (pivot != k)
            for (int j = 0; j < columns; ++j) std::swap(at(k, j), at(pivot, j));
        for (int i = k + 1; i < rows; ++i) {
            at(i, k) /= at(k, k);
            for (int j = k + 1; j < columns; ++j) at(i, j) -= at(i, k) * at(k, j);
        }
    }
}

void sgetrs_(const char*, const int* n, const int* nrhs, const float* a, const int* lda, const int* ipiv,
             float* b, const int* ldb, int* info) {
    const int order = *n;
    const auto at = [&](int row, int column) { return a[static_cast<std::ptrdiff_t>(column) * *lda + row]; };
    *info = 0;
    for (int r = 0; r < *nrhs; ++r) {
        float* x = b + static_cast<std::ptrdiff_t>(r) * *ldb;
        for (int i = 0; i < order; ++i) std::swap(x[i], x[ipiv[i] - 1]);
        for (int j = 0; j < order; ++j)
            for (int i = j + 1; i < order; ++i) x[i] -= at(i, j) * x[j];
        for (int j = order - 1; j >= 0; --j) {
            x[j] /= at(j, j);
            for (int i = 0; i < j; ++i) x[i] -= at(i, j) * x[j];
        }
    }
}
}
