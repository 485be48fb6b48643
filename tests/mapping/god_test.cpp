// The GoD criteria against a direct double loop, their axes, fallbacks and the figures of a swiss roll.

#include "support/reference_mapping.h"

namespace qvtx {
namespace {

using test::MappingTest;
using test::OpenMapping;
using test::ReferenceMapping;
using test::rows_of;
using Rows = ReferenceMapping::Rows;

enum Variant { self, euclidean, curvilinear };
constexpr Variant variants[] = {self, euclidean, curvilinear};

long run(OpenMapping& mapping, Variant v, int bits, MatSparT<long>& hist, MatFullD& stats) {
  return mapping.god(bits, hist, stats, v == curvilinear, v == self);
}

/// Histogram and statistics by the definition, from the distances of all pairs.
struct ReferenceGod {
  std::vector<std::vector<long>> hist;
  Rows stats;

  ReferenceGod(const ReferenceMapping& m, Variant v, long bits) {
    const auto x = [&](std::size_t i, std::size_t j) {
      return v == self ? m.graph[i][j] : ReferenceMapping::distance(m.y[i], m.y[j]);
    };
    const auto y = [&](std::size_t i, std::size_t j) {
      return v == curvilinear ? m.graph[i][j] : m.space[i][j];
    };
    const std::size_t n = m.space.size();
    double mx = 0, my = 0;
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        mx = std::max(mx, x(i, j));
        my = std::max(my, y(i, j));
      }
    }
    long x_bits = bits, y_bits = bits;
    if (my < mx) {
      long k = 1;
      while (k <= bits && !(mx / std::pow(2, k) < my)) ++k;
      my = mx / std::pow(2, k - 1);
      y_bits -= k - 1;
    } else {
      long k = 1;
      while (k <= bits && !(my / std::pow(2, k) < mx)) ++k;
      mx = my / std::pow(2, k - 1);
      x_bits -= k - 1;
    }
    const auto nx = static_cast<std::size_t>(1L << x_bits), ny = static_cast<std::size_t>(1L << y_bits);
    const double width = mx / static_cast<double>(nx);
    hist.assign(nx, std::vector<long>(ny, 0));
    stats.assign(nx, {0, 0, 0, 0});
    for (std::size_t i = n; i-- > 0;) {
      for (std::size_t j = i; j-- > 0;) {
        if (x(i, j) <= 0 || y(i, j) < 0) continue;
        const std::size_t r = std::min(nx - 1, static_cast<std::size_t>(x(i, j) / width));
        ++hist[r][std::min(ny - 1, static_cast<std::size_t>(y(i, j) / width))];
        stats[r][1] += (y(i, j) - x(i, j)) * (y(i, j) - x(i, j));
        stats[r][2] += y(i, j) / x(i, j);
        stats[r][3] += 1;
      }
    }
    double pairs = 0;
    for (const auto& row : stats) pairs += row[3];
    double squares = 0, ratios = 0, count = 0;
    for (std::size_t r = 0; r < nx; ++r) {
      squares += stats[r][1];
      ratios += stats[r][2];
      count += stats[r][3];
      stats[r] = {static_cast<double>(r) * width + width / 2, count > 0 ? squares / count : 0.0,
                  count > 0 ? ratios / count : 1.0, count / pairs};
    }
  }
};

std::vector<std::vector<long>> dense(const MatSparT<long>& hist) {
  std::vector<std::vector<long>> rows;
  for (long r = 0; r < hist.nrow(); ++r) {
    rows.emplace_back();
    for (long c = 0; c < hist.ncol(); ++c) rows.back().push_back(hist.getval(r, c));
  }
  return rows;
}

class God : public MappingTest {
 protected:
  MatSparT<long> hist;
  MatFullD stats;
};

TEST_F(God, EveryVariantIsTheDirectDoubleLoop) {
  for (const long clusters : {1L, 3L}) {
    for (const double scale : {0.1, 1.0, 30.0}) {  // of the map: either axis is the longer one
      prepare_mapping(50, 3, 2, 4, 1.0, clusters);
      for (long c = 0; c < 100; ++c) tm.mprot.data()[c] *= scale;
      const ReferenceMapping m(tm);
      for (const Variant v : variants) {
        for (const int bits : {10, 7, 6}) {
          if (bits == 10 && scale != 1.0)
            continue;  // more cells than are counted in a table; slow to compare
          SCOPED_TRACE(::testing::Message()
                       << clusters << " clusters, scale " << scale << ", variant " << v << ", bits " << bits);
          const ReferenceGod expected(m, v, bits);
          ASSERT_EQ(1, run(tm, v, bits, hist, stats));
          ASSERT_EQ(expected.hist, dense(hist));
          ASSERT_EQ(static_cast<long>(expected.stats.size()), stats.nrow());
          for (long r = 0; r < stats.nrow(); ++r) {
            for (long c = 0; c < 4; ++c) {
              const double value = expected.stats[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)];
              ASSERT_NEAR(value, stats(r, c), 1e-12 * std::max(1.0, std::fabs(value))) << r << " " << c;
            }
          }
        }
      }
    }
  }
}

