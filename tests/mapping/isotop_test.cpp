// Isotop against a plain loop with predicted draws, and its preparation.

#include "support/reference_mapping.h"

namespace qvtx::test {
namespace {

/// One epoch as plain loops: the winner by comparing all images, the walk over the prototypes sorted anew.
struct ReferenceIsotop : ReferenceMapping {
  ReferenceIsotop(const OpenMapping& mapping, bool images, std::vector<double> deviations)
      : ReferenceMapping(mapping), around_images(images), deviation(std::move(deviations)) {
    spacing = mapping.real("tdccsfac");
    longest = static_cast<double>(mapping.number("tdxp"));
    for (long i = 0; i < n; ++i) {
      double sum = 0, links = 0;
      for (long k = mapping.link.head(i); k >= 0; k = mapping.link.next(k, i), ++links)
        sum += mapping.link.getvalue(k, 1);
      length.push_back(links > 0 ? sum / links : 0.0);
    }
  }

  bool around_images;
  std::vector<double> deviation;
  double spacing = 0;                     ///< "tdccsfac"
  double longest = 0;                     ///< "tdxp"
  std::vector<double> length;             ///< mean link length, 0 without links
  long dense = 0, sparse = 0, alone = 0;  ///< stimuli by how many images they moved

  double gaussian() {
    const double u1 = draws.uniform();
    const double u2 = draws.uniform();
    return std::sqrt(-2.0 * fixed_log(u1)) * fixed_cos(6.2831853076 * u2);
  }

  std::vector<double> stimulus() {
    std::vector<double> x(axes());
    if (around_images) {
      const std::vector<double>& centre = y[at(draws.index(n))];
      for (std::size_t k = axes(); k-- > 0;) x[k] = centre[k] + gaussian();
      return x;
    }
    for (std::size_t k = axes(); k-- > 0;) x[k] = deviation[k] * gaussian();
    x[0] += 6 * spacing * static_cast<double>(draws.index(1 + *std::max_element(label.begin(), label.end())));
    return x;
  }

  void pull(long i, const std::vector<double>& x, double weight) {
    for (std::size_t k = 0; k < axes(); ++k) y[at(i)][k] += (x[k] - y[at(i)][k]) * weight;
  }

  void walk(const std::vector<double>& x, double a, double l) {
    long b = 0;  // the first of the images at the smallest distance
    for (long j = 1; j < n; ++j) b = distance(y[at(j)], x) < distance(y[at(b)], x) ? j : b;
    const double reach = length[at(b)] * l * longest;
    if (reach == 0) {
      ++alone;
      return pull(b, x, a);
    }
    const std::vector<double>& g = graph[at(b)];
    std::vector<long> by_distance(y.size());
    std::iota(by_distance.begin(), by_distance.end(), 0L);
    std::stable_sort(by_distance.begin(), by_distance.end(),
                     [&](long i, long j) { return g[at(i)] < g[at(j)]; });
    long moved = 0;
    for (const long i : by_distance) {
      if (g[at(i)] < 0) continue;
      const double rho = g[at(i)] / reach;
      pull(i, x, fixed_exp(-3.0 * (rho * rho)) * a);
      ++moved;
      if (rho > 1) break;
    }
    ++(2 * moved > n ? dense : sparse);
  }

  void epoch(double a, double l) {
    for (long s = 0; s < n; ++s) walk(stimulus(), a, l);
    separate(6 * spacing);
  }
};

class Isotop : public ReferenceMappingTest {
 protected:
  Isotop() { tm.setkey("titinm", 0); }

