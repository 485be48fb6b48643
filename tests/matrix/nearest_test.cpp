// Nearest-row search in all its forms against the plain scan.

#include <algorithm>
#include <iostream>

#include "matrix/distance_support.h"
#include "matrix/matfulld.h"
#include "matrix/nearest_filter.h"
#include "matrix/row_search.h"

namespace qvtx {
namespace {

using namespace test;

TEST(Nearest, WorkedExamples) {
  const MatFullD m = matrix_of({{0, 0}, {4, 0}, {0, 4}, {4, 0}}), b = matrix_of({{4, 0.5}, {2, 0}, {9, 9}});
  EXPECT_EQ(1, m.nearest(b, 0, no_bound));  // rows 1 and 3 are equal
  EXPECT_EQ(0, m.nearest(b, 1, no_bound));
  EXPECT_EQ(4, m.nearest(b, 2, 5.0));
  EXPECT_EQ(0, m.nearest(m, 1, no_bound));  // neither itself nor its duplicate
  EXPECT_EQ(0, MatFullD(3, 2).nearest(b, 0, no_bound));
  const Settings smallest('m', 0.0);  // every distance is 0
  EXPECT_EQ(0, m.nearest(b, 0, no_bound));
  EXPECT_EQ(4, m.nearest(m, 0, no_bound));
}

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
            for (long j = 0; j < b.nrow(); ++j)
              ASSERT_EQ(plain.nearest(a, b, j, bound), a.nearest(b, j, bound));
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
            MatFullL all;
            a.nearest_all(b, all);
            ASSERT_EQ(5, all.nrow());
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

TEST(Nearest, OneResultFormLeavesTheDistances) {
  for (const Case& c : all_cases) {
    const Settings settings(c.kind, c.p);
    const MatFullD a = filled(20, 3, Fill::specials, 25), b = filled(4, 3, Fill::specials, 26);
    for (const double bound : {no_bound, 2.0})
      for (long j = 0; j < b.nrow(); ++j) {
        MatFullD out, expected;
        EXPECT_EQ(a.nearest(b, j, bound), a.nearest(b, j, out, bound));
        a.sdav(b, j, expected, bound);
        ASSERT_EQ(20, out.nrow());
        for (long i = 0; i < 20; ++i) EXPECT_TRUE(same_bits(expected(i, 0), out(i, 0)));
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
          const double d = plain.distance(a, i, b, 2, no_bound);
          if (!own || i != 2) order.emplace_back(std::isnan(d) ? infinity : d, i);
        }
        std::sort(order.begin(), order.end());
        for (const long k : {-1, 0, 1, 4, 24, 25, 99}) {
          MatFullD out;
          MatFullL idx;
          const long count = a.nearest(b, 2, out, idx, k);
          ASSERT_EQ(std::clamp(k, 0L, static_cast<long>(order.size())), count);
          ASSERT_EQ(count, out.nrow());
          ASSERT_EQ(count, idx.nrow());
          for (long r = 0; r < count; ++r) {
            const auto& [distance, row] = order[static_cast<std::size_t>(r)];
            if (distance == infinity) break;  // NaN comes after the infinite distances
            EXPECT_EQ(row, idx(r, 0)) << describe(c);
            EXPECT_TRUE(same_bits(distance, out(r, 0))) << describe(c);
          }
        }
      }
}

TEST(Nearest, NaNDistancesComeLast) {
  const MatFullD a = matrix_of({{nan_value}, {infinity}, {2}, {nan_value}, {1}}), b = matrix_of({{0}});
  MatFullD out;
  MatFullL idx;
  ASSERT_EQ(5, a.nearest(b, 0, out, idx, 5));
  const long expected[] = {4, 2, 1, 0, 3};
  for (long r = 0; r < 5; ++r) EXPECT_EQ(expected[r], idx(r, 0));
}

TEST(Nearest, AllRowsOfTheMatrixItselfExcludeThemselves) {
  const MatFullD a = filled(40, 2, Fill::integers, 29);
  const Reference plain;
  MatFullL idx;
  a.nearest_all(a, idx);
  for (long j = 0; j < a.nrow(); ++j) EXPECT_EQ(plain.nearest(a, a, j, no_bound), idx(j, 0));
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

TEST(Nearest, AllWorksAtEveryScale) {
  for (const double scale : {1e-320, 1e-200, 1e-40, 1e-20, 1e-12, 1e12, 1e18, 1e30, 1e100, 1e160, 1e300}) {
    const Reference plain;
    MatFullD a = filled(50, 4, Fill::reals, 32), b = filled(30, 4, Fill::reals, 33);
    for (long c = 0; c < 200; ++c) a.data()[c] *= scale;
    for (long c = 0; c < 120; ++c) b.data()[c] *= c % 3 ? scale : 1.0;
    MatFullL idx;
    a.nearest_all(b, idx);
    for (long j = 0; j < 30; ++j) ASSERT_EQ(plain.nearest(a, b, j, no_bound), idx(j, 0)) << scale << " " << j;
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

TEST(NearestFilter, RefusesRowsBeyondSinglePrecision) {
  for (const double odd : {nan_value, infinity, 1e17, 1e300}) {
    MatFullD rows = filled(40, 2, Fill::reals, 39);
    rows(17, 1) = odd;
    EXPECT_FALSE(distance::NearestFilter(rows.data(), 40, 2).usable()) << odd;
  }
  const MatFullD same = matrix_of({{1, 2}, {1, 2}, {1, 2}});
  EXPECT_FALSE(distance::NearestFilter(same.data(), 3, 2).usable());
}

// Many rows within the filter's tolerance: it must give up or still find the lowest of the equal ones.
TEST(NearestFilter, HeapsOfEqualRows) {
  MatFullD rows = filled(120, 3, Fill::reals, 40);
  for (const long copies : {2L, 20L, 40L, 100L}) {
    for (long i = 10; i < 10 + copies; ++i) rows.copy(i, rows, 9);
    MatFullL idx;
    rows.nearest_all(matrix_of({{rows(9, 0), rows(9, 1), rows(9, 2)}}), idx);
    EXPECT_EQ(9, idx(0, 0)) << copies;
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

TEST(RowSearch, WorksFromNoRowsAndAfterRowsWereRemoved) {
  MatFullD prot(0, 2);
  RowSearch search(prot);
  const double x[] = {1, 1};
  double distance = 0;
  EXPECT_TRUE(search.usable());
  EXPECT_EQ(0, search.nearest(x, distance));
  EXPECT_EQ(infinity, distance);
  const MatFullD rows = matrix_of({{1, 1}, {5, 5}});
  prot.addrow(rows, 1);
  prot.addrow(rows, 0);
  search.add_row();
  EXPECT_EQ(1, search.nearest(x));
  prot.setrows(1, 0.0);
  search.rebuild();
  EXPECT_EQ(1, search.size());
  EXPECT_EQ(0, search.nearest(x));
}

TEST(RowSearch, ServesTheEuclideanDistanceAlone) {
  const MatFullD prot = filled(5, 2, Fill::reals, 36);
  const RowSearch euclidean(prot);
  for (const Case& c : all_cases) {
    const Settings settings(c.kind, c.p);
    const bool expected = c.kind != 'a' && c.kind != 'c' && c.p == 2;
    EXPECT_EQ(expected, RowSearch(prot).usable()) << describe(c);
    EXPECT_EQ(expected, euclidean.usable()) << describe(c);
  }
}

TEST(NearestDeathTest, ArgumentsOutOfRange) {
  const auto fatal = [](auto action, const char* report) {
    EXPECT_EXIT(
        {
          os.stream = &std::cerr;
          action();
        },
        ::testing::ExitedWithCode(0), report);
  };
  const MatFullD m = matrix_of({{1, 2}, {3, 4}}), other = matrix_of({{1, 2, 3}});
  MatFullD out;
  MatFullL idx;
  fatal([&] { (void)m.nearest(m, 2, no_bound); }, "error e67\n.*argument 2 out of range : 2");
  fatal([&] { (void)m.nearest(other, 0, out, no_bound); }, "error e67\n.*argument 0 and argument  1 differ");
  fatal([&] { (void)m.nearest(m, -1, out, idx, 1); }, "error e67\n.*argument 2 out of range : -1");
  fatal([&] { m.nearest_all(other, idx); }, "error e77\n.*argument 0 and argument  1 differ");
}

}  // namespace
}  // namespace qvtx
