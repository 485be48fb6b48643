#pragma once
// What an analysis was, for an operation that may have to be taken back.

#include "quant/quantizer_parts.h"
#include "quant/quantizer_state.h"
#include "quant/rows_in_use.h"
#include "settings/settings.h"

namespace qvtx {

/// A quantizer's state beside what can be computed again and the storage of its epochs. `VeQuan::back_up`
/// makes it a copy but for the data; a MemoryWatch learns of a copy that found no memory. `set_data_aside`
/// moves the data to it, for others to be loaded. `go_back` becomes what was backed up, which is used up
/// then, and needs no memory; distances stay stored unless they were computed since.
struct QuantizerBackup : SavedState, Provenance {
  Settings<long>::Rows integers;
  Settings<double>::Rows reals;
  PairDistances::Mark distances;
  // The data themselves, of a quantizer that is about to load others.
  bool holds_data = false;
  MatFullD dat, whole;
  RowsInUse in_use;
};

}  // namespace qvtx
