#pragma once
// Nearest rows of many samples under the Euclidean distance.

#include <memory>
#include <vector>

#include "matrix/distance/filter_kernels.h"

namespace qvtx::distance {

/// Copy of n rows in single precision, which tells for most samples the nearest row and decides between close
/// ones by their exact distances: the row found is that of the plain scan (the lowest among those of the
/// smallest sum).
class NearestFilter {
 public:
  NearestFilter() = default;
  NearestFilter(const double* rows, long n, long d) { assign(rows, n, d); }
  /// Takes n rows of d columns, row-major, in place of those before, in the storage that it has when that
  /// suffices. The rows must outlive the searches and stay as they are.
  void assign(const double* rows, long n, long d);
  /// Whether the rows fit single precision (finite, neither all tiny nor some huge) and there was room for
  /// the copy.
  bool usable() const { return usable_; }
  /// idx[q] = nearest row to sample q of `count`, or -1 where the filter does not decide. REQUIRES usable().
  void search(const double* samples, long count, long* idx);
  /// What the kernels work on. REQUIRES usable().
  const FilterTable& table() const { return table_; }

 private:
  bool allocate();
  void set_centre();
  void pack();

  FilterTable table_{};
  long padded_ = 0;  // n rounded up to a block
  std::vector<double> centre_;
  std::unique_ptr<float[]> storage_;  // packed rows, half squares, working space
  long room_ = 0;                     // numbers in it
  float* packed_ = nullptr;
  float* half_squares_ = nullptr;
  float* work_ = nullptr;
  bool usable_ = false;
};

}  // namespace qvtx::distance
