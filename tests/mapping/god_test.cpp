// The GoD criteria against a direct double loop, their axes and fallbacks.

#include "support/reference_mapping.h"

namespace qvtx::test {
namespace {

enum Variant { self, euclidean, curvilinear };
constexpr Variant variants[] = {self, euclidean, curvilinear};

/// Histogram and statistics by the definition, from the distances of all pairs.
struct ReferenceGod {
  Column hist;
  Rows stats;

  ReferenceGod(const ReferenceMapping& m, Variant v, long bits) {
    struct Pair {
      double x, y;
    };
    std::vector<Pair> all;
    double top[2] = {0, 0};
    for (std::size_t i = m.y.size(); i-- > 0;) {
      for (std::size_t j = i; j-- > 0;) {
        const double x = v == self ? m.graph[i][j] : ReferenceMapping::distance(m.y[i], m.y[j]);
        const double y = v == curvilinear ? m.graph[i][j] : m.space[i][j];
        all.push_back({x, y});
        top[0] = std::max(top[0], x);
        top[1] = std::max(top[1], y);
      }
    }
    // The shorter axis has as many bits less as the longer one's range can be halved and still reach it.
    const int shorter = top[1] < top[0] ? 1 : 0;
    const double longest = top[1 - shorter], width = longest / std::pow(2, bits);
    long fewer = 0;
    while (fewer < bits && longest / std::pow(2, fewer + 1) >= top[shorter]) ++fewer;
    const auto bins = [&](int axis) {
      return static_cast<std::size_t>(1L << (bits - (axis == shorter ? fewer : 0)));
    };
    const auto bin = [&](int axis, double d) {
      return std::min(bins(axis) - 1, static_cast<std::size_t>(d / width));
    };
    hist.assign(bins(0), std::vector<long>(bins(1), 0));
    stats.assign(bins(0), {0, 0, 0, 0});
    for (const auto& [x, y] : all) {
      if (x <= 0 || y < 0) continue;
      ++hist[bin(0, x)][bin(1, y)];
      for (std::size_t r = bin(0, x); r < bins(0); ++r) {
        stats[r][1] += (y - x) * (y - x);
        stats[r][2] += y / x;
        stats[r][3] += 1;
      }
    }
    const double pairs = std::max(stats.back()[3], 1.0);
    for (std::size_t r = 0; r < bins(0); ++r) {
      const double count = stats[r][3];
      stats[r] = {static_cast<double>(r) * width + width / 2, count > 0 ? stats[r][1] / count : 0.0,
                  count > 0 ? stats[r][2] / count : 1.0, count / pairs};
    }
  }
};

class God : public ReferenceMappingTest {
 protected:
  long run(Variant v, int bits = 7) { return tm.god(bits, hist, stats, v == curvilinear, v == self); }

  Column dense() const {
    Column rows;
    for (long r = 0; r < hist.nrow(); ++r) {
      rows.emplace_back();
      for (long c = 0; c < hist.ncol(); ++c) rows.back().push_back(hist.getval(r, c));
    }
    return rows;
  }

  void expect_reference(const ReferenceMapping& m, Variant v, int bits) {
    SCOPED_TRACE(::testing::Message() << "variant " << v << ", bits " << bits);
    const ReferenceGod expected(m, v, bits);
    for (const Isa isa : instruction_sets()) {
      const Level level(isa);
      ASSERT_EQ(1, run(v, bits));
      ASSERT_EQ(expected.hist, dense());
      ASSERT_EQ(expected.stats.size(), static_cast<std::size_t>(stats.nrow()));
      for (long r = 0; r < stats.nrow(); ++r) {
        for (long c = 0; c < 4; ++c) {
          const double value = expected.stats[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)];
          ASSERT_NEAR(value, stats(r, c), 1e-12 * std::max(1.0, std::fabs(value))) << r << " " << c;
        }
      }
    }
  }

  /// The points as prototypes, with images on one spot.
  void place(const Rows& rows, long dim) {
    MatFullD points;
    fill(points, rows);
    prototypes(tm, points, 0);
    start_mapping(dim);
  }

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
        expect_reference(m, v, 7);
        expect_reference(m, v, 6);
        // More cells than are counted in a table; slow to compare.
        if (scale == 1.0) expect_reference(m, v, 10);
      }
    }
  }
  // Two prototypes 3 apart. Equal ranges, just the half, next to nothing; no bits; all images on one spot.
  place({{0, 0}, {3, 0}}, 1);
  for (const double image : {9.0, 3.0, 1.5, 1e-3, 1e6, 0.0}) {
    SCOPED_TRACE(image);
    tm.mprot(1, 0) = image;
    for (const int bits : {7, 3, 0}) expect_reference(ReferenceMapping(tm), euclidean, bits);
    EXPECT_EQ(image > 0, hist.count());
  }
  for (const Rows& spot : {Rows{{1, 1}, {1, 1}}, Rows{{1, 1}}}) {
    place(spot, 2);
    ASSERT_EQ(1, run(euclidean));
    EXPECT_EQ((Rows{{0, 0, 1, 0}}), rows_of(stats));
    EXPECT_EQ(128, hist.ncol());
  }
}

TEST_F(God, WithoutLinksTheEuclideanVariantStandsIn) {
  prepare(10, 2, 0, 0.0);
  EXPECT_EQ(0, run(self)) << "no mapping either";
  EXPECT_EQ("ToMapp.god: no links available\n", console.take());
  place({{0, 0}, {3, 0}}, 1);
  tm.mprot(1, 0) = 2;
  tm.verbose = 1;
  const std::string report =
      "ToMapp.god: calculating ... done!\nToMapp.god: mquader=   1.00\nToMapp.god: linerty=   1.50\n";
  for (const Variant v : {euclidean, self, curvilinear}) {
    console.take();
    ASSERT_EQ(1, run(v));
    EXPECT_EQ((v == euclidean ? "" : "ToMapp.god: no links available\n") + report, console.take());
  }
}

}  // namespace
}  // namespace qvtx::test
