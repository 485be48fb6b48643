#pragma once
// Which rows of a matrix can be computed with: those whose numbers are all finite.

#include <vector>

#include "matrix/matfulld.h"

namespace qvtx {

/// Splits the rows of a matrix into those in use and those left out, which hold a NaN or an infinity. Rows in
/// use are numbered 0, 1, ... in the order of the matrix. Where all are in use nothing is stored.
class RowsInUse {
 public:
  RowsInUse() = default;  ///< of a matrix without rows
  explicit RowsInUse(const MatFullD& m);

  bool all() const { return left_out_ == 0; }
  long left_out() const { return left_out_; }
  /// Row of the matrix that is row i in use; -1 when there is no such row.
  long number(long i) const;

  /// used becomes the rows of `every` (a row per row of the matrix) that are in use.
  template <class T>
  void pick(const MatFullT<T>& every, MatFullT<T>& used) const;
  /// every becomes the rows of `used` (a row per row in use) in their places, with `fill` in the others.
  template <class T>
  void spread(const MatFullT<T>& used, T fill, MatFullT<T>& every) const;

 private:
  long rows_ = 0;
  long left_out_ = 0;
  std::vector<long> number_;  // of the rows in use; empty when these are all
};

/// `x.mqe(b)` over the rows of x that are in use. Fatal as there.
double mqe_in_use(const MatFullD& x, const MatFullD& b);

}  // namespace qvtx