TEST_F(God, AxesShareTheBinWidth) {
  // Two prototypes 3 apart in space; the distance of their images is the other range.
  MatFullD points;
  test::fill(points, {{0, 0}, {3, 0}});
  prototypes(tm, points, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(1, 2));
  const struct {
    double image;
    int bits;
    long nx, ny;
    double width;
  } cases[] = {
      {9, 7, 128, 64, 9.0 / 128},    // y over 0 .. Mx / 2
      {3, 7, 128, 128, 3.0 / 128},   // equal ranges
      {1, 7, 64, 128, 3.0 / 128},    // x over 0 .. My / 2
      {1.5, 7, 64, 128, 3.0 / 128},  // just half of it: the maximum itself is the top
      {1e-3, 7, 1, 128, 3.0 / 128},  // an axis has at least one bin
      {1e6, 3, 8, 1, 1e6 / 8},      {1e6, 0, 1, 1, 1e6},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.image);
    tm.mprot(1, 0) = c.image;
    ASSERT_EQ(1, run(tm, euclidean, c.bits, hist, stats));
    EXPECT_EQ(c.nx, hist.nrow());
    EXPECT_EQ(c.ny, hist.ncol());
    ASSERT_EQ(c.nx, stats.nrow());
    EXPECT_DOUBLE_EQ(c.width / 2, stats(0, 0));
    EXPECT_EQ(1, hist.count());
    EXPECT_EQ(1, stats(c.nx - 1, 3));
    EXPECT_DOUBLE_EQ((3 - c.image) * (3 - c.image), stats(c.nx - 1, 1));
    EXPECT_DOUBLE_EQ(3 / c.image, stats(c.nx - 1, 2));
  }
}

TEST_F(God, WithoutPairsTheStatisticsAreEmpty) {
  // All images on one spot, then nothing but one spot, then a single prototype.
  const struct {
    Rows points;
    double centre;
  } cases[] = {{{{0, 0}, {3, 0}, {0, 4}}, 5.0 / 256}, {{{1, 1}, {1, 1}}, 0}, {{{1, 1}}, 0}};
  for (const auto& c : cases) {
    MatFullD points;
    test::fill(points, c.points);
    prototypes(tm, points, 0);
    ASSERT_EQ(1, tm.dist_ini(0));
    ASSERT_EQ(1, tm.mapr_ini(2, 2));
    ASSERT_EQ(1, run(tm, euclidean, 7, hist, stats));
    EXPECT_EQ(1, hist.nrow());
    EXPECT_EQ(128, hist.ncol());
    EXPECT_EQ(0, hist.count());
    EXPECT_EQ(c.centre, stats(0, 0));
    for (long k = 1; k <= 3; ++k) EXPECT_EQ(k == 2, stats(0, k));
  }
}

TEST_F(God, APerfectMappingHasNoDifference) {
  prepare_mapping(40, 2, 2, 0, 0.0);
  tm.mprot.copy(tm.prot);
  ASSERT_EQ(1, run(tm, euclidean, 7, hist, stats));
  for (long r = 0; r < 128; ++r) {
    EXPECT_EQ(0, stats(r, 1));
    EXPECT_EQ(1, stats(r, 2));
    for (long c = 0; c < 128; ++c) EXPECT_TRUE(c == r || hist.getval(r, c) == 0);
  }
  EXPECT_EQ(1, stats(127, 3));
}

TEST_F(God, OtherDistanceClassesAndAxesWithoutNumbers) {
  MatFullD::miex = 1.0;
  prepare_mapping(30, 2, 2, 0, 0.0);
  tm.mprot.copy(tm.prot);
  ASSERT_EQ(1, run(tm, euclidean, 7, hist, stats));
  EXPECT_EQ(0, stats(127, 1));
  EXPECT_EQ(1, stats(127, 3));
  // An axis that multidimensional scaling could not fill.
  for (long i = 0; i < 30; ++i) tm.mprot(i, 1) = std::nan("");
  for (const double exponent : {1.0, 2.0}) {
    MatFullD::miex = exponent;
    ASSERT_EQ(1, run(tm, euclidean, 7, hist, stats));
    EXPECT_EQ(0, hist.count());
  }
}

