#pragma once
// Vectors as wide as the instruction set that a kernel source is compiled for, in its namespace, and the few
// operations that the vector types of the compilers lack. For sources called *_kernels.cpp only. Comparisons
// of vectors give Bits, all ones where they hold; `?:` selects lane by lane.

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace qvtx::QVTX_ISA {

/// A register of the instruction set in hand, in bytes.
#if defined(__AVX512F__)
constexpr int register_bytes = 64;
#elif defined(__AVX2__)
constexpr int register_bytes = 32;
#else
constexpr int register_bytes = 16;
#endif

typedef double Vec __attribute__((vector_size(register_bytes)));
typedef float FloatVec __attribute__((vector_size(register_bytes)));
typedef long long Bits __attribute__((vector_size(register_bytes)));

/// The register of a kind of numbers, for templates over double and float.
template <class Real>
struct Register;
template <>
struct Register<double> {
  using Type = Vec;
};
template <>
struct Register<float> {
  using Type = FloatVec;
};
template <class Real>
using VecOf = typename Register<Real>::Type;

/// Numbers in a register.
template <class Real>
constexpr int lanes_of = register_bytes / static_cast<int>(sizeof(Real));
constexpr int lanes = lanes_of<double>;
constexpr int float_lanes = lanes_of<float>;

typedef double LooseVec __attribute__((vector_size(register_bytes), aligned(8), may_alias));
typedef float LooseFloatVec __attribute__((vector_size(register_bytes), aligned(4), may_alias));

inline Vec load(const double* p) { return *reinterpret_cast<const LooseVec*>(p); }
inline FloatVec load(const float* p) { return *reinterpret_cast<const LooseFloatVec*>(p); }
inline void store(double* p, Vec v) { *reinterpret_cast<LooseVec*>(p) = v; }
inline void store(float* p, FloatVec v) { *reinterpret_cast<LooseFloatVec*>(p) = v; }
inline Vec broadcast(double x) { return x - Vec{}; }
inline FloatVec broadcast(float x) { return x - FloatVec{}; }

/// Square roots, correctly rounded.
inline Vec root(Vec v) {
#if defined(__AVX512F__)
  return _mm512_mask_sqrt_pd(v, 0xff, v);  // GCC 12 warns of an uninitialised value in the form without mask
#elif defined(__AVX2__)
  return _mm256_sqrt_pd(v);
#elif defined(__SSE2__)
  return _mm_sqrt_pd(v);
#else
  for (int l = 0; l < lanes; ++l) v[l] = __builtin_sqrt(v[l]);
  return v;
#endif
}

/// The same bits as `root`, for short loops whose bound is the unit that takes roots and divisions. With
/// AVX-512 the root is made by multiplications, which run beside that unit.
///
/// The estimate y of 1 / sqrt(v) has an error below 2^-14; one step of third order leaves less than 2^-39
/// (the error e of v y^2 is below 2^-13, the step drops terms from 5/16 e^3 on). With g = v y and d = v - g
/// g, the root is g + d / (sqrt(v) + g) and lies between g + d y (1 - 2^-30) / 2 and g + d y (1 + 2^-30) / 2.
/// Where both round to the same number, so does the root. That fails in less than one of 2^16 lanes, and for
/// 0, infinity, NaN and numbers so small that d would lose digits. Their vectors take the slow way.
inline Vec fast_root(Vec v) {
#if defined(__AVX512F__)
  constexpr double least = 0x1p-960;
  const __m512d y = _mm512_maskz_rsqrt14_pd(0xff, v);
  const __m512d e = _mm512_fnmadd_pd(v * y, y, broadcast(1.0));
  const __m512d estimate = _mm512_fmadd_pd(_mm512_fmadd_pd(e, broadcast(0.375), broadcast(0.5)), e * y, y);
  const __m512d g = v * estimate;
  const __m512d d = _mm512_fnmadd_pd(g, g, v);
  const __m512d low = _mm512_fmadd_pd(d, estimate * (0.5 - 0x1p-31), g);
  const __m512d high = _mm512_fmadd_pd(d, estimate * (0.5 + 0x1p-31), g);
  const __mmask8 equal = _mm512_cmp_pd_mask(low, high, _CMP_EQ_OQ);
  const __mmask8 settled = _mm512_mask_cmp_pd_mask(equal, v, broadcast(least), _CMP_GE_OQ);
  return __builtin_expect(settled == 0xff, 1) ? low : root(v);
#else
  return root(v);
#endif
}

/// The roots of several vectors: `by_unit` of them by the unit for roots and divisions, the others by
/// multiplications beside it. How many keep both busy depends on what else the loop does.
template <int by_unit, int count>
inline void fast_roots(Vec (&v)[count]) {
  for (int i = 0; i < count; ++i) v[i] = i < by_unit ? root(v[i]) : fast_root(v[i]);
}

/// What comparisons give where the instruction set has registers of its own for it: narrower than Bits, and
/// the compilers do not go back and forth between the two.
#if defined(__AVX512F__)
typedef __mmask8 Mask;
inline Mask above(Vec a, Vec b) { return _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ); }
inline Mask at_least(Vec a, Vec b) { return _mm512_cmp_pd_mask(a, b, _CMP_GE_OQ); }
inline Vec select(Mask m, Vec a, Vec b) { return _mm512_mask_blend_pd(m, b, a); }
inline unsigned mask_of(Mask m) { return m; }
#else
typedef Bits Mask;
inline Mask above(Vec a, Vec b) { return a > b; }
inline Mask at_least(Vec a, Vec b) { return a >= b; }
inline Vec select(Mask m, Vec a, Vec b) { return m ? a : b; }
#endif

/// A comparison as a number: bit l is set where it holds in lane l.
inline unsigned mask_of(Bits b) {
#if defined(__AVX512F__)
  return _mm512_movepi64_mask((__m512i)b);
#elif defined(__AVX2__)
  return static_cast<unsigned>(_mm256_movemask_pd((__m256d)b));
#elif defined(__SSE2__)
  return static_cast<unsigned>(_mm_movemask_pd((__m128d)b));
#else
  unsigned mask = 0;
  for (int l = 0; l < lanes; ++l) mask |= static_cast<unsigned>(b[l] & 1) << l;
  return mask;
#endif
}

/// Whether a comparison holds in any lane.
inline bool any(Bits b) { return mask_of(b) != 0; }
/// Whether it holds in every lane.
inline bool all(Bits b) { return mask_of(b) == (1u << lanes) - 1; }

}  // namespace qvtx::QVTX_ISA
