#include "support/reference_quantizer.h"

namespace qvtx::test {
namespace {

using DlbgTest = ReferenceTest;

TEST_F(DlbgTest, EpochsEqualThePlainLoop) {
  expect_equal_epochs(2, 6, [this](int e) {
    const double r = e % 2 == 0 ? 0.3 : -0.3;  // the sign does not count
    EXPECT_EQ(reference.dlbg_epoch(r, 10), vq.dlbg_itr(r, 10));
    expect_report(" #prot= %4ld lost=%3ld chgd=%6ld", reference.nprot(), reference.lost, reference.chgd);
  });
}

TEST_F(DlbgTest, CellsFitTheRadiusInTheEnd) {
  EXPECT_EQ(0, vq.dlbg(0.2)) << "no data";
  load_uniform(300, 2);
  vq.setkey("vgcent_p", 0);
  ASSERT_EQ(1, vq.dlbg(0.2));
  EXPECT_STREQ("dLBG", vq.getmethod());
  for (long k = 0; k < vq.prot.nrow(); ++k) {
    double sum = 0.0;
    for (long i = 0; i < 300; ++i) sum += vq.bmu(i, 0) == k ? vq.prot.sdas(k, vq.dat, i, no_bound) : 0.0;
    EXPECT_LE(sum, 0.2 * static_cast<double>(vq.hits(k, 0)) * (1.0 + 1e-9));
  }
  ASSERT_EQ(1, vq.dlbg(10.0));
  EXPECT_EQ(2, vq.prot.nrow());
}

}  // namespace
}  // namespace qvtx::test
