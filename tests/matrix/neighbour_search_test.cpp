// Repeated searches for the k nearest rows against the single search.

#include "matrix/neighbour_search.h"

#include <cmath>

#include "matrix/distance_support.h"

namespace qvtx {
namespace {

using namespace test;

/// Searches k rows for row j of b as `nearest` does, and compares rows and bits.
void expect_nearest(NeighbourSearch& search, const MatFullD& a, const MatFullD& b, long j, long k) {
  MatFullD distances;
  MatFullL rows;
  const long found = a.nearest(b, j, distances, rows, k);
  ASSERT_EQ(found, search.search(b.row(j), &a == &b ? j : -1, k));
  for (long r = 0; r < found; ++r) {
    ASSERT_EQ(rows(r, 0), search.row(r)) << r;
    if (std::isnan(distances(r, 0))) {
      ASSERT_TRUE(std::isnan(search.distance(r)));
    } else {
      ASSERT_TRUE(same_bits(distances(r, 0), search.distance(r)));
    }
  }
}

TEST(NeighbourSearch, FindsTheRowsOfTheSingleSearchInEveryClass) {
  for (const Case& c : all_cases) {
    for (const Fill fill : all_fills) {
      for (const long rows : {1L, 2L, 530L}) {
        SCOPED_TRACE(testing::Message() << describe(c) << " " << rows);
        const Settings settings(c.kind, c.p);
        const MatFullD a = filled(rows, 3, fill, 5), b = filled(2, 3, fill, 6);
        NeighbourSearch search(a);
        for (const long k : {0L, 1L, 7L, 600L}) {
          for (long j = 0; j < b.nrow(); ++j) expect_nearest(search, a, b, j, k);
          for (long j = 0; j < rows; j += 197) expect_nearest(search, a, a, j, k);
        }
      }
    }
  }
}

TEST(NeighbourSearch, LimitsOfSumsPassOverNoRow) {
  // Distances so close that their squares round to the same sums, tiny ones whose squares vanish, and
  // duplicates.
  MatFullD a(1100, 1), b(3, 1);
  a.setrows(1100);
  b.setrows(3, 0.0);
  for (const double scale : {1.0, 1e-160, 5e-324, 1e160}) {
    for (long i = 0; i < a.nrow(); ++i)
      a(i, 0) = scale * (1.0 + 1e-16 * static_cast<double>((i * 7919) % 600)) * (i % 3 == 0 ? -1 : 1);
    b(1, 0) = a(40, 0);
    b(2, 0) = 3.7 * scale;
    NeighbourSearch search(a);
    for (const long k : {1L, 5L, 400L, 1100L}) {
      for (long j = 0; j < b.nrow(); ++j) expect_nearest(search, a, b, j, k);
      expect_nearest(search, a, a, 40, k);
    }
  }
}

TEST(NeighbourSearch, EuclideanDistanceIgnoresTheClassInForce) {
  const MatFullD a = filled(60, 4, Fill::reals, 5), b = filled(9, 4, Fill::reals, 6);
  for (const Case& c : all_cases) {
    const Settings settings(c.kind, c.p);
    NeighbourSearch search(a, NeighbourSearch::Metric::euclidean);
    Settings::set('m', 2.0);
    for (long j = 0; j < b.nrow(); ++j) expect_nearest(search, a, b, j, 9);
  }
}

TEST(NeighbourSearch, NoRows) {
  const MatFullD none(0, 3);
  const double x[3] = {};
  EXPECT_EQ(0, NeighbourSearch(none).search(x, -1, 4));
}

}  // namespace
}  // namespace qvtx
