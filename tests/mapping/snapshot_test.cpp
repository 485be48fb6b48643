// The binary files of the quantizer and of the mapping, which begins with the former: round trips, files that
// are refused, and what a load leaves behind.

#include <filesystem>
#include <functional>
#include <iterator>

#include "support/files.h"
#include "support/mapping.h"

namespace qvtx::test {
namespace {

class Snapshot : public MappingTest {
 protected:
  ~Snapshot() override { std::filesystem::remove(file); }

  /// n data in d dimensions and nothing else.
  static void only_data(OpenMapping& mapping, long n = 80, long d = 3) {
    MatFullD points;
    uniform_points(points, n, d, 5);
    ASSERT_EQ(1, mapping.dataload(points, 0));
  }

  /// An analysis of 80 data in two clusters with a history: deleted prototypes, holes in both link tables,
  /// settings not committed.
  static void finish(OpenMapping& mapping, unsigned long seed) {
    MatFullD points;
    clustered_points(points, 80, 3, 2, seed);
    ASSERT_EQ(1, mapping.dataload(points, 0));
    mapping.setkey("vglink_p", 2);
    mapping.setkey("vlnnbr", 3);
    ASSERT_EQ(1, mapping.prot_ini(12, 0));
    ASSERT_EQ(1, mapping.prot_fin("LBG", 1));
    mapping.hits(3, 0) = 1000;
    ASSERT_EQ(1, mapping.protdel(1000));
    MatParaD sched;
    fill(sched, {{0.5, 1.0}, {0.3, 0.6}});
    ASSERT_EQ(1, mapping.cda(2, sched));
    ASSERT_EQ(1, mapping.mlink.del_link(2));
    mapping.setkey("vglink_p", 5);
    mapping.setkey("tcdnwf", 3);
    mapping.pval(0, 0) = 0.5;
  }

