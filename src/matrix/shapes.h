#pragma once
// What the members of MatFullD share that want or make matrices of a certain shape.

#include "matrix/matfulld.h"

namespace qvtx {

/// Error `code` about argument `arg` when the column counts differ.
inline void require_columns(const MatFullD& m, const MatFullD& other, int code, int arg) {
  if (m.ncol() != other.ncol()) m.ermessage('s', code, arg, other.nrow(), other.ncol());
}

/// `out` becomes rows x cols zeros; false when there is no room.
inline bool become_zeros(MatFullD& out, long rows, long cols) {
  out.setdim(rows, cols);
  out.setrows(rows, 0.0);
  return out.nrow() == rows;
}

}  // namespace qvtx
