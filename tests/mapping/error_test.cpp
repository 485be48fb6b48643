// How well a mapping keeps neighbourhoods and distances, against brute force; the loops behind it.

#include <algorithm>

#include "mapping/input_distances.h"
#include "mapping/mapping_kernels.h"
#include "support/mapping.h"

namespace qvtx {
namespace {

using test::MappingTest;
using test::rows_of;
using Rows = std::vector<std::vector<double>>;

class MappingError : public MappingTest {
 protected:
  /// Numbers of the k rows nearest to row i, by sorting all.
  static std::vector<long> nearest_rows(const Rows& x, std::size_t i, std::size_t k) {
    std::vector<std::pair<double, long>> all;
    for (std::size_t j = 0; j < x.size(); ++j) {
      if (j != i) all.emplace_back(distance(x[i], x[j]), static_cast<long>(j));
    }
    std::sort(all.begin(), all.end());
    std::vector<long> found;
    for (std::size_t r = 0; r < std::min(k, all.size()); ++r) found.push_back(all[r].second);
    return found;
  }
  static double distance(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0;
    for (std::size_t k = a.size(); k-- > 0;) sum += (a[k] - b[k]) * (a[k] - b[k]);
    return std::sqrt(sum);
  }
  static double misses(const std::vector<long>& found, const std::vector<long>& wanted) {
    return static_cast<double>(std::count_if(found.begin(), found.end(), [&](long j) {
      return std::find(wanted.begin(), wanted.end(), j) == wanted.end();
    }));
  }

  /// The stress as a plain sum over ordered pairs.
  double plain_stress(double w) {
    const Rows x = rows_of(tm.prot), y = rows_of(tm.mprot);
    MatFullD scratch;
    double error = 0, scale = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      const double* graph = tm.graph_row(static_cast<long>(i), scratch);
      for (std::size_t j = 0; j < x.size(); ++j) {
        const bool joined = tm.pidx(static_cast<long>(i), 0) == tm.pidx(static_cast<long>(j), 0);
        if (i == j || (w > 0 && !joined)) continue;
        const double from = (1 - w) * distance(x[i], x[j]) + (w > 0 ? w * graph[j] : 0.0);
        if (from <= 0) continue;
        const double t = from - distance(y[i], y[j]);
        error += t * t / from;
        scale += from;
      }
    }
    return error / scale;
  }

