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

constexpr long huge = std::numeric_limits<long>::max() / 2;
const double nan_value = std::nan("");

template <class M, class T>
void fill(M& m, long cols, const std::vector<T>& values) {
  const long rows = static_cast<long>(values.size()) / cols;
  m.setdim(rows, cols);
  m.setrows(rows);
  std::copy(values.begin(), values.end(), m.data());
}

MatFullD matrix(long cols, const std::vector<double>& values) {
  MatFullD m;
  fill(m, cols, values);
  return m;
}

template <class T>
std::vector<T> contents(const MatFullT<T>& m) {
  return m.nrow() == 0 ? std::vector<T>() : std::vector<T>(m.data(), m.data() + m.nrow() * m.ncol());
}

std::vector<long> column(const MatFullL& m, long col) {
  std::vector<long> values;
  for (long i = 0; i < m.nrow(); ++i) values.push_back(m(i, col));
  return values;
}

/// The output of `action` on the console.
std::string console_text(const std::function<void()>& action) {
  std::ostringstream text;
  const Ostr saved = std::exchange(os, Ostr(text));
  action();
  os = saved;
  return text.str();
}

template <class T>
class Container : public testing::Test {};
using ElementTypes = testing::Types<double, long, int, char>;
TYPED_TEST_SUITE(Container, ElementTypes);

TYPED_TEST(Container, StartsWithRoomAndNoRows) {
  const MatFullT<TypeParam> empty, m(10, 3, 7);
  EXPECT_EQ(empty.nall() + empty.nrow(), 0);
  EXPECT_EQ(empty.ncol(), 1);
  EXPECT_EQ(empty.ninc(), 5);
  EXPECT_EQ(empty.data(), nullptr);
  EXPECT_EQ(m.nall(), 10);
  EXPECT_EQ(m.ncol(), 3);
  EXPECT_EQ(m.nrow(), 0);
  EXPECT_EQ(m.ninc(), 7);
  EXPECT_EQ(m.nalloc, 0);
}

TYPED_TEST(Container, SetdimKeepsTheBlockOfAnUnchangedElementCount) {
  MatFullT<TypeParam> m(6, 4);
  m.setrows(6);
  const auto* block = m.data();
  EXPECT_EQ(m.setdim(4, 6), 4);
  EXPECT_EQ(m.data(), block);
  EXPECT_EQ(m.nrow(), 0);
  EXPECT_EQ(m.setdim(0, 9), 0);
  EXPECT_EQ(m.data(), nullptr);
  EXPECT_EQ(m.ncol(), 9);
}

TYPED_TEST(Container, AllocationFailurePrintsItsLineAndContinues) {
  MatFullT<TypeParam> m(2, 3);
  m.setrows(2, 1);
  EXPECT_EQ(console_text([&] { m.setrows(huge); }), "MatFullT.addrow: realloc.failed\n");
  EXPECT_EQ(console_text([&] { m.realloc(2 * huge); }), "MatFullT.addrow: realloc.failed\n");
  EXPECT_EQ(contents(m), std::vector<TypeParam>(6, 1));
  for (const long cols : {4L, huge}) {
    EXPECT_EQ(console_text([&] { EXPECT_EQ(m.setdim(huge, cols), 0); }), "MatFullT.setdim: alloc.failed\n");
    EXPECT_EQ(m.data(), nullptr);
    EXPECT_EQ(m.nall() + m.nrow(), 0);
    EXPECT_EQ(m.ncol(), cols);
  }
}

TYPED_TEST(Container, RowsComingIntoUseAreFilled) {
  MatFullT<TypeParam> m(2, 2);
  m.setrows(1, 7);
  m.setrows(3);
  const TypeParam f =
      std::is_same_v<TypeParam, long> || std::is_same_v<TypeParam, int> ? TypeParam(-1) : TypeParam(0);
  EXPECT_EQ(contents(m), (std::vector<TypeParam>{7, 7, f, f, f, f}));
  m.setrows(1, 9);
  EXPECT_EQ(m.addrow(), 2);
  EXPECT_EQ(contents(m), (std::vector<TypeParam>{7, 7, f, f}));
  m.setrows(-4, 9);
  EXPECT_EQ(m.nrow(), 0);
}

