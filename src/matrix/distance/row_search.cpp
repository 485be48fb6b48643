#include "matrix/distance/row_search.h"

#include "matrix/distance/distance_rules.h"
#include "matrix/distance/row_distances.h"

namespace qvtx {

RowSearch::RowSearch(const MatFullD& rows, PackedRows& storage) : rows_(rows), packed_(storage) { rebuild(); }

void RowSearch::rebuild() {
  metric_ = Metric::in_force();
  kernels_ = distance::fast_kernels(metric_);
  packed_ok_ = kernels_ != nullptr && packed_.assign(rows_.data(), rows_.nrow(), rows_.ncol());
}

void RowSearch::update_row(long k) { packed_.set_row(k, rows_.data() + k * rows_.ncol()); }

void RowSearch::add_row() {
  for (long i = packed_.size(); packed_ok_ && i < rows_.nrow(); ++i)
    packed_ok_ = packed_.append(rows_.data() + i * rows_.ncol());
}

long RowSearch::nearest(const double* x) const {
  double limit = no_bound;
  return kernels_->packed_nearest(packed_.data(), size(), packed_.columns(), x, limit);
}

long RowSearch::nearest(const double* x, double& distance) const {
  double limit = no_bound;
  const long row = kernels_->packed_nearest(packed_.data(), size(), packed_.columns(), x, limit);
  distance = distance::with_rule(metric_.miex,
                                 [limit](const auto& rule) { return distance::distance_of(rule, limit); });
  return row;
}

void RowSearch::sums(const double* x, double* out) const {
  kernels_->packed_sums(packed_.data(), size(), packed_.columns(), x, out);
}

void RowSearch::finish(double* sums) const {
  distance::with_rule(metric_.miex,
                      [=, this](const auto& rule) { distance::finish_rows(rule, sums, size()); });
}

void RowSearch::distances(const double* x, double* out) const {
  sums(x, out);
  finish(out);
}

}  // namespace qvtx
