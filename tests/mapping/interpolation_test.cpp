// Interpolation and reconstruction against plain forms written from the formulas, and the properties they
// promise.

#include <fstream>

#include "support/reference_blend.h"
#include "support/reference_mapping.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

/// Sammon's variant: a blend, moved until its distances to the prototypes fit.
class ReferenceStress {
 public:
  /// graph: the prototypes linked with each; w: weight of the graph distance.
  ReferenceStress(const OpenMapping& mapping, const ReferenceBlend& blend, const Lists& graph, double w)
      : blend_(blend), stored_(mapping, w), graph_(graph) {}

  Row position(const Row& q, const Row& steps) const {
    ReferenceBlend::Mixed mixed;
    Row y = blend_.position(q, mixed);
    keep_component(mixed);
    Targets targets;
    for (std::size_t j = 0; j < blend_.x.size(); ++j) {
      double wanted = 0;
      for (std::size_t k = 0; k < mixed.row.size() && !foreign(j, mixed.row[0]); ++k) {
        const std::size_t o = mixed.row[k];
        if (mixed.weight[k] == 0) continue;
        wanted += mixed.weight[k] * (euclidean(blend_.y[o], blend_.y[j]) + input(q, mixed.row[0], j) -
                                     stored_.input(static_cast<long>(o), static_cast<long>(j)));
      }
      targets.add(blend_.y[j], wanted);
    }
    for (const double a : steps) targets.step(a, y);
    return y;
  }

  Row sample(const Row& y, const Row& steps) const {
    ReferenceBlend::Mixed mixed;
    Row x = blend_.sample(y, mixed);
    std::vector<std::size_t> near = ReferenceBlend::by_distance(y, blend_.y, euclidean);
    near.resize(4 * y.size());
    Targets targets;
    for (const std::size_t j : near) {
      double wanted = 0;
      for (std::size_t k = 0; k < mixed.row.size(); ++k) {
        const std::size_t o = mixed.row[k];
        wanted += mixed.weight[k] * (euclidean(blend_.x[o], blend_.x[j]) + euclidean(y, blend_.y[j]) -
                                     euclidean(blend_.y[o], blend_.y[j]));
      }
      targets.add(blend_.x[j], wanted);
    }
    for (const double a : steps) targets.step(a, x);
    return x;
  }

 private:
  bool foreign(std::size_t i, std::size_t j) const {
    return stored_.w > 0 && stored_.label[i] != stored_.label[j];
  }
  void keep_component(ReferenceBlend::Mixed& mixed) const {
    for (std::size_t k = 0; k < mixed.row.size(); ++k)
      mixed.weight[k] *= foreign(mixed.row[k], mixed.row[0]) ? 0 : 1;
    const double sum = std::accumulate(mixed.weight.begin(), mixed.weight.end(), 0.0);
    for (double& weight : mixed.weight) weight /= sum;
  }
  /// Distance of a sample from prototype j: into the graph by the nearest prototype or one next to it.
  double input(const Row& q, std::size_t nearest, std::size_t j) const {
    double along = euclidean(q, blend_.x[nearest]) + stored_.graph[nearest][j];
    for (const std::size_t k : graph_[nearest])
      along = std::min(along, euclidean(q, blend_.x[k]) + stored_.graph[k][j]);
    const double space = euclidean(q, blend_.x[j]);
    return stored_.w == 0 ? space : (1 - stored_.w) * space + stored_.w * along;
  }

  const ReferenceBlend& blend_;
  ReferenceMapping stored_;
  Lists graph_;
};

class Interpolation : public ReferenceMappingTest {
 protected:
  Lists graph_of(long p) const {
    const Rows x = rows_of(tm.prot);
    Lists graph(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
      const auto node = static_cast<long>(i);
      if (tm.link.nlive() > 0) {
        for (long k = tm.link.head(node); k >= 0; k = tm.link.next(k, node))
          graph[i].push_back(static_cast<std::size_t>(tm.link.other(k, node)));
        continue;
      }
      for (const std::size_t j : ReferenceBlend::by_distance(x[i], x, euclidean)) {
        if (j != i && graph[i].size() < static_cast<std::size_t>(2 * (p + 1))) graph[i].push_back(j);
      }
    }
    return graph;
  }