  std::string saved(const OpenMapping& mapping) {
    EXPECT_EQ(1, mapping.save_mbf(file.c_str()));
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  long load(OpenMapping& mapping, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
    return mapping.load_mbf(file.c_str());
  }

  const std::vector<const char*> steps = {VeQuan::datadone, VeQuan::pinidone, VeQuan::pfindone,
                                          VeQuan::dinidone, ToMapp::minidone, ToMapp::mfindone};
  const std::string file = temporary("mapping.mbf");
};

TEST_F(Snapshot, LoadingAndSavingAgainGivesTheSameBytes) {
  finish(tm, 1);
  tm.verbose = 1;
  const std::string bytes = saved(tm);
  OpenMapping other;
  for (const bool over : {false, true}) {  // over another analysis
    over ? finish(other, 3) : only_data(other);
    ASSERT_EQ(1, load(other, bytes));
    EXPECT_EQ(bytes, saved(other));
    EXPECT_EQ(rows_of(tm.mprot), rows_of(other.mprot));
    EXPECT_EQ(rows_of(tm.getcompsize()), rows_of(other.getcompsize()));
    // What is not stored is forgotten or derived.
    EXPECT_STREQ("", other.getmethod());
    EXPECT_STREQ("", other.getmname());
    EXPECT_EQ(79, other.order(79, 0));
    EXPECT_EQ(11, other.mpidx.nrow());
    EXPECT_EQ(10, other.mpidx(10, 0));
    EXPECT_EQ(0, other.nbwidth.nrow());
    EXPECT_EQ(tm.mapr_err(), other.mapr_err()) << "from rows that are computed again";
  }
  MatParaD sched;
  fill(sched, {{0.5, 1.0}});
  EXPECT_EQ(1, other.cda(2, sched)) << "the analysis goes on";
  EXPECT_EQ(3, other.number("tcdnwf")) << "with the settings of the file";
  tm.setkey("vgdimloc", 1);
  tm.integers.commit("vgdimloc");
  ASSERT_EQ(1, load(other, saved(tm)));
  EXPECT_EQ(1, other.getlpca().ready()) << "the local PCA is computed when the settings ask for it";
}

TEST_F(Snapshot, SavedComponentNumbersStayWhenTheyTellTheSameComponents) {
  MatFullD data;
  uniform_points(data, 80, 3, 1);
  ASSERT_EQ(1, tm.dataload(data, 1));
  tm.setkey("vglink_p", 1);
  tm.setkey("vleeps", 0.3);
  ASSERT_EQ(1, tm.prot_ini(20, 0));
  ASSERT_EQ(1, tm.prot_fin("Neural Gas", 1));
  MatFullL numbered;
  const long count = tm.link.connex(numbered);
  ASSERT_GE(count, 3);

  // Tearing can leave the components in another order than a fresh numbering gives them.
  for (long k = 0; k < 20; ++k) tm.pidx(k, 0) = count - 1 - numbered(k, 0);
  const std::string bytes = saved(tm);
  OpenMapping other;
  ASSERT_EQ(1, other.dataload(data, 1));
  ASSERT_EQ(1, load(other, bytes));
  EXPECT_EQ(rows_of(tm.pidx), rows_of(other.pidx));
  EXPECT_EQ(bytes, saved(other));
  for (long c = 0; c < count; ++c) EXPECT_EQ(other.pidx.count(0, c, c), other.getcompsize()(c, 0));

  // Numbers that tell other components than the links are replaced; two in one, or one in two.
  for (long k = 0; k < 20; ++k) tm.pidx(k, 0) = std::max(numbered(k, 0), 1L);
  ASSERT_EQ(1, load(other, saved(tm)));
  EXPECT_EQ(rows_of(numbered), rows_of(other.pidx));
  tm.pidx.copy(numbered);
  for (const long wrong : {(tm.pidx(0, 0) + 1) % count, count, -1L}) {
    tm.pidx(0, 0) = wrong;
    ASSERT_EQ(1, load(other, saved(tm))) << wrong;
    EXPECT_EQ(rows_of(numbered), rows_of(other.pidx)) << wrong;
  }
}

TEST_F(Snapshot, EveryStageOfAnAnalysisLoadsAgain) {
  OpenMapping other;
  const auto check = [&](const char* what) {
    only_data(other, 12);
    const std::string bytes = saved(tm);
    ASSERT_EQ(1, load(other, bytes)) << what;
    EXPECT_EQ(bytes, saved(other)) << what;
    for (const char* step : steps) EXPECT_EQ(tm.done(step), other.done(step)) << what << ", " << step;
  };
  only_data(tm, 12);
  check("data only");
  ASSERT_EQ(1, tm.prot_ini(0, 0));
  check("no prototypes");
  ASSERT_EQ(1, tm.prot_ini(9, 0));
  check("prototypes without links");
  MatFullD points;
  uniform_points(points, 12, 3, 4);
  prototypes(tm, points, 3);
  check("before any mapping");
  start_mapping(2);
  check("initialised");
  ASSERT_EQ(1, tm.mapr_fin("any"));
  ASSERT_EQ(1, tm.mapr_ini(3, 0));
  check("initialised again, with the links of the last mapping");
  ASSERT_EQ(1, tm.lbg(5));
  check("new prototypes beside the images of others");
  tm.setkey("vglink_p", 0);
  ASSERT_EQ(1, tm.lbg(5));
  ASSERT_EQ(1, tm.mds(2));
  check("without links");
  only_data(tm, 31, 2);
  ASSERT_EQ(1, tm.nq());
  only_data(tm, 12);
  check("new data over the columns of others");
}

TEST_F(Snapshot, EveryPrefixIsRefusedAndChangesNothing) {
  finish(tm, 1);
  const std::string bytes = saved(tm);
  OpenMapping other;
  finish(other, 3);
  const std::string before = saved(other);
  const double stress = other.mapr_err();
  for (std::size_t size = 0; size < bytes.size(); size += size + 900 < bytes.size() ? 111 : 7) {
    ASSERT_EQ(0, load(other, bytes.substr(0, size))) << size << " of " << bytes.size();
    ASSERT_NE("", other.getloadtrouble()) << size;
    ASSERT_EQ(before, saved(other)) << size;
  }
  EXPECT_STREQ("Curvilinear Component Analysis", other.getmname());
  EXPECT_EQ(stress, other.mapr_err());
  EXPECT_TRUE(other.graph_stored(0)) << "stored distances stay, too";
}

/// What an analysis is used for, as far as its steps allow; what it holds may be damaged numbers.
void use(OpenMapping& m) {
  MatFullD scratch, y, image;
  MatFullL code;
  ASSERT_EQ(1, m.cod(m.dat, code));
  EXPECT_EQ(1, m.dec(code, y));
  m.graph_row(m.prot.nrow() - 1, scratch);
  if (m.done(ToMapp::mfindone)) {
    ASSERT_EQ(m.prot.nrow(), m.mprot.nrow());
    EXPECT_NE(-1, m.mapr_err(0));
    if (m.cda_iv(m.dat, y, image)) m.cda_rd(image, y, scratch);
  }
  m.setkey("tcdepoq", 2);
  m.cda(2, nullptr);
  m.show(os, 2);
  m.protdel(1);
}

TEST_F(Snapshot, AChangedByteChangesNothingOrLeavesAStateThatHolds) {
  finish(tm, 1);
  const std::string bytes = saved(tm);
  OpenMapping other, third;
  finish(other, 3);
  const std::string before = saved(other);
  std::size_t loaded = 0;
  for (std::size_t place = 8; place < bytes.size(); place += 11) {
    SCOPED_TRACE(place);
    std::string damaged = bytes;
    damaged[place] = static_cast<char>(damaged[place] ^ (place % 2 == 0 ? 0x41 : 0x7f));
    if (!load(other, damaged)) {
      ASSERT_EQ(before, saved(other));
      continue;
    }
    other.verbose = 0;
    only_data(third);
    const std::string again = saved(other);  // what loads is consistent: it loads again
    ASSERT_EQ(1, load(third, again));
    EXPECT_EQ(again, saved(third));
    if (third.done(VeQuan::pfindone) && ++loaded % 8 == 0) use(third);
    ASSERT_EQ(1, load(other, before));
  }
  EXPECT_GT(loaded, 500u);
}

TEST_F(Snapshot, PartsThatDoNotFitEachOtherAreRefused) {
  const std::vector<std::pair<const char*, std::function<void(OpenMapping&)>>> damages = {
      {"a datum of no prototype", [](OpenMapping& m) { m.bmu(5, 0) = m.prot.nrow(); }},
      {"a datum without prototype", [](OpenMapping& m) { m.bmu(5, 0) = -1; }},
      {"columns of other data", [](OpenMapping& m) { m.bmu.setrows(79, 0); }},
      {"prototypes of other data", [](OpenMapping& m) { m.prot.setdim(11, 2), m.prot.setrows(11, 0.0); }},
      {"too few components", [](OpenMapping& m) { m.pidx.setrows(2, 0); }},
      {"too few prototypes", [](OpenMapping& m) { m.prot.setrows(2, 0.0); }},
      {"too few nodes", [](OpenMapping& m) { m.link.addrow(-1); }},
      {"links with other values", [](OpenMapping& m) { m.link.setdim(11, 2), m.link.addrow(11); }},
      {"a negative length", [](OpenMapping& m) { m.link.setvalue(m.link.head(0), 1, -1.0); }},
      {"half a grid", [](OpenMapping& m) { m.lwork.setrows(2, 0.0); }},
      {"a grid in one dimension", [](OpenMapping& m) { m.lwork.setdim(0, 1); }},
      {"a grid without width", [](OpenMapping& m) { m.lwork2.setrows(1, 0); }},
      {"another analysis", [](OpenMapping& m) { m.state.addstep("more", 3); }},
      {"too few images", [](OpenMapping& m) { m.mprot.setrows(10); }},
      {"no images", [](OpenMapping& m) { m.mprot.setrows(0); }},
      {"too few nodes of images", [](OpenMapping& m) { m.mlink.addrow(-1); }},
      {"links of images with other values",
       [](OpenMapping& m) { m.mlink.setdim(11, 3), m.mlink.addrow(11); }},
  };
  finish(tm, 3);
  const std::string before = saved(tm);
  for (const auto& [what, damage] : damages) {
    OpenMapping damaged;
    finish(damaged, 1);
    damage(damaged);
    EXPECT_EQ(0, load(tm, saved(damaged))) << what;
    EXPECT_EQ(before, saved(tm)) << what;
  }
}

TEST_F(Snapshot, FilesAreReportedByName) {
  finish(tm, 1);
  tm.verbose = 1;
  const char* const path = file.c_str();
  const std::string nowhere = temporary("no such folder/x"), name = "binary file " + file + " ... ";
  const std::string cut = name + "failed!", good = name + "done!",
                    missing = "file " + nowhere + " not found!";
  const auto reported = [&](long result, long expected, const std::string& text) {
    EXPECT_EQ(expected, result);
    EXPECT_EQ("ToMapp." + text + "\n", console.take());
  };
  console.take();
  reported(tm.save_vbf(path), 1, "save_vbf: saving " + good);
  reported(tm.load_vbf(path), 1, "load_vbf: loading " + good);
  reported(tm.save_mbf(path), 1, "save_mbf: saving " + good);
  reported(tm.load_mbf(path), 1, "load_mbf: loading " + good);
  std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
  reported(tm.load_mbf(path), 0, "load_mbf: loading " + cut);
  reported(tm.load_mbf(nowhere.c_str()), 0, "load_mbf: " + missing);
  only_data(tm, 81);
  console.take();
  reported(tm.load_mbf(path), 0, "load_mbf: loading " + name + "size mismatch ... failed!");
  reported(tm.save_mbf(nowhere.c_str()), 0, "save_mbf: " + missing);
  reported(tm.load_vbf(nowhere.c_str()), 0, "load_vbf: " + missing);
  reported(tm.save_vbf(nowhere.c_str()), 0, "save_vbf: " + missing);
}

}  // namespace
}  // namespace qvtx::test
