#pragma once
// Data for the targets that need an analysis.

#include "matrix/matfulld.h"

namespace qvtx::fuzz {

/// Twelve data in three columns, those of the snapshots in the corpus.
inline MatFullD samples() {
  MatFullD m(12, 3);
  m.setrows(12, 0.0);
  for (long i = 0; i < 36; ++i)
    m.data()[i] = static_cast<double>((i * 7) % 11) + 0.125 * static_cast<double>(i % 5);
  return m;
}

}  // namespace qvtx::fuzz
