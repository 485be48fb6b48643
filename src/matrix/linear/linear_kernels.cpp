// Hot loops of the linear algebra; compiled once per instruction set.

#include "matrix/linear/linear_kernels.h"

#include "base/vector_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

// The sum of a power of two of partial sums, the upper half added to the lower one until one is left.
template <int count>
double fold(double* sums) {
  for (int half = count / 2; half > 0; half /= 2) {
    for (int i = 0; i < half; ++i) sums[i] += sums[i + half];
  }
  return sums[0];
}

double dot(const double* x, const double* y, long n) {
  constexpr int partial = 16;
  Vec acc[partial / lanes] = {};
  long i = 0;
  for (; i + partial <= n; i += partial) {
    for (int p = 0; p < partial / lanes; ++p) acc[p] += load(x + i + p * lanes) * load(y + i + p * lanes);
  }
  double sums[partial];
  __builtin_memcpy(sums, acc, sizeof sums);
  for (int lane = 0; i < n; ++i, ++lane) sums[lane] += x[i] * y[i];
  return fold<partial>(sums);
}

// One tile of multiply_add held in registers: R rows of c, P vectors wide.
template <int R, int P>
void multiply_tile(double* c, long c_row, const double* a, long a_row, long a_step, const double* b,
                   long b_row, long inner, double sign) {
  Vec acc[R][P];
  for (int r = 0; r < R; ++r) {
    for (int p = 0; p < P; ++p) acc[r][p] = load(c + r * c_row + p * lanes);
  }
  for (long k = 0; k < inner; ++k) {
    Vec row[P];
    for (int p = 0; p < P; ++p) row[p] = load(b + k * b_row + p * lanes);
    for (int r = 0; r < R; ++r) {
      const Vec factor = broadcast(sign * a[r * a_row + k * a_step]);
      for (int p = 0; p < P; ++p) acc[r][p] += factor * row[p];
    }
  }
  for (int r = 0; r < R; ++r) {
    for (int p = 0; p < P; ++p) store(c + r * c_row + p * lanes, acc[r][p]);
  }
}

// R rows of c, all columns of a strip: whole tiles, single vectors, single columns.
template <int R>
void multiply_rows(double* c, long c_row, const double* a, long a_row, long a_step, const double* b,
                   long b_row, long inner, long cols, double sign) {
  long j = 0;
  for (; j + 2 * lanes <= cols; j += 2 * lanes) {
    multiply_tile<R, 2>(c + j, c_row, a, a_row, a_step, b + j, b_row, inner, sign);
  }
  for (; j + lanes <= cols; j += lanes) {
    multiply_tile<R, 1>(c + j, c_row, a, a_row, a_step, b + j, b_row, inner, sign);
  }
  for (; j < cols; ++j) {
    for (int r = 0; r < R; ++r) {
      double sum = c[r * c_row + j];
      for (long k = 0; k < inner; ++k) sum += sign * a[r * a_row + k * a_step] * b[k * b_row + j];
      c[r * c_row + j] = sum;
    }
  }
}

void multiply_add(double* c, long c_row, const double* a, long a_row, long a_step, const double* b,
                  long b_row, long rows, long inner, long cols, double sign) {
  constexpr long inner_step =
      256;  // keeps the strip of b in the second-level cache while the rows of c pass by
  constexpr long strip = 2 * lanes;
  for (long k = 0; k < inner; k += inner_step) {
    const long length = inner - k < inner_step ? inner - k : inner_step;
    for (long j = 0; j < cols; j += strip) {
      const long part = cols - j < strip ? cols - j : strip;
      const double* factors = a + k * a_step;
      const double* source = b + k * b_row + j;
      long i = 0;
      for (; i + 4 <= rows; i += 4) {
        multiply_rows<4>(c + i * c_row + j, c_row, factors + i * a_row, a_row, a_step, source, b_row, length,
                         part, sign);
      }
      for (; i < rows; ++i) {
        multiply_rows<1>(c + i * c_row + j, c_row, factors + i * a_row, a_row, a_step, source, b_row, length,
                         part, sign);
      }
    }
  }
}