TYPED_TEST(Container, AppendingGrowsByTheIncrement) {
  MatFullT<TypeParam> m(6, 2), row(1, 2);
  row.setrows(1, 3);
  m.setrows(6, 1);
  EXPECT_EQ(m.addrow(row, 0), 7);
  EXPECT_EQ(m.nall(), 11);
  EXPECT_EQ(m.realloc(4), 11);
  EXPECT_EQ(m.nall(), 11);
  EXPECT_EQ(m.realloc(5), 12);
  EXPECT_EQ(m.nall(), 16);
  m.setinc(100);
  EXPECT_EQ(m.realloc(120), 127);
  EXPECT_EQ(m.nall(), 216);
  EXPECT_EQ(m.nrow(), 7);
  EXPECT_EQ(m(6, 1), 3);
  EXPECT_EQ(m(5, 1), 1);
}

TYPED_TEST(Container, AppendsItsOwnRows) {
  MatFullT<TypeParam> m(1, 3, 1);
  m.setrows(1, 5);
  m(0, 2) = 8;
  for (long i = 0; i < 2000; ++i) ASSERT_EQ(m.addrow(m, i), i + 2);
  for (long i = 0; i <= 2000; ++i) ASSERT_EQ(m(i, 2), 8);
  EXPECT_EQ(m.nall(), 2001);
}

TYPED_TEST(Container, MovesAndSwapsWholeMatrices) {
  MatFullT<TypeParam> m(2, 2, 9);
  m.setrows(2, 4);
  const auto* block = m.data();
  MatFullT<TypeParam> other(std::move(m));
  EXPECT_EQ(other.data(), block);
  EXPECT_EQ(other.ninc(), 9);
  MatFullT<TypeParam> third(1, 1);
  third = std::move(other);
  EXPECT_EQ(third.data(), block);
  third.swap(other);
  EXPECT_EQ(other.data(), block);
}

TYPED_TEST(Container, CopiesRowsAndMatrices) {
  MatFullT<TypeParam> src, m(2, 2, 7);
  fill(src, 2, std::vector<TypeParam>{1, 2, 3, 4, 5, 6});
  m.setrows(2, 0);
  m.copy(1, src, 2);
  EXPECT_EQ(contents(m), (std::vector<TypeParam>{0, 0, 5, 6}));
  m.copy(src, 1);
  EXPECT_EQ(contents(m), (std::vector<TypeParam>{3, 4}));
  m.copy(src);
  m.copy(m);
  EXPECT_EQ(contents(m), contents(src));
  EXPECT_EQ(m.ninc(), 5);
  m.swaprows(0, 2);
  m.swaprows(1, 1);
  EXPECT_EQ(contents(m), (std::vector<TypeParam>{5, 6, 3, 4, 1, 2}));
  m.copy(m, 2);
  EXPECT_EQ(contents(m), (std::vector<TypeParam>{1, 2}));
  src.setrows(0);
  m.copy(src);
  EXPECT_EQ(m.nrow(), 0);
  EXPECT_EQ(m.ncol(), 2);
}

TYPED_TEST(Container, TransposesEveryShape) {
  for (const auto& [rows, cols] : {std::pair{1L, 1L}, {1L, 5L}, {5L, 1L}, {3L, 3L}, {31L, 33L}, {64L, 70L}}) {
    MatFullT<TypeParam> m(rows + 2, cols);
    m.setrows(rows);
    for (long k = 0; k < rows * cols; ++k) m.data()[k] = static_cast<TypeParam>(k % 113);
    m.tsp();
    ASSERT_EQ(m.nrow(), cols);
    ASSERT_EQ(m.ncol(), rows);
    for (long i = 0; i < rows; ++i) {
      for (long j = 0; j < cols; ++j) ASSERT_EQ(m(j, i), static_cast<TypeParam>((i * cols + j) % 113));
    }
  }
}

