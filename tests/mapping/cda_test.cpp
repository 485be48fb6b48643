// Curvilinear component analysis against a plain loop, its schedules and refusals, and the default run.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numeric>

#include "base/exponential.h"
#include "support/mapping.h"
#include "support/reference_quantizer.h"
#include "support/schedule_files.h"

namespace qvtx {
namespace {

using test::MappingTest;
using test::OpenMapping;
using test::rows_of;
using Rows = std::vector<std::vector<double>>;

/// One epoch as a plain loop over pairs.
struct ReferenceEpochs {
  long n = 0;
  std::vector<long> label;
  Rows input;  ///< input distances; of pairs of different components anything
  Rows y;
  std::vector<double> width;
  std::vector<long> order;
  test::ReferenceDraws draws;
  double scale = 0, share = 0, gap = 0;
  long function = 0;
  bool adaptive = false, shuffled = true;
  double dmax = 0, active = 0;  ///< what the last epoch counted

  static std::size_t at(long i) { return static_cast<std::size_t>(i); }

  double neighbourhood(double x, double lambda) const {
    switch (function) {
      case 1:
        return std::max(0.0, 1.0 - x * (0.95 / lambda));
      case 2:
        return fixed_exp(x * (-3.0 / lambda));
      case 3: {
        const double t = x * (1.0 / lambda);
        return fixed_exp(-3.0 * (t * t));
      }
      default:
        return x <= lambda ? 1.0 : 0.0;
    }
  }

  static double distance(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0;
    for (std::size_t k = a.size(); k-- > 0;) sum += (a[k] - b[k]) * (a[k] - b[k]);
    return std::sqrt(sum);
  }

  /// Whether the pair is active.
  bool move(long i, long j, double a, double lambda) {
    const double from = input[at(i)][at(j)];
    const double to = distance(y[at(i)], y[at(j)]);
    dmax = std::max(dmax, to);
    if (to <= 0) return false;
    double weight = 0;
    if (share > 0) weight += share * neighbourhood(from, lambda);
    if (share < 1) weight += (1 - share) * neighbourhood(to, lambda);
    if (weight < 0.05) return false;
    const double s = to <= from ? (from * from - to * to) * 0.5 / (from * from) : (from - to) / to;
    for (std::size_t k = 0; k < y[at(j)].size(); ++k) {
      y[at(j)][k] += (y[at(j)][k] - y[at(i)][k]) * (s * weight * a);
    }
    return true;
  }

  void pivot(long i, double a, double l) {
    if (!adaptive) width[at(i)] = l * scale;
    const double members = static_cast<double>(std::count(label.begin(), label.end(), label[at(i)]));
    double count = 0;
    for (long j = n - 1; j >= 0; --j) {
      if (j != i && label[at(j)] == label[at(i)]) count += move(i, j, a, width[at(i)]);
    }
    if (adaptive) width[at(i)] *= std::sqrt(l / ((count + 1) / members));
    active += count;
  }

  void epoch(double a, double l) {
    dmax = active = 0;
    for (long pos = n - 1; shuffled && pos >= 0; --pos) std::swap(order[at(pos)], order[at(draws.index(n))]);
    for (long pos = n - 1; pos >= 0; --pos) pivot(order[at(pos)], a, l);
    if (gap > 0) separate();
  }

