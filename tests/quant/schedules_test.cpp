// What the methods with a schedule share: where it comes from, the laws of the keys, what is refused.

#include <functional>

#include "base/istr.h"
#include "support/reference_quantizer.h"
#include "support/schedule_files.h"

namespace qvtx::test {
namespace {

struct Method {
  const char* name;
  const char* default_file;
  const char* keys;   ///< what the names of its keys begin with
  bool widths;        ///< a second column with neighbourhood widths
  const char* epoch;  ///< what the message about a rate calls its epoch
};

constexpr Method methods[] = {{"cl", "default.clp", "vcl", false, "cl_itr"},
                              {"fcl", "default.clp", "vfcl", false, "fcl_itr"},
                              {"nw", "default.nwp", "vnw", false, "ng_itr"},  // shared with neural gas
                              {"ng", "default.ngp", "vng", true, "ng_itr"},
                              {"som", "default.omp", "vsom", true, "som_itr"}};

class ScheduleTest : public QuantizerTest {
 protected:
  ScheduleTest() {
    ::testing::internal::CaptureStderr();  // the question of fcl
    vq.setkey("vgcent_p", 0);
  }
  ~ScheduleTest() override { ::testing::internal::GetCapturedStderr(); }

  template <class Schedule>
  long run(const std::string& method, const Schedule& schedule) {
    std::istringstream answer("1\n");
    const Istr before = is;
    is = Istr(answer);
    const long result = method == "cl"    ? vq.cl(9, schedule)
                        : method == "fcl" ? vq.fcl(9, schedule)
                        : method == "nw"  ? vq.nw(0.3, schedule)
                        : method == "ng"  ? vq.ng(9, schedule)
                                          : vq.som(9, 1.0, schedule);
    is = before;
    return result;
  }

