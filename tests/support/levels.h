#pragma once
// The instruction sets, for tests that compare them.

#include <vector>

#include "base/isa.h"

namespace qvtx::test {

/// The instruction sets that this machine can run, the narrowest first.
inline std::vector<Isa> instruction_sets() {
  std::vector<Isa> sets;
  for (const Isa isa : {Isa::baseline, Isa::avx2, Isa::avx512}) {
    if (isa <= isa_best()) sets.push_back(isa);
  }
  return sets;
}

/// An instruction set for the lifetime of the object.
struct Level {
  explicit Level(Isa level) { set_isa_level(level); }
  ~Level() { set_isa_level(isa_best()); }
};

}  // namespace qvtx::test
