// The hot loops of the linear algebra against plain loops, bit for bit, at every instruction set.

#include "matrix/linear_kernels.h"

#include "matrix/linear_support.h"

namespace qvtx::test {
namespace {

using LinearKernelsTest = LinearAlgebra;

double plain_dot(const double* x, const double* y, long n) {
  double sums[16] = {};
  for (long i = 0; i < n; ++i) sums[i % 16] += x[i] * y[i];
  for (int half = 8; half > 0; half /= 2) {
    for (int i = 0; i < half; ++i) sums[i] += sums[i + half];
  }
  return sums[0];
}

TEST_F(LinearKernelsTest, DotHasTheBitsOfThePlainLoopAtEveryLevel) {
  const MatFullD a = random_matrix(2, 100, 3);
  for (const Isa level : levels()) {
    set_isa_level(level);
    for (const long n : {0L, 1L, 7L, 15L, 16L, 17L, 31L, 32L, 33L, 100L}) {
      EXPECT_EQ(linear_kernels().dot(a.row(0), a.row(1), n), plain_dot(a.row(0), a.row(1), n)) << n;
    }
  }
}

TEST_F(LinearKernelsTest, MultiplyAddHasTheBitsOfThePlainLoopAtEveryLevel) {
  const long sizes[][3] = {{1, 1, 1}, {3, 5, 7}, {4, 300, 16}, {5, 257, 33}, {9, 2, 50}, {2, 0, 5}};
  for (const auto& [rows, inner, cols] : sizes) {
    const MatFullD a = random_matrix(rows, inner + 1, 1);
    const MatFullD b = random_matrix(inner + 1, cols, 2);
    const MatFullD start = random_matrix(rows, cols, 3);
    // k increasing, and k decreasing through negative steps.
    for (const bool down : {false, true}) {
      MatFullD expected = copy_of(start);
      for (long i = 0; i < rows; ++i) {
        for (long j = 0; j < cols; ++j) {
          for (long t = 0; t < inner; ++t) {
            const long k = down ? inner - 1 - t : t;
            expected(i, j) -= a(i, k) * b(k, j);
          }
        }
      }
      const long last = down ? inner - 1 : 0;
      const long step = down ? -1 : 1;
      for (const Isa level : levels()) {
        set_isa_level(level);
        MatFullD c = copy_of(start);
        linear_kernels().multiply_add(c.data(), cols, a.data() + last, inner + 1, step,
                                      b.data() + last * cols, step * cols, rows, inner, cols, -1);
        EXPECT_TRUE(same_bits(c.data(), expected.data(), rows * cols)) << rows << ' ' << inner << ' ' << cols;
      }
    }
  }
}

// The same reflections with plain loops.
void plain_absorb(std::vector<double>& r, std::vector<double>& block, long n) {
  const auto column_dot = [&block](long i, long j) {
    double sums[8] = {};
    for (long k = 0; k < qr_block_rows; ++k) {
      sums[k % 8] += block[static_cast<size_t>(i * qr_block_rows + k)] *
                     block[static_cast<size_t>(j * qr_block_rows + k)];
    }
    for (int half = 4; half > 0; half /= 2) {
      for (int t = 0; t < half; ++t) sums[t] += sums[t + half];
    }
    return sums[0];
  };
  for (long i = 0; i < n; ++i) {
    double& corner = r[static_cast<size_t>(i * n + i)];
    const double squares = column_dot(i, i);
    if (squares < qr_negligible) continue;
    const double norm = std::sqrt(corner * corner + squares);
    const double beta = corner < 0 ? norm : -norm;
    const double head = corner - beta;
    corner = beta;
    for (long j = i + 1; j < n; ++j) {
      double& top = r[static_cast<size_t>(i * n + j)];
      const double factor = (head * top + column_dot(i, j)) * (1 / (beta * head));
      top += factor * head;
      for (long k = 0; k < qr_block_rows; ++k) {
        block[static_cast<size_t>(j * qr_block_rows + k)] +=
            factor * block[static_cast<size_t>(i * qr_block_rows + k)];
      }
    }
  }
}

TEST_F(LinearKernelsTest, AbsorbRowsHasTheBitsOfThePlainLoopAtEveryLevel) {
  for (const long n : {1L, 4L, 5L, 10L}) {
    const MatFullD data = random_matrix(2 * n, qr_block_rows, 11);
    std::vector<double> expected(static_cast<size_t>(n * n), 0);
    for (int part = 0; part < 2; ++part) {
      std::vector<double> block(data.row(part * n), data.row(part * n) + n * qr_block_rows);
      plain_absorb(expected, block, n);
    }
    for (const Isa level : levels()) {
      set_isa_level(level);
      std::vector<double> r(expected.size(), 0);
      for (int part = 0; part < 2; ++part) {
        std::vector<double> block(data.row(part * n), data.row(part * n) + n * qr_block_rows);
        linear_kernels().absorb_rows(r.data(), block.data(), n);
      }
      EXPECT_TRUE(same_bits(r.data(), expected.data(), n * n)) << n;
    }
  }
}

TEST_F(LinearKernelsTest, DecompositionsHaveTheSameBitsAtEveryLevel) {
  const MatFullD tall = random_matrix(300, 21, 5);
  MatFullD first_values, first_vectors, first_u, first_inverse;
  for (const Isa level : levels()) {
    set_isa_level(level);
    MatFullD vectors, values, w, v;
    tall.pca(vectors, values, 21, 1);
    MatFullD u = copy_of(tall);
    u.svd(w, v, 0);
    MatFullD inverse = product(transposed(tall), tall);
    inverse.inv();
    if (level == Isa::baseline) {
      first_values.copy(values);
      first_vectors.copy(vectors);
      first_u.copy(u);
      first_inverse.copy(inverse);
    }
    EXPECT_TRUE(same_bits(values.data(), first_values.data(), 21));
    EXPECT_TRUE(same_bits(vectors.data(), first_vectors.data(), 21 * 21));
    EXPECT_TRUE(same_bits(u.data(), first_u.data(), 300 * 21));
    EXPECT_TRUE(same_bits(inverse.data(), first_inverse.data(), 21 * 21));
  }
}

}  // namespace
}  // namespace qvtx::test
