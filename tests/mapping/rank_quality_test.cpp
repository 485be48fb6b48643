// Rank figures of a map.

#include "mapping/rank_quality.h"

#include "base/isa.h"
#include "base/support.h"

namespace qvtx {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
using Table = std::vector<std::vector<double>>;

RowOfDistances rows_of(const Table& table) {
  return [&table](long i) { return table[static_cast<std::size_t>(i)].data(); };
}

/// Distances of points on a line.
Table line(const std::vector<double>& x) {
  Table table;
  for (const double a : x) {
    table.emplace_back();
    for (const double b : x) table.back().push_back(std::fabs(a - b));
  }
  return table;
}

/// The k nearest of row i, nearest first, by the definition.
std::vector<std::size_t> nearest(const Table& d, std::size_t i, long k) {
  std::vector<std::size_t> order;
  for (std::size_t j = 0; j < d.size(); ++j)
    if (j != i) order.push_back(j);
  const auto value = [&](std::size_t j) {
    return d[i][j] >= 0 ? d[i][j] : std::numeric_limits<double>::infinity();
  };
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return value(a) < value(b); });
  order.resize(static_cast<std::size_t>(k));
  return order;
}

/// Ranks beyond k in `other` of the k nearest in d, over all rows, as a share of the most there can be.
double strangers(const Table& d, const Table& other, long k) {
  const auto n = static_cast<long>(d.size());
  long sum = 0;
  for (std::size_t i = 0; i < d.size(); ++i) {
    const auto order = nearest(other, i, n - 1);
    for (const std::size_t j : nearest(d, i, k))
      sum += std::max(0L, std::find(order.begin(), order.end(), j) - order.begin() + 1 - k);
  }
  return 2.0 * static_cast<double>(sum) / static_cast<double>(n * k * (2 * n - 3 * k - 1));
}

double kept_share(const Table& d, const Table& map, long k) {
  long kept = 0;
  for (std::size_t i = 0; i < d.size(); ++i) {
    const auto a = nearest(d, i, k), b = nearest(map, i, k);
    for (const std::size_t j : a) kept += std::count(b.begin(), b.end(), j);
  }
  return static_cast<double>(kept) / static_cast<double>(k * static_cast<long>(d.size()));
}

TEST(RankQuality, OfFivePointsWorkedByHand) {
  // The last two points change places. 3, 5 and 2 pairs have larger rank 1, 2 and 3: Q = 3/5, 8/10, 10/15.
  // Row 3 takes row 4 (rank 4) for row 1 (rank 3 in the map), row 4 takes row 1 (rank 3) for row 3 (rank 4).
  const Table space = line({0, 1, 3, 7, 15}), map = line({0, 1, 3, 15, 7});
  const auto quality = rank_quality(5, {rows_of(space), rows_of(map)}, rows_of(map));
  ASSERT_EQ(quality.size(), 2U);
  const double expected[] = {7.0 / 15, 3.0 / 5, -1.0 / 3};
  ASSERT_EQ(quality[0].curve.size(), 3U);
  for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(quality[0].curve[k], expected[k], 1e-15) << k;
  EXPECT_NEAR(quality[0].area, 59.0 / 165, 1e-15);
  EXPECT_NEAR(quality[0].trustworthiness, 1 - 3.0 / 15, 1e-15);
  EXPECT_NEAR(quality[0].continuity, 1 - 3.0 / 15, 1e-15);
  // A space against itself.
  EXPECT_EQ(quality[1].curve, (std::vector<double>{1, 1, 1}));
  EXPECT_EQ(quality[1].area, 1);
  EXPECT_EQ(quality[1].trustworthiness, 1);
}

TEST(RankQuality, TiesGoByNumberAndPairsWithoutDistanceComeLast) {
  // Row 0: 2 and 3 at the same distance, 1 at none; a NaN is none either. The map has the order that follows.
  Table space = line({0, 1, 2, 3}), map = space;
  space[0] = {0, -1, 7, 7};
  map[0] = {0, 3, 1, 2};
  space[3] = {2, 1, nan, 0};
  map[3] = {2, 1, 3, 0};
  EXPECT_EQ(rank_quality(4, {rows_of(space)}, rows_of(map))[0].area, 1);
  map[0] = {0, 3, 2, 1};
  EXPECT_LT(rank_quality(4, {rows_of(space)}, rows_of(map))[0].area, 1);
}

TEST(RankQuality, AgreesWithTheDefinitionOnEveryInstructionSet) {
  std::mt19937 words(3);
  for (const std::size_t n : {3U, 4U, 6U, 25U, 26U, 70U}) {
    Table space(n, std::vector<double>(n)), map = space;
    for (std::size_t i = 0; i < n; ++i)
      for (std::size_t j = 0; j < n; ++j) {
        space[i][j] = words() % 9 == 0 ? -1 : static_cast<double>(words() % n);           // many ties
        map[i][j] = space[i][j] + std::ldexp(words() % 64, words() % 2 == 0 ? -50 : -3);  // and near ties
      }
    const long k = std::min(12L, (static_cast<long>(n) - 1) / 2);
    for (const Isa level : {Isa::baseline, Isa::avx2, Isa::avx512}) {
      set_isa_level(level);
      const RankQuality quality = rank_quality(static_cast<long>(n), {rows_of(space)}, rows_of(map))[0];
      double area = 0, weights = 0;
      for (std::size_t c = 1; c + 1 < n; ++c) {
        const auto m = static_cast<double>(n - 1), here = static_cast<double>(c);
        const double r = (m * kept_share(space, map, static_cast<long>(c)) - here) / (m - here);
        EXPECT_EQ(quality.curve.at(c - 1), r) << n << ", " << c;
        area += r / here;
        weights += 1 / here;
      }
      EXPECT_EQ(quality.area, area / weights) << n;
      EXPECT_NEAR(quality.trustworthiness, 1 - strangers(map, space, k), 1e-15) << n;
      EXPECT_NEAR(quality.continuity, 1 - strangers(space, map, k), 1e-15) << n;
    }
  }
  set_isa_level(isa_best());
}

TEST(RankQuality, FewerThanThreeRowsHaveNone) {
  const Table table = line({0, 1});
  const RankQuality quality = rank_quality(2, {rows_of(table)}, rows_of(table))[0];
  EXPECT_TRUE(quality.curve.empty());
  for (const double figure : {quality.area, quality.trustworthiness, quality.continuity})
    EXPECT_TRUE(std::isnan(figure));
}

}  // namespace
}  // namespace qvtx
