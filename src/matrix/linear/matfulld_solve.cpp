// Linear systems and least squares.

#include "matrix/matfulld.h"

namespace qvtx {

namespace {

/// Singular values up to this share of the largest count as 0: directions of which the equations say nothing.
constexpr double rank_tolerance = 1e-12;

/// Divides row i by the singular value w(0, i); directions without a value are given up.
void divide_rows(MatFullD& x, const MatFullD& w) {
  for (long i = x.nrow() - 1; i >= 0; --i) {
    const double value = w.get(0, i);
    double* row = x.row(i);
    for (long k = x.ncol() - 1; k >= 0; --k) row[k] = value > 0 ? row[k] / value : 0.0;
  }
}

}  // namespace

MatFullD& MatFullD::solve(const MatFullD& a, const MatFullD& b, int mode) {
  if (a.nrow() != b.nrow()) a.ermessage('a', 71, 2, b.nrow(), b.ncol());
  MatFullD factor, right;
  factor.copy(a);
  right.copy(b);
  if (mode != 0) {
    factor.inv();
    factor.tsp();  // atb multiplies by the transpose
    atb(factor, right);
    return *this;
  }
  if (a.nrow() < 1 || a.ncol() < 1) {
    setdim(a.ncol(), b.ncol());
    setrows(a.ncol(), 0.0);
    return *this;
  }
  MatFullD w, v, x;
  factor.svd(w, v, rank_tolerance);
  x.atb(factor, right);
  divide_rows(x, w);
  v.tsp();
  atb(v, x);
  return *this;
}

}  // namespace qvtx
