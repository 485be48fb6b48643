// Nearest-row search in all its forms against the plain scan.

#include "matrix/distance/nearest_filter.h"
#include "matrix/distance/neighbour_search.h"
#include "matrix/distance/row_search.h"
#include "matrix/distance_support.h"

namespace qvtx {
namespace {

using namespace test;

TEST(Nearest, EveryFormFindsTheRowOfThePlainScanOnEveryInstructionSet) {
  for (const Isa isa : instruction_sets())
    for (const Case& c : all_cases)
      for (const Fill fill : all_fills)
        for (const long cols : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 20, 64})
          for (const long rows : {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 32, 33, 64, 100}) {
            const Level level(isa);
            const Settings settings(c.kind, c.p);
            const bool packed = c.kind == 'm' && (c.p > 8 || (c.p > 0 && c.p == std::floor(c.p)));
            if (!packed && (isa != Isa::baseline || cols % 5 > 2 || rows > 32)) continue;
            SCOPED_TRACE(testing::Message()
                         << describe(c) << " " << rows << " x " << cols << " isa " << int(isa));
            const Reference plain;
            const MatFullD a = filled(rows, cols, fill, 23), b = filled(3, cols, fill, 24);
            MatFullD out, distances;
            MatFullL all, own;
            a.nearest_all(b, all);
            a.nearest_all(a, own);
            for (long j = 0; j < b.nrow(); ++j) {
              ASSERT_EQ(plain.nearest(a, b, j, no_bound), all(j, 0)) << j;
              ASSERT_EQ(plain.nearest(a, a, j % rows, no_bound), own(j % rows, 0)) << j;
              for (const double bound : {no_bound, 3.0, 1.0, 0.1, 0.0, -1.0, nan_value}) {
                const long expected = plain.nearest(a, b, j, bound);
                ASSERT_EQ(expected, a.nearest(b, j, bound)) << bound;
                ASSERT_EQ(expected, a.nearest(b, j, out, bound)) << bound;
                a.sdav(b, j, distances, bound);
                for (long i = 0; i < rows; ++i) ASSERT_TRUE(same_bits(distances(i, 0), out(i, 0)));
                ASSERT_EQ(plain.nearest(a, a, j % rows, bound), a.nearest(a, j % rows, bound)) << bound;
              }
            }
          }
}

// Rows that differ by a few units in the last place, far from the origin: only exact sums tell them apart.
TEST(Nearest, AllTellsAlmostEqualRowsApart) {
  for (const Isa isa : instruction_sets())
    for (const double offset : {0.0, 1.0, 1e6, 1e12})
      for (const double step : {1e-3, 1e-7, 1e-9, 1e-12, 1e-15, 0.0}) {
        const Level level(isa);
        const Reference plain;
        MatFullD a = filled(70, 6, Fill::reals, 30), b = filled(40, 6, Fill::reals, 31);
        for (long c = 0; c < 420; ++c)
          a.data()[c] = offset + (c / 6 % 2 ? a.data()[c] * step : 2.0 + a.data()[c]);
        for (long c = 0; c < 240; ++c) b.data()[c] = offset + b.data()[c] * (c / 6 % 2 ? 1.0 : step);
        MatFullL idx;
        a.nearest_all(b, idx);
        for (long j = 0; j < 40; ++j)
          ASSERT_EQ(plain.nearest(a, b, j, no_bound), idx(j, 0)) << offset << " " << step;
      }
}

// The tests above would pass if the filter left everything to the exact scan.
TEST(NearestFilter, DecidesOrdinarySamplesAndLeavesOthers) {
  for (const Isa isa : instruction_sets()) {
    const Level level(isa);
    const MatFullD rows = filled(100, 7, Fill::reals, 37);
    MatFullD samples = filled(9, 7, Fill::reals, 38);
    samples(3, 2) = nan_value;
    samples(4, 0) = -infinity;
    samples(5, 6) = 1e16;
    distance::NearestFilter filter(rows.data(), 100, 7);
    ASSERT_TRUE(filter.usable());
    long idx[9];
    filter.search(samples.data(), 9, idx);
    for (long j = 0; j < 9; ++j)
      EXPECT_EQ(j >= 3 && j <= 5 ? -1 : Reference().nearest(rows, samples, j, no_bound), idx[j]) << j;
  }
}

TEST(RowSearch, AgreesWithTheMatrixWhileRowsMoveAndAreAdded) {
  for (const Isa isa : instruction_sets())
    for (const double p : {2.0, 1.0, 5.0, 9.0})
      for (const Fill fill : all_fills)
        for (const long cols : {1, 3, 8, 17}) {
          const Level level(isa);
          const Settings settings('m', p);
          MatFullD prot = filled(3, cols, fill, 34), out;
          const MatFullD dat = filled(90, cols, fill, 35);
          RowSearch search(prot);
          ASSERT_TRUE(search.usable());
          double distances[200], squares[200], distance;
          for (long j = 0; j < dat.nrow(); ++j) {
            const long k = search.nearest(dat.row(j));
            ASSERT_EQ(prot.nearest(dat, j, no_bound), k) << prot.nrow() << " x " << cols << ", datum " << j;
            ASSERT_EQ(k, search.nearest(dat.row(j), distance));
            ASSERT_TRUE(same_bits(prot.sdas(k, dat, j, no_bound), distance));
            search.distances(dat.row(j), distances);
            search.sums(dat.row(j), squares);
            prot.sdav(dat, j, out, no_bound);
            for (long i = 0; i < prot.nrow(); ++i) {
              ASSERT_TRUE(same_bits(out(i, 0), distances[i]));
              const double root = Reference().final_value(squares[i]);
              ASSERT_TRUE(same_bits(out(i, 0), root));
            }
            if (j % 2) prot.addrow(dat, j);
            search.add_row();
            prot.move(k, dat, j, 0.25);
            search.update_row(k);
            ASSERT_EQ(prot.nrow(), search.size());
          }
        }
}

// ---- Several rows ----

TEST(Nearest, SeveralRowsComeInIncreasingDistanceAndRowNumber) {
  for (const Case& c : all_cases)
    for (const Fill fill : all_fills)
      for (const bool own : {false, true}) {
        const Settings settings(c.kind, c.p);
        const Reference plain;
        const MatFullD a = filled(25, 2, fill, 27), foreign = filled(3, 2, fill, 28);
        const MatFullD& b = own ? a : foreign;
        std::vector<std::pair<double, long>> order;  // NaN comes last
        for (long i = 0; i < a.nrow(); ++i) {
          const double d = plain.distance(a, i, b, 2, no_bound);
          if (!own || i != 2)
            order.emplace_back(std::isnan(d) ? infinity : d, i + (std::isnan(d) ? 1000 : 0));
        }
        std::sort(order.begin(), order.end());
        for (const long k : {-1, 0, 1, 4, 24, 25, 99}) {
          MatFullD out;
          MatFullL idx;
          const long count = a.nearest(b, 2, out, idx, k);
          ASSERT_EQ(std::clamp(k, 0L, std::ssize(order)), count);
          ASSERT_EQ(count, out.nrow());
          ASSERT_EQ(count, idx.nrow());
          for (long r = 0; r < count; ++r) {
            const long row = order[static_cast<std::size_t>(r)].second % 1000;
            EXPECT_EQ(row, idx(r, 0)) << describe(c);
            EXPECT_TRUE(same_bits(plain.distance(a, row, b, 2, no_bound), out(r, 0))) << describe(c);
          }
        }
      }
}

/// Searches k rows for row j of b as `nearest` does, and compares rows and bits.
void expect_nearest(NeighbourSearch& search, const MatFullD& a, const MatFullD& b, long j, long k) {
  MatFullD distances;
  MatFullL rows;
  const long found = a.nearest(b, j, distances, rows, k);
  ASSERT_EQ(found, search.search(b.row(j), &a == &b ? j : -1, k));
  for (long r = 0; r < found; ++r) {
    ASSERT_EQ(rows(r, 0), search.row(r)) << r;
    const double expected = distances(r, 0), distance = search.distance(r);
    ASSERT_TRUE(same_bits(expected, distance) || (std::isnan(expected) && std::isnan(distance)));
  }
}

TEST(NeighbourSearch, FindsTheRowsOfTheSingleSearchInEveryClass) {
  for (const Case& c : all_cases)
    for (const Fill fill : all_fills)
      for (const long rows : {1L, 2L, 530L}) {
        SCOPED_TRACE(testing::Message() << describe(c) << " " << rows);
        const Settings settings(c.kind, c.p);
        const MatFullD a = filled(rows, 3, fill, 5), b = filled(2, 3, fill, 6);
        NeighbourSearch search(a), euclidean(a, Metric::euclidean());
        for (const long k : {0L, 1L, 7L, 600L}) {
          for (long j = 0; j < b.nrow(); ++j) expect_nearest(search, a, b, j, k);
          for (long j = 0; j < rows; j += 197) expect_nearest(search, a, a, j, k);
        }
        Settings::set('m', 2.0);  // a search keeps to its own metric, whatever is in force
        expect_nearest(euclidean, a, b, 1, 9);
        NeighbourSearch given(a, Metric{c.kind, c.p});
        Settings::set(c.kind, c.p);
        expect_nearest(given, a, b, 1, 9);
      }
  const double x[3] = {};
  EXPECT_EQ(0, NeighbourSearch(MatFullD(0, 3)).search(x, -1, 4));
}

// Distances so close that their squares round to the same sums, tiny ones whose squares vanish, and
// duplicates.
TEST(NeighbourSearch, LimitsOfSumsPassOverNoRow) {
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

}  // namespace
}  // namespace qvtx
