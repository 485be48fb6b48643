#pragma once
// The textbook solution of a symmetric eigenproblem by plain loops: what the solver is measured against.

#include <cmath>
#include <cstddef>
#include <vector>

namespace qvtx {

/// Householder reduction with the transform accumulated, then QL with implicit shifts on all vectors (Martin,
/// Reinsch, Wilkinson, Numerische Mathematik 11, 1968; Dubrulle, ibid. 15, 1970). Element (i, j) stands in
/// a[i * n + j]; vectors are columns.
class PlainEigen {
 public:
  explicit PlainEigen(long n) : n_(n), a_(at(n * n)), d_(at(n)), e_(at(n)) {}

  double& operator()(long i, long j) { return a_[at(i * n_ + j)]; }
  double value(long k) const { return d_[at(k)]; }
  void solve() {
    reduce();
    iterate();
  }

 private:
  static std::size_t at(long i) { return static_cast<std::size_t>(i); }
  double& d(long i) { return d_[at(i)]; }
  double& e(long i) { return e_[at(i)]; }

  /// Clears row i left of its subdiagonal.
  void reflect(long i) {
    PlainEigen& a = *this;
    double scale = 0;
    for (long k = 0; k < i; ++k) scale += std::fabs(a(i, k));
    d(i) = 0;
    e(i) = a(i, i - 1);
    if (i == 1 || scale == 0) return;
    double h = 0;
    for (long k = 0; k < i; ++k) {
      a(i, k) /= scale;
      h += a(i, k) * a(i, k);
    }
    const double f = a(i, i - 1);
    const double g = f >= 0 ? -std::sqrt(h) : std::sqrt(h);
    e(i) = scale * g;
    h -= f * g;
    a(i, i - 1) = f - g;
    double sum = 0;
    for (long j = 0; j < i; ++j) {
      a(j, i) = a(i, j) / h;
      double product = 0;
      for (long k = 0; k <= j; ++k) product += a(j, k) * a(i, k);
      for (long k = j + 1; k < i; ++k) product += a(k, j) * a(i, k);
      e(j) = product / h;
      sum += e(j) * a(i, j);
    }
    const double half = sum / (h + h);
    for (long j = 0; j < i; ++j) {
      const double u = a(i, j);
      const double q = e(j) - half * u;
      e(j) = q;
      for (long k = 0; k <= j; ++k) a(j, k) -= u * e(k) + q * a(i, k);
    }
    d(i) = h;
  }

  void reduce() {
    PlainEigen& a = *this;
    for (long i = n_ - 1; i > 0; --i) reflect(i);
    d(0) = 0;
    e(0) = 0;
    for (long i = 0; i < n_; ++i) {
      for (long j = 0; j < i && d(i) != 0; ++j) {
        double g = 0;
        for (long k = 0; k < i; ++k) g += a(i, k) * a(k, j);
        for (long k = 0; k < i; ++k) a(k, j) -= g * a(k, i);
      }
      d(i) = a(i, i);
      a(i, i) = 1;
      for (long j = 0; j < i; ++j) a(j, i) = a(i, j) = 0;
    }
  }

  void sweep(long l, long m) {
    PlainEigen& a = *this;
    double g = (d(l + 1) - d(l)) / (2 * e(l));
    double r = std::hypot(g, 1.0);
    g = d(m) - d(l) + e(l) / (g + std::copysign(r, g));
    double s = 1, c = 1, p = 0;
    for (long i = m - 1; i >= l; --i) {
      double f = s * e(i);
      const double b = c * e(i);
      r = std::hypot(f, g);
      e(i + 1) = r;
      s = f / r;
      c = g / r;
      g = d(i + 1) - p;
      r = (d(i) - g) * s + 2 * c * b;
      p = s * r;
      d(i + 1) = g + p;
      g = c * r - b;
      for (long k = 0; k < n_; ++k) {
        f = a(k, i + 1);
        a(k, i + 1) = s * a(k, i) + c * f;
        a(k, i) = c * a(k, i) - s * f;
      }
    }
    d(l) -= p;
    e(l) = g;
    e(m) = 0;
  }

  void iterate() {
    for (long i = 1; i < n_; ++i) e(i - 1) = e(i);
    e(n_ - 1) = 0;
    for (long l = 0; l < n_; ++l) {
      for (;;) {
        long m = l;
        for (; m < n_ - 1; ++m) {
          const double sum = std::fabs(d(m)) + std::fabs(d(m + 1));
          if (std::fabs(e(m)) + sum == sum) break;
        }
        if (m == l) break;
        sweep(l, m);
      }
    }
  }

  long n_;
  std::vector<double> a_, d_, e_;
};

}  // namespace qvtx
