// The preference tables: access, the file block, the binary record, the menu, and the text of values.

#include "settings/matpref.h"

#include "base/support.h"
#include "settings/value_text.h"

namespace qvtx {
namespace {

using test::load_record;
using test::record_of;

constexpr long longest = std::numeric_limits<long>::max();

TEST(MatPref, KeysAreComparedOverEightPaddedCharacters) {
  MatPrefT<double> table(5);
  for (const char* key : {"tdgb", "tdgbx", "vnginp  ", "twice", "twice  ", "exactly8"})
    table.addkey(key, "", 0, 1);
  const std::pair<const char*, long> cases[] = {
      {"tdgb", 0},    {"tdgb    ", 0}, {"tdg", -1},         {"tdgbx", 1},    {"vnginp", 2},
      {"VNGINP", -1}, {"twice", -1},   {"exactly8more", 5}, {"exactly", -1}, {"", -1}};
  for (const auto& [text, number] : cases) EXPECT_EQ(number, table.getkey(text)) << '"' << text << '"';
}

TEST(MatPref, OnlyValuesBetweenTheBoundsAreAccepted) {
  MatPrefT<double> table(5);
  table.addkey("tcdlini", "width", 2, 0.5);  // bounds in the wrong order
  for (const double value : {2.0000001, 2.0, 0.5, 0.4999, std::nan("")})
    EXPECT_EQ(value >= 0.5 && value <= 2, table.newval(0, value)) << value;
}

TEST(MatPref, ATypedValueWithinThePrintedBoundsIsAccepted) {
  MatPrefT<double> table(5);
  const double low = static_cast<double>(0.001f),
               high = static_cast<double>(0.7f);  // above, below their texts
  table.addkey("tcdlini", "width", low, high);
  const std::pair<double, double> cases[] = {{0.001, low}, {0.00100000002, low}, {0.000999, 0.000999},
                                             {0.5, 0.5},   {0.7, high},          {0.70000001, 0.70000001}};
  for (const auto& [typed, value] : cases) EXPECT_EQ(value, table.typed(0, typed)) << typed;
  MatPrefT<long> whole(5);
  whole.addkey("vlnnbr", "nearest", 1, 9);
  for (const double typed : {0.4, 0.5, 9.4, 9.5})
    EXPECT_EQ(std::lround(typed), whole.typed(0, typed)) << typed;
}

TEST(MatPrefDeathTest, AccessOutsideTheTableEndsTheProgram) {
  MatPrefT<long> table(5);
  for (const char* key : {"a", "b"}) table.addkey(key, "", 0, 1);
  EXPECT_FATAL(table.getval(2), "^MatPrefT: bad key 2 \\(not in 0,1\\)\n$");
  EXPECT_FATAL((os.ow("half a line"), table.commit(-1)),
               "half a line\nMatPrefT: bad key -1 \\(not in 0,1\\)\n$");
}

// ---- The file block ----

template <class T>
int load_block(MatPrefT<T>& table, const std::string& text) {
  const test::Scratch scratch;
  test::write_file("block", text);
  std::ifstream in("block", std::ios::binary);
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
  // Long texts are cut; integers are rounded and clamped.
  EXPECT_EQ(1,
            load_block(table, "c {" + std::string(500, 'c') + "} p {vgvqcora123} {" + std::string(200, 'd') +
                                  "} -2.5 1e30 h 4.4 {" + std::string(50, 'm') + "} v 4.5 x"));
  const long expected[][4] = {{0, 5, 4, 4}, {1, 1000000, 5, 5}, {-3, longest, 5, 5}};
  for (long k = 0; k < 3; ++k) {
    const long found[] = {table.getmin(k), table.getmax(k), table.getval(k), table.getfut(k)};
    for (int c = 0; c < 4; ++c) EXPECT_EQ(expected[k][c], found[c]) << k << " " << c;
  }
  EXPECT_STREQ("vgvqcora", table.getlabel(2));
  EXPECT_EQ(std::string(35, 'd'), table.getdescription(2));
  EXPECT_EQ(std::string(8, 'm'), table.meanings(2)[0].text);
  EXPECT_EQ(4, table.meanings(2)[0].value);
  MatPrefT<double> reals(5);  // single precision
  EXPECT_EQ(1, load_block(reals, "p {a} {} 1e-06 0.3 v 0.1 b"));
  EXPECT_EQ(static_cast<double>(1e-6f), reals.getmin(0));
  EXPECT_EQ(static_cast<double>(0.1f), reals.getval(0));
}

TEST(PreferenceBlock, FaultsAreToldToTheLetter) {
  const std::tuple<const char*, int, long, const char*> cases[] = {
      {"p {a} {} 0 5 v 6 v 3 x", 1, 1, "MatPrefT.read_asc: pref. a: value 6 out of bounds [0,5]\n"},
      {"p {a} {} -5 0.5 v 1e30 x", 1, 1, "MatPrefT.read_asc: pref. a: value 1e+30 out of bounds [-5,0.5]\n"},
      {"p {a} {} 0 5 p {} {lost} 1 2 v 3 x", 1, 1, "MatPrefT.read_asc: empty label for description lost\n"},
      {"p {a} {} 0 5 z v 3 x", 0, 1, "MatPrefT.read_asc: bad command: z\n"},
      {"h 1 {nothing yet} p {a} {} 0 5 x", 1, 1, ""},
      {"p {a} {} 0 nan v 1 x", 0, 0, ""}};
  for (const auto& [block, result, count, messages] : cases) {
    const ConsoleRedirect console;
    MatPrefT<double> table(5);
    EXPECT_EQ(result, load_block(table, block)) << block;
    EXPECT_EQ(count, table.count()) << block;
    EXPECT_EQ(messages, console.out()) << block;
  }
  const std::string whole = "c {x} p {key} {text} 0 5\nv 2 h 2 {two} x";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    MatPrefT<long> table(5);
    EXPECT_EQ(0, load_block(table, whole.substr(0, length))) << length;
  }
}

// ---- The binary record ----

/// Two entries; the second has three meanings, numbers 0, 1 and 3, the first has number 2.
MatPrefT<long> entries() {
  MatPrefT<long> table(5);
  for (const char* key : {"vglink_p", "vsomhexf"}) table.addkey(key, "text", 0, 5);
  for (const long k : {1, 1, 0, 1}) table.sethlp(k, 1, "meaning");
  return table;
}

TEST(MatPrefBinary, CutOrDamagedRecordIsRefusedAndChangesNothing) {
  MatPrefT<long> table(5);
  table.addkey("kept", "as it was", 0, 7);
  const std::string before = record_of(table), whole = record_of(entries());
  for (std::size_t length = 0; length < whole.size(); ++length)
    EXPECT_EQ(0, load_record(table, whole.substr(0, length))) << length;
  // Blocks of 2 x 4 integers, 2 x 9 and 2 x 36 characters, 2 heads and 4 links, behind heads of 20 bytes.
  constexpr std::size_t values = 20, labels = values + 32 + 20, heads = labels + 18 + 20 + 72 + 20,
                        links = heads + 8 + 20;
  const std::tuple<const char*, std::size_t, char> damages[] = {
      {"an actual value out of range", values + 8, 6}, {"a future value out of range", values + 28, 6},
      {"a label without its zero", labels + 17, 'x'},  {"a head beyond the meanings", heads + 4, 4},
      {"a head below -1", heads + 3, '\x80'},          {"a link beyond the meanings", links + 4, 4},
      {"a list that turns back", links + 4, 3},        {"a meaning in no list", heads + 4, 1}};
  for (const auto& [what, place, byte] : damages) {
    std::string record = whole;
    record[place] = byte;
    EXPECT_EQ(0, load_record(table, record)) << what;
  }
  EXPECT_EQ(before, record_of(table));
  EXPECT_EQ(1, load_record(table, whole));
  EXPECT_EQ(whole, record_of(table));
  MatPrefT<double> reals(5);
  EXPECT_EQ(0, load_record(reals, whole)) << "the record of the other table";
}

// ---- The menu: what is typed, what is printed, what the trace keeps ----

struct Session {
  MatPrefT<long> table{5};
  std::string trace = "ms\n";

