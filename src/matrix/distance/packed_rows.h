#pragma once
// Rows of a matrix in the order in which the distance kernels read them.

#include <memory>

#include "matrix/distance/packed_block.h"

namespace qvtx {

/// Copy of n rows of d columns in blocks of B = `block_rows` rows, each block coordinate by coordinate:
/// element (i, k) is at ((i / B) d + k) B + i mod B, so that one vector load takes the same coordinate of
/// several rows. The block starts on a cache line. Places of the last block without a row hold +infinity.
class PackedRows {
 public:
  static constexpr long block_rows = packed_block_rows;
  /// Places of n rows, those without a row included.
  static constexpr long places(long n) { return (n + block_rows - 1) / block_rows * block_rows; }

  /// Copies n rows of d columns (row-major, d >= 1) in place of what it held, in the storage that it has when
  /// that suffices. Returns whether the storage could be allocated; without it the object is empty.
  bool assign(const double* rows, long n, long d);
  /// Copies row i anew. REQUIRES: 0 <= i < size().
  void set_row(long i, const double* row);
  /// Appends one row; the storage doubles when it is full. False, and nothing changed, when it cannot.
  bool append(const double* row);

  long size() const { return nrow_; }
  long columns() const { return ncol_; }
  const double* data() const { return start_; }
  /// For kernels that change the rows in place.
  double* data() { return start_; }
  /// Copies row i back (columns() numbers). REQUIRES: 0 <= i < size().
  void get_row(long i, double* row) const;

 private:
  bool reserve(long rows);

  std::unique_ptr<double[]> storage_;
  double* start_ = nullptr;  // first cache line boundary within the storage
  long cells_ = 0;           // numbers from there on that there is room for
  long capacity_ = 0;        // in rows of the present length, a multiple of block_rows
  long nrow_ = 0;
  long ncol_ = 1;
};

}  // namespace qvtx
