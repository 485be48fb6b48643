#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "base/ostr.h"
#include "matrix/matfullc.h"
#include "matrix/matfulld.h"
#include "matrix/matfulll.h"

namespace qvtx {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");

template <class T>
MatFullT<T> filled(long cols, const std::vector<T>& values) {
  MatFullT<T> m(0, cols);
  m.setrows(static_cast<long>(values.size()) / cols);
  std::copy(values.begin(), values.end(), m.data());
  return m;
}

template <class M, class T>
M matrix(long cols, const std::vector<T>& values) {
  M m;
  m.copy(filled<T>(cols, values));
  return m;
}
MatFullD reals(long cols, const std::vector<double>& values) { return matrix<MatFullD>(cols, values); }
MatFullL longs(long cols, const std::vector<long>& values) { return matrix<MatFullL>(cols, values); }

template <class T>
std::vector<T> contents(const MatFullT<T>& m) {
  return {m.data(), m.data() + m.nrow() * m.ncol()};
}

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
}

TYPED_TEST(Container, TransposesEveryShape) {
  for (const auto& [rows, cols] : {std::pair{1L, 5L}, {5L, 1L}, {3L, 3L}, {31L, 33L}, {64L, 70L}}) {
    MatFullT<TypeParam> m(rows + 2, cols);
    m.setrows(rows);
    for (long k = 0; k < rows * cols; ++k) m.data()[k] = static_cast<TypeParam>(k % 113);
    m.tsp();
    ASSERT_TRUE(m.nrow() == cols && m.ncol() == rows);
    for (long k = 0; k < rows * cols; ++k) ASSERT_EQ(m(k % cols, k / cols), static_cast<TypeParam>(k % 113));
  }
}

