#pragma once
// Vectors of doubles as wide as the instruction set that a kernel source is compiled for, in its namespace.
// For sources called *_kernels.cpp only. Comparisons of vectors give Bits, all ones where they hold; `?:`
// selects lane by lane.

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace qvtx::QVTX_ISA {

#if defined(__AVX512F__)
constexpr int lanes = 8;
#elif defined(__AVX2__)
constexpr int lanes = 4;
#else
constexpr int lanes = 2;
#endif

typedef double Vec __attribute__((vector_size(lanes * 8)));
typedef long long Bits __attribute__((vector_size(lanes * 8)));
typedef double LooseVec __attribute__((vector_size(lanes * 8), aligned(8), may_alias));

inline Vec load(const double* p) { return *reinterpret_cast<const LooseVec*>(p); }
inline void store(double* p, Vec v) { *reinterpret_cast<LooseVec*>(p) = v; }
inline Vec broadcast(double x) { return x - Vec{}; }

inline Vec root(Vec v) {
#if defined(__AVX512F__)
  return _mm512_mask_sqrt_pd(v, 0xff,
                             v);  // the form without mask warns of an uninitialised value with GCC 12
#elif defined(__AVX2__)
  return _mm256_sqrt_pd(v);
#elif defined(__SSE2__)
  return _mm_sqrt_pd(v);
#else
  for (int l = 0; l < lanes; ++l) v[l] = __builtin_sqrt(v[l]);
  return v;
#endif
}

/// Whether a comparison holds in any lane.
inline bool any(Bits b) {
#if defined(__AVX512F__)
  return _mm512_movepi64_mask((__m512i)b) != 0;
#elif defined(__AVX2__)
  return _mm256_movemask_pd((__m256d)b) != 0;
#elif defined(__SSE2__)
  return _mm_movemask_pd((__m128d)b) != 0;
#else
  for (int l = 0; l < lanes; ++l)
    if (b[l]) return true;
  return false;
#endif
}

}  // namespace qvtx::QVTX_ISA
