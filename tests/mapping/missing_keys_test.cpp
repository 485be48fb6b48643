// A preference file without one of the settings: whoever reads the setting first names it.

#include "base/support.h"
#include "support/mapping.h"

namespace qvtx::test {
namespace {

void link(OpenMapping& tm, int rule) {
  tm.setkey("vglink_p", rule);
  tm.lbg(5);
}

void drive(OpenMapping& tm, int method) {
  tm.setkey("vgvqdvqm", method);
  tm.vq();
}

template <class Method>
void map(OpenMapping& tm, Method method) {
  tm.nq();
  (tm.*method)(2, nullptr);
}

using Run = void (*)(OpenMapping&);
using Mapping = long (ToMapp::*)(long, const char*);

/// What reads the settings whose names begin so; of several rows the first one counts.
const std::pair<const char*, Run> readers[] = {
    {"vgvqdera", [](OpenMapping& tm) { drive(tm, 4); }},
    {"vgvq", [](OpenMapping& tm) { tm.vq(); }},
    {"vlbg", [](OpenMapping& tm) { tm.lbg(5); }},
    {"vdlbg", [](OpenMapping& tm) { tm.dlbg(0.5); }},
    {"vcl", [](OpenMapping& tm) { tm.cl(5, nullptr); }},
    {"vfcl", [](OpenMapping& tm) { tm.fcl(5, nullptr); }},
    {"vng", [](OpenMapping& tm) { tm.ng(5, nullptr); }},
    {"vnw", [](OpenMapping& tm) { tm.nw(0.5, nullptr); }},
    {"vsomd12", [](OpenMapping& tm) { drive(tm, 10); }},
    {"vsom", [](OpenMapping& tm) { tm.som(9, 1, nullptr); }},
    {"vjp", [](OpenMapping& tm) { tm.jp(nullptr); }},
    {"vleeps", [](OpenMapping& tm) { link(tm, 1); }},
    {"vlnnbr", [](OpenMapping& tm) { link(tm, 2); }},
    {"vlrtol", [](OpenMapping& tm) { link(tm, 3); }},
    {"vld", [](OpenMapping& tm) { link(tm, 4); }},
    {"vlhtol", [](OpenMapping& tm) { link(tm, 5); }},
    {"vg", [](OpenMapping& tm) { tm.nq(); }},
    {"tsm", [](OpenMapping& tm) { map(tm, Mapping{&ToMapp::sammon}); }},
    {"tit", [](OpenMapping& tm) { map(tm, Mapping{&ToMapp::isotop}); }},
    {"t", [](OpenMapping& tm) { map(tm, Mapping{&ToMapp::cda}); }}};

Run reader_of(const std::string& key) {
  for (const auto& [start, run] : readers)
    if (key.starts_with(start)) return run;
  ADD_FAILURE() << "nothing is said to read " << key;
  return [](OpenMapping&) {};
}

/// Takes the setting out of the text of a preference file, its values' names included.
std::string without(std::string file, const std::string& key) {
  const std::size_t begin = file.find("p {" + key + std::string(8 - key.size(), ' ') + "}");
  if (begin == std::string::npos) ADD_FAILURE() << key << " is not in the file";
  const std::size_t end = std::min(file.find("\np ", begin), file.find("\nx", begin));
  return file.erase(begin, end + 1 - begin);
}

TEST(MissingSettingDeathTest, EveryOneIsNamedBeforeTheProgramStops) {
  const std::string shipped = read_file(QVTX_SOURCE_DIR "/examples/Qvtx.prf");
  const Scratch scratch;
  MatFullD points;
  uniform_points(points, 40, 3, 1);
  for (const Setting& setting : settings_table) {
    write_file("cut.prf", without(shipped, setting.name));
    OpenMapping tm{std::ifstream("cut.prf")};
    ASSERT_EQ(1, tm.dataload(points, 1));
    const std::string message = std::string("  missing key: ") + setting.name + "\nMatPrefT: bad key -1 ";
    EXPECT_FATAL(reader_of(setting.name)(tm), message);
  }
}

}  // namespace
}  // namespace qvtx::test
