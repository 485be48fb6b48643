#pragma once
// What a quantizer knows beside what its snapshots hold.

#include "local/lpca.h"
#include "matrix/distance/metric.h"
#include "matrix/matstor.h"
#include "quant/origin.h"
#include "quant/pair_distances.h"

namespace qvtx {

/// How prototypes and links came about, and what follows from them.
struct Provenance {
  char method[32] = "";           ///< label of what made the prototypes
  Origin origin = Origin::other;  ///< as that label tells it
  const char* linkname = "none";  ///< what made the links: the rule that was applied, or "grid"
  Metric linkmetric;              ///< of the lengths of the links
  Torn torn;                      ///< links cut by the last tearing
  MatFullL compsize;              ///< ncomp x 1: prototypes per component
  LPCA lpca;
};

/// Orders and lists of the epochs.
struct EpochLists {
  MatFullL order;           ///< ndata x 1: presentation order
  MatStorT<MatFullL> lvor;  ///< lists of neighbours, entries 2k and 2k + 1 for prototype k
  MatStorT<MatFullD> dvor;  ///< distances matching lvor
  MatFullL ridx;            ///< rank list of the online methods
  MatFullD dwork;           ///< distances of the online methods
};

}  // namespace qvtx
