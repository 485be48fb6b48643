#include "settings/matpref.h"

#include <functional>
#include <limits>

#include "settings/settings_support.h"

namespace qvtx {
namespace {

using settings_test::console_to_stderr;

TEST(MatPref, KeysAreComparedOverEightPaddedCharacters) {
  MatPrefT<double> table(5);
  for (const char* key : {"tdgb", "tdgbx", "vnginp  ", "twice", "twice  ", "exactly8"})
    table.addkey(key, "", 0, 1);
  const struct {
    const char* text;
    long number;
  } cases[] = {{"tdgb", 0},    {"tdgb    ", 0}, {"tdg", -1},         {"tdgbx", 1},    {"vnginp", 2},
               {"VNGINP", -1}, {"twice", -1},   {"exactly8more", 5}, {"exactly", -1}, {"", -1}};
  for (const auto& c : cases) EXPECT_EQ(c.number, table.getkey(c.text)) << '"' << c.text << '"';
}

TEST(MatPref, OnlyValuesInRangeAreAcceptedAndOnlyForTheFuture) {
  MatPrefT<double> table(5);
  table.addkey("tcdlini", "width", 2, 0.5);  // bounds in the wrong order
  double expected = 0.5;
  for (const double value : {2.0000001, 2.0, 0.4999, std::numeric_limits<double>::quiet_NaN(), 1.0}) {
    const bool accepted = value >= 0.5 && value <= 2;
    if (accepted) expected = value;
    EXPECT_EQ(accepted, table.newval(0, value)) << value;
    EXPECT_EQ(expected, table.getfut(0)) << value;
    EXPECT_EQ(0.5, table.getval(0)) << value;
  }
  EXPECT_EQ(1, table.commit("tcdlini "));
  EXPECT_EQ(1, table.getval(0));
}

TEST(MatPrefDeathTest, AccessOutsideTheTableEndsTheProgram) {
  MatPrefT<long> table(5);
  for (const char* key : {"a", "b"}) table.addkey(key, "", 0, 1);
  const auto status = ::testing::ExitedWithCode(0);
  EXPECT_EXIT((console_to_stderr(), table.getval(2)), status, "^MatPrefT: bad key 2 \\(not in 0,1\\)\n$");
  EXPECT_EXIT((console_to_stderr(), os.ow("half a line"), table.commit("vngaini ")), status,
              "half a line\nmissing key: vngaini\nMatPrefT: bad key -1 \\(not in 0,1\\)\n$");
}

// ---- Binary record ----

/// Two entries; the second has three meanings, numbers 0, 1 and 3, the first has number 2.
MatPrefT<long> entries() {
  MatPrefT<long> table(5);
  for (const char* key : {"vglink_p", "vsomhexf"}) table.addkey(key, "text", 0, 5);
  for (const long k : {1, 1, 0, 1}) table.sethlp(k, 1, "meaning");
  return table;
}

std::string bytes(const MatPrefT<long>& saved) {
  const settings_test::Folder folder;
  std::FILE* f = std::fopen(folder.file("record").c_str(), "wb");
  EXPECT_EQ(1, saved.save_bin(f));
  std::fclose(f);
  return settings_test::contents(folder.file("record"));
}

template <class T>
int load(MatPrefT<T>& table, const std::string& record) {
  const settings_test::Folder folder;
  std::FILE* f = std::fopen(folder.write("record", record).c_str(), "rb");
  const int result = table.load_bin(f);
  std::fclose(f);
  return result;
}

TEST(MatPrefBinary, RecordRestoresTheTable) {
  MatPrefT<long> table = entries(), again(5);
  table.newval(0, 4);
  ASSERT_EQ(1, load(again, bytes(table)));
  EXPECT_EQ(1, again.getkey("vsomhexf"));
  EXPECT_EQ(3u, again.meanings(1).size());
  EXPECT_TRUE(again.getfut(0) == 4 && again.getval(0) == 0);
  EXPECT_EQ(bytes(table), bytes(again));
}

TEST(MatPrefBinary, CutOrDamagedRecordIsRefusedAndChangesNothing) {
  MatPrefT<long> table(5);
  table.addkey("kept", "as it was", 0, 7);
  const std::string before = bytes(table), whole = bytes(entries());
  for (std::size_t length = 0; length < whole.size(); ++length)
    EXPECT_EQ(0, load(table, whole.substr(0, length))) << length;
  // Blocks of 2 x 4 integers, 2 x 9 and 2 x 36 characters, 2 heads and 4 links, behind heads of 20 bytes.
  constexpr std::size_t values = 20, labels = values + 32 + 20, heads = labels + 18 + 20 + 72 + 20,
                        links = heads + 8 + 20;
  const struct {
    const char* what;
    std::size_t place;
    char byte;
  } damages[] = {
      {"an actual value out of range", values + 8, 6}, {"a future value out of range", values + 28, 6},
      {"a label without its zero", labels + 17, 'x'},  {"a head beyond the meanings", heads + 4, 4},
      {"a head below -1", heads + 3, '\x80'},          {"a link beyond the meanings", links + 4, 4},
      {"a list that turns back", links + 4, 3},        {"a meaning in no list", heads + 4, 1}};
  for (const auto& d : damages) {
    std::string record = whole;
    record[d.place] = d.byte;
    EXPECT_EQ(0, load(table, record)) << d.what;
  }
  EXPECT_EQ(before, bytes(table));
  MatPrefT<double> reals(5);
  EXPECT_EQ(0, load(reals, whole)) << "the record of the other table";
}

}  // namespace
}  // namespace qvtx