TYPED_TEST(Container, AssignCombinesEveryShapeWithEveryOperation) {
  using Values = std::vector<TypeParam>;
  const struct {
    char op;
    Values scalar, by_row, by_column, by_cell;
  } cases[] = {{'*', {2, 4, 12, 24}, {2, 8, 12, 48}, {2, 4, 24, 48}, {2, 6, 24, 60}},
               {'+', {3, 4, 8, 14}, {3, 6, 8, 16}, {3, 4, 10, 16}, {3, 5, 10, 17}},
               {'-', {-1, 0, 4, 10}, {-1, -2, 4, 8}, {-1, 0, 2, 8}, {-1, -1, 2, 7}},
               {'o', {1, 0, -4, -10}, {1, 2, -4, -8}, {1, 0, -2, -8}, {1, 1, -2, -7}},
               {'=', {2, 2, 2, 2}, {2, 4, 2, 4}, {2, 2, 4, 4}, {2, 3, 4, 5}}};
  for (const auto& c : cases) {
    const std::tuple<long, Values, Values> shapes[] = {
        {1, {2}, c.scalar}, {2, {2, 4}, c.by_row}, {1, {2, 4}, c.by_column}, {2, {2, 3, 4, 5}, c.by_cell}};
    for (const auto& [cols, source, expected] : shapes) {
      MatFullT<TypeParam> m, src;
      fill(m, 2, Values{1, 2, 6, 12});
      fill(src, cols, source);
      EXPECT_EQ(contents(m.assign(src, c.op)), expected) << c.op << " with " << source.size();
    }
  }
}

TEST(Assign, Divides) {
  MatFullD m = matrix(2, {1, 2, 4, 0});
  m.assign(matrix(1, {4}), '/');
  EXPECT_EQ(contents(m), (std::vector<double>{0.25, 0.5, 1, 0}));
  m.assign(matrix(1, {1}), 'i');
  EXPECT_EQ(contents(m), (std::vector<double>{4, 2, 1, std::numeric_limits<double>::infinity()}));
  MatFullL whole, zero;
  fill(whole, 1, std::vector<long>{7, 0, -7});
  MatFullL by;
  fill(by, 1, std::vector<long>{2});
  fill(zero, 1, std::vector<long>{0});
  whole.assign(by, '/');
  EXPECT_EQ(contents(whole), (std::vector<long>{3, 0, -3}));
  whole.assign(by, 'i');
  EXPECT_EQ(contents(whole), (std::vector<long>{0, 0, 0}));
  whole.assign(zero, '/');
  EXPECT_EQ(contents(whole), (std::vector<long>{0, 0, 0}));
}

TEST(Assign, AcceptsItselfAndAnEmptyMatrix) {
  MatFullD m = matrix(2, {1, 2, 3, 4});
  m.assign(m, '+');
  EXPECT_EQ(contents(m), (std::vector<double>{2, 4, 6, 8}));
  MatFullD empty(0, 2);
  EXPECT_EQ(empty.assign(matrix(1, {3}), '+').nrow(), 0);
}

TEST(Reductions, SumAndDotRunFromTheLastElement) {
  // 1e17 absorbs a single 1, but not the sum of two times eight.
  const MatFullD m = matrix(3, {1e17, 8, 8, 1e17, 1, 1, 2, 3, 4});
  EXPECT_EQ(m.sum(0, 1), 1e17 + 16);
  EXPECT_EQ(m.sum(0, 0), (2 + 1e17) + 1e17);
  EXPECT_EQ(m.sum(2, 0), 13);
  EXPECT_EQ(m.dps(0, 2), (32.0 + 24) + 2e17);
  EXPECT_EQ(m.dps(1, m, 2), (4.0 + 3) + 2e17);
  MatFullL labels;
  fill(labels, 2, std::vector<long>{1, 2, 3, 4});
  EXPECT_EQ(labels.dps(0, 1), 11);
  EXPECT_EQ(MatFullD(0, 2).sum(1, 0), 0);
}

TEST(Searches, SmallestAndLargestTakeTheLowestRowAmongEquals) {
  const MatFullD m = matrix(2, {3, 5, 1, nan_value, 1, 5, 3, nan_value});
  EXPECT_EQ(m.minidx(0), 1);
  EXPECT_EQ(m.maxidx(0), 0);
  EXPECT_EQ(m.minidx(1), 0);
  EXPECT_EQ(m.maxidx(1), 0);
}

/// The selection sort as it is defined, by repeated scans.
void select_smallest(const MatFullD& m, long col, MatFullL& idx, long n) {
  idx.setdim(m.nrow(), 2);
  idx.setrows(m.nrow());
  for (long k = 0; k < n; ++k) {
    long chosen = -1;
    for (long i = m.nrow() - 1; i >= 0; --i) {
      if (idx(i, 1) == -1 && (chosen < 0 || m(i, col) <= m(chosen, col))) chosen = i;
    }
    idx(k, 0) = chosen;
    idx(chosen, 1) = k;
  }
}

