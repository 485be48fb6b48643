#include "base/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

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
    if (!out.is_open()) return false;
    std::fputs(text, out.file());
    return out.commit();
  }

  fs::path directory_;
};

TEST_F(SafeFileTest, CommitReplacesTheTargetAndLeavesNothingElse) {
  EXPECT_TRUE(save("a", "old, and longer"));
  EXPECT_TRUE(save("a", "new"));
  EXPECT_EQ(content("a"), "new");
  EXPECT_EQ(file_count(), 1);
}

TEST_F(SafeFileTest, WithoutCommitTheEarlierFileStands) {
  save("a", "old");
  {
    SafeFile out(path("a").c_str());
    std::fputs("half", out.file());
    std::fflush(out.file());
    EXPECT_EQ(content("a"), "old");
  }
  EXPECT_EQ(content("a"), "old");
  EXPECT_EQ(file_count(), 1);
}

TEST_F(SafeFileTest, FailedWriteKeepsTheEarlierFile) {
  save("a", "old");
  {
    SafeFile out(path("a").c_str());
    ::close(::fileno(out.file()));  // every write from now on fails
    std::fputs("lost", out.file());
    EXPECT_FALSE(out.commit());
  }
  EXPECT_EQ(content("a"), "old");
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
  EXPECT_TRUE(fs::is_symlink(path("outer")) && fs::is_symlink(path("inner")) &&
              fs::is_symlink(path("dangling")));
  EXPECT_EQ(content("sub/file"), "new");
  EXPECT_EQ(content("sub/later"), "born");
}

TEST_F(SafeFileTest, PipeIsWrittenDirectly) {
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  std::string received;
  std::thread reader([&] { received = content("pipe"); });
  EXPECT_TRUE(save("pipe", "through"));
  reader.join();
  EXPECT_EQ(received, "through");
  EXPECT_TRUE(fs::is_fifo(path("pipe")));
}

TEST_F(SafeFileTest, RefusesWhatCannotBeWritten) {
  EXPECT_FALSE(save("missing/a", ""));
  EXPECT_FALSE(save(".", ""));
  EXPECT_FALSE(SafeFile("").is_open());
  fs::create_symlink("loop", path("loop"));
  EXPECT_FALSE(save("loop", ""));
  EXPECT_EQ(file_count(), 1);
}

TEST_F(SafeFileTest, FullDeviceIsAFailure) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  SafeFile out("/dev/full");
  std::fputs("x", out.file());
  EXPECT_FALSE(out.commit());
}

TEST_F(SafeFileTest, NameAsLongAsTheSystemAllows) { EXPECT_TRUE(save(std::string(255, 'x'), "text")); }

TEST_F(SafeFileTest, IntegersAreFourLittleEndianBytes) {
  const long values[] = {0, 1, -2, 0x12345678, 2147483647L, -2147483648L};
  std::FILE* f = std::fopen(path("int").c_str(), "w+b");
  for (const long v : values) EXPECT_TRUE(write_int32(f, v));
  EXPECT_FALSE(write_int32(f, 2147483648L));
  EXPECT_FALSE(write_int32(f, -2147483649L));
  std::rewind(f);
  EXPECT_EQ(bytes_left(f), 24);
  for (const long v : values) {
    long read = 77;
    EXPECT_TRUE(read_int32(f, read));
    EXPECT_EQ(read, v);
  }
  long unread = 77;
  EXPECT_FALSE(read_int32(f, unread));
  EXPECT_EQ(unread, 77);
  EXPECT_EQ(bytes_left(f), 0);
  std::fclose(f);
  EXPECT_EQ(content("int").substr(8, 8), std::string("\xfe\xff\xff\xff\x78\x56\x34\x12"));
}

}  // namespace
}  // namespace qvtx
