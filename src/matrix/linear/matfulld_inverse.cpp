// Inversion by LU decomposition without pivoting.
//
// Rows are taken in blocks: what a block owes to the rows outside it is a matrix product, the rest is done
// row by row. Every element adds its products in one order, whatever the size of the blocks: k increasing in
// the factors and in the inverse of L, k decreasing in the inverse of U and in the last product.

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/interrupt.h"
#include "matrix/linear/linear_kernels.h"
#include "matrix/matfulld.h"

namespace qvtx {
namespace {

constexpr long block = 32;

// y += factor x, for the few rows of one block.
void add_multiple(double* y, double factor, const double* x, long n) {
  for (long j = 0; j < n; ++j) y[j] += factor * x[j];
}

/// Inverts the n x n matrix a in place: a = L U with the pivots in L and ones on the diagonal of U (Crout).
class Inverter {
 public:
  Inverter(double* a, long n)
      : a_(a),
        n_(n),
        lower_(static_cast<size_t>(n * n), 0),
        copy_(static_cast<size_t>(std::min(block, n) * n)) {}

  /// The shares add up the products of each step, in units of n^3: 1/3, 1/6, 1/6, 1/3.
  void run(const Progress& progress) {
    const auto part = [this](long i) { return static_cast<double>(i) / static_cast<double>(n_); };
    for (long i = 0; i < n_; i += block) {
      step(&Inverter::factor, i);
      const double t = part(end_of(i));
      tell_share(progress, t * t * (1 - 2 * t / 3));
    }
    split();
    for (long i = 0; i < n_; i += block) {
      step(&Inverter::invert_lower, i);
      const double t = part(end_of(i));
      tell_share(progress, (2 + t * t * t) / 6);
    }
    for (long i = (n_ - 1) / block * block; i >= 0; i -= block) {
      step(&Inverter::invert_upper, i);
      const double t = part(n_ - i);
      tell_share(progress, (3 + t * t * t) / 6);
    }
    for (long i = 0; i < n_; i += block) {
      step(&Inverter::multiply, i);
      const double t = part(end_of(i));
      tell_share(progress, (4 + t * (3 - t * t)) / 6);
    }
  }

 private:
  void step(void (Inverter::*phase)(long, long), long begin) {
    interruption_point();
    (this->*phase)(begin, end_of(begin));
  }
  long end_of(long begin) const { return std::min(begin + block, n_); }
  double* at(long i, long j) { return a_ + i * n_ + j; }
  double* lower(long i, long j) { return lower_.data() + i * n_ + j; }
  void factor(long begin, long end);
  void split();
  void invert_lower(long begin, long end);
  void invert_upper(long begin, long end);
  void multiply(long begin, long end);
  void subtract_increasing(double* c, const double* a, const double* b, long rows, long inner, long cols);
  void add_decreasing(double* c, const double* a, const double* b, long rows, long inner, long cols,
                      double sign);

