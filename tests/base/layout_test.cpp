// The folders of src/ form a chain: each includes only itself and those before it.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> chain = {"base", "matrix", "settings", "graph", "local", "quant", "mapping", "shell"};

std::ptrdiff_t place(const std::string& folder) {
  return std::find(chain.begin(), chain.end(), folder) - chain.begin();
}

TEST(Layout, IncludesPointUpTheChain) {
  const fs::path src = fs::path(QVTX_SOURCE_DIR) / "src";
  long includes = 0;
  for (const auto& entry : fs::recursive_directory_iterator(src)) {
    if (!entry.is_regular_file() || entry.path().parent_path() == src) continue;
    const std::string folder = entry.path().parent_path().filename().string();
    ASSERT_LT(place(folder), std::ssize(chain)) << folder << " is not part of the layout";
    std::ifstream in(entry.path());
    for (std::string line; std::getline(in, line);) {
      if (line.rfind("#include \"", 0) != 0) continue;
      const std::string target = line.substr(10, line.find('/') - 10);
      EXPECT_LE(place(target), place(folder)) << entry.path() << ": " << line;
      ++includes;
    }
  }
  EXPECT_GT(includes, 100);
}

}  // namespace
