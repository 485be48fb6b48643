// The shipped files against what the methods look up.

#include "settings/catalogue.h"

#include <algorithm>
#include <cstring>
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
  EXPECT_EQ(92, shipped.integers.count() + shipped.reals.count());
  for (long k = 0; k < shipped.integers.count(); ++k) {
    EXPECT_EQ(k, shipped.integers.getkey(shipped.integers.getlabel(k)));
    EXPECT_EQ(-1, shipped.reals.getkey(shipped.integers.getlabel(k)));
    EXPECT_EQ(8u, std::strlen(shipped.integers.getlabel(k)));
  }
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
  const std::set<std::string> counts = words("vlnnbr vldnbr vgtearcl tdxp vjpshar vjpminc vglpmaxp");
  for (long k = 0; k < shipped.integers.count(); ++k) {
    const MatPrefT<long>& table = shipped.integers;
    EXPECT_NE(std::string::npos, file.find(std::string("{") + table.getdescription(k) + "}"));
    for (const auto& meaning : table.meanings(k)) {
      EXPECT_NE(std::string::npos,
                file.find("h " + std::to_string(meaning.value) + " {" + meaning.text + "}\n"));
      std::string text;
      EXPECT_TRUE(table.gethlp(k, meaning.value, text)) << table.getlabel(k) << " names a value out of range";
    }
    const bool selector = table.getmax(k) <= 10;
    EXPECT_NE(selector, table.getmax(k) == 1000000) << table.getlabel(k);
    std::string text;
    for (long v = table.getmin(k); selector && v <= table.getmax(k); ++v)
      EXPECT_TRUE(table.gethlp(k, v, text)) << table.getlabel(k) << " has no name for " << v;
  }
}

TEST(ShippedPreferences, NoScheduleFromTheKeysStopsTheProgram) {
  Shipped shipped;
  for (const char* method : {"vcl", "vfcl", "vng", "vnw", "vsom", "tcd", "tsm", "tit"}) {
    const long k = shipped.integers.getkey((std::string(method) + "epoq").c_str());
    EXPECT_EQ(2, shipped.integers.getmin(k)) << method;  // one row would have no last value
  }
  ::testing::internal::CaptureStderr();
  warn_rising_pairs(shipped.reals);
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
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

TEST(ShippedSchedules, FilesWithoutKeysEqualTheBuiltInValues) {
  const struct {
    const char* name;
    long rows;
    double last;
  } cases[] = {{"sam", 10, 0.1}, {"rdp", 5, 0.2}};
  const Folder folder;
  for (const auto& c : cases) {
    MatParaD schedule(0, 1);
    schedule.additer(c.rows);
    schedule.set(3, 0, 1, c.last, 0, -1);
    ASSERT_EQ(1, schedule.save_asc(folder.file(c.name).c_str(), 0, 1));
    EXPECT_EQ(contents(folder.file(c.name)), contents(examples + "schedules/default." + c.name));
  }
  MatParaD passes(0, 1);
  ASSERT_TRUE(load_schedule(passes, (examples + "schedules/default.jpp").c_str(), nullptr, 0));
  ASSERT_EQ(1, passes.nrow());
  ASSERT_EQ(2, passes.ncol());
  EXPECT_EQ(20, passes(0, 0));
  EXPECT_EQ(10, passes(0, 1));
}

TEST(ShippedSchedules, EverySampleLoadsAndIsParametric) {
  for (const char* extension : {"ngp", "clp", "nwp", "omp", "cmp", "smp", "sam", "rdp"}) {
    MatParaD schedule(0, 1);
    ASSERT_TRUE(load_schedule(schedule, (examples + "schedules/default." + extension).c_str(), nullptr, 0))
        << extension;
    EXPECT_GE(schedule.nrow(), 5) << extension;
    EXPECT_EQ(1, schedule.control(schedule.ncol())) << extension;
    EXPECT_LE(schedule(schedule.maxidx(0), 0), 1) << extension;
    if (std::strcmp(extension, "cmp") == 0) {
      EXPECT_LE(schedule(schedule.maxidx(1), 1), 1);
    }
  }
}

// ---- Writing the default files ----

/// Works in a directory of its own.
class DefaultFiles : public ::testing::Test {
 protected:
  DefaultFiles() : before_(std::filesystem::current_path()) { std::filesystem::current_path(folder_.path()); }
  ~DefaultFiles() override { std::filesystem::current_path(before_); }

  std::set<std::string> present() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
      names.insert(entry.path().filename());
    return names;
  }

  Folder folder_;

 private:
  std::filesystem::path before_;
};

TEST_F(DefaultFiles, AreThoseOfTheExamples) {
  EXPECT_EQ(1, write_default_files());
  EXPECT_EQ(words("Qvtx.prf default.jpp default.sam default.rdp"), present());
  EXPECT_EQ(contents(examples + "Qvtx.prf"), contents("Qvtx.prf"));
  for (const char* name : {"default.jpp", "default.sam", "default.rdp"})
    EXPECT_EQ(contents(examples + "schedules/" + name), contents(name)) << name;
}

TEST_F(DefaultFiles, NothingIsWrittenWhenOneExists) {
  for (const DefaultFile& existing : default_files()) {
    folder_.write(existing.name, "mine");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(0, write_default_files());
    EXPECT_NE(std::string::npos, ::testing::internal::GetCapturedStderr().find(existing.name));
    EXPECT_EQ(words(existing.name), present());
    EXPECT_EQ("mine", contents(existing.name));
    std::remove(existing.name);
  }
  std::filesystem::create_symlink("nowhere", "default.sam");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(0, write_default_files());
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(words("default.sam"), present());
}

TEST(RisingPairs, EachPairOfFutureValuesThatRisesIsNamed) {
  MatPrefT<double> table(5);
  for (const char* key :
       {"vngaini ", "vnglfin ", "vngafin ", "vnglini ", "tcdaini ", "tcdafin ", "alone aini", "vlbginp "})
    table.addkey(key, "", 0, 10);
  for (const char* key : {"vngafin", "vnglfin"}) table.newval(table.getkey(key), 5);
  table.newval(table.getkey("vnglini"), 6);
  ::testing::internal::CaptureStderr();
  warn_rising_pairs(table);
  EXPECT_EQ("vngafin is above vngaini\n", ::testing::internal::GetCapturedStderr());
  table.newval(table.getkey("vngaini"), 5);
  table.newval(table.getkey("vnglini"), 4);
  table.newval(table.getkey("tcdafin"), 1);
  ::testing::internal::CaptureStderr();
  warn_rising_pairs(table);
  EXPECT_EQ("vnglfin is above vnglini\ntcdafin is above tcdaini\n", ::testing::internal::GetCapturedStderr());
}

}  // namespace
}  // namespace qvtx
