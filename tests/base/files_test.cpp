#include "base/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace qvtx {
namespace {

namespace fs = std::filesystem;

class SafeFileTest : public testing::Test {
 protected:
  SafeFileTest() : directory_(fs::path(testing::TempDir()) / ("files_test." + std::to_string(::getpid()))) {
    fs::create_directories(directory_);
  }
  ~SafeFileTest() override { fs::remove_all(directory_); }

  std::string path(const std::string& name) const { return (directory_ / name).string(); }
  std::string content(const std::string& name) const {
    std::ifstream in(path(name));
    return {std::istreambuf_iterator<char>(in), {}};
  }
  long file_count() const { return std::distance(fs::directory_iterator(directory_), {}); }
  bool save(const std::string& name, const char* text) const {
    SafeFile out(path(name).c_str());
    return out.is_open() && std::fputs(text, out.file()) >= 0 && out.commit();
  }

  fs::path directory_;
};

TEST_F(SafeFileTest, OnlyACommitReplacesTheEarlierFile) {
  EXPECT_TRUE(save("a", "old, and longer"));
  EXPECT_TRUE(save("a", "new"));
  for (const bool fails : {false, true}) {
    SafeFile out(path("a").c_str());
    if (fails) ::close(::fileno(out.file()));  // every write from now on fails
    std::fputs("half", out.file());
    std::fflush(out.file());
    EXPECT_FALSE(fails && out.commit());
    EXPECT_EQ(content("a"), "new");
  }
  EXPECT_EQ(content("a"), "new");
  EXPECT_EQ(file_count(), 1);
}

TEST_F(SafeFileTest, KeepsPermissionsAndHonoursTheMaskOfNewFiles) {
  const auto mode = [&](const char* name) {
    struct stat status = {};
    ::stat(path(name).c_str(), &status);
    return status.st_mode & 0777;
  };
  save("a", "old");
  const mode_t mask = ::umask(022);
  ::umask(mask);
  EXPECT_EQ(mode("a"), 0666 & ~mask);
  ::chmod(path("a").c_str(), 0640);
  save("a", "new");
  EXPECT_EQ(mode("a"), 0640U);
}

TEST_F(SafeFileTest, LinksKeepTheirPlace) {
  fs::create_directory(path("sub"));
  save("sub/file", "old");
  fs::create_symlink("sub/file", path("inner"));
  fs::create_symlink(path("inner"), path("outer"));
  fs::create_symlink("sub/later", path("dangling"));
  EXPECT_TRUE(save("outer", "new"));
  EXPECT_TRUE(save("dangling", "born"));
  for (const char* link : {"outer", "inner", "dangling"}) EXPECT_TRUE(fs::is_symlink(path(link))) << link;
  EXPECT_EQ(content("sub/file"), "new");
  EXPECT_EQ(content("sub/later"), "born");
}

TEST_F(SafeFileTest, RefusesWhatCannotBeWritten) {
  fs::create_symlink("loop", path("loop"));
  for (const char* name : {"missing/a", ".", "loop"}) EXPECT_FALSE(save(name, "")) << name;
  EXPECT_EQ(file_count(), 1);
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  SafeFile full("/dev/full");
  std::fputs("x", full.file());
  EXPECT_FALSE(full.commit());
}

}  // namespace
}  // namespace qvtx
