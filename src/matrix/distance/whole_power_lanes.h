#pragma once
// Whole powers of numbers and vectors by products, in the namespace of the instruction set. For sources
// called
// *_kernels.cpp only.

namespace qvtx::QVTX_ISA {

/// t^p for p = 1 ... 7 with the bits of distance::whole_power: (t^1 t^2) t^4 of those that p's binary digits
/// name.
template <int p, class T>
[[gnu::always_inline]] inline T whole_power(const T& t) {
  static_assert(p >= 1 && p <= 7);
  if constexpr (p == 1) return t;
  const T square = t * t;
  if constexpr (p == 2) return square;
  if constexpr (p == 3) return t * square;
  const T fourth = square * square;
  if constexpr (p == 4) return fourth;
  if constexpr (p == 5) return t * fourth;
  if constexpr (p == 6) return square * fourth;
  return t * square * fourth;
}

}  // namespace qvtx::QVTX_ISA
