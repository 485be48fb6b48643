#include "quant/rank_tree.h"
#include "support/reference_quantizer.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

using NeuralGasTest = ReferenceTest;

TEST_F(NeuralGasTest, EpochsEqualThePlainLoop) {
  // The widths reach all prototypes, stop on a rank, on a rank in single precision only, below rank 1,
  // between.
  const double widths[] = {100.0, 4.0, 1.0, 0.33333333, 0.2, 0.0, 2.4};
  for (const long n : {25L, 2L, 1L}) {
    expect_equal_epochs(n, 7, [&](int e) {
      const double a = 0.5, l = widths[e];  // dyadic, so that lattices keep their ties for a while
      reference.ng_epoch(a, l);
      ASSERT_EQ(1, vq.ng_itr(a, l));
      expect_report(" a=%6.3f l=%6.3f lost=%3ld chgd=%6ld adap=%ld", a, l, reference.lost, reference.chgd,
                    reference.adapted);
    });
  }
}

TEST_F(NeuralGasTest, UndefinedDataTakeThePlainWay) {
  load({{1.0, 2.0}, {std::nan(""), 0.0}, {3.0, 1e200}, {-1e200, 1.0}});
  ASSERT_EQ(1, vq.prot_ini(3, 0));
  EXPECT_EQ(1, vq.ng_itr(0.5, 2.0));
  EXPECT_EQ(3, vq.prot.nrow());
}

TEST_F(NeuralGasTest, QuantizesAsWellAsKMeans) {
  load_uniform(1500, 2);
  vq.setkey("vgcent_p", 0);
  ASSERT_EQ(1, vq.ng(40, nullptr));
  const double gas = vq.prot_err();
  EXPECT_STREQ("Neural Gas", vq.getmethod());
  EXPECT_EQ(0, vq.protnbr(0));
  ASSERT_EQ(1, vq.lbg(40));
  EXPECT_LE(gas, vq.prot_err());
}

TEST_F(NeuralGasTest, RefusesParametersAndSchedulesOutOfRange) {
  load_uniform(30, 2);
  ASSERT_EQ(1, vq.prot_ini(4, 0));
  const auto before = rows_of(vq.prot);
  for (const auto& [a, l] : {std::pair(-0.1, 1.0), {1.1, 1.0}, {std::nan(""), 1.0}, {1.0, -0.1}}) {
    EXPECT_EQ(0, vq.ng_itr(a, l));
    EXPECT_EQ(before, rows_of(vq.prot));
  }
  const struct {
    std::vector<std::vector<double>> rows;
    long result;
    const char* text;
  } cases[] = {{{{0.5}, {0.1}}, 0, "VeQuan.ng: al not parametric\n"},
               {{{0.5, -1.0}}, 0, "VeQuan.ng: al not parametric\n"},
               {{{1.5, 1.0}, {0.5, 1.0}}, 1, "VeQuan.ng_itr: anow not parametric\n"},
               {{{0.5, 1.0, -7.0}}, 1, ""}};
  for (const auto& c : cases) {
    MatParaD sched;
    fill(sched, c.rows);
    console.take();
    EXPECT_EQ(c.result, vq.ng(5, sched));
    EXPECT_EQ(c.text, console.take());
    EXPECT_EQ(c.result, vq.done(VeQuan::pfindone));
    EXPECT_EQ(0, vq.ng(0, sched)) << "no prototypes";
  }
}

TEST_F(NeuralGasTest, ScheduleComesFromTheFileThenTheDefaultThenTheKeys) {
  load_uniform(30, 2);
  vq.setkey("vngepoq ", 4);
  expect_schedule_order(console, vq, "ng", "default.ngp",
                        [this](const char* file) { return vq.ng(5, file); });
}

TEST_F(NeuralGasTest, DefaultScheduleIsHyperbolicInBothColumns) {
  start({.name = "", .n = 6});
  vq.setkey("vngepoq ", 3);
  vq.setkey("vngaini ", 0.5);
  vq.setkey("vngafin ", 0.25);
  vq.setkey("vnglini ", 4.0);
  vq.setkey("vnglfin ", 1.0);
  vq.setkey("vgcent_p", 0);
  ASSERT_EQ(1, vq.ng(6, nullptr));
  reference.init(6, 0);
  const auto law = [](double first, double last) {
    const double span = first - last;
    return (first * last * 2.0 / span) / (2.0 * last / span + 1.0);
  };
  reference.ng_epoch(0.5, 4.0);
  reference.ng_epoch(law(0.5, 0.25), law(4.0, 1.0));
  reference.ng_epoch(0.25, 1.0);
  EXPECT_EQ(reference.prot, rows_of(vq.prot));
}

// ---- RankTree ----

TEST(RankTreeTest, EqualsASelectionSortThatKeepsItsList) {
  // Numbers whose roots coincide: neighbours of 2, of a subnormal number, zeros, and others far away.
  const double up = std::nextafter(2.0, 3.0);
  const double tiny = std::numeric_limits<double>::denorm_min();
  const double values[] = {
      2.0, up, std::nextafter(up, 3.0), std::nextafter(2.0, 1.0), 0.0, tiny, 2.0 * tiny, 1e300, 7.0};
  ReferenceDraws draws;
  for (const long n : {1L, 2L, 3L, 8L, 9L, 31L, 200L}) {
    SCOPED_TRACE(n);
    MatFullL ridx(n);
    ridx.setrows(n);
    ridx.setidx(0, 0, 1);
    std::vector<long> list(ridx.data(), ridx.data() + n);
    RankTree tree(ridx);
    for (int round = 0; round < 50; ++round) {
      std::vector<double> sums;
      for (long k = 0; k < n; ++k) sums.push_back(round % 2 ? values[draws.index(9)] : draws.uniform());
      std::copy(sums.begin(), sums.end(), tree.leaves());
      EXPECT_EQ(std::min_element(sums.begin(), sums.end()) - sums.begin(), tree.winner());
      const long m = draws.index(n) + (round % 3 ? 1 : 0);
      tree.rank(m);
      const auto nearer = [&](long a, long b) {
        return std::sqrt(sums.data()[a]) < std::sqrt(sums.data()[b]);
      };
      for (auto place = list.begin(); place < list.begin() + m; ++place) {
        std::iter_swap(place, std::min_element(place, list.end(), nearer));
      }
      ASSERT_EQ(list, std::vector<long>(ridx.data(), ridx.data() + n));
    }
  }
}

}  // namespace
}  // namespace qvtx::test
