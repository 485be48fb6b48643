#include "mapping/graph_order.h"

#include <iterator>
#include <new>

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
  if (std::ssize(memory_.orders) != memory_.order.nrow() || !prototypes_.graph_stored(i)) return searched(i);
  std::vector<int>& kept = memory_.orders[static_cast<std::size_t>(i)];
  long* const order = memory_.order.data();
  if (!kept.empty()) {
    for (std::size_t k = 0; k < kept.size(); ++k) order[2 * k + 1] = kept[k];
    return {prototypes_.graph_row(i, memory_.distances.graph), order};
  }
  const Row row = searched(i);
  try {
    kept.resize(static_cast<std::size_t>(memory_.order.nrow()));
  } catch (const std::bad_alloc&) {
    return row;  // searched again the next time
  }
  for (std::size_t k = 0; k < kept.size(); ++k) kept[k] = static_cast<int>(order[2 * k + 1]);
  return row;
}

GraphOrder::Row GraphOrder::searched(long i) {
  paths_->row(i, memory_.distances.graph.data(), memory_.order.data());
  return {memory_.distances.graph.data(), memory_.order.data()};
}

}  // namespace qvtx
