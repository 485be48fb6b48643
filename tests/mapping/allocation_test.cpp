// The epochs of every mapping, once one has been run, work in the storage that they have.

#include <functional>

#include "support/allocations.h"
#include "support/mapping.h"

namespace qvtx::test {
namespace {

struct Method {
  const char* name;
  std::function<void(OpenMapping&)> epoch;
};

const Method methods[] = {
    {"Sammon, pseudo-Newton", [](OpenMapping& tm) { tm.sammon_itr(0.1, 0.0); }},
    {"Sammon, stochastic", [](OpenMapping& tm) { tm.sammon_itr(0.1, 1.0); }},
    {"curvilinear component analysis", [](OpenMapping& tm) { tm.cda_itr(0.1, 0.5); }},
    {"Isotop",
     [](OpenMapping& tm) {
       static MatFullD deviations(1, 2);
       if (deviations.nrow() == 0) deviations.setrows(1, 1.0);
       tm.isotop_itr(deviations, 0.1, 0.5);
     }},
};

using AllocationTest = MappingTest;

TEST_F(AllocationTest, NoneInAnEpochAfterTheFirst) {
  if (!QVTX_OWN_MALLOC) GTEST_SKIP() << "malloc cannot be counted here";
  // Stored distances and paths, of each kind; one component and two.
  tm.setkey("vgmemory", 2);
  for (const double w : {0.0, 0.5, 1.0}) {
    for (const long clusters : {1L, 2L}) {
      for (const Method& method : methods) {
        SCOPED_TRACE(std::string(method.name).append(", balance ").append(std::to_string(w)));
        prepare_mapping(60, 3, 2, 4, w, clusters);
        tm.nbwidth.setdim(60, 1);
        tm.nbwidth.setrows(60, 1.0);
        method.epoch(tm);
        const long warm = allocations;
        for (int e = 0; e < 3; ++e) method.epoch(tm);
        EXPECT_EQ(warm, allocations);
      }
    }
  }
}

}  // namespace
}  // namespace qvtx::test
