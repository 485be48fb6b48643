// Nearest-row search in all its forms against the plain scan.

#include <algorithm>

#include "matrix/distance_support.h"
#include "matrix/matfulld.h"
#include "matrix/nearest_filter.h"
#include "matrix/row_search.h"

namespace qvtx {
namespace {

using namespace test;

TEST(Nearest, FindsTheRowOfThePlainScanInEveryClass) {
  for (const Case& c : all_cases)
    for (const Fill fill : all_fills)
      for (const long cols : {1, 2, 5, 16})
        for (const long rows : {1, 2, 9, 40}) {
          SCOPED_TRACE(testing::Message() << describe(c) << " " << rows << " x " << cols);
          const Settings settings(c.kind, c.p);
          const Reference plain;
          const MatFullD a = filled(rows, cols, fill, 21), b = filled(6, cols, fill, 22);
          for (const double bound : {no_bound, 3.0, 1.0, 0.1, 0.0, -1.0, nan_value}) {
            MatFullD out, distances;
            for (long j = 0; j < b.nrow(); ++j) {
              ASSERT_EQ(plain.nearest(a, b, j, bound), a.nearest(b, j, bound));
              ASSERT_EQ(plain.nearest(a, b, j, bound), a.nearest(b, j, out, bound));
              a.sdav(b, j, distances, bound);
              for (long i = 0; i < rows; ++i) ASSERT_TRUE(same_bits(distances(i, 0), out(i, 0)));
            }
            for (long j = 0; j < rows; ++j) ASSERT_EQ(plain.nearest(a, a, j, bound), a.nearest(a, j, bound));
          }
        }
}

TEST(Nearest, EveryInstructionSetFindsTheRowOfThePlainScan) {
  for (const Isa isa : all_levels)
    for (const double p : {2.0, 1.0, 8.0})
      for (const Fill fill : all_fills)
        for (const long cols : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 20, 64})
          for (const long rows : {1, 3, 7, 8, 9, 15, 16, 17, 31, 32, 33, 64, 100}) {
            const Level level(isa);
            const Settings settings('m', p);
            const Reference plain;
            const MatFullD a = filled(rows, cols, fill, 23), b = filled(5, cols, fill, 24);
            MatFullL all, own;
            a.nearest_all(b, all);
            a.nearest_all(a, own);
            ASSERT_EQ(plain.nearest(a, a, rows / 2, no_bound), own(rows / 2, 0));
            for (long j = 0; j < b.nrow(); ++j) {
              SCOPED_TRACE(testing::Message() << p << ": " << rows << " x " << cols << " isa " << int(isa));
              const long expected = plain.nearest(a, b, j, no_bound);
              ASSERT_EQ(expected, a.nearest(b, j, no_bound)) << j;
              ASSERT_EQ(expected, all(j, 0)) << j;
              ASSERT_EQ(plain.nearest(a, b, j, 2.0), a.nearest(b, j, 2.0)) << j;
              ASSERT_EQ(plain.nearest(a, a, j % rows, 9.0), a.nearest(a, j % rows, 9.0)) << j;
            }
          }
}

TEST(Nearest, SeveralRowsComeInIncreasingDistanceAndRowNumber) {
  for (const Case& c : all_cases)
    for (const Fill fill : all_fills)
      for (const bool own : {false, true}) {
        const Settings settings(c.kind, c.p);
        const Reference plain;
        const MatFullD a = filled(25, 2, fill, 27), foreign = filled(3, 2, fill, 28);
        const MatFullD& b = own ? a : foreign;
        std::vector<std::pair<double, long>> order;
        for (long i = 0; i < a.nrow(); ++i) {
          if (!own || i != 2) order.emplace_back(plain.distance(a, i, b, 2, no_bound), i);
        }
        std::sort(order.begin(), order.end(), [](const auto& x, const auto& y) {
          const bool nan_x = std::isnan(x.first), nan_y = std::isnan(y.first);  // NaN comes last
          return nan_x != nan_y                ? nan_y
                 : nan_x || x.first == y.first ? x.second < y.second
                                               : x.first < y.first;
        });
        for (const long k : {-1, 0, 1, 4, 24, 25, 99}) {
          MatFullD out;
          MatFullL idx;
          const long count = a.nearest(b, 2, out, idx, k);
          ASSERT_EQ(std::clamp(k, 0L, static_cast<long>(order.size())), count);
          ASSERT_TRUE(count == out.nrow() && count == idx.nrow());
          for (long r = 0; r < count; ++r) {
            const auto& [distance, row] = order[static_cast<std::size_t>(r)];
            EXPECT_EQ(row, idx(r, 0)) << describe(c);
            EXPECT_TRUE(same_bits(distance, out(r, 0))) << describe(c);
          }
        }
      }
}

// Rows that differ by a few units in the last place, far from the origin: only exact sums tell them apart.
TEST(Nearest, AllTellsAlmostEqualRowsApart) {
  for (const Isa isa : all_levels)
    for (const double offset : {0.0, 1.0, 1e6, 1e12})
      for (const double step : {1e-3, 1e-7, 1e-9, 1e-12, 1e-15, 0.0}) {
        const Level level(isa);
        const Reference plain;
        MatFullD a = filled(70, 6, Fill::reals, 30), b = filled(40, 6, Fill::reals, 31);
        for (long i = 0; i < 70; ++i)
          for (long k = 0; k < 6; ++k) a(i, k) = offset + (i % 2 ? a(i, k) * step : 2.0 + a(i, k));
        for (long i = 0; i < 40; ++i)
          for (long k = 0; k < 6; ++k) b(i, k) = offset + b(i, k) * (i % 2 ? 1.0 : step);
        MatFullL idx;
        a.nearest_all(b, idx);
        for (long j = 0; j < 40; ++j)
          ASSERT_EQ(plain.nearest(a, b, j, no_bound), idx(j, 0)) << offset << " " << step;
      }
}

// The tests above would pass if the filter left everything to the exact scan.
TEST(NearestFilter, DecidesOrdinarySamplesAndLeavesOthers) {
  for (const Isa isa : all_levels) {
    const Level level(isa);
    MatFullD rows = filled(100, 7, Fill::reals, 37), samples = filled(9, 7, Fill::reals, 38);
    samples(3, 2) = nan_value;
    samples(4, 0) = -infinity;
    samples(5, 6) = 1e16;
    const Reference plain;
    distance::NearestFilter filter(rows.data(), 100, 7);
    ASSERT_TRUE(filter.usable());
    std::vector<long> idx(9, 77);
    filter.search(samples.data(), 9, idx.data());
    for (long j = 0; j < 9; ++j) {
      const bool left = j >= 3 && j <= 5;
      EXPECT_EQ(left ? -1 : plain.nearest(rows, samples, j, no_bound), idx[static_cast<std::size_t>(j)]) << j;
    }
  }
}

TEST(RowSearch, AgreesWithTheMatrixWhileRowsMoveAndAreAdded) {
  for (const Isa isa : all_levels)
    for (const Fill fill : all_fills)
      for (const long cols : {1, 3, 8, 17}) {
        const Level level(isa);
        MatFullD prot = filled(3, cols, fill, 34), out;
        const MatFullD dat = filled(90, cols, fill, 35);
        RowSearch search(prot);
        ASSERT_TRUE(search.usable());
        std::vector<double> distances(200), squares(200);
        for (long j = 0; j < dat.nrow(); ++j) {
          double distance;
          const long k = search.nearest(dat.data() + j * cols);
          ASSERT_EQ(prot.nearest(dat, j, no_bound), k) << prot.nrow() << " x " << cols << ", datum " << j;
          ASSERT_EQ(k, search.nearest(dat.data() + j * cols, distance));
          ASSERT_TRUE(same_bits(prot.sdas(k, dat, j, no_bound), distance));
          search.distances(dat.data() + j * cols, distances.data());
          search.squared_distances(dat.data() + j * cols, squares.data());
          prot.sdav(dat, j, out, no_bound);
          for (long i = 0; i < prot.nrow(); ++i) {
            ASSERT_TRUE(same_bits(out(i, 0), distances[static_cast<std::size_t>(i)]));
            const double root = std::sqrt(squares[static_cast<std::size_t>(i)]);
            ASSERT_TRUE(root == out(i, 0) || (std::isnan(root) && std::isnan(out(i, 0))));
          }
          if (j % 2) prot.addrow(dat, j);
          search.add_row();
          prot.move(k, dat, j, 0.25);
          search.update_row(k);
          ASSERT_EQ(prot.nrow(), search.size());
        }
      }
}

}  // namespace
}  // namespace qvtx
