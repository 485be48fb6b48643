#include "mapping/graph_order.h"

namespace qvtx {

GraphOrder::GraphOrder(const VeQuan& prototypes, bool laplacian, MappingMemory& memory)
    : prototypes_(prototypes), memory_(memory) {
  // An order that comes in the scratch matrix is not stored, and then none is. One copy of the links serves
  // all searches, and one search gives both distances and order.
  if (laplacian || prototypes.path_row(0, memory_.order, memory_.distances.graph) != memory_.order.data())
    return;
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
