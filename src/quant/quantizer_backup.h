#pragma once
// What an analysis was, for an operation that may have to be taken back.

#include "local/lpca.h"
#include "quant/origin.h"
#include "quant/pair_distances.h"
#include "quant/quantizer_state.h"
#include "quant/rows_in_use.h"
#include "settings/settings.h"

namespace qvtx {

/// A quantizer's state beside what can be computed again and the storage of its epochs.
struct QuantizerBackup : SavedState {
  char method[32] = "";
  Origin origin = Origin::other;
  Torn torn;
  const char* linkname = "none";
  MatFullL compsize;
  LPCA lpca;
  Settings<long>::Rows integers;
  Settings<double>::Rows reals;
  PairDistances::Mark distances;
  // The data themselves, of a quantizer that is about to load others.
  bool holds_data = false;
  MatFullD dat, whole;
  RowsInUse in_use;
};

}  // namespace qvtx
