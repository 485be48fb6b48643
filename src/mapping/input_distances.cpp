#include "mapping/input_distances.h"

namespace qvtx {

InputDistances::InputDistances(const VeQuan& prototypes, double w, bool across)
    : prototypes_(prototypes), w_(w), mask_components_(!across && prototypes.ncomp() > 1) {
  const long n = prototypes.getprot().nrow();
  mixed_.setdim(n, 1);
  mixed_.setrows(n);
  // A row that comes in the scratch matrix is not stored, and then none is: one copy of the links for all
  // searches is several times as fast as a search on the link store for every row.
  const bool computed = w != 0 && n > 0 && prototypes.graph_row(0, graph_) == graph_.data();
  if (computed) paths_.emplace(prototypes.getlink(), 1);
}

const double* InputDistances::graph_row(long i) {
  if (!paths_) return prototypes_.graph_row(i, graph_);
  paths_->row(i, graph_.data(), nullptr);
  return graph_.data();
}

const double* InputDistances::row(long i) {
  // A graph row is negative exactly where the component differs, so it needs no mask.
  if (w_ == 1) return graph_row(i);
  const double* space = prototypes_.space_row(i, space_);
  if (w_ == 0 && !mask_components_) return space;
  double* mixed = mixed_.data();
  const long n = mixed_.nrow();
  if (w_ == 0) {
    const long* label = prototypes_.getcomp().data();
    const long own = label[i];
    for (long j = n - 1; j >= 0; --j) mixed[j] = label[j] == own ? space[j] : -1.0;
    return mixed;
  }
  const double* graph = graph_row(i);
  const double rest = 1 - w_;
  for (long j = n - 1; j >= 0; --j) mixed[j] = graph[j] < 0 ? -1.0 : rest * space[j] + w_ * graph[j];
  return mixed;
}

}  // namespace qvtx