  void set_law(const Method& m, double epochs, double rate_first, double rate_last) {
    const auto key = [&](const char* end) { return (std::string(m.keys) + end + "  ").substr(0, 8); };
    vq.setkey(key("epoq").c_str(), epochs);
    vq.setkey(key("aini").c_str(), rate_first);
    vq.setkey(key("afin").c_str(), rate_last);
    if (!m.widths) return;
    vq.setkey(key("lini").c_str(), 4.0);
    vq.setkey(key("lfin").c_str(), 1.0);
  }
};

TEST_F(ScheduleTest, ComesFromTheFileThenTheDefaultThenTheKeys) {
  load_uniform(30, 2);
  for (const Method& m : methods) {
    set_law(m, 4, 0.5, 0.1);
    expect_schedule_order(console, vq, m.name, m.default_file, [&](const char* file) { run(m.name, file); });
  }
}

TEST_F(ScheduleTest, KeysMakeItFallHyperbolically) {
  load_uniform(60, 3);
  const auto law = [](double first, double last) {
    const double span = first - last;
    return (first * last * 2.0 / span) / (2.0 * last / span + 1.0);
  };
  for (const Method& m : methods) {
    set_law(m, 3, 0.75, 0.25);
    MatParaD sched;
    fill(sched, {{0.75, 4.0}, {law(0.75, 0.25), law(4.0, 1.0)}, {0.25, 1.0}});
    setseed(default_seed);
    ASSERT_EQ(1, run(m.name, sched));
    const auto expected = rows_of(vq.prot);
    setseed(default_seed);
    ASSERT_EQ(1, run(m.name, static_cast<const char*>(nullptr)));
    EXPECT_EQ(expected, rows_of(vq.prot)) << m.name;
  }
}

TEST_F(ScheduleTest, WhatDoesNotFitIsRefused) {
  const struct {
    Rows rows;
    long result;  // 1: the first epoch finds it and ends the run
    bool widths;  // for the methods with widths only
  } cases[] = {{{{0.5}, {0.1}}, 0, true},
               {{{0.5, -1.0}}, 0, true},
               {{{0.5, 1.0}, {-0.1, 1.0}}, 0, false},
               {{{1.5, 1.0}, {0.5, 1.0}}, 1, false}};
  load_uniform(30, 2);
  for (const Method& m : methods) {
    SCOPED_TRACE(m.name);
    MatParaD sched;
    const std::string refusal = std::string(m.name) + (m.widths ? ": al" : ": a");
    for (const auto& c : cases) {
      if (c.widths && !m.widths) continue;
      fill(sched, c.rows);
      EXPECT_EQ(c.result, run(m.name, sched));
      EXPECT_EQ("VeQuan." + (c.result ? m.epoch + std::string(": anow") : refusal) + " not parametric\n",
                console.take());
      EXPECT_EQ(c.result, vq.done(VeQuan::pfindone));
      EXPECT_EQ(1, vq.done(VeQuan::pinidone)) << "refused after the initialisation";
    }
    fill(sched, {{0.5, 1.0, -7.0}});
    EXPECT_EQ(1, run(m.name, sched)) << "further columns do not matter";
    EXPECT_EQ("", console.take());
  }
}

TEST_F(ScheduleTest, ParametersOutOfRangeLeaveThePrototypesAlone) {
  load_uniform(30, 2);
  EXPECT_EQ(0, vq.som_itr(0.5, 1.0)) << "no grid";
  ASSERT_EQ(1, vq.som_ini(9, 1.0));
  const auto before = rows_of(vq.prot);
  const struct {
    std::function<long(double)> epoch;
    const char* refusal;
    bool rate = true;  // at most 1
  } cases[] = {{[this](double x) { return vq.cl_itr(x); }, "cl_itr: anow not parametric"},
               {[this](double x) { return vq.fcl_itr(x, 0); }, "fcl_itr: anow not parametric"},
               {[this](double x) { return vq.nw_itr(1.0, x); }, "ng_itr: anow not parametric"},
               {[this](double x) { return vq.ng_itr(x, 1.0); }, "ng_itr: anow not parametric"},
               {[this](double x) { return vq.som_itr(x, -1.0); }, "som_itr: anow not parametric"},
               {[this](double x) { return vq.ng_itr(1.0, x); }, "ng_itr: lnow not parametric", false},
               {[this](double x) { return vq.som_itr(1.0, x); }, "som_itr: lnow not parametric", false},
               {[this](double x) { return vq.nw_itr(x, 0.5); }, "nw_itr: arad<=0.0", false},
               {[this](double x) { return vq.xn_itr(x); }, "xn: arad<=0.0", false}};
  for (const auto& c : cases) {
    for (const double bad : {-0.1, std::nan(""), c.rate ? 1.1 : -7.0}) {
      EXPECT_EQ(0, c.epoch(bad)) << c.refusal << bad;
      EXPECT_EQ("VeQuan." + std::string(c.refusal) + "\n", console.take()) << bad;
    }
  }
  EXPECT_EQ(before, rows_of(vq.prot));
}

TEST_F(ScheduleTest, MethodsNeedDataAndPrototypes) {
  MatParaD sched;
  fill(sched, {{0.5, 1.0}});
  for (const Method& m : methods) EXPECT_EQ(0, run(m.name, sched)) << m.name;
  EXPECT_EQ(0, vq.lbg(5));
  EXPECT_EQ(0, vq.dlbg(0.2));
  EXPECT_EQ(0, vq.xn(1.0));
  load_uniform(30, 2);
  EXPECT_EQ(0, vq.lbg(0)) << "no prototypes";
  EXPECT_EQ(0, vq.cl(0, sched));
  EXPECT_EQ(0, vq.fcl(0, sched));
  EXPECT_EQ(0, vq.ng(0, sched));
  EXPECT_EQ(0, vq.xn(0.0));
  EXPECT_EQ(0, vq.done(VeQuan::pfindone));
  EXPECT_EQ(0, vq.xn(100.0)) << "its result is no success";
  EXPECT_STREQ("EXIN PLN", vq.getmethod());
  EXPECT_EQ(1, vq.nw(0.0, sched)) << "the single initial prototype is finished";
  EXPECT_EQ(1, vq.prot.nrow());
}

}  // namespace
}  // namespace qvtx::test
