// The binary file of the quantizer: what it restores, and that a file which does not fit leaves the session
// whole.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>

#include "support/quantizer.h"
#include "support/temporary.h"

namespace qvtx {
namespace {

using test::OpenQuantizer;
using test::QuantizerTest;
using test::rows_of;
using test::uniform_points;

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::string saved_bytes(const VeQuan& quantizer) {
  char* text = nullptr;
  std::size_t size = 0;
  File f(open_memstream(&text, &size));
  EXPECT_EQ(1, quantizer.save_vbf(f.get()));
  f.reset();
  std::string bytes(text, size);
  std::free(text);
  return bytes;
}

int load_bytes(VeQuan& quantizer, std::string bytes) {
  const File f(bytes.empty() ? std::fopen("/dev/null", "rb") : fmemopen(bytes.data(), bytes.size(), "rb"));
  return quantizer.load_vbf(f.get());
}

class Snapshot : public QuantizerTest {
 protected:
  /// A finished quantization of 80 data with a history: deleted prototypes, free link slots, settings not
  /// committed.
  void finish(OpenQuantizer& quantizer, unsigned long seed) {
    MatFullD data;
    uniform_points(data, 80, 3, seed);
    ASSERT_EQ(1, quantizer.dataload(data, 0));
    quantizer.setkey("vglink_p", 2);
    quantizer.setkey("vlnnbr", 3);
    ASSERT_EQ(1, quantizer.prot_ini(12, 0));
    for (long i = 0; i < 80; ++i) quantizer.prot_bmu(i, 0.9);
    ASSERT_EQ(1, quantizer.prot_fin("EXIN PLN", 1));
    quantizer.hits(3, 0) = 1000;
    ASSERT_EQ(1, quantizer.protdel(1000));
    ASSERT_EQ(1, quantizer.dist_ini(0));
    quantizer.setkey("vglink_p", 5);
    quantizer.pval(0, 0) = 0.5;
  }
  /// Another quantizer with the same number and width of data and nothing else.
  void prepare(OpenQuantizer& quantizer) {
    MatFullD data;
    uniform_points(data, 80, 3, 2);
    ASSERT_EQ(1, quantizer.dataload(data, 0));
  }