  /// A small mapping of a bent surface in three dimensions, by Sammon's method; k links per prototype.
  void map_surface(long n, long p, long k, double w, long clusters = 1) {
    MatFullD points;
    clustered_points(points, 8 * n, 3, clusters);
    for (long i = 0; i < points.nrow(); ++i)
      points(i, 2) += std::sin(2 * points(i, 0)) * points(i, 1) - points(i, 2);
    ASSERT_EQ(1, tm.dataload(points, 1));
    tm.setkey("vglink_p", k > 0 ? 2 : 0);
    if (k > 0) tm.setkey("vlnnbr", static_cast<double>(k));
    tm.setkey("tdgb", w);
    tm.setkey("tsmepoq", 10);
    ASSERT_EQ(1, tm.lbg(n));
    ASSERT_EQ(1, tm.sammon(p, nullptr));
  }

  /// New samples of the same distribution as map_surface's, and some far away.
  static void new_samples(MatFullD& m, long n) {
    clustered_points(m, n, 3, 2, 77);
    for (long i = 0; i < n; i += 10) m(i, 1) += 4;
  }

  long interpolate(bool sammon, const MatFullD& data, const char* file = nullptr) {
    return sammon ? tm.sammon_iv(data, ppr, prj, file) : tm.cda_iv(data, ppr, prj);
  }
  long reconstruct(bool sammon, const MatFullD& positions, const char* file = nullptr) {
    return sammon ? tm.sammon_rd(positions, tmp, jrp, file) : tm.cda_rd(positions, tmp, jrp);
  }

  static void expect_near(const Row& expected, const double* found, double tolerance) {
    for (std::size_t k = 0; k < expected.size(); ++k) EXPECT_NEAR(expected[k], found[k], tolerance);
  }

  MatFullD ppr, prj, tmp, jrp;
};

TEST_F(Interpolation, PrototypesGetTheirImagesAndBack) {
  for (const auto& [p, links, w] : {std::tuple(2L, 4L, 0.5), {3L, 0L, 0.0}, {1L, 3L, 1.0}}) {
    SCOPED_TRACE(p);
    map_surface(30, p, links, w, 2);
    const Rows prototypes = rows_of(tm.prot), images = rows_of(tm.mprot);
    for (const bool sammon : {false, true}) {
      ASSERT_EQ(1, interpolate(sammon, tm.prot));
      EXPECT_EQ(images, rows_of(prj));
      EXPECT_EQ(images, rows_of(ppr));
      ASSERT_EQ(1, reconstruct(sammon, prj));
      EXPECT_EQ(prototypes, rows_of(jrp));
      EXPECT_EQ(prototypes, rows_of(tmp));
    }
  }
  MatFullD::mesp = 'c';  // where the distance of equal rows need not be 0
  ASSERT_EQ(1, tm.cda_iv(tm.prot, ppr, prj));
  EXPECT_EQ(rows_of(tm.mprot), rows_of(prj));
}

TEST_F(Interpolation, BlendEqualsThePlainForm) {
  const struct {
    long p, links;
    double exponent;
    bool odd;  // two prototypes in the same place of the map, one without data
  } cases[] = {{2, 4, 2, false}, {2, 1, 2, true}, {1, 3, 2, false}, {3, 0, 2, false}, {2, 5, 1, false}};
  long chosen = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << c.p << " dimensions, " << c.links << " links, exponent " << c.exponent);
    map_surface(40, c.p, c.links, 0.5, 2);
    if (c.odd) {
      tm.mprot.copy(5, tm.mprot, tm.link.other(tm.link.head(5), 5));
      tm.prot(7, 1) += 4;
    }
    MatFullD::miex = c.exponent;
    ReferenceBlend plain(rows_of(tm.prot), rows_of(tm.mprot), graph_of(c.p),
                         c.exponent == 1 ? city_block : euclidean);
    plain.shrink(rows_of(tm.getdat()));
    MatFullD samples;
    new_samples(samples, 60);
    const Rows sample_rows = rows_of(samples);
    ASSERT_EQ(1, tm.cda_iv(samples, ppr, prj));
    ASSERT_EQ(1, tm.cda_rd(prj, tmp, jrp));
    ReferenceBlend::Mixed mixed;
    for (long i = 0; i < samples.nrow(); ++i) {
      const auto row = static_cast<std::size_t>(i);
      expect_near(plain.position(sample_rows[row], mixed), prj.row(i), 1e-12 * 20);  // the extent of the map
      EXPECT_EQ(plain.y[mixed.row[0]], rows_of(ppr)[row]);
      expect_near(plain.sample(rows_of(prj)[row], mixed), jrp.row(i), 1e-12 * 20);
      EXPECT_EQ(plain.x[mixed.row[0]], rows_of(tmp)[row]);
    }
    chosen += std::count_if(plain.share.begin(), plain.share.end(), [](double s) { return s < 1; });
    MatFullD::miex = 2;
  }
  EXPECT_GT(chosen, 0) << "the shares had nothing to choose from";
}

