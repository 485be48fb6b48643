#pragma once
// What the mapping's tests share: a mapping whose members can be set and looked at, on prototypes made in
// memory.

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "base/isa.h"
#include "mapping/tomapp.h"
#include "support/quantizer.h"

namespace qvtx::test {

/// A mapping whose inner state is open to tests.
class OpenMapping : public ToMapp {
 public:
  OpenMapping() : OpenMapping(default_preferences()) {}
  explicit OpenMapping(std::ifstream&& prefs) : ToMapp(prefs) {}

  using ToMapp::balance;
  using ToMapp::compsize;
  using ToMapp::find_mapping_keys;
  using ToMapp::hits;
  using ToMapp::images;
  using ToMapp::keys;
  using ToMapp::link;
  using ToMapp::lwork;
  using ToMapp::method;
  using ToMapp::mlink;
  using ToMapp::mname;
  using ToMapp::mpidx;
  using ToMapp::mprot;
  using ToMapp::nbwidth;
  using ToMapp::pidx;
  using ToMapp::prot;
  using ToMapp::state;

  /// Sets the future value of a key of either table. Fails the test when the key is missing or refuses the
  /// value.
  void setkey(const char* key, double value) {
    const long k = lpref.getkey(key);
    const int ok =
        k >= 0 ? lpref.newval(k, static_cast<long>(value)) : dpref.newval(dpref.getkey(key), value);
    EXPECT_EQ(1, ok) << key << " refuses " << value;
  }
  /// Value in use of a real setting.
  double real(const char* key) const { return dpref.getval(dpref.getkey(key)); }
};

/// The instruction sets that this machine can run.
inline std::vector<Isa> instruction_sets() {
  std::vector<Isa> sets;
  for (const Isa isa : {Isa::baseline, Isa::avx2, Isa::avx512}) {
    if (isa <= isa_best()) sets.push_back(isa);
  }
  return sets;
}

/// n points of d coordinates, point i in cluster i mod clusters; clusters lie 10 apart along all axes.
inline void clustered_points(MatFullD& m, long n, long d, long clusters, unsigned long seed = 1) {
  uniform_points(m, n, d, seed);
  for (long i = 0; i < n; ++i) {
    for (long k = 0; k < d; ++k) m(i, k) += 10.0 * static_cast<double>(i % clusters);
  }
}

/// A silent mapping, a caught console, the Euclidean distance and a seeded generator for every test.
class MappingTest : public ::testing::Test {
 protected:
  MappingTest() {
    MatFullD::mesp = 'm';
    MatFullD::miex = 2.0;
    setseed(default_seed);
    tm.setkey("vgteartt", 0);
  }
  ~MappingTest() override {
    MatFullD::mesp = 'm';
    MatFullD::miex = 2.0;
    set_isa_level(isa_best());
  }

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
  /// The same with uniform images in p dimensions: a mapping that is initialised, not final.
  void prepare_mapping(long n, long d, long p, long k, double w, long clusters = 1) {
    prepare(n, d, k, w, clusters);
    ASSERT_EQ(1, tm.mapr_ini(p, 2));
    uniform_points(tm.mprot, n, p, 7);
  }

  CaughtConsole console;
  OpenMapping tm;
};

}  // namespace qvtx::test
