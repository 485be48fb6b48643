#include "matrix/distance/row_search.h"

#include "matrix/distance/distance_kernels.h"
#include "matrix/distance/distance_rules.h"
#include "matrix/distance/metric.h"

namespace qvtx {

RowSearch::RowSearch(const MatFullD& rows, PackedRows& storage) : rows_(rows), packed_(storage) { rebuild(); }

void RowSearch::rebuild() {
  packed_ok_ = Metric::in_force().is_euclidean() && packed_.assign(rows_.data(), rows_.nrow(), rows_.ncol());
}

void RowSearch::update_row(long k) { packed_.set_row(k, rows_.data() + k * rows_.ncol()); }

void RowSearch::add_row() {
  for (long i = packed_.size(); packed_ok_ && i < rows_.nrow(); ++i)
    packed_ok_ = packed_.append(rows_.data() + i * rows_.ncol());
}

long RowSearch::nearest(const double* x) const {
  double limit = no_bound;
  return distance_kernels().squares.packed_nearest(packed_.data(), size(), packed_.columns(), x, limit);
}

long RowSearch::nearest(const double* x, double& distance) const {
  double limit = no_bound;
  const long row =
      distance_kernels().squares.packed_nearest(packed_.data(), size(), packed_.columns(), x, limit);
  distance = distance::distance_of(distance::Squares{}, limit);
  return row;
}

void RowSearch::squared_distances(const double* x, double* out) const {
  distance_kernels().squares.packed_sums(packed_.data(), size(), packed_.columns(), x, out);
}

void RowSearch::distances(const double* x, double* out) const {
  squared_distances(x, out);
  for (long i = 0; i < size(); ++i) out[i] = distance::distance_of(distance::Squares{}, out[i]);
}

}  // namespace qvtx
