#pragma once
// The prototypes by increasing graph distance from one of them.

#include <optional>

#include "graph/graph_paths.h"
#include "mapping/mapping_memory.h"
#include "quant/vequan.h"

namespace qvtx {

/// Graph rows with their order, from the quantizer's stores or, where these lack either, computed. Neither
/// the quantizer's prototypes nor its links may change during the object's life. Memory: the rows given, and
/// a copy of the links when shortest paths have to be searched. Where distances are stored and
/// `memory.orders` has a list for every prototype, an order is searched once (4 bytes a pair) for as long as
/// the lists live.
class GraphOrder {
 public:
  /// REQUIRES: at least one prototype, linked as `prot_fin` left them. laplacian: distances are not shortest
  /// paths. memory: room to work in, which must outlive the object.
  GraphOrder(const VeQuan& prototypes, bool laplacian, MappingMemory& memory);

  struct Row {
    const double* distance;  ///< nprot numbers: from prototype i to each one, negative where no path leads
    const long* order;       ///< nprot pairs; the second ones are i, then the others by distance, then -1
  };
  /// The row of prototype i. Valid until the next call.
  Row row(long i);

 private:
  Row searched(long i);

  const VeQuan& prototypes_;
  std::optional<GraphPaths> paths_;  ///< when shortest paths have to be searched
  MappingMemory& memory_;
};

}  // namespace qvtx
