// The preference file block.

#include "settings/matpref.h"
#include "settings/settings_support.h"

namespace qvtx {
namespace {

using settings_test::Console;

/// Reads a block from a text as if it stood in a file; returns the loader's result.
template <class T>
int load_block(MatPrefT<T>& table, const std::string& text) {
  const settings_test::Folder folder;
  std::ifstream in(folder.write("block", text), std::ios::binary);
  return table.load_asc(in);
}

TEST(PreferenceBlock, CommandsInEitherCaseFillTheTable) {
  MatPrefT<long> table(5);
  EXPECT_EQ(
      1, load_block(table,
                    "C {one block}\tP junk{vglink_p} more junk {rule} 5 0 V 4\r\n"
                    "h 0 {none} ?4{d_link}H 1 {} p{vlnnbr  }{nearest}1 1e+06v5q p {beyond} {the end} 0 1 x"));
  EXPECT_EQ(2, table.count());
  ASSERT_EQ(2u, table.meanings(0).size());
  EXPECT_EQ("d_link", table.meanings(0)[0].text);
  EXPECT_EQ(1,
            load_block(table, "c {" + std::string(500, 'c') + "} p {vgvqcora123} {" + std::string(200, 'd') +
                                  "} 0 9 h 1 {" + std::string(50, 'm') + "} v 1 x"));
  const long expected[][4] = {{0, 5, 4, 4}, {1, 1000000, 5, 5}, {0, 9, 1, 1}};
  for (long k = 0; k < 3; ++k) {
    const long found[] = {table.getmin(k), table.getmax(k), table.getval(k), table.getfut(k)};
    for (int c = 0; c < 4; ++c) EXPECT_EQ(expected[k][c], found[c]) << k << " " << c;
  }
  EXPECT_STREQ("vgvqcora", table.getlabel(2));
  EXPECT_EQ(std::string(35, 'd'), table.getdescription(2));
  EXPECT_EQ(std::string(8, 'm'), table.meanings(2)[0].text);
}

TEST(PreferenceBlock, RealsKeepSinglePrecisionAndIntegersAreRounded) {
  MatPrefT<double> reals(5);
  EXPECT_EQ(1, load_block(reals, "p {a} {} 1e-06 0.3 v 0.1 b"));
  EXPECT_EQ(static_cast<double>(1e-6f), reals.getmin(0));
  EXPECT_EQ(static_cast<double>(0.1f), reals.getval(0));
  MatPrefT<long> integers(5);
  EXPECT_EQ(1, load_block(integers, "p {a} {} -2.5 1e30 v 4.5 h 4.4 {four} b"));
  EXPECT_EQ(-3, integers.getmin(0));
  EXPECT_EQ(std::numeric_limits<long>::max(), integers.getmax(0));
  EXPECT_EQ(5, integers.getval(0));
  EXPECT_EQ(4, integers.meanings(0)[0].value);
}

TEST(PreferenceBlock, FaultsAreToldToTheLetter) {
  const struct {
    const char* block;
    int result;
    long count;
    const char* messages;
  } cases[] = {
      {"p {a} {} 0 5 v 6 v 3 x", 1, 1, "MatPrefT.read_asc: pref. a: value 6 out of bounds [0,5]\n"},
      {"p {a} {} -5 0.5 v 1e30 x", 1, 1, "MatPrefT.read_asc: pref. a: value 1e+30 out of bounds [-5,0.5]\n"},
      {"p {a} {} 0 5 p {} {lost} 1 2 v 3 x", 1, 1, "MatPrefT.read_asc: empty label for description lost\n"},
      {"p {a} {} 0 5 z v 3 x", 0, 1, "MatPrefT.read_asc: bad command: z\n"},
      {"h 1 {nothing yet} p {a} {} 0 5 x", 1, 1, ""},
      {"p {a} {} 0 nan v 1 x", 0, 0, ""},
  };
  for (const auto& c : cases) {
    const Console console;
    MatPrefT<double> table(5);
    EXPECT_EQ(c.result, load_block(table, c.block)) << c.block;
    EXPECT_EQ(c.count, table.count()) << c.block;
    EXPECT_EQ(c.messages, console.text()) << c.block;
  }
}

TEST(PreferenceBlock, EveryPrefixOfABlockEndsTheRead) {
  const std::string block = "c {x} p {key} {text} 0 5\nv 2 h 2 {two} x";
  for (std::size_t length = 0; length < block.size(); ++length) {
    MatPrefT<long> table(5);
    EXPECT_EQ(0, load_block(table, block.substr(0, length))) << length;
  }
}

}  // namespace
}  // namespace qvtx
