// Data that cannot be computed with: rows that are not finite are left out, values that overflow refused.

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <tuple>

#include "base/istr.h"
#include "support/files.h"
#include "support/quantizer.h"

namespace qvtx::test {
namespace {

constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinite = std::numeric_limits<double>::infinity();

struct Method {
  const char* name;
  std::function<void(VeQuan&)> run;
};

const Method methods[] = {
    {"nq", [](VeQuan& vq) { vq.nq(); }},
    {"gc", [](VeQuan& vq) { vq.gc(); }},
    {"km", [](VeQuan& vq) { vq.lbg(12); }},
    {"dk", [](VeQuan& vq) { vq.dlbg(0.2); }},
    {"cl", [](VeQuan& vq) { vq.cl(12, nullptr); }},
    {"fc", [](VeQuan& vq) { vq.fcl(12, nullptr); }},
    {"ng", [](VeQuan& vq) { vq.ng(12, nullptr); }},
    {"xn", [](VeQuan& vq) { vq.xn(0.3); }},
    {"nw", [](VeQuan& vq) { vq.nw(0.3, nullptr); }},
    {"om", [](VeQuan& vq) { vq.som(12, 2.0, nullptr); }},
    {"jp", [](VeQuan& vq) { vq.jp(nullptr); }},
};

class LeftOut : public QuantizerTest {
 protected:
  LeftOut() {
    ::testing::internal::CaptureStderr();  // the question of fcl
    uniform_points(clean, 60, 3, 1);
    for (long i = 0; i < clean.nrow(); ++i) {
      if (i == 0 || i == 31) holed.addrow(bad, i == 0 ? 0 : 1);
      place.push_back(holed.addrow(clean, i) - 1);
    }
    holed.addrow(bad, 2);
  }
  ~LeftOut() override { ::testing::internal::GetCapturedStderr(); }

  void run(VeQuan& quantizer, const Method& method, MatFullD& data) {
    ASSERT_EQ(1, quantizer.dataload(data, 1));
    std::istringstream answer("0\n");
    const Istr before = is;
    is = Istr(answer);
    setseed(default_seed);
    method.run(quantizer);
    is = before;
    ASSERT_EQ(1, quantizer.done(VeQuan::pfindone)) << method.name;
  }
  /// The column with -1 at the rows left out.
  Column in_places(const MatFullL& column) const {
    Column all(static_cast<std::size_t>(holed.nrow()), {-1});
    for (long i = 0; i < column.nrow(); ++i) all[static_cast<std::size_t>(at(i))] = {column.get(i, 0)};
    return all;
  }
  long at(long i) const { return place[static_cast<std::size_t>(i)]; }

