// The quantizer's model: states, data, prototypes, the steps that the methods share, and coding.

#include <cmath>
#include <filesystem>
#include <iostream>
#include <limits>

#include "support/quantizer.h"
#include "support/temporary.h"

namespace qvtx {
namespace {

using test::fill;
using test::OpenQuantizer;
using test::QuantizerTest;
using test::rows_of;
using Rows = std::vector<std::vector<double>>;
using Column = std::vector<std::vector<long>>;

class Model : public QuantizerTest {
 protected:
  /// The rows that `raseli` picks next: numbers drawn from a pool in which the last one replaces the one
  /// taken.
  static std::vector<long> predict_rows(long ndata, long n) {
    const RandomState before = getrandom();
    std::vector<long> pool, picked;
    while (static_cast<long>(picked.size()) < n) {
      if (pool.empty()) {
        for (long i = 0; i < ndata; ++i) pool.push_back(i);
      }
      const std::size_t k = static_cast<std::size_t>(draw_index(static_cast<long>(pool.size())));
      picked.push_back(pool[k]);
      pool[k] = pool.back();
      pool.pop_back();
    }
    setrandom(before);
    return picked;
  }

  static double distance(const MatFullD& a, long i, const MatFullD& b, long j) {
    double sum = 0.0;
    for (long c = a.ncol() - 1; c >= 0; --c) {
      const double t = a(i, c) - b(j, c);
      sum += t * t;
    }
    return std::sqrt(sum);
  }
};

TEST_F(Model, UnreadablePreferencesAreReportedAndTheFirstKeyEndsTheProgram) {
  OpenQuantizer empty{std::ifstream("no such file")};
  EXPECT_EQ("VeQuan.VeQuan: unable to read preference file\n", console.take());
  MatFullD m;
  fill(m, {{1.0}});
  ASSERT_EQ(1, empty.dataload(m, 1));
  EXPECT_EXIT(
      {
        os.stream = &std::cerr;
        empty.prot_ini(1, 0);
      },
      ::testing::ExitedWithCode(0), "missing key: vgswap_d");
}

TEST_F(Model, EveryOperationIsRefusedBeforeItsStep) {
  MatFullD x(0, 1);
  MatFullL code(0, 1);
  EXPECT_EQ(0, vq.datasave(x));
  EXPECT_EQ(0, vq.datasave("unwritten.dat", 0));
  EXPECT_EQ(0, vq.prot_ini(3, 0));
  EXPECT_EQ(0, vq.nq());
  EXPECT_EQ(0, vq.protsave(x));
  EXPECT_EQ(0, vq.ind(x, code));
  EXPECT_EQ(0, vq.cod(x, code));
  EXPECT_EQ(0, vq.dec(code, x));
  EXPECT_EQ(0, vq.prot_fin("label", 1));
  EXPECT_EQ(-1.0, vq.prot_err());
  EXPECT_EQ(-1, vq.protdel(0));
  EXPECT_EQ(-1, vq.protnbr(0));
  EXPECT_EQ(0.0, vq.cd_err(x));
  EXPECT_EQ(-1.0, vq.marauto(0.5));
}

TEST_F(Model, LoadingDataClearsEverythingBuiltOnThem) {
  load({{1.0, 2.0}, {3.0, 4.0}, {5.0, 7.0}});
  ASSERT_EQ(1, vq.nq());
  ASSERT_EQ(1, vq.done(VeQuan::pfindone));
  MatFullD other;
  fill(other, {{9.0, 9.0}});
  EXPECT_EQ(1, vq.dataload(other, 0));
  EXPECT_EQ((Rows{{1.0, 2.0}, {3.0, 4.0}, {5.0, 7.0}}), rows_of(other)) << "exchanged";
  EXPECT_EQ(1, vq.done(VeQuan::datadone));
  EXPECT_EQ(0, vq.done(VeQuan::pinidone));
  EXPECT_EQ(1, vq.dataload(other, 1));
  EXPECT_EQ(rows_of(other), rows_of(vq.dat)) << "copied";
}

TEST_F(Model, DataFilesRoundTripAndAFailedLoadLeavesNoData) {
  const std::string file = test::temporary("model.dat");
  load({{1.5, 2.0}, {3.0, 4.0}});
  for (int binary : {0, 1}) {
    ASSERT_EQ(1, vq.datasave(file.c_str(), binary));
    ASSERT_EQ(1, vq.dataload(file.c_str(), binary));
    EXPECT_EQ((Rows{{1.5, 2.0}, {3.0, 4.0}}), rows_of(vq.dat));
  }
  ASSERT_EQ(1, vq.save_dbf(file.c_str()));
  ASSERT_EQ(1, vq.load_dbf(file.c_str()));
  std::filesystem::remove(file);
  EXPECT_EQ(0, vq.dataload(file.c_str(), 1));
  EXPECT_EQ(0, vq.dat.nrow());
  EXPECT_EQ(1, vq.dat.ncol());
  EXPECT_EQ(0, vq.done(VeQuan::datadone));
}

TEST_F(Model, GrowthStepFollowsTheNumberAskedForOrTheData) {
  struct Case {
    long ndata, dim, n, step;
  };
  for (const Case& c : {Case{50, 3, 1000, 1000},
                        {50, 3, 5, 5},
                        {50, 3, 4, 100},
                        {10000, 9, 2, 100},
                        {20000, 3, 2, 500},
                        {40000, 1, 2, 800}}) {
    load_uniform(c.ndata, c.dim);
    ASSERT_EQ(1, vq.prot_ini(c.n, 0));
    const ::testing::Message what = ::testing::Message() << c.ndata << " x " << c.dim << ", " << c.n;
    EXPECT_EQ(c.step, vq.prot.ninc()) << what;
    EXPECT_EQ(c.step, vq.pval.ninc()) << what;
    EXPECT_EQ(c.step, vq.hits.ninc()) << what;
    EXPECT_EQ(c.n, vq.prot.nrow()) << what;
  }
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
  const std::vector<long> drawn = predict_rows(3, 5);  // the pool starts again after three
  Rows expected;
  for (long i : drawn) expected.push_back({vq.dat(i, 0), vq.dat(i, 1)});
  ASSERT_EQ(1, vq.prot_ini(5, 0));
  EXPECT_EQ(expected, rows_of(vq.prot));

  setrandom(before);
  expected.assign(2, {0.0, 0.0});
  for (std::size_t i : {1u, 0u}) {
    for (std::size_t j : {1u, 0u}) expected[i][j] = u_rand();
  }
  setrandom(before);
  ASSERT_EQ(1, vq.prot_ini(2, 1));
  EXPECT_EQ(expected, rows_of(vq.prot)) << "the unit cube, last row and column first";
}

TEST_F(Model, PrototypesAreKeptWhenAskedOrForANegativeNumber) {
  load({{1.0, 1.0}, {2.0, 2.0}});
  ASSERT_EQ(1, vq.prot_ini(1, 2));
  ASSERT_EQ(1, vq.prot_ini(-1, 3));
  EXPECT_EQ((Rows{{1.5, 1.5}}), rows_of(vq.prot));
  vq.setkey("vgkeep_p", 1);
  ASSERT_EQ(1, vq.prot_ini(7, 3));
  EXPECT_EQ((Rows{{1.5, 1.5}}), rows_of(vq.prot));

  vq.verbose = 1;
  load({{1.0}, {2.0}});
  console.take();
  EXPECT_EQ(0, vq.prot_ini(7, 3));
  EXPECT_EQ("VeQuan.prot_ini: initializing prototypes ... failed!\n", console.take());
  EXPECT_EQ(0, vq.done(VeQuan::pinidone));
}

TEST_F(Model, InitialisationResetsAllBookkeeping) {
  load_uniform(20, 2);
  ASSERT_EQ(1, vq.nq());
  vq.setkey("vgswap_d", 0);
  vq.lwork.setrows(3, 1.0);
  ASSERT_EQ(1, vq.prot_ini(4, 0));
  EXPECT_STREQ("", vq.getmethod());
  EXPECT_EQ(Column(4, {0}), rows_of(vq.hits));
  EXPECT_EQ(Rows(4, {0.0}), rows_of(vq.pval));
  EXPECT_EQ(Rows(20, {0.0}), rows_of(vq.ddis));
  EXPECT_EQ(Column(20, {-1}), rows_of(vq.bmu));
  EXPECT_EQ(Column(20, {0, 0}), rows_of(vq.bmucnt));
  for (long i = 0; i < 20; ++i) EXPECT_EQ(i, vq.order(i, 0));
  EXPECT_EQ(4, vq.link.nnode());
  EXPECT_EQ(3, vq.link.nvalue());
  EXPECT_EQ(0, vq.link.nlive());
  EXPECT_EQ(0, vq.lwork.nrow());
  EXPECT_EQ(2, vq.lwork.ncol());
  EXPECT_EQ(0, vq.getlpref().getval(vq.keys.vgswap_d)) << "committed";
}

TEST_F(Model, BestMatchingUnitIsFoundCountedOrCreated) {
  load({{0.0}, {1.0}, {10.0}, {0.4}});
  ASSERT_EQ(1, vq.prot_ini(2, 3));
  vq.prot(1, 0) = 1.0;
  EXPECT_EQ(1, vq.prot_bmu(0, no_bound));
  EXPECT_EQ(0, vq.prot_bmu(0, no_bound));
  EXPECT_EQ(1, vq.prot_bmu(1, 0.5));
  EXPECT_EQ((Column{{0}, {1}, {-1}, {-1}}), rows_of(vq.bmu));
  EXPECT_EQ((Column{{1, 1}, {1, 0}, {0, 0}, {0, 0}}), rows_of(vq.bmucnt));
  EXPECT_EQ((Column{{2}, {1}}), rows_of(vq.hits));

  EXPECT_EQ(1, vq.prot_bmu(2, 3.0)) << "10 lies beyond 3 of 0 and 1";
  EXPECT_EQ((Rows{{0.0}, {1.0}, {10.0}}), rows_of(vq.prot));
  EXPECT_EQ((Column{{2}, {1}, {1}}), rows_of(vq.hits));
  EXPECT_EQ((Rows{{0.0}, {0.0}, {0.0}}), rows_of(vq.pval));
  EXPECT_EQ(2, vq.bmu(2, 0));

  vq.bmu(3, 0) = 1;  // the present prototype only narrows the search
  EXPECT_EQ(1, vq.prot_bmu(3, no_bound));
  EXPECT_EQ(0, vq.bmu(3, 0));
}

TEST_F(Model, EqualDistancesGoToTheLowestPrototype) {
  load({{0.0, 0.0}});
  ASSERT_EQ(1, vq.prot_ini(4, 3));
  fill(vq.prot, {{3.0, 0.0}, {0.0, 2.0}, {-2.0, 0.0}, {2.0, 0.0}});
  vq.prot_bmu(0, no_bound);
  EXPECT_EQ(1, vq.bmu(0, 0));
}

TEST_F(Model, MoveGoesDownTheHalfSquaredDistance) {
  load({{1.0, -2.0, 4.0}});
  ASSERT_EQ(1, vq.prot_ini(2, 3));
  fill(vq.prot, {{7.0, 7.0, 7.0}, {0.5, 1.0, 0.0}});
  vq.prot_mov(0, 0.25, 1);
  EXPECT_EQ((Rows{{7.0, 7.0, 7.0}, {0.625, 0.25, 1.0}}), rows_of(vq.prot));
  for (long k : {-1L, 2L}) {
    EXPECT_EXIT(
        {
          os.stream = &std::cerr;
          vq.prot_mov(0, 0.25, k);
        },
        ::testing::ExitedWithCode(0), "class MatFullT: error m")
        << k;
  }
}

TEST_F(Model, ErrorIsHalfTheMeanSquaredDistance) {
  load_uniform(101, 3);
  ASSERT_EQ(1, vq.prot_ini(7, 0));
  for (int assigned :
       {0, 1, 2}) {  // no datum, some, and all data have a prototype, not always the nearest one
    for (long i = 0; i < 101; ++i) {
      if (assigned == 2 || (assigned == 1 && i % 3 == 0)) vq.bmu(i, 0) = i % 7;
    }
    if (assigned == 1) vq.bmu(5, 0) = 7;  // not a prototype's number
    double sum = 0.0;
    for (long i = 100; i >= 0; --i) {
      long k = vq.bmu(i, 0);
      if (k < 0 || k >= 7) {
        k = 0;
        for (long c = 1; c < 7; ++c) {
          if (distance(vq.prot, c, vq.dat, i) < distance(vq.prot, k, vq.dat, i)) k = c;
        }
      }
      const double d = distance(vq.prot, k, vq.dat, i);
      sum += d * d;
    }
    EXPECT_EQ(0.5 * sum / 101.0, vq.prot_err()) << "way " << assigned;
  }
}

TEST_F(Model, DeadPrototypesAreCountedAndReplacedFromTheLast) {
  load_uniform(30, 2);
  ASSERT_EQ(1, vq.prot_ini(4, 0));
  const Rows before = rows_of(vq.prot);
  const std::vector<long> hits = {0, 3, 1, 0};
  const auto set_hits = [&] {
    for (long k = 0; k < 4; ++k) vq.hits(k, 0) = hits[static_cast<std::size_t>(k)];
  };
  set_hits();
  EXPECT_EQ(2, vq.prot_rep(0));
  EXPECT_EQ(before, rows_of(vq.prot));
  EXPECT_EQ(Column(4, {0}), rows_of(vq.hits));

  set_hits();
  const RandomState state = getrandom();
  const long first = draw_index(30), second = draw_index(30);
  setrandom(state);
  EXPECT_EQ(2, vq.prot_rep(1));
  EXPECT_EQ(rows_of(vq.dat)[static_cast<std::size_t>(first)], rows_of(vq.prot)[3]);
  EXPECT_EQ(rows_of(vq.dat)[static_cast<std::size_t>(second)], rows_of(vq.prot)[0]);
  EXPECT_EQ(before[1], rows_of(vq.prot)[1]);

  vq.setkey("vgrepl_p", 0);
  vq.setkey("vglpmaxp", 1);
  ASSERT_EQ(1, vq.prot_ini(-1, 0));
  set_hits();
  const Rows kept = rows_of(vq.prot);
  EXPECT_EQ(3, vq.prot_rep(1)) << "a single hit counts as dead";
  EXPECT_EQ(kept, rows_of(vq.prot)) << "replacement is off";
}

TEST_F(Model, LostPrototypesAreDeletedAndTheDataRenumbered) {
  load({{0.0}, {0.1}, {5.0}, {9.0}, {9.1}});
  vq.setkey("vglink_p", 2);
  ASSERT_EQ(1, vq.prot_ini(5, 3));
  fill(vq.prot, {{100.0}, {5.0}, {200.0}, {9.0}, {0.0}});
  ASSERT_EQ(1, vq.prot_fin("Neural Gas", 1));
  EXPECT_EQ((Column{{0}, {1}, {0}, {2}, {2}}), rows_of(vq.hits));
  EXPECT_EQ(2, vq.protnbr(0));
  EXPECT_EQ(0, vq.protdel(7));
  vq.verbose = 1;
  EXPECT_EQ(2, vq.protdel(0));
  EXPECT_EQ(0u, console.take().find("VeQuan.protdel: 2 units removed\nVeQuan.prot_fin: "));
  EXPECT_EQ((Rows{{9.0}, {5.0}, {0.0}}), rows_of(vq.prot)) << "2 gave way to 4, then 0 to 3";
  EXPECT_EQ((Column{{2}, {2}, {1}, {0}, {0}}), rows_of(vq.bmu));
  EXPECT_EQ((Column{{2}, {1}, {2}}), rows_of(vq.hits));
  EXPECT_EQ(3, vq.link.nnode());
  EXPECT_STREQ("Neural Gas", vq.getmethod());
  EXPECT_EQ(1, vq.done(VeQuan::pfindone));

  EXPECT_EQ(1, vq.protdel(1));
  EXPECT_EQ((Rows{{9.0}, {0.0}}), rows_of(vq.prot));
  EXPECT_EQ((Column{{1}, {1}, {0}, {0}, {0}}), rows_of(vq.bmu)) << "5 is nearer to 9, and freed to choose";
  vq.hits(0, 0) = vq.hits(1, 0) = 4;
  EXPECT_EQ(2, vq.protdel(4));
  EXPECT_EQ(0, vq.prot.nrow());
  EXPECT_EQ(0, vq.done(VeQuan::pfindone));
}

TEST_F(Model, LoadedPrototypesSurviveOnlyWhenKept) {
  load_uniform(10, 2);
  MatFullD m;
  fill(m, {{0.1, 0.2}, {0.7, 0.8}});
  EXPECT_EQ(0, vq.protload(m, 1));
  EXPECT_EQ(0, vq.prot.nrow());
  EXPECT_EQ(1, vq.done(VeQuan::pinidone));
  vq.setkey("vgkeep_p", 1);
  EXPECT_EQ(1, vq.protload(m, 1));
  EXPECT_EQ(rows_of(m), rows_of(vq.prot));
  EXPECT_STREQ("Loaded prototypes", vq.getmethod());

  const std::string file = test::temporary("model.pro");
  for (int binary : {0, 1}) {
    ASSERT_EQ(1, vq.protsave(file.c_str(), binary));
    ASSERT_EQ(1, vq.protload(file.c_str(), binary));
    EXPECT_EQ(rows_of(m), rows_of(vq.prot));
  }
  std::filesystem::remove(file);
  EXPECT_EQ(0, vq.protload(file.c_str(), 0));
  EXPECT_EQ(0, vq.prot.nrow());

  vq.verbose = 1;
  fill(m, {{0.1, 0.2, 0.3}});
  console.take();
  EXPECT_EQ(0, vq.protload(m, 0));
  EXPECT_EQ("VeQuan.protload: loading from memory ...done!\nVeQuan.protload: sizes don't agree!\n",
            console.take());
  EXPECT_EQ(0, vq.prot.nrow());
  EXPECT_EQ(2, vq.prot.ncol());
}

TEST_F(Model, CodesAreNearestPrototypesAndDecodeToThem) {
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

  MatFullD narrow;
  fill(narrow, {{1.0}});
  EXPECT_EQ(0, vq.cod(narrow, code));
  EXPECT_EQ(0, vq.ind(narrow, code));
  MatFullL wide(1, 2);
  wide.setrows(1, 0);
  EXPECT_EQ(0, vq.dec(wide, y));
}

TEST_F(Model, CodingErrorIsEuclideanUnderAnyClass) {
  load({{0.0, 0.0}, {4.0, 4.0}});
  ASSERT_EQ(1, vq.gc());
  MatFullD::miex = 1.0;
  MatFullD x;
  fill(x, {{3.0, 5.0}});
  EXPECT_EQ(1.0 + 9.0, vq.cd_err(x));
  x.setrows(0, 0.0);
  EXPECT_EQ(0.0, vq.cd_err(x));
}

TEST_F(Model, SizeAndRadiusComeFromTheSettings) {
  load_uniform(25, 1);
  struct Case {
    double ratio;
    long number;
  };
  for (const Case& c : {Case{0.0, 1}, {0.01, 1}, {0.5, 13}, {0.25, 6}, {1.0, 25}}) {
    vq.setkey("vgvqcora", c.ratio);
    EXPECT_EQ(c.number, vq.getnumber()) << c.ratio;
  }
  vq.setkey("vgvqdera", 2.5);
  EXPECT_EQ(2.5, vq.getradius());

  load({{-1.0, 0.0}, {1.0, 0.0}, {0.0, 4.0}, {0.0, -4.0}});  // mean 0, mean distance 2.5
  EXPECT_EQ(2.0 * 0.5 * 2.5, vq.marauto(0.5));
  EXPECT_EQ(-20.0, vq.marauto(5.0));
}

TEST_F(Model, TrivialMethodsTakeTheDataOrTheirMean) {
  load({{0.0, 0.0}, {1.0, 2.0}, {2.0, 7.0}});
  vq.verbose = 1;
  vq.setkey("vgvqdvqm", 1);
  EXPECT_EQ(1, vq.vq());
  EXPECT_EQ(rows_of(vq.dat), rows_of(vq.prot));
  EXPECT_STREQ("No quantization", vq.getmethod());
  EXPECT_EQ(Column(3, {1}), rows_of(vq.hits));
  EXPECT_NE(std::string::npos, console.take().find("\nVeQuan.nq: data copied.\n"));
  vq.setkey("vgvqdvqm", 2);
  EXPECT_EQ(1, vq.vq());
  EXPECT_EQ((Rows{{1.0, 3.0}}), rows_of(vq.prot));
  EXPECT_STREQ("G-center", vq.getmethod());
  EXPECT_NE(std::string::npos, console.take().find("\nVeQuan.gc: G-center computed.\n"));
}

TEST_F(Model, AValueThatSelectsNoMethodIsReturned) {
  const std::string file = test::temporary("model.prf");
  std::ofstream(file) << "p {vgvqdvqm} {method} 1 20 v 11 x x";
  OpenQuantizer other{std::ifstream(file)};
  std::filesystem::remove(file);
  EXPECT_EQ(11, other.vq());
}

TEST_F(Model, ShuffleExchangesWithTheWholeRange) {
  MatFullL order(9, 1);
  order.setrows(9, 0);
  order.setidx(0, 0, 1);
  std::vector<long> expected = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  const RandomState before = getrandom();
  for (std::size_t i = 9; i-- > 0;) std::swap(expected[i], expected[static_cast<std::size_t>(draw_index(9))]);
  setrandom(before);
  OpenQuantizer::shuffle(order);
  for (long i = 0; i < 9; ++i) EXPECT_EQ(expected[static_cast<std::size_t>(i)], order(i, 0));
}

TEST_F(Model, ProgressIsALineForEveryIteration) {
  load({{0.0}, {4.0}});
  ASSERT_EQ(1, vq.gc());
  vq.verbose = 1;
  for (int errors : {1, 0}) {
    vq.setkey("vgerrors", errors);
    vq.getlpref().commit("vgerrors");
    vq.progress_begin("km: quantizing ... ", 10);
    for (int i = 0; i < 2; ++i) vq.progress_step(" mE=", &VeQuan::prot_err);
    vq.progress_end();
    const std::string error = errors ? " mE= 2.0000" : "";
    EXPECT_EQ("VeQuan.km: quantizing ... \nloop  1/10 " + error + "\nloop  2/10 " + error + "\n",
              console.take());
  }
  vq.verbose = 0;
  vq.progress_begin("km: quantizing ... ", 10);
  vq.progress_step(" mE=", &VeQuan::prot_err);
  vq.progress_end();
  EXPECT_EQ("", console.take());
}

TEST_F(Model, AnUnknownStepEndsTheProgram) {
  EXPECT_EXIT(
      {
        os.stream = &std::cerr;
        vq.done("no step");
      },
      ::testing::ExitedWithCode(0), "Gauge: bad step ");
}

}  // namespace
}  // namespace qvtx
