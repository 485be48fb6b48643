// The preference file block.

#include "settings/matpref.h"
#include "settings/settings_support.h"

namespace qvtx {
namespace {

using settings_test::Console;
using settings_test::console_to_stderr;
using settings_test::load_block;

TEST(PreferenceBlock, CommandsInEitherCaseFillTheTable) {
  MatPrefT<long> table(5);
  const Console console;
  EXPECT_EQ(
      1, load_block(table,
                    "C {one block}\tP junk{vglink_p} more junk {rule} 5 0 V 4\r\n"
                    "h 0 {none} ?4{d_link}H 1 {} p{vlnnbr  }{nearest}1 1e+06v5q p {beyond} {the end} 0 1 x"));
  EXPECT_EQ("", console.text());
  ASSERT_EQ(2, table.count());
  EXPECT_EQ(0, table.getmin(0));
  EXPECT_EQ(5, table.getmax(0));
  EXPECT_EQ(4, table.getval(0));
  EXPECT_EQ(4, table.getfut(0));
  ASSERT_EQ(2u, table.meanings(0).size());
  EXPECT_EQ("d_link", table.meanings(0)[0].text);
  EXPECT_EQ("none", table.meanings(0)[1].text);
  EXPECT_EQ(1, table.getkey("vlnnbr"));
  EXPECT_EQ(1000000, table.getmax(1));
  EXPECT_EQ(5, table.getval(1));
}

TEST(PreferenceBlock, RealsKeepSinglePrecisionAndIntegersAreRounded) {
  MatPrefT<double> reals(5);
  EXPECT_EQ(1, load_block(reals, "p {a} {} 1e-06 0.3 v 0.1 b"));
  EXPECT_EQ(static_cast<double>(1e-6f), reals.getmin(0));
  EXPECT_EQ(static_cast<double>(0.3f), reals.getmax(0));
  EXPECT_EQ(static_cast<double>(0.1f), reals.getval(0));
  MatPrefT<long> integers(5);
  EXPECT_EQ(1, load_block(integers, "p {a} {} -2.5 1e30 v 4.5 h 4.4 {four} b"));
  EXPECT_EQ(-3, integers.getmin(0));
  EXPECT_EQ(std::numeric_limits<long>::max(), integers.getmax(0));
  EXPECT_EQ(5, integers.getval(0));
  EXPECT_EQ(4, integers.meanings(0)[0].value);
}

TEST(PreferenceBlock, TextsAreCutAtTheirCapacity) {
  MatPrefT<long> table(5);
  EXPECT_EQ(1,
            load_block(table, "c {" + std::string(500, 'c') + "} p {vgvqcora1234567890} {" +
                                  std::string(200, 'd') + "} 0 9 h 1 {" + std::string(50, 'm') + "} v 1 x"));
  EXPECT_STREQ("vgvqcora", table.getlabel(0));
  EXPECT_EQ(std::string(35, 'd'), table.getdescription(0));
  EXPECT_EQ(std::string(8, 'm'), table.meanings(0)[0].text);
  EXPECT_EQ(1, table.getval(0));
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
      {"p {a} {} 0 1e50 v 1 x", 0, 0, ""},
      {"", 0, 0, ""},
      {"  \n\t", 0, 0, ""},
      {"p {a} {} 0 5", 0, 1, ""},
  };
  for (const auto& c : cases) {
    const Console console;
    MatPrefT<double> table(5);
    EXPECT_EQ(c.result, load_block(table, c.block)) << c.block;
    EXPECT_EQ(c.count, table.count()) << c.block;
    EXPECT_EQ(c.messages, console.text()) << c.block;
  }
}

TEST(PreferenceBlock, RefusedValueKeepsTheOldOne) {
  const Console console;
  MatPrefT<long> table(5);
  EXPECT_EQ(1, load_block(table, "p {a} {} 0 5 v 2 v 6 v 1e30 x"));
  EXPECT_EQ(2, table.getval(0));
  EXPECT_EQ(2, table.getfut(0));
}

TEST(PreferenceBlock, EveryPrefixOfABlockEndsTheRead) {
  const std::string block = "c {x} p {key} {text} 0 5\nv 2 h 2 {two} x";
  for (std::size_t length = 0; length < block.size(); ++length) {
    const Console console;
    MatPrefT<long> table(5);
    EXPECT_EQ(0, load_block(table, block.substr(0, length))) << length;
    EXPECT_EQ("", console.text()) << length;
  }
}

TEST(PreferenceBlock, UnopenedFileIsAFailedRead) {
  std::ifstream missing("/nonexistent/file");
  MatPrefT<long> table(5);
  EXPECT_EQ(0, table.load_asc(missing));
}

TEST(PreferenceBlock, SecondBlockIsAppended) {
  const settings_test::Folder folder;
  std::ifstream in(folder.write("two", "p {a} {} 0 1 x\nc {next} p {b} {} 0 1 v 1 x"));
  MatPrefT<long> table(5);
  EXPECT_EQ(1, table.load_asc(in));
  EXPECT_EQ(1, table.load_asc(in));
  EXPECT_EQ(0, table.load_asc(in));
  EXPECT_EQ(1, table.getkey("b"));
  EXPECT_EQ(0, table.getval(0));
  EXPECT_EQ(1, table.getval(1));
}

TEST(PreferenceBlockDeathTest, ValueAheadOfTheFirstEntryEndsTheProgram) {
  MatPrefT<long> table(5);
  table.addkey("earlier", "block", 0, 1);
  EXPECT_EXIT((console_to_stderr(), load_block(table, "v 1 x")), ::testing::ExitedWithCode(0),
              "^MatPrefT: bad key 1 \\(not in 0,0\\)\n$");
}

}  // namespace
}  // namespace qvtx
