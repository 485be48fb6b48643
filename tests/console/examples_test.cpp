// Every example script runs. That its files depend on nothing but the input is for scripts/same-results.

#include <gtest/gtest.h>

#include "console/program.h"

namespace qvtx::console {
namespace {

TEST(Examples, EveryScriptRunsToItsEnd) {
  namespace fs = std::filesystem;
  const fs::path examples = fs::path(QVTX_SOURCE_DIR) / "examples";
  Workplace here;
  for (const auto& entry : fs::directory_iterator(examples))
    if (entry.is_regular_file()) here.bring(entry.path().filename().string());
  fs::create_directory(here.path("results"));
  long scripts = 0;
  for (const std::string& name : here.files()) {
    if (fs::path(name).extension() != ".cmd") continue;
    ++scripts;
    const Result r = here.feed(here.read(name));
    EXPECT_EQ(r.status, 0) << name;
    for (const char* trouble : {"Bad command", "not a number", "unexpected end", "failed!"})
      EXPECT_EQ(r.err.find(trouble), std::string::npos) << name << ": " << trouble << "\n" << r.err;
    EXPECT_NE(r.out.find("\nPrototypes: "), std::string::npos) << name;
  }
  EXPECT_GE(scripts, 1);
  EXPECT_FALSE(fs::is_empty(here.path("results")));
}

}  // namespace
}  // namespace qvtx::console
