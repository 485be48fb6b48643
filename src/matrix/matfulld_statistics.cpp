// Column statistics. All sums run over the rows from the last to the first, each column in an extended sum of
// its own, so that a row is read as it lies in memory.

#include <cmath>
#include <limits>
#include <vector>

#include "matrix/matfulld.h"
#include "matrix/shapes.h"

namespace qvtx {
namespace {

using Sums = std::vector<long double>;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Sum, minimum and maximum of each column.
struct Columns {
  Sums sum;
  std::vector<double> least;
  std::vector<double> largest;

  explicit Columns(const MatFullD& m)
      : sum(count(m.ncol())), least(count(m.ncol()), infinity), largest(count(m.ncol()), -infinity) {
    for (long i = m.nrow() - 1; i >= 0; --i) add(m.data() + i * m.ncol());
  }

  static std::size_t count(long n) { return static_cast<std::size_t>(n); }

  void add(const double* x) {
    for (std::size_t j = sum.size(); j-- > 0;) {
      sum[j] += x[j];
      if (x[j] < least[j]) least[j] = x[j];
      if (x[j] > largest[j]) largest[j] = x[j];
    }
  }

  /// Rounding must not carry the mean out of the column's range: the mean of a constant column is the
  /// constant, and its variance 0. Comparisons with NaN are false, so that a NaN stays.
  double mean(std::size_t j, long n) const {
    const auto mean = static_cast<double>(sum[j] / static_cast<long double>(n));
    return mean < least[j] ? least[j] : mean > largest[j] ? largest[j] : mean;
  }
};

/// Makes `out` one row with the sums divided by n.
void store_means(const Sums& sum, long n, MatFullD& out) {
  const auto columns = static_cast<long>(sum.size());
  out.setdim(1, columns);
  out.setrows(1, 0);
  for (long j = columns - 1; j >= 0; --j) {
    out.data()[j] = static_cast<double>(sum[static_cast<std::size_t>(j)] / static_cast<long double>(n));
  }
}

}  // namespace

void MatFullD::mmm(MatFullD& out) const {
  row(nrow() - 1);
  const Columns columns(*this);
  const long n = nrow();
  const long d = ncol();
  out.setdim(3, d);
  out.setrows(3, 0);
  for (long j = d - 1; j >= 0; --j) {
    const auto k = static_cast<std::size_t>(j);
    out.data()[j] = columns.mean(k, n);
    out.data()[d + j] = columns.least[k];
    out.data()[2 * d + j] = columns.largest[k];
  }
}

void MatFullD::avg(MatFullD& out) const {
  MatFullD stats;
  mmm(stats);
  out.copy(stats, 0);
}

void MatFullD::var(const MatFullD& stats, MatFullD& out) const {
  require_columns(*this, stats, 51, 1);
  const double* const mean = stats.row(0);
  Sums sum(static_cast<std::size_t>(ncol()));
  for (long i = nrow() - 1; i >= 0; --i) {
    const double* const x = data() + i * ncol();
    for (std::size_t j = sum.size(); j-- > 0;) {
      const long double difference = x[j] - mean[j];
      sum[j] += difference * difference;
    }
  }
  store_means(sum, nrow(), out);
}

void MatFullD::var(MatFullD& out) const {
  MatFullD stats;
  mmm(stats);
  var(stats, out);
}

void MatFullD::cov(const MatFullD& m, MatFullD& out) const {
  require_columns(*this, m, 81, 1);
  const double* const mean = m.row(0);
  const long n = nrow();
  const long d = ncol();
  const auto width = static_cast<std::size_t>(d);
  Sums sum(width * width);  // only j <= i is used: the products commute
  std::vector<double> difference(width);
  for (long r = n - 1; r >= 0; --r) {
    const double* const x = data() + r * d;
    for (std::size_t i = width; i-- > 0;) difference[i] = x[i] - mean[i];
    for (std::size_t i = width; i-- > 0;) {
      const long double left = difference[i];
      long double* const line = &sum[i * width];
      for (std::size_t j = i + 1; j-- > 0;) line[j] += left * difference[j];
    }
  }
  out.setdim(d, d);
  out.setrows(d, 0);
  for (long i = d - 1; i >= 0; --i) {
    for (long j = i; j >= 0; --j) {
      const long double total = sum[static_cast<std::size_t>(i * d + j)];
      out.data()[i * d + j] = out.data()[j * d + i] =
          static_cast<double>(total / static_cast<long double>(n));
    }
  }
}

void MatFullD::cov(MatFullD& out) const {
  MatFullD mean;
  avg(mean);
  cov(mean, out);
}

long MatFullD::center(const MatFullD& m) {
  require_columns(*this, m, 91, 1);
  const double* const mean = m.row(0);
  for (long i = nrow() - 1; i >= 0; --i) {
    double* const x = data() + i * ncol();
    for (long j = ncol() - 1; j >= 0; --j) x[j] -= mean[j];
  }
  return nrow();
}

long MatFullD::center() {
  MatFullD mean;
  avg(mean);
  return center(mean);
}

void MatFullD::normal(const MatFullD& m, const MatFullD& s) {
  require_columns(*this, m, 92, 1);
  require_columns(*this, s, 92, 2);
  const double* const mean = m.row(0);
  const double* const scale = s.row(0);
  for (long i = nrow() - 1; i >= 0; --i) {
    double* const x = data() + i * ncol();
    for (long j = ncol() - 1; j >= 0; --j) {
      x[j] -= mean[j];
      if (scale[j] != 0) x[j] /= scale[j];
    }
  }
}

void MatFullD::normal(const MatFullD& m) {
  MatFullD scale;
  var(scale);
  for (long j = ncol() - 1; j >= 0; --j) scale.data()[j] = std::sqrt(scale.data()[j]);
  normal(m, scale);
}

void MatFullD::normal() {
  MatFullD mean;
  avg(mean);
  normal(mean);
}

double MatFullD::mqe(const MatFullD& b) const {
  if (nrow() != b.nrow() || ncol() != b.ncol()) ermessage('s', 102, 1, b.nrow(), b.ncol());
  long double sum = 0;
  for (long k = nrow() * ncol() - 1; k >= 0; --k) {
    const long double difference = data()[k] - b.data()[k];
    sum += difference * difference;
  }
  return nrow() == 0 ? 0 : static_cast<double>(sum / static_cast<long double>(nrow()));
}

long MatFullD::nnan() const {
  long count = 0;
  for (long k = nrow() * ncol() - 1; k >= 0; --k) count += std::isfinite(data()[k]) ? 0 : 1;
  return count;
}

void MatFullD::kur(const MatFullD& m, const MatFullD& v, MatFullD& out) const {
  require_columns(*this, m, 61, 1);
  require_columns(*this, v, 61, 2);
  const double* const mean = m.row(0);
  const double* const variance = v.row(0);
  Sums sum(static_cast<std::size_t>(ncol()));
  for (long i = nrow() - 1; i >= 0; --i) {
    const double* const x = data() + i * ncol();
    for (std::size_t j = sum.size(); j-- > 0;) {
      const long double difference = x[j] - mean[j];
      const long double square = difference * difference;
      sum[j] += square * square;
    }
  }
  for (std::size_t j = sum.size(); j-- > 0;) {
    const long double square = static_cast<long double>(variance[j]) * variance[j];
    sum[j] = square == 0 ? 0 : sum[j] / square;
  }
  store_means(sum, nrow(), out);
}

void MatFullD::kur(const MatFullD& m, MatFullD& out) const {
  MatFullD variance;
  var(m, variance);
  kur(m, variance, out);
}

void MatFullD::kur(MatFullD& out) const {
  MatFullD mean;
  avg(mean);
  kur(mean, out);
}

}  // namespace qvtx