  Session() {
    table.addkey("vglink_p", "rule", 0, 5);
    table.addkey("vngepoq ", "epochs", 2, 1000000);
    for (const auto& [value, text] : {std::pair{0, "none"}, {4, "d_link"}, {9, "beyond"}})
      table.sethlp(0, value, text);
  }

  std::string type(const std::string& text) {
    const ConsoleRedirect console(text);
    os.depth = 1;
    const std::size_t before = trace.size();
    const long traced = table.menu(os, is, &trace);
    EXPECT_EQ(static_cast<long>(trace.size() - before), traced);
    return console.out();
  }
};

TEST(Menu, TranscriptAndTrace) {
  Session session;
  EXPECT_EQ(
      "\n"
      "    Type '?' to display menu\n"
      "    pref # \n"
      "    pref.   0 [vglink_p]: value set to            4 (d_link)\n"
      "    pref # \n"
      "    pref.   1 [vngepoq ]: value set to            3\n"
      "    pref # \n"
      "    pref.   1 [vngepoq ]: value 1e+300 out of range [2,1000000]\n"
      "    pref # \n"
      "    pref.   0: value meanings\n"
      "      value      4 means d_link\n"
      "      value      0 means none\n"
      "\n"
      "      actual value =            0\n"
      "      future value =            4\n"
      "    pref # \n"
      "    Bad command: S\n"
      "    pref # \n"
      "    pref. 2 does not exist!\n"
      "    pref # \n"
      "    pref.   1 [vngepoq ]: value set to      1000000\n"
      "    pref # \n"
      "    exit=> 'x' or 'b'   set => 's' <key> ' ' <value>\n"
      "    list=> 'l'          min => '-' <key>\n"
      "    help=> 'h' <key>    max => '+' <key>\n"
      "    pref # \n",
      session.type("s 0 4.4 s1 2.5 s 1 1e300 h0 S s 2 + 1\r\n? x"));
  EXPECT_EQ(2, session.table.getval(1)) << "only future values change";
  Session first, replayed;  // what the trace holds of a session gives the same table again
  first.type("s 1 77 ? h 0 l - 0 s 9 s 0 3 s 0 x y x");
  replayed.type(first.trace.substr(3));
  EXPECT_EQ(first.trace, replayed.trace);
  EXPECT_EQ(record_of(first.table), record_of(replayed.table));
}

TEST(Menu, EntriesGoByNumberOrKey) {
  const std::pair<const char*, const char*> cases[] = {{"s vngepoq 77", "s1 77.000000 \n"},
                                                       {"- vngepoq", "-1 \n"},
                                                       {"h vglink_p", "h0 "},
                                                       {"s vngepo 77", ""}};
  for (const auto& [typed, traced] : cases) {
    Session session;
    session.type(std::string(typed) + " x");
    EXPECT_EQ("ms\n" + std::string(traced) + "x\n", session.trace);
  }
  Session session;
  const std::string listed = session.type("s vglink_p 4 l x");
  EXPECT_NE(std::string::npos, listed.find("=        0 (none) -> 4 (d_link)\n")) << listed;
  EXPECT_NE(std::string::npos, listed.find("=        2\n")) << listed;
}

// ---- The text of values ----

TEST(ValueText, RealsHaveTheDigitsThatTheyNeedAndTheTextGivesTheValueBack) {
  const std::pair<double, const char*> cases[] = {{-2.5, "-2.5"},
                                                  {1e6, "1e+06"},
                                                  {1.0 / 3, "0.3333333333333333"},
                                                  {static_cast<double>(1.0f / 3), "0.33333334"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(text, value_text(value));
  EXPECT_EQ("-42", value_text(-42L));
  for (double x = 1e-300; x < 1e300; x *= 9.87654321)
    EXPECT_EQ(x, std::strtod(value_text(x).c_str(), nullptr));
  for (float x = 1e-36f; x < 1e37f; x *= 3.14159f)
    EXPECT_EQ(x, std::strtof(value_text(static_cast<double>(x)).c_str(), nullptr));
}

}  // namespace
}  // namespace qvtx
