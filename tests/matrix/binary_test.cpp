#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

#include "matrix/matfullc.h"
#include "matrix/matfulld.h"
#include "matrix/matfulll.h"
#include "support/temporary.h"

namespace qvtx {
namespace {

class BinaryFile : public testing::Test {
 protected:
  ~BinaryFile() override { std::filesystem::remove(path_); }

  const char* name() const { return path_.c_str(); }
  std::string content() const {
    std::ifstream in(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  void write(const std::string& bytes) const { std::ofstream(path_, std::ios::binary) << bytes; }

  std::string path_ = test::temporary("block");
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

std::string header(long nall, long ncol, long nrow, long ninc, long width) {
  std::string bytes;
  for (const long v : {nall, ncol, nrow, ninc, width}) {
    for (int k = 0; k < 4; ++k) bytes += static_cast<char>(static_cast<unsigned long>(v) >> (8 * k) & 255);
  }
  return bytes;
}

TEST_F(BinaryFile, LayoutIsFiveIntegersAndTheElements) {
  EXPECT_EQ(matrix<MatFullL>(2, 1, -1L).save_bin(name(), 0), 1);
  EXPECT_EQ(content(), header(4, 1, 2, 7, 4) + std::string("\xff\xff\xff\xff\0\0\0\0", 8));
  EXPECT_EQ(matrix<MatFullD>(1, 1, 1.5).save_bin(name(), 0), 1);
  EXPECT_EQ(content(), header(3, 1, 1, 7, 8) + std::string("\0\0\0\0\0\0\xf8\x3f", 8));
  EXPECT_EQ(matrix<MatFullC>(1, 2, 'a').save_bin(name(), 0), 1);
  EXPECT_EQ(content(), header(3, 2, 1, 7, 1) + "ab");
}

template <class T>
class BinaryRoundTrip : public BinaryFile {};
using ElementTypes = testing::Types<double, long, int, char>;
TYPED_TEST_SUITE(BinaryRoundTrip, ElementTypes);

TYPED_TEST(BinaryRoundTrip, EverySizeComesBackFromOneStream) {
  const long sizes[] = {0, 1, 1365, 1366, 3000};  // blocks of 4096 elements: below, above, several
  std::FILE* f = std::fopen(this->name(), "w+b");
  for (const long rows : sizes)
    ASSERT_EQ((matrix<MatFullT<TypeParam>>(rows, 3, TypeParam(-5)).save_bin(f)), 1);
  std::rewind(f);
  for (const long rows : sizes) {
    MatFullT<TypeParam> loaded(4, 4);
    ASSERT_EQ(loaded.load_bin(f), 1);
    EXPECT_TRUE(same(matrix<MatFullT<TypeParam>>(rows, 3, TypeParam(-5)), loaded)) << rows;
  }
  std::fclose(f);
}

TEST_F(BinaryFile, DamagedOrCutBlockIsRefusedAndTheMatrixStays) {
  const std::string elements(6 * 8, '\1');
  const auto result = [&](const std::string& bytes) {
    write(bytes);
    MatFullD m = matrix<MatFullD>(2, 2, 1.0);
    const int loaded = m.load_bin(name(), 0);
    EXPECT_EQ(same(m, matrix<MatFullD>(2, 2, 1.0)), loaded == 0);
    return loaded;
  };
  const std::string sound = header(4, 2, 3, 1, 8) + elements;
  EXPECT_EQ(result(sound + "bytes behind"), 1);
  EXPECT_EQ(result(header(1L << 22, 2, 3, 1, 8) + elements), 1) << "room for 64 MiB";
  for (std::size_t length = 0; length < sound.size(); ++length)
    EXPECT_EQ(result(sound.substr(0, length)), 0) << length;
  const long damaged[][5] = {{4, 2, 3, 1, 4},  // the width of long
                             {-1, 2, -1, 1, 8},
                             {4, 0, 3, 1, 8},
                             {4, -2, 3, 1, 8},
                             {4, 2, -3, 1, 8},
                             {2, 2, 3, 1, 8},  // rows beyond the capacity
                             {4, 2, 3, 0, 8},
                             {4, 2, 4, 1, 8},  // more elements than the file
                             {0x7fffffff, 0x7fffffff, 0x7fffffff, 1, 8},
                             {1L << 27, 2, 3, 1, 8}};  // room for 2 GiB in a small file
  for (const auto& d : damaged)
    EXPECT_EQ(result(header(d[0], d[1], d[2], d[3], d[4]) + elements), 0) << &d - damaged;
}

TEST_F(BinaryFile, FailedSaveKeepsTheFile) {
  write("earlier");
  for (const long v : {2147483648L, -2147483649L, std::numeric_limits<long>::max()}) {
    MatFullL m = matrix<MatFullL>(5000, 1, 0L);
    m(4999, 0) = v;  // does not fit four bytes
    EXPECT_EQ(m.save_bin(name(), 0), 0);
    EXPECT_EQ(content(), "earlier");
  }
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  EXPECT_EQ(matrix<MatFullD>(1000, 10, 0.0).save_bin("/dev/full", 0), 0);
}

}  // namespace
}  // namespace qvtx
