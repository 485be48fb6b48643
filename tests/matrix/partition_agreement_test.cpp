// Agreement of two partitions, against values worked out by hand.

#include "matrix/partition_agreement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace qvtx {
namespace {

using Labels = std::vector<long>;
using Value = std::optional<double>;

MatFullL column_of(const Labels& labels) {
  MatFullL m(static_cast<long>(labels.size()), 1);
  m.setrows(static_cast<long>(labels.size()), 0);
  std::copy(labels.begin(), labels.end(), m.data());
  return m;
}

TEST(PartitionAgreement, HandWorkedValues) {
  const struct {
    Labels clusters, classes;
    Value rand, purity;
  } cases[] = {
      // Pairs together in both, clusters, classes, all: 2, 6, 6, 15; (2 - 36/15) / (6 - 36/15).
      {{0, 0, 0, 1, 1, 1}, {5, 5, 7, 7, 7, 5}, -1.0 / 9, 4.0 / 6},
      // 1, 3, 4, 10; (1 - 1.2) / (3.5 - 1.2).
      {{4, 4, 4, 1, 0}, {2, 2, 1, 1, 1}, -2.0 / 23, 0.8},
      {{3, 3, 9, 9}, {0, 0, 1, 1}, 1.0, 1.0},
      {{0, 0, 1, 1}, {0, 1, 0, 1}, -0.5, 0.5},               // 0, 2, 2, 6: (0 - 4/6) / (2 - 4/6)
      {{0, 1, 2, 3}, {0, 0, 1, 1}, 0.0, 1.0},                // all apart against pairs
      {{0, 0, -1, 1, 1, 1}, {0, 0, 1, 1, 1, -1}, 1.0, 1.0},  // two things take no part
      {{0, 0, 0}, {1, 1, 1}, {}, 1.0},                       // nothing to tell apart
      {{0, 1, 2}, {2, 1, 0}, {}, 1.0},
      {{0}, {0}, {}, 1.0},
      {{-1, 0}, {0, -1}, {}, {}},
  };
  for (const auto& c : cases) {
    const PartitionAgreement found(column_of(c.clusters), 0, column_of(c.classes));
    const std::string text = testing::PrintToString(c.clusters) + testing::PrintToString(c.classes);
    ASSERT_EQ(found.adjusted_rand().has_value(), c.rand.has_value()) << text;
    ASSERT_EQ(found.purity().has_value(), c.purity.has_value()) << text;
    EXPECT_NEAR(found.adjusted_rand().value_or(0), c.rand.value_or(0), 1e-15) << text;
    EXPECT_DOUBLE_EQ(found.purity().value_or(0), c.purity.value_or(0)) << text;
    EXPECT_EQ(found.adjusted_rand(),
              PartitionAgreement(column_of(c.classes), 0, column_of(c.clusters)).adjusted_rand());
  }
}

}  // namespace
}  // namespace qvtx
