#include "mapping/graph_order.h"

namespace qvtx {

GraphOrder::GraphOrder(const VeQuan& prototypes, bool laplacian) : prototypes_(prototypes) {
  // An order that comes in the scratch matrix is not stored, and then none is. One copy of the links serves
  // all searches, and one search gives both distances and order.
  if (laplacian || prototypes.path_row(0, order_, distance_) != order_.data()) return;
  paths_.emplace(prototypes.getlink(), 1);
}

GraphOrder::Row GraphOrder::row(long i) {
  if (!paths_) return {prototypes_.graph_row(i, distance_), prototypes_.path_row(i, order_, scratch_)};
  paths_->row(i, distance_.data(), order_.data());
  return {distance_.data(), order_.data()};
}

}  // namespace qvtx
