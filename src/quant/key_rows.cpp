#include "quant/key_rows.h"

namespace qvtx {

void KeyRows::find(const MatPrefT<long>& lpref, const MatPrefT<double>& dpref) {
  struct Entry {
    const char* name;
    long KeyRows::*row;
    bool real;  // in the real table
  };
  static constexpr Entry entries[] = {
      {"vgswap_d", &KeyRows::vgswap_d, false}, {"vgkeep_p", &KeyRows::vgkeep_p, false},
      {"vglink_p", &KeyRows::vglink_p, false}, {"vgcent_p", &KeyRows::vgcent_p, false},
      {"vgrepl_p", &KeyRows::vgrepl_p, false}, {"vgerrors", &KeyRows::vgerrors, false},
      {"vgmemory", &KeyRows::vgmemory, false}, {"vgdimloc", &KeyRows::vgdimloc, false},
      {"vglpmaxp", &KeyRows::vglpmaxp, false}, {"tdgdtype", &KeyRows::tdgdtype, false},
      {"tdxp", &KeyRows::tdxp, false},         {"tdgb", &KeyRows::tdgb, true},
      {"tdns", &KeyRows::tdns, true},          {"tdng", &KeyRows::tdng, true},
      {"tdnm", &KeyRows::tdnm, true},          {"tdxs", &KeyRows::tdxs, true},
      {"tdxg", &KeyRows::tdxg, true},          {"tdxm", &KeyRows::tdxm, true},
  };
  for (const Entry& entry : entries) {
    this->*entry.row = entry.real ? dpref.getkey(entry.name) : lpref.getkey(entry.name);
  }
}

}  // namespace qvtx
