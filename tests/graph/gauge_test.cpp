#include "graph/gauge.h"

#include "base/random.h"
#include "base/support.h"

namespace qvtx {
namespace {

using test::load_record;
using test::record_of;

const char* const steps[] = {"dataload", "prot_ini", "prot_fin", "dist_ext", "mapp_ini", "mapp_fin"};

/// The steps of an analysis, each needing the one before it, the first `done` of them done. The third may be
/// another one.
Gauge analysis(long done, const char* third = steps[2], long needs = 1, long n = 8) {
  Gauge gauge(n);
  for (long k = 0; k < 6; ++k) EXPECT_EQ(k, gauge.addstep(k == 2 ? third : steps[k], k == 2 ? needs : k - 1));
  for (long k = 0; k < done; ++k) EXPECT_EQ(1, gauge.setflag(k));
  return gauge;
}

std::string flags(const Gauge& gauge) {
  std::string text;
  for (long k = 0; k < 6; ++k) text += gauge.getflag(k) ? '1' : '0';
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

/// Whether step k needs the step i, directly or not, or is it.
bool built_on(const std::vector<long>& needs, long k, long i) {
  while (k > i) k = needs[static_cast<std::size_t>(k)];
  return k == i;
}

TEST(Gauge, ClearedStepsAreThoseReachableUpwards) {
  setseed(11);
  constexpr long n = 12;
  for (int round = 0; round < 50; ++round) {
    Gauge gauge(n);
    std::vector<long> needs;
    for (long k = 0; k < n; ++k) {
      needs.push_back(draw_index(k + 1) - 1);
      gauge.addstep(("step" + std::to_string(k)).c_str(), needs.back());
      gauge.setflag(k);
    }
    const long step = draw_index(n);
    EXPECT_EQ(1, gauge.shutflag(step));
    for (long k = 0; k < n; ++k)
      EXPECT_EQ(built_on(needs, k, step), gauge.getflag(k) == 0) << step << " " << k;
  }
}

TEST(GaugeDeathTest, UnknownStepsEndTheProgram) {
  Gauge gauge = analysis(0);
  const char* const message = "^half a line\nGauge: bad step      9\n$";
  EXPECT_FATAL((os.ow("half a line"), gauge.shutflag(9)), message);
  EXPECT_FATAL((os.ow("half a line"), gauge.addstep("late", 9)), message);
}

TEST(GaugeBinary, CutForeignOrInconsistentRecordIsRefusedAndChangesNothing) {
  const std::string sound = record_of(analysis(0));
  std::string done_too_early = record_of(analysis(2)), without_end = sound;
  done_too_early[20 + 4 * 4] = 1;  // the flag of step 4 stands behind the five integers of the block's head
  without_end.back() = 'x';
  std::vector<std::string> refused = {done_too_early,
                                      without_end,
                                      record_of(analysis(0, steps[2], 1, 9)),
                                      record_of(analysis(0, "prot_mid")),
                                      record_of(analysis(0, steps[2], 0)),
                                      record_of(analysis(0, steps[2], -1)),
                                      record_of(Gauge(8))};
  for (std::size_t length = 0; length < sound.size(); ++length) refused.push_back(sound.substr(0, length));
  Gauge gauge = analysis(3), loose = analysis(0, steps[2], -1);
  EXPECT_EQ(0, load_record(loose, sound)) << "a dependence more";
  const std::string before = record_of(gauge);
  for (const std::string& record : refused)
    EXPECT_EQ(0, load_record(gauge, record)) << &record - refused.data();
  EXPECT_EQ(before, record_of(gauge));
  const std::string later = record_of(analysis(4));
  EXPECT_EQ(1, load_record(gauge, later));
  EXPECT_EQ("111100", flags(gauge));
  EXPECT_EQ(later, record_of(gauge));
}

}  // namespace
}  // namespace qvtx
