// Files that are written whole or not at all.

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
  EXPECT_TRUE(save("a", "old, and longer"));
  EXPECT_TRUE(save("a", "new"));
  for (const bool fails : {false, true}) {
    SafeFile out("a");
    if (fails) ::close(::fileno(out.file()));  // every write from now on fails
    std::fputs("half", out.file());
    std::fflush(out.file());
    if (fails) {
      EXPECT_FALSE(out.commit());
    }
    EXPECT_EQ(read_file("a"), "new");
  }
  EXPECT_EQ(read_file("a"), "new");
  EXPECT_EQ(file_count(), 1);
}

TEST_F(SafeFileTest, ClearsUpWhatAKilledProgramLeftButNotWhatALivingOneWrites) {
  std::string left;
  {
    const Draft draft(fs::absolute("a.pro").string());
    for (const auto& entry : fs::directory_iterator(".")) left = entry.path().filename().string();
    SafeFile other("a.map");
    EXPECT_TRUE(fs::exists(left)) << "it is being written";
  }
  test::write_file(left, "half");
  save("b.map", "of another name");
  EXPECT_TRUE(fs::exists(left));
  save("a.map", "");
  EXPECT_FALSE(fs::exists(left));
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
  EXPECT_TRUE(save("outer", "new"));
  EXPECT_TRUE(save("sub/dangling", "born"));
  for (const char* link : {"outer", "sub/inner", "sub/dangling"}) EXPECT_TRUE(fs::is_symlink(link)) << link;
  EXPECT_EQ(read_file("sub/file"), "new");
  EXPECT_EQ(read_file("sub/later"), "born");
}

TEST_F(SafeFileTest, ASetTakesItsPlaceAsAWholeOrNotAtAll) {
  save("a.pro", "old");
  for (const bool fails : {true, false}) {
    FileSet set;
    EXPECT_TRUE(save("a.pro", "new"));
    EXPECT_TRUE(save("a.map", "new"));
    if (fails) {
      EXPECT_FALSE(save("missing/a", ""));
    }
    {
      FileSet inner;
      EXPECT_TRUE(save("b", "alone"));
      EXPECT_TRUE(inner.commit());
    }
    EXPECT_EQ(read_file("a.pro"), "old");
    EXPECT_EQ(set.commit(), !fails);
    EXPECT_EQ(file_count(), fails ? 2 : 3);
  }
  EXPECT_EQ(read_file("a.pro"), "new");
}

TEST_F(SafeFileTest, RefusesWhatCannotBeWritten) {
  fs::create_symlink("loop", "loop");
  for (const char* name : {"missing/a", ".", "loop"}) EXPECT_FALSE(save(name, "")) << name;
  EXPECT_EQ(file_count(), 1);
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  EXPECT_FALSE(save("/dev/full", "x"));
}

}  // namespace
}  // namespace qvtx
