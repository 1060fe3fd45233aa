// PlanarProj: the planar projection (homography) that carries four given points onto four others.
// It solves for the eight coefficients and projects single points; straight lines stay straight.
// It touches no pixels: filling a picture through a projection is the work of its callers.
#pragma once

/// A projection (x, y) -> ((h0 x + h1 y + h2) / f, (h3 x + h4 y + h5) / f) with f = h6 x + h7 y + 1. The
/// coefficients h0 ... h7 stand in `B`; before the first `solvefor` they are all 0. Plain data, freely
/// copied.
class PlanarProj {
  public:
    /// Solves for the projection that carries (x[i], y[i]) to (xd[i], yd[i]) for i = 0 ... 3. Each argument
    /// points to four floats. Where the 8 x 8 system is singular, as LAPACK's factorisation judges it,
    /// nothing is reported and `B` keeps the right-hand side xd[0], yd[0], ... xd[3], yd[3]. Linear equations
    /// after the classic four-point homography.
    void solvefor(float* x, float* y, float* xd, float* yd);

    /// Projects (x, y), all in single precision and without fused operations. A factor of 0 gives infinities
    /// or NaN.
    void proj(float x, float y, float& xd, float& yd) const;

    /// The 8 x 8 system, row by row.
    float A[64] = {};
    /// The same column by column, as the solver wants it; holds the LU factors after a solve.
    float At[64] = {};
    /// The right-hand side, then the eight coefficients h0 ... h7.
    float B[8] = {};
};
