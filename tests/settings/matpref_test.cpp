#include "settings/matpref.h"

#include <functional>
#include <limits>

#include "settings/settings_support.h"

namespace qvtx {
namespace {

using settings_test::console_to_stderr;

TEST(MatPref, NewEntryOrdersItsBoundsAndStartsAtTheMinimum) {
  MatPrefT<long> table(5);
  const long k = table.addkey("vgvqcora_and_more", std::string(60, 'd').c_str(), 10, 1);
  EXPECT_EQ(0, k);
  EXPECT_EQ(1, table.count());
  EXPECT_EQ(1, table.getmin(k));
  EXPECT_EQ(10, table.getmax(k));
  EXPECT_EQ(1, table.getval(k));
  EXPECT_EQ(1, table.getfut(k));
  EXPECT_STREQ("vgvqcora", table.getlabel(k));
  EXPECT_EQ(std::string(35, 'd'), table.getdescription(k));
}

TEST(MatPref, KeysAreComparedOverEightPaddedCharacters) {
  MatPrefT<double> table(5);
  for (const char* key : {"tdgb", "tdgbx", "vnginp  ", "vnglini", "twice", "twice  ", "exactly8"})
    table.addkey(key, "", 0, 1);
  const struct {
    const char* text;
    long number;
  } cases[] = {
      {"tdgb", 0},     {"tdgb    ", 0}, {"tdg", -1},     {"tdgbx", 1},        {"vnginp", 2},   {"VNGINP", -1},
      {"vnglini ", 3}, {"twice", -1},   {"exactly8", 6}, {"exactly8more", 6}, {"exactly", -1}, {"", -1},
  };
  for (const auto& c : cases) EXPECT_EQ(c.number, table.getkey(c.text)) << '"' << c.text << '"';
}

TEST(MatPref, OnlyValuesInRangeAreAcceptedAndOnlyForTheFuture) {
  MatPrefT<double> table(5);
  table.addkey("tcdlini", "width", 0.5, 2);
  const struct {
    double value;
    int accepted;
  } cases[] = {{0.5, 1}, {2, 1}, {2.0000001, 0}, {0.4999, 0}, {std::numeric_limits<double>::quiet_NaN(), 0},
               {1, 1}};
  double expected = 0.5;
  for (const auto& c : cases) {
    if (c.accepted) expected = c.value;
    EXPECT_EQ(c.accepted, table.newval(0, c.value)) << c.value;
    EXPECT_EQ(expected, table.getfut(0)) << c.value;
    EXPECT_EQ(0.5, table.getval(0)) << c.value;
  }
  EXPECT_TRUE(table.changed(0));
  EXPECT_EQ(1, table.commit("tcdlini "));
  EXPECT_EQ(1, table.getval(0));
  EXPECT_FALSE(table.changed(0));
}

TEST(MatPref, MeaningsStandNewestFirstAndNameValuesInRangeOnly) {
  MatPrefT<long> table(1);
  table.addkey("rule", "", 0, 5);
  table.addkey("other", "", 0, 5);
  EXPECT_EQ(1, table.sethlp(0, 1, "e_link"));
  EXPECT_EQ(1, table.sethlp(1, 1, "foreign"));
  EXPECT_EQ(1, table.sethlp(0, 9, "beyond"));
  EXPECT_EQ(1, table.sethlp(0, 1, "renamed_twice"));
  EXPECT_EQ(0, table.sethlp(0, 2, nullptr));
  EXPECT_EQ(0, table.sethlp(2, 1, "no entry"));
  std::string listed;
  for (const auto& meaning : table.meanings(0))
    listed += std::to_string(meaning.value) + "=" + meaning.text + " ";
  EXPECT_EQ("1=renamed_ 9=beyond 1=e_link ", listed);
  std::string text;
  EXPECT_TRUE(table.gethlp(0, 1, text));
  EXPECT_EQ("renamed_", text);
  EXPECT_FALSE(table.gethlp(0, 9, text));
  EXPECT_FALSE(table.gethlp(0, 2, text));
}

TEST(MatPref, ListingAlignsKeysDescriptionsAndValues) {
  MatPrefT<double> table(5);
  table.addkey("tdgb", "balance", 0, 1);
  table.addkey("vgvqdera", "a description of 35 characters, full", -0.25, 1e30);
  table.sethlp(0, 0, "space");
  std::ostringstream text;
  Ostr o(text);
  o.depth = 1;
  table.show(o);
  EXPECT_EQ(
      "  MatPrefT: list of preferences\n"
      "    key [label   ]: description                         = value    (meaning)\n"
      "\n"
      "      0 [tdgb    ]: balance                             =        0 (space)\n"
      "      1 [vgvqdera]: a description of 35 characters, ful =    -0.25\n",
      text.str());
  EXPECT_EQ(1, o.depth);
}

TEST(MatPrefDeathTest, AccessOutsideTheTableEndsTheProgram) {
  MatPrefT<long> table(5);
  table.addkey("a", "", 0, 1);
  table.addkey("b", "", 0, 1);
  const std::function<void()> calls[] = {
      [&] { table.getval(2); },    [&] { table.getmin(2); },   [&] { table.getfut(2); },
      [&] { table.newval(2, 0); }, [&] { table.meanings(2); }, [&] { table.commit(2); },
      [&] { table.getlabel(2); },
  };
  for (const auto& call : calls) {
    EXPECT_EXIT((console_to_stderr(), call()), ::testing::ExitedWithCode(0),
                "^MatPrefT: bad key 2 \\(not in 0,1\\)\n$");
  }
  EXPECT_EXIT((console_to_stderr(), os.ow("half a line"), table.commit("vngaini ")),
              ::testing::ExitedWithCode(0),
              "half a line\nmissing key: vngaini\nMatPrefT: bad key -1 \\(not in 0,1\\)\n$");
  EXPECT_EXIT((console_to_stderr(), MatPrefT<long>(0)), ::testing::ExitedWithCode(0), "error m112");
}

// ---- Binary record ----

/// The seven matrices of a record, open to damage.
struct Record {
  MatFullL values{0, 4};
  MatFullC labels{0, 9}, descriptions{0, 36};
  MatFullL heads{0, 1}, links{0, 1}, mvalues{0, 1};
  MatFullC mtexts{0, 9};

