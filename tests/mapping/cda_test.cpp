// Curvilinear component analysis against a plain loop.

#include <cstdio>

#include "support/reference_mapping.h"

namespace qvtx::test {
namespace {

/// The step of one pivot as a plain loop over pairs.
struct ReferenceCda : ReferenceMapping {
  ReferenceCda(const OpenMapping& mapping, double weight)
      : ReferenceMapping(mapping, weight), scale(mapping.real("tdxm")), width(y.size(), 0.3 * scale) {}

  double scale;
  std::vector<double> width;
  long function = 0;
  bool adaptive = false;
  double share = 0;
  double dmax = 0, active = 0;  ///< what the last epoch counted

  double neighbourhood(double x, double lambda) const {
    if (function == 1) return std::max(0.0, 1.0 - x * (0.95 / lambda));
    if (function == 2) return fixed_exp(x * (-3.0 / lambda));
    const double t = x * (1.0 / lambda);
    return function == 3 ? fixed_exp(-3.0 * (t * t)) : x <= lambda ? 1.0 : 0.0;
  }

  /// Whether the pair is active.
  bool move(long i, long j, double a, double lambda) {
    const double from = input(i, j), to = distance(y[at(i)], y[at(j)]);
    dmax = std::max(dmax, to);
    if (to <= 0) return false;
    double weight = 0;
    if (share > 0) weight += share * neighbourhood(from, lambda);
    if (share < 1) weight += (1 - share) * neighbourhood(to, lambda);
    if (weight < 0.05) return false;
    const double s = to <= from ? (from * from - to * to) * 0.5 / (from * from) : (from - to) / to;
    for (std::size_t k = 0; k < axes(); ++k) y[at(j)][k] += (y[at(j)][k] - y[at(i)][k]) * (s * weight * a);
    return true;
  }

  void pivot(long i, double a, double l) {
    if (!adaptive) width[at(i)] = l * scale;
    const double members = static_cast<double>(std::count(label.begin(), label.end(), label[at(i)]));
    double count = 0;
    for (long j = n - 1; j >= 0; --j) {
      if (j != i && joined(i, j)) count += move(i, j, a, width[at(i)]);
    }
    if (adaptive) width[at(i)] *= std::sqrt(l / ((count + 1) / members));
    active += count;
  }

  void epoch(double a, double l) {
    dmax = active = 0;
    ReferenceMapping::epoch([=, this](long i) { pivot(i, a, l); });
  }
};

class Cda : public ReferenceMappingTest {
 protected:
  void set_widths(double value) {
    tm.nbwidth.setdim(tm.prot.nrow(), 1);
    tm.nbwidth.setrows(tm.prot.nrow(), value);
  }

  void compare(ReferenceCda r) {
    tm.setkey("tcdnwf", static_cast<double>(r.function));
    tm.setkey("tcdnwt", r.adaptive ? 1 : 0);
    tm.setkey("tcdlmds", r.share);
    constexpr double steps[3][2] = {{0.9, 0.6}, {0.5, 0.3}, {0.25, 0.12}};
    const double width = r.width[0];
    std::string report;
    for (const auto& [a, l] : steps) {
      r.epoch(a, l);
      char text[120];
      std::snprintf(text, sizeof text, " a=%6.3f l=%6.3f (%6.3f) d=%6.3f", a, l,
                    r.active / static_cast<double>(r.n * r.n), r.dmax);
      report += text;
    }
    SCOPED_TRACE(::testing::Message() << "function " << r.function << r.adaptive << ", share " << r.share);
    expect_same(r, report, [&] {
      set_widths(width);
      for (const auto& [a, l] : steps) ASSERT_EQ(1, tm.cda_itr(a, l));
      ASSERT_EQ(r.width, std::vector<double>(tm.nbwidth.data(), tm.nbwidth.data() + r.n));
    });
  }

  /// Every neighbourhood function, width rule and share.
  void compare_all(double w) {
    ReferenceCda r(tm, w);
    for (const long function : {0L, 1L, 2L, 3L}) {
      for (const bool adaptive : {false, true}) {
        for (const double share : {0.0, 0.05, 0.3, 1.0}) {  // 0.05 alone is just enough weight
          r.function = function;
          r.adaptive = adaptive;
          r.share = share;
          compare(r);
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
  prepare_coincident();
  compare_all(0.0);
  MatFullD::miex = 1;
  prepare_mapping(40, 3, 2, 0, 0.0);
  compare(ReferenceCda(tm, 0.0));
  MatFullD::miex = 2;
  for (const auto& [n, p] :  // round the lanes and blocks of the kernels
       {std::pair{1L, 2L}, {2L, 1L}, {8L, 3L}, {9L, 5L}, {255L, 1L}, {256L, 2L}, {261L, 3L}, {2100L, 2L}}) {
    prepare_mapping(n, 2, p, 0, 0.0);
    ReferenceCda r(tm, 0.0);
    r.function = n % 4;
    r.share = n % 2 == 0 ? 0.0 : 0.4;
    r.shuffled = n > 8;
    compare(r);
    if (HasFatalFailure()) return;
  }
}

}  // namespace
}  // namespace qvtx::test
