// What only a person at a terminal gets: editing of typed lines, and the time that is left.

#include <gtest/gtest.h>

#include "console/terminal.h"

namespace qvtx::console {
namespace {

const std::string left = "\x1b[D", up = "\x1b[A", rubout = "\x7f";

TEST(Editing, HistoryAndCompletionGiveTheWordsThatATraceKeeps) {
#ifndef QVTX_LIBEDIT
  GTEST_SKIP() << "built without libedit";
#endif
  Workplace here;
  here.bring("iris.dat");
  here.write("iris.other", "");
  std::filesystem::create_directory(here.path("results"));
  // The editor is at work when it has drawn the question once more.
  const std::string loop = "\r>> ", number = "\r  Number of neurons (integer) ? ", menu = "\r  pref # ",
                    file = "\r  File name without extension? ";
  const std::pair<std::string, std::string> typed[] = {
      {loop, "lxd" + left + rubout + "\n"},
      {file, "ir\t\n"},
      {loop, "km\n"},
      {number, "7\n"},
      {loop, up + up + "\n"},
      {number, up + up + rubout + "9\n"},
      {loop, "sm\n"},
      {file, "res\tk\xc3\xbc\n"},
      {loop, "ms\n"},
      {menu, "s vjps\t"},
      {"vjpshar  vjpsort", "h\t 3\n"},
      {"set to            3", "x\n"},
      {menu, "x\n"},
      {loop, "st\n"},
      {"\r  Filename without exension? ", "ab" + rubout + "\n"},
      {loop, "xt\n"},
      {"\r[y|n] ", "y\n"},
  };
  Terminal t(here);
  for (const auto& [question, keys] : typed) {
    ASSERT_TRUE(t.find(question));
    t.type(keys);
  }
  EXPECT_EQ(t.end(), 0);
  EXPECT_TRUE(here.has("results/k\xc3\xbc.pro"));
  EXPECT_NE(here.read("a.trc").find("ld\niris\nkm\n7\nkm\n9\nsm\nresults/k\xc3\xbc\nms\ns"),
            std::string::npos)
      << here.read("a.trc");
}

TEST(TimeLeft, StandsBehindTheLinesOfALongMethod) {
  Workplace here;
  here.bring("iris.dat");
  Terminal t(here, {"--set", "vngepoq=1000000"});
  t.type("ld\niris\nng\n20\n");
  ASSERT_TRUE(t.find(" left\r\nloop "));
  t.type("\x03");
  t.find("stopped by Ctrl-C");
  EXPECT_EQ(t.screen().find(" left\r\nloop "), t.screen().find(" left")) << "at the end of a line";
}

}  // namespace
}  // namespace qvtx::console
