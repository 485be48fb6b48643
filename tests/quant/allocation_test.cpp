// The epochs of every iterative method, once they have been run, work in the storage that they have.

#include <functional>

#include "support/allocations.h"
#include "support/quantizer.h"

namespace qvtx::test {
namespace {

/// A method: how its prototypes start and its epoch e = 0, 1, ... runs.
struct Method {
  const char* name;
  std::function<void(OpenQuantizer&, long n)> start;
  std::function<void(OpenQuantizer&, int)> epoch;
  long rule = 0;  // of a self-organizing map: 0 online, 1 batch
};

constexpr double wide = 10.0;  // no datum of the unit cube is as far from a prototype
/// Widths of neural gas: 61, 100 and 31 of 100 prototypes move, which a network ranks; then 2 and 1, left to
/// the tournament and to the search for winners. The widest is not the first.
constexpr double gas_widths[] = {20.0, 50.0, 10.0, 0.5, 0.2};
constexpr double map_widths[] = {2.0, 5.0, 3.0, 1.0, 0.0};
constexpr int epochs = 5;

void draw(OpenQuantizer& vq, long n) { ASSERT_EQ(1, vq.prot_ini(n, 0)); }
void make_map(OpenQuantizer& vq, long n) { ASSERT_EQ(1, vq.som_ini(n, 1.0)); }

const Method methods[] = {
    {"cl", draw, [](OpenQuantizer& vq, int) { vq.cl_itr(0.2); }},
    {"fcl", draw, [](OpenQuantizer& vq, int) { vq.fcl_itr(0.2, 0); }},
    {"xn", draw, [](OpenQuantizer& vq, int) { vq.xn_itr(wide); }},
    {"nw", draw, [](OpenQuantizer& vq, int) { vq.nw_itr(wide, 0.2); }},
    {"ng", draw, [](OpenQuantizer& vq, int e) { vq.ng_itr(0.2, gas_widths[e]); }},
    {"som online", make_map, [](OpenQuantizer& vq, int e) { vq.som_itr(0.2, map_widths[e]); }, 0},
    {"som batch", make_map, [](OpenQuantizer& vq, int e) { vq.som_itr(0.2, map_widths[e]); }, 1},
    {"lbg", draw, [](OpenQuantizer& vq, int) { vq.lbg_itr(0); }},
    {"dlbg", draw, [](OpenQuantizer& vq, int) { vq.dlbg_itr(wide, 0); }},
};

/// New data and n first prototypes for a method.
void begin(OpenQuantizer& vq, const Method& method, long ndata, long dim, long n) {
  MatFullD points;
  uniform_points(points, ndata, dim, 1);
  ASSERT_EQ(1, vq.dataload(points, 0));
  vq.setkey("vsomrule", static_cast<double>(method.rule));
  setseed(default_seed);
  method.start(vq, n);
}

using AllocationTest = AnalysisTest;

TEST_F(AllocationTest, NoneInAnEpochAfterTheFirst) {
  if (!QVTX_OWN_MALLOC) GTEST_SKIP() << "malloc cannot be counted here";
  // Euclidean distance, on packed copies; maximum distance, through the quantizer's own operations.
  for (const double exponent : {2.0, 8.0}) {
    MatFullD::miex = exponent;
    for (const Method& method : methods) {
      SCOPED_TRACE(std::string(method.name) + ", exponent " + std::to_string(exponent));
      const long before = allocations;
      OpenQuantizer vq;
      begin(vq, method, 400, 3, 100);
      method.epoch(vq, 0);
      EXPECT_LT(before, allocations);
      for (int e = 1; e < epochs; ++e) {
        const long warm = allocations;
        method.epoch(vq, e);
        EXPECT_EQ(warm, allocations) << "epoch " << e;
      }
    }
  }
}

TEST_F(AllocationTest, NothingOfAnEarlierRunIsSeen) {
  OpenQuantizer used;
  for (const long n : {90L, 26L, 3L, 60L}) {  // fewer prototypes, then more again, in changing dimensions
    for (const Method& method : methods) {
      SCOPED_TRACE(std::string(method.name) + ", prototypes " + std::to_string(n));
      OpenQuantizer fresh;
      for (OpenQuantizer* vq : {&fresh, &used}) {
        begin(*vq, method, 3 * n, n % 7 + 1, n);
        for (int e = 0; e < epochs; ++e) method.epoch(*vq, e);
        // Prototypes that join during the last epoch, in the storage of those before.
        ASSERT_EQ(1, vq->nw_itr(0.2, 0.1));
      }
      EXPECT_EQ(rows_of(fresh.prot), rows_of(used.prot));
      EXPECT_EQ(rows_of(fresh.bmu), rows_of(used.bmu));
    }
  }
}

}  // namespace
}  // namespace qvtx::test
