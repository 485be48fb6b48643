#pragma once
// What loads can be saved, and comes back.

#include "fuzz.h"
#include "matrix/matfulld.h"

namespace qvtx::fuzz {

/// Loads the bytes in a file format; when that succeeds, saves the matrix and loads it again. The format has
/// static templates `load` and `save` on a matrix and a file name, which return whether they succeeded, and
/// `compare`, which is given the matrix and the one that came back.
template <class Format, class Matrix>
void round_trip(const std::uint8_t* bytes, std::size_t size) {
  const InputFile input(bytes, size);
  Matrix m;
  if (!Format::load(m, input.path())) return;
  const InputFile saved;
  demand(Format::save(m, saved.path()));
  Matrix again;
  demand(Format::load(again, saved.path()));
  demand(again.nrow() == m.nrow() && again.ncol() == m.ncol());
  Format::compare(m, again);
}

/// The whole of a target for a file format of matrices.
template <class Format>
int round_trips(const std::uint8_t* bytes, std::size_t size) {
  silence();
  round_trip<Format, MatFullD>(bytes, size);
  round_trip<Format, MatFullL>(bytes, size);
  return 0;
}

}  // namespace qvtx::fuzz
