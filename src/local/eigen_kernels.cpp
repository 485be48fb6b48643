// Hot loops of the eigen solver; compiled once per instruction set.

#include "local/eigen_kernels.h"

#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

template <class Real>
constexpr int width = lanes_of<Real>;
template <class Real>
constexpr int line_size = static_cast<int>(line_vectors<Real>);
constexpr int line_registers = 64 / register_bytes;

template <class Real>
inline Real fold(const VecOf<Real>* acc) {
  Real sums[line_size<Real>];
  __builtin_memcpy(sums, acc, sizeof sums);
  for (int half = line_size<Real> / 2; half > 0; half /= 2) {
    for (int i = 0; i < half; ++i) sums[i] += sums[i + half];
  }
  return sums[0];
}

// The part of R rows j.. that lies left of column `length`, a multiple of the line: updates it, adds its
// share to p, and leaves the products of the rows with x in dots. What belongs to the rows is read ahead of
// the loop: the compiler cannot know that the stores leave it alone.
template <class Real, int R>
inline void update_rows(Real* const* a, long j, long length, const Real* u, const Real* q, const Real* x,
                        Real* p, Real* dots) {
  using Vec = VecOf<Real>;
  Vec acc[R][line_registers] = {};
  Real* row[R];
  Vec row_u[R], row_q[R], row_x[R];
  for (int r = 0; r < R; ++r) {
    row[r] = a[j + r];
    row_u[r] = broadcast(u[j + r]);
    row_q[r] = broadcast(q[j + r]);
    row_x[r] = broadcast(x[j + r]);
  }
  for (long k = 0; k < length; k += line_size<Real>) {
    for (int g = 0; g < line_registers; ++g) {
      const long at = k + g * width<Real>;
      const Vec vu = load(u + at);
      const Vec vq = load(q + at);
      const Vec vx = load(x + at);
      Vec vp = load(p + at);
      for (int r = 0; r < R; ++r) {
        Vec value = load(row[r] + at);
        value -= row_u[r] * vq + row_q[r] * vu;
        store(row[r] + at, value);
        acc[r][g] += value * vx;
        vp += row_x[r] * value;
      }
      store(p + at, vp);
    }
  }
  for (int r = 0; r < R; ++r) dots[r] = fold<Real>(acc[r]);
}

// The part of row j from column `first` to the diagonal; completes p[j].
template <class Real>
inline void update_corner(Real* row, long j, long first, const Real* u, const Real* q, const Real* x, Real* p,
                          Real sum) {
  for (long k = first; k < j; ++k) {
    const Real value = row[k] - (u[j] * q[k] + q[j] * u[k]);
    row[k] = value;
    sum += value * x[k];
    p[k] += x[j] * value;
  }
  row[j] -= u[j] * q[j] + q[j] * u[j];
  p[j] = sum + row[j] * x[j];
}

#if defined(__AVX512F__)
inline __m512d load_lanes(unsigned lanes, const double* p) {
  return _mm512_maskz_loadu_pd(static_cast<__mmask8>(lanes), p);
}
inline __m512 load_lanes(unsigned lanes, const float* p) {
  return _mm512_maskz_loadu_ps(static_cast<__mmask16>(lanes), p);
}
inline void store_lanes(unsigned lanes, double* p, __m512d v) {
  _mm512_mask_storeu_pd(p, static_cast<__mmask8>(lanes), v);
}
inline void store_lanes(unsigned lanes, float* p, __m512 v) {
  _mm512_mask_storeu_ps(p, static_cast<__mmask16>(lanes), v);
}
inline __m512d add_lanes(unsigned lanes, __m512d v, __m512d w) {
  return _mm512_mask_add_pd(v, static_cast<__mmask8>(lanes), v, w);
}
inline __m512 add_lanes(unsigned lanes, __m512 v, __m512 w) {
  return _mm512_mask_add_ps(v, static_cast<__mmask16>(lanes), v, w);
}