  const std::string file = test::temporary("snapshot.vbf");
};

TEST_F(Snapshot, LoadingAndSavingAgainGivesTheSameBytes) {
  finish(vq, 1);
  vq.verbose = 1;
  const std::string bytes = saved_bytes(vq);
  OpenQuantizer other;
  prepare(other);
  ASSERT_EQ(1, load_bytes(other, bytes));
  EXPECT_EQ(bytes, saved_bytes(other));
  finish(other, 3);
  other.setkey("vgdimloc", 1);
  ASSERT_EQ(1, load_bytes(other, bytes)) << "over another analysis";
  EXPECT_EQ(bytes, saved_bytes(other));

  EXPECT_EQ(1, other.verbose);
  EXPECT_EQ(rows_of(vq.prot), rows_of(other.prot));
  EXPECT_EQ(rows_of(vq.getcompsize()), rows_of(other.getcompsize()));
  EXPECT_EQ(5, other.getlpref().getfut(other.keys.vglink_p));
  EXPECT_EQ(2, other.getlpref().getval(other.keys.vglink_p));
  EXPECT_EQ(1, other.done(VeQuan::dinidone));
}

TEST_F(Snapshot, WhatIsNotStoredIsForgottenOrDerived) {
  finish(vq, 1);
  const std::string bytes = saved_bytes(vq);
  OpenQuantizer other;
  finish(other, 3);
  ASSERT_EQ(1, load_bytes(other, bytes));
  EXPECT_STREQ("", other.getmethod());
  EXPECT_EQ(79, other.order(79, 0));
  EXPECT_EQ(0, other.getlpca().ready());
  EXPECT_EQ(other.prot.nrow(), other.npath());
  MatFullD scratch, scratch2;
  for (long i = 0; i < vq.prot.nrow(); ++i) {
    const double* const expected = vq.graph_row(i, scratch);
    const double* const row = other.graph_row(i, scratch2);
    EXPECT_EQ(std::vector<double>(expected, expected + vq.prot.nrow()),
              std::vector<double>(row, row + vq.prot.nrow()));
  }
  other.verbose = 1;
  console.take();
  ASSERT_EQ(1, other.dist_ini(0));
  EXPECT_EQ(std::string::npos, console.take().find("already"));

  vq.setkey("vgdimloc", 1);
  vq.getlpref().commit("vgdimloc");
  ASSERT_EQ(1, load_bytes(other, saved_bytes(vq)));
  EXPECT_EQ(1, other.getlpca().ready()) << "the local PCA is computed when the settings ask for it";
}

TEST_F(Snapshot, SavedComponentNumbersStayWhenTheyTellTheSameComponents) {
  MatFullD data;
  uniform_points(data, 80, 3, 1);
  ASSERT_EQ(1, vq.dataload(data, 1));
  vq.setkey("vglink_p", 1);
  vq.setkey("vleeps", 0.3);
  ASSERT_EQ(1, vq.prot_ini(20, 0));
  ASSERT_EQ(1, vq.prot_fin("Neural Gas", 1));
  MatFullL numbered;
  const long count = vq.link.connex(numbered);
  ASSERT_GE(count, 3);

  // Tearing can leave the components in another order than a fresh numbering gives them.
  for (long k = 0; k < 20; ++k) vq.pidx(k, 0) = count - 1 - numbered(k, 0);
  const std::string bytes = saved_bytes(vq);
  OpenQuantizer other;
  ASSERT_EQ(1, other.dataload(data, 1));
  ASSERT_EQ(1, load_bytes(other, bytes));
  EXPECT_EQ(rows_of(vq.pidx), rows_of(other.pidx));
  EXPECT_EQ(bytes, saved_bytes(other));
  for (long c = 0; c < count; ++c) EXPECT_EQ(other.pidx.count(0, c, c), other.getcompsize()(c, 0));

  // Numbers that tell other components than the links are replaced.
  for (const long wrong : {(vq.pidx(0, 0) + 1) % count, count, -1L}) {
    vq.pidx(0, 0) = wrong;
    ASSERT_EQ(1, load_bytes(other, saved_bytes(vq))) << wrong;
    EXPECT_EQ(rows_of(numbered), rows_of(other.pidx)) << wrong;
  }
}

TEST_F(Snapshot, LeavesTheStreamBehindItsLastByte) {
  finish(vq, 1);
  std::string bytes = saved_bytes(vq) + "next";
  const File f(fmemopen(bytes.data(), bytes.size(), "rb"));
  ASSERT_EQ(1, vq.load_vbf(f.get()));
  char next[5] = "";
  ASSERT_EQ(4u, std::fread(next, 1, 4, f.get()));
  EXPECT_STREQ("next", next);
}

TEST_F(Snapshot, EveryStageOfAnAnalysisLoadsAgain) {
  OpenQuantizer other;
  prepare(other);
  const auto check = [&](const char* what) {
    const std::string bytes = saved_bytes(vq);
    ASSERT_EQ(1, load_bytes(other, bytes)) << what;
    EXPECT_EQ(bytes, saved_bytes(other)) << what;
    for (const char* step : {VeQuan::datadone, VeQuan::pinidone, VeQuan::pfindone, VeQuan::dinidone}) {
      EXPECT_EQ(vq.done(step), other.done(step)) << what << ", " << step;
    }
  };
  load_uniform(80, 3);
  check("data only");
  ASSERT_EQ(1, vq.prot_ini(0, 0));
  check("no prototypes");
  ASSERT_EQ(1, vq.prot_ini(9, 0));
  check("initialised");
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  check("linked");
  vq.setkey("vglink_p", 0);
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  check("without links");
  load_uniform(31, 2);
  ASSERT_EQ(1, vq.nq());
  load_uniform(80, 3);
  check("new data over the columns of others");
}

TEST_F(Snapshot, EveryPrefixIsRefusedAndTheSessionStaysWhole) {
  finish(vq, 1);
  const std::string bytes = saved_bytes(vq);
  OpenQuantizer other, cleared;  // cleared: the same session, its states cleared past the data
  for (OpenQuantizer* q : {&other, &cleared}) {
    setseed(default_seed);
    finish(*q, 3);
  }
  ASSERT_EQ(saved_bytes(cleared), saved_bytes(other));
  cleared.state.shutflag(1);
  const std::string expected = saved_bytes(cleared);
  for (std::size_t size = 0; size < bytes.size(); size += size + 200 < bytes.size() ? 37 : 1) {
    ASSERT_EQ(0, load_bytes(other, bytes.substr(0, size))) << size << " of " << bytes.size();
    ASSERT_EQ(expected, saved_bytes(other)) << size << " of " << bytes.size();
  }
  EXPECT_EQ(1, other.done(VeQuan::datadone));
  EXPECT_EQ(0, other.done(VeQuan::pinidone));
}

TEST_F(Snapshot, AChangedByteNeverLeavesAStateThatDoesNotHold) {
  finish(vq, 1);
  const std::string bytes = saved_bytes(vq);
  OpenQuantizer other;
  for (std::size_t place = 8; place < bytes.size(); place += 11) {
    std::string damaged = bytes;
    damaged[place] = static_cast<char>(damaged[place] ^ 0x41);
    prepare(other);
    const int loaded = load_bytes(other, damaged);
    other.verbose = 0;
    if (!loaded) {
      ASSERT_EQ(0, other.done(VeQuan::pinidone)) << place;
    }
    if (!other.done(VeQuan::pfindone)) continue;
    const std::string again = saved_bytes(other);  // what loads is consistent: it loads again
    OpenQuantizer third;
    prepare(third);
    ASSERT_EQ(1, load_bytes(third, again)) << place;
    EXPECT_EQ(again, saved_bytes(third)) << place;
    MatFullD scratch, y;
    MatFullL code;
    EXPECT_EQ(1, other.cod(other.dat, code) * other.dec(code, y)) << place;
    other.graph_row(other.prot.nrow() - 1, scratch);
  }
}

TEST_F(Snapshot, ItemsThatDoNotFitEachOtherAreRefused) {
  const std::vector<std::pair<const char*, std::function<void(OpenQuantizer&)>>> damages = {
      {"a datum of no prototype", [](OpenQuantizer& q) { q.bmu(5, 0) = q.prot.nrow(); }},
      {"a datum without prototype", [](OpenQuantizer& q) { q.bmu(5, 0) = -1; }},
      {"too few data columns", [](OpenQuantizer& q) { q.bmu.setrows(79, 0); }},
      {"too few components", [](OpenQuantizer& q) { q.pidx.setrows(2, 0); }},
      {"too few prototypes", [](OpenQuantizer& q) { q.prot.setrows(2, 0.0); }},
      {"too few nodes", [](OpenQuantizer& q) { q.link.addrow(-1); }},
      {"links with other values",
       [](OpenQuantizer& q) {
         q.link.setdim(q.prot.nrow(), 2);
         q.link.addrow(q.prot.nrow());
       }},
      {"a negative length", [](OpenQuantizer& q) { q.link.setvalue(q.link.head(0), 1, -1.0); }},
      {"half a grid", [](OpenQuantizer& q) { q.lwork.setrows(2, 0.0); }},
      {"a grid in one dimension", [](OpenQuantizer& q) { q.lwork.setdim(0, 1); }},
      {"a grid without width", [](OpenQuantizer& q) { q.lwork2.setrows(1, 0); }},
      {"another analysis", [](OpenQuantizer& q) { q.state.addstep("mapp_ini", 3); }},
  };
  for (const auto& [what, damage] : damages) {
    OpenQuantizer damaged;
    finish(damaged, 1);
    damage(damaged);
    finish(vq, 3);
    EXPECT_EQ(0, load_bytes(vq, saved_bytes(damaged))) << what;
    EXPECT_EQ(1, vq.done(VeQuan::datadone)) << what;
    EXPECT_EQ(0, vq.done(VeQuan::pinidone)) << what;
    EXPECT_EQ(11, vq.prot.nrow()) << what;
  }
}

TEST_F(Snapshot, AnotherNumberOrWidthOfDataChangesNothing) {
  finish(vq, 1);
  const std::string bytes = saved_bytes(vq);
  for (const auto& [n, d] : {std::pair{81L, 3L}, {80L, 2L}}) {
    OpenQuantizer other;
    MatFullD data;
    uniform_points(data, n, d, 2);
    ASSERT_EQ(1, other.dataload(data, 0));
    ASSERT_EQ(1, other.gc());
    other.verbose = 1;
    const std::string before = saved_bytes(other);
    console.take();
    EXPECT_EQ(0, load_bytes(other, bytes));
    EXPECT_EQ("size mismatch ... ", console.take());
    EXPECT_EQ(before, saved_bytes(other));
    EXPECT_STREQ("G-center", other.getmethod());
  }
}

TEST_F(Snapshot, MissingFilesAreRefused) {
  finish(vq, 1);
  EXPECT_EQ(1, vq.save_vbf(file.c_str()));
  EXPECT_EQ(1, vq.load_vbf(file.c_str()));
  std::filesystem::remove(file);
  EXPECT_EQ(0, vq.load_vbf(file.c_str()));
  EXPECT_EQ(0, vq.save_vbf((file + "/x").c_str()));
  EXPECT_EQ(0, vq.load_vbf(static_cast<std::FILE*>(nullptr)));
  EXPECT_EQ(1, vq.done(VeQuan::dinidone));
}

TEST_F(Snapshot, TheGraphIsSavedAfterLinkingOnly) {
  load_uniform(20, 2);
  EXPECT_EQ(0, vq.dgrasave(file.c_str(), 0));
  ASSERT_EQ(1, vq.prot_ini(5, 0));
  ASSERT_EQ(1, vq.prot_fin("LBG", 1));
  MatFullD table;
  ASSERT_EQ(1, vq.dgrasave(file.c_str(), 0));
  ASSERT_EQ(1, table.load_asc(file.c_str(), 0));
  EXPECT_EQ(vq.link.nlive(), table.nrow());
  EXPECT_EQ(2 + 3, table.ncol());
  std::filesystem::remove(file);
}

}  // namespace
}  // namespace qvtx
