// Cumulants, lagged moments, and the diagonalisation of several matrices at once.

#include "matrix/linear_support.h"
#include "matrix/matstor.h"

namespace qvtx {
namespace {

using test::contents;
using test::copy_of;
using test::difference;
using test::identity;
using test::matrix;
using test::product;
using test::transposed;

/// All combinations of -1 and 1: independent columns without covariance, each with the fourth cumulant -2.
MatFullD signs(long d) {
  MatFullD x = matrix(1L << d, d);
  for (long i = 0; i < x.nrow(); ++i)
    for (long j = 0; j < d; ++j) x(i, j) = (i >> j & 1) != 0 ? 1 : -1;
  return x;
}

/// A rotation by the angle `turn` in every plane of neighbouring columns.
MatFullD rotation(long n, double turn) {
  MatFullD r = identity(n);
  for (long k = 0; k + 1 < n; ++k) r.colrot(k, k + 1, std::cos(turn), std::sin(turn));
  return r;
}

MatFullD conjugate(const MatFullD& v, const MatFullD& a) { return product(product(v, a), transposed(v)); }

double square_beside_diagonal(const MatFullD& a) {
  double sum = 0;
  for (long i = 0; i < a.nrow(); ++i)
    for (long j = 0; j < a.ncol(); ++j) sum += i == j ? 0 : a.get(i, j) * a.get(i, j);
  return sum;
}

TEST(Cumulants, KnownFigures) {
  const MatFullD ramp = matrix(4, 1, {1, 2, 3, 4}), swing = matrix(4, 1, {1, -1, 1, -1});
  const MatFullD two = matrix(4, 2, {1, 0, 2, 0, 3, 4, 4, 0});  // means 2.5 and 1
  const MatFullD constant = matrix(3, 1, {5, 5, 5}), about_one = matrix(1, 1, {1});
  using Call = std::function<void(MatFullD&)>;
  const struct {
    const char* name;
    Call call;
    std::vector<double> expected;
  } cases[] = {
      {"skewness",
       [&](MatFullD& o) {
         matrix(4, 1, {0, 0, 0, 4}).sss(o);
       },
       {2 / std::sqrt(3.0)}},
      {"no spread", [&](MatFullD& o) { constant.sss(o); }, {0}},
      // y = 0 1 2 3: E[y^3] = 9, v = 3.5
      {"about 1", [&](MatFullD& o) { ramp.sss(about_one, o); }, {9 / (3.5 * std::sqrt(3.5))}},
      {"lag 0", [&](MatFullD& o) { two.tcc(o, 0); }, {1.25, 0.5, 0.5, 3}},
      // rows paired: (y1, later y1) -1.5 -0.5, -0.5 0.5, 0.5 1.5; second column -1 -1 3 -1
      {"lag 1", [&](MatFullD& o) { two.tcc(o, 1); }, {1.25 / 3, -0.5 / 3, 1.5, -5.0 / 3}},
      {"lag 3", [&](MatFullD& o) { two.tcc(o, 3); }, {-2.25, 1.5, -1.5, 1}},
      {"lag 1 about 1", [&](MatFullD& o) { ramp.tcc(about_one, o, 1); }, {8.0 / 3}},
      {"correlation", [&](MatFullD& o) { two.tac(o, 1); }, {1.0 / 3, -5.0 / 9}},
      {"alternating", [&](MatFullD& o) { swing.tac(o, 1); }, {-1}},
      {"kurtosis, lag 1", [&](MatFullD& o) { swing.tck(o, 1); }, {-2}},
      // (0.5625 + 0.0625 + 0.5625) / 3 - 1.5625 - 2 (1.25 / 3)^2, over 1.5625
      {"ramp, lag 1", [&](MatFullD& o) { ramp.tck(o, 1); }, {(1.1875 / 3 - 1.5625 - 3.125 / 9) / 1.5625}},
      {"columns of signs", [&](MatFullD& o) { signs(2).cok(0, 0, o); }, {-2, 0, 0, 0}},
      {"different columns", [&](MatFullD& o) { signs(2).cok(0, 1, o); }, {0, 0, 0, 0}},
      // y = (1, 1), (-1, -1), (0, 0): all moments of a kind are equal, 2/3 - 3 (2/3)^2
      {"equal columns",
       [&](MatFullD& o) {
         matrix(3, 2, {1, 1, -1, -1, 0, 0}).cok(0, 1, o);
       },
       std::vector<double>(4, -2.0 / 3)},
  };
  for (const auto& c : cases) {
    MatFullD out;
    c.call(out);
    ASSERT_EQ(contents(out).size(), c.expected.size()) << c.name;
    for (std::size_t k = 0; k < c.expected.size(); ++k)
      EXPECT_NEAR(contents(out)[k], c.expected[k], 4e-15) << c.name << ' ' << k;
  }
}

TEST(Cumulants, StoresHoldOneMatrixPerLagOrPair) {
  const MatFullD x = test::random_matrix(20, 3, 4);
  MatStorD store;
  MatFullD expected;
  EXPECT_EQ(store.tcc(x, 3), 3);
  x.tcc(expected, 2);
  EXPECT_EQ(contents(store[1]), contents(expected));
  EXPECT_EQ(store.tck(x, 2), 2);
  x.tck(expected, 2);
  EXPECT_EQ(contents(store[1]), contents(expected));
  EXPECT_EQ(store.sck(x), 6);
  x.cok(1, 2, expected);
  EXPECT_EQ(contents(store[4]), contents(expected));
  EXPECT_EQ(store.sck(store[4]), 6);  // from one of its own matrices
  EXPECT_EQ(store.tcc(x, 0), 0);
}

/// Each source comes back once, up to its sign, and the matrices are rotated in place.
TEST(JointDiagonalisation, FindsTheRotationThatMixedIndependentSources) {
  for (const long n : {1L, 2L, 4L, 6L}) {
    const MatFullD mixing = rotation(n, 0.7);
    const MatFullD x = product(signs(n), transposed(mixing));
    MatStorD store, mixed;
    MatFullD v;
    store.sck(x);
    mixed.sck(x);
    EXPECT_GE(store.diago(v), 1);
    const MatFullD match = product(transposed(mixing), v);
    for (long i = 0; i < n; ++i) {
      double size = 0;
      for (long j = 0; j < n; ++j) size += std::fabs(match.get(i, j));
      EXPECT_NEAR(size, 1, 1e-12) << n << ", source " << i;
    }
    for (long k = 0; k < store.size(); ++k) {
      EXPECT_LE(difference(conjugate(v, store[k]), mixed[k]), 1e-13) << n;
      EXPECT_LE(square_beside_diagonal(store[k]), 1e-26) << n;
    }
  }
}

/// The matrices of order 2 share no eigenvectors: no angle of a fine grid may leave less beside the
/// diagonals.
TEST(JointDiagonalisation, LeavesTheLeastOfAllRotations) {
  const std::vector<double> cases[] = {
      {1, 2, 2, -3, 4, 1, 1, 0}, {0, 1, 1, 0, 0, -2, -2, 0}, {5, 0, 0, 5, 1, 3, 3, 1}};
  for (const auto& c : cases) {
    MatStorD store(2);
    for (const long k : {0, 1}) store[k].copy(matrix(2, 2, {c.begin() + 4 * k, c.begin() + 4 * k + 4}));
    double least = std::numeric_limits<double>::infinity();
    for (int step = 0; step < 10000; ++step) {
      const MatFullD r = rotation(2, step * 1e-3);
      least = std::min(least, square_beside_diagonal(conjugate(r, store[0])) +
                                  square_beside_diagonal(conjugate(r, store[1])));
    }
    MatFullD v;
    EXPECT_LE(store.diago(v), 2);
    EXPECT_LE(square_beside_diagonal(store[0]) + square_beside_diagonal(store[1]), least + 1e-14) << c[0];
  }
}

TEST(JointDiagonalisation, EndsAtOnceWhereNothingIsToBeDone) {
  MatFullD v = matrix(1, 1, {7});
  MatStorD store(2);
  store[0].copy(identity(2));
  EXPECT_EQ(MatStorD().diago(v), 0);
  EXPECT_EQ(store.diago(v), 0);  // the second matrix is empty
  EXPECT_EQ(v(0, 0), 7);
  store[1].copy(matrix(2, 2, {1, 1e-17, 1e-17, 1}));  // equal values, and rounding beside them
  EXPECT_EQ(store.diago(v), 1);
  EXPECT_EQ(contents(v), contents(identity(2)));
}

TEST(CumulantsDeathTest, MisuseEndsTheProgram) {
  const MatFullD x = matrix(2, 2, {1, 2, 3, 4}), wide = matrix(1, 3, {1, 2, 3}), mean = matrix(1, 2, {2, 3});
  MatFullD out;
  MatStorD store;
  EXPECT_FATAL(x.sss(wide, out), "error s71\n  the dimensions of argument 0 and argument  1 differ");
  EXPECT_FATAL(x.cok(0, 2, out), "error s82\n  value of argument 2 out of range : 2");
  EXPECT_FATAL(x.cok(0, 1, mean, mean, out),
               "error s82\n  the dimensions of argument 0 and argument  4 differ");
  EXPECT_FATAL(x.tcc(out, 2), "error s83\n  value of argument 3 out of range : 2");
  EXPECT_FATAL(x.tac(wide, out, 0), "error s84\n  the dimensions");
  EXPECT_FATAL(x.tck(out, -1), "error s85\n  value of argument 3 out of range : -1");
  EXPECT_FATAL(store.tcc(x, 2), "class MatStorT: error s83\n  value of argument 2 out of range : 2");
}

}  // namespace
}  // namespace qvtx
