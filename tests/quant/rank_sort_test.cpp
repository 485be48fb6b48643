// Ranks and moves of neural gas against plain loops.

#include "quant/rank_sort.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>

#include "gtest/gtest.h"
#include "matrix/distance/packed_rows.h"
#include "quant/gas_kernels.h"
#include "support/levels.h"

namespace qvtx {
namespace {

double uniform(std::mt19937& draws) { return std::ldexp(static_cast<double>(draws()), -32); }

/// Squared distances: distinct ones, those of a lattice, some that differ by the last bit around 2 (their
/// roots coincide) or at a power of the leading bits.
double sum_of(int round, std::mt19937& draws) {
  static const double up = std::nextafter(2.0, 3.0), tiny = std::numeric_limits<double>::denorm_min();
  static const double values[] = {2.0,  up,   std::nextafter(up, 3.0), std::nextafter(2.0, 1.0), 0.0,
                                  tiny, 1e300};
  if (round % 5 == 1) return values[draws() % 7];
  if (round % 5 == 2) return static_cast<double>(draws() % 64);
  if (round % 5 != 4) return uniform(draws);
  const double x = 1.0 + std::ldexp(static_cast<double>(draws() % 32), -5);
  return draws() % 8 == 0 ? x : draws() % 8 == 0 ? std::nextafter(x, 0.0) : uniform(draws);
}

/// Brings the m nearest to the front of the list, each the first among those whose roots are equal.
void select_ranks(std::vector<long>& list, long m, const std::vector<double>& sums) {
  const auto nearer = [&](long a, long b) { return std::sqrt(sums.data()[a]) < std::sqrt(sums.data()[b]); };
  for (auto place = list.begin(); place < list.begin() + m; ++place)
    std::iter_swap(place, std::min_element(place, list.end(), nearer));
}

TEST(RankSortTest, EqualsASelectionSortThatKeepsItsList) {
  std::mt19937 draws(1);
  for (const Isa isa : test::instruction_sets()) {
    const test::Level level(isa);
    SCOPED_TRACE(testing::Message() << "instruction set " << int(isa));
    for (const long n : {1L, 2L, 7L, 8L, 9L, 63L, 65L, 200L, 300L, 1025L}) {
      for (const long m : {1L, (n + 9) / 10, n / 2 + 1, n - 1, n}) {
        if (m < 1 || m > n) continue;
        MatFullL ridx(n);
        ridx.setrows(n);
        ridx.setidx(0, 0, 1);
        std::vector<long> list(ridx.data(), ridx.data() + n);
        RankSort ranks(ridx, m);
        for (int round = 0; round < 30; ++round) {
          std::vector<double> sums(list.size());
          std::generate(sums.begin(), sums.end(), [&] { return sum_of(round, draws); });
          std::copy(sums.begin(), sums.end(), ranks.sums());
          ASSERT_EQ(std::min_element(sums.begin(), sums.end()) - sums.begin(), ranks.rank());
          select_ranks(list, m, sums);
          ASSERT_EQ(list, std::vector<long>(ridx.data(), ridx.data() + n)) << "n " << n << ", m " << m;
        }
      }
    }
  }
}

// The test above would pass if the network left everything to the tournament.
TEST(RankSortTest, TheNetworkDecidesAmongNumbersThatDiffer) {
  std::mt19937 draws(3);
  for (const Isa isa : test::instruction_sets()) {
    const test::Level level(isa);
    SCOPED_TRACE(testing::Message() << "instruction set " << int(isa));
    for (const long n : {1L, 9L, 65L, 300L, 1025L}) {
      std::vector<double> numbers(static_cast<std::size_t>(n));
      std::iota(numbers.begin(), numbers.end(), 0.0);
      std::shuffle(numbers.begin(), numbers.end(), draws);
      NumberOrder order(n);
      order.sort(numbers.data());
      EXPECT_FALSE(order.close()) << n << " numbers";
    }
  }
}

/// row -= h (row - x), unless h is NaN; returns the squared distance from the row to `next`.
double move_and_measure(double* row, double h, const std::vector<double>& x,
                        const std::vector<double>& next) {
  double sum = 0.0;
  for (std::size_t k = x.size(); k-- > 0;) {
    if (!std::isnan(h)) row[k] -= h * (row[k] - x[k]);
    const double t = row[k] - next[k];
    sum += t * t;
  }
  return sum;
}

TEST(GasKernelTest, MovesAndMeasuresLikeThePlainLoop) {
  std::mt19937 draws(2);
  constexpr double stays = std::numeric_limits<double>::quiet_NaN();
  const auto drawn = [&draws] { return uniform(draws); };
  for (const Isa isa : test::instruction_sets()) {
    const test::Level level(isa);
    SCOPED_TRACE(testing::Message() << "instruction set " << int(isa));
    for (const auto& [n, d] : {std::pair(1L, 3L), {7L, 1L}, {8L, 8L}, {9L, 17L}, {33L, 3L}, {33L, 8L}}) {
      std::vector<double> rows, steps, x(static_cast<std::size_t>(d)), next(x.size()), moved(x.size());
      // Zeros of both signs: a row that stays keeps its sign, one that moves by a step of 0 need not.
      for (long k = 0; k < n * d; ++k) rows.push_back(k % 5 == 0 ? -0.0 : 1e3 * uniform(draws) - 500.0);
      for (long i = 0; i < (n + 7) / 8 * 8; ++i)
        steps.push_back(i % 3 == 0 || (i / 8) % 3 == 1 ? stays : i % 7 == 1 ? 0.0 : uniform(draws));
      std::generate(x.begin(), x.end(), drawn);
      std::generate(next.begin(), next.end(), drawn);
      PackedRows packed;
      ASSERT_TRUE(packed.assign(rows.data(), n, d));
      std::vector<double> sums(steps.size());
      gas_kernels().move_and_measure(packed.data(), n, d, steps.data(), x.data(), next.data(), sums.data());
      for (long i = 0; i < n; ++i) {
        double* const row = rows.data() + i * d;
        ASSERT_EQ(move_and_measure(row, steps.data()[i], x, next), sums.data()[i]);
        packed.get_row(i, moved.data());
        ASSERT_EQ(0, std::memcmp(row, moved.data(), x.size() * sizeof(double))) << "row " << i << " of " << n;
      }
    }
  }
}

}  // namespace
}  // namespace qvtx
