#include "quant/rank_tree.h"
#include "support/reference_quantizer.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

using NeuralGasTest = ReferenceTest;

TEST_F(NeuralGasTest, EpochsEqualThePlainLoop) {
  const Case cases[] = {
      {.name = "uniform"},
      {.name = "in order, no replacement", .shuffled = false, .replace = false},
      {.name = "lattice with ties", .lattice = true, .n = 30},
      {.name = "lattice, two columns, every datum twice over",
       .lattice = true,
       .dim = 2,
       .n = 25,
       .shuffled = false},
      {.name = "random start", .n = 40, .how = 1, .dead_below = 1},
      {.name = "one prototype", .n = 1},
      {.name = "two prototypes", .n = 2},
      {.name = "all prototypes equal", .n = 12, .how = 3},
      {.name = "many columns", .ndata = 60, .dim = 17, .n = 33},
      {.name = "city block", .lattice = true, .n = 9, .p = 1.0},
      {.name = "cubes", .n = 9, .p = 3.0},
      {.name = "largest coordinate", .lattice = true, .n = 9, .p = 8.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    start(c);
    vq.verbose = 1;
    console.take();
    // The widths reach all prototypes, stop on a rank, on a rank in single precision only, below rank 1,
    // between.
    for (const double l : {100.0, 4.0, 1.0, 0.33333333, 0.2, 0.0, 2.4}) {
      const double a = c.p == 1.0 ? 0.125 : 0.5;  // dyadic, so that lattices keep their ties for a while
      reference.ng_epoch(a, l);
      ASSERT_EQ(1, vq.ng_itr(a, l));
      expect_same();
      expect_report(" a=%6.3f l=%6.3f lost=%3ld chgd=%6ld adap=%ld", a, l, reference.lost, reference.chgd,
                    reference.adapted);
    }
    vq.verbose = 0;
    os.fresh();
  }
}

TEST_F(NeuralGasTest, RanksMoveByTheExponentialOfTheirRank) {
  load({{0.0}});
  vq.setkey("vgrepl_p", 0);
  for (const auto& [l, moving] :
       std::initializer_list<std::pair<double, long>>{{0.2, 1}, {1.0, 4}, {1.3, 4}, {9.0, 6}}) {
    SCOPED_TRACE(l);
    ASSERT_EQ(1, vq.prot_ini(6, 3));
    for (long k = 0; k < 6; ++k) vq.prot(k, 0) = static_cast<double>(6 - k);  // the last is the nearest
    ASSERT_EQ(1, vq.ng_itr(0.5, l));
    for (long r = 0; r < 6; ++r) {
      const double distance = static_cast<double>(r + 1);
      const double h = r < moving ? 0.5 * std::exp(-static_cast<double>(r) / l) : 0.0;
      EXPECT_NEAR(distance * (1.0 - h), vq.prot(5 - r, 0), 1e-14);
    }
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

TEST_F(NeuralGasTest, RefusesParametersOutOfRange) {
  load_uniform(30, 2);
  ASSERT_EQ(1, vq.prot_ini(4, 0));
  const struct {
    double a, l;
    const char* text;
  } cases[] = {{-0.1, 1.0, "VeQuan.ng_itr: anow not parametric\n"},
               {1.1, -1.0, "VeQuan.ng_itr: anow not parametric\n"},
               {std::nan(""), 1.0, "VeQuan.ng_itr: anow not parametric\n"},
               {1.0, -0.1, "VeQuan.ng_itr: lnow not parametric\n"}};
  for (const auto& c : cases) {
    const auto before = rows_of(vq.prot);
    EXPECT_EQ(0, vq.ng_itr(c.a, c.l));
    EXPECT_EQ(c.text, console.take());
    EXPECT_EQ(before, rows_of(vq.prot));
  }
}

TEST_F(NeuralGasTest, RefusesSchedulesAndEmptyStarts) {
  load_uniform(30, 2);
  const struct {
    std::vector<std::vector<double>> rows;
    long result;
    const char* text;
  } cases[] = {{{{0.5}, {0.1}}, 0, "VeQuan.ng: al not parametric\n"},
               {{{0.5, 1.0}, {-0.1, 1.0}}, 0, "VeQuan.ng: al not parametric\n"},
               {{{0.5, -1.0}}, 0, "VeQuan.ng: al not parametric\n"},
               {{{1.5, 1.0}, {0.5, 1.0}}, 1, "VeQuan.ng_itr: anow not parametric\n"},
               {{{0.5, 1.0, -7.0}}, 1, ""}};
  for (const auto& c : cases) {
    MatParaD sched;
    fill(sched, c.rows);
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

/// m ranks of a selection sort over the roots, scanning the list upward, strictly smaller replacing.
void select_ranks(std::vector<long>& list, const std::vector<double>& sums, std::size_t m) {
  const auto root = [&](std::size_t q) { return std::sqrt(sums[static_cast<std::size_t>(list[q])]); };
  for (std::size_t r = 0; r < m; ++r) {
    std::size_t best = r;
    for (std::size_t q = r + 1; q < list.size(); ++q) {
      if (root(q) < root(best)) best = q;
    }
    std::swap(list[r], list[best]);
  }
}

TEST(RankTreeTest, EqualsASelectionSortThatKeepsItsList) {
  // Numbers whose roots coincide: neighbours of 2, of a subnormal number, zeros, and others far away.
  const double up = std::nextafter(2.0, 3.0);
  const double tiny = std::numeric_limits<double>::denorm_min();
  const double values[] = {
      2.0, up, std::nextafter(up, 3.0), std::nextafter(2.0, 1.0), 0.0, tiny, 2.0 * tiny, 1e300, 7.0};
  ReferenceDraws draws;
  for (const long n : {1L, 2L, 3L, 4L, 5L, 7L, 8L, 9L, 31L, 33L, 200L}) {
    SCOPED_TRACE(n);
    MatFullL ridx(n);
    ridx.setrows(n);
    ridx.setidx(0, 0, 1);
    std::vector<long> list = [&] {
      std::vector<long> rows(static_cast<std::size_t>(n));
      std::iota(rows.begin(), rows.end(), 0L);
      return rows;
    }();
    RankTree tree(ridx);
    for (int round = 0; round < 50; ++round) {
      std::vector<double> sums;
      for (long k = 0; k < n; ++k) sums.push_back(round % 2 ? values[draws.index(9)] : draws.uniform());
      std::copy(sums.begin(), sums.end(), tree.leaves());
      EXPECT_EQ(std::min_element(sums.begin(), sums.end()) - sums.begin(), tree.winner());
      const long m = draws.index(n) + (round % 3 ? 1 : 0);
      tree.rank(m);
      select_ranks(list, sums, static_cast<std::size_t>(m));
      ASSERT_EQ(list, std::vector<long>(ridx.data(), ridx.data() + n));
    }
  }
}

}  // namespace
}  // namespace qvtx::test
