// The mapping object: opening and closing a mapping, separation of components, files of images and links.

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <sstream>

#include "support/mapping.h"
#include "support/reference_quantizer.h"

namespace qvtx {
namespace {

using test::fill;
using test::MappingTest;
using test::OpenMapping;
using test::rows_of;
using Rows = std::vector<std::vector<double>>;

class Mapping : public MappingTest {
 protected:
  Mapping() { std::filesystem::remove(file); }
  ~Mapping() override { std::filesystem::remove(file); }

  /// The pairs of a link store with their values, by link number.
  static std::vector<std::vector<double>> links_of(const MatLinkD& store) {
    std::vector<std::vector<double>> links;
    for (long k = 0; k < store.nslot(); ++k) {
      if (!store.live(k)) continue;
      links.push_back({static_cast<double>(store.end_a(k)), static_cast<double>(store.end_b(k))});
      for (long c = 0; c < store.nvalue(); ++c) links.back().push_back(store.getvalue(k, c));
    }
    return links;
  }

  const std::string file = ::testing::TempDir() + "mapping_" + std::to_string(::getpid()) + ".map";
  const char* const nameless = nullptr;
};

TEST_F(Mapping, WithoutPreferencesItSaysSo) {
  OpenMapping mapping{std::ifstream("no such file")};
  EXPECT_EQ(
      "VeQuan.VeQuan: unable to read preference file\n"
      "ToMapp.ToMapp: unable to read preference file\n",
      console.take());
  EXPECT_EQ(0, mapping.mapr_ini(2, 0));
  EXPECT_EQ(-1, mapping.mapr_err());
}

TEST_F(Mapping, NothingRunsBeforeItsStep) {
  MatFullD out;
  MatFullD points;
  test::uniform_points(points, 10, 2, 1);
  prototypes(tm, points, 3);
  MatParaD sched;
  fill(sched, {{0.5, 0.5}});
  EXPECT_EQ(0, tm.mapr_ini(2, 0));
  EXPECT_EQ(0, tm.mapr_fin("x"));
  EXPECT_EQ(-1, tm.mapr_err());
  EXPECT_EQ(-1, tm.mapr_err(0));
  EXPECT_EQ(-1, tm.mapr_err(1));
  EXPECT_EQ(0, tm.mapr_rep(1.0));
  EXPECT_FALSE(tm.maprsave(out));
  EXPECT_EQ(0, tm.maprsave(file.c_str()));
  EXPECT_EQ(0, tm.treesave(0, file.c_str()));
  EXPECT_EQ(0, tm.mgrasave(file.c_str()));
  OpenMapping empty;
  EXPECT_EQ(0, empty.cda(2, sched));
  EXPECT_EQ(0, empty.mds(2));
  EXPECT_EQ(0, empty.maprload(file.c_str()));

  ASSERT_EQ(1, tm.dist_ini(0));
  EXPECT_EQ(0, tm.maprload(nameless));
  EXPECT_EQ(0, tm.treesave(0, nameless));
  EXPECT_EQ(0, tm.treesave(-1, file.c_str()));
  EXPECT_EQ(0, tm.treesave(10, file.c_str()));
  ASSERT_EQ(1, tm.mapr_ini(2, 0));
  EXPECT_EQ(0, tm.maprsave(nameless));
  EXPECT_EQ(0, tm.mgrasave(file.c_str())) << "not final";
}

TEST_F(Mapping, StartsAtRandomFromTheRulesOfTheGenerator) {
  prepare(9, 3, 3, 1.0);
  setseed(default_seed);
  ASSERT_EQ(1, tm.mapr_ini(2, 0));
  test::ReferenceDraws draws;
  const double hi = 0.1 * tm.real("tdxm");
  for (long i = 8; i >= 0; --i) {
    for (long k = 1; k >= 0; --k) EXPECT_EQ(0.0 + (hi - 0.0) * draws.uniform(), tm.mprot(i, k));
  }
  for (long i = 0; i < 9; ++i) EXPECT_EQ(i, tm.mpidx(i, 0));
  EXPECT_EQ(9, tm.mpidx.nrow());
}

TEST_F(Mapping, StartsAtZeroOrOnThePrincipalComponents) {
  // The points of a cross along the diagonals: variances and directions are known.
  MatFullD points;
  fill(points, {{1 + 3, 2 + 3}, {1 - 3, 2 - 3}, {1 + 1, 2 - 1}, {1 - 1, 2 + 1}});
  prototypes(tm, points, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(3, 2));
  EXPECT_EQ(Rows(4, std::vector<double>(3, 0.0)), rows_of(tm.mprot));
  ASSERT_EQ(1, tm.mapr_ini(3, 1));
  const double expected[4][2] = {{3, 0}, {3, 0}, {0, 1}, {0, 1}};
  for (long i = 0; i < 4; ++i) {
    for (long k = 0; k < 2; ++k) EXPECT_NEAR(std::sqrt(2) * expected[i][k], std::fabs(tm.mprot(i, k)), 1e-12);
    EXPECT_EQ(0.0, tm.mprot(i, 2)) << "no third component";
  }
  EXPECT_NEAR(-tm.mprot(0, 0), tm.mprot(1, 0), 1e-12);
}

TEST_F(Mapping, IsKeptWhenAskedForAndFitting) {
  prepare(6, 2, 3, 1.0);
  tm.setkey("vgkeep_p", 1);
  EXPECT_EQ(0, tm.mapr_ini(0, 2)) << "nothing to keep";
  ASSERT_EQ(1, tm.mapr_ini(2, 2)) << "without a mapping the start is made all the same";
  tm.mprot(3, 1) = 5.0;
  const Rows kept = rows_of(tm.mprot);
  ASSERT_EQ(1, tm.mapr_fin("first"));
  tm.mpidx(0, 0) = 3;
  for (const auto& [keep, dim] : {std::pair{1, 3L}, {1, 0L}, {0, 0L}, {0, -1L}}) {
    tm.setkey("vgkeep_p", keep);
    ASSERT_EQ(1, tm.mapr_ini(dim, 0));
    EXPECT_EQ(kept, rows_of(tm.mprot)) << keep << dim;
    EXPECT_EQ(0, tm.done(ToMapp::mfindone));
    EXPECT_STREQ("", tm.getmname());
    EXPECT_EQ(0, tm.mpidx(0, 0));
  }

  MatFullD more;
  test::uniform_points(more, 7, 2, 1);
  prototypes(tm, more, 3);
  tm.setkey("vgkeep_p", 1);
  ASSERT_EQ(1, tm.dist_ini(0));
  tm.verbose = 1;
  console.take();
  EXPECT_EQ(0, tm.mapr_ini(2, 0));
  EXPECT_EQ("ToMapp.mapr_ini: initializing projected prototypes ... failed!\n", console.take());
  EXPECT_EQ(0, tm.done(ToMapp::minidone));
  EXPECT_EQ(0, tm.mapr_fin("images of others"));
  EXPECT_EQ(0, tm.done(ToMapp::minidone));
}

TEST_F(Mapping, ClosingLinksTheImagesByTheRuleOfThePrototypes) {
  const struct {
    long rule;
    std::function<void(MatLinkD&, const MatFullD&)> link;
  } cases[] = {
      {0, [](MatLinkD&, const MatFullD&) {}},
      {1, [](MatLinkD& store, const MatFullD& y) { store.e_link(0, y, 0.3); }},
      {2, [](MatLinkD& store, const MatFullD& y) { store.n_link(0, y, 3); }},
      {3, [](MatLinkD& store, const MatFullD& y) { store.r_link(0, y, 0.5); }},
      {4, [this](MatLinkD& store, const MatFullD& y) { store.n_link(0, y, tm.link.nlive() / 30); }},
      {5, [](MatLinkD&, const MatFullD&) {}},
  };
  MatFullD points;
  test::uniform_points(points, 30, 3, 1);
  for (const auto& c : cases) {
    ASSERT_EQ(1, tm.dataload(points, 1));
    for (const auto& [key, value] : {std::pair{"vleeps", 0.4}, {"vlnnbr", 4.0}, {"vlrtol", 0.6}})
      tm.setkey(key, value);
    tm.setkey("vglink_p", static_cast<double>(c.rule));
    ASSERT_EQ(1, tm.nq());
    ASSERT_EQ(1, tm.dist_ini(0));
    for (const auto& [key, value] : {std::pair{"vleeps", 0.3}, {"vlnnbr", 3.0}, {"vlrtol", 0.5}})
      tm.setkey(key, value);
    tm.setkey("vglink_p", 5);  // not committed: the links that exist count
    ASSERT_EQ(1, tm.mapr_ini(2, 2));
    test::uniform_points(tm.mprot, 30, 2, 7);
    tm.verbose = 1;
    console.take();
    ASSERT_EQ(1, tm.mapr_fin("a name that is longer than one and thirty characters"));
    tm.verbose = 0;
    EXPECT_EQ(
        c.rule == 0 ? "ToMapp.mapr_fin: checking links ... done!\n" : "ToMapp.mapr_fin: linking ... done!\n",
        console.take());
    EXPECT_STREQ("a name that is longer than one ", tm.getmname());
    EXPECT_EQ(1, tm.done(ToMapp::minidone));
    EXPECT_EQ(1, tm.done(ToMapp::mfindone));
    MatLinkD expected(30, 2);
    expected.addrow(30);
    c.link(expected, tm.mprot);
    for (long k = 0; k < expected.nslot(); ++k) {
      if (!expected.live(k)) continue;
      expected.setvalue(k, 1, tm.mprot.sdas(expected.end_a(k), expected.end_b(k), no_bound));
    }
    EXPECT_EQ(30, tm.mlink.nnode());
    EXPECT_EQ(2, tm.mlink.nvalue());
    EXPECT_EQ(links_of(expected), links_of(tm.mlink)) << "rule " << c.rule;
    for (const auto& row : links_of(tm.link)) {
      EXPECT_EQ(tm.mprot.sdas(static_cast<long>(row[0]), static_cast<long>(row[1]), no_bound), row[4]);
    }
  }
}

TEST_F(Mapping, AGridKeepsItsLengthsOfLinks) {
  MatFullD points;
  test::uniform_points(points, 40, 3, 1);
  ASSERT_EQ(1, tm.dataload(points, 1));
  ASSERT_EQ(1, tm.som(12, 0.5, nameless));
  const long n = tm.prot.nrow();
  EXPECT_EQ(n, tm.lwork.nrow());
  tm.setkey("vgerrors", 1);
  tm.getlpref().commit("vgerrors");
  tm.verbose = 1;
  console.take();
  ASSERT_EQ(1, tm.sommap());
  tm.verbose = 0;
  const std::string text = console.take();
  char error[40];
  std::snprintf(error, sizeof error, "\n  ToMapp.sommap: E=%7.4f\n", tm.mapr_err(1));
  EXPECT_NE(std::string::npos, text.find(error)) << text;
  EXPECT_EQ(rows_of(tm.lwork), rows_of(tm.mprot));
  EXPECT_STREQ("Self-Organizing Map", tm.getmname());
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  ASSERT_EQ(1, tm.mapr_fin("all at zero"));
  for (const auto& row : links_of(tm.link)) EXPECT_NEAR(1.0, row[4], 1e-12) << "still on the grid";

  ASSERT_EQ(1, tm.dataload(points, 1));
  ASSERT_EQ(1, tm.nq());
  EXPECT_EQ(0, tm.sommap()) << "no map";
}

TEST_F(Mapping, ComponentsAreCentredAndPutSideBySide) {
  prepare_mapping(12, 2, 2, 2, 1.0, 3);
  ASSERT_EQ(3, tm.ncomp());
  tm.setkey("tdccsfac", 2.0);
  const Rows before = rows_of(tm.mprot);
  ASSERT_EQ(1, tm.mapr_rep(5.0));
  const Rows once = rows_of(tm.mprot);
  for (long c = 0; c < 3; ++c) {
    for (long k = 0; k < 2; ++k) {
      double sum = 0;
      for (long i = 0; i < 12; ++i) sum += tm.pidx(i, 0) == c ? tm.mprot(i, k) : 0.0;
      EXPECT_NEAR(k == 0 ? static_cast<double>(c) * 10.0 : 0.0, sum / 4, 1e-12);
    }
  }
  for (std::size_t i = 0; i < 12; ++i) {
    for (std::size_t j = 0; j < 12; ++j) {
      if (tm.pidx(static_cast<long>(i), 0) != tm.pidx(static_cast<long>(j), 0)) continue;
      for (std::size_t k = 0; k < 2; ++k)
        EXPECT_NEAR(before[i][k] - before[j][k], once[i][k] - once[j][k], 1e-12);
    }
  }
  ASSERT_EQ(1, tm.mapr_rep(5.0));
  for (std::size_t i = 0; i < 12; ++i)
    EXPECT_NEAR(once[i][0], rows_of(tm.mprot)[i][0], 1e-12) << "twice is once";

  const Rows now = rows_of(tm.mprot);
  ASSERT_EQ(1, tm.mapr_rep(0.0));
  EXPECT_EQ(now, rows_of(tm.mprot));
  tm.setkey("tdccsfac", 0.0);
  ASSERT_EQ(1, tm.mapr_rep(5.0));
  EXPECT_EQ(now, rows_of(tm.mprot));
}

TEST_F(Mapping, WithoutLinksNothingIsSeparated) {
  prepare_mapping(12, 2, 2, 0, 0.0, 3);
  const Rows before = rows_of(tm.mprot);
  for (const double factor : {5.0, no_bound, std::nan("")}) {
    ASSERT_EQ(1, tm.mapr_rep(factor));
    EXPECT_EQ(before, rows_of(tm.mprot));
  }
}

TEST_F(Mapping, ANonFiniteImageStaysInItsComponent) {
  prepare_mapping(12, 2, 2, 2, 1.0, 3);
  tm.mprot(4, 0) = std::nan("");
  ASSERT_EQ(1, tm.mapr_rep(1.0));
  for (long i = 0; i < 12; ++i) {
    EXPECT_EQ(tm.pidx(i, 0) == tm.pidx(4, 0), std::isnan(tm.mprot(i, 0)));
    EXPECT_TRUE(std::isfinite(tm.mprot(i, 1)));
  }
}

TEST_F(Mapping, ImagesAreSavedAndLoaded) {
  prepare_mapping(8, 3, 2, 3, 1.0);
  for (long i = 0; i < 8; ++i) tm.mprot(i, 0) = static_cast<double>(i) / 4;
  for (long i = 0; i < 8; ++i) tm.mprot(i, 1) = static_cast<double>(i * i % 5);
  MatFullD out;
  tm.verbose = 1;
  console.take();
  EXPECT_TRUE(tm.maprsave(out));
  EXPECT_EQ("ToMapp.maprsave: saving in memory ... done!\n", console.take());
  EXPECT_EQ(rows_of(tm.mprot), rows_of(out));
  EXPECT_EQ(1, tm.maprsave(file.c_str()));
  EXPECT_EQ(0u, console.take().find("ToMapp.maprsave: saving ASCII-file "));
  ASSERT_EQ(1, tm.mapr_ini(3, 0));
  console.take();
  EXPECT_EQ(1, tm.maprload(file.c_str()));
  EXPECT_EQ(0u, console.take().find("ToMapp.maprload: loading ASCII-file "));
  EXPECT_EQ(rows_of(out), rows_of(tm.mprot));
  EXPECT_STREQ("Loaded mapped prototypes", tm.getmname());
  EXPECT_EQ(1, tm.done(ToMapp::mfindone));
  EXPECT_EQ(1, tm.mgrasave(file.c_str()));
  EXPECT_EQ(0u, console.take().find("ToMapp.linksave: "));
  MatFullD table;
  ASSERT_EQ(1, table.load_asc(file.c_str(), 0));
  EXPECT_EQ(links_of(tm.mlink).size(), static_cast<std::size_t>(table.nrow()));
  EXPECT_EQ(4, table.ncol());

  MatFullD other;
  test::uniform_points(other, 7, 2, 1);
  ASSERT_EQ(1, other.save_asc(file.c_str(), 0, 1));
  EXPECT_EQ(0, tm.maprload(file.c_str()));
  EXPECT_NE(std::string::npos, console.take().find("\nToMapp.maprload: sizes don't agree!\n"));
  EXPECT_EQ(0, tm.done(ToMapp::minidone));
  std::filesystem::remove(file);
  EXPECT_EQ(0, tm.maprload(file.c_str()));
}

TEST_F(Mapping, AWayBackIsSavedForEveryPrototype) {
  prepare(5, 2, 0, 0.0);
  MatFullD points;
  fill(points, {{0}, {1}, {2}, {4}, {7}});
  for (const long memory : {0L, 2L}) {
    prototypes(tm, points, 1);  // a chain: every point and the one before it
    tm.setkey("vgmemory", static_cast<double>(memory));
    ASSERT_EQ(1, tm.dist_ini(0));
    tm.verbose = 1;
    console.take();
    ASSERT_EQ(1, tm.treesave(2, file.c_str()));
    EXPECT_EQ(0u, console.take().find("ToMapp.bwaysave: saving ASCII-file "));
    tm.verbose = 0;
    MatFullD saved;
    ASSERT_EQ(1, saved.load_asc(file.c_str(), 0));
    EXPECT_EQ((Rows{{1, 2}, {2, 1}, {-1, 0}, {2, 3}, {3, 4}}), rows_of(saved)) << "rows kept: " << memory;
  }
}

TEST_F(Mapping, ReportsItsDistancesAndItself) {
  MatFullD points;
  fill(points, {{0}, {1}, {3}});
  prototypes(tm, points, 1);
  std::ostringstream text;
  Ostr out(text);
  const auto report = [&](int level) {
    text.str("");
    tm.show(out, level);
    const std::size_t begin = text.str().find("Distances:");
    return begin == std::string::npos ? std::string() : text.str().substr(begin);
  };
  EXPECT_EQ("", report(1));
  ASSERT_EQ(1, tm.dist_ini(1));
  EXPECT_EQ("", report(1)) << "completed, not computed";
  ASSERT_EQ(1, tm.dist_ini(0));
  const std::string distances =
      "Distances: space, graph and mixed (balance tdgb =   1.00)\n"
      "                 |   min. |   max. |\n"
      "  space          |   1.00 |   3.00 |\n"
      "  graph          |   1.00 |   3.00 |\n"
      "  mixed          |   1.00 |   3.00 |\n"
      "  longest path = 2 links\n";
  EXPECT_EQ(distances, report(1));
  ASSERT_EQ(1, tm.mapr_ini(1, 2));
  tm.mprot.copy(tm.prot);
  ASSERT_EQ(1, tm.mapr_fin("Any"));
  const std::string mapping =
      "Mapping: Any, 1 dimension\n"
      "  stress = 0.0000, lost neighbours =   0.00%, lost links =   0.00%\n"
      "  axis           |   min. |   -std |   mean |   +std |   max. |\n"
      "  0              |   0.00 |   0.09 |   1.33 |   2.58 |   3.00 |\n";
  EXPECT_EQ(distances + mapping, report(1));
  EXPECT_EQ("Distances: space, graph and mixed (balance tdgb =   1.00)\nMapping: Any, 1 dimension\n",
            report(0));
  prototypes(tm, points, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  EXPECT_EQ(0u, report(1).find("Distances: space\n                 |   min. |   max. |\n  space  "));
  EXPECT_EQ(std::string::npos, report(1).find("mixed"));
}

}  // namespace
}  // namespace qvtx
