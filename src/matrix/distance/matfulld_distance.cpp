// Norms and distances of rows.

#include <memory>
#include <new>

#include "matrix/distance/distance_rules.h"
#include "matrix/distance/row_distances.h"
#include "matrix/matfulld.h"
#include "matrix/shapes.h"

namespace qvtx {

using namespace distance;

namespace {

void check_row(const MatFullD& m, int code, int arg, long i) {
  if (i < 0 || i >= m.nrow()) m.ermessage('e', code, arg, i);
}

void check_columns(const MatFullD& m, int code, int arg, const MatFullD& b) {
  if (m.ncol() != b.ncol()) m.ermessage('e', code, arg, b);
}

double norm(const Metric& metric, const double* x, long d, double bound) {
  return with_rule(metric.miex, [=](const auto& rule) {
    const double start = metric.miex == 0.0 ? no_bound : 0.0;
    const double limit = limit_of(rule, bound);
    return distance_of(rule, metric.is_area() ? accumulate(rule, NormArea{x, d}, d, start, limit)
                                              : accumulate(rule, NormModulus{x}, d, start, limit));
  });
}

}  // namespace

double MatFullD::sdas(long i, double bound) const {
  check_row(*this, 27, 1, i);
  const Metric metric = Metric::in_force();
  return metric.is_cosine() ? 0.0 : norm(metric, data() + i * ncol(), ncol(), bound);
}

double MatFullD::sdas(long i, const MatFullD& b, long j, double bound) const {
  check_row(*this, 27, 1, i);
  check_columns(*this, 27, 2, b);
  check_row(b, 27, 3, j);
  return between(Metric::in_force(), data() + i * ncol(), b.data() + j * ncol(), ncol(), bound);
}

double MatFullD::sdas(long i, long j, double bound) const {
  check_row(*this, 27, 1, i);
  check_row(*this, 27, 2, j);
  return between(Metric::in_force(), data() + i * ncol(), data() + j * ncol(), ncol(), bound);
}

void MatFullD::sdav(MatFullD& out, double bound) {
  MatFullD norms;
  if (!become_zeros(norms, nrow(), 1)) return;
  // The cosine class has no norms. That it clears the head of this matrix instead is how it has always been.
  const Metric metric = Metric::in_force();
  if (metric.is_cosine()) {
    for (long i = 0; i < nrow(); ++i) data()[i] = 0.0;
  } else {
    for (long i = nrow() - 1; i >= 0; --i) norms.data()[i] = norm(metric, data() + i * ncol(), ncol(), bound);
  }
  out.swap(norms);
}

void MatFullD::sdav(long i, MatFullD& out, double bound) const {
  check_row(*this, 37, 1, i);
  sdav(*this, i, out, bound);
  if (i < out.nrow()) out.data()[i] = 0.0;
}

void MatFullD::sdav(const MatFullD& b, long j, MatFullD& out, double bound) const {
  check_columns(*this, 37, 1, b);
  check_row(b, 37, 2, j);
  if (&out == this || &out == &b) {
    MatFullD distances;
    sdav(b, j, distances, bound);
    out.swap(distances);
  } else if (become_zeros(out, nrow(), 1)) {
    to_rows(Metric::in_force(), data(), nrow(), ncol(), b.data() + j * ncol(), bound, out.data());
  }
}

void MatFullD::sdam(const MatFullD& b, MatFullD& out) const {
  check_columns(*this, 47, 1, b);
  MatFullD distances;
  if (b.nrow() > 0 && become_zeros(distances, nrow(), b.nrow())) {
    const PreparedRows others(Metric::in_force(), b.data(), b.nrow(), ncol());
    for (long i = nrow() - 1; i >= 0; --i)
      others.distances(data() + i * ncol(), b.nrow(), distances.data() + i * b.nrow());
  }
  out.swap(distances);
}

namespace {

// The pair i > j whose distance no other pair betters, the first such when i and then j run downward; a NaN
// betters nothing. Returns its distance, or 0 with the pair (-1, -1) when there is none.
template <class Better>
double extreme_pair(const MatFullD& m, long& best_i, long& best_j, Better better) {
  best_i = best_j = -1;
  double best = 0.0;
  const std::unique_ptr<double[]> row(new (std::nothrow) double[static_cast<std::size_t>(m.nrow()) + 1]);
  if (!row) return best;
  const PreparedRows rows(Metric::in_force(), m.data(), m.nrow(), m.ncol());
  for (long i = m.nrow() - 1; i > 0; --i) {
    rows.distances(m.data() + i * m.ncol(), i, row.get());
    for (long j = i - 1; j >= 0; --j) {
      const double d = row.get()[j];
      if (best_i < 0 ? d != d : !better(d, best)) continue;
      best = d;
      best_i = i;
      best_j = j;
    }
  }
  return best;
}

}  // namespace

double MatFullD::sdamax(long& i, long& j) const {
  return extreme_pair(*this, i, j, [](double a, double b) { return a > b; });
}

double MatFullD::sdamax() const {
  long i, j;
  return sdamax(i, j);
}

double MatFullD::sdamin(long& i, long& j) const {
  return extreme_pair(*this, i, j, [](double a, double b) { return a < b; });
}

}  // namespace qvtx
