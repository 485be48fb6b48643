// Sparse matrix and store of matrices.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>

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

TEST(Sparse, ReservesATenthOfTheCells) {
  EXPECT_EQ(Sparse(4, 5, 5).capacity(), 10);
  EXPECT_EQ(Sparse(100, 100, 5).capacity(), 1000);
  EXPECT_EQ(Sparse(0, 1, 1).setdim(7, 3), 7);
}

TEST(Sparse, EveryOperationOnOccupiedAndEmptyCells) {
  const struct {
    char op;
    long v;
    long on_seven;  ///< new value of a cell that holds 7
    long on_empty;
  } cases[] = {{'+', 5, 12, 5}, {'-', 2, 5, -2}, {'*', 3, 21, 0}, {'/', 2, 3, 0},
               {'=', 4, 4, 4},  {'?', 4, 7, 4},  {'-', 7, 0, -7}, {'*', 0, 0, 0},
               {'=', 0, 0, 0},  {'/', 9, 0, 0},  {'/', 0, 7, 0},  {'+', 0, 7, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.op << c.v);
    Sparse m(2, 4, 5);
    m.setval(0, 3, 7, '+');
    EXPECT_EQ(m.setval(0, 3, c.v, c.op), c.on_seven);
    EXPECT_EQ(m.getval(0, 3), c.on_seven);
    EXPECT_EQ(m.setval(1, 2, c.v, c.op), c.on_empty);
    EXPECT_EQ(m.getval(1, 2), c.on_empty);
    EXPECT_EQ(m.count(), (c.on_seven != 0 ? 1 : 0) + (c.on_empty != 0 ? 1 : 0));
  }
}

/// A cell that comes and goes over and over must not use up entries.
TEST(Sparse, FreedEntriesAreUsedAgain) {
  Sparse m(5, 8, 5);
  for (int k = 0; k < 100; ++k) {
    for (long j = 0; j < 8; ++j) m.setval(k % 5, j, 1, '+');
    for (long j = 0; j < 8; ++j) m.setval(k % 5, (j * 3) % 8, 1, '-');
  }
  EXPECT_EQ(m.count(), 0);
  EXPECT_EQ(m.capacity(), 10);
}

TEST(Sparse, AgreesWithAMapUnderRandomOperations) {
  std::mt19937 engine(1);
  Sparse m(9, 13, 2);
  std::map<std::pair<long, long>, long> cells;
  for (int k = 0; k < 50000; ++k) {
    const std::pair<long, long> at(engine() % 9, engine() % 13);
    const long v = static_cast<long>(engine() % 7) - 3;
    long& cell = cells[at];
    const char op = "+-=*"[engine() % 4];
    switch (op) {
      case '+':
        cell += v;
        break;
      case '-':
        cell -= v;
        break;
      case '*':
        cell = cell * v % 1000;
        break;
      default:
        cell = v;
    }
    // Products are kept small, so that they never overflow.
    ASSERT_EQ(op == '*' ? m.setval(at.first, at.second, cell, '=') : m.setval(at.first, at.second, v, op),
              cell);
    if (k % 1000 != 0) continue;
    long occupied = 0;
    for (const auto& [where, value] : cells) {
      ASSERT_EQ(m.getval(where.first, where.second), value);
      occupied += value != 0 ? 1 : 0;
    }
    ASSERT_EQ(m.count(), occupied);
  }
}

TEST(Sparse, ShowsDenseAndListedCells) {
  Sparse m(2, 3, 5);
  m.setval(0, 2, 5, '+');
  m.setval(1, 0, 4, '-');
  m.setval(0, 1, 6, '+');
  EXPECT_EQ(shown(m, 1, 1), "3\t0\t0\n2\t0\t0\n0\t6\t5\t\n-4\t0\t0\t\n");
  EXPECT_EQ(shown(m, 0, 1),
            "3\t0\t0\n3\t0\t0\n0\t1\t6\n0\t2\t5\n1\t0\t-4\n");  // the newest cell of a row first
  EXPECT_EQ(shown(m, 0, 0), "0\t1\t6\n0\t2\t5\n1\t0\t-4\n");
  for (const int dense : {0, 1}) {
    std::istringstream in(shown(m, dense, 1));
    MatFullL read;
    EXPECT_TRUE(in >> read);
    EXPECT_EQ(read.nrow(), dense != 0 ? 2 : 3);
    EXPECT_EQ(read(0, 2), dense != 0 ? 5 : 6);
  }
  m.clear();
  EXPECT_EQ(m.nrow(), 0);
  EXPECT_EQ(shown(m, 0, 1), "3\t0\t0\n0\t0\t0\n");
}