  double* a_;
  long n_;
  std::vector<double> lower_;  // L and its inverse, 0 above the diagonal
  std::vector<double> copy_;   // the rows of a block as they were
};

// c -= a b with k increasing; all three with n_ columns.
void Inverter::subtract_increasing(double* c, const double* a, const double* b, long rows, long inner,
                                   long cols) {
  linear_kernels().multiply_add(c, n_, a, n_, 1, b, n_, rows, inner, cols, -1);
}

// c += sign a b with k decreasing.
void Inverter::add_decreasing(double* c, const double* a, const double* b, long rows, long inner, long cols,
                              double sign) {
  linear_kernels().multiply_add(c, n_, a + inner - 1, n_, -1, b + (inner - 1) * n_, -n_, rows, inner, cols,
                                sign);
}

// Columns begin..end-1 of L and rows begin..end-1 of U.
void Inverter::factor(long begin, long end) {
  subtract_increasing(at(begin, begin), at(begin, 0), at(0, begin), n_ - begin, begin, end - begin);
  subtract_increasing(at(begin, end), at(begin, 0), at(0, end), end - begin, begin, n_ - end);
  for (long i = begin; i < n_; ++i) {
    const bool inside = i < end;
    const long stop = inside ? i : end;
    double* row = at(i, 0);
    for (long k = begin; k < stop; ++k) {
      add_multiple(row + k + 1, -row[k], at(k, k + 1), (inside ? n_ : end) - k - 1);
    }
    if (inside) {
      for (long j = i + 1; j < n_; ++j) row[j] /= row[i];
    }
  }
}

// Moves L out of a, which keeps U with its ones.
void Inverter::split() {
  for (long i = 0; i < n_; ++i) {
    std::copy_n(at(i, 0), i + 1, lower(i, 0));
    std::fill_n(at(i, 0), i, 0.0);
    *at(i, i) = 1;
  }
}

// Row i of the inverse: (e_i - sum over k < i of l_ik row k) / l_ii.
void Inverter::invert_lower(long begin, long end) {
  const long rows = end - begin;
  std::copy_n(lower(begin, 0), rows * n_, copy_.data());
  std::fill_n(lower(begin, 0), rows * n_, 0.0);
  for (long j = 0; j < begin; j += block) {
    subtract_increasing(lower(begin, j), copy_.data() + j, lower(j, j), rows, begin - j, end_of(j) - j);
  }
  for (long i = begin; i < end; ++i) {
    double* row = lower(i, 0);
    const double* factors = copy_.data() + (i - begin) * n_;
    for (long k = begin; k < i; ++k) add_multiple(row, -factors[k], lower(k, 0), k + 1);
    for (long j = 0; j < i; ++j) row[j] /= factors[i];
    row[i] = 1 / factors[i];
  }
}

// Row i of the inverse: e_i - sum over k > i of u_ik row k.
void Inverter::invert_upper(long begin, long end) {
  const long rows = end - begin;
  std::copy_n(at(begin, 0), rows * n_, copy_.data());
  for (long i = begin; i < end; ++i) std::fill_n(at(i, i + 1), n_ - i - 1, 0.0);
  for (long j = end; j < n_; j += block) {
    add_decreasing(at(begin, j), copy_.data() + end, at(end, j), rows, end_of(j) - end, end_of(j) - j, -1);
  }
  for (long i = end - 1; i >= begin; --i) {
    const double* factors = copy_.data() + (i - begin) * n_;
    for (long k = end - 1; k > i; --k) add_multiple(at(i, k), -factors[k], at(k, k), n_ - k);
  }
}

// Rows begin..end-1 of the inverse of U times the inverse of L; the rows above are no longer needed.
void Inverter::multiply(long begin, long end) {
  const long rows = end - begin;
  std::copy_n(at(begin, 0), rows * n_, copy_.data());
  std::fill_n(at(begin, 0), rows * n_, 0.0);
  for (long j = 0; j < n_; j += block) {
    const long first = std::max(begin, j);
    add_decreasing(at(begin, j), copy_.data() + first, lower(first, j), rows, n_ - first, end_of(j) - j, 1);
  }
}

}  // namespace

MatFullD& MatFullD::inv(const Progress& progress) {
  if (nrow() == 0) return *this;
  if (nrow() != ncol()) ermessage('a', 61, 0, nrow(), ncol());
  if (nrow() == 1) {
    if (data()[0] != 0) data()[0] = 1 / data()[0];
    return *this;
  }
  Inverter(data(), nrow()).run(progress);
  return *this;
}

MatFullD& MatFullD::inv(double& q) {
  MatFullD input;
  input.copy(*this);
  inv();
  q = 0;
  const long n = nrow();
  std::vector<double> residual(static_cast<size_t>(n));
  for (long i = n - 1; i >= 0; --i) {
    std::fill(residual.begin(), residual.end(), 0.0);
    residual[static_cast<size_t>(i)] = -1;
    linear_kernels().multiply_add(residual.data(), n, input.row(i), n, 1, data(), n, 1, n, n, 1);
    double sum = 0;
    for (const double x : residual) sum += std::fabs(x);
    if (sum > q || std::isnan(sum)) q = sum;  // a NaN stays, so that a failed inversion never looks exact
  }
  return *this;
}

}  // namespace qvtx
