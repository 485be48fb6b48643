#pragma once
// The distances as they are described, step by step and without any speed, and the data that the tests of
// distances and of nearest-row search share.

#include <bit>

#include "base/elementary.h"
#include "base/support.h"
#include "support/levels.h"

namespace qvtx::test {

inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();

/// The distance settings of a test; the defaults come back at its end.
struct Settings {
  Settings(char kind, double exponent) { set(kind, exponent); }
  ~Settings() { set('m', 2.0); }
  static void set(char kind, double exponent) {
    MatFullD::mesp = kind;
    MatFullD::miex = exponent;
  }
};

/// Equality of bits, for failure messages with all digits.
inline ::testing::AssertionResult same_bits(double expected, double actual) {
  if (std::bit_cast<std::uint64_t>(expected) == std::bit_cast<std::uint64_t>(actual))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << std::hexfloat << expected << " expected, got " << actual;
}

/// What a matrix is filled with. Integers make ties and duplicates, specials have every odd number there is.
enum class Fill { reals, integers, specials };
inline constexpr Fill all_fills[] = {Fill::reals, Fill::integers, Fill::specials};

inline MatFullD filled(long rows, long cols, Fill fill, unsigned seed) {
  static constexpr double odd[] = {nan_value, infinity, -infinity, 1e200,  -1e300,
                                   5e-324,    -1e-310,  -0.0,      1e-160, 3.0};
  MatFullD m(rows, cols);
  m.setrows(rows, 0.0);
  std::mt19937 words(seed);
  for (long c = 0; c < rows * cols; ++c) {
    double& cell = m.data()[c] = static_cast<double>(words()) * (6.0 / 4294967296.0) - 3.0;
    if (fill == Fill::integers) cell = static_cast<double>(words() % 3);
    if (fill == Fill::specials && words() % 12 == 0) cell = odd[words() % 10];
  }
  return m;
}

/// b^n for n = 3 ... 7: the product of those of b, b^2 and b^4 that make it up, in this order.
inline double whole_power(double b, int n) {
  const double b2 = b * b, b4 = b2 * b2;
  const double powers[] = {b * b2, b4, b * b4, b2 * b4, b * b2 * b4};
  return powers[n - 3];
}

/// The plain distances in the class and exponent in force.
struct Reference {
  char kind = MatFullD::mesp;
  double p = MatFullD::miex;

  double transform(double b) const {
    if (p == 2) return b * b;
    if (p == 0.5) return std::sqrt(b);
    if (p == 0 || p == 1 || p >= 8) return b;
    return p == std::floor(p) ? whole_power(b, static_cast<int>(p)) : fixed_pow(b, p);
  }
  double threshold(double b) const { return transform(b) * 1.001; }

  double final_value(double s) const {
    if (std::isnan(s)) return nan_value;
    if (p == 2) return std::sqrt(s);
    if (p == 0.5) return s * s;
    return p == 0 || p == 1 || p >= 8 ? s : fixed_pow(s, 1.0 / p);
  }

  double accumulated(double s, double t) const {
    if (p == 0) return t < s ? t : s;
    if (p >= 8) return t > s ? t : s;
    return s + transform(t);
  }

  static double g(double n, double v) { return n * v < 0 ? v * v / std::fabs(n - v) : std::fabs(v); }

  /// Term of coordinate k of the difference row.
  double term(const std::vector<double>& diff, std::size_t k) const {
    if (kind != 'a') return std::fabs(diff[k]);
    const double next = k + 1 < diff.size() ? diff[k + 1] : 0.0;
    const double previous = k > 0 ? diff[k - 1] : 0.0;
    return 0.5 * (g(next, diff[k]) + g(previous, diff[k]));
  }

  /// Accumulated terms, or -1 as soon as the threshold is exceeded.
  double walk(const std::vector<double>& diff, double start, double limit) const {
    double s = start;
    for (std::size_t k = diff.size(); k-- > 0;) {
      s = accumulated(s, term(diff, k));
      if (s > limit) return -1;
    }
    return s;
  }

  static std::vector<double> difference(const MatFullD& a, long i, const MatFullD& b, long j) {
    std::vector<double> diff;
    for (long k = 0; k < a.ncol(); ++k) diff.push_back(b(j, k) - a(i, k));
    return diff;
  }

  double cosine(const MatFullD& a, long i, const MatFullD& b, long j) const {
    const double xx = a.dps(i, i), yy = b.dps(j, j);
    if (xx == 0 || yy == 0 || xx * yy == 0) return 1.0;
    const double d = 1.0 - a.dps(i, b, j) / std::sqrt(xx * yy);
    return std::isnan(d) ? nan_value : d < 0 ? 0.0 : d;
  }

  double norm(const MatFullD& a, long i, double bound) const {
    if (kind == 'c') return 0.0;
    const double s = walk({a.row(i), a.row(i) + a.ncol()}, p == 0 ? infinity : 0.0, threshold(bound));
    return s < 0 ? -1.0 : final_value(s);
  }

  double distance(const MatFullD& a, long i, const MatFullD& b, long j, double bound) const {
    if (kind == 'c') return cosine(a, i, b, j);
    const double s = walk(difference(a, i, b, j), 0.0, threshold(bound));
    return s < 0 ? -1.0 : final_value(s);
  }

  long nearest(const MatFullD& a, const MatFullD& b, long j, double bound) const {
    double limit = kind == 'c' ? bound * 1.001 : threshold(bound);
    long found = a.nrow();
    for (long i = a.nrow() - 1; i >= 0; --i) {
      const double s = kind == 'c' ? cosine(a, i, b, j) : walk(difference(a, i, b, j), 0.0, limit);
      if (s < 0 || s > limit) continue;
      if (&a == &b && (i == j || s == 0)) continue;
      found = i;
      limit = s;
    }
    return found;
  }
};

struct Case {
  char kind;
  double p;
};
inline constexpr Case all_cases[] = {{'m', 2},   {'m', 1},   {'m', 0.5}, {'m', 0},   {'m', 20.5},
                                     {'m', 0.7}, {'m', 7.5}, {'m', 4},   {'a', 2},   {'a', 1},
                                     {'a', 0},   {'a', 0.5}, {'a', 9},   {'a', 1.5}, {'m', 3},
                                     {'m', 6},   {'a', 7},   {'c', 2},   {'x', 2},   {'c', 1}};

inline std::string describe(const Case& c) { return std::string(1, c.kind) + " " + std::to_string(c.p); }

}  // namespace qvtx::test
