#include "base/scquan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qvtx {
namespace {

TEST(ScQuan, BinsAreClosedBelow) {
  ScQuan q(0, 1, 0);
  for (const long bits : {0L, 1L, 4L, 10L}) {
    q.setall(-3, 5, bits);  // bin boundaries are exact
    EXPECT_EQ(q.bins(), 1L << bits);
    for (long k = 0; k < q.bins(); ++k) {
      const double boundary = q.lb() + static_cast<double>(k) * q.width();
      EXPECT_EQ(q.getidx(boundary), k);
      EXPECT_EQ(q.getidx(std::nextafter(boundary + q.width(), q.lb())), k);
    }
    EXPECT_EQ(q.getidx(q.ub()), q.bins() - 1);
    EXPECT_EQ(q.getidx(-std::numeric_limits<double>::infinity()), 0);
    EXPECT_EQ(q.getidx(std::numeric_limits<double>::infinity()), q.bins() - 1);
  }
}

}  // namespace
}  // namespace qvtx
