#include "base/trace.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/console_redirect.h"
#include "support/temporary.h"

namespace qvtx {
namespace {

TEST(Trace, SavedTraceEndsWithTheExitCommandAndIsEmptied) {
  const std::string name = qvtx::test::temporary("trace.trc");
  ConsoleRedirect console;
  EXPECT_EQ(trace_word(comtrac, "ld"), 3);
  trace_word(comtrac, "data");
  trace_word(comtrac, "km");
  EXPECT_EQ(trace_long(comtrac, 10), 3);
  savetrc(name.c_str());
  std::ifstream in(name);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "ld\ndata\nkm\n10\nxt\ny\n");
  EXPECT_EQ(comtrac, "");
  EXPECT_EQ(console.err(), "  trace saved & reset!\n");
  std::filesystem::remove(name);
}

TEST(Trace, IsEmptiedAlsoWhenTheFileCannotBeWritten) {
  ConsoleRedirect console;
  EXPECT_EQ(trace_double(comtrac, -1234.5), 14);
  EXPECT_EQ(comtrac, "-1.234500e+03\n");
  savetrc((testing::TempDir() + "no such directory/x.trc").c_str());
  EXPECT_EQ(comtrac, "");
  EXPECT_EQ(console.err(), "  trace saved & reset!\n");
}

}  // namespace
}  // namespace qvtx
