// The mapping binary file: round trips, files that are refused, and what a load leaves behind.

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>

#include "support/mapping.h"

namespace qvtx {
namespace {

using test::MappingTest;
using test::OpenMapping;
using test::rows_of;

class MappingFile : public MappingTest {
 protected:
  ~MappingFile() override { std::filesystem::remove(file); }

  /// A mapping of 12 prototypes that has gone through a few epochs, in two components with holes in the link
  /// tables.
  static void finish(OpenMapping& mapping, unsigned long seed) {
    MatFullD points;
    test::clustered_points(points, 12, 3, 2, seed);
    prototypes(mapping, points, 3);
    ASSERT_EQ(1, mapping.dist_ini(0));
    MatParaD sched;
    test::fill(sched, {{0.5, 1.0}, {0.3, 0.6}});
    ASSERT_EQ(1, mapping.cda(2, sched));
    ASSERT_EQ(1, mapping.mlink.del_link(2));
    mapping.setkey("tcdnwf  ", 3);
  }
  /// Another analysis of 12 data in 3 dimensions.
  static void prepare_other(OpenMapping& mapping) {
    MatFullD points;
    test::uniform_points(points, 12, 3, 5);
    ASSERT_EQ(1, mapping.dataload(points, 0));
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

  const std::string file = ::testing::TempDir() + "mapping_" + std::to_string(::getpid()) + ".mbf";
};

TEST_F(MappingFile, LoadingAndSavingAgainGivesTheSameBytes) {
  finish(tm, 1);
  const std::string bytes = saved(tm);
  OpenMapping other;
  for (const bool over : {false, true}) {
    if (over) {
      finish(other, 3);
    } else {
      prepare_other(other);
    }
    ASSERT_EQ(1, load(other, bytes));
    EXPECT_EQ(bytes, saved(other));
    EXPECT_EQ(rows_of(tm.mprot), rows_of(other.mprot));
    EXPECT_STREQ("", other.getmname());
    EXPECT_EQ(12, other.mpidx.nrow());
    EXPECT_EQ(11, other.mpidx(11, 0));
    EXPECT_EQ(0, other.nbwidth.nrow());
    for (const char* step : steps) EXPECT_EQ(1, other.done(step)) << step;
    EXPECT_EQ(tm.mapr_err(), other.mapr_err()) << "from rows that are computed again";
    EXPECT_EQ(tm.mapr_err(0), other.mapr_err(0));
    EXPECT_EQ(tm.mapr_err(1), other.mapr_err(1));
    EXPECT_EQ(1, other.mgrasave(file.c_str()));
  }
  MatParaD sched;
  test::fill(sched, {{0.5, 1.0}});
  EXPECT_EQ(1, other.cda(2, sched)) << "the analysis goes on";
  EXPECT_EQ(3, other.getlpref().getval(other.getlpref().getkey("tcdnwf"))) << "with the settings of the file";
}

TEST_F(MappingFile, HoldsTheBlocksInTheirOrder) {
  finish(tm, 1);
  const std::string bytes = saved(tm);
  std::FILE* f = std::fopen(file.c_str(), "wb");
  ASSERT_EQ(1, tm.save_vbf(f));
  std::fclose(f);
  const auto quantizer = static_cast<std::size_t>(std::filesystem::file_size(file));
  const auto number = [&](std::size_t place) {
    std::int32_t v = 0;
    bytes.copy(reinterpret_cast<char*>(&v), sizeof v, quantizer + place);
    return v;
  };
  EXPECT_EQ(12, number(0));
  EXPECT_EQ(3, number(4));
  std::size_t end = 8;
  const auto matrix = [&](const auto& m, std::size_t element) {
    std::vector<std::int32_t> head;
    for (std::size_t k = 0; k < 5; ++k) head.push_back(number(end + 4 * k));
    EXPECT_NE(head.end(), std::find(head.begin(), head.end(), m)) << "a count of rows";
    end += 20 + element;
  };
  matrix(12, 12 * 2 * 8);  // the images
  const std::int32_t free_slot = number(end);
  EXPECT_EQ(2, free_slot) << "the link that was deleted";
  end += 4;
  matrix(12, 12 * 4);
  const auto slots = static_cast<std::int32_t>(tm.mlink.nslot());
  matrix(slots, static_cast<std::size_t>(slots) * 6 * 4);
  matrix(slots, static_cast<std::size_t>(slots) * 2 * 8);
  EXPECT_EQ(bytes.size(), quantizer + end);
}

TEST_F(MappingFile, EveryStageOfAnAnalysisLoadsAgain) {
  OpenMapping other;
  const auto check = [&](const char* what) {
    prepare_other(other);
    const std::string bytes = saved(tm);
    ASSERT_EQ(1, load(other, bytes)) << what;
    EXPECT_EQ(bytes, saved(other)) << what;
    for (const char* step : steps) EXPECT_EQ(tm.done(step), other.done(step)) << what << ", " << step;
  };
  prepare_other(tm);
  check("data only");
  MatFullD points;
  test::uniform_points(points, 12, 3, 4);
  prototypes(tm, points, 3);
  check("before any mapping");
  EXPECT_EQ(0, other.mprot.nrow());
  ASSERT_EQ(1, tm.dist_ini(0));
  ASSERT_EQ(1, tm.mapr_ini(2, 0));
  check("initialised");
  EXPECT_EQ(12, other.mprot.nrow());
  ASSERT_EQ(1, tm.mapr_fin("any"));
  check("final");
  ASSERT_EQ(1, tm.mapr_ini(3, 0));
  check("initialised again, with the links of the last mapping");
  ASSERT_EQ(1, tm.lbg(5));
  check("new prototypes beside the images of others");
  tm.setkey("vglink_p", 0);
  ASSERT_EQ(1, tm.lbg(5));
  ASSERT_EQ(1, tm.mds(2));
  check("without links");
}

TEST_F(MappingFile, EveryPrefixIsRefusedAndNoStatePastTheDataIsLeft) {
  finish(tm, 1);
  const std::string bytes = saved(tm);
  OpenMapping other;
  finish(other, 3);
  MatFullD out;
  for (std::size_t size = 0; size < bytes.size(); size += size + 900 < bytes.size() ? 211 : 7) {
    ASSERT_EQ(0, load(other, bytes.substr(0, size))) << size << " of " << bytes.size();
    ASSERT_EQ(1, other.done(VeQuan::datadone));
    for (const char* step : {VeQuan::pinidone, ToMapp::minidone, ToMapp::mfindone})
      ASSERT_EQ(0, other.done(step));
    ASSERT_EQ(-1, other.mapr_err());
    ASSERT_FALSE(other.maprsave(out));
  }
  finish(other, 3);  // a new analysis starts all the same
  EXPECT_EQ(1, other.done(ToMapp::mfindone));
}

TEST_F(MappingFile, AChangedByteNeverLeavesAStateThatDoesNotHold) {
  finish(tm, 1);
  const std::string bytes = saved(tm);
  OpenMapping other;
  std::size_t loads = 0;
  for (std::size_t place = 8; place < bytes.size(); place += place + 900 < bytes.size() ? 187 : 11) {
    std::string damaged = bytes;
    damaged[place] = static_cast<char>(damaged[place] ^ 0x41);
    prepare_other(other);
    const bool loaded = load(other, damaged) != 0;
    other.verbose = 0;
    ASSERT_TRUE(loaded || !other.done(VeQuan::pinidone)) << place;
    if (!other.done(ToMapp::mfindone)) continue;
    ++loads;
    ASSERT_EQ(other.prot.nrow(), other.mprot.nrow()) << place;
    ASSERT_EQ(other.prot.nrow(), other.mlink.nnode()) << place;
    EXPECT_NE(-1, other.mapr_err(0));
    EXPECT_EQ(1, other.mgrasave(file.c_str()));
  }
  EXPECT_GT(loads, 10u);
}

TEST_F(MappingFile, PartsThatDoNotFitEachOtherAreRefused) {
  const std::vector<std::pair<const char*, std::function<void(OpenMapping&)>>> damages = {
      {"too few images", [](OpenMapping& m) { m.mprot.setrows(11); }},
      {"no images", [](OpenMapping& m) { m.mprot.setrows(0); }},
      {"too few nodes", [](OpenMapping& m) { m.mlink.addrow(-1); }},
      {"links with other values",
       [](OpenMapping& m) {
         m.mlink.setdim(12, 3);
         m.mlink.addrow(12);
       }},
  };
  for (const auto& [what, damage] : damages) {
    OpenMapping damaged;
    finish(damaged, 1);
    damage(damaged);
    finish(tm, 3);
    EXPECT_EQ(0, load(tm, saved(damaged))) << what;
    EXPECT_EQ(1, tm.done(VeQuan::datadone)) << what;
    EXPECT_EQ(0, tm.done(VeQuan::pinidone)) << what;
  }
}

TEST_F(MappingFile, TheBlockOfOtherPrototypesIsRefused) {
  finish(tm, 1);
  std::FILE* f = std::fopen(file.c_str(), "w+b");
  ASSERT_EQ(1, tm.save_mbf(f));
  OpenMapping other;
  MatFullD points;
  test::uniform_points(points, 13, 3, 5);
  prototypes(other, points, 3);
  std::rewind(f);
  other.verbose = 1;
  console.take();
  EXPECT_EQ(0, other.load_mbf(f));
  EXPECT_EQ("size mismatch ... ", console.take());
  EXPECT_EQ(0, other.mprot.nrow());
  std::rewind(f);
  EXPECT_EQ(1, tm.load_mbf(f));
  std::fclose(f);
  std::FILE* const closed = nullptr;
  EXPECT_EQ(0, tm.save_mbf(closed));
  EXPECT_EQ(0, tm.load_mbf(closed));
}

TEST_F(MappingFile, AnotherNumberOrWidthOfDataChangesNothing) {
  finish(tm, 1);
  const std::string bytes = saved(tm);
  for (const auto& [n, d] : {std::pair{13L, 3L}, {12L, 2L}}) {
    OpenMapping other;
    MatFullD points;
    test::uniform_points(points, n, d, 2);
    prototypes(other, points, 3);
    ASSERT_EQ(1, other.mds(2));
    const std::string before = saved(other);
    EXPECT_EQ(0, load(other, bytes));
    EXPECT_EQ(before, saved(other));
    EXPECT_STREQ("Multidimensional Scaling", other.getmname());
    EXPECT_EQ(1, other.done(ToMapp::mfindone));
  }
}

TEST_F(MappingFile, FilesAreReportedByName) {
  finish(tm, 1);
  tm.verbose = 1;
  console.take();
  EXPECT_EQ(1, tm.save_mbf(file.c_str()));
  EXPECT_EQ(1, tm.load_mbf(file.c_str()));
  EXPECT_EQ("ToMapp.save_mbf: saving binary file " + file +
                " ... done!\nToMapp.load_mbf: loading binary file " + file + " ... done!\n",
            console.take());
  std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
  EXPECT_EQ(0, tm.load_mbf(file.c_str()));
  EXPECT_EQ("ToMapp.load_mbf: loading binary file " + file + " ... failed!\n", console.take());
  std::filesystem::remove(file);
  EXPECT_EQ(0, tm.load_mbf(file.c_str()));
  EXPECT_EQ("ToMapp.load_mbf: file " + file + " not found!\n", console.take());
  const std::string nowhere = ::testing::TempDir() + "no such folder/x.mbf";
  EXPECT_EQ(0, tm.save_mbf(nowhere.c_str()));
  EXPECT_EQ("ToMapp.save_mbf: file " + nowhere + " not found!\n", console.take());
  const char* const unnamed = nullptr;
  EXPECT_EQ(0, tm.save_mbf(unnamed));
  EXPECT_EQ(0, tm.load_mbf(unnamed));
  OpenMapping empty;
  EXPECT_EQ(0, empty.load_mbf(file.c_str())) << "no data";
}

}  // namespace
}  // namespace qvtx
