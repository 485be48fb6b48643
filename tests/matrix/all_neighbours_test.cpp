// Neighbours of all rows against the search for each.

#include "matrix/distance/all_neighbours.h"

#include <cmath>

#include "matrix/distance_support.h"

namespace qvtx {
namespace {

using namespace test;

void expect_neighbours(const MatFullD& a, long k) {
  long next = 0;
  AllNeighbours(a).search(k, [&](long i, const NearestList& list) {
    ASSERT_EQ(next++, i);
    MatFullD distances;
    MatFullL rows;
    ASSERT_EQ(a.nearest(a, i, distances, rows, k), list.size());
    for (long r = 0; r < list.size(); ++r) {
      ASSERT_EQ(rows(r, 0), list[r].row) << i << " " << r;
      ASSERT_TRUE(same_bits(distances(r, 0), list[r].distance) || std::isnan(distances(r, 0)));
    }
  });
  EXPECT_EQ(a.nrow(), next);
}

TEST(AllNeighboursTest, AreThoseOfTheSingleSearch) {
  for (const Isa isa : instruction_sets()) {
    const Level level(isa);
    for (const Fill fill : all_fills) {
      for (const long n : {1L, 99L, 100L, 111L, 112L, 113L, 530L}) {
        for (const long d : {1L, 3L, 17L}) {
          SCOPED_TRACE(testing::Message()
                       << "isa " << int(isa) << " fill " << int(fill) << " " << n << " x " << d);
          const Settings settings('m', 2.0);
          for (const long k : {1L, 20L, 63L, 600L}) {
            if (k > 100 && n > 113) continue;
            expect_neighbours(filled(n, d, fill, 5), k);
          }
        }
      }
    }
  }
}

TEST(AllNeighboursTest, OtherDistancesAndNumbersFarFromTheirCentre) {
  for (const Case& c : all_cases) {
    const Settings settings(c.kind, c.p);
    expect_neighbours(filled(120, 3, Fill::reals, 5), 5);
  }
  // Rows whose differences single precision cannot tell, and sizes at the ends of its range.
  const Settings settings('m', 2.0);
  for (const double scale : {1.0, 1e-20, 1e-14, 1e14, 1e20, 1e200, 5e-324}) {
    for (const double gap : {1.0, 1e-9}) {
      MatFullD a(300, 2);
      a.setrows(300);
      for (long i = 0; i < 300; ++i) {
        a(i, 0) = scale * (static_cast<double>(i % 2) + gap * static_cast<double>(i * 7919 % 300));
        a(i, 1) = scale * gap * static_cast<double>(i % 7);
      }
      expect_neighbours(a, 9);
    }
  }
}

}  // namespace
}  // namespace qvtx
