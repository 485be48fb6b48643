#pragma once
// What the members of MatFullD share that want or make matrices of a certain shape.

#include "matrix/matfulld.h"

namespace qvtx {

/// Error `code` about argument `arg` when the column counts differ.
inline void require_columns(const MatFullD& m, const MatFullD& other, int code, int arg) {
  if (m.ncol() != other.ncol()) m.ermessage('s', code, arg, other.nrow(), other.ncol());
}

/// Errors 57 unless row i of m and row j of b are a pair that can be moved or derived.
inline void require_pair(const MatFullD& m, long i, const MatFullD& b, long j) {
  if (i < 0 || i >= m.nrow()) m.ermessage('e', 57, 1, i);
  if (m.ncol() != b.ncol()) m.ermessage('e', 57, 2, b);
  if (j < 0 || j >= b.nrow()) b.ermessage('e', 57, 3, j);
}

/// `out` becomes rows x cols zeros; false when there is no room.
inline bool become_zeros(MatFullD& out, long rows, long cols) {
  out.setdim(rows, cols);
  out.setrows(rows, 0.0);
  return out.nrow() == rows;
}

}  // namespace qvtx