  const MatFullD bad = matrix_of({{0.5, nan_value, 0.5}, {infinite, 0.5, 0.5}, {-infinite, nan_value, 0}});
  MatFullD clean;           // 60 rows
  MatFullD holed{0, 3};     // the same with a bad row in front, inside and behind
  std::vector<long> place;  // of the clean rows among these
  OpenQuantizer whole;      // has the clean rows; vq has the others
};

TEST_F(LeftOut, EveryMethodFindsWhatItFindsWithoutTheRows) {
  for (const Method& m : methods) {
    run(whole, m, clean);
    run(vq, m, holed);
    EXPECT_EQ(rows_of(whole.getprot()), rows_of(vq.getprot())) << m.name;
    EXPECT_EQ(links_of(whole.link), links_of(vq.link)) << m.name;
    MatFullL code, nearest, expected;
    ASSERT_EQ(1, vq.cod(vq.getdat(), code));
    EXPECT_EQ(in_places(whole.bmu), rows_of(code)) << m.name;
    ASSERT_EQ(1, vq.ind(vq.getprot(), nearest));
    ASSERT_EQ(1, whole.ind(whole.getprot(), expected));
    for (long k = 0; k < expected.nrow(); ++k) EXPECT_EQ(at(expected(k, 0)), nearest(k, 0)) << m.name;
    EXPECT_EQ(whole.cd_err(whole.getdat()), vq.cd_err(vq.getdat())) << m.name;
    ASSERT_EQ(1, whole.cod(holed, code));
    for (const long row : {0L, 32L, 62L}) EXPECT_EQ(-1, code(row, 0)) << m.name << ", of other samples";
  }
}

TEST_F(LeftOut, ReportCountsThemAndFilesHoldThem) {
  vq.verbose = 1;
  ASSERT_EQ(1, vq.dataload(holed, 1));
  EXPECT_NE(console.take().find("VeQuan.dataload: 3 of 63 samples left out"), std::string::npos);
  vq.verbose = 0;
  vq.show(os, 1);
  EXPECT_NE(console.take().find("63 samples, 3 variables, 4 missing values\n  left out = 3 samples\n  total"),
            std::string::npos);
  MatFullD again;
  ASSERT_EQ(1, vq.datasave(again));
  ASSERT_EQ(63, again.nrow());
  EXPECT_EQ(infinite, again(32, 0));
  for (long i = 0; i < 60; ++i) EXPECT_EQ(clean(i, 2), again(at(i), 2));
  ASSERT_EQ(1, vq.dataload(clean, 0));
  EXPECT_EQ(63, clean.nrow()) << "exchanged for all that was loaded";
  vq.show(os, 1);
  EXPECT_EQ(console.take().find("left out"), std::string::npos);
}

TEST_F(LeftOut, SnapshotTellsTheirCodes) {
  const std::string file = temporary("left_out.vbf");
  run(vq, methods[2], holed);
  ASSERT_EQ(1, vq.save_vbf(file.c_str()));
  ASSERT_EQ(1, whole.dataload(holed, 1));
  ASSERT_EQ(1, whole.load_vbf(file.c_str()));
  EXPECT_EQ(rows_of(vq.bmu), rows_of(whole.bmu));
  EXPECT_EQ(vq.prot_err(), whole.prot_err());
  // Other rows left out: one of them has no prototype in the snapshot.
  holed.swaprows(0, 1);
  ASSERT_EQ(1, whole.dataload(holed, 1));
  EXPECT_EQ(0, whole.load_vbf(file.c_str()));
  EXPECT_EQ(0, whole.done(VeQuan::pinidone));
  // Columns of earlier data are saved as they are.
  ASSERT_EQ(1, vq.dataload(holed, 1));
  EXPECT_EQ(1, vq.save_vbf(file.c_str()));
  std::filesystem::remove(file);
}

TEST_F(LeftOut, NothingIsLeftOfDataWithoutAFiniteRow) {
  MatFullD none;
  none.copy(bad);
  for (const Method& m : methods) {
    ASSERT_EQ(1, vq.dataload(none, 1));
    m.run(vq);
    EXPECT_EQ(0, vq.done(VeQuan::pinidone)) << m.name;
    EXPECT_EQ("VeQuan.prot_ini: no sample is finite\n", console.take()) << m.name;
  }
  vq.show(os, 1);
  EXPECT_EQ("Data: 3 samples, 3 variables, 4 missing values\n  left out = 3 samples\n", console.take());
}

TEST_F(LeftOut, OverflowIsRefusedWithTheVariable) {
  for (const auto& [mesp, miex, largest, fits] : {std::tuple('m', 2.0, 1e300, false),
                                                  {'m', 2.0, 1e151, true},
                                                  {'m', 8.0, 1e151, true},
                                                  {'m', 7.0, 1e151, false},
                                                  {'m', 7.0, 1e42, true},
                                                  {'a', 3.0, 1e104, false},
                                                  {'c', 2.0, 1e80, false},
                                                  {'c', 2.0, 1e70, true}}) {
    MatFullD::mesp = mesp;
    MatFullD::miex = miex;
    clean(7, 1) = -largest;
    ASSERT_EQ(1, vq.dataload(clean, 1));
    EXPECT_EQ(fits, vq.prot_ini(5, 0)) << mesp << miex << ' ' << largest;
    if (fits) {
      EXPECT_TRUE(std::isfinite(vq.prot_err())) << mesp << miex << ' ' << largest;
    }
    console.take();
  }
  for (const Method& m : methods) {
    MatFullD::mesp = 'm';
    clean(7, 1) = -1e300;
    ASSERT_EQ(1, vq.dataload(clean, 1));
    m.run(vq);
    EXPECT_EQ("VeQuan.prot_ini: values of variable 1 are too large\n", console.take()) << m.name;
  }
}

}  // namespace
}  // namespace qvtx::test
