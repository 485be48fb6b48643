// The shipped files against what the methods look up.

#include "settings/catalogue.h"

#include <set>

#include "settings/matpara.h"
#include "settings/settings_support.h"

namespace qvtx {
namespace {

using settings_test::Console;
using settings_test::contents;
using settings_test::Folder;

const std::string examples = QVTX_SOURCE_DIR "/examples/";

/// Every key that the program looks up, by table and block.
const char* const integer_keys[2] = {
    "vgswap_d vgkeep_p vgcent_p vgrepl_p vgerrors vgmemory vgdimloc vglpmaxp vglink_p tdgdtype tdxp "
    "vgvqdvqm vlbginp vlbgitr vdlbgitr vclinp vclepoq vfclinp vfclepoq vnginp vngepoq vsominp vsomhexf "
    "vsompcaf vsomrule vsomgnhf vsomepoq vnwepoq vjpminc vjpsort vjpshar vlnnbr vldnbr vgtearcl vgteartt "
    "tdctdtwt tdctdlnf",
    "tgswap_p tcdnwt tcdnwf tcdinm tcdepoq tsminm tsmepoq titinm titpcast titmulst titepoq"};
const char* const real_keys[2] = {
    "tdgb tdns tdng tdnm tdxs tdxg tdxm vgvqcora vgvqdera vsomd12 vlbgxch vdlbgxch vclaini vclafin "
    "vfclaini vfclafin vngaini vngafin vnglini vnglfin vsomaini vsomafin vsomlini vsomlfin vnwaini "
    "vnwafin vleeps vlrtol vldtol vlhtol tdctdakp",
    "tdccsfac tcdlmds tcdaini tcdafin tcdlini tcdlfin tsmaini tsmafin tsmstoch titaini titafin titlini "
    "titlfin"};

std::set<std::string> words(const std::string& text) {
  std::istringstream in(text);
  std::set<std::string> list;
  for (std::string word; in >> word;) list.insert(word);
  return list;
}

/// The two tables, read block by block as at start-up.
struct Shipped {
  MatPrefT<long> integers{5};
  MatPrefT<double> reals{5};
  std::string messages;

  Shipped() {
    const Console console;
    std::ifstream in(examples + "Qvtx.prf");
    for (int block = 0; block < 2; ++block) {
      read(integers, in, integer_keys[block]);
      read(reals, in, real_keys[block]);
    }
    messages = console.text();
  }

  /// A block must hold exactly these keys.
  template <class T>
  static void read(MatPrefT<T>& table, std::ifstream& in, const char* keys) {
    const long before = table.count();
    EXPECT_EQ(1, table.load_asc(in));
    std::set<std::string> found;
    for (long k = before; k < table.count(); ++k) found.merge(words(table.getlabel(k)));
    EXPECT_EQ(words(keys), found);
  }
};

TEST(ShippedPreferences, EveryKeyStandsOnceInItsBlock) {
  Shipped shipped;
  EXPECT_EQ("", shipped.messages);
  for (long k = 0; k < shipped.integers.count(); ++k)
    EXPECT_EQ(k, shipped.integers.getkey(shipped.integers.getlabel(k)));
  for (long k = 0; k < shipped.reals.count(); ++k)
    EXPECT_EQ(k, shipped.reals.getkey(shipped.reals.getlabel(k)));
}

TEST(ShippedPreferences, NothingIsCutAndEverySelectorValueHasAName) {
  // A text at the limit of its field is kept whole, so the comparison with the file finds those that are
  // longer.
  const std::string file = contents(examples + "Qvtx.prf");
  Shipped shipped;
  for (long k = 0; k < shipped.reals.count(); ++k)
    EXPECT_NE(std::string::npos, file.find(std::string("{") + shipped.reals.getdescription(k) + "}"));
  for (long k = 0; k < shipped.integers.count(); ++k) {
    const MatPrefT<long>& table = shipped.integers;
    EXPECT_NE(std::string::npos, file.find(std::string("{") + table.getdescription(k) + "}"));
    for (const auto& meaning : table.meanings(k))
      EXPECT_NE(std::string::npos,
                file.find("h " + std::to_string(meaning.value) + " {" + meaning.text + "}\n"));
    const bool selector = table.getmax(k) <= 10;
    std::string text;
    for (long v = table.getmin(k); selector && v <= table.getmax(k); ++v)
      EXPECT_TRUE(table.gethlp(k, v, text)) << table.getlabel(k) << " has no name for " << v;
  }
}

/// The schedule that a method makes of its keys, in the text that the program saves: columns[i] names the
/// letters of the keys between method and "ini" or "fin".
std::string saved_schedule(Shipped& shipped, const std::string& method, const std::string& columns) {
  MatParaD schedule(0, static_cast<long>(columns.size()));
  schedule.additer(shipped.integers.commit((method + "epoq").c_str()));
  for (std::size_t c = 0; c < columns.size(); ++c) {
    if (columns[c] == '0') continue;
    const std::string key = method + columns[c];
    schedule.set(3, static_cast<long>(c), shipped.reals.commit((key + "ini").c_str()),
                 shipped.reals.commit((key + "fin").c_str()), 0, -1);
  }
  const Folder folder;
  EXPECT_EQ(1, schedule.save_asc(folder.file("saved").c_str(), 0, 1));
  return contents(folder.file("saved"));
}

TEST(ShippedSchedules, SamplesEqualTheScheduleOfTheKeys) {
  const struct {
    const char *file, *method, *columns;
  } cases[] = {{"ngp", "vng", "al"},  {"clp", "vcl", "a"},  {"clp", "vfcl", "a"}, {"nwp", "vnw", "a"},
               {"omp", "vsom", "al"}, {"cmp", "tit", "al"}, {"smp", "tsm", "a0"}};
  Shipped shipped;
  for (const auto& c : cases)
    EXPECT_EQ(saved_schedule(shipped, c.method, c.columns),
              contents(examples + "schedules/default." + c.file))
        << c.file;
}

TEST(RisingPairs, EachPairOfFutureValuesThatRisesIsNamed) {
  MatPrefT<double> table(5);
  for (const char* key :
       {"vngaini ", "vnglfin ", "vngafin ", "vnglini ", "tcdaini ", "tcdafin ", "alone aini", "vlbginp "})
    table.addkey(key, "", 0, 10);
  for (const char* key : {"vngafin", "vnglfin", "vngaini", "alone aini"}) table.newval(table.getkey(key), 5);
  table.newval(table.getkey("vnglini"), 4);
  table.newval(table.getkey("tcdafin"), 1);
  ::testing::internal::CaptureStderr();
  warn_rising_pairs(table);
  EXPECT_EQ("vnglfin is above vnglini\ntcdafin is above tcdaini\n", ::testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace qvtx
