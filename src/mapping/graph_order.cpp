#include "mapping/graph_order.h"

namespace qvtx {

GraphOrder::GraphOrder(const VeQuan& prototypes, bool laplacian, MappingMemory& memory)
    : prototypes_(prototypes), memory_(memory) {
  // Either all orders are stored or none. One copy of the links serves all searches, and one search gives
  // both distances and order.
  if (laplacian || prototypes.path_stored(0)) return;
  const long n = prototypes.getprot().nrow();
  memory_.order.setdim(n, 2);
  memory_.order.setrows(n);
  memory_.distances.graph.setdim(n, 1);
  memory_.distances.graph.setrows(n);
  paths_.emplace(prototypes.getlink(), 1);
}

GraphOrder::Row GraphOrder::row(long i) {
  if (!paths_)
    return {prototypes_.graph_row(i, memory_.distances.graph),
            prototypes_.path_row(i, memory_.order, memory_.scratch)};
  paths_->row(i, memory_.distances.graph.data(), memory_.order.data());
  return {memory_.distances.graph.data(), memory_.order.data()};
}

}  // namespace qvtx