TEST(Sparse, SavesTheDenseForm) {
  Sparse m(2, 2, 5);
  m.setval(1, 1, 3, '=');
  const std::string name = ::testing::TempDir() + "qvtx_sparse_test" + std::to_string(::getpid()) + ".dat";
  const std::string nowhere = ::testing::TempDir() + "no_such_folder/x.dat";
  std::ostringstream console;
  const Ostr earlier = os;
  os = Ostr(console);
  EXPECT_EQ(m.save_asc(name.c_str(), 1, 1), 1);
  EXPECT_EQ(m.save_asc(nowhere.c_str(), 1, 1), 0);
  os = earlier;
  EXPECT_EQ(console.str(),
            "saving ASCII-file " + name + " ... done!\nMatSparT.save_asc: file " + nowhere + " not found\n");
  std::ifstream in(name);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), shown(m, 1, 1));
  std::remove(name.c_str());
}

/// The death statement prints where the test framework looks.
#define EXPECT_ENDS(statement, text) \
  EXPECT_EXIT((os.stream = &std::cerr, statement), ::testing::ExitedWithCode(0), text)

TEST(SparseDeathTest, MisuseEndsTheProgram) {
  Sparse m(2, 3, 5);
  EXPECT_ENDS(Sparse(1, 1, 0), "class MatSparT: error s102\n  value of argument 1 out of range : 0");
  EXPECT_ENDS(m.setdim(-1, 3), "error s101\n  value of argument 1 out of range : -1");
  EXPECT_ENDS(m.setdim(2, 0), "error s101\n  value of argument 2 out of range : 0");
  EXPECT_ENDS(m.getval(2, 0), "error s3\n  value of argument 1 out of range : 2\n  #row= 2\n  #col= 3");
  EXPECT_ENDS(m.getval(0, 3), "error s3\n  value of argument 2 out of range : 3");
  EXPECT_ENDS(m.setval(-1, 0, 1, '+'), "error s2\n  value of argument 1 out of range : -1");
  EXPECT_ENDS(m.setval(0, -1, 1, '+'), "error s2\n  value of argument 2 out of range : -1");
}

TEST(Store, KeepsItsMatricesUntilTheCountChanges) {
  MatStorD store(3);
  store[1].setdim(4, 2);
  store[1].setrows(4);
  EXPECT_EQ(store.setdim(3), 3);
  EXPECT_EQ(store[1].nrow(), 4);
  EXPECT_EQ(store.setdim(2), 2);
  EXPECT_EQ(store[1].nrow(), 0);
  EXPECT_EQ(store[1].ncol(), 1);
  EXPECT_EQ(store[1].ninc(), 5);
  EXPECT_EQ(store.setdim(0), 0);
}

TEST(Store, FailedAllocationLeavesItEmpty) {
  std::ostringstream console;
  const Ostr earlier = os;
  os = Ostr(console);
  MatStorT<MatFullL> store(2);
  EXPECT_EQ(store.setdim(1L << 60), 0);
  os = earlier;
  EXPECT_EQ(console.str(), "MatStorT.setdim: alloc.failed\n");
  EXPECT_EQ(store.size(), 0);
}

TEST(StoreDeathTest, MisuseEndsTheProgram) {
  MatStorD store(3);
  EXPECT_ENDS(store.setdim(-2), "class MatStorT: error o101\n  value of argument 1 out of range : -2");
  EXPECT_ENDS(store[3], "class MatStorT: error o102\n  value of argument 1 out of range : 3");
}

}  // namespace
}  // namespace qvtx
