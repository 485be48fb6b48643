// Files that are written whole or not at all, and the layout of the sources.

#include "base/files.h"

#include <sys/stat.h>

#include "base/support.h"

namespace qvtx {
namespace {

namespace fs = std::filesystem;
using test::read_file;

class SafeFileTest : public testing::Test {
 protected:
  static long file_count() { return std::distance(fs::directory_iterator("."), {}); }
  static bool save(const char* name, const char* text) {
    SafeFile out(name);
    return out.is_open() && std::fputs(text, out.file()) >= 0 && out.commit();
  }

  test::Scratch scratch_;
};

TEST_F(SafeFileTest, OnlyACommitReplacesTheEarlierFile) {
  EXPECT_TRUE(save("a", "old, and longer") && save("a", "new"));
  for (const bool fails : {false, true}) {
    SafeFile out("a");
    if (fails) ::close(::fileno(out.file()));  // every write from now on fails
    std::fputs("half", out.file());
    std::fflush(out.file());
    EXPECT_FALSE(fails && out.commit());
    EXPECT_EQ(read_file("a"), "new");
  }
  EXPECT_EQ(read_file("a"), "new");
  EXPECT_EQ(file_count(), 1);
}

TEST_F(SafeFileTest, KeepsPermissionsAndHonoursTheMaskOfNewFiles) {
  const auto mode = [](const char* name) {
    struct stat status = {};
    ::stat(name, &status);
    return status.st_mode & 0777;
  };
  save("a", "old");
  const mode_t mask = ::umask(022);
  ::umask(mask);
  EXPECT_EQ(mode("a"), 0666 & ~mask);
  ::chmod("a", 0640);
  save("a", "new");
  EXPECT_EQ(mode("a"), 0640U);
}

TEST_F(SafeFileTest, LinksKeepTheirPlace) {
  fs::create_directory("sub");
  save("sub/file", "old");
  fs::create_symlink("file", "sub/inner");  // a link is relative to its own directory
  fs::create_symlink(fs::absolute("sub/inner"), "outer");
  fs::create_symlink("later", "sub/dangling");
  EXPECT_TRUE(save("outer", "new") && save("sub/dangling", "born"));
  for (const char* link : {"outer", "sub/inner", "sub/dangling"}) EXPECT_TRUE(fs::is_symlink(link)) << link;
  EXPECT_EQ(read_file("sub/file") + read_file("sub/later"), "newborn");
}

TEST_F(SafeFileTest, RefusesWhatCannotBeWritten) {
  fs::create_symlink("loop", "loop");
  for (const char* name : {"missing/a", ".", "loop"}) EXPECT_FALSE(save(name, "")) << name;
  EXPECT_EQ(file_count(), 1);
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  EXPECT_FALSE(save("/dev/full", "x"));
}

TEST(Layout, FoldersIncludeOnlyThemselvesAndThoseBeforeThem) {
  const std::vector<std::string> chain = {"base",  "matrix", "settings", "graph",
                                          "local", "quant",  "mapping",  "shell"};
  const auto place = [&](const std::string& folder) {
    return std::find(chain.begin(), chain.end(), folder) - chain.begin();
  };
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
}  // namespace qvtx