  /// Components centred and put side by side.
  void separate() {
    for (long c = *std::max_element(label.begin(), label.end()); c >= 0; --c) {
      const double members = static_cast<double>(std::count(label.begin(), label.end(), c));
      for (std::size_t k = 0; k < y[0].size(); ++k) {
        double sum = 0;
        for (long i = n - 1; i >= 0; --i) sum += label[at(i)] == c ? y[at(i)][k] : 0.0;
        for (long i = n - 1; i >= 0; --i) {
          if (label[at(i)] != c) continue;
          y[at(i)][k] -= sum / members;
          if (k == 0) y[at(i)][k] += static_cast<double>(c) * gap;
        }
      }
    }
  }
};

class Cda : public MappingTest {
 protected:
  /// The reference in the mapping's present state.
  ReferenceEpochs reference(double w) {
    ReferenceEpochs r;
    r.n = tm.prot.nrow();
    r.y = rows_of(tm.mprot);
    r.width.assign(static_cast<std::size_t>(r.n), 0.0);
    r.order.resize(static_cast<std::size_t>(r.n));
    std::iota(r.order.begin(), r.order.end(), 0L);
    const Rows x = rows_of(tm.prot);
    MatFullD scratch;
    for (long i = 0; i < r.n; ++i) {
      r.label.push_back(tm.pidx(i, 0));
      const double* graph = tm.graph_row(i, scratch);
      r.input.emplace_back();
      for (long j = 0; j < r.n; ++j) {
        const double space = ReferenceEpochs::distance(x[r.at(i)], x[r.at(j)]);
        r.input.back().push_back(w == 0 ? space : w == 1 ? graph[j] : w * graph[j] + (1 - w) * space);
      }
    }
    r.scale = tm.real("tdxm");
    r.gap = w > 0 ? r.scale * tm.real("tdccsfac") : 0.0;
    return r;
  }

  void set_widths(double value) {
    tm.nbwidth.setdim(tm.prot.nrow(), 1);
    tm.nbwidth.setrows(tm.prot.nrow(), value);
  }

  /// Three epochs of both from the same start with every instruction set.
  void compare(double w, ReferenceEpochs r) {
    tm.setkey("tcdnwf  ", static_cast<double>(r.function));
    tm.setkey("tcdnwt  ", r.adaptive ? 1 : 0);
    tm.setkey("tcdlmds ", r.share);
    tm.setkey("tgswap_p", r.shuffled ? 1 : 0);
    MatFullD start;
    start.copy(tm.mprot);
    r.width.assign(r.width.size(), 0.3 * r.scale);
    constexpr double steps[3][2] = {{0.9, 0.6}, {0.5, 0.3}, {0.25, 0.12}};
    Rows expected;
    std::vector<double> widths;
    std::vector<long> order;
    std::string report;
    for (const auto& [a, l] : steps) {
      r.epoch(a, l);
      char text[120];
      std::snprintf(text, sizeof text, " a=%6.3f l=%6.3f (%6.3f) d=%6.3f", a, l,
                    r.active / static_cast<double>(r.n * r.n), r.dmax);
      report += text;
    }
    for (const Isa isa : test::instruction_sets()) {
      set_isa_level(isa);
      setseed(default_seed);
      tm.mprot.copy(start);
      set_widths(0.3 * r.scale);
      for (long i = 0; i < r.n; ++i) tm.mpidx(i, 0) = i;
      tm.verbose = 1;
      for (const auto& [a, l] : steps) ASSERT_EQ(1, tm.cda_itr(a, l));
      tm.verbose = 0;
      const std::string where = "w " + std::to_string(w) + ", function " + std::to_string(r.function) +
                                ", adaptive " + std::to_string(r.adaptive) + ", share " +
                                std::to_string(r.share) + ", n " + std::to_string(r.n) + ", set " +
                                std::to_string(static_cast<int>(isa));
      ASSERT_EQ(r.y, rows_of(tm.mprot)) << where;
      ASSERT_EQ(r.width, std::vector<double>(tm.nbwidth.data(), tm.nbwidth.data() + r.n)) << where;
      ASSERT_EQ(r.order, std::vector<long>(tm.mpidx.data(), tm.mpidx.data() + r.n)) << where;
      ASSERT_EQ(report, console.take()) << where;
    }
    tm.mprot.copy(start);
  }

