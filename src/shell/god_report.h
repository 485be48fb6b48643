#pragma once
// The block of the detail report that shows a GoD graph as a picture in characters.

#include "matrix/matfulld.h"
#include "matrix/matspar.h"

namespace qvtx {

/// What a GoD graph compares; the axes of its picture.
struct GodCaption {
  const char* kind;    ///< "self", "Euclidean" or "curvilinear"
  const char* across;  ///< distance binned on the rows of the graph
  const char* up;      ///< distance binned on its columns
};

/// Prints head line, figures and picture; level 0: the head line alone. Nothing for an empty graph.
/// graph: x bins by y bins, counts of pairs; statistics: one row per x bin, the last one over all pairs.
void show_god(Ostr& o, const GodCaption& caption, const MatSparT<long>& graph, const MatFullD& statistics,
              int level);

}  // namespace qvtx
