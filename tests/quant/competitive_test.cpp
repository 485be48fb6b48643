#include "base/istr.h"
#include "support/reference_quantizer.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

class CompetitiveTest : public ReferenceTest {
 protected:
  /// Runs fcl with an answer to its question for the fast flag.
  template <class Schedule>
  long fcl(long n, const Schedule& sched, const char* answer) {
    std::istringstream in(answer);
    const Istr before = is;
    is = Istr(in);
    ::testing::internal::CaptureStderr();
    const long result = vq.fcl(n, sched);
    errors = ::testing::internal::GetCapturedStderr();
    is = before;
    return result;
  }
  std::string errors;  ///< what the last run printed on standard error
};

TEST_F(CompetitiveTest, EpochsEqualThePlainLoop) {
  const double rates[] = {0.5, 0.3, 0.1, 0.0, 1.0};
  for (const long n : {20L, 1L}) {
    expect_equal_epochs(n, 5, [&](int e) {
      reference.cl_epoch(rates[e]);
      ASSERT_EQ(1, vq.cl_itr(rates[e]));
      expect_report(" a=%6.3f lost=%3ld chgd=%6ld", rates[e], reference.lost, reference.chgd);
    });
  }
}

TEST_F(CompetitiveTest, FastEpochsEqualThePlainLoop) {
  for (const int fast : {0, 1}) {
    long shortcuts = 0;
    expect_equal_epochs(20, 25, [&](int e) {
      const double a = 0.4 / (1.0 + e);
      reference.fcl_epoch(a, fast != 0);
      ASSERT_EQ(1, vq.fcl_itr(a, fast));
      const float rate = 100.0F * static_cast<float>(reference.errors) /
                         static_cast<float>(std::max(reference.shortcuts, 1L));
      expect_report(" a=%6.3f lost=%3ld chgd=%6ld %%err=%6.2f #shc=%ld", a, reference.lost, reference.chgd,
                    static_cast<double>(rate), reference.shortcuts);
      shortcuts += reference.shortcuts;
    });
    EXPECT_LT(0, shortcuts);
  }
}

TEST_F(CompetitiveTest, ShortcutReportsAWrongWinnerAndKeepsIt) {
  load({{0.0}, {10.0}});
  ASSERT_EQ(1, vq.prot_ini(0, 4));
  for (int e = 0; e < 10; ++e) ASSERT_EQ(1, vq.fcl_itr(0.0, 1));
  EXPECT_EQ(9, vq.bmucnt(0, 1));
  vq.prot(0, 0) = 20.0;  // now prototype 1 is the nearest to both data
  vq.verbose = 1;
  for (const auto& [fast, report] :
       {std::pair(0, "chgd=     1 %err= 50.00 #shc=2"), std::pair(1, "chgd=     0 %err=  0.00 #shc=2")}) {
    console.take();
    ASSERT_EQ(1, vq.fcl_itr(0.0, fast));
    EXPECT_NE(std::string::npos, console.take().find(report));
    EXPECT_EQ(0, vq.bmu(0, 0));
  }
}

TEST_F(CompetitiveTest, RefusesRatesSchedulesAndEmptyStarts) {
  load_uniform(30, 2);
  ASSERT_EQ(1, vq.prot_ini(4, 0));
  for (const double a : {-0.1, 1.1, std::nan("")}) {
    EXPECT_EQ(0, vq.cl_itr(a));
    EXPECT_EQ(0, vq.fcl_itr(a, 0));
  }
  MatParaD sched;
  fill(sched, {{0.5}, {-0.1}});
  EXPECT_EQ(0, vq.cl(5, sched));
  EXPECT_EQ(0, fcl(5, sched, ""));
  fill(sched, {{1.5}, {0.1}});  // found in the first epoch, which ends the run
  EXPECT_EQ(1, vq.cl(5, sched));
  EXPECT_STREQ("Competitive Learning", vq.getmethod());
  EXPECT_EQ(1, fcl(5, sched, "1"));
  EXPECT_STREQ("Freq.sens. CL", vq.getmethod());
  EXPECT_EQ(0, vq.cl(0, sched)) << "no prototypes";
  EXPECT_EQ(0, fcl(0, sched, "1")) << "no prototypes";
}

TEST_F(CompetitiveTest, AsksForTheFastFlag) {
  load_uniform(200, 1);
  MatParaD sched;
  fill(sched, std::vector<std::vector<double>>(14, {0.9}));
  vq.verbose = 1;
  for (const auto& [answer, fast] : {std::pair("1\n", true), {"0\n", false}, {"-3\n", true}, {"", false}}) {
    ASSERT_EQ(1, fcl(8, sched, answer));
    EXPECT_EQ("VeQuan.fcl: fast? [0|1] \n", errors) << answer;
    // With large steps some shortcut is wrong; only the search that the fast flag skips can tell.
    const std::string text = console.take();
    bool found = false;
    for (std::size_t at = text.find("%err="); at != std::string::npos; at = text.find("%err=", at + 1)) {
      found |= text.substr(at + 5, 6) != "  0.00";
    }
    EXPECT_EQ(fast, !found) << answer;
  }
}

TEST_F(CompetitiveTest, QuantizesAsWellAsKMeans) {
  load_uniform(1500, 2);
  vq.setkey("vgcent_p", 0);
  ASSERT_EQ(1, vq.cl(40, nullptr));
  const double online = vq.prot_err();
  EXPECT_EQ(0, vq.protnbr(0));
  ASSERT_EQ(1, vq.lbg(40));
  EXPECT_LE(online, vq.prot_err());
}

TEST_F(CompetitiveTest, ScheduleComesFromTheFileThenTheDefaultThenTheKeys) {
  load_uniform(30, 2);
  vq.setkey("vclepoq ", 4);
  expect_schedule_order(console, vq, "cl", "default.clp",
                        [this](const char* file) { return vq.cl(5, file); });
  vq.setkey("vfclepoq", 4);
  expect_schedule_order(console, vq, "fcl", "default.clp",
                        [this](const char* file) { return fcl(5, file, "1"); });
}

TEST_F(CompetitiveTest, DefaultScheduleFallsHyperbolically) {
  start({.name = "", .n = 6});
  vq.setkey("vgcent_p", 0);
  vq.setkey("vclepoq ", 3);
  vq.setkey("vclaini ", 0.75);
  vq.setkey("vclafin ", 0.25);
  ASSERT_EQ(1, vq.cl(6, nullptr));
  reference.init(6, 0);
  const double middle = (0.75 * 0.25 * 2.0 / 0.5) / (2.0 * 0.25 / 0.5 + 1.0);
  for (const double a : {0.75, middle, 0.25}) reference.cl_epoch(a);
  EXPECT_EQ(reference.prot, rows_of(vq.prot));
}

}  // namespace
}  // namespace qvtx::test