TEST_F(Interpolation, SammonVariantEqualsThePlainForm) {
  const Scratch directory;
  std::ofstream("steps.txt") << "0.9\t\n0.75\t\n0.5\t\n";
  const Row steps = {0.9, 0.75, 0.5};
  const struct {
    double w;
    bool stored;  // graph distances
    long n, links, clusters, p;
  } cases[] = {{0.0, true, 30, 3, 2, 3},
               {0.4, true, 30, 3, 2, 1},
               {1.0, true, 65, 3, 2, 2},
               {0.4, false, 80, 3, 2, 2},   // more rows than are kept when they are computed
               {1.0, false, 30, 1, 1, 2}};  // many components that touch
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "w " << c.w << ", " << c.n << " prototypes");
    tm.setkey("vgmemory", c.stored ? 2 : 0);
    map_surface(c.n, c.p, c.links, c.w, c.clusters);
    // Components lie apart in the map; here they are brought together, so that samples lie between them.
    for (long i = 0; i < c.n && c.clusters == 1; ++i) std::copy_n(tm.prot.row(i), 2, tm.mprot.row(i));
    ReferenceBlend blend(rows_of(tm.prot), rows_of(tm.mprot), graph_of(c.p), euclidean);
    blend.shrink(rows_of(tm.getdat()));
    const ReferenceStress plain(tm, blend, graph_of(c.p), c.w);
    MatFullD samples;
    new_samples(samples, 40);
    Rows first;
    for (const Isa isa : instruction_sets()) {
      const Level level(isa);
      ASSERT_EQ(1, tm.sammon_iv(samples, ppr, prj, "steps.txt"));
      ASSERT_EQ(1, tm.sammon_rd(prj, tmp, jrp, "steps.txt"));
      if (first.empty()) first = rows_of(jrp);
      EXPECT_EQ(first, rows_of(jrp)) << "to the bit";
    }
    const Rows data = rows_of(samples), positions = rows_of(prj);
    for (std::size_t i = 0; i < data.size(); ++i) {
      const long row = static_cast<long>(i);
      expect_near(plain.position(data[i], steps), prj.row(row), 1e-10);
      expect_near(plain.sample(positions[i], steps), jrp.row(row), 1e-10);
    }
  }
}

TEST_F(Interpolation, UndefinedSamplesStayUndefined) {
  map_surface(30, 2, 4, 0.5, 2);
  MatFullD samples;
  fill(samples, {{0.5, 0.5, 0.5}, {std::nan(""), 0, 0}, {0, no_bound, 0}});
  for (const bool sammon : {false, true}) {
    ASSERT_EQ(1, interpolate(sammon, samples));
    ASSERT_EQ(1, reconstruct(sammon, prj));
    for (const MatFullD* out : {&prj, &ppr, &jrp, &tmp}) {
      EXPECT_EQ(2 * out->ncol(), out->nnan());
      EXPECT_TRUE(std::isfinite(out->get(0, 0)));
    }
  }
}

TEST_F(Interpolation, SmallestMaps) {
  for (const long n : {1L, 2L, 3L}) {
    SCOPED_TRACE(n);
    prepare_mapping(n, 3, 2, 2, 0.5);
    ASSERT_EQ(1, tm.mapr_fin("Test"));
    MatFullD samples;
    uniform_points(samples, 5, 3, 6);
    for (const bool sammon : {false, true}) {
      ASSERT_EQ(1, interpolate(sammon, samples));
      ASSERT_EQ(1, reconstruct(sammon, prj));
      for (const MatFullD* out : {&prj, &jrp}) EXPECT_EQ(0, out->nnan());
      if (n == 1) {
        EXPECT_EQ(rows_of(tm.prot)[0], rows_of(jrp)[4]);
      }
    }
    MatFullD none(0, 3);
    EXPECT_EQ(1, tm.cda_iv(none, ppr, prj));
    EXPECT_EQ(1, tm.sammon_rd(prj, tmp, jrp, nullptr));
    EXPECT_EQ(0, prj.nrow());
    EXPECT_EQ(2, prj.ncol());
    EXPECT_EQ(3, jrp.ncol());
  }
}

