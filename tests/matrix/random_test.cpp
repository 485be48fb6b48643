#include "base/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "matrix/matfulld.h"

namespace qvtx {
namespace {

constexpr double untouched = -99;

MatFullD sheet(long rows, long cols, double value) {
  MatFullD m(rows, cols);
  m.setrows(rows, value);
  return m;
}

TEST(RandomFill, DrawsRowsAndColumnsFromTheLast) {
  const struct {
    long r0, r1, c0, c1;    // as given
    long row_end, col_end;  // last row and column meant
  } cases[] = {{0, -1, 0, -1, 4, 3}, {1, 2, 1, 2, 2, 2}, {4, 99, 3, 99, 4, 3}};
  for (const auto& c : cases) {
    MatFullD m = sheet(5, 4, untouched);
    setseed(8);
    const RandomState state = getrandom();
    m.random(0, -1, 3, c.r0, c.r1, c.c0, c.c1);
    const std::uint32_t next = ul_rand();
    setrandom(state);
    MatFullD expected = sheet(5, 4, untouched);
    for (long i = c.row_end; i >= c.r0; --i) {
      for (long j = c.col_end; j >= c.c0; --j) expected(i, j) = -1 + 4.0 * (ul_rand() / 4294967295.0);
    }
    EXPECT_TRUE(std::equal(m.data(), m.data() + 20, expected.data()));
    EXPECT_EQ(ul_rand(), next);  // not one draw more
  }
}

TEST(RandomFill, EachColumnCanHaveItsOwnBounds) {
  MatFullD m = sheet(3, 2, untouched), lo = sheet(1, 2, -5), hi = sheet(1, 2, 5);
  lo(0, 0) = hi(0, 0) = 4;
  setseed(9);
  const RandomState state = getrandom();
  m.random(0, lo, hi, 1, -1);
  setrandom(state);
  for (long i = 2; i >= 1; --i) {
    EXPECT_EQ(m(i, 1), -5 + 10.0 * u_rand());
    EXPECT_EQ(m(i, 0), 4);
    u_rand();
  }
  EXPECT_EQ(m(0, 0), untouched);
}

/// The rows that the rule picks, from the words of the generator as it stands.
std::vector<double> predicted_rows(long rows, long n) {
  std::vector<double> pool, picked;
  while (static_cast<long>(picked.size()) < n) {
    if (pool.empty()) {
      for (long i = 0; i < rows; ++i) pool.push_back(static_cast<double>(i));
    }
    const auto word = static_cast<std::int32_t>(ul_rand());
    const auto position = static_cast<std::size_t>(std::labs(word % static_cast<long>(pool.size())));
    picked.push_back(pool[position]);
    pool[position] = pool.back();
    pool.pop_back();
  }
  return picked;
}

TEST(RandomRows, AreThoseOfTheShrinkingPool) {
  for (const long n : {1L, 5L, 19L, 20L, 21L, 65L}) {
    MatFullD src = sheet(20, 2, 0), m = sheet(3, 2, untouched);
    for (long i = 0; i < 20; ++i) src(i, 0) = static_cast<double>(i);
    setseed(12);
    const RandomState state = getrandom();
    m.raseli(src, 2, n);
    setrandom(state);
    const std::vector<double> expected = predicted_rows(20, n);
    ASSERT_EQ(m.nrow(), std::max(3L, n + 2));
    EXPECT_EQ(m(1, 0), untouched);
    for (long k = 0; k < n; ++k)
      EXPECT_EQ(m(2 + k, 0), expected[static_cast<std::size_t>(k)]) << k << " of " << n;
  }
}

}  // namespace
}  // namespace qvtx