// The same for a line of rows, with the same additions in the same order: 0.15 of the time.
template <class Real>
inline void update_corners(Real* const* a, long first, const Real* u, const Real* q, const Real* x, Real* p,
                           Real* sums) {
  constexpr int size = line_size<Real>;
  using Vec = VecOf<Real>;
  const Vec vu = load(u + first), vq = load(q + first), vx = load(x + first);
  Vec value[size];
  Real products[size][size];
  for (int r = 0; r < size; ++r) {
    const unsigned up_to_own = (2U << r) - 1;
    Real* const row = a[first + r] + first;
    value[r] = load_lanes(up_to_own, row) - (broadcast(u[first + r]) * vq + broadcast(q[first + r]) * vu);
    store_lanes(up_to_own, row, value[r]);
    store(products[r], value[r] * vx);
  }
  for (int r = 0; r < size; ++r)
    for (int k = 0; k <= r; ++k) sums[r] += products[r][k];
  Vec vp = load(sums);
  for (int r = 1; r < size; ++r) vp = add_lanes((1U << r) - 1, vp, broadcast(x[first + r]) * value[r]);
  store(p + first, vp);
}
#else
template <class Real>
inline void update_corners(Real* const* a, long first, const Real* u, const Real* q, const Real* x, Real* p,
                           const Real* sums) {
  for (int r = 0; r < line_size<Real>; ++r)
    update_corner(a[first + r], first + r, first, u, q, x, p, sums[r]);
}
#endif

template <class Real>
void update_multiply(Real* const* a, long n, const Real* u, const Real* q, const Real* x, Real* p) {
  constexpr int quad = 4;
  for (long first = 0; first < n; first += line_size<Real>) {
    const long end = first + line_size<Real> < n ? first + line_size<Real> : n;
    Real dots[line_size<Real>];
    long j = first;
    for (; j + quad <= end; j += quad) update_rows<Real, quad>(a, j, first, u, q, x, p, dots + (j - first));
    for (; j < end; ++j) update_rows<Real, 1>(a, j, first, u, q, x, p, dots + (j - first));
    if (end - first == line_size<Real>) {
      update_corners(a, first, u, q, x, p, dots);
    } else {
      for (j = first; j < end; ++j) update_corner(a[j], j, first, u, q, x, p, dots[j - first]);
    }
  }
}

// Columns of a panel that pass through a loop together.
template <class Real, int T>
struct Tile {
  using Vec = VecOf<Real>;
  Vec part[T];

  static Tile read(const Real* p) {
    Tile tile;
    for (int t = 0; t < T; ++t) tile.part[t] = load(p + t * width<Real>);
    return tile;
  }
  void write(Real* p) const {
    for (int t = 0; t < T; ++t) store(p + t * width<Real>, part[t]);
  }
};

// Takes reflection `now` (u_now, products over h in g) from the rows below it and gathers the products of
// u_next, all in one pass; u_now may be null.
template <class Real, int T>
inline void reflect_tile(Real* panel, long stride, const Real* now, long now_size, const Real* next,
                         long next_size, Real* g) {
  const auto old = Tile<Real, T>::read(g);
  Tile<Real, T> sums = {};
  for (long k = 0; k < now_size; ++k) {
    auto row = Tile<Real, T>::read(panel + k * stride);
    const auto factor = broadcast(now[k]);
    for (int t = 0; t < T; ++t) row.part[t] -= factor * old.part[t];
    row.write(panel + k * stride);
    const auto weight = broadcast(next[k]);
    for (int t = 0; t < T; ++t) sums.part[t] += weight * row.part[t];
  }
  for (long k = now_size; k < next_size; ++k) {
    const auto row = Tile<Real, T>::read(panel + k * stride);
    const auto weight = broadcast(next[k]);
    for (int t = 0; t < T; ++t) sums.part[t] += weight * row.part[t];
  }
  sums.write(g);
}

// Registers that a tile takes: two hide the latency of an addition, and a line is never split beyond its
// registers.
constexpr int tile_registers = 2;

template <class Real>
void reflect_pass(Real* panel, long lines, const Real* now, long now_size, const Real* next, long next_size,
                  Real* g) {
  const long stride = lines * line_size<Real>;
  long c = 0;
  for (; c + tile_registers * width<Real> <= stride; c += tile_registers * width<Real>) {
    reflect_tile<Real, tile_registers>(panel + c, stride, now, now_size, next, next_size, g + c);
  }
  for (; c < stride; c += width<Real>) {
    reflect_tile<Real, 1>(panel + c, stride, now, now_size, next, next_size, g + c);
  }
}

