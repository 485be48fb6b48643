// The sorting network against std::sort.

#include "matrix/number_order.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include "matrix/distance_support.h"

namespace qvtx {
namespace {

using namespace test;

// Numbers of every size, some of them equal; `spread` is their count of different values.
std::vector<double> numbers(long n, std::uint64_t spread, std::mt19937_64& draws) {
  std::vector<double> values;
  for (long i = 0; i < n; ++i)
    values.push_back(
        std::ldexp(static_cast<double>(draws() % spread), static_cast<int>(draws() % spread % 900) - 500));
  return values;
}

TEST(NumberOrderTest, OrdersAllThatDifferInTheirLeadingBits) {
  std::mt19937_64 draws(1);
  for (const Isa isa : all_levels) {
    const Level level(isa);
    for (const long n : {1L, 2L, 7L, 8L, 9L, 63L, 64L, 65L, 127L, 129L, 200L, 511L, 513L, 1000L, 4099L}) {
      NumberOrder order(n);
      for (const std::uint64_t spread : {std::uint64_t{1} << 40, std::uint64_t{1} << 7}) {
        SCOPED_TRACE(testing::Message() << "isa " << int(isa) << " n " << n << " spread " << spread);
        const std::vector<double> values = numbers(n, spread, draws);
        std::vector<long> expected(values.size());
        std::iota(expected.begin(), expected.end(), 0L);
        const auto below = [&values](long a, long b) { return values.data()[a] < values.data()[b]; };
        std::stable_sort(expected.begin(), expected.end(), below);
        bool equal = false;
        for (std::size_t r = 1; r < expected.size(); ++r) equal |= !below(expected[r - 1], expected[r]);
        order.sort(values.data());
        EXPECT_TRUE(order.close() || !equal);
        EXPECT_FALSE(order.close() && !equal && spread > 1000 && n < 1000);
        for (std::size_t r = 0; r < expected.size(); ++r)
          ASSERT_EQ(expected[r], order.row(static_cast<long>(r)));
      }
    }
  }
}

TEST(NumberOrderTest, NeighboursInTheLastBitsAreReported) {
  for (const Isa isa : all_levels) {
    const Level level(isa);
    for (const double x : {1.0, 5e-324, 0.0, 2.0 * (1.0 - 0x1p-53), 1e306}) {
      double next = x;
      for (int units = 1; units <= 32; ++units) next = std::nextafter(next, 1e308);
      for (const double other : {x, std::nextafter(x, 1e308), next}) {
        for (const long n : {2L, 100L}) {
          for (const long a : {0L, (n - 1) / 2}) {
            std::vector<double> values;
            for (long i = 0; i < n; ++i) values.push_back(3.0 + static_cast<double>(i));
            values[static_cast<std::size_t>(a)] = other;
            values.back() = x;
            NumberOrder order(n);
            order.sort(values.data());
            EXPECT_TRUE(order.close()) << x << " " << n << " " << a;
          }
        }
      }
    }
    const double inf = std::numeric_limits<double>::infinity();
    const double values[] = {inf, 2.0, inf, 1.0, 1.5};
    NumberOrder order(5);
    order.sort(values);
    EXPECT_TRUE(order.close());
    long r = 0;
    for (const long row : {3L, 4L, 1L, 0L, 2L}) EXPECT_EQ(row, order.row(r++));
  }
}

}  // namespace
}  // namespace qvtx
