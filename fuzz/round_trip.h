#pragma once
// What loads can be saved, and comes back.

#include "fuzz.h"

namespace qvtx::fuzz {

/// A file format by its two operations on a matrix, each returning whether it succeeded.
template <class Matrix>
struct Format {
  int (*load)(Matrix& m, const char* name);
  int (*save)(const Matrix& m, const char* name);
};

/// Loads the bytes; when that succeeds, saves the matrix and loads it again: both are given to `compare`.
template <class Matrix, class Compare>
void round_trip(const std::uint8_t* bytes, std::size_t size, const Format<Matrix>& format, Compare compare) {
  const InputFile input(bytes, size);
  Matrix m;
  if (!format.load(m, input.path())) return;
  const InputFile saved;
  demand(format.save(m, saved.path()));
  Matrix again;
  demand(format.load(again, saved.path()));
  demand(again.nrow() == m.nrow() && again.ncol() == m.ncol());
  compare(m, again);
}

}  // namespace qvtx::fuzz
