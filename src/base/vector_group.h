#pragma once
// Several vectors that go through a formula side by side, one operation after the other: most operations wait
// for the one before, and the processor does not look far enough ahead to fill the time with later vectors of
// a loop. For sources called *_kernels.cpp only.

#include "base/exponential.h"
#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {

/// Vectors that loops take side by side, and the numbers in them.
constexpr int parts = 4;
constexpr long group = parts * lanes;

template <int count>
struct VecGroup {
  Vec part[count];

  VecGroup() = default;
  VecGroup(double x) {
    for (Vec& v : part) v = broadcast(x);
  }
  friend VecGroup operator+(VecGroup a, const VecGroup& b) {
    for (int i = 0; i < count; ++i) a.part[i] += b.part[i];
    a.keep_order();
    return a;
  }
  friend VecGroup operator-(VecGroup a, const VecGroup& b) {
    for (int i = 0; i < count; ++i) a.part[i] -= b.part[i];
    a.keep_order();
    return a;
  }
  friend VecGroup operator*(VecGroup a, const VecGroup& b) {
    for (int i = 0; i < count; ++i) a.part[i] *= b.part[i];
    a.keep_order();
    return a;
  }
  friend VecGroup operator/(VecGroup a, const VecGroup& b) {
    for (int i = 0; i < count; ++i) a.part[i] /= b.part[i];
    a.keep_order();
    return a;
  }

 private:
  // The compilers would take one vector through the whole formula, then the next, but they do not look into
  // this empty instruction. It is for those with registers enough.
  void keep_order() {
#if defined(__AVX512F__)
    for (Vec& v : part) asm("" : "+v"(v));
#endif
  }
};

/// Exponents out of range may wrap round: `in_range` drops what comes of them.
typedef unsigned long long WrappingBits __attribute__((vector_size(register_bytes)));

template <int count>
inline VecGroup<count> scaled(VecGroup<count> mantissa, const VecGroup<count>& shifted) {
  for (int i = 0; i < count; ++i)
    mantissa.part[i] = (Vec)((WrappingBits)mantissa.part[i] + ((WrappingBits)shifted.part[i] << 52));
  return mantissa;
}

template <int count>
inline VecGroup<count> in_range(const VecGroup<count>& x, VecGroup<count> power) {
  for (int i = 0; i < count; ++i) {
    const Vec v = x.part[i];
    const Vec bounded = select(above(broadcast(least_exponent), v), Vec{}, power.part[i]);
    power.part[i] = select(at_least(broadcast(largest_exponent), v), bounded, v + __builtin_inf());
  }
  return power;
}

/// `fixed_exp` of every lane of some vectors.
template <int count>
inline void exponentials(Vec (&v)[count]) {
  VecGroup<count> x;
  for (int i = 0; i < count; ++i) x.part[i] = v[i];
  x = exponential_of(x);
  for (int i = 0; i < count; ++i) v[i] = x.part[i];
}

}  // namespace qvtx::QVTX_ISA