  /// Epochs of decreasing width, compared; what the reference counted.
  ReferenceIsotop compare(bool around_images, const std::vector<double>& deviation) {
    tm.mapr_rep(6.0);  // commits the spacing
    ReferenceIsotop r(tm, around_images, deviation);
    tm.setkey("titmulst", around_images ? 1 : 0);
    MatFullD sdev;
    fill(sdev, {deviation});
    constexpr double epochs[4][2] = {{0.5, 1.0}, {0.25, 0.25}, {1.0, 0.05}, {0.5, 0.0}};
    for (const auto& [a, l] : epochs) r.epoch(a, l);
    const char* const report =
        " a= 0.500 l=  1.00      a= 0.250 l=  0.25      a= 1.000 l=  0.05      a= 0.500 l=  0.00     ";
    expect_same(r, report, [&] {
      for (const auto& [a, l] : epochs) ASSERT_EQ(1, tm.isotop_itr(sdev, a, l));
    });
    return r;
  }
};

TEST_F(Isotop, EpochsAreThoseOfThePlainLoop) {
  for (const bool around_images : {false, true}) {
    for (const long clusters : {1L, 3L}) {
      prepare_mapping(67, 3, 2, 4, 1.0, clusters);
      ASSERT_EQ(clusters, tm.ncomp());
      const ReferenceIsotop r = compare(around_images, {1.0, 0.5});
      if (HasFatalFailure()) return;
      EXPECT_EQ(clusters == 1, r.dense > 0);
      EXPECT_GT(r.sparse, 0);
      EXPECT_EQ(67, r.alone) << "a width factor of 0";
    }
  }
  MatFullD::miex = 1;
  prepare_mapping(30, 3, 2, 4, 1.0);
  compare(false, {1.0, 1.0});
  MatFullD::miex = 2;
  // Round the lanes and blocks of the kernels, with rows that are stored and rows that are not.
  for (const auto& [n, p] : {std::pair{2L, 1L}, {8L, 3L}, {9L, 2L}, {256L, 2L}, {263L, 1L}}) {
    tm.setkey("vgmemory", static_cast<double>(n % 3));
    prepare_mapping(n, 2, p, 3, 1.0);
    compare(n % 2 == 0, std::vector<double>(static_cast<std::size_t>(p), 1.0));
    if (HasFatalFailure()) return;
  }
}

TEST_F(Isotop, TiesGoToTheLowestNumber) {
  tm.setkey("tdccsfac", 0);  // else every image is put back to its component's place
  MatFullD points;
  // All images on one spot: prototype 0 wins and takes the others along, by weights that fall along the
  // chain.
  fill(points, {{0, 0}, {1, 0}, {2.5, 0}, {4.5, 0}});
  prototypes(tm, points, 1);
  start_mapping(1);
  compare(false, {1.0});
}

TEST_F(Isotop, ItNeedsLinksAndAGraphBalance) {
  MatParaD sched;
  fill(sched, {{0.5, 0.5}});
  for (const auto& [links, balance, text] : {std::tuple{0L, 1.0, "There are no links!\n"},
                                             {3L, 0.0, "Space/graph distances balance is zero!\n"}}) {
    prepare_mapping(10, 2, 2, links, 0.5);
    ASSERT_EQ(1, tm.mapr_fin("kept"));
    const Rows before = rows_of(tm.mprot);
    tm.setkey("tdgb", balance);
    tm.verbose = 1;
    console.take();
    EXPECT_EQ(0, tm.isotop(2, sched));
    EXPECT_EQ(std::string(text) + "Modify settings and rerun quantization step.\n", console.take());
    tm.verbose = 0;
    EXPECT_STREQ("kept", tm.getmname());
    EXPECT_EQ(before, rows_of(tm.mprot));
  }
}

TEST_F(Isotop, DeviationsFollowThePrincipalComponents) {
  // Axes of variance 1, 16 and 4, up to a common factor; and one spot, which has no shape.
  Rows box;
  for (int i = 0; i < 8; ++i) box.push_back({i & 1 ? 1.0 : -1.0, i & 2 ? 4.0 : -4.0, i & 4 ? 2.0 : -2.0});
  const struct {
    Rows points;
    bool shaped;
    std::vector<double> deviations;
  } cases[] = {{box, false, {1, 1}},
               {box, true, {1}},
               {box, true, {1, 0.5, 0.25}},
               {box, true, {1, 0.5, 0.25, 0, 0}},
               {Rows(4, {1, 1, 1}), true, {1, 1}}};
  for (const auto& c : cases) {
    MatFullD points, sdev;
    fill(points, c.points);
    prototypes(tm, points, 2);
    tm.setkey("titpcast", c.shaped);
    ASSERT_EQ(1, tm.isotop_ini(sdev, static_cast<long>(c.deviations.size())));
    expect_near({c.deviations}, rows_of(sdev), 1e-12);
  }
}

}  // namespace
}  // namespace qvtx::test
