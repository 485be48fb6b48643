// Hot loops of the block Lanczos iteration; compiled once per instruction set.

#include "local/lanczos_kernels.h"

#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

constexpr int line = 8;  // partial sums of a product
constexpr int line_registers = line / lanes;

// Rows of the matrix and vectors that pass through a loop together, as many as the registers hold sums for.
constexpr int row_tile = line_registers == 1 ? 4 : line_registers == 2 ? 2 : 1;
constexpr int vector_tile = line_registers == 1 ? 4 : 2;

inline double fold(const Vec* acc) {
  double sums[line];
  __builtin_memcpy(sums, acc, sizeof sums);
  for (int half = line / 2; half > 0; half /= 2) {
    for (int i = 0; i < half; ++i) sums[i] += sums[i + half];
  }
  return sums[0];
}

// R rows of the matrix left of column `length`, a multiple of the line, and C vectors: adds the share of the
// rows to y and leaves their products with x in dots.
template <int R, int C>
inline void multiply_rows(const double* const* a, long j, long length, const double* const* x,
                          double* const* y, double (*dots)[line]) {
  Vec acc[C][R][line_registers] = {};
  for (long k = 0; k < length; k += line) {
    for (int g = 0; g < line_registers; ++g) {
      const long at = k + g * lanes;
      Vec rows[R];
      for (int r = 0; r < R; ++r) rows[r] = load(a[j + r] + at);
      for (int c = 0; c < C; ++c) {
        const Vec vx = load(x[c] + at);
        Vec vy = load(y[c] + at);
        for (int r = 0; r < R; ++r) {
          acc[c][r][g] += rows[r] * vx;
          vy += broadcast(x[c][j + r]) * rows[r];
        }
        store(y[c] + at, vy);
      }
    }
  }
  for (int c = 0; c < C; ++c) {
    for (int r = 0; r < R; ++r) dots[c][j - length + r] = fold(acc[c][r]);
  }
}

// Row j from column `first` to the diagonal; completes y[j] as far as rows above and itself go.
inline void multiply_corner(const double* row, long j, long first, const double* x, double* y, double sum) {
  for (long k = first; k < j; ++k) {
    sum += row[k] * x[k];
    y[k] += x[j] * row[k];
  }
  y[j] = sum + row[j] * x[j];
}

// A line of rows, first to end, for C vectors.
template <int C>
inline void multiply_line(const double* const* a, long first, long end, const double* const* x,
                          double* const* y) {
  double dots[C][line];
  long j = first;
  for (; j + row_tile <= end; j += row_tile) multiply_rows<row_tile, C>(a, j, first, x, y, dots);
  for (; j < end; ++j) multiply_rows<1, C>(a, j, first, x, y, dots);
  for (int c = 0; c < C; ++c) {
    for (j = first; j < end; ++j) multiply_corner(a[j], j, first, x[c], y[c], dots[c][j - first]);
  }
}

// The vectors take turns on a line of rows while it is in the cache.
void multiply(const double* const* a, long n, const double* const* x, double* const* y, long count) {
  for (long first = 0; first < n; first += line) {
    const long end = first + line < n ? first + line : n;
    long c = 0;
    for (; c + vector_tile <= count; c += vector_tile)
      multiply_line<vector_tile>(a, first, end, x + c, y + c);
    for (; c + 2 <= count; c += 2) multiply_line<2>(a, first, end, x + c, y + c);
    for (; c < count; ++c) multiply_line<1>(a, first, end, x + c, y + c);
  }
}

template <int V>
inline void project_on(const double* const* q, const double* x, long n, double* products) {
  Vec acc[V][line_registers] = {};
  long k = 0;
  for (; k + line <= n; k += line) {
    for (int g = 0; g < line_registers; ++g) {
      const Vec vx = load(x + k + g * lanes);
      for (int v = 0; v < V; ++v) acc[v][g] += load(q[v] + k + g * lanes) * vx;
    }
  }
  for (int v = 0; v < V; ++v) {
    double sum = fold(acc[v]);
    for (long t = k; t < n; ++t) sum += q[v][t] * x[t];
    products[v] = sum;
  }
}

template <int V>
inline void combine_with(const double* const* q, const double* factors, double* x, long n) {
  long k = 0;
  for (; k + lanes <= n; k += lanes) {
    Vec sum = load(x + k);
    for (int v = 0; v < V; ++v) sum += broadcast(factors[v]) * load(q[v] + k);
    store(x + k, sum);
  }
  for (; k < n; ++k) {
    for (int v = 0; v < V; ++v) x[k] += factors[v] * q[v][k];
  }
}

constexpr int basis_tile = 4;

void project(const double* const* q, long count, const double* x, long n, double* products) {
  long v = 0;
  for (; v + basis_tile <= count; v += basis_tile) project_on<basis_tile>(q + v, x, n, products + v);
  for (; v < count; ++v) project_on<1>(q + v, x, n, products + v);
}

void combine(const double* const* q, long count, const double* factors, double* x, long n) {
  long v = 0;
  for (; v + basis_tile <= count; v += basis_tile) combine_with<basis_tile>(q + v, factors + v, x, n);
  for (; v < count; ++v) combine_with<1>(q + v, factors + v, x, n);
}

}  // namespace

const LanczosKernels lanczos_kernels = {multiply, project, combine};

}  // namespace qvtx::QVTX_ISA
