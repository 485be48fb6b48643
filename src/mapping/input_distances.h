#pragma once
// The distances between prototypes that a mapping should show.

#include <optional>
#include <vector>

#include "graph/path_rows.h"
#include "mapping/mapping_memory.h"
#include "quant/vequan.h"

namespace qvtx {

/// Rows of input distances: space distances (w = 0), graph distances (w = 1) or their mix (1 - w) space + w
/// graph, from the quantizer's stores or, where these are empty, computed. Neither the quantizer's prototypes
/// nor its links may change during the object's life. Memory: the rows given, and when graph rows have to be
/// computed copies of the links, and up to 64 MiB for rows that are computed together or for trees.
class InputDistances {
 public:
  /// REQUIRES: at least one prototype, and the step "dist_ext" done or links as `prot_fin` left them.
  /// across: with w = 0, pairs of different components count like any other; otherwise they have no distance.
  /// rows: room to work in, which must outlive the object.
  InputDistances(const VeQuan& prototypes, double w, bool across, RowRoom& rows);

  /// Promises that the rows are asked for in passes over all prototypes, from order[nprot - 1] down to
  /// order[0], or for a null pointer from nprot - 1 down to 0. Rows that have to be searched for are then
  /// found many at a time. The order must outlive the object and stay as it is.
  void ask_in_order(const long* order);

  /// nprot numbers: distances from prototype i, 0 for i itself, negative where there is none. Valid until the
  /// next call.
  const double* row(long i);
  /// The same where the row lies in memory as it is: a hint of what to fetch. Null where it does not.
  const double* stored(long i) const;

 private:
  void plant();
  const double* graph_row(long i);
  void search_from(long position);
  long node_at(long position) const { return order_ ? order_[position] : position; }

  const VeQuan& prototypes_;
  double w_;
  bool mask_components_;           ///< space distances of the own component alone
  bool stored_;                    ///< rows are those of a store, as they are
  std::optional<PathRows> paths_;  ///< when graph rows are not stored
  RowRoom& rows_;
  // The rows searched for together, when the order of the calls is known.
  const long* order_ = nullptr;
  long next_ = -1;          ///< position of the next one that is not among them, -1: order not known
  std::vector<long> slot_;  ///< nprot: where each prototype's row stands in rows_.block, -1 for none
};

}  // namespace qvtx