TEST_F(Interpolation, RefusalsLeaveTheOutputsAsTheyWere) {
  map_surface(20, 2, 3, 0.5);
  MatFullD wide, fit, position;
  uniform_points(wide, 4, 5, 1);
  uniform_points(fit, 4, 3, 1);
  uniform_points(position, 4, 2, 1);
  for (MatFullD* out : {&ppr, &prj, &tmp, &jrp}) fill(*out, {{1, 2, 3, 4}});
  const auto refused = [&](const MatFullD& data, const MatFullD& positions, const std::string& text) {
    tm.verbose = 1;
    console.take();
    std::string expected;
    for (const bool sammon : {false, true}) {
      EXPECT_EQ(0, interpolate(sammon, data));
      EXPECT_EQ(0, reconstruct(sammon, positions));
      for (const char* step : {"iv", "rd"})
        if (!text.empty())
          expected += std::string("ToMapp.") + (sammon ? "sammon_" : "cda_") + step + text + "\n";
    }
    EXPECT_EQ(expected, console.take());
    for (const MatFullD* out : {&ppr, &prj, &tmp, &jrp}) EXPECT_EQ((Rows{{1, 2, 3, 4}}), rows_of(*out));
    tm.verbose = 0;
  };
  refused(wide, wide, ": sizes don't agree!");
  const double kept = tm.mprot(7, 1);
  for (const double bad : {std::nan(""), no_bound}) {
    tm.mprot(7, 1) = bad;
    refused(fit, position, ": mapping is not finite!");
  }
  tm.mprot(7, 1) = kept;
  ASSERT_EQ(1, tm.mapr_ini(0, 0));
  refused(fit, position, "");
}

TEST_F(Interpolation, StepsComeFromTheFileThenTheDefaultThenTheKeysAndAreChecked) {
  const Scratch directory;
  map_surface(20, 2, 3, 0.5);
  MatFullD position;
  uniform_points(position, 4, 2, 1);
  for (const bool back : {false, true}) {
    const auto run = [&](const char* file, bool sammon = true) {
      const long done = back ? reconstruct(sammon, position, file) : interpolate(sammon, tm.getdat(), file);
      return done == 1 ? rows_of(back ? jrp : prj) : Rows();
    };
    const std::string name = std::string("ToMapp.sammon_") + (back ? "rd" : "iv");
    MatParaD steps(0, 1);  // without a file
    steps.additer(back ? 5 : 10);
    steps.set(3, 0, 1.0, back ? 0.2 : 0.1, 0, -1);
    std::ofstream written("same.txt");
    written.precision(17);
    for (long t = 0; t < steps.nrow(); ++t) written << steps(t, 0) << "\t-5\t\n";
    written.close();
    tm.verbose = 1;
    console.take();
    const Rows expected = run(nullptr);
    EXPECT_NE(std::string::npos, console.take().find(name + ": using default parameters\n"));
    tm.verbose = 0;
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(expected, run("same.txt"));
    // The default file counts without a file name, too. Steps of 0 go nowhere.
    std::ofstream(back ? "default.rdp" : "default.sam") << "0\t\n";
    const Rows start = run(nullptr, false);
    EXPECT_NE(expected, start);
    EXPECT_EQ(start, run(nullptr));
    console.take();
    for (const auto& [text, message] : {std::pair("0.5\t\n-0.1\t\n", ": a not parametric\n"),
                                        {"0.5\t\n1.5\t\n", ": anow not parametric\n"}}) {
      std::ofstream("own.txt") << text;
      EXPECT_EQ(Rows(), run("own.txt"));
      EXPECT_EQ(name + message, console.take());
      EXPECT_EQ(start, rows_of(back ? jrp : prj));
    }
  }
}

TEST_F(Interpolation, ReportsItsProgressAndTheGain) {
  map_surface(10, 2, 3, 0);
  MatFullD moved, samples;
  moved.copy(tm.prot);
  moved(3, 1) += 0.5;
  tm.verbose = 1;
  console.take();
  ASSERT_EQ(1, tm.cda_iv(moved, ppr, prj));
  const std::string text = console.take();
  EXPECT_EQ(0U, text.find("ToMapp.cda_iv: interpolating ... \n")) << text;
  EXPECT_EQ(text.size() - 6, text.rfind("done!\n")) << text;
  samples.copy(tm.prot);
  EXPECT_DOUBLE_EQ(0.025, tm.ir_err(samples, moved));
  EXPECT_EQ(
      "ToMapp.ir_err:\nError without interpolation = 0.000000\nError with    interpolation = 0.025000\n"
      "Gain = 0.00%\n",
      console.take());
  for (long i = 0; i < 10; ++i) samples(i, 0) -= 50;
  const double before = tm.cd_err(samples), after = tm.ir_err(samples, tm.prot);
  char gain[40];
  std::snprintf(gain, sizeof gain, "Gain = %.2f%%\n", 100 * (before - after) / before);
  EXPECT_NE(std::string::npos, console.take().find(gain)) << gain;
}

}  // namespace
}  // namespace qvtx::test
