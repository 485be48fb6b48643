// The shipped files against what the methods look up.

#include "settings/catalogue.h"

#include "base/support.h"
#include "settings/matpara.h"
#include "settings/settings.h"

namespace qvtx {
namespace {

const std::string examples = QVTX_SOURCE_DIR "/examples/";

std::string trimmed(std::string key) { return key.erase(key.find_last_not_of(' ') + 1); }

/// The two tables, read block by block as at start-up.
struct Shipped {
  MatPrefT<long> integers{5};
  MatPrefT<double> reals{5};

  Shipped() {
    const ConsoleRedirect console;
    std::ifstream in(examples + "Qvtx.prf");
    for (const auto owner : {Setting::Owner::quantizer, Setting::Owner::mapping}) {
      read(integers, in, owner);
      read(reals, in, owner);
    }
    EXPECT_EQ("", console.out());
  }

  /// A block must hold exactly the keys of its table and owner.
  template <class T>
  static void read(MatPrefT<T>& table, std::ifstream& in, Setting::Owner owner) {
    const long before = table.count();
    EXPECT_EQ(1, table.load_asc(in));
    std::multiset<std::string> found, wanted;
    for (long k = before; k < table.count(); ++k) found.insert(trimmed(table.getlabel(k)));
    for (const Setting& setting : settings_table)
      if (setting.table == Key<T>::table && setting.owner == owner) wanted.insert(setting.name);
    EXPECT_EQ(wanted, found);
  }
};

// A text at the limit of its field is kept whole, so the comparison with the file finds those that are
// longer.
TEST(ShippedPreferences, HoldEveryKeyNothingIsCutAndEverySelectorValueHasAName) {
  const std::string file = test::read_file(examples + "Qvtx.prf");
  const auto in_file = [&](const std::string& text) { return file.find(text) != std::string::npos; };
  const Shipped shipped;
  for (long k = 0; k < shipped.reals.count(); ++k)
    EXPECT_TRUE(in_file(std::string("{") + shipped.reals.getdescription(k) + "}")) << k;
  const MatPrefT<long>& table = shipped.integers;
  for (long k = 0; k < table.count(); ++k) {
    EXPECT_TRUE(in_file(std::string("{") + table.getdescription(k) + "}")) << k;
    for (const auto& meaning : table.meanings(k))
      EXPECT_TRUE(in_file("h " + std::to_string(meaning.value) + " {" + meaning.text + "}\n")) << k;
  }
  std::string text;
  for (const Setting& setting : settings_table) {
    if (setting.use != Setting::Use::selector) continue;
    const long k = table.getkey(setting.name);
    for (long v = table.getmin(k); v <= table.getmax(k); ++v)
      EXPECT_TRUE(table.gethlp(k, v, text)) << setting.name << " has no name for " << v;
  }
}

/// The schedule that a method makes of its keys, as the program saves it: columns[i] names the letters of the
/// keys between method and "ini" or "fin".
std::string saved_schedule(const Shipped& shipped, const std::string& method, const std::string& columns) {
  MatParaD schedule(0, static_cast<long>(columns.size()));
  const auto real = [&](const std::string& key) {
    return shipped.reals.getval(shipped.reals.getkey(key.c_str()));
  };
  schedule.additer(shipped.integers.getval(shipped.integers.getkey((method + "epoq").c_str())));
  for (std::size_t c = 0; c < columns.size(); ++c) {
    if (columns[c] == '0') continue;
    const std::string key = method + columns[c];
    schedule.set(3, static_cast<long>(c), real(key + "ini"), real(key + "fin"), 0, -1);
  }
  const test::Scratch scratch;
  EXPECT_EQ(1, schedule.save_asc("saved", 0, 1));
  return test::read_file("saved");
}

TEST(ShippedSchedules, SamplesEqualTheScheduleOfTheKeys) {
  const char* const cases[][3] = {{"ngp", "vng", "al"}, {"clp", "vcl", "a"},   {"clp", "vfcl", "a"},
                                  {"nwp", "vnw", "a"},  {"omp", "vsom", "al"}, {"cmp", "tit", "al"},
                                  {"smp", "tsm", "a0"}};
  const Shipped shipped;
  for (const auto& [file, method, columns] : cases)
    EXPECT_EQ(saved_schedule(shipped, method, columns),
              test::read_file(examples + "schedules/default." + file))
        << file;
}

TEST(RisingPairs, EachPairOfFutureValuesThatRisesIsNamed) {
  MatPrefT<double> table(5);
  const std::pair<const char*, double> future[] = {{"vngaini ", 5},   {"vnglfin ", 5}, {"vngafin ", 5},
                                                   {"vnglini ", 4},   {"tcdaini ", 0}, {"tcdafin ", 1},
                                                   {"alone aini", 5}, {"vlbginp ", 0}};
  for (const auto& [key, value] : future) {
    table.addkey(key, "", 0, 10);
    table.newval(table.getkey(key), value);
  }
  const ConsoleRedirect console;
  warn_rising_pairs(table);
  EXPECT_EQ(
      "  vnglfin is above vnglini: a schedule must not rise\n"
      "  tcdafin is above tcdaini: a schedule must not rise\n",
      console.err());
}

}  // namespace
}  // namespace qvtx
