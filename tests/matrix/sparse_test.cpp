// Sparse matrix and store of matrices.

#include <cstdint>

#include "base/support.h"
#include "matrix/matspar.h"
#include "matrix/matstor.h"

namespace qvtx {
namespace {

using Sparse = MatSparT<long>;

std::string shown(const Sparse& m, int dense, int header) {
  std::ostringstream out;
  m.show(out, dense, header);
  return out.str();
}

TEST(Sparse, AgreesWithAMapAndUsesFreedEntriesAgain) {
  std::mt19937 engine(1);
  Sparse m(9, 13, 2);
  std::map<std::pair<long, long>, long> cells;
  for (int k = 0; k < 50000; ++k) {
    const std::pair<long, long> at(engine() % 9, engine() % 13);
    const long v = k % 1000 < 500 ? static_cast<long>(engine() % 7) - 3 : 0;
    const char op = "+-*/=?"[engine() % 6];
    long& cell = cells[at];
    if (op == '+') cell += v;
    if (op == '-') cell -= v;
    if (op == '*') cell *= v;
    if (op == '/' && v != 0) cell /= v;
    if (op == '=' || (op == '?' && cell == 0)) cell = v;
    ASSERT_EQ(m.setval(at.first, at.second, v, op), cell);
    if (k % 500 != 0) continue;
    long occupied = 0;
    for (const auto& [where, value] : cells) {
      ASSERT_EQ(m.getval(where.first, where.second), value);
      occupied += value != 0 ? 1 : 0;
    }
    ASSERT_EQ(m.count(), occupied);
  }
  EXPECT_LE(m.capacity(), 9 * 13 + 11);  // cells came and went over and over
  EXPECT_EQ(Sparse(4, 5, 5).capacity(), 10);
  EXPECT_EQ(Sparse(100, 100, 5).capacity(), 1000);
}

TEST(Sparse, ShowsAndSavesDenseAndListedCells) {
  Sparse m(2, 3, 5);
  m.setval(0, 2, 5, '+');
  m.setval(1, 0, 4, '-');
  m.setval(0, 1, 6, '+');
  const std::string dense = "3\t0\t0\n2\t0\t0\n0\t6\t5\t\n-4\t0\t0\t\n";
  EXPECT_EQ(shown(m, 1, 1), dense);
  // The newest cell of a row first.
  EXPECT_EQ(shown(m, 0, 1), "3\t0\t0\n3\t0\t0\n0\t1\t6\n0\t2\t5\n1\t0\t-4\n");
  const test::Scratch scratch;
  const ConsoleRedirect console;
  EXPECT_EQ(m.save_asc("m", 1, 1), 1);
  EXPECT_EQ(m.save_asc("no_such_folder/m", 1, 1), 0);
  EXPECT_EQ(console.out(),
            "saving ASCII-file m ... done!\nMatSparT.save_asc: file no_such_folder/m not found\n");
  EXPECT_EQ(test::read_file("m"), dense);
  m.clear();
  EXPECT_EQ(shown(m, 0, 1), "3\t0\t0\n0\t0\t0\n");
}

TEST(Store, MatricesThatShareABlockLeaveItWhenTheyGrowAndKeepItWhenTheyMove) {
  constexpr long large = 300;  // 2000 of these make up several large pages
  for (const long n : {2L, 2000L}) {
    MatStorD store(n);
    store.expect(large, 1);
    for (long k = 0; k < n; ++k) {
      ASSERT_EQ(store[k].setdim(large, 1), large);
      store[k].setrows(large, static_cast<double>(k));
    }
    EXPECT_EQ(store[1].data() - store[0].data(), 304);  // whole cache lines
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(store[0].data()) % 64, 0U);
    store[0].setrows(large + 1, -1);
    EXPECT_EQ(store[0](0, 0), 0);
    EXPECT_EQ(store[0](large, 0), -1);
    EXPECT_EQ(store[1](0, 0), 1);
    const MatFullD taken = std::move(store[1]);
    store[0].setdim(2 * large, 1);
    store.setdim(1);
    EXPECT_EQ(taken(large - 1, 0), 1);
  }
}

TEST(SparseDeathTest, MisuseEndsTheProgram) {
  Sparse m(2, 3, 5);
  MatStorD store(3);
  EXPECT_FATAL(Sparse(1, 1, 0), "class MatSparT: error s102\n  value of argument 1 out of range : 0");
  EXPECT_FATAL(m.setdim(2, 0), "error s101\n  value of argument 2 out of range : 0");
  EXPECT_FATAL(m.getval(2, 0), "error s3\n  value of argument 1 out of range : 2\n  #row= 2\n  #col= 3");
  EXPECT_FATAL(m.setval(0, -1, 1, '+'), "error s2\n  value of argument 2 out of range : -1");
  EXPECT_FATAL(store.setdim(-2), "class MatStorT: error o101\n  value of argument 1 out of range : -2");
  EXPECT_FATAL(store[3], "class MatStorT: error o102\n  value of argument 1 out of range : 3");
}

}  // namespace
}  // namespace qvtx
