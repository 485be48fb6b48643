#pragma once
// What a mapping holds beside its quantizer.

#include "mapping/mapping_memory.h"
#include "quant/quantizer_backup.h"

namespace qvtx {

/// What a snapshot holds beside that of the quantizer.
struct MappingState {
  MatFullD mprot;           ///< nprot x p: mapped prototypes; other sizes, or none, before "mapp_ini"
  MatLinkD mlink{0, 2, 5};  ///< links between the images; columns: strength, length

  template <class State>
  static auto mapping_fields(State& s) {
    return std::tie(s.mprot, s.mlink);
  }
};

/// What an analysis was, for an operation that may have to be taken back.
struct AnalysisBackup : QuantizerBackup, MappingState {
  char mname[32] = "";
  Spectrum spectrum;
  MatFullD nbwidth;
};

}  // namespace qvtx
