// Interpolation and reconstruction against plain forms written from the formulas, and the properties they
// promise.

#include <fstream>

#include "support/reference_blend.h"
#include "support/reference_mapping.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

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
  const double steps[] = {0.9, 0.75, 0.5};
  const struct {
    double w;
    bool stored;  // graph distances
    long n, links, clusters;
  } cases[] = {{0.0, true, 30, 3, 2},
               {0.4, true, 30, 3, 2},
               {1.0, true, 30, 3, 2},
               {0.4, false, 80, 3, 2},   // more rows than are kept when they are computed
               {1.0, false, 30, 1, 1}};  // many components that touch
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "w " << c.w << ", " << c.n << " prototypes");
    tm.setkey("vgmemory", c.stored ? 2 : 0);
    map_surface(c.n, 2, c.links, c.w, c.clusters);
    // Components lie apart in the map; here they are brought together, so that samples lie between them.
    for (long i = 0; i < c.n && c.clusters == 1; ++i) {
      for (long k = 0; k < 2; ++k) tm.mprot(i, k) = tm.prot(i, k);
    }
    ReferenceBlend blend(rows_of(tm.prot), rows_of(tm.mprot), graph_of(2), euclidean);
    blend.shrink(rows_of(tm.getdat()));
    const ReferenceMapping stored(tm, c.w);
    const Lists graph = graph_of(2);
    MatFullD samples;
    new_samples(samples, 40);
    ASSERT_EQ(1, tm.sammon_iv(samples, ppr, prj, "steps.txt"));
    ASSERT_EQ(1, tm.sammon_rd(prj, tmp, jrp, "steps.txt"));
    ReferenceBlend::Mixed mixed;
    for (long i = 0; i < samples.nrow(); ++i) {
      const Row q = rows_of(samples)[static_cast<std::size_t>(i)];
      Row y = blend.position(q, mixed);
      // Distance of the sample from a prototype: into the graph by the nearest prototype or one next to it.
      const auto distance_from = [&](std::size_t j) {
        const std::size_t nearest = mixed.row[0];
        double along = euclidean(q, blend.x[nearest]) + stored.graph[nearest][j];
        for (const std::size_t k : graph[nearest])
          along = std::min(along, euclidean(q, blend.x[k]) + stored.graph[k][j]);
        const double space = euclidean(q, blend.x[j]);
        return c.w == 0 ? space : (1 - c.w) * space + c.w * along;
      };
      const auto foreign = [&](std::size_t k) {
        const auto label = [&](std::size_t node) { return tm.getcomp().get(static_cast<long>(node), 0); };
        return c.w > 0 && label(k) != label(mixed.row[0]);
      };
      double sum = 0;
      for (std::size_t k = 0; k < mixed.row.size(); ++k) {
        if (foreign(mixed.row[k])) mixed.weight[k] = 0;
        sum += mixed.weight[k];
      }
      Targets targets;
      for (std::size_t j = 0; j < blend.x.size(); ++j) {
        double t = 0;
        for (std::size_t k = 0; k < mixed.row.size() && !foreign(j); ++k) {
          const std::size_t o = mixed.row[k];
          if (mixed.weight[k] == 0) continue;
          t += mixed.weight[k] / sum *
               (euclidean(blend.y[o], blend.y[j]) + distance_from(j) -
                stored.input(static_cast<long>(o), static_cast<long>(j)));
        }
        targets.add(blend.y[j], t);
      }
      for (const double a : steps) targets.step(a, y);
      expect_near(y, prj.row(i), 1e-10);

      // And back.
      y.assign(prj.row(i), prj.row(i) + 2);
      Row x = blend.sample(y, mixed);
      std::vector<std::size_t> near = ReferenceBlend::by_distance(y, blend.y, euclidean);
      near.resize(8);
      targets = {};
      for (const std::size_t j : near) {
        double t = 0;
        for (std::size_t k = 0; k < mixed.row.size(); ++k) {
          const std::size_t o = mixed.row[k];
          t += mixed.weight[k] * (euclidean(blend.x[o], blend.x[j]) + euclidean(y, blend.y[j]) -
                                  euclidean(blend.y[o], blend.y[j]));
        }
        targets.add(blend.x[j], t);
      }
      for (const double a : steps) targets.step(a, x);
      expect_near(x, jrp.row(i), 1e-10);
    }
  }
}

TEST_F(Interpolation, PositionsRunWithoutJumps) {
  map_surface(100, 2, 4, 0.5);
  Rows path;
  constexpr int steps = 200;
  const Rows data = rows_of(tm.getdat());
  for (std::size_t i = 0; i < data.size(); i += 40) {
    const Row& end = data[ReferenceBlend::by_distance(data[i], data, euclidean)[5]];
    for (int s = 0; s <= steps; ++s) {
      path.push_back(data[i]);
      for (std::size_t c = 0; c < 3; ++c) path.back()[c] += (end[c] - data[i][c]) * s / steps;
    }
  }
  MatFullD samples;
  fill(samples, path);
  ASSERT_EQ(1, tm.cda_iv(samples, ppr, prj));
  double largest = 0, links = 0;
  for (long i = 1; i < samples.nrow(); ++i) {
    if (i % (steps + 1) > 0) largest = std::max(largest, prj.sdas(i, i - 1, no_bound));
  }
  for (const Row& link : links_of(tm.link)) links += link[4] / static_cast<double>(tm.link.nlive());
  EXPECT_LE(largest, 0.05 * links);
}

