#include "graph/gauge.h"

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <vector>

#include "base/random.h"

namespace qvtx {
namespace {

const char* const steps[] = {"dataload", "prot_ini", "prot_fin", "dist_ext", "mapp_ini", "mapp_fin"};

/// The steps of an analysis, each needing the one before it, the first `done` of them done.
Gauge analysis(long done) {
  Gauge gauge(8);
  for (long k = 0; k < 6; ++k) EXPECT_EQ(k, gauge.addstep(steps[k], k - 1));
  for (long k = 0; k < done; ++k) EXPECT_EQ(1, gauge.setflag(k));
  return gauge;
}

std::string flags(const Gauge& gauge, long n) {
  std::string text;
  for (long k = 0; k < n; ++k) text += gauge.getflag(k) ? '1' : '0';
  return text;
}

TEST(Gauge, StepsAreFoundByTheirExactName) {
  Gauge gauge(4);
  EXPECT_EQ(-1, gauge.getstep("twice"));
  for (const char* name : {"prot_ini", "twice", "twice", "longer_than_a_row"}) gauge.addstep(name, -1);
  EXPECT_EQ(0, gauge.getstep("prot_ini"));
  EXPECT_EQ(3, gauge.getstep("longer_t"));
  for (const char* name : {"prot_in", "prot_inix", "twice", ""}) EXPECT_EQ(-1, gauge.getstep(name)) << name;
}

TEST(Gauge, AStepIsSetOnlyWhenThoseThatItNeedsAreDone) {
  Gauge gauge = analysis(2);
  EXPECT_EQ(1, gauge.tryflag(2));
  EXPECT_EQ(0, gauge.tryflag(3));
  EXPECT_EQ(0, gauge.setflag(3));
  EXPECT_EQ(0, gauge.shutflag(3));
  EXPECT_EQ("11000000", flags(gauge, 8));
  for (int twice = 0; twice < 2; ++twice) EXPECT_EQ(1, gauge.setflag(2));
  EXPECT_EQ("11100000", flags(gauge, 8));
}

// On random trees of steps: what remains done is what cannot be reached upwards from the step, by the closure
// of the dependences.
TEST(Gauge, ClearedStepsAreThoseReachableUpwards) {
  setseed(11);
  constexpr long n = 12;
  for (int round = 0; round < 50; ++round) {
    Gauge gauge(n);
    bool built[n][n] = {};  // built[i][k]: step k needs step i, directly or not
    for (long k = 0; k < n; ++k) {
      const long needs = draw_index(k + 1) - 1;
      gauge.addstep(("step" + std::to_string(k)).c_str(), needs);
      gauge.setflag(k);
      for (long i = 0; i < k; ++i) built[i][k] = needs >= 0 && (i == needs || built[i][needs]);
    }
    const long step = draw_index(n);
    EXPECT_EQ(1, gauge.shutflag(step));
    for (long k = 0; k < n; ++k)
      EXPECT_EQ(k == step || built[step][k], gauge.getflag(k) == 0) << step << " " << k;
  }
}

TEST(GaugeDeathTest, UnknownStepsEndTheProgram) {
  Gauge gauge = analysis(0);
  const std::function<void()> calls[] = {[&] { gauge.shutflag(9); }, [&] { gauge.addstep("late", 9); }};
  for (const auto& call : calls)
    EXPECT_EXIT((os.stream = &std::cerr, os.ow("half a line"), call()), ::testing::ExitedWithCode(0),
                "^half a line\nGauge: bad step      9\n$");
}

// ---- Binary record ----

std::string bytes(const Gauge& gauge) {
  std::FILE* f = std::tmpfile();
  EXPECT_EQ(1, gauge.save_bin(f));
  std::string text(static_cast<std::size_t>(std::ftell(f)), '\0');
  std::rewind(f);
  EXPECT_EQ(text.size(), std::fread(text.data(), 1, text.size(), f));
  std::fclose(f);
  return text;
}

int load(Gauge& gauge, const std::string& record) {
  std::FILE* f = std::tmpfile();
  std::fwrite(record.data(), 1, record.size(), f);
  std::rewind(f);
  const int result = gauge.load_bin(f);
  std::fclose(f);
  return result;
}

TEST(GaugeBinary, RecordRestoresFlagsLinksAndNames) {
  const std::string record = bytes(analysis(4));
  Gauge named = analysis(1), fresh(3);
  ASSERT_EQ(1, load(named, record));
  EXPECT_EQ("11110000", flags(named, 8));
  ASSERT_EQ(1, load(fresh, record));
  EXPECT_EQ(4, fresh.getstep("mapp_ini"));
  EXPECT_EQ(1, fresh.shutflag(1));
  EXPECT_EQ("10000000", flags(fresh, 8));
  EXPECT_EQ(record, bytes(named));
}

TEST(GaugeBinary, CutForeignOrInconsistentRecordIsRefusedAndChangesNothing) {
  std::string done_too_early = bytes(analysis(2)), without_end = bytes(analysis(0));
  done_too_early[20 + 4 * 4] = 1;  // the flag of step 4 stands behind the five integers of the block's head
  without_end.back() = 'x';
  const auto named = [](long n, const char* third, long needs) {
    Gauge gauge(n);
    for (long k = 0; k < 6; ++k) gauge.addstep(k == 2 ? third : steps[k], k == 2 ? needs : k - 1);
    return bytes(gauge);
  };
  const std::string sound = named(8, steps[2], 1);
  std::vector<std::string> refused = {done_too_early,          without_end,           named(9, steps[2], 1),
                                      named(8, "prot_mid", 1), named(8, steps[2], 0), named(8, steps[2], -1),
                                      bytes(Gauge(8))};
  for (std::size_t length = 0; length < sound.size(); ++length) refused.push_back(sound.substr(0, length));
  Gauge gauge = analysis(3);
  const std::string before = bytes(gauge);
  for (const std::string& record : refused) EXPECT_EQ(0, load(gauge, record)) << &record - refused.data();
  EXPECT_EQ(before, bytes(gauge));
  EXPECT_EQ(1, load(gauge, sound));
}

}  // namespace
}  // namespace qvtx
