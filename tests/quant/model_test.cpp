// The quantizer's model: states, data, prototypes, the steps that the methods share, and coding.

#include <cmath>
#include <filesystem>

#include "support/files.h"
#include "support/quantizer.h"

namespace qvtx::test {
namespace {

using Model = QuantizerTest;

TEST_F(Model, LoadingDataClearsEverythingBuiltOnThem) {
  const Rows first = {{1.0, 2.0}, {3.0, 4.0}, {5.0, 7.5}};
  load(first);
  ASSERT_EQ(1, vq.nq());
  MatFullD other;
  fill(other, {{9.0, 9.0}});
  EXPECT_EQ(1, vq.dataload(other, 0));
  EXPECT_EQ(first, rows_of(other)) << "exchanged";
  EXPECT_EQ(1, vq.done(VeQuan::datadone));
  EXPECT_EQ(0, vq.done(VeQuan::pinidone));
  EXPECT_EQ(1, vq.dataload(other, 1));
  EXPECT_EQ(first, rows_of(vq.dat)) << "copied";

  const std::string file = temporary("none.dat");
  EXPECT_EQ(0, vq.dataload(file.c_str(), 1));
  EXPECT_EQ(0, vq.dat.nrow());
  EXPECT_EQ(0, vq.done(VeQuan::datadone)) << "a failed load leaves no data";
}

TEST_F(Model, FirstPrototypesByEveryWay) {
  load({{1.0, 10.0}, {3.0, 20.0}, {8.0, 60.0}});
  ASSERT_EQ(1, vq.prot_ini(2, 2));
  EXPECT_EQ((Rows{{4.0, 30.0}, {4.0, 30.0}}), rows_of(vq.prot));
  ASSERT_EQ(1, vq.prot_ini(2, 3));
  EXPECT_EQ((Rows{{0.0, 0.0}, {0.0, 0.0}}), rows_of(vq.prot));
  ASSERT_EQ(1, vq.prot_ini(2, 4));
  EXPECT_EQ(rows_of(vq.dat), rows_of(vq.prot)) << "the number asked for is ignored";

  const RandomState before = getrandom();
  MatFullD expected(2, 2);
  expected.setrows(2);
  expected.random(0, 0.0, 1.0, 0, -1, 0, -1);
  setrandom(before);
  ASSERT_EQ(1, vq.prot_ini(2, 1));
  EXPECT_EQ(rows_of(expected), rows_of(vq.prot)) << "the unit cube";
}

TEST_F(Model, PrototypesAreKeptWhenAskedOrForANegativeNumber) {
  load({{1.0, 1.0}, {2.0, 2.0}});
  ASSERT_EQ(1, vq.prot_ini(1, 2));
  ASSERT_EQ(1, vq.prot_ini(-1, 3));
  EXPECT_EQ((Rows{{1.5, 1.5}}), rows_of(vq.prot));
  vq.setkey("vgkeep_p", 1);
  ASSERT_EQ(1, vq.prot_ini(7, 3));
  EXPECT_EQ((Rows{{1.5, 1.5}}), rows_of(vq.prot));
  load({{1.0}, {2.0}});
  EXPECT_EQ(0, vq.prot_ini(7, 3)) << "kept, but of another width";
  EXPECT_EQ(0, vq.done(VeQuan::pinidone));
}

TEST_F(Model, ErrorIsHalfTheMeanSquaredDistance) {
  load({{0.0}, {1.0}, {4.0}, {10.0}});
  ASSERT_EQ(1, vq.prot_ini(2, 3));
  fill(vq.prot, {{0.0}, {10.0}});
  EXPECT_EQ((0.0 + 1.0 + 16.0 + 0.0) / 8.0, vq.prot_err()) << "no datum has a prototype: the nearest count";
  vq.bmu(1, 0) = 1;
  vq.bmu(2, 0) = 2;  // not a prototype's number
  EXPECT_EQ((0.0 + 81.0 + 16.0 + 0.0) / 8.0, vq.prot_err());
  for (long i = 0; i < 4; ++i) vq.bmu(i, 0) = 1;
  EXPECT_EQ((100.0 + 81.0 + 36.0 + 0.0) / 8.0, vq.prot_err());
}

TEST_F(Model, LostPrototypesAreDeletedAndTheDataRenumbered) {
  load({{0.0}, {0.1}, {5.0}, {9.0}, {9.1}});
  vq.setkey("vglink_p", 2);
  vq.setkey("vgcent_p", 0);
  ASSERT_EQ(1, vq.prot_ini(5, 3));
  fill(vq.prot, {{100.0}, {5.0}, {200.0}, {9.0}, {0.0}});
  ASSERT_EQ(1, vq.prot_fin("Neural Gas", 1));
  EXPECT_EQ((Column{{0}, {1}, {0}, {2}, {2}}), rows_of(vq.hits));
  EXPECT_EQ(2, vq.protnbr(0));
  EXPECT_EQ(0, vq.protdel(7));
  EXPECT_EQ(2, vq.protdel(0));
  EXPECT_EQ((Rows{{9.0}, {5.0}, {0.0}}), rows_of(vq.prot)) << "2 gave way to 4, then 0 to 3";
  EXPECT_EQ((Column{{2}, {2}, {1}, {0}, {0}}), rows_of(vq.bmu));
  EXPECT_EQ((Column{{2}, {1}, {2}}), rows_of(vq.hits));
  EXPECT_EQ(3, vq.link.nnode());
  EXPECT_STREQ("Neural Gas", vq.getmethod());
  EXPECT_EQ(1, vq.done(VeQuan::pfindone));

  EXPECT_EQ(1, vq.protdel(1));
  EXPECT_EQ((Rows{{9.0}, {0.0}}), rows_of(vq.prot));
  EXPECT_EQ((Column{{1}, {1}, {0}, {0}, {0}}), rows_of(vq.bmu)) << "5 is nearer to 9, and freed to choose";
}

TEST_F(Model, LoadedPrototypesSurviveOnlyWhenKept) {
  load_uniform(10, 2);
  MatFullD m;
  fill(m, {{0.1, 0.2}, {0.7, 0.8}});
  EXPECT_EQ(0, vq.protload(m, 1));
  EXPECT_EQ(0, vq.prot.nrow());
  vq.setkey("vgkeep_p", 1);
  vq.setkey("vgcent_p", 0);
  EXPECT_EQ(1, vq.protload(m, 1));
  EXPECT_EQ(rows_of(m), rows_of(vq.prot));
  EXPECT_STREQ("Loaded prototypes", vq.getmethod());

  fill(m, {{0.1, 0.2, 0.3}});
  EXPECT_EQ(0, vq.protload(m, 0)) << "another width";
  EXPECT_EQ(0, vq.prot.nrow());
  EXPECT_EQ(2, vq.prot.ncol());
}

TEST_F(Model, CodesAreNearestPrototypesAndDecodeToThem) {
  vq.setkey("vgcent_p", 0);
  load({{0.0, 0.0}, {1.0, 0.0}, {6.0, 0.0}, {9.0, 0.0}});
  ASSERT_EQ(1, vq.prot_ini(2, 3));
  fill(vq.prot, {{8.0, 0.0}, {1.0, 0.0}});
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  vq.bmu(3, 0) = 1;  // the codes of the data are the assignment, whatever is nearest
  MatFullD x, y;
  MatFullL code;
  fill(x, {{7.0, 0.0}, {2.0, 2.0}, {4.5, 0.0}});
  ASSERT_EQ(1, vq.cod(x, code));
  EXPECT_EQ((Column{{0}, {1}, {0}}), rows_of(code)) << "a tie goes to the lower number";
  ASSERT_EQ(1, vq.dec(code, y));
  EXPECT_EQ((Rows{{8.0, 0.0}, {1.0, 0.0}, {8.0, 0.0}}), rows_of(y));
  EXPECT_EQ((1.0 + 5.0 + 12.25) / 3.0, vq.cd_err(x));
  ASSERT_EQ(1, vq.cod(vq.getdat(), code));
  EXPECT_EQ((Column{{1}, {1}, {0}, {1}}), rows_of(code));
  ASSERT_EQ(1, vq.ind(x, code));
  EXPECT_EQ((Column{{2}, {1}, {2}}), rows_of(code));

  ASSERT_EQ(1, vq.prot_fin("Jarvis-Patrick", 1));
  vq.bmu(1, 0) = 0;
  ASSERT_EQ(1, vq.cod(x, code));
  EXPECT_EQ((Column{{0}, {0}, {0}}), rows_of(code)) << "the clusters of data 2, 1 and 2";

  fill(y, {{1.0}});
  EXPECT_EQ(0, vq.cod(y, code)) << "another width";
  MatFullD::miex = 1.0;
  ASSERT_EQ(1, vq.gc());
  fill(x, {{3.0, 5.0}});
  EXPECT_EQ(1.0 + 25.0, vq.cd_err(x)) << "Euclidean under any class";
}

TEST_F(Model, SizeAndRadiusComeFromTheSettings) {
  load_uniform(25, 1);
  for (const auto& [ratio, number] : {std::pair(0.0, 1L), {0.5, 13L}, {0.25, 6L}, {1.0, 25L}}) {
    vq.setkey("vgvqcora", ratio);
    EXPECT_EQ(number, vq.getnumber()) << ratio;
  }
  load({{-1.0, 0.0}, {1.0, 0.0}, {0.0, 4.0}, {0.0, -4.0}});  // mean 0, mean distance 2.5
  EXPECT_EQ(2.0 * 0.5 * 2.5, vq.marauto(0.5));
  EXPECT_EQ(-20.0, vq.marauto(5.0));
}

TEST_F(Model, TrivialMethodsTakeTheDataOrTheirMean) {
  load({{0.0, 0.0}, {1.0, 2.0}, {2.0, 7.0}});
  const std::pair<const char*, Rows> expected[] = {{"No quantization", rows_of(vq.dat)},
                                                   {"G-center", {{1.0, 3.0}}}};
  for (const int method : {1, 2}) {
    vq.setkey("vgvqdvqm", method);
    EXPECT_EQ(1, vq.vq());
    EXPECT_STREQ(expected[method - 1].first, vq.getmethod());
    EXPECT_EQ(expected[method - 1].second, rows_of(vq.prot));
  }
}

}  // namespace
}  // namespace qvtx::test
