#pragma once
// Every setting that the program reads: the one table behind lookups, defaults and checks.

#include <cstddef>
#include <iterator>
#include <string_view>
#include <type_traits>

namespace qvtx {

/// What the program knows of a setting by itself; its description, its range and its values come from the
/// preference file.
struct Setting {
  enum class Table { integer, real };       ///< MatPrefT<long> or MatPrefT<double>
  enum class Owner { quantizer, mapping };  ///< whose two blocks of the preference file define it
  enum class Use { number, selector };      ///< every value of a selector has a name

  const char* name;  ///< the key, without padding
  Table table;
  Owner owner;
  Use use;
};

namespace setting_rows {

using enum Setting::Table;
using enum Setting::Owner;
using enum Setting::Use;

inline constexpr Setting all[] = {
    // Integer settings of the quantizer, the graph and the distances.
    {"vgswap_d", integer, quantizer, selector},
    {"vgkeep_p", integer, quantizer, selector},
    {"vgcent_p", integer, quantizer, selector},
    {"vgrepl_p", integer, quantizer, selector},
    {"vgerrors", integer, quantizer, selector},
    {"vgmemory", integer, quantizer, selector},
    {"vgdimloc", integer, quantizer, selector},
    {"vglpmaxp", integer, quantizer, number},
    {"vglink_p", integer, quantizer, selector},
    {"vlnnbr", integer, quantizer, number},
    {"vldnbr", integer, quantizer, number},
    {"vgteartt", integer, quantizer, selector},
    {"vgtearcl", integer, quantizer, number},
    {"tdgdtype", integer, quantizer, selector},
    {"tdctdtwt", integer, quantizer, selector},
    {"tdctdlnf", integer, quantizer, selector},
    {"tdxp", integer, quantizer, number},
    {"vgvqdvqm", integer, quantizer, selector},
    {"vlbginp", integer, quantizer, selector},
    {"vlbgitr", integer, quantizer, number},
    {"vdlbgitr", integer, quantizer, number},
    {"vclinp", integer, quantizer, selector},
    {"vclepoq", integer, quantizer, number},
    {"vfclinp", integer, quantizer, selector},
    {"vfclepoq", integer, quantizer, number},
    {"vnginp", integer, quantizer, selector},
    {"vngepoq", integer, quantizer, number},
    {"vnwepoq", integer, quantizer, number},
    {"vsominp", integer, quantizer, selector},
    {"vsomhexf", integer, quantizer, selector},
    {"vsompcaf", integer, quantizer, selector},
    {"vsomrule", integer, quantizer, selector},
    {"vsomgnhf", integer, quantizer, selector},
    {"vsomepoq", integer, quantizer, number},
    {"vjpshar", integer, quantizer, number},
    {"vjpminc", integer, quantizer, number},
    {"vjpsort", integer, quantizer, selector},
    // Real settings of the quantizer, the graph and the distances.
    {"vgvqcora", real, quantizer, number},
    {"vgvqdera", real, quantizer, number},
    {"vlbgxch", real, quantizer, number},
    {"vdlbgxch", real, quantizer, number},
    {"vclaini", real, quantizer, number},
    {"vclafin", real, quantizer, number},
    {"vfclaini", real, quantizer, number},
    {"vfclafin", real, quantizer, number},
    {"vngaini", real, quantizer, number},
    {"vngafin", real, quantizer, number},
    {"vnwaini", real, quantizer, number},
    {"vnwafin", real, quantizer, number},
    {"vnglini", real, quantizer, number},
    {"vnglfin", real, quantizer, number},
    {"vsomd12", real, quantizer, number},
    {"vsomaini", real, quantizer, number},
    {"vsomafin", real, quantizer, number},
    {"vsomlini", real, quantizer, number},
    {"vsomlfin", real, quantizer, number},
    {"vleeps", real, quantizer, number},
    {"vlrtol", real, quantizer, number},
    {"vldtol", real, quantizer, number},
    {"vlhtol", real, quantizer, number},
    {"tdctdakp", real, quantizer, number},
    {"tdgb", real, quantizer, number},
    {"tdns", real, quantizer, number},
    {"tdng", real, quantizer, number},
    {"tdnm", real, quantizer, number},
    {"tdxs", real, quantizer, number},
    {"tdxg", real, quantizer, number},
    {"tdxm", real, quantizer, number},
    // Integer settings of the mapping.
    {"tgswap_p", integer, mapping, selector},
    {"tcdnwt", integer, mapping, selector},
    {"tcdnwf", integer, mapping, selector},
    {"tcdinm", integer, mapping, selector},
    {"tcdepoq", integer, mapping, number},
    {"tsminm", integer, mapping, selector},
    {"tsmepoq", integer, mapping, number},
    {"titinm", integer, mapping, selector},
    {"titpcast", integer, mapping, selector},
    {"titmulst", integer, mapping, selector},
    {"titepoq", integer, mapping, number},
    // Real settings of the mapping.
    {"tdccsfac", real, mapping, number},
    {"tcdlmds", real, mapping, number},
    {"tcdaini", real, mapping, number},
    {"tcdafin", real, mapping, number},
    {"tcdlini", real, mapping, number},
    {"tcdlfin", real, mapping, number},
    {"tsmaini", real, mapping, number},
    {"tsmafin", real, mapping, number},
    {"tsmstoch", real, mapping, number},
    {"titaini", real, mapping, number},
    {"titafin", real, mapping, number},
    {"titlini", real, mapping, number},
    {"titlfin", real, mapping, number},
};

}  // namespace setting_rows

inline constexpr auto& settings_table = setting_rows::all;
inline constexpr std::size_t settings_count = std::size(settings_table);

/// A setting of MatPrefT<T>, written as its name: `Key<double> key = "tdgb"`. The compiler looks the name up
/// and refuses one that the table does not have, or has for the other type.
template <class T>
class Key {
 public:
  static constexpr Setting::Table table =
      std::is_same_v<T, long> ? Setting::Table::integer : Setting::Table::real;

  consteval Key(const char* name) : row_(find(name)) {}

  constexpr const char* name() const { return settings_table[row_].name; }
  /// Its row in the table of settings.
  constexpr std::size_t row() const { return row_; }

 private:
  static consteval std::size_t find(std::string_view name) {
    for (std::size_t i = 0; i < settings_count; ++i)
      if (settings_table[i].table == table && settings_table[i].name == name) return i;
    throw "no such setting";  // ends the compilation
  }

  std::size_t row_;
};

}  // namespace qvtx