TEST(Sorting, MaxsortIsASelectionSortOfTheSmallestValues) {
  std::mt19937 words(3);
  for (const long n : {0L, 1L, 2L, 17L, 100L}) {
    MatFullD m(n, 2);
    m.setrows(n);
    for (long i = 0; i < n; ++i) m(i, 1) = static_cast<double>(words() % 20) - 10;
    for (const long ranks : {0L, 1L, n / 2, n - 1, n, n + 5, -1L}) {
      MatFullL idx, expected;
      m.maxsort(1, idx, ranks);
      select_smallest(m, 1, expected, ranks < 0 || ranks >= n ? n : ranks);
      EXPECT_EQ(contents(idx), contents(expected)) << ranks << " of " << n;
    }
  }
}

TEST(Sorting, NotANumberComesLast) {
  const MatFullD m = matrix(1, {nan_value, 2, nan_value, 1});
  MatFullL idx;
  m.maxsort(0, idx, -1);
  EXPECT_EQ(column(idx, 0), (std::vector<long>{3, 1, 0, 2}));
  m.potsort(0, idx);
  EXPECT_EQ(idx(0, 0), 3);
  EXPECT_EQ(idx(1, 0), 1);
}

template <class M>
void expect_heap_sorted(const M& m) {
  MatFullL idx;
  m.potsort(0, idx);
  ASSERT_EQ(idx.nrow(), m.nrow());
  std::vector<long> order = column(idx, 0);
  for (long k = 0; k < m.nrow(); ++k) {
    EXPECT_EQ(idx(idx(k, 0), 1), k);
    EXPECT_LE(m(idx(std::max(k - 1, 0L), 0), 0), m(idx(k, 0), 0));
  }
  std::sort(order.begin(), order.end());
  for (long k = 0; k < m.nrow(); ++k) EXPECT_EQ(order[static_cast<std::size_t>(k)], k);
}

TEST(Sorting, PotsortGivesOrderAndRanks) {
  std::mt19937 words(4);
  for (const long n : {0L, 1L, 2L, 3L, 7L, 8L, 9L, 500L}) {
    MatFullD reals(n, 2);
    MatFullL longs(n, 2);
    reals.setrows(n);
    longs.setrows(n);
    for (long i = 0; i < n; ++i) {
      reals(i, 0) = static_cast<double>(words()) - 2e9;
      longs(i, 0) = static_cast<long>(words() % 9) - 4;
    }
    expect_heap_sorted(reals);
    expect_heap_sorted(longs);
  }
}

TEST(Sorting, PotsortOrdersEqualValuesByTheStatedHeap) {
  // Nothing sifts among equals, so that only the exchanges of the root with the last entry move the rows.
  const MatFullD m = matrix(1, {5, 5, 5, 5});
  MatFullL idx;
  m.potsort(0, idx);
  EXPECT_EQ(column(idx, 0), (std::vector<long>{1, 2, 3, 0}));
}

TEST(IndexLists, CountAndCollectRowsFromTheLast) {
  MatFullL labels, found;
  fill(labels, 2, std::vector<long>{0, 5, 0, 7, 0, 6, 0, 9, 0, 5});
  EXPECT_EQ(labels.count(1, 5, 6), 3);
  EXPECT_EQ(labels.count(1, 6, 5), 0);
  found.setdim(3, 4);
  found.setrows(2);
  EXPECT_EQ(labels.count(1, 5, 6, found, 0), 3);
  EXPECT_EQ(contents(found), (std::vector<long>{4, 2, 0}));
  EXPECT_EQ(labels.count(1, 9, 9, found, 1), 1);
  EXPECT_EQ(contents(found), (std::vector<long>{4, 2, 0, 3}));
  EXPECT_EQ(labels.count(1, 1, 2, found, 0), 0);
  EXPECT_EQ(found.nrow(), 0);
  labels.setidx(0, 10, -3);
  EXPECT_EQ(column(labels, 0), (std::vector<long>{10, 7, 4, 1, -2}));
}