inline void axpy(double* y, double factor, const double* x, long n) {
  const Vec f = broadcast(factor);
  long i = 0;
  for (; i + lanes <= n; i += lanes) store(y + i, load(y + i) + f * load(x + i));
  for (; i < n; ++i) y[i] += factor * x[i];
}

void reflect_rows(double* a, long a_row, long rows, long cols, const double* x, const double* y) {
  for (long i = 0; i < rows; ++i, a += a_row) axpy(a, dot(a, x, cols), y, cols);
}

void rotate(double* x, double* y, double c, double s, long n) {
  const Vec vc = broadcast(c);
  const Vec vs = broadcast(s);
  long i = 0;
  for (; i + lanes <= n; i += lanes) {
    const Vec vx = load(x + i);
    const Vec vy = load(y + i);
    store(x + i, vc * vx + vs * vy);
    store(y + i, vc * vy - vs * vx);
  }
  for (; i < n; ++i) {
    const double old = x[i];
    x[i] = c * old + s * y[i];
    y[i] = c * y[i] - s * old;
  }
}

constexpr int qr_lanes = 8;
constexpr int qr_vectors = qr_lanes / lanes;

// sums[t] = x . (column t of C neighbouring ones) over the rows of a block.
template <int C>
inline void column_dots(const double* x, const double* columns, double* sums) {
  Vec acc[C][qr_vectors] = {};
  for (long k = 0; k < qr_block_rows; k += qr_lanes) {
    for (int p = 0; p < qr_vectors; ++p) {
      const Vec vx = load(x + k + p * lanes);
      for (int t = 0; t < C; ++t) acc[t][p] += vx * load(columns + t * qr_block_rows + k + p * lanes);
    }
  }
  for (int t = 0; t < C; ++t) {
    double values[qr_lanes];
    __builtin_memcpy(values, acc[t], sizeof values);
    sums[t] = fold<qr_lanes>(values);
  }
}

// column t += factors[t] x for C neighbouring columns.
template <int C>
inline void add_columns(const double* x, double* columns, const double* factors) {
  for (long k = 0; k < qr_block_rows; k += lanes) {
    const Vec vx = load(x + k);
    for (int t = 0; t < C; ++t) {
      double* p = columns + t * qr_block_rows + k;
      store(p, load(p) + broadcast(factors[t]) * vx);
    }
  }
}

// Applies the reflection of column x with head v0 to C neighbouring columns and their elements of the row r.
template <int C>
inline void reflect_columns(const double* x, double v0, double inverse, double* r, double* columns) {
  double factors[C];
  column_dots<C>(x, columns, factors);
  for (int t = 0; t < C; ++t) {
    factors[t] = (v0 * r[t] + factors[t]) * inverse;
    r[t] += factors[t] * v0;
  }
  add_columns<C>(x, columns, factors);
}

void absorb_rows(double* r, double* block, long n) {
  for (long i = 0; i < n; ++i) {
    const double* x = block + i * qr_block_rows;
    double* row = r + i * n;
    double squares;
    column_dots<1>(x, x, &squares);
    if (squares < qr_negligible) continue;
    const double alpha = row[i];
    const double norm = __builtin_sqrt(alpha * alpha + squares);
    const double beta = alpha < 0 ? norm : -norm;  // the sign that does not cancel in v0
    const double v0 = alpha - beta;
    const double inverse = 1 / (beta * v0);  // beta v0: minus half the squared length of (v0, x)
    row[i] = beta;
    long j = i + 1;
    for (; j + 4 <= n; j += 4) reflect_columns<4>(x, v0, inverse, row + j, block + j * qr_block_rows);
    for (; j < n; ++j) reflect_columns<1>(x, v0, inverse, row + j, block + j * qr_block_rows);
  }
}

}  // namespace

const LinearKernels linear_kernels = {dot, multiply_add, reflect_rows, rotate, absorb_rows};

}  // namespace qvtx::QVTX_ISA
