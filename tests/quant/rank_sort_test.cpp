// Ranks and moves of neural gas against plain loops.

#include "quant/rank_sort.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "base/isa.h"
#include "gtest/gtest.h"
#include "matrix/distance/packed_rows.h"
#include "quant/gas_kernels.h"

namespace qvtx {
namespace {

constexpr Isa all_sets[] = {Isa::baseline, Isa::avx2, Isa::avx512};

double uniform(std::mt19937& draws) { return std::ldexp(static_cast<double>(draws()), -32); }

/// Squared distances: distinct ones, those of a lattice, or some whose roots coincide.
double sum_of(int round, std::mt19937& draws) {
  static const double up = std::nextafter(2.0, 3.0), tiny = std::numeric_limits<double>::denorm_min();
  static const double values[] = {2.0,  up,   std::nextafter(up, 3.0), std::nextafter(2.0, 1.0), 0.0,
                                  tiny, 1e300};
  if (round % 5 == 1) return values[draws() % 7];
  if (round % 5 == 2) return static_cast<double>(draws() % 64);
  return uniform(draws);
}

TEST(RankSortTest, EqualsASelectionSortThatKeepsItsList) {
  std::mt19937 draws(1);
  for (const Isa isa : all_sets) {
    set_isa_level(isa);
    for (const long n : {1L, 2L, 7L, 8L, 9L, 63L, 65L, 200L, 300L, 1025L}) {
      for (const long m : {1L, (n + 9) / 10, n / 2 + 1, n - 1, n}) {
        if (m < 1 || m > n) continue;
        SCOPED_TRACE(testing::Message() << "isa " << int(isa) << " n " << n << " m " << m);
        MatFullL ridx(n);
        ridx.setrows(n);
        ridx.setidx(0, 0, 1);
        std::vector<long> list(ridx.data(), ridx.data() + n);
        RankSort ranks(ridx, m);
        for (int round = 0; round < 30; ++round) {
          std::vector<double> sums;
          for (long k = 0; k < n; ++k) sums.push_back(sum_of(round, draws));
          if (round % 5 == 4) {  // roots may coincide although the leading bits of the numbers differ
            const double x = 1.0 + std::ldexp(static_cast<double>(draws() % 1024), -10);
            sums[draws() % sums.size()] = x;
            sums[draws() % sums.size()] = std::nextafter(x, 0.0);
          }
          std::copy(sums.begin(), sums.end(), ranks.sums());
          ASSERT_EQ(std::min_element(sums.begin(), sums.end()) - sums.begin(), ranks.rank());
          const auto nearer = [&](long a, long b) {
            return std::sqrt(sums.data()[a]) < std::sqrt(sums.data()[b]);
          };
          for (auto place = list.begin(); place < list.begin() + m; ++place)
            std::iter_swap(place, std::min_element(place, list.end(), nearer));
          ASSERT_EQ(list, std::vector<long>(ridx.data(), ridx.data() + n));
        }
      }
    }
  }
  set_isa_level(isa_best());
}

// The test above would pass if the network left everything to the tournament.
TEST(RankSortTest, TheNetworkDecidesAmongNumbersThatDiffer) {
  std::mt19937 draws(3);
  for (const Isa isa : all_sets) {
    set_isa_level(isa);
    for (const long n : {1L, 9L, 65L, 300L, 1025L}) {
      std::vector<double> numbers;
      for (long i = 0; i < n; ++i) numbers.push_back(static_cast<double>(i));
      std::shuffle(numbers.begin(), numbers.end(), draws);
      NumberOrder order(n);
      order.sort(numbers.data());
      EXPECT_FALSE(order.close()) << n << " numbers, instruction set " << int(isa);
    }
  }
  set_isa_level(isa_best());
}

TEST(GasKernelTest, MovesAndMeasuresLikeThePlainLoop) {
  std::mt19937 draws(2);
  constexpr double stays = std::numeric_limits<double>::quiet_NaN();
  for (const Isa isa : all_sets) {
    set_isa_level(isa);
    for (const long n : {1L, 7L, 8L, 9L, 33L}) {
      for (const long d : {1L, 3L, 8L, 17L}) {
        std::vector<double> rows, steps, x, next;
        // Zeros of both signs: a row that stays keeps its sign, one that moves by a step of 0 need not.
        for (long k = 0; k < n * d; ++k) rows.push_back(k % 5 == 0 ? -0.0 : 1e3 * uniform(draws) - 500.0);
        for (long i = 0; i < (n + 7) / 8 * 8; ++i)
          steps.push_back(i % 3 == 0 || (i / 8) % 3 == 1 ? stays : i % 7 == 1 ? 0.0 : uniform(draws));
        for (long k = 0; k < d; ++k) {
          x.push_back(uniform(draws));
          next.push_back(uniform(draws));
        }
        PackedRows packed;
        ASSERT_TRUE(packed.assign(rows.data(), n, d));
        std::vector<double> sums(steps.size());
        gas_kernels().move_and_measure(packed.data(), n, d, steps.data(), x.data(), next.data(), sums.data());
        for (long i = 0; i < n; ++i) {
          double* const row = rows.data() + i * d;
          const double h = steps[static_cast<std::size_t>(i)];
          double sum = 0.0;
          for (long k = d - 1; k >= 0; --k) {
            if (!std::isnan(h)) row[k] -= h * (row[k] - x.data()[k]);
            const double t = row[k] - next.data()[k];
            sum += t * t;
          }
          std::vector<double> moved(static_cast<std::size_t>(d));
          packed.get_row(i, moved.data());
          for (long k = 0; k < d; ++k) {
            ASSERT_EQ(row[k], moved.data()[k]);
            ASSERT_EQ(std::signbit(row[k]), std::signbit(moved.data()[k]));
          }
          ASSERT_EQ(sum, sums[static_cast<std::size_t>(i)]);
        }
      }
    }
  }
  set_isa_level(isa_best());
}

}  // namespace
}  // namespace qvtx
