#include "graph/gauge.h"

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <sstream>

#include "base/random.h"

namespace qvtx {
namespace {

void console_to_stderr() { os.stream = &std::cerr; }

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
  const struct {
    const char* name;
    long step;
  } cases[] = {{"prot_ini", 0}, {"prot_in", -1}, {"prot_inix", -1}, {"twice", -1}, {"longer_t", 3}, {"", -1}};
  for (const auto& c : cases) EXPECT_EQ(c.step, gauge.getstep(c.name)) << c.name;
}

TEST(Gauge, AStepIsSetOnlyWhenThoseThatItNeedsAreDone) {
  Gauge gauge = analysis(2);
  EXPECT_EQ(1, gauge.tryflag(2));
  EXPECT_EQ(0, gauge.tryflag(3));
  EXPECT_EQ(0, gauge.setflag(3));
  EXPECT_EQ("11000000", flags(gauge, 8));
  EXPECT_EQ(1, gauge.setflag(2));
  EXPECT_EQ(1, gauge.setflag(2));
  EXPECT_EQ("11100000", flags(gauge, 8));
  EXPECT_EQ(1, gauge.tryflag(7));  // needs nothing
}

TEST(Gauge, StartingAStepForgetsAllThatIsBuiltOnIt) {
  const struct {
    long done, step;
    int allowed;
    const char* left;
  } cases[] = {
      {6, 1, 1, "100000"}, {6, 5, 1, "111110"}, {6, 0, 1, "000000"}, {3, 3, 1, "111000"},
      {3, 4, 0, "111000"}, {0, 0, 1, "000000"}, {0, 5, 0, "000000"}, {4, 2, 1, "110000"},
  };
  for (const auto& c : cases) {
    Gauge gauge = analysis(c.done);
    EXPECT_EQ(c.allowed, gauge.shutflag(c.step)) << c.done << " done, step " << c.step;
    EXPECT_EQ(c.left, flags(gauge, 6)) << c.done << " done, step " << c.step;
  }
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

TEST(Gauge, ShowListsTheFlagsFirst) {
  std::ostringstream text;
  Ostr o(text);
  analysis(2).show(o);
  EXPECT_EQ(0u, text.str().find("         1\t\n         1\t\n         0\t\n")) << text.str();
}

TEST(GaugeDeathTest, UnknownStepsEndTheProgram) {
  Gauge gauge = analysis(0);
  const std::function<void()> calls[] = {
      [&] { gauge.tryflag(9); }, [&] { gauge.shutflag(9); }, [&] { gauge.getflag(9); },
      [&] { gauge.setflag(9); }, [&] { gauge.badstep(9); },  [&] { gauge.addstep("late", 9); },
  };
  for (const auto& call : calls)
    EXPECT_EXIT((console_to_stderr(), os.ow("half a line"), call()), ::testing::ExitedWithCode(0),
                "^half a line\nGauge: bad step      9\n$");
  EXPECT_EXIT((console_to_stderr(), gauge.shutflag(gauge.getstep("nowhere"))), ::testing::ExitedWithCode(0),
              "Gauge: bad step     -1\n");
  gauge.addstep("seventh", -1);
  gauge.addstep("eighth", -1);
  EXPECT_EXIT((console_to_stderr(), gauge.addstep("ninth", -1)), ::testing::ExitedWithCode(0),
              "bad step      8\n");
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
  EXPECT_EQ(0, named.save_bin(nullptr));
  EXPECT_EQ(0, named.load_bin(nullptr));
}

TEST(GaugeBinary, EveryPrefixIsRefusedAndChangesNothing) {
  const std::string record = bytes(analysis(6));
  Gauge gauge = analysis(2);
  const std::string before = bytes(gauge);
  for (std::size_t length = 0; length < record.size(); ++length)
    EXPECT_EQ(0, load(gauge, record.substr(0, length))) << length;
  EXPECT_EQ(before, bytes(gauge));
}

TEST(GaugeBinary, ForeignOrInconsistentRecordIsRefused) {
  const auto done_too_early = [] {  // the flag of step 4 stands behind the five integers of the block's head
    std::string record = bytes(analysis(2));
    record[20 + 4 * 4] = 1;
    return record;
  };
  const auto without_end = [] {
    std::string record = bytes(analysis(0));
    record.back() = 'x';
    return record;
  };
  const auto named = [](long n, const char* third, long needs) {
    Gauge gauge(n);
    for (long k = 0; k < 6; ++k) gauge.addstep(k == 2 ? third : steps[k], k == 2 ? needs : k - 1);
    return bytes(gauge);
  };
  const struct {
    const char* what;
    std::string record;
  } cases[] = {
      {"a step done before one that it needs", done_too_early()},
      {"a name without its zero", without_end()},
      {"nine steps", named(9, steps[2], 1)},
      {"another name", named(8, "prot_mid", 1)},
      {"another dependence", named(8, steps[2], 0)},
      {"a missing dependence", named(8, steps[2], -1)},
      {"no names", bytes(Gauge(8))},
  };
  for (const auto& c : cases) {
    Gauge gauge = analysis(3);
    const std::string before = bytes(gauge);
    EXPECT_EQ(0, load(gauge, c.record)) << c.what;
    EXPECT_EQ(before, bytes(gauge)) << c.what;
  }
  Gauge gauge = analysis(3);
  EXPECT_EQ(1, load(gauge, named(8, steps[2], 1)));
}

}  // namespace
}  // namespace qvtx
