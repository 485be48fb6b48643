// How well a mapping keeps neighbourhoods and distances, against brute force.

#include <algorithm>

#include "mapping/input_distances.h"
#include "support/reference_blend.h"
#include "support/reference_mapping.h"

namespace qvtx::test {
namespace {

class MappingError : public ReferenceMappingTest {
 protected:
  /// Numbers of the k rows nearest to row i, by sorting all.
  static std::vector<std::size_t> nearest_rows(const Rows& x, std::size_t i, std::size_t k) {
    std::vector<std::size_t> found = ReferenceBlend::by_distance(x[i], x, euclidean);
    std::erase(found, i);
    found.resize(std::min(k, found.size()));
    return found;
  }
  static double misses(const std::vector<std::size_t>& found, const std::vector<std::size_t>& wanted) {
    return static_cast<double>(std::count_if(found.begin(), found.end(), [&](std::size_t j) {
      return std::find(wanted.begin(), wanted.end(), j) == wanted.end();
    }));
  }

  /// The stress as a plain sum over ordered pairs, in the partial sums that define its bits.
  double plain_stress(double w) {
    const ReferenceMapping r(tm, w);
    double error[8] = {}, scale[8] = {};
    for (long i = r.n - 1; i >= 0; --i) {
      for (long j = 0; j < r.n; ++j) {
        const double from = r.input(i, j);
        if (i == j || from <= 0) continue;
        const double t = from - tm.mprot.sdas(i, j, no_bound);
        error[j % 8] += t * t / from;
        scale[j % 8] += from;
      }
    }
    return std::accumulate(error, error + 8, 0.0) / std::accumulate(scale, scale + 8, 0.0);
  }
};

TEST_F(MappingError, LostNeighboursAreThoseOfBruteForce) {
  constexpr long kissing[] = {0, 2, 6, 12, 24, 40, 72, 126, 240, 240};
  for (const long p : {1L, 2L, 3L, 8L, 9L}) {
    for (const long n : {1L, 2L, 5L, 90L, 300L}) {
      if (n == 300 && p < 8) continue;
      prepare_mapping(n, 4, p, 0, 0.0);
      const Rows x = rows_of(tm.prot), y = rows_of(tm.mprot);
      double lost = 0;
      const auto wanted = static_cast<std::size_t>(kissing[p]);
      for (std::size_t i = 0; i < x.size(); ++i)
        lost += misses(nearest_rows(y, i, wanted), nearest_rows(x, i, wanted));
      EXPECT_EQ(lost / static_cast<double>(kissing[p] * n), tm.mapr_err(0)) << p << " axes, " << n;
      EXPECT_EQ(tm.mapr_err(0), tm.mapr_err(1)) << "without links";
      EXPECT_EQ(n > kissing[p] + 1, lost > 0) << "none can be lost where all are taken";
    }
  }
}

TEST_F(MappingError, LostLinksAreThoseOfBruteForce) {
  for (const auto& [clusters, links] : {std::pair(1L, 4L), {3L, 4L}, {1L, 1L}}) {
    prepare_mapping(60, 3, 2, links, 1.0, clusters);
    const Rows y = rows_of(tm.mprot);
    double lost = 0;
    for (long i = 0; i < 60; ++i) {
      std::vector<std::size_t> linked;
      for (long k = tm.link.head(i); k >= 0; k = tm.link.next(k, i))
        linked.push_back(static_cast<std::size_t>(tm.link.other(k, i)));
      lost += misses(nearest_rows(y, static_cast<std::size_t>(i), linked.size()), linked);
    }
    EXPECT_GT(lost, 0);
    EXPECT_EQ(lost / static_cast<double>(2 * tm.link.nlive()), tm.mapr_err(1));
  }
}

TEST_F(MappingError, StressIsThatOfTheDoubleLoop) {
  for (const double w : {0.0, 0.3, 1.0}) {
    for (const long clusters : {1L, 3L}) {
      for (const long n : {9L, 64L, 301L}) {
        tm.setkey("vgmemory", n < 300 ? 2 : 0);  // rows that are stored and rows that are not
        prepare_mapping(n, 3, 2, 2, w, clusters);
        const double expected = plain_stress(w);
        for (const Isa isa : instruction_sets()) {
          set_isa_level(isa);
          EXPECT_EQ(expected, tm.mapr_err()) << "w " << w << ", " << n << " in " << clusters;
        }
      }
    }
  }
  prepare_mapping(40, 3, 2, 0, 1.0, 2);
  EXPECT_EQ(plain_stress(0.0), tm.mapr_err()) << "no graph without links";
  MatFullD::miex = 1;
  prepare_mapping(30, 3, 2, 2, 0.5, 2);
  EXPECT_EQ(plain_stress(0.5), tm.mapr_err()) << "another distance class";
  prepare_mapping(1, 3, 2, 0, 0.0);
  EXPECT_EQ(0.0, tm.mapr_err()) << "no pair";
}

// More prototypes than rows that are searched for together, in two passes.
TEST_F(MappingTest, RowsAskedForInOrderAreThoseOfSingleSearches) {
  tm.setkey("vgmemory", 0);
  prepare(3000, 2, 4, 1.0);
  MatFullL order(3000, 1);
  order.setrows(3000);
  for (long k = 0; k < 3000; ++k) order(k, 0) = 1789 * k % 3000;
  RowRoom room;
  InputDistances input(tm, 1.0, false, room);
  input.ask_in_order(order.data());
  MatFullD scratch;
  for (long k = 5999; k >= 0; --k) {
    const long i = order(k % 3000, 0);
    const double* row = input.row(i);
    if (k % 401 != 0) continue;
    const double* expected = tm.graph_row(i, scratch);
    EXPECT_TRUE(std::equal(row, row + 3000, expected)) << k;
  }
  const double* again = input.row(7);  // out of order
  EXPECT_TRUE(std::equal(again, again + 3000, tm.graph_row(7, scratch)));
}

}  // namespace
}  // namespace qvtx::test