TEST(IndexLists, CopyByIndexListKeepsItsOrder) {
  const MatFullD src = matrix(2, {1, 2, 3, 4, 5, 6});
  MatFullL idx;
  fill(idx, 2, std::vector<long>{9, 2, 9, 0, 9, 2});
  MatFullD m;
  m.copy(src, idx, 1);
  EXPECT_EQ(contents(m), (std::vector<double>{5, 6, 1, 2, 5, 6}));
  m.copy(m, idx, 1);
  EXPECT_EQ(m.nrow(), 3);
}

TEST(Product, AtbAccumulatesRowsFromTheLast) {
  std::mt19937 words(5);
  for (const auto& [rows, left, right] :
       {std::tuple{0L, 2L, 3L}, {1L, 1L, 1L}, {9L, 4L, 7L}, {33L, 5L, 2L}}) {
    MatFullD a(rows, left), b(rows, right), product(1, 9);
    a.setrows(rows);
    b.setrows(rows);
    for (MatFullD* m : {&a, &b}) {
      for (long k = 0; k < rows * m->ncol(); ++k) m->data()[k] = static_cast<double>(words()) * 1e-9 - 2;
    }
    product.atb(a, b);
    ASSERT_EQ(product.nrow(), left);
    ASSERT_EQ(product.ncol(), right);
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

TEST(Labels, AreCutToTheirWidth) {
  MatFullC names(0, 4);
  EXPECT_EQ(names.addstr("abcdef"), 1);
  EXPECT_EQ(names.addstr("x"), 2);
  EXPECT_EQ(names.addstr(nullptr), 3);
  for (int k = 0; k < 20; ++k) names.addstr(names.label(0));
  EXPECT_STREQ(names.label(0), "abc");
  EXPECT_STREQ(names.label(1), "x");
  EXPECT_STREQ(names.label(2), "");
  EXPECT_STREQ(names.label(22), "abc");
  EXPECT_EQ(names(1, 3), '\0');
}

TEST(Labels, AreFoundByTheirBeginning) {
  MatFullC names(0, 5);
  for (const char* s : {"prot", "pro", "data", "prox", "dat"}) names.addstr(s);
  const struct {
    const char* text;
    std::vector<long> rows;
  } cases[] = {{"pro", {0, 1, 3}}, {"prot", {0}}, {"protocol", {0}},
               {"dat", {2, 4}},    {"x", {}},     {"", {0, 1, 2, 3, 4}}};
  for (const auto& c : cases) {
    MatFullL idx;
    EXPECT_EQ(names.count(c.text, idx), static_cast<long>(c.rows.size())) << c.text;
    std::vector<long> found = contents(idx);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, c.rows) << c.text;
  }
}

TEST(Labels, TransposeOfAnotherMatrix) {
  MatFullC names(0, 3), columns;
  names.addstr("ab");
  names.addstr("cd");
  columns.tsp(names);
  EXPECT_EQ(contents(columns), (std::vector<char>{'a', 'c', 'b', 'd', 0, 0}));
  columns.tsp(columns);
  EXPECT_EQ(contents(columns), contents(names));
}

// ---- Reports of programming errors ----

struct Fault {
  const char* report;
  std::function<void(MatFullD&)> commit;  ///< on a 3 x 2 matrix
};

TEST(FaultDeathTest, ReportsTheOperationTheArgumentAndTheDimensions) {
  const MatFullD src = matrix(3, {1, 2, 3, 4, 5, 6});
  MatFullL idx;
  fill(idx, 1, std::vector<long>{0, 5});
  const Fault faults[] = {
      {"m112\n  value of argument 1 out of range : 0\n  #row= 0\n  #col= 4",
       [](MatFullD&) { MatFullD(3, 4, 0); }},
      {"m111\n  value of argument 1 out of range : -1\n  #row= 0\n", [](MatFullD& m) { m.setdim(-1, 2); }},
      {"m111\n  value of argument 2 out of range : 0\n", [](MatFullD& m) { m.setdim(1, 0); }},
      {"m154\n  value of argument 1 out of range : 3\n  #row= 3\n  #col= 2\n",
       [](MatFullD& m) { m(3, 0) = 1; }},
      {"m154\n  value of argument 2 out of range : -1\n", [](MatFullD& m) { m(0, -1) = 1; }},
      {"m152\n  value of argument 2 out of range : 2\n", [](MatFullD& m) { m.get(0, 2); }},
      {"m153\n  value of argument 1 out of range : -1\n", [](MatFullD& m) { m.set(-1, 0, 1); }},
      {"m161\n  value of argument 1 out of range : 3\n", [](MatFullD& m) { m.row(3); }},
      {"m162\n  value of argument 1 out of range : 3\n", [](MatFullD& m) { m.argument_row(3); }},
      {"m123\n  the dimensions of argument 0 and argument  1 differ\n  #row= 3 2\n  #col= 2 3\n",
       [&](MatFullD& m) { m.addrow(src, 0); }},
      {"m123\n  value of argument 2 out of range : 3\n", [](MatFullD& m) { m.addrow(m, 3); }},
      {"m145\n  value of argument 1 out of range : 3\n", [&](MatFullD& m) { m.copy(3, src, 9); }},
      {"m145\n  value of argument 3 out of range : 2\n  #row= 2\n  #col= 3",
       [&](MatFullD& m) { m.copy(0, src, 2); }},
      {"m145\n  value of argument 2 out of range : 3\n", [&](MatFullD& m) { m.copy(0, src, 1); }},
      {"m143\n  value of argument 2 out of range : 2\n", [&](MatFullD& m) { m.copy(src, 2); }},
      {"m144\n  value of argument 3 out of range : 1\n", [&](MatFullD& m) { m.copy(src, idx, 1); }},
      {"m144\n  value of argument 2 out of range : 5\n  #row= 2\n",
       [&](MatFullD& m) { m.copy(src, idx, 0); }},
      {"m181\n  value of argument 2 out of range : 3\n", [](MatFullD& m) { m.swaprows(0, 3); }},
      {"m171\n  value of argument 1 out of range : 1\n", [&](MatFullD&) { idx.setidx(1, 0, 0); }},
      {"a111\n  value of argument 1 out of range : 2\n", [](MatFullD& m) { m.sum(2, 0); }},
      {"a140\n  the dimensions of argument 0 and argument  1 differ\n  #row= 3 2\n  #col= 2 2\n",
       [](MatFullD& m) {
         m.assign(matrix(2, {1, 2, 3, 4}), '/');
       }},
      {"a162\n  the dimensions of argument 0 and argument  2 differ\n  #row= 3 2\n  #col= 2 3\n",
       [&](MatFullD& m) { MatFullD().atb(m, src); }},
      {"a174\n  value of argument 2 out of range : 7\n", [](MatFullD& m) { m.dps(0, 7); }},
      {"a177\n  value of argument 3 out of range : 2\n", [&](MatFullD& m) { m.dps(0, src, 2); }},
      {"a177\n  the dimensions of argument 0 and argument  2 differ\n",
       [&](MatFullD& m) { m.dps(0, src, 1); }},
      {"s101\n  value of argument 0 out of range : 0\n", [](MatFullD&) { MatFullD().minidx(0); }},
      {"s101\n  value of argument 1 out of range : 2\n", [](MatFullD& m) { m.maxidx(2); }},
      {"s121\n  value of argument 1 out of range : -1\n", [&](MatFullD&) { idx.count(-1, 0, 1); }},
      {"s122\n  value of argument 1 out of range : 1\n", [&](MatFullD&) { idx.count(1, 0, 1, idx, 0); }},
      {"s141\n  value of argument 1 out of range : 2\n", [&](MatFullD& m) { m.maxsort(2, idx, 1); }},
      {"s141\n  value of argument 1 out of range : 2\n", [&](MatFullD& m) { m.potsort(2, idx); }},
      {"x7\n  some text\n", [](MatFullD& m) { m.ermessage('x', 7, "some text"); }},
  };
  MatFullD m = matrix(2, {1, 2, 3, 4, 5, 6});
  for (const Fault& fault : faults) {
    EXPECT_EXIT((os.stream = &std::cerr, fault.commit(m)), testing::ExitedWithCode(0),
                std::string("^class MatFullT: error ") + fault.report);
  }
}

TEST(FaultDeathTest, ReportStartsOnAFreshLineAtTheCurrentDepth) {
  EXPECT_EXIT(
      (os.stream = &std::cerr, os.ow("pending"), os.depth = 1, class_error("MatX", 'q', 12, 3, 45, 6, 7)),
      testing::ExitedWithCode(0),
      testing::Eq("pending\n  class MatX: error q12\n    value of argument 3 out of range : 45\n"
                  "    #row= 6\n    #col= 7\n"));
}

}  // namespace
}  // namespace qvtx