template <class Real>
void reflect(Real* panel, long lines, const Real* const* u, const Real* h, long first, long n) {
  const long stride = lines * line_size<Real>;
  Real g[panel_lines * line_size<Real>] = {};
  const Real* now = nullptr;
  long now_size = 0;
  for (long i = first; i < n; ++i) {
    if (h[i] == 0) continue;
    reflect_pass(panel, lines, now, now_size, u[i], i, g);
    for (long c = 0; c < stride; ++c) g[c] /= h[i];
    now = u[i];
    now_size = i;
  }
  for (long k = 0; k < now_size; ++k) {
    for (long c = 0; c < stride; ++c) panel[k * stride + c] -= now[k] * g[c];
  }
}

// One sweep on a tile: the row that two neighbouring rotations share stays in registers.
template <class Real, int T>
inline void rotate_tile(Real* panel, long stride, const PlaneRotation<Real>* list, RotationSweep sweep) {
  auto carry = Tile<Real, T>::read(panel + sweep.last * stride);
  const PlaneRotation<Real>* rotation = list + sweep.start;
  for (long i = sweep.last - 1; i >= sweep.first; --i, ++rotation) {
    const auto row = Tile<Real, T>::read(panel + i * stride);
    const auto c = broadcast(rotation->c);
    const auto s = broadcast(rotation->s);
    Tile<Real, T> done;
    for (int t = 0; t < T; ++t) {
      done.part[t] = s * row.part[t] + c * carry.part[t];
      carry.part[t] = c * row.part[t] - s * carry.part[t];
    }
    done.write(panel + (i + 1) * stride);
  }
  carry.write(panel + sweep.first * stride);
}

template <class Real, int T>
inline void multiply_tile(Real* panel, long stride, const PlaneRotation<Real>* list, RotationSweep sweep) {
  auto carry = Tile<Real, T>::read(panel + sweep.first * stride);
  const PlaneRotation<Real>* rotation = list + sweep.start + (sweep.last - 1 - sweep.first);
  for (long i = sweep.first; i < sweep.last; ++i, --rotation) {
    const auto row = Tile<Real, T>::read(panel + (i + 1) * stride);
    const auto c = broadcast(rotation->c);
    const auto s = broadcast(rotation->s);
    Tile<Real, T> done;
    for (int t = 0; t < T; ++t) {
      done.part[t] = c * carry.part[t] + s * row.part[t];
      carry.part[t] = c * row.part[t] - s * carry.part[t];
    }
    done.write(panel + i * stride);
  }
  carry.write(panel + sweep.last * stride);
}

constexpr int rotation_registers = 4;  // hide the latency of the carried row

template <class Real>
void rotate_columns(Real* panel, long lines, const PlaneRotation<Real>* list, const RotationSweep* sweeps,
                    long count) {
  const long stride = lines * line_size<Real>;
  constexpr long step = rotation_registers * width<Real>;
  for (long k = 0; k < count; ++k) {
    long c = 0;
    for (; c + step <= stride; c += step)
      rotate_tile<Real, rotation_registers>(panel + c, stride, list, sweeps[k]);
    for (; c < stride; c += width<Real>) rotate_tile<Real, 1>(panel + c, stride, list, sweeps[k]);
  }
}

template <class Real>
void multiply_rotations(Real* panel, long lines, const PlaneRotation<Real>* list, const RotationSweep* sweeps,
                        long count) {
  const long stride = lines * line_size<Real>;
  constexpr long step = rotation_registers * width<Real>;
  for (long k = count - 1; k >= 0; --k) {
    long c = 0;
    for (; c + step <= stride; c += step)
      multiply_tile<Real, rotation_registers>(panel + c, stride, list, sweeps[k]);
    for (; c < stride; c += width<Real>) multiply_tile<Real, 1>(panel + c, stride, list, sweeps[k]);
  }
}

}  // namespace

const EigenKernels<double> eigen_kernels_double = {update_multiply<double>, reflect<double>,
                                                   rotate_columns<double>, multiply_rotations<double>};
const EigenKernels<float> eigen_kernels_float = {update_multiply<float>, reflect<float>,
                                                 rotate_columns<float>, multiply_rotations<float>};

}  // namespace qvtx::QVTX_ISA
