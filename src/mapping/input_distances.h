#pragma once
// The distances between prototypes that a mapping should show.

#include <optional>

#include "graph/graph_paths.h"
#include "mapping/mapping_memory.h"
#include "quant/vequan.h"

namespace qvtx {

/// Rows of input distances: space distances (w = 0), graph distances (w = 1) or their mix (1 - w) space + w
/// graph, from the quantizer's stores or, where these are empty, computed. Neither the quantizer's prototypes
/// nor its links may change during the object's life. Memory: the rows given, and a copy of the links when
/// graph rows have to be computed.
class InputDistances {
 public:
  /// REQUIRES: at least one prototype, and the step "dist_ext" done or links as `prot_fin` left them.
  /// across: with w = 0, pairs of different components count like any other; otherwise they have no distance.
  /// rows: room to work in, which must outlive the object.
  InputDistances(const VeQuan& prototypes, double w, bool across, RowRoom& rows);

  /// nprot numbers: distances from prototype i, 0 for i itself, negative where there is none. Valid until the
  /// next call.
  const double* row(long i);
  /// The same where the row lies in memory as it is: a hint of what to fetch. Null where it does not.
  const double* stored(long i) const;

 private:
  const double* graph_row(long i);

  const VeQuan& prototypes_;
  double w_;
  bool mask_components_;             ///< space distances of the own component alone
  bool stored_;                      ///< rows are those of a store, as they are
  std::optional<GraphPaths> paths_;  ///< when graph rows are not stored
  RowRoom& rows_;
};

}  // namespace qvtx