TEST_F(Interpolation, SamplesDoNotInfluenceEachOtherAndUndefinedOnesStayUndefined) {
  map_surface(30, 2, 4, 0.5, 2);
  MatFullD samples, some;
  new_samples(samples, 40);
  const std::size_t picks[] = {7, 39, 0, 7, 20};
  Rows picked;
  for (const std::size_t pick : picks) picked.push_back(rows_of(samples)[pick]);
  picked.push_back({std::nan(""), 0, 0});
  picked.push_back({0, no_bound, 0});
  fill(some, picked);
  for (const bool sammon : {false, true}) {
    std::vector<Rows> results[2];
    for (const bool few : {false, true}) {
      ASSERT_EQ(1, interpolate(sammon, few ? some : samples) * reconstruct(sammon, prj));
      results[few] = {rows_of(prj), rows_of(ppr), rows_of(jrp), rows_of(tmp)};
    }
    for (std::size_t m = 0; m < 4; ++m) {
      for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(results[0][m][picks[i]], results[1][m][i]) << m << " " << i;
    }
    EXPECT_TRUE(prj.nnan() == 4 && ppr.nnan() == 4 && jrp.nnan() == 6 && tmp.nnan() == 6);
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
      ASSERT_EQ(1, interpolate(sammon, samples) * reconstruct(sammon, prj));
      EXPECT_EQ(0, prj.nnan() + jrp.nnan());
      EXPECT_TRUE(n > 1 || rows_of(tm.prot)[0] == rows_of(jrp)[4]);
    }
    MatFullD none(0, 3);
    EXPECT_EQ(1, tm.cda_iv(none, ppr, prj) * tm.sammon_rd(prj, tmp, jrp, nullptr));
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
      EXPECT_EQ(0, interpolate(sammon, data) + reconstruct(sammon, positions));
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
      return back ? reconstruct(sammon, position, file) : interpolate(sammon, tm.getdat(), file);
    };
    const std::string name = std::string("ToMapp.sammon_") + (back ? "rd" : "iv");
    const MatFullD& out = back ? jrp : prj;
    // The keys' place is taken by 10 (5) hyperbolic steps.
    MatParaD steps(0, 1);
    steps.additer(back ? 5 : 10);
    steps.set(3, 0, 1.0, back ? 0.2 : 0.1, 0, -1);
    std::ofstream written("same.txt");
    written.precision(17);
    for (long t = 0; t < steps.nrow(); ++t) written << steps(t, 0) << "\t-5\t\n";
    written.close();
    ASSERT_EQ(1, run("same.txt"));
    const Rows expected = rows_of(out);
    tm.verbose = 1;
    console.take();
    ASSERT_EQ(1, run(nullptr));
    EXPECT_NE(std::string::npos, console.take().find(name + ": using default parameters\n"));
    tm.verbose = 0;
    EXPECT_EQ(expected, rows_of(out));
    // The default file counts without a file name, too.
    std::ofstream(back ? "default.rdp" : "default.sam") << "0\t\n";
    ASSERT_EQ(1, run(nullptr));
    const Rows start = rows_of(out);
    EXPECT_NE(expected, start);
    ASSERT_EQ(1, run(nullptr, false));
    EXPECT_EQ(start, rows_of(out)) << "steps of 0 go nowhere";
    console.take();
    for (const auto& [text, message] : {std::pair("0.5\t\n-0.1\t\n", ": a not parametric\n"),
                                        {"0.5\t\n1.5\t\n", ": anow not parametric\n"}}) {
      std::ofstream("own.txt") << text;
      EXPECT_EQ(0, run("own.txt"));
      EXPECT_EQ(name + message, console.take());
      EXPECT_EQ(start, rows_of(out));
    }
  }
}

TEST_F(Interpolation, ReportsItsProgressAndTheGain) {
  map_surface(10, 2, 3, 0);
  MatFullD moved;
  moved.copy(tm.prot);
  moved(3, 1) += 0.5;
  tm.verbose = 1;
  console.take();
  ASSERT_EQ(1, tm.cda_iv(moved, ppr, prj) * tm.cda_rd(prj, tmp, jrp));
  const std::string text = console.take();
  EXPECT_EQ(0U, text.find("ToMapp.cda_iv: interpolating ... ")) << text;
  EXPECT_NE(std::string::npos, text.find("done!\nToMapp.cda_rd: reconstructing ... ")) << text;
  MatFullD samples;
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