  /// The stress in the eight partial sums that define its bits.
  double defined_stress(double w) {
    InputDistances input(tm, w, true);
    double error[8] = {}, scale[8] = {};
    const long n = tm.prot.nrow();
    for (long i = n - 1; i >= 0; --i) {
      const double* from = input.row(i);
      for (long j = 0; j < n; ++j) {
        if (j == i || !(from[j] > 0)) continue;
        const double t = from[j] - tm.mprot.sdas(i, j, no_bound);
        error[j % 8] += t * t / from[j];
        scale[j % 8] += from[j];
      }
    }
    double e = 0, s = 0;
    for (int l = 0; l < 8; ++l) e += error[l], s += scale[l];
    return e / s;
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
  for (const long clusters : {1L, 3L}) {
    prepare_mapping(60, 3, 2, 4, 1.0, clusters);
    const Rows y = rows_of(tm.mprot);
    double lost = 0;
    for (std::size_t i = 0; i < y.size(); ++i) {
      std::vector<long> linked;
      for (long k = 0; k < tm.link.nslot(); ++k) {
        const auto node = static_cast<long>(i);
        if (tm.link.live(k) && tm.link.end_a(k) == node) linked.push_back(tm.link.end_b(k));
        if (tm.link.live(k) && tm.link.end_b(k) == node) linked.push_back(tm.link.end_a(k));
      }
      lost += misses(nearest_rows(y, i, linked.size()), linked);
    }
    EXPECT_GT(lost, 0);
    EXPECT_EQ(lost / static_cast<double>(2 * tm.link.nlive()), tm.mapr_err(1));
  }
}

TEST_F(MappingError, AFaithfulMappingLosesNothing) {
  prepare_mapping(50, 2, 2, 4, 0.0);
  for (long i = 0; i < 50; ++i) {
    tm.mprot(i, 0) = 3 - tm.prot(i, 1);  // turned and moved
    tm.mprot(i, 1) = tm.prot(i, 0) + 8;
  }
  EXPECT_EQ(0.0, tm.mapr_err(0));
  EXPECT_LT(tm.mapr_err(), 1e-28);
}

TEST_F(MappingError, StressIsThatOfTheDoubleLoop) {
  for (const double w : {0.0, 0.3, 1.0}) {
    for (const long clusters : {1L, 3L}) {
      for (const long n : {9L, 64L, 301L}) {
        prepare_mapping(n, 3, 2, 2, w, clusters);
        const double expected = plain_stress(w);
        const double defined = defined_stress(w);
        EXPECT_NEAR(expected, defined, 1e-12 * expected);
        for (const Isa isa : test::instruction_sets()) {
          set_isa_level(isa);
          EXPECT_EQ(defined, tm.mapr_err()) << "w " << w << ", " << n << " in " << clusters;
        }
      }
    }
  }
}

TEST_F(MappingError, StressWithoutLinksKnowsNoGraph) {
  prepare_mapping(40, 3, 2, 0, 1.0, 2);
  const double expected = plain_stress(0.0);
  EXPECT_NEAR(expected, tm.mapr_err(), 1e-12 * expected);
}

TEST_F(MappingError, StressInOtherDistanceClasses) {
  for (const double p : {1.0, 3.0, 9.0}) {
    MatFullD::miex = p;
    prepare_mapping(30, 3, 2, 0, 0.0);
    EXPECT_EQ(defined_stress(0.0), tm.mapr_err());
  }
}

TEST_F(MappingError, WithoutAPairTheStressIsZero) {
  prepare_mapping(1, 3, 2, 0, 0.0);
  EXPECT_EQ(0.0, tm.mapr_err());
  MatFullD same;
  test::fill(same, {{1, 2}, {1, 2}, {1, 2}});
  prototypes(tm, same, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  EXPECT_EQ(0.0, tm.mapr_err());
}

TEST_F(MappingError, RowsThatAreNotStoredAreTheSame) {
  for (const double w : {0.0, 0.4, 1.0}) {
    tm.setkey("vgmemory", 2);
    prepare_mapping(70, 3, 2, 3, w, 2);
    for (const bool across : {false, true}) {
      std::vector<double> stored;
      tm.setkey("vgmemory", 2);
      MatFullD points;
      points.copy(tm.prot);
      for (const double memory : {2.0, 0.0}) {
        tm.setkey("vgmemory", memory);
        prototypes(tm, points, 3);
        ASSERT_EQ(1, tm.dist_ini(0));
        std::vector<double> rows;
        InputDistances input(tm, tm.balance(), across);
        for (long i = 0; i < 70; ++i) {
          const double* row = input.row(i);
          rows.insert(rows.end(), row, row + 70);
          EXPECT_EQ(0.0, row[i]);
          for (long j = 0; j < 70; ++j) {
            const bool joined = tm.pidx(i, 0) == tm.pidx(j, 0);
            EXPECT_EQ(!joined && (w > 0 || !across), row[j] < 0);
          }
        }
        if (memory == 2.0) stored = rows;
        EXPECT_EQ(stored, rows) << "w " << w;
      }
    }
  }
}

TEST_F(MappingError, ImageDistancesAreThoseOfTheMatrix) {
  for (const auto& [n, p] : {std::pair{1L, 1L}, {7L, 2L}, {300L, 5L}}) {
    MatFullD images;
    test::uniform_points(images, n, p, 2);
    ImageArrays arrays;
    arrays.load(images);
    for (const Isa isa : test::instruction_sets()) {
      set_isa_level(isa);
      for (long i = 0; i < n; i += 3) {
        mapping_kernels().image_distances(arrays.view(), i, arrays.distance());
        for (long j = 0; j < n; ++j) ASSERT_EQ(images.sdas(i, j, no_bound), arrays.distance()[j]);
      }
    }
    MatFullD back(n, p);
    back.setrows(n);
    arrays.store(back);
    EXPECT_EQ(rows_of(images), rows_of(back));
  }
}

}  // namespace
}  // namespace qvtx
