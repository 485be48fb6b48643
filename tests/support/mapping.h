#pragma once
// What the mapping's tests share: a mapping whose members can be set and looked at, on prototypes made in
// memory.

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "mapping/tomapp.h"
#include "support/levels.h"
#include "support/quantizer.h"

namespace qvtx::test {

/// A mapping whose inner state is open to tests.
class OpenMapping : public Open<ToMapp> {
 public:
  using Open<ToMapp>::Open;
  using ToMapp::compsize, ToMapp::mlink, ToMapp::mname, ToMapp::mpidx, ToMapp::mprot, ToMapp::nbwidth;
};

/// n points of d coordinates, point i in cluster i mod clusters; clusters lie 10 apart along all axes.
inline void clustered_points(MatFullD& m, long n, long d, long clusters, unsigned long seed = 1) {
  uniform_points(m, n, d, seed);
  for (long i = 0; i < n; ++i) {
    for (long k = 0; k < d; ++k) m(i, k) += 10.0 * static_cast<double>(i % clusters);
  }
}

/// A silent mapping for every test.
class MappingTest : public AnalysisTest {
 protected:
  MappingTest() { tm.setkey("vgteartt", 0); }
  ~MappingTest() override { set_isa_level(isa_best()); }

  /// The points become data and prototypes, linked with their k nearest neighbours (0: no links); distances
  /// are not computed yet.
  static void prototypes(OpenMapping& mapping, MatFullD& points, long k) {
    ASSERT_EQ(1, mapping.dataload(points, 1));
    mapping.setkey("vglink_p", k > 0 ? 2 : 0);
    if (k > 0) mapping.setkey("vlnnbr", static_cast<double>(k));
    ASSERT_EQ(1, mapping.nq());
  }
  /// n uniform prototypes of d coordinates in this many clusters, with distances for the balance w.
  void prepare(long n, long d, long k, double w, long clusters = 1) {
    MatFullD points;
    clustered_points(points, n, d, clusters);
    prototypes(tm, points, k);
    tm.setkey("tdgb", w);
    ASSERT_EQ(1, tm.dist_ini(0));
  }
  /// Distances between the prototypes that are there, and images of them that are all 0.
  void start_mapping(long p) {
    ASSERT_EQ(1, tm.dist_ini(0));
    ASSERT_EQ(1, tm.mapr_ini(p, 2));
  }
  /// As `prepare`, with uniform images in p dimensions: a mapping that is initialised, not final.
  void prepare_mapping(long n, long d, long p, long k, double w, long clusters = 1) {
    prepare(n, d, k, w, clusters);
    start_mapping(p);
    uniform_points(tm.mprot, n, p, 7);
  }

  OpenMapping tm;
};

}  // namespace qvtx::test
