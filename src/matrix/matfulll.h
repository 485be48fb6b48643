#pragma once
// Matrix of long: index lists, labels of prototypes, counts.

#include "matrix/matfull.h"

namespace qvtx {

class MatFullL : public MatFullT<long> {
 public:
  using MatFullT<long>::MatFullT;

  /// Number of rows whose value in column col lies in [lo, hi]. The second form also appends their numbers,
  /// from the last row to the first, to idx (one column; emptied before when keep is 0). Fatal: col (s 121, s
  /// 122).
  long count(long col, long lo, long hi) const;
  long count(long col, long lo, long hi, MatFullL& idx, int keep) const;
  /// Column col of every row i becomes start + i * step. Fatal: col (m 171).
  void setidx(long col, long start, long step);
  /// Heap sort of the rows by increasing value in column col. idx (resized to nrow x 2): column 0 the row of
  /// rank k, column 1 the rank of row k. Not stable. Fatal: col (s 141).
  void potsort(long col, MatFullL& idx) const;
};

std::ostream& operator<<(std::ostream& out, const MatFullL& m);
std::istream& operator>>(std::istream& in, MatFullL& m);

}  // namespace qvtx