  /// Every neighbourhood function, width rule and share.
  void compare_all(double w) {
    const ReferenceEpochs fresh = reference(w);
    for (long function = 0; function <= 3; ++function) {
      for (const bool adaptive : {false, true}) {
        for (const double share : {0.0, 0.05, 0.3, 1.0}) {  // 0.05 alone is just enough weight
          ReferenceEpochs r = fresh;
          r.function = function;
          r.adaptive = adaptive;
          r.share = share;
          compare(w, r);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
};

TEST_F(Cda, EpochsAreThoseOfThePlainLoop) {
  for (const double w : {0.0, 0.5, 1.0}) {
    for (const long clusters : {1L, 3L}) {
      prepare_mapping(67, 3, 2, 4, w, clusters);
      ASSERT_EQ(clusters, tm.ncomp());
      compare_all(w);
      if (HasFatalFailure()) return;
    }
  }
}

TEST_F(Cda, SizesRoundTheLanesAndBlocksOfTheKernels) {
  for (const auto& [n, p] :
       {std::pair{1L, 2L}, {2L, 1L}, {8L, 3L}, {9L, 5L}, {255L, 1L}, {256L, 2L}, {261L, 3L}}) {
    prepare_mapping(n, 2, p, 0, 0.0);
    ReferenceEpochs r = reference(0.0);
    r.function = n % 4;
    r.share = n % 2 == 0 ? 0.0 : 0.4;
    r.shuffled = n > 8;
    compare(0.0, r);
    if (HasFatalFailure()) return;
  }
}

TEST_F(Cda, CoincidentImagesAndPrototypes) {
  MatFullD points;
  test::fill(points, {{0, 0}, {0, 0}, {1, 0}, {0, 1}, {1, 1}, {1, 1}, {2, 0}, {2, 1}, {0, 2}});
  prototypes(tm, points, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  test::fill(tm.mprot, {{0, 0}, {3, 1}, {1, 1}, {1, 1}, {1, 1}, {2, 2}, {0, 0}, {0.5, 0}, {0, 0}});
  compare_all(0.0);
}

TEST_F(Cda, OtherDistanceClassesMeasureTheImagesToo) {
  for (const double p : {1.0, 3.0}) {
    MatFullD::miex = p;
    prepare_mapping(40, 3, 2, 0, 0.0);
    set_widths(0.5);
    tm.setkey("tgswap_p", 0);
    tm.setkey("tcdnwf  ", 0);
    Rows y = rows_of(tm.mprot);
    const double width = 0.7 * tm.real("tdxm");
    ASSERT_EQ(1, tm.cda_itr(0.5, 0.7));
    for (std::size_t i = y.size(); i-- > 0;) {
      for (std::size_t j = y.size(); j-- > 0;) {
        const auto length = [p](double a, double b) {
          return std::pow(std::pow(a, p) + std::pow(b, p), 1 / p);
        };
        const double to = length(std::fabs(y[i][0] - y[j][0]), std::fabs(y[i][1] - y[j][1]));
        const double from = tm.prot.sdas(static_cast<long>(i), static_cast<long>(j), no_bound);
        if (to <= 0 || to > width) continue;
        const double s = to <= from ? (from * from - to * to) / (2 * from * from) : (from - to) / to;
        for (std::size_t k = 0; k < 2; ++k) y[j][k] += (y[j][k] - y[i][k]) * s * 0.5;
      }
    }
    for (std::size_t i = 0; i < y.size(); ++i) {
      for (std::size_t k = 0; k < 2; ++k) EXPECT_NEAR(y[i][k], rows_of(tm.mprot)[i][k], 1e-12);
    }
  }
}

TEST_F(Cda, AdaptiveWidthsGrowWhenNoPairIsActive) {
  prepare_mapping(20, 2, 2, 0, 0.0);
  tm.setkey("tcdnwf  ", 0);
  tm.setkey("tcdnwt  ", 1);
  set_widths(1e-9);
  const Rows before = rows_of(tm.mprot);
  ASSERT_EQ(1, tm.cda_itr(0.5, 0.8));
  EXPECT_EQ(before, rows_of(tm.mprot));
  for (long i = 0; i < 20; ++i) EXPECT_DOUBLE_EQ(1e-9 * std::sqrt(0.8 * 20), tm.nbwidth(i, 0));
}

TEST_F(Cda, StepsAndWidthsOutOfRangeEndTheRunAndKeepTheMapping) {
  prepare_mapping(10, 2, 2, 0, 0.0);
  const double infinity = no_bound, nan = std::nan("");
  const Rows before = rows_of(tm.mprot);
  for (const double a : {0.0, -0.1, 1.1, infinity, nan}) {
    EXPECT_EQ(0, tm.cda_itr(a, 1.0));
    EXPECT_EQ("ToMapp.cda_itr: anow not parametric\n", console.take()) << a;
  }
  for (const double l : {0.0, -0.1, 2.1, infinity, nan}) {
    EXPECT_EQ(0, tm.cda_itr(1.0, l));
    EXPECT_EQ("ToMapp.cda_itr: lnow not parametric\n", console.take()) << l;
  }
  EXPECT_EQ(before, rows_of(tm.mprot));

  MatParaD sched;
  test::fill(sched, {{0.5, 1.0}, {0.5, 2.5}, {0.5, 1.0}});
  EXPECT_EQ(1, tm.cda(2, sched));
  EXPECT_EQ("ToMapp.cda_itr: lnow not parametric\n", console.take());
  EXPECT_EQ(1, tm.done(ToMapp::mfindone));
  EXPECT_STREQ("Curvilinear Component Analysis", tm.getmname());
}

TEST_F(Cda, SchedulesThatDoNotFitAreRefusedBeforeTheFirstEpoch) {
  prepare(10, 2, 0, 0.0);
  for (const Rows& rows : {Rows{{0.5}, {0.4}}, Rows{{0.5, 1}, {-0.1, 1}}, Rows{{0.5, 1}, {0.5, -1}}}) {
    MatParaD sched;
    test::fill(sched, rows);
    EXPECT_EQ(0, tm.cda(2, sched));
    EXPECT_EQ("ToMapp.cda: al not parametric\n", console.take());
    EXPECT_EQ(1, tm.done(ToMapp::minidone));
    EXPECT_EQ(0, tm.done(ToMapp::mfindone));
  }
  MatParaD good;
  test::fill(good, {{0.5, 1.0}});
  ASSERT_EQ(1, tm.cda(2, good));
  EXPECT_EQ(0, tm.cda(0, good)) << "no dimension";
  EXPECT_EQ(1, tm.done(ToMapp::mfindone)) << "which leaves the states alone";
}

TEST_F(Cda, AKeptMappingOfOtherPrototypesIsNotUsed) {
  prepare_mapping(10, 2, 2, 0, 0.0);
  MatFullD points;
  test::uniform_points(points, 12, 2, 5);
  prototypes(tm, points, 0);
  tm.setkey("vgkeep_p", 1);
  MatParaD sched;
  test::fill(sched, {{0.5, 1.0}});
  EXPECT_EQ(0, tm.cda(2, sched));
  EXPECT_EQ(0, tm.done(ToMapp::minidone));
  EXPECT_EQ(10, tm.mprot.nrow());
}

TEST_F(Cda, ReportsItsEpochs) {
  prepare(10, 2, 3, 1.0);
  tm.setkey("vgerrors", 1);
  tm.setkey("tcdepoq ", 2);
  tm.verbose = 1;
  console.take();
  ASSERT_EQ(1, tm.cda(2, static_cast<const char*>(nullptr)));
  const std::string text = console.take();
  const std::string begin =
      "ToMapp.cda: using default parameters\n"
      "ToMapp.dist_ini: distances already computed\n"
      "ToMapp.mapr_ini: initializing projected prototypes ... done!\n"
      "ToMapp.cda: mapping ... \n";
  EXPECT_EQ(begin, text.substr(0, begin.size()));
  EXPECT_NE(std::string::npos, text.find(" E=")) << text;
  EXPECT_NE(std::string::npos, text.find(" a= 0.500 l= 2.000 (")) << text;
  EXPECT_NE(std::string::npos, text.find(" a= 0.010 l= 0.100 (")) << text;
  EXPECT_NE(std::string::npos, text.find("\nToMapp.mapr_fin: linking ... done!\n")) << text;
}

TEST_F(Cda, TakesTheFileThenTheDefaultFileThenTheKeys) {
  prepare(10, 2, 0, 0.0);
  const test::WorkingDirectory directory;
  tm.setkey("tcdepoq ", 4);
  tm.verbose = 1;
  const struct {
    bool given, has_file, has_default;
    int epochs;
  } cases[] = {
      {true, true, true, 2}, {true, false, true, 3}, {true, false, false, 4}, {false, true, true, 4}};
  for (const auto& c : cases) {
    std::filesystem::remove("own.sched");
    std::filesystem::remove("default.cmp");
    if (c.has_file) test::write_schedule("own.sched", 2);
    if (c.has_default) test::write_schedule("default.cmp", 3);
    console.take();
    ASSERT_EQ(1, tm.cda(2, c.given ? "own.sched" : nullptr));
    const std::string text = console.take();
    const std::string last = "loop " + std::to_string(c.epochs) + "/" + std::to_string(c.epochs) + " ";
    EXPECT_NE(std::string::npos, text.find(last)) << text;
    EXPECT_EQ(c.epochs == 4, text.find("ToMapp.cda: using default parameters\n") != std::string::npos)
        << text;
  }
}

/// Length of the spiral r = t from 0 to t.
double arc(double t) { return (t * std::sqrt(1 + t * t) + std::asinh(t)) / 2; }

/// Share of the variance of v that a linear function of the images' two axes explains.
double linear_fit(const MatFullD& y, const std::vector<double>& v) {
  const double n = static_cast<double>(y.nrow());
  double mean[3] = {}, s[3][3] = {};
  const auto value = [&](long i, int k) { return k < 2 ? y(i, k) : v[static_cast<std::size_t>(i)]; };
  for (long i = 0; i < y.nrow(); ++i) {
    for (int k = 0; k < 3; ++k) mean[k] += value(i, k) / n;
  }
  for (long i = 0; i < y.nrow(); ++i) {
    for (int k = 0; k < 3; ++k) {
      for (int m = 0; m < 3; ++m) s[k][m] += (value(i, k) - mean[k]) * (value(i, m) - mean[m]);
    }
  }
  const double det = s[0][0] * s[1][1] - s[0][1] * s[0][1];
  const double b0 = (s[0][2] * s[1][1] - s[1][2] * s[0][1]) / det;
  const double b1 = (s[1][2] * s[0][0] - s[0][2] * s[0][1]) / det;
  return (b0 * s[0][2] + b1 * s[1][2]) / s[2][2];
}

TEST_F(Cda, TheDefaultRunUnrollsASwissRoll) {
  // The shipped settings throughout: 200 prototypes of a roll 90 long and 21 wide.
  OpenMapping mapping;
  MatFullD u, data(2000, 3);
  test::uniform_points(u, 2000, 2, 3);
  data.setrows(2000);
  std::vector<double> along;
  for (long i = 0; i < 2000; ++i) {
    const double t = 1.5 * 3.14159265358979 * (1 + 2 * u(i, 0));
    data(i, 0) = t * std::cos(t);
    data(i, 1) = 21 * u(i, 1);
    data(i, 2) = t * std::sin(t);
    along.push_back(arc(t));
  }
  ASSERT_EQ(1, mapping.dataload(data, 0));
  ASSERT_EQ(1, mapping.ng(200, static_cast<const char*>(nullptr)));
  ASSERT_EQ(1, mapping.cda(2, static_cast<const char*>(nullptr)));
  EXPECT_EQ(1, mapping.ncomp());
  EXPECT_LT(mapping.mapr_err(), 0.008);
  EXPECT_LT(mapping.mapr_err(0), 0.08);
  EXPECT_LT(mapping.mapr_err(1), 0.06);

  std::vector<double> position(200, 0.0);
  for (long i = 0; i < 2000; ++i) {
    const long k = mapping.getbmu()(i, 0);
    const double share = 1.0 / static_cast<double>(mapping.hits(k, 0));
    position[static_cast<std::size_t>(k)] += along[static_cast<std::size_t>(i)] * share;
  }
  EXPECT_GT(linear_fit(mapping.mprot, position), 0.99);
}

}  // namespace
}  // namespace qvtx