TYPED_TEST(Container, AssignCombinesEveryShapeWithEveryOperation) {
  const std::vector<TypeParam> cells = {1, 2, 6, 12};
  const std::pair<long, std::vector<TypeParam>> sources[] = {
      {1, {2}}, {2, {2, 4}}, {1, {2, 4}}, {2, {2, 3, 4, 5}}};
  const std::size_t partners[][4] = {{0, 0, 0, 0}, {0, 1, 0, 1}, {0, 0, 1, 1}, {0, 1, 2, 3}};
  for (const char op : {'*', '+', '-', 'o', '='})
    for (std::size_t shape = 0; shape < 4; ++shape) {
      const auto& [cols, source] = sources[shape];
      auto m = filled<TypeParam>(2, cells);
      m.assign(filled<TypeParam>(cols, source), op);
      for (std::size_t k = 0; k < 4; ++k) {
        const int x = static_cast<int>(cells[k]), s = static_cast<int>(source[partners[shape][k]]);
        const int expected = op == '*'   ? x * s
                             : op == '+' ? x + s
                             : op == '-' ? x - s
                             : op == 'o' ? s - x
                                         : s;
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
  const MatFullD ties = reals(2, {3, 5, 1, nan_value, 1, 5, 3, nan_value});
  EXPECT_TRUE(ties.minidx(0) == 1 && ties.maxidx(0) == 0 && ties.minidx(1) == 0 && ties.maxidx(1) == 0);
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
    MatFullD m(n, 2);
    m.setrows(n);
    for (long i = 0; i < n; ++i) m(i, 1) = static_cast<double>(words() % 20) - 10;
    for (const long ranks : {0L, 1L, n / 2, n - 1, n, n + 5, -1L}) {
      m.maxsort(1, idx, ranks);
      EXPECT_EQ(contents(idx), contents(select_smallest(m, 1, ranks < 0 || ranks >= n ? n : ranks)))
          << ranks << " of " << n;
    }
    m.potsort(1, idx);
    ASSERT_EQ(idx.nrow(), n);
    for (long k = 0; k < n; ++k) {
      EXPECT_EQ(idx(idx(k, 0), 1),
                k);  // ranks are the inverse of the order, which therefore is a permutation
      EXPECT_LE(m(idx(std::max(k - 1, 0L), 0), 1), m(idx(k, 0), 1));
    }
  }
  reals(1, {nan_value, 2, nan_value, 1}).maxsort(0, idx, -1);
  for (const auto& [k, row] : {std::pair{0L, 3L}, {1L, 1L}, {2L, 0L}, {3L, 2L}}) EXPECT_EQ(idx(k, 0), row);
  // Nothing sifts among equals, so that only the exchanges of the root with the last entry move the rows.
  reals(1, {5, 5, 5, 5}).potsort(0, idx);
  for (const auto& [k, row] : {std::pair{0L, 1L}, {1L, 2L}, {2L, 3L}, {3L, 0L}}) EXPECT_EQ(idx(k, 0), row);
}

TEST(IndexLists, CountAndCollectRowsFromTheLast) {
  MatFullL labels = longs(2, {0, 5, 0, 7, 0, 6, 0, 9, 0, 5}), found = longs(4, {1, 1, 1, 1});
  EXPECT_EQ(labels.count(1, 5, 6), 3);
  EXPECT_EQ(labels.count(1, 5, 6, found, 0), 3);
  EXPECT_EQ(labels.count(1, 9, 9, found, 1), 1);
  EXPECT_EQ(contents(found), (std::vector<long>{4, 2, 0, 3}));
  MatFullD m;
  m.copy(reals(2, {1, 2, 3, 4, 5, 6}), longs(2, {9, 2, 9, 0, 9, 2}), 1);
  EXPECT_EQ(contents(m), (std::vector<double>{5, 6, 1, 2, 5, 6}));
  labels.setidx(0, 10, -3);
  EXPECT_EQ(contents(labels), (std::vector<long>{10, 5, 7, 7, 4, 6, 1, 9, -2, 5}));
}

TEST(Product, AtbAccumulatesRowsFromTheLast) {
  std::mt19937 words(5);
  for (const auto& [rows, left, right] : {std::tuple{0L, 2L, 3L}, {9L, 4L, 7L}, {33L, 5L, 2L}}) {
    MatFullD a(rows, left), b(rows, right), product(1, 9);
    for (MatFullD* m : {&a, &b}) {
      m->setrows(rows);
      for (long k = 0; k < rows * m->ncol(); ++k) m->data()[k] = static_cast<double>(words()) * 1e-9 - 2;
    }
    product.atb(a, b);
    ASSERT_TRUE(product.nrow() == left && product.ncol() == right);
    for (long i = 0; i < left; ++i) {
      for (long j = 0; j < right; ++j) {
        double sum = 0;
        for (long r = rows - 1; r >= 0; --r) sum += a(r, i) * b(r, j);
        EXPECT_EQ(product(i, j), sum);
      }
    }
    b.atb(a, b);
    EXPECT_EQ(contents(b), contents(product));
  }
}

TEST(Labels, AreCutToTheirWidthAndFoundByTheirBeginning) {
  MatFullC names(0, 5);
  for (const char* s : {"prototype", "pro", "data", "prox", "dat"}) names.addstr(s);
  EXPECT_STREQ(names.label(0), "prot");
  for (int k = 0; k < 20; ++k) names.addstr(names.label(0));  // its own label, while the block moves
  EXPECT_STREQ(names.label(24), "prot");
  names.setrows(5);
  const struct {
    const char* text;
    std::vector<long> rows;
  } cases[] = {{"pro", {0, 1, 3}}, {"protocol", {0}}, {"dat", {2, 4}}, {"x", {}}, {"", {0, 1, 2, 3, 4}}};
  for (const auto& c : cases) {
    MatFullL idx;
    EXPECT_EQ(names.count(c.text, idx), static_cast<long>(c.rows.size())) << c.text;
    std::vector<long> found = contents(idx);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, c.rows) << c.text;
  }
}

TEST(FaultDeathTest, ReportsTheOperationTheArgumentAndTheDimensions) {
  const MatFullD src = reals(3, {1, 2, 3, 4, 5, 6});
  MatFullD m = reals(2, {1, 2, 3, 4, 5, 6});
  const auto status = testing::ExitedWithCode(0);
  EXPECT_EXIT((os.stream = &std::cerr, m(3, 0) = 1), status,
              "^class MatFullT: error m154\n  value of argument 1 out of range : 3\n  #row= 3\n  #col= 2\n");
  EXPECT_EXIT((os.stream = &std::cerr, m.addrow(src, 0)), status,
              "m123\n  the dimensions of argument 0 and argument  1 differ\n  #row= 3 2\n  #col= 2 3\n");
  EXPECT_EXIT((os.stream = &std::cerr, m.assign(src, '/')), status, "error a140\n  the dimensions");
  EXPECT_EXIT((os.stream = &std::cerr, MatFullD().minidx(0)), status, "error s101\n  value of argument 0");
}

}  // namespace
}  // namespace qvtx
