// The mapping object: opening and closing a mapping, separation of components, files of images and links.

#include <filesystem>
#include <functional>
#include <sstream>

#include "support/files.h"
#include "support/reference_mapping.h"

namespace qvtx::test {
namespace {

class Mapping : public ReferenceMappingTest {
 protected:
  ~Mapping() override { std::filesystem::remove(file); }

  /// Whether the text printed last begins so.
  bool said(const std::string& text) { return console.take().find(text) == 0; }

  const std::string path = temporary("mapping.map");
  const char* const file = path.c_str();
  const char* const nameless = nullptr;
};

TEST_F(Mapping, WithoutPreferencesItSaysSo) {
  OpenMapping mapping{std::ifstream("no such file")};
  EXPECT_EQ(
      "VeQuan.VeQuan: unable to read preference file\n"
      "ToMapp.ToMapp: unable to read preference file\n",
      console.take());
  EXPECT_EQ(0, mapping.mapr_ini(2, 0));
}

TEST_F(Mapping, NothingRunsBeforeItsStep) {
  using Results = std::vector<double>;
  const auto number = [](auto result) { return static_cast<double>(result); };
  const auto run = [&](const char* name) {
    return Results{number(tm.maprsave(name)), number(tm.treesave(0, name)), number(tm.mgrasave(name)),
                   number(tm.maprload(name))};
  };
  EXPECT_EQ(0, tm.mds(2)) << "no prototypes";
  MatFullD out, points;
  uniform_points(points, 10, 2, 1);
  prototypes(tm, points, 3);
  EXPECT_EQ(Results(4, 0), run(file)) << "no distances";
  EXPECT_EQ(Results(3, -1), (Results{tm.mapr_err(), tm.mapr_err(0), tm.mapr_err(1)}));
  EXPECT_EQ(Results(3, 0),
            (Results{number(tm.mapr_ini(2, 0)), number(tm.mapr_fin("x")), number(tm.mapr_rep(1.0))}));
  EXPECT_FALSE(tm.maprsave(out));
  start_mapping(2);
  EXPECT_EQ(0, tm.mgrasave(file)) << "not final";
  for (const long outside : {-1L, 10L}) EXPECT_EQ(0, tm.treesave(outside, file));
  EXPECT_EQ(Results(4, 0), run(nameless));
}

TEST_F(Mapping, StartsAtRandomAtZeroOrOnThePrincipalComponents) {
  prepare(9, 3, 3, 1.0);
  setseed(default_seed);
  ASSERT_EQ(1, tm.mapr_ini(2, 0));
  ReferenceDraws draws;
  const double hi = 0.1 * tm.real("tdxm");
  for (long i = 8; i >= 0; --i) {
    for (long k = 1; k >= 0; --k) EXPECT_EQ(0.0 + (hi - 0.0) * draws.uniform(), tm.mprot(i, k));
  }
  // The points of a cross along the diagonals: variances and directions are known.
  MatFullD points;
  fill(points, {{1 + 3, 2 + 3}, {1 - 3, 2 - 3}, {1 + 1, 2 - 1}, {1 - 1, 2 + 1}});
  prototypes(tm, points, 0);
  start_mapping(3);
  EXPECT_EQ(Rows(4, {0, 0, 0}), rows_of(tm.mprot));
  ASSERT_EQ(1, tm.mapr_ini(3, 1));
  const double turn = tm.mprot(0, 0) < 0 ? -1 : 1, mirror = tm.mprot(2, 1) < 0 ? -1 : 1, r = std::sqrt(2);
  expect_near({{3 * r * turn, 0, 0}, {-3 * r * turn, 0, 0}, {0, r * mirror, 0}, {0, -r * mirror, 0}},
              rows_of(tm.mprot), 1e-12);
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
  uniform_points(more, 7, 2, 1);
  prototypes(tm, more, 3);
  tm.setkey("vgkeep_p", 1);
  ASSERT_EQ(1, tm.dist_ini(0));
  tm.verbose = 1;
  console.take();
  EXPECT_EQ(0, tm.mapr_ini(2, 0));
  EXPECT_EQ("ToMapp.mapr_ini: initializing projected prototypes ... failed!\n", console.take());
  EXPECT_EQ(0, tm.mapr_fin("images of others"));
  EXPECT_EQ(0, tm.done(ToMapp::minidone));
}

TEST_F(Mapping, ClosingLinksTheImagesByTheRuleOfThePrototypes) {
  const std::vector<std::function<void(MatLinkD&, const MatFullD&)>> rules = {
      [](MatLinkD&, const MatFullD&) {},
      [](MatLinkD& store, const MatFullD& y) { store.e_link(0, y, 0.3); },
      [](MatLinkD& store, const MatFullD& y) { store.n_link(0, y, 3); },
      [](MatLinkD& store, const MatFullD& y) { store.r_link(0, y, 0.5); },
      [this](MatLinkD& store, const MatFullD& y) { store.n_link(0, y, tm.link.nlive() / 30); },
      [](MatLinkD&, const MatFullD&) {},
  };
  MatFullD points;
  uniform_points(points, 30, 3, 1);
  const auto set = [this](double radius, double neighbours, double tolerance) {
    tm.setkey("vleeps", radius);
    tm.setkey("vlnnbr", neighbours);
    tm.setkey("vlrtol", tolerance);
  };
  for (std::size_t rule = 0; rule < rules.size(); ++rule) {
    ASSERT_EQ(1, tm.dataload(points, 1));
    set(0.4, 4, 0.6);
    tm.setkey("vglink_p", static_cast<double>(rule));
    ASSERT_EQ(1, tm.nq());
    start_mapping(2);
    set(0.3, 3, 0.5);
    tm.setkey("vglink_p", 5);  // not committed: the links that exist count
    uniform_points(tm.mprot, 30, 2, 7);
    tm.verbose = 1;
    console.take();
    ASSERT_EQ(1, tm.mapr_fin("a name that is longer than one and thirty characters"));
    tm.verbose = 0;
    EXPECT_EQ(
        rule == 0 ? "ToMapp.mapr_fin: checking links ... done!\n" : "ToMapp.mapr_fin: linking ... done!\n",
        console.take());
    EXPECT_STREQ("a name that is longer than one ", tm.getmname());
    EXPECT_EQ(1, tm.done(ToMapp::mfindone));
    MatLinkD expected(30, 2);
    expected.addrow(30);
    rules[rule](expected, tm.mprot);
    expected.setpos(tm.mprot, 1);
    EXPECT_EQ(30, tm.mlink.nnode());
    EXPECT_EQ(links_of(expected), links_of(tm.mlink)) << "rule " << rule;
    for (const auto& row : links_of(tm.link)) {
      EXPECT_EQ(tm.mprot.sdas(static_cast<long>(row[0]), static_cast<long>(row[1]), no_bound), row[4]);
    }
  }
}

TEST_F(Mapping, AGridKeepsItsLengthsOfLinks) {
  MatFullD points;
  uniform_points(points, 40, 3, 1);
  ASSERT_EQ(1, tm.dataload(points, 1));
  ASSERT_EQ(1, tm.som(12, 0.5, nameless));
  tm.setkey("vgerrors", 1);
  tm.integers.commit("vgerrors");
  tm.verbose = 1;
  ASSERT_EQ(1, tm.sommap());
  tm.verbose = 0;
  char error[40];
  std::snprintf(error, sizeof error, "\n  ToMapp.sommap: E=%7.4f\n", tm.mapr_err(1));
  EXPECT_NE(std::string::npos, console.take().find(error)) << error;
  EXPECT_EQ(rows_of(tm.lwork), rows_of(tm.mprot));
  EXPECT_STREQ("Self-Organizing Map", tm.getmname());
  ASSERT_EQ(1, tm.mapr_ini(2, 2));
  ASSERT_EQ(1, tm.mapr_fin("all at zero"));
  for (const auto& row : links_of(tm.link)) EXPECT_NEAR(1.0, row[4], 1e-12) << "still on the grid";
  ASSERT_EQ(1, tm.nq());
  EXPECT_EQ(0, tm.sommap()) << "no map";
}

// Every epoch of the methods' own tests puts components side by side; here is what else can happen.
TEST_F(Mapping, ComponentsStayWhereTheyArePut) {
  prepare_mapping(12, 2, 2, 2, 1.0, 3);
  tm.setkey("tdccsfac", 2.0);
  ASSERT_EQ(1, tm.mapr_rep(5.0));
  const Rows placed = rows_of(tm.mprot);
  ASSERT_EQ(1, tm.mapr_rep(5.0));
  expect_near(placed, rows_of(tm.mprot), 1e-12);
  tm.mprot(4, 0) = std::nan("");
  ASSERT_EQ(1, tm.mapr_rep(1.0));
  for (long i = 0; i < 12; ++i) {
    EXPECT_EQ(tm.pidx(i, 0) == tm.pidx(4, 0), std::isnan(tm.mprot(i, 0))) << "it stays in its component";
    EXPECT_TRUE(std::isfinite(tm.mprot(i, 1)));
  }
  // No gap: the factor is 0, the setting is 0, there are no links.
  for (const auto& [links, setting, factor] :
       {std::tuple{2L, 1.0, 0.0}, {2L, 0.0, 5.0}, {0L, 1.0, 5.0}, {0L, 1.0, no_bound}}) {
    prepare_mapping(12, 2, 2, links, 0.0, 3);
    tm.setkey("tdccsfac", setting);
    const Rows before = rows_of(tm.mprot);
    ASSERT_EQ(1, tm.mapr_rep(factor));
    EXPECT_EQ(before, rows_of(tm.mprot)) << links << " links, setting " << setting;
  }
}

TEST_F(Mapping, ImagesAreSavedAndLoaded) {
  prepare_mapping(8, 3, 2, 3, 1.0);
  for (long i = 0; i < 16; ++i) tm.mprot.data()[i] = static_cast<double>(i * i % 11) / 4;
  const Rows images = rows_of(tm.mprot);
  MatFullD out, table;
  tm.verbose = 1;
  console.take();
  EXPECT_TRUE(tm.maprsave(out));
  EXPECT_EQ("ToMapp.maprsave: saving in memory ... done!\n", console.take());
  EXPECT_EQ(images, rows_of(out));
  EXPECT_EQ(1, tm.maprsave(file));
  EXPECT_TRUE(said("ToMapp.maprsave: saving ASCII-file "));
  ASSERT_EQ(1, tm.mapr_ini(3, 0));
  console.take();
  EXPECT_EQ(1, tm.maprload(file));
  EXPECT_TRUE(said("ToMapp.maprload: loading ASCII-file "));
  EXPECT_EQ(images, rows_of(tm.mprot));
  EXPECT_STREQ("Loaded mapped prototypes", tm.getmname());
  EXPECT_EQ(1, tm.mgrasave(file));
  EXPECT_TRUE(said("ToMapp.linksave: "));
  ASSERT_EQ(1, table.load_asc(file, 0));
  Rows links = rows_of(table);
  std::sort(links.begin(), links.end());
  expect_near(links_of(tm.mlink), links, 1e-5);
  uniform_points(out, 7, 2, 1);
  ASSERT_EQ(1, out.save_asc(file, 0, 1));
  EXPECT_EQ(0, tm.maprload(file));
  EXPECT_NE(std::string::npos, console.take().find("\nToMapp.maprload: sizes don't agree!\n"));
  EXPECT_EQ(0, tm.done(ToMapp::minidone));
}

TEST_F(Mapping, AWayBackIsSavedForEveryPrototype) {
  MatFullD points, saved;
  fill(points, {{0}, {1}, {2}, {4}, {7}});
  prototypes(tm, points, 1);  // a chain: every point and the one before it
  ASSERT_EQ(1, tm.dist_ini(0));
  tm.verbose = 1;
  console.take();
  ASSERT_EQ(1, tm.treesave(2, file));
  EXPECT_TRUE(said("ToMapp.bwaysave: saving ASCII-file "));
  ASSERT_EQ(1, saved.load_asc(file, 0));
  EXPECT_EQ((Rows{{1, 2}, {2, 1}, {-1, 0}, {2, 3}, {3, 4}}), rows_of(saved));
}

TEST_F(Mapping, ReportsItsDistancesAndItself) {
  MatFullD points;
  fill(points, {{0}, {1}, {3}});
  prototypes(tm, points, 1);
  const auto report = [&](int level) {
    std::ostringstream text;
    Ostr out(text);
    tm.show(out, level);
    const std::size_t begin = text.str().find("Distances:");
    return begin == std::string::npos ? std::string() : text.str().substr(begin);
  };
  ASSERT_EQ(1, tm.dist_ini(1));
  EXPECT_EQ("", report(1)) << "completed, not computed";
  start_mapping(1);
  tm.mprot.copy(tm.prot);
  ASSERT_EQ(1, tm.mapr_fin("Any"));
  EXPECT_EQ(
      "Distances: space, graph and mixed (balance tdgb =   1.00)\n"
      "                 |   min. |   max. |\n"
      "  space          |   1.00 |   3.00 |\n"
      "  graph          |   1.00 |   3.00 |\n"
      "  mixed          |   1.00 |   3.00 |\n"
      "  longest path = 2 links\n"
      "Mapping: Any, 1 dimension\n"
      "  stress = 0.0000, lost neighbours =   0.00%, lost links =   0.00%\n"
      "  rank quality: space = 1.000, graph = 1.000, trustworthiness = 1.000, continuity = 1.000\n"
      "  axis           |   min. |   -std |   mean |   +std |   max. |\n"
      "  0              |   0.00 |   0.09 |   1.33 |   2.58 |   3.00 |\n",
      report(1));
  EXPECT_EQ("Distances: space, graph and mixed (balance tdgb =   1.00)\nMapping: Any, 1 dimension\n",
            report(0));
  prototypes(tm, points, 0);
  ASSERT_EQ(1, tm.dist_ini(0));
  EXPECT_EQ(0u, report(1).find("Distances: space\n                 |   min. |   max. |\n  space  "));
  EXPECT_EQ(std::string::npos, report(1).find("mixed"));
}

}  // namespace
}  // namespace qvtx::test