  /// Two entries; the second has three meanings, numbers 0, 1 and 3, the first has number 2.
  Record() {
    for (const char* key : {"vglink_p", "vsomhexf"}) {
      labels.addstr(key);
      descriptions.addstr("text");
    }
    values.setrows(2, 1);
    for (long k = 0; k < 2; ++k) {
      values(k, 0) = 0;
      values(k, 1) = 5;
    }
    heads.setrows(2, 2);
    heads(1, 0) = 3;
    links.setrows(4, -1);
    links(1, 0) = 0;
    links(3, 0) = 1;
    mvalues.setrows(4, 1);
    for (const char* text : {"a", "b", "c", "d"}) mtexts.addstr(text);
  }

  std::FILE* file() const {
    std::FILE* f = std::tmpfile();
    EXPECT_TRUE(values.save_bin(f) && labels.save_bin(f) && descriptions.save_bin(f) && heads.save_bin(f) &&
                links.save_bin(f) && mvalues.save_bin(f) && mtexts.save_bin(f));
    std::rewind(f);
    return f;
  }
};

std::string bytes(const MatPrefT<long>& table) {
  std::FILE* f = std::tmpfile();
  EXPECT_EQ(1, table.save_bin(f));
  std::string text(static_cast<std::size_t>(std::ftell(f)), '\0');
  std::rewind(f);
  EXPECT_EQ(text.size(), std::fread(text.data(), 1, text.size(), f));
  std::fclose(f);
  return text;
}

int load(MatPrefT<long>& table, std::FILE* f) {
  const int result = table.load_bin(f);
  std::fclose(f);
  return result;
}

TEST(MatPrefBinary, RecordRestoresTheTable) {
  MatPrefT<long> table(5), again(5);
  ASSERT_EQ(1, load(table, Record().file()));
  EXPECT_EQ(1, table.getkey("vsomhexf"));
  ASSERT_EQ(3u, table.meanings(1).size());
  EXPECT_EQ("d", table.meanings(1)[0].text);
  EXPECT_EQ("a", table.meanings(1)[2].text);
  table.newval(0, 4);
  std::FILE* f = std::tmpfile();
  ASSERT_EQ(1, table.save_bin(f));
  std::rewind(f);
  ASSERT_EQ(1, load(again, f));
  EXPECT_EQ(4, again.getfut(0));
  EXPECT_EQ(1, again.getval(0));
  EXPECT_EQ(bytes(table), bytes(again));
  again.addkey("new", "", 0, 1);
  EXPECT_EQ(1, again.sethlp(2, 1, "more"));
  EXPECT_EQ(0, table.save_bin(nullptr));
  EXPECT_EQ(0, table.load_bin(nullptr));
}

TEST(MatPrefBinary, EveryPrefixIsRefusedAndChangesNothing) {
  MatPrefT<long> source(5), table(5);
  ASSERT_EQ(1, load(source, Record().file()));
  table.addkey("kept", "as it was", 0, 7);
  const std::string before = bytes(table), whole = bytes(source);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    std::FILE* f = std::tmpfile();
    std::fwrite(whole.data(), 1, length, f);
    std::rewind(f);
    EXPECT_EQ(0, load(table, f)) << length;
  }
  EXPECT_EQ(before, bytes(table));
}

TEST(MatPrefBinary, DamagedRecordIsRefusedAndChangesNothing) {
  const struct {
    const char* what;
    std::function<void(Record&)> damage;
  } cases[] = {
      {"a key is missing", [](Record& r) { r.labels.setrows(1); }},
      {"a description too many", [](Record& r) { r.descriptions.addstr("x"); }},
      {"a list head is missing", [](Record& r) { r.heads.setrows(1); }},
      {"a meaning's value is missing", [](Record& r) { r.mvalues.setrows(3); }},
      {"a meaning's text is missing", [](Record& r) { r.mtexts.setrows(3); }},
      {"three columns of values", [](Record& r) { r.values.setdim(2, 3), r.values.setrows(2, 1); }},
      {"labels of eight characters", [](Record& r) { r.labels.setdim(2, 8), r.labels.setrows(2); }},
      {"a label without its zero", [](Record& r) { r.labels(1, 8) = 'x'; }},
      {"a meaning without its zero", [](Record& r) { r.mtexts(3, 8) = 'x'; }},
      {"a head beyond the meanings", [](Record& r) { r.heads(1, 0) = 4; }},
      {"a head below -1", [](Record& r) { r.heads(0, 0) = -2; }},
      {"a link beyond the meanings", [](Record& r) { r.links(0, 0) = 4; }},
      {"a list that turns back", [](Record& r) { r.links(0, 0) = 3; }},
      {"two lists with one end", [](Record& r) { r.links(2, 0) = 1; }},
      {"a meaning in no list", [](Record& r) { r.heads(0, 0) = -1; }},
      {"an actual value out of range", [](Record& r) { r.values(0, 2) = 6; }},
      {"a future value out of range", [](Record& r) { r.values(1, 3) = -1; }},
  };
  for (const auto& c : cases) {
    MatPrefT<long> table(5);
    table.addkey("kept", "as it was", 0, 7);
    const std::string before = bytes(table);
    Record record;
    c.damage(record);
    EXPECT_EQ(0, load(table, record.file())) << c.what;
    EXPECT_EQ(before, bytes(table)) << c.what;
  }
}

TEST(MatPrefBinary, RecordOfTheOtherTableIsRefused) {
  std::FILE* f = Record().file();
  MatPrefT<double> reals(5);
  EXPECT_EQ(0, reals.load_bin(f));
  std::fclose(f);
  EXPECT_EQ(0, reals.count());
}

}  // namespace
}  // namespace qvtx
