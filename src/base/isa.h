#pragma once
// The instruction set that the hot loops use. Results never depend on it.

namespace qvtx {

enum class Isa { baseline, avx2, avx512 };

/// Widest level of the machine, narrowed by the environment variable QVTX_ISA (baseline, avx2, avx512).
Isa isa_level();
/// Widest level that the machine can run.
Isa isa_best();
/// Narrows the level; a level beyond the machine's is lowered to it. For tests and benchmarks.
void set_isa_level(Isa level);

}  // namespace qvtx
