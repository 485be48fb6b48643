#include "mapping/input_distances.h"

namespace qvtx {

InputDistances::InputDistances(const VeQuan& prototypes, double w, bool across, RowRoom& rows)
    : prototypes_(prototypes), w_(w), mask_components_(!across && prototypes.ncomp() > 1), rows_(rows) {
  const long n = prototypes.getprot().nrow();
  rows_.mixed.setdim(n, 1);
  rows_.mixed.setrows(n);
  // Either all rows are stored or none. One copy of the links for all searches is several times as fast as a
  // search on the link store for every row.
  if (w != 0 && !prototypes.graph_stored(0) && !prototypes.has_laplacian()) {
    rows_.graph.setdim(n, 1);
    rows_.graph.setrows(n);
    paths_.emplace(prototypes.getlink(), 1);
  }
  stored_ = w == 0 ? !mask_components_ && prototypes.space_stored(0) : w == 1 && prototypes.graph_stored(0);
}

const double* InputDistances::stored(long i) const {
  if (!stored_) return nullptr;
  return w_ == 0 ? prototypes_.space_row(i, rows_.space) : prototypes_.graph_row(i, rows_.graph);
}

const double* InputDistances::graph_row(long i) {
  if (!paths_) return prototypes_.graph_row(i, rows_.graph);
  paths_->row(i, rows_.graph.data(), nullptr);
  return rows_.graph.data();
}

const double* InputDistances::row(long i) {
  // A graph row is negative exactly where the component differs, so it needs no mask.
  if (w_ == 1) return graph_row(i);
  const double* space = prototypes_.space_row(i, rows_.space);
  if (w_ == 0 && !mask_components_) return space;
  double* mixed = rows_.mixed.data();
  const long n = rows_.mixed.nrow();
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
