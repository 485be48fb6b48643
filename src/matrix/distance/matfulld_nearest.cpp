// Nearest-row search.

#include <algorithm>
#include <vector>

#include "matrix/distance/distance_rules.h"
#include "matrix/distance/nearest_memory.h"
#include "matrix/distance/row_distances.h"
#include "matrix/matfulld.h"

namespace qvtx {

using namespace distance;

namespace {

// The rows searched, the sample and the metric. The search for a row of the matrix itself excludes that row
// and its duplicates.
struct Query {
  const MatFullD& m;
  const double* x;
  Metric metric;
  Exclusion exclusion;

  Query(const MatFullD& matrix, const MatFullD& b, long j, const Metric& in_metric = Metric::in_force())
      : m(matrix),
        x(b.data() + j * b.ncol()),
        metric(in_metric),
        exclusion{&matrix == &b ? j : -1, &matrix == &b} {}

  const double* row(long i) const { return m.data() + i * m.ncol(); }
  bool excludes(long i, double value) const {
    return i == exclusion.self || (exclusion.zero && value == 0.0);
  }
};

// Visits the rows downward and takes every row whose value does not exceed that of the last one taken: among
// equals the lowest row number is left. value(i, threshold) may return `abandoned` for a row above the
// threshold.
template <class Value>
long scan(const Query& query, double threshold, Value value) {
  long found = query.m.nrow();
  for (long i = query.m.nrow() - 1; i >= 0; --i) {
    const double v = value(i, threshold);
    if (v < 0.0 || v > threshold || query.excludes(i, v)) continue;
    found = i;
    threshold = v;
  }
  return found;
}

template <class Rule>
long scan_sums(const Query& query, const Rule& rule, double bound) {
  const long d = query.m.ncol();
  const double limit = limit_of(rule, bound);
  if (query.metric.is_area()) {
    const auto terms_of = [&query, d](long i) { return PairArea{query.row(i), query.x, d}; };
    return scan(query, limit, row_sums(rule, terms_of, d));
  }
  const auto terms_of = [&query](long i) { return PairModulus{query.row(i), query.x}; };
  return scan(query, limit, row_sums(rule, terms_of, d));
}

// squares: the dot product of every row with itself, or null.
long scan_cosine(const Query& query, const double* squares, double bound) {
  const long d = query.m.ncol();
  const double xx = dot(query.x, query.x, d);
  return scan(query, bound * bound_margin, [&](long i, double) {
    const double* row = query.row(i);
    return cosine_of(dot(row, query.x, d), squares ? squares[i] : dot(row, row, d), xx);
  });
}

long search(const Query& query, double bound) {
  if (query.metric.is_cosine()) return scan_cosine(query, nullptr, bound);
  return with_rule(query.metric.miex, [&](const auto& rule) {
    if (const RuleKernels* fast = fast_kernels(query.metric)) {
      double limit = limit_of(rule, bound);
      return fast->row_nearest(query.m.data(), query.m.nrow(), query.m.ncol(), query.x, query.exclusion,
                               limit);
    }
    return scan_sums(query, rule, bound);
  });
}

void check(const MatFullD& m, int code, const MatFullD& b, long j) {
  if (m.ncol() != b.ncol()) m.ermessage('e', code, 1, b);
  if (j < 0 || j >= b.nrow()) b.ermessage('e', code, 2, j);
}

}  // namespace

long MatFullD::nearest(const MatFullD& b, long j, double bound) const {
  check(*this, 67, b, j);
  return search(Query(*this, b, j), bound);
}

long MatFullD::nearest(const MatFullD& b, long j, MatFullD& out, double bound) const {
  check(*this, 67, b, j);
  const long found = search(Query(*this, b, j), bound);
  sdav(b, j, out, bound);
  return found;
}

long MatFullD::nearest(const MatFullD& b, long j, MatFullD& out, MatFullL& idx, long k) const {
  check(*this, 67, b, j);
  MatFullD distances;
  sdav(b, j, distances, no_bound);
  const double* d = distances.data();
  std::vector<long> order;
  order.reserve(static_cast<std::size_t>(distances.nrow()));
  for (long i = 0; i < distances.nrow(); ++i)
    if (&b != this || i != j) order.push_back(i);

  const long count = std::clamp(k, 0L, static_cast<long>(order.size()));
  // A strict order of all rows, so that the selection has one result: numbers first, then NaN; ties by row
  // number.
  std::partial_sort(order.begin(), order.begin() + count, order.end(), [d](long a, long c) {
    if (d[a] < d[c] || d[c] < d[a]) return d[a] < d[c];
    const bool nan_a = d[a] != d[a];
    const bool nan_c = d[c] != d[c];
    return nan_a != nan_c ? nan_c : a < c;
  });

  MatFullD found;
  found.setdim(count, 1);
  found.setrows(count, 0.0);
  idx.setdim(count, 1);
  idx.setrows(count, -1);
  for (long r = 0; r < count; ++r) {
    const long row = order[static_cast<std::size_t>(r)];
    found.data()[r] = d[row];
    idx.data()[r] = row;
  }
  out.swap(found);
  return count;
}

namespace {

void search_each(const MatFullD& m, const MatFullD& b, long* idx) {
  const Metric metric = Metric::in_force();
  std::vector<double> squares;
  if (metric.is_cosine())
    for (long i = 0; i < m.nrow(); ++i)
      squares.push_back(dot(m.data() + i * m.ncol(), m.data() + i * m.ncol(), m.ncol()));
  for (long i = b.nrow() - 1; i >= 0; --i) {
    const Query query(m, b, i, metric);
    idx[i] = squares.empty() ? search(query, no_bound) : scan_cosine(query, squares.data(), no_bound);
  }
}

// Fewer rows than this are searched as fast without the filter.
constexpr long filter_rows_from = 24;

// The rows that the filter can tell; the others stay -1.
void filter_rows(const MatFullD& m, const MatFullD& b, long* idx, NearestFilter& filter) {
  if (m.nrow() < filter_rows_from) return;
  filter.assign(m.data(), m.nrow(), m.ncol());
  if (filter.usable()) filter.search(b.data(), b.nrow(), idx);
}

}  // namespace

void MatFullD::nearest_all(const MatFullD& b, MatFullL& idx) const {
  NearestMemory memory;
  nearest_all(b, idx, memory);
}

void MatFullD::nearest_all(const MatFullD& b, MatFullL& idx, NearestMemory& memory) const {
  if (ncol() != b.ncol()) ermessage('e', 77, 1, b);
  idx.setdim(b.nrow(), 1);
  idx.setrows(b.nrow(), -1);
  const Metric metric = Metric::in_force();
  const RuleKernels* fast = fast_kernels(metric);
  PackedRows& packed = memory.packed;
  if (!fast || &b == this || !packed.assign(data(), nrow(), ncol())) return search_each(*this, b, idx.data());
  if (metric.is_euclidean()) filter_rows(*this, b, idx.data(), memory.filter);
  for (long i = b.nrow() - 1; i >= 0; --i) {
    double limit = no_bound;
    long& row = idx.data()[i];
    if (row < 0) row = fast->packed_nearest(packed.data(), nrow(), ncol(), b.data() + i * ncol(), limit);
  }
}

}  // namespace qvtx
