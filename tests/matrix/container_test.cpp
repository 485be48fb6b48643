// The dense matrix: shape, copies, element-wise arithmetic, reductions, sorts, labels, and its binary files.

#include <array>

#include "matrix/linear_support.h"
#include "matrix/matfullc.h"

namespace qvtx {
namespace {

using test::contents;
using test::matrix;
using test::nan;

constexpr double infinite = std::numeric_limits<double>::infinity();

/// Becomes a matrix of these values, row by row.
template <class M, class T>
M filled(long cols, const std::vector<T>& values) {
  M m(0, cols);
  m.setrows(static_cast<long>(values.size()) / cols);
  std::copy(values.begin(), values.end(), m.data());
  return m;
}
MatFullL longs(long cols, const std::vector<long>& values) { return filled<MatFullL>(cols, values); }
MatFullD reals(long cols, const std::vector<double>& values) { return filled<MatFullD>(cols, values); }

template <class T>
class Container : public testing::Test {};
using ElementTypes = testing::Types<double, long, int, char>;
TYPED_TEST_SUITE(Container, ElementTypes);

TYPED_TEST(Container, GrowsByTheIncrementAndFillsRowsComingIntoUse) {
  MatFullT<TypeParam> m(6, 2);
  m.setrows(1, 7);
  m.setrows(2);
  const bool whole = std::is_same_v<TypeParam, long> || std::is_same_v<TypeParam, int>;
  const TypeParam f = whole ? TypeParam(-1) : TypeParam(0);
  EXPECT_EQ(contents(m), (std::vector<TypeParam>{7, 7, f, f}));
  m.setrows(6, 1);
  EXPECT_EQ(m.addrow(m, 0), 7);
  EXPECT_EQ(m.nall(), 11);
  EXPECT_EQ(m.realloc(5), 12);
  EXPECT_EQ(m.nall(), 16);
  for (long i = 0; i < 2000; ++i) ASSERT_EQ(m.addrow(m, i), i + 8);  // its own rows, while the block moves
  const TypeParam period[] = {7, f, 1, 1, 1, 1, 7};
  for (long i = 0; i < 2007; ++i) ASSERT_EQ(m(i, 1), period[i % 7]) << i;
  m.copy(m, 2);  // one of its own rows
  EXPECT_EQ(contents(m), (std::vector<TypeParam>{1, 1}));
}

TYPED_TEST(Container, AssignCombinesEveryShapeWithEveryOperation) {
  using M = MatFullT<TypeParam>;
  const std::vector<TypeParam> cells = {1, 2, 6, 12};
  const std::pair<long, std::vector<TypeParam>> sources[] = {
      {1, {2}}, {2, {2, 4}}, {1, {2, 4}}, {2, {2, 3, 4, 5}}};
  const std::size_t partners[][4] = {{0, 0, 0, 0}, {0, 1, 0, 1}, {0, 0, 1, 1}, {0, 1, 2, 3}};
  const std::pair<char, std::function<int(int, int)>> operations[] = {
      {'*', [](int x, int s) { return x * s; }},
      {'+', [](int x, int s) { return x + s; }},
      {'-', [](int x, int s) { return x - s; }},
      {'o', [](int x, int s) { return s - x; }},
      {'=', [](int, int s) { return s; }}};
  for (const auto& [op, result] : operations)
    for (std::size_t shape = 0; shape < 4; ++shape) {
      const auto& [cols, source] = sources[shape];
      M m = filled<M, TypeParam>(2, cells);
      m.assign(filled<M, TypeParam>(cols, source), op);
      for (std::size_t k = 0; k < 4; ++k) {
        const int expected = result(static_cast<int>(cells[k]), static_cast<int>(source[partners[shape][k]]));
        EXPECT_EQ(m.data()[k], static_cast<TypeParam>(expected)) << op << " shape " << shape;
      }
    }
}

TEST(Assign, Divides) {
  MatFullD m = reals(2, {1, 2, 4, 0});
  EXPECT_EQ(contents(m.assign(reals(1, {4}), '/')), (std::vector<double>{0.25, 0.5, 1, 0}));
  EXPECT_EQ(contents(m.assign(reals(1, {1}), 'i')), (std::vector<double>{4, 2, 1, infinite}));
  EXPECT_EQ(contents(m.assign(m, '+')), (std::vector<double>{8, 4, 2, infinite}));
  MatFullL whole = longs(1, {7, 0, -7});
  EXPECT_EQ(contents(whole.assign(longs(1, {2}), '/')), (std::vector<long>{3, 0, -3}));
  EXPECT_EQ(contents(whole.assign(longs(1, {2}), 'i')), (std::vector<long>{0, 0, 0}));
  EXPECT_EQ(contents(whole.assign(longs(1, {0}), '/')), (std::vector<long>{0, 0, 0}));
}

TEST(Reductions, RunFromTheLastElementAndTiesGoToTheLowestRow) {
  // 1e17 absorbs a single 1, but not the sum of two times eight.
  const MatFullD m = reals(3, {1e17, 8, 8, 1e17, 1, 1, 2, 3, 4});
  EXPECT_EQ(m.sum(0, 1), 1e17 + 16);
  EXPECT_EQ(m.sum(0, 0), (2 + 1e17) + 1e17);
  EXPECT_EQ(m.dps(0, 2), (32.0 + 24) + 2e17);
  EXPECT_EQ(m.dps(1, m, 2), (4.0 + 3) + 2e17);
  const MatFullD ties = reals(2, {3, 5, 1, nan, 1, 5, 3, nan});
  const std::array found = {ties.minidx(0), ties.maxidx(0), ties.minidx(1), ties.maxidx(1)};
  EXPECT_EQ(found, (std::array{1L, 0L, 0L, 0L}));
}

TEST(Product, AtbAccumulatesRowsFromTheLast) {
  for (const auto& [rows, left, right] : {std::tuple{0L, 2L, 3L}, {9L, 4L, 7L}, {33L, 5L, 2L}}) {
    const MatFullD a = test::random_matrix(rows, left, 5);
    MatFullD b = test::random_matrix(rows, right, 6), product(1, 9), expected = matrix(left, right);
    product.atb(a, b);
    for (long r = rows - 1; r >= 0; --r)
      for (long c = 0; c < left * right; ++c) expected.data()[c] += a(r, c / right) * b(r, c % right);
    EXPECT_EQ(test::difference(product, expected), 0);
    b.atb(a, b);
    EXPECT_EQ(test::difference(b, expected), 0);
  }
}

/// The selection sort as it is defined, by repeated scans.
MatFullL select_smallest(const MatFullD& m, long col, long n) {
  MatFullL idx(m.nrow(), 2);
  idx.setrows(m.nrow());
  for (long k = 0; k < n; ++k) {
    long chosen = -1;
    for (long i = m.nrow() - 1; i >= 0; --i) {
      if (idx(i, 1) == -1 && (chosen < 0 || m(i, col) <= m(chosen, col))) chosen = i;
    }
    idx(k, 0) = chosen;
    idx(chosen, 1) = k;
  }
  return idx;
}

TEST(Sorting, AgreesWithPlainSorts) {
  std::mt19937 words(3);
  MatFullL idx;
  for (const long n : {0L, 1L, 2L, 3L, 8L, 17L, 100L}) {
    MatFullD m = matrix(n, 2);
    for (long i = 0; i < n; ++i) m(i, 1) = static_cast<double>(words() % 20) - 10;
    for (const long ranks : {0L, 1L, n / 2, n - 1, n, n + 5, -1L}) {
      m.maxsort(1, idx, ranks);
      const MatFullL expected = select_smallest(m, 1, ranks < 0 || ranks >= n ? n : ranks);
      EXPECT_EQ(contents(idx), contents(expected)) << ranks << " of " << n;
    }
    m.potsort(1, idx);
    ASSERT_EQ(idx.nrow(), n);
    for (long k = 0; k < n; ++k) {
      EXPECT_EQ(idx(idx(k, 0), 1), k);  // ranks are the inverse of the order, which is a permutation
      EXPECT_LE(m(idx(std::max(k - 1, 0L), 0), 1), m(idx(k, 0), 1));
    }
  }
  reals(1, {nan, 2, nan, 1}).maxsort(0, idx, -1);
  EXPECT_EQ(contents(idx), (std::vector<long>{3, 2, 1, 1, 0, 3, 2, 0}));
  // Nothing sifts among equals, so that only the exchanges of the root with the last entry move the rows.
  reals(1, {5, 5, 5, 5}).potsort(0, idx);
  EXPECT_EQ(contents(idx), (std::vector<long>{1, 3, 2, 0, 3, 1, 0, 2}));
}

TEST(Labels, AreCutToTheirWidthAndFoundByTheirBeginning) {
  MatFullC names(0, 5);
  for (const char* s : {"prototype", "pro", "data", "prox", "dat"}) names.addstr(s);
  EXPECT_STREQ(names.label(0), "prot");
  for (int k = 0; k < 20; ++k) names.addstr(names.label(0));  // its own label, while the block moves
  EXPECT_STREQ(names.label(24), "prot");
  names.setrows(5);
  const std::pair<const char*, std::vector<long>> cases[] = {
      {"pro", {0, 1, 3}}, {"protocol", {0}}, {"dat", {2, 4}}, {"x", {}}, {"", {0, 1, 2, 3, 4}}};
  for (const auto& [text, rows] : cases) {
    MatFullL idx;
    EXPECT_EQ(names.count(text, idx), static_cast<long>(rows.size())) << text;
    std::vector<long> found = contents(idx);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, rows) << text;
  }
}

TEST(FaultDeathTest, ReportsTheOperationTheArgumentAndTheDimensions) {
  const MatFullD src = reals(3, {1, 2, 3, 4, 5, 6});
  MatFullD m = reals(2, {1, 2, 3, 4, 5, 6});
  EXPECT_FATAL(m(3, 0) = 1,
               "^class MatFullT: error m154\n  value of argument 1 out of range : 3\n  #row= 3\n"
               "  #col= 2\n");
  EXPECT_FATAL(m.addrow(src, 0),
               "m123\n  the dimensions of argument 0 and argument  1 differ\n  #row= 3 2\n  #col= 2 3\n");
  EXPECT_FATAL(m.assign(src, '/'), "error a140\n  the dimensions");
  EXPECT_FATAL(MatFullD().minidx(0), "error s101\n  value of argument 0");
}

// ---- Binary files ----

template <class M, class T>
M counted(long rows, long cols, T first) {
  M m(rows + 2, cols, 7);
  m.setrows(rows);
  for (long k = 0; k < rows * cols; ++k) m.data()[k] = static_cast<T>(first + static_cast<T>(k));
  return m;
}

template <class M>
bool same(const M& a, const M& b) {
  return a.nall() == b.nall() && a.ncol() == b.ncol() && a.ninc() == b.ninc() && contents(a) == contents(b);
}

std::string header(const long (&sizes)[5]) {
  std::string bytes;
  for (const long v : sizes) {
    for (int k = 0; k < 4; ++k) bytes += static_cast<char>(static_cast<unsigned long>(v) >> (8 * k) & 255);
  }
  return bytes;
}

TEST(BinaryFile, LayoutIsFiveIntegersAndTheElements) {
  EXPECT_EQ(test::record_of(counted<MatFullL>(2, 1, -1L)),
            header({4, 1, 2, 7, 4}) + std::string("\xff\xff\xff\xff\0\0\0\0", 8));
  EXPECT_EQ(test::record_of(counted<MatFullD>(1, 1, 1.5)),
            header({3, 1, 1, 7, 8}) + std::string("\0\0\0\0\0\0\xf8\x3f", 8));
  EXPECT_EQ(test::record_of(counted<MatFullC>(1, 2, 'a')), header({3, 2, 1, 7, 1}) + "ab");
}

TEST(BinaryFile, DamagedOrCutBlockIsRefusedAndTheMatrixStays) {
  const std::string elements(6 * 8, '\1'), sound = header({4, 2, 3, 1, 8}) + elements;
  const auto result = [](const std::string& bytes) {
    MatFullD m = counted<MatFullD>(2, 2, 1.0);
    const int loaded = test::load_record(m, bytes);
    EXPECT_EQ(same(m, counted<MatFullD>(2, 2, 1.0)), loaded == 0);
    return loaded;
  };
  EXPECT_EQ(result(sound + "bytes behind"), 1);
  EXPECT_EQ(result(header({1L << 22, 2, 3, 1, 8}) + elements), 1) << "room for 64 MiB";
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
  for (const auto& sizes : damaged) EXPECT_EQ(result(header(sizes) + elements), 0) << &sizes - damaged;
}

TEST(BinaryFile, FailedSaveKeepsTheFile) {
  const test::Scratch scratch;
  test::write_file("m", "earlier");
  for (const long v : {2147483648L, -2147483649L, std::numeric_limits<long>::max()}) {
    MatFullL m = counted<MatFullL>(5000, 1, 0L);
    m(4999, 0) = v;  // does not fit four bytes
    EXPECT_EQ(m.save_bin("m", 0), 0);
    EXPECT_EQ(test::read_file("m"), "earlier");
  }
  MatFullL m = counted<MatFullL>(1000, 10, -5L), loaded;  // blocks of 4096 elements
  EXPECT_EQ(m.save_bin("m", 0), 1);
  EXPECT_EQ(loaded.load_bin("m", 0), 1);
  EXPECT_TRUE(same(m, loaded));
  if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  EXPECT_EQ(m.save_bin("/dev/full", 0), 0);
}

}  // namespace
}  // namespace qvtx