TEST_F(God, SelfNeedsNeitherDistancesNorImages) {
  for (const double memory : {0.0, 1.0, 2.0}) {
    tm.setkey("vgmemory", memory);
    MatFullD points;
    test::uniform_points(points, 40, 3, 2);
    prototypes(tm, points, 4);
    ASSERT_EQ(1, run(tm, self, 7, hist, stats));
    EXPECT_EQ(0, tm.done(VeQuan::dinidone));
    const auto before = dense(hist);
    const Rows means = rows_of(stats);
    ASSERT_EQ(1, tm.dist_ini(0));
    ASSERT_EQ(1, run(tm, self, 7, hist, stats));
    EXPECT_EQ(before, dense(hist));
    EXPECT_EQ(means, rows_of(stats));
    EXPECT_EQ(0, tm.done(ToMapp::minidone));
  }
}

TEST_F(God, AMissingStateLeavesTheResultsAlone) {
  hist.setdim(1, 1);
  hist.setval(0, 0, 5, '=');
  test::fill(stats, {{1, 2}});
  for (const Variant v : variants) EXPECT_EQ(0, run(tm, v, 7, hist, stats));
  prepare(10, 2, 3, 1.0);
  EXPECT_EQ(0, run(tm, euclidean, 7, hist, stats));
  EXPECT_EQ(0, run(tm, curvilinear, 7, hist, stats));
  EXPECT_EQ("", console.take());
  EXPECT_EQ((Rows{{1, 2}}), rows_of(stats));
  EXPECT_EQ(5, hist.getval(0, 0));
}

TEST_F(God, WithoutLinksTheEuclideanVariantStandsIn) {
  const std::string message = "ToMapp.god: no links available\n";
  prepare(10, 2, 0, 0.0);
  EXPECT_EQ(0, run(tm, self, 7, hist, stats)) << "no mapping either";
  EXPECT_EQ(message, console.take());
  prepare_mapping(10, 2, 2, 0, 0.0);
  ASSERT_EQ(1, run(tm, euclidean, 7, hist, stats));
  EXPECT_EQ("", console.take());
  const auto expected = dense(hist);
  for (const Variant v : {self, curvilinear}) {
    ASSERT_EQ(1, run(tm, v, 7, hist, stats));
    EXPECT_EQ(message, console.take());
    EXPECT_EQ(expected, dense(hist));
  }
}

TEST_F(God, ReportsTheMeansOverAllPairs) {
  MatFullD points;
  test::fill(points, {{0, 0}, {3, 0}});
  prototypes(tm, points, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(1, 2));
  tm.mprot(1, 0) = 2;
  tm.verbose = 1;
  console.take();
  ASSERT_EQ(1, run(tm, curvilinear, 7, hist, stats));
  EXPECT_EQ(
      "ToMapp.god: no links available\n"
      "ToMapp.god: calculating ... done!\n"
      "ToMapp.god: mquader=   1.00\n"
      "ToMapp.god: linerty=   1.50\n",
      console.take());
}

TEST_F(God, FiguresOfAnUnrolledSwissRoll) {
  OpenMapping mapping;
  test::quantize_swiss_roll(mapping);
  ASSERT_EQ(1, run(mapping, self, 7, hist, stats));
  EXPECT_GE(stats(stats.nrow() - 1, 2), 0.55);
  EXPECT_LE(stats(stats.nrow() - 1, 2), 0.70);
  // A path is never shorter than the straight line.
  MatFullD space, graph;
  for (long i = 0; i < 200; ++i) {
    const double* e = mapping.space_row(i, space);
    const double* g = mapping.graph_row(i, graph);
    for (long j = 0; j < 200; ++j) EXPECT_LE(e[j], g[j] * (1 + 1e-9));
  }
  ASSERT_EQ(1, mapping.cda(2, static_cast<const char*>(nullptr)));
  ASSERT_EQ(1, run(mapping, curvilinear, 7, hist, stats));
  EXPECT_GE(stats(stats.nrow() - 1, 2), 0.98);
  EXPECT_LE(stats(stats.nrow() - 1, 2), 1.01);
}

}  // namespace
}  // namespace qvtx
