// Joint approximate diagonalisation (Cardoso and Souloumiac, "Jacobi angles for simultaneous
// diagonalization", SIAM J. Matrix Analysis and Applications 17(1), 1996).

#include <algorithm>
#include <cmath>
#include <limits>

#include "matrix/matstor.h"

namespace qvtx {
namespace {

/// Sweeps after which the matrices count as diagonal as they get; convergence is quadratic where they share
/// their eigenvectors, and a few dozen sweeps are enough where they do not.
constexpr int most_joint_sweeps = 100;

struct JointRotation {
  double cosine;
  double sine;
};

/// The matrix G of Cardoso and Souloumiac for the columns p and q: products of h = (a_pp - a_qq, a_pq +
/// a_qp), summed over the matrices.
struct Plane {
  long double diagonal = 0;  // h_0^2
  long double beside = 0;    // h_1^2
  long double mixed = 0;     // h_0 h_1

  Plane(const MatStorD& store, long p, long q) {
    for (long k = store.size() - 1; k >= 0; --k) {
      const MatFullD& a = store[k];
      const long double h0 = a.get(p, p) - a.get(q, q);
      const long double h1 = a.get(p, q) + a.get(q, p);
      diagonal += h0 * h0;
      beside += h1 * h1;
      mixed += h0 * h1;
    }
  }

  /// The rotation that leaves least beside the diagonals. G's leading eigenvector (x, y), x >= 0, is (cos 2t,
  /// sin 2t) for the angle t, at most 45 degrees. Written so that nothing cancels, and so that planes with
  /// nothing but elements beside the diagonals turn by 45 degrees.
  JointRotation best() const {
    const long double difference = diagonal - beside;
    const long double twice = 2 * mixed;
    const long double root = std::sqrt(difference * difference + twice * twice);
    if (root == 0) return {1, 0};
    const long double least = twice < 0 ? difference - root : root - difference;
    const long double x = difference >= 0 ? difference + root : std::fabs(twice);
    const long double y = difference >= 0 ? twice : least;
    const long double length = std::sqrt(x * x + y * y);
    const long double cosine = std::sqrt((1 + x / length) / 2);
    return {static_cast<double>(cosine), static_cast<double>(y / (2 * cosine * length))};
  }
};

/// Sum of the squares of all elements of all matrices.
long double size_of(const MatStorD& store) {
  long double sum = 0;
  for (long k = store.size() - 1; k >= 0; --k) {
    const MatFullD& a = store[k];
    for (long c = a.nrow() * a.ncol() - 1; c >= 0; --c) {
      const long double x = a.data()[c];
      sum += x * x;
    }
  }
  return sum;
}

bool same_orders(const MatStorD& store) {
  for (long k = store.size() - 1; k >= 0; --k) {
    const MatFullD& a = store[k];
    if (a.nrow() != a.ncol() || a.nrow() != store[0].nrow()) return false;
  }
  return store.size() > 0;
}

/// One sweep over all pairs of columns; false when no rotation had a sine above `small`. The small ones are
/// made all the same: the last sweep brings the elements beside the diagonals down to rounding.
bool sweep(MatStorD& store, MatFullD& v, double small, long double negligible) {
  bool rotated = false;
  for (long p = v.ncol() - 2; p >= 0; --p) {
    for (long q = v.ncol() - 1; q > p; --q) {
      const Plane plane(store, p, q);
      if (!(plane.beside > negligible)) continue;
      const JointRotation r = plane.best();
      for (long k = store.size() - 1; k >= 0; --k) {
        store[k].colrot(p, q, r.cosine, -r.sine);
        store[k].rowrot(p, q, r.cosine, -r.sine);
      }
      v.colrot(p, q, r.cosine, -r.sine);
      rotated = rotated || std::fabs(r.sine) > small;
    }
  }
  return rotated;
}

}  // namespace

long MatStorD::diago(MatFullD& v) {
  if (!same_orders(*this)) return 0;
  const long n = (*this)[0].ncol();
  v.setdim(n, n);
  v.setrows(n, 0.0);
  std::fill_n(v.data(), n * n, 0.0);
  for (long i = 0; i < n; ++i) v(i, i) = 1.0;
  // Elements that rounding left would turn planes with equal diagonals for ever.
  constexpr double unit = std::numeric_limits<double>::epsilon();
  const long double negligible = size_of(*this) * (unit * unit);
  const double small = 1e-8 / std::sqrt(static_cast<double>(n));
  long sweeps = 1;
  while (sweep(*this, v, small, negligible) && sweeps < most_joint_sweeps) ++sweeps;
  return sweeps;
}

}  // namespace qvtx
