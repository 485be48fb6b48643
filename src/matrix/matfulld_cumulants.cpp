// Cumulants of third and fourth order and lagged moments. Sums as in matfulld_statistics.cpp: extended, over
// the rows from the last to the first.

#include <cmath>
#include <vector>

#include "matrix/matfulld.h"
#include "matrix/shapes.h"

namespace qvtx {
namespace {

using Sums = std::vector<long double>;

std::size_t count(long n) { return static_cast<std::size_t>(n); }

/// The checks of the lagged moments: their row m and their lag t.
void require_lag(const MatFullD& x, const MatFullD& m, long t, int code) {
  require_columns(x, m, code, 1);
  if (t < 0 || t >= x.nrow()) x.ermessage('s', code, 3, t);
}

/// difference = x - mean.
void centre(const double* x, const double* mean, std::vector<double>& difference) {
  for (std::size_t j = difference.size(); j-- > 0;) difference[j] = x[j] - mean[j];
}

/// The variances of the columns about the row m.
std::vector<double> variances(const MatFullD& x, const MatFullD& m) {
  MatFullD v;
  x.var(m, v);
  return std::vector<double>(v.data(), v.data() + x.ncol());
}

MatFullD means(const MatFullD& x) {
  MatFullD m;
  x.avg(m);
  return m;
}

/// Means over the rows r of term(y(r), y(r + t)), column by column, y being x - m.
template <class Term>
Sums lagged_means(const MatFullD& x, const double* mean, long t, Term term) {
  const long n = x.nrow() - t;
  const long d = x.ncol();
  Sums sum(count(d));
  std::vector<double> now(count(d)), later(count(d));
  for (long r = n - 1; r >= 0; --r) {
    centre(x.data() + r * d, mean, now);
    centre(x.data() + (r + t) * d, mean, later);
    for (std::size_t j = sum.size(); j-- > 0;) sum[j] += term(now[j], later[j]);
  }
  for (long double& s : sum) s /= static_cast<long double>(n);
  return sum;
}

long double product(long double a, long double b) { return a * b; }
long double product_of_squares(long double a, long double b) { return (a * a) * (b * b); }

}  // namespace

void MatFullD::sss(const MatFullD& stats, MatFullD& out) const {
  require_columns(*this, stats, 71, 1);
  const std::vector<double> variance = variances(*this, stats);
  Sums third = lagged_means(*this, stats.row(0), 0, [](long double y, long double) { return y * (y * y); });
  become_zeros(out, 1, ncol());
  for (std::size_t j = third.size(); j-- > 0;) {
    const double v = variance[j];
    out.data()[j] = v == 0 ? 0 : static_cast<double>(third[j] / (static_cast<long double>(v) * std::sqrt(v)));
  }
}

void MatFullD::sss(MatFullD& out) const { sss(means(*this), out); }

void MatFullD::cok(long i, long j, const MatFullD& m, const MatFullD& c, MatFullD& out) const {
  if (i < 0 || i >= ncol()) ermessage('s', 82, 1, i);
  if (j < 0 || j >= ncol()) ermessage('s', 82, 2, j);
  require_columns(*this, m, 82, 3);
  if (c.nrow() != ncol() || c.ncol() != ncol()) ermessage('s', 82, 4, c);
  const double* const mean = m.row(0);
  const auto width = count(ncol());
  Sums sum(width * width);  // only l <= k is used
  std::vector<double> y(width);
  for (long r = nrow() - 1; r >= 0; --r) {
    centre(data() + r * ncol(), mean, y);
    const long double pair = static_cast<long double>(y[count(i)]) * y[count(j)];
    for (std::size_t k = width; k-- > 0;) {
      const long double left = pair * y[k];
      for (std::size_t l = k + 1; l-- > 0;) sum[k * width + l] += left * y[l];
    }
  }
  const auto covariance = [&c](long a, long b) { return static_cast<long double>(c.get(a, b)); };
  MatFullD result;
  become_zeros(result, ncol(), ncol());
  for (long k = ncol() - 1; k >= 0; --k) {
    for (long l = k; l >= 0; --l) {
      const long double moment = sum[count(k) * width + count(l)] / static_cast<long double>(nrow());
      result(k, l) = result(l, k) =
          static_cast<double>(moment - covariance(i, j) * covariance(k, l) -
                              covariance(i, k) * covariance(j, l) - covariance(i, l) * covariance(j, k));
    }
  }
  out.swap(result);
}

void MatFullD::cok(long i, long j, const MatFullD& m, MatFullD& out) const {
  require_columns(*this, m, 82, 3);
  MatFullD covariances;
  cov(m, covariances);
  cok(i, j, m, covariances, out);
}

void MatFullD::cok(long i, long j, MatFullD& out) const { cok(i, j, means(*this), out); }

void MatFullD::tcc(const MatFullD& m, MatFullD& out, long t) const {
  require_lag(*this, m, t, 83);
  const double* const mean = m.row(0);
  const auto width = count(ncol());
  Sums sum(width * width);
  std::vector<double> now(width), later(width);
  for (long r = nrow() - t - 1; r >= 0; --r) {
    centre(data() + r * ncol(), mean, now);
    centre(data() + (r + t) * ncol(), mean, later);
    for (std::size_t i = width; i-- > 0;) {
      const long double left = now[i];
      for (std::size_t j = width; j-- > 0;) sum[i * width + j] += left * later[j];
    }
  }
  const auto rows = static_cast<long double>(nrow() - t);
  become_zeros(out, ncol(), ncol());
  for (std::size_t k = sum.size(); k-- > 0;) out.data()[k] = static_cast<double>(sum[k] / rows);
}

void MatFullD::tcc(MatFullD& out, long t) const { tcc(means(*this), out, t); }

void MatFullD::tac(const MatFullD& m, MatFullD& out, long t) const {
  require_lag(*this, m, t, 84);
  const std::vector<double> variance = variances(*this, m);
  const Sums lagged = lagged_means(*this, m.row(0), t, product);
  become_zeros(out, 1, ncol());
  for (std::size_t j = lagged.size(); j-- > 0;)
    out.data()[j] = variance[j] == 0 ? 0 : static_cast<double>(lagged[j] / variance[j]);
}

void MatFullD::tac(MatFullD& out, long t) const { tac(means(*this), out, t); }

void MatFullD::tck(const MatFullD& m, MatFullD& out, long t) const {
  require_lag(*this, m, t, 85);
  const std::vector<double> variance = variances(*this, m);
  const Sums lagged = lagged_means(*this, m.row(0), t, product);
  const Sums squares = lagged_means(*this, m.row(0), t, product_of_squares);
  become_zeros(out, 1, ncol());
  for (std::size_t j = lagged.size(); j-- > 0;) {
    const long double v = static_cast<long double>(variance[j]) * variance[j];
    out.data()[j] = v == 0 ? 0 : static_cast<double>((squares[j] - v - 2 * (lagged[j] * lagged[j])) / v);
  }
}

void MatFullD::tck(MatFullD& out, long t) const { tck(means(*this), out, t); }

}  // namespace qvtx
