#include "base/trace.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/console_redirect.h"
#include "support/temporary.h"

namespace qvtx {
namespace {

TEST(Trace, SavedTraceEndsWithTheExitCommandAndIsEmptiedEvenIfTheFileFails) {
  const std::string name = qvtx::test::temporary("trace.trc");
  for (const std::string& target : {name, testing::TempDir() + "no such directory/x.trc"}) {
    const ConsoleRedirect console;
    trace_word(comtrac, "km");
    EXPECT_EQ(trace_long(comtrac, 10), 3);
    EXPECT_EQ(trace_double(comtrac, -1234.5), 14);
    savetrc(target.c_str());
    EXPECT_EQ(comtrac, "");
  }
  std::ifstream in(name);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "km\n10\n-1.234500e+03\nxt\ny\n");
  std::filesystem::remove(name);
}

}  // namespace
}  // namespace qvtx
