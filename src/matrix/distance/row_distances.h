#pragma once
// Distances between raw rows in a metric, on the fastest path that keeps the bits.

#include <memory>

#include "matrix/distance/distance_kernels.h"
#include "matrix/distance/metric.h"
#include "matrix/distance/packed_rows.h"

namespace qvtx::distance {

/// Kernels of the metric, or null where only the plain loop serves.
const RuleKernels* fast_kernels(const Metric& metric);

/// Distance between two rows of d numbers, -1 beyond the bound (the cosine class knows no bound).
double between(const Metric& metric, const double* x, const double* y, long d, double bound);

/// out[i] = distance between row i and x for n rows, as `between` tells.
void to_rows(const Metric& metric, const double* rows, long n, long d, const double* x, double bound,
             double* out);

/// The same rows measured against many others without bound: what can be prepared once is.
class PreparedRows {
 public:
  /// n rows of d columns, row-major; they must outlive the object and stay as they are.
  PreparedRows(const Metric& metric, const double* rows, long n, long d);
  /// out[i] = distance of row i to x for i < count <= n.
  void distances(const double* x, long count, double* out) const;

 private:
  const Metric metric_;
  const double* rows_;
  long ncol_;
  const RuleKernels* kernels_ = nullptr;  // with them the rows are packed
  PackedRows packed_;
  std::unique_ptr<double[]> squares_;  // cosine class: the dot product of each row with itself
};

}  // namespace qvtx::distance
