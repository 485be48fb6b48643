#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <thread>
#include <vector>

#include "base/ostr.h"
#include "matrix/matfullc.h"
#include "matrix/matfulld.h"
#include "matrix/matfulll.h"

namespace qvtx {
namespace {

namespace fs = std::filesystem;

/// A directory of its own, and the console in a string.
class BinaryFile : public testing::Test {
 protected:
  BinaryFile() : directory_(fs::path(testing::TempDir()) / ("binary_test." + std::to_string(::getpid()))) {
    fs::create_directories(directory_);
    os = Ostr(text_);
  }
  ~BinaryFile() override {
    os = saved_;
    fs::remove_all(directory_);
  }

  std::string path(const char* name) const { return (directory_ / name).string(); }
  std::string content(const char* name) const {
    std::ifstream in(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  void write(const char* name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
  }

  fs::path directory_;
  std::ostringstream text_;
  Ostr saved_ = os;
};

template <class M, class T>
M matrix(long rows, long cols, T first) {
  M m(rows + 2, cols, 7);
  m.setrows(rows);
  for (long k = 0; k < rows * cols; ++k) m.data()[k] = static_cast<T>(first + static_cast<T>(k));
  return m;
}

template <class M>
bool same(const M& a, const M& b) {
  return a.nall() == b.nall() && a.nrow() == b.nrow() && a.ncol() == b.ncol() && a.ninc() == b.ninc() &&
         std::equal(a.data(), a.data() + a.nrow() * a.ncol(), b.data());
}

std::string int32(long v) {
  std::string bytes;
  for (int k = 0; k < 4; ++k) bytes += static_cast<char>(static_cast<unsigned long>(v) >> (8 * k) & 255);
  return bytes;
}

std::string header(long nall, long ncol, long nrow, long ninc, long width) {
  return int32(nall) + int32(ncol) + int32(nrow) + int32(ninc) + int32(width);
}

TEST_F(BinaryFile, LayoutIsFiveIntegersAndTheElements) {
  MatFullL longs = matrix<MatFullL>(2, 2, -1L);
  EXPECT_EQ(longs.save_bin(path("l").c_str(), 0), 1);
  EXPECT_EQ(content("l"), header(4, 2, 2, 7, 4) + int32(-1) + int32(0) + int32(1) + int32(2));
  const MatFullD real = matrix<MatFullD>(1, 1, 1.5);
  EXPECT_EQ(real.save_bin(path("d").c_str(), 0), 1);
  EXPECT_EQ(content("d"), header(3, 1, 1, 7, 8) + std::string("\0\0\0\0\0\0\xf8\x3f", 8));
  MatFullC label(0, 3);
  label.addstr("ab");
  EXPECT_EQ(label.save_bin(path("c").c_str(), 0), 1);
  EXPECT_EQ(content("c"), header(5, 3, 1, 5, 1) + std::string("ab\0", 3));
}

template <class T>
class BinaryRoundTrip : public BinaryFile {};
using ElementTypes = testing::Types<double, long, int, char>;
TYPED_TEST_SUITE(BinaryRoundTrip, ElementTypes);

TYPED_TEST(BinaryRoundTrip, EverySizeComesBack) {
  for (const long rows : {0L, 1L, 1365L, 1366L, 3000L}) {  // blocks of 4096 elements: below, above, several
    const auto m = matrix<MatFullT<TypeParam>>(rows, 3, TypeParam(-5));
    ASSERT_EQ(m.save_bin(this->path("m").c_str(), 0), 1);
    MatFullT<TypeParam> loaded(4, 4);
    ASSERT_EQ(loaded.load_bin(this->path("m").c_str(), 0), 1);
    EXPECT_TRUE(same(m, loaded)) << rows;
  }
}

TEST_F(BinaryFile, BlocksFollowOneAnotherInOneStream) {
  std::FILE* f = std::fopen(path("two").c_str(), "w+b");
  const MatFullL first = matrix<MatFullL>(3, 2, 4L);
  const MatFullD second = matrix<MatFullD>(2, 5, 0.5);
  EXPECT_EQ(first.save_bin(f), 1);
  EXPECT_EQ(second.save_bin(f), 1);
  std::fputs("bytes after a block are ignored", f);
  std::rewind(f);
  MatFullL one;
  MatFullD two;
  EXPECT_EQ(one.load_bin(f), 1);
  EXPECT_EQ(two.load_bin(f), 1);
  std::fclose(f);
  EXPECT_TRUE(same(first, one));
  EXPECT_TRUE(same(second, two));
}

TEST_F(BinaryFile, NullStreamIsRefused) {
  MatFullD m;
  EXPECT_EQ(m.save_bin(nullptr), 0);
  EXPECT_EQ(m.load_bin(nullptr), 0);
}

TEST_F(BinaryFile, DamagedHeaderIsRefusedAndTheMatrixStays) {
  const std::string elements(6 * 8, '\1');
  const struct {
    const char* what;
    std::string bytes;
    int result;
  } cases[] = {{"sound", header(4, 2, 3, 1, 8) + elements, 1},
               {"bytes behind", header(4, 2, 3, 1, 8) + elements + "x", 1},
               {"width of long", header(4, 2, 3, 1, 4) + elements, 0},
               {"width 0", header(4, 2, 3, 1, 0) + elements, 0},
               {"negative capacity", header(-1, 2, -1, 1, 8) + elements, 0},
               {"no columns", header(4, 0, 3, 1, 8) + elements, 0},
               {"negative columns", header(4, -2, 3, 1, 8) + elements, 0},
               {"negative rows", header(4, 2, -3, 1, 8) + elements, 0},
               {"rows beyond the capacity", header(2, 2, 3, 1, 8) + elements, 0},
               {"growth step 0", header(4, 2, 3, 0, 8) + elements, 0},
               {"more elements than the file", header(4, 2, 4, 1, 8) + elements, 0},
               {"overflow", header(0x7fffffff, 0x7fffffff, 0x7fffffff, 1, 8) + elements, 0},
               {"2 GiB for a small file", header(1L << 27, 2, 3, 1, 8) + elements, 0},
               {"64 MiB for a small file", header(1L << 22, 2, 3, 1, 8) + elements, 1}};
  for (const auto& c : cases) {
    write("damaged", c.bytes);
    const MatFullD before = matrix<MatFullD>(2, 2, 1.0);
    MatFullD m = matrix<MatFullD>(2, 2, 1.0);
    EXPECT_EQ(m.load_bin(path("damaged").c_str(), 0), c.result) << c.what;
    EXPECT_EQ(same(m, before), c.result == 0) << c.what;
  }
}

TEST_F(BinaryFile, EveryTruncationIsRefused) {
  const MatFullL whole = matrix<MatFullL>(3, 3, 1L);
  whole.save_bin(path("whole").c_str(), 0);
  const std::string bytes = content("whole");
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    write("cut", bytes.substr(0, length));
    MatFullL m = matrix<MatFullL>(1, 1, 9L);
    EXPECT_EQ(m.load_bin(path("cut").c_str(), 0), 0) << length;
    EXPECT_EQ(m(0, 0), 9);
  }
}

TEST_F(BinaryFile, LongsBeyondFourBytesFailTheSaveAndKeepTheFile) {
  write("m", "earlier");
  for (const long v : {2147483648L, -2147483649L, std::numeric_limits<long>::max()}) {
    MatFullL m = matrix<MatFullL>(5000, 1, 0L);
    m(4999, 0) = v;
    EXPECT_EQ(m.save_bin(path("m").c_str(), 0), 0);
    EXPECT_EQ(content("m"), "earlier");
  }
  MatFullL m = matrix<MatFullL>(2, 1, 2147483646L);
  EXPECT_EQ(m.save_bin(path("m").c_str(), 0), 1);
}

TEST_F(BinaryFile, LoadsFromAPipe) {
  const MatFullD m = matrix<MatFullD>(40, 3, 2.0);
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  std::thread writer([&] {
    std::FILE* out = ::fdopen(ends[1], "wb");
    m.save_bin(out);
    std::fclose(out);
  });
  std::FILE* in = ::fdopen(ends[0], "rb");
  MatFullD loaded;
  EXPECT_EQ(loaded.load_bin(in), 1);
  writer.join();
  std::fclose(in);
  EXPECT_TRUE(same(m, loaded));
}

TEST_F(BinaryFile, ReportsWhatItDoes) {
  MatFullD m = matrix<MatFullD>(1, 1, 1.0);
  const std::string good = path("m"), cut = path("cut"), missing = path("no/m");
  write("cut", "short");
  m.save_bin(good.c_str(), 1);
  m.load_bin(good.c_str(), 1);
  m.load_bin(cut.c_str(), 1);
  EXPECT_EQ(m.save_bin(missing.c_str(), 1), 0);
  EXPECT_EQ(m.load_bin(missing.c_str(), 1), 0);
  m.load_bin(missing.c_str(), 0);
  EXPECT_EQ(text_.str(), "saving binary file " + good + " ... done!\nloading binary file " + good +
                             " ... done!\nloading binary file " + cut +
                             " ... failed!\nMatFullT.save_bin: file " + missing +
                             " not found!\nMatFullT.load_bin: file " + missing + " not found!\n");
}

TEST_F(BinaryFile, FullDeviceFailsTheSave) {
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  EXPECT_EQ(matrix<MatFullD>(1000, 10, 0.0).save_bin("/dev/full", 1), 0);
  EXPECT_EQ(text_.str(), "saving binary file /dev/full ... failed!\n");
}

}  // namespace
}  // namespace qvtx
