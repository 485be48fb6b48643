// Diagonalisation by plane rotations (Jacobi, "Ueber ein leichtes Verfahren, die in der Theorie der
// Saecularstoerungen vorkommenden Gleichungen numerisch aufzuloesen", Crelle's Journal 30, 1846; formulas of
// Golub and Van Loan, Matrix Computations, section 8.5) and orthonormalisation.

#include <algorithm>
#include <cmath>

#include "base/ostr.h"
#include "matrix/matfulld.h"

namespace qvtx {

namespace {

/// Sweeps of rotations after which a matrix counts as diagonal; ten are enough for any symmetric matrix.
constexpr int most_sweeps = 60;
/// Steps of the symmetric orthonormalisation. Each step at least multiplies the smallest singular value by
/// 1.4 until it is near 1, so that rows of any condition are done well before.
constexpr int most_steps = 300;

struct Rotation {
  double cosine;
  double sine;
};

/// The rotation of columns and rows p and q that makes the element between them 0.
Rotation annihilating(double pp, double pq, double qq) {
  const double tau = (qq - pp) / (2 * pq);
  const double root = std::sqrt(1 + tau * tau);
  const double t = tau >= 0 ? 1 / (tau + root) : -1 / (root - tau);
  const double cosine = 1 / std::sqrt(1 + t * t);
  return {cosine, t * cosine};
}

void set_identity(MatFullD& v, long n) {
  v.setdim(n, n);
  v.setrows(n, 0.0);
  std::fill_n(v.data(), n * n, 0.0);
  for (long i = 0; i < n; ++i) v(i, i) = 1.0;
}

/// One sweep over all pairs whose element counts beside its two diagonal elements; false when there was none.
bool sweep(MatFullD& a, MatFullD& v, double tol) {
  bool rotated = false;
  for (long p = a.ncol() - 2; p >= 0; --p) {
    for (long q = a.ncol() - 1; q > p; --q) {
      const double pq = a(p, q);
      if (!(std::fabs(pq) > tol * (std::fabs(a(p, p)) + std::fabs(a(q, q))))) continue;
      const Rotation r = annihilating(a(p, p), pq, a(q, q));
      a.colrot(p, q, r.cosine, r.sine);
      a.rowrot(p, q, r.cosine, r.sine);
      a(p, q) = a(q, p) = 0.0;
      v.colrot(p, q, r.cosine, r.sine);
      rotated = true;
    }
  }
  return rotated;
}

/// this = (3 this - this this' this) / 2, row by row of the product g = this this'.
void average_with_inverse(MatFullD& rows, const MatFullD& g) {
  MatFullD product;
  product.atb(g, rows);  // g is symmetric
  double* x = rows.data();
  for (long i = rows.nrow() * rows.ncol() - 1; i >= 0; --i) x[i] = 1.5 * x[i] - 0.5 * product.data()[i];
}

/// Largest distance of an element of g from the identity; NaN when there is one.
double distance_from_identity(const MatFullD& g) {
  double most = 0;
  for (long i = g.nrow() - 1; i >= 0; --i) {
    for (long j = g.ncol() - 1; j >= 0; --j) {
      const double d = std::fabs(g.get(i, j) - (i == j ? 1.0 : 0.0));
      if (!(d <= most)) most = d;
    }
  }
  return most;
}

/// g = rows rows'.
void gram(const MatFullD& rows, MatFullD& g) {
  MatFullD columns;
  columns.copy(rows);
  columns.tsp();
  g.atb(columns, columns);
}

}  // namespace

MatFullD& MatFullD::diago(MatFullD& values, double tol) {
  if (nrow() < 1) return *this;
  if (nrow() != ncol()) ermessage('a', 51, 0, nrow(), ncol());
  const long n = nrow();
  MatFullD vectors;
  set_identity(vectors, n);
  for (int s = 0; s < most_sweeps && sweep(*this, vectors, tol); ++s) continue;
  MatFullD diagonal(n, 1);
  diagonal.setrows(n, 0.0);
  for (long i = 0; i < n; ++i) diagonal(i, 0) = -(*this)(i, i);
  MatFullL rank;
  diagonal.maxsort(0, rank, n);
  values.setdim(1, n);
  values.setrows(1, 0.0);
  for (long k = 0; k < n; ++k) {
    values(0, k) = -diagonal(rank(k, 0), 0);
    for (long i = 0; i < n; ++i) (*this)(i, k) = vectors(i, rank(k, 0));
  }
  return *this;
}

MatFullD& MatFullD::ortho(double tol) {
  if (nrow() < 1) return *this;
  MatFullD g;
  gram(*this, g);
  double scale = 0;  // the largest absolute row sum bounds the largest eigenvalue
  for (long i = g.nrow() - 1; i >= 0; --i) {
    double sum = 0;
    for (long j = g.ncol() - 1; j >= 0; --j) sum += std::fabs(g(i, j));
    if (!(sum <= scale)) scale = sum;
  }
  scale = std::sqrt(scale);
  if (scale > 0)
    for (long i = nrow() * ncol() - 1; i >= 0; --i) data()[i] /= scale;
  for (int step = 0; step < most_steps; ++step) {
    gram(*this, g);
    if (distance_from_identity(g) <= tol) return *this;
    average_with_inverse(*this, g);
  }
  os.fresh().ow("MatFullD.ortho: no convergence!").nl();
  return *this;
}

MatFullD& MatFullD::ortho(long k) {
  if (k < 0 || k >= nrow()) ermessage('a', 52, 1, k);
  double* x = row(k);
  for (int pass = 0; pass < 2; ++pass) {  // the second takes away what rounding left of the first
    for (long i = k - 1; i >= 0; --i) {
      const double share = dps(k, i);
      const double* y = row(i);
      for (long j = ncol() - 1; j >= 0; --j) x[j] -= share * y[j];
    }
    const double length = std::sqrt(dps(k, k));
    for (long j = ncol() - 1; j >= 0; --j) x[j] = length > 0 ? x[j] / length : 0.0;
  }
  return *this;
}

}  // namespace qvtx
