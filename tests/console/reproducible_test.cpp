// The same input gives the same bytes, whatever the processor offers; every example script runs.

#include <gtest/gtest.h>

#include "console/program.h"

namespace qvtx::console {
namespace {

TEST(Reproducible, FilesDoNotDependOnTheInstructionSet) {
  const std::string session =
      "ld iris ng 40 cc mp m 2 ag sm a cl 30 mm mp m 2 mm il mm rd sm b km 25 md mp m 2 ag sm c dk m 0.5 it "
      "mp m 2 sm d "
      "nw m 0.6 sm e om 40 2 us mp us il sp f jp sm g xt y";
  std::vector<std::string> kept;
  std::vector<std::string> contents;
  for (const char* isa : {"", "QVTX_ISA=baseline", "QVTX_ISA=avx2"}) {
    Workplace here;
    here.bring("iris.dat");
    const Result r = here.run(words(session), "", isa);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(r.err.find("Bad command"), std::string::npos) << r.err;
    if (kept.empty()) {
      kept = here.files();
      for (const std::string& name : kept) contents.push_back(here.read(name));
      EXPECT_GT(kept.size(), 40U);
      continue;
    }
    ASSERT_EQ(here.files(), kept);
    for (std::size_t i = 0; i < kept.size(); ++i)
      EXPECT_TRUE(here.read(kept[i]) == contents[i]) << isa << " " << kept[i];
  }
}

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
