#include "mapping/input_distances.h"

#include <algorithm>
#include <new>

namespace qvtx {

namespace {

/// For what takes the place of rows that are not stored.
constexpr long most_bytes = 1L << 26;

/// Rows of n numbers that are searched for together, so that among them are many of near sources.
long rows_at_once(long n) {
  constexpr long most_numbers = most_bytes / static_cast<long>(sizeof(double));
  return std::min(n, std::max(most_numbers / n, PathRows::group));
}

}  // namespace

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
    if (rows_.plant && !rows_.trees) plant();
    if (!rows_.trees) paths_.emplace(prototypes.getlink(), 1);
  }
  stored_ = w == 0 ? !mask_components_ && prototypes.space_stored(0) : w == 1 && prototypes.graph_stored(0);
}

const double* InputDistances::stored(long i) const {
  if (!stored_) return nullptr;
  return w_ == 0 ? prototypes_.space_row(i, rows_.space) : prototypes_.graph_row(i, rows_.graph);
}

/// Without the memory for it rows are searched for each time.
void InputDistances::plant() {
  try {
    rows_.trees = PathTrees::plant(prototypes_.getlink(), 1, most_bytes);
  } catch (const std::bad_alloc&) {
  }
}

const double* InputDistances::graph_row(long i) {
  if (rows_.trees) {
    rows_.trees->row(i, rows_.graph.data());
    return rows_.graph.data();
  }
  if (!paths_) return prototypes_.graph_row(i, rows_.graph);
  if (!slot_.empty()) {
    long& slot = slot_[static_cast<std::size_t>(i)];
    if (slot < 0 && node_at(next_) == i) search_from(next_);
    if (slot >= 0) return rows_.block.row(slot);
  }
  paths_->row(i, rows_.graph.data());
  return rows_.graph.data();
}

void InputDistances::ask_in_order(const long* order) {
  if (!paths_) return;
  const long n = rows_.graph.nrow();
  const long count = rows_at_once(n);
  if (rows_.block.setdim(count, n) != count) return;  // no memory: row by row
  rows_.block.setrows(count);
  order_ = order;
  next_ = n - 1;
  slot_.assign(static_cast<std::size_t>(n), -1);
}

/// Finds the rows of the prototypes at a position of the order and below it. Those near each other along the
/// links go together.
void InputDistances::search_from(long position) {
  const long n = rows_.graph.nrow();
  const long count = std::min(rows_.block.nrow(), position + 1);
  std::fill(slot_.begin(), slot_.end(), -1L);
  std::vector<long>& sources = rows_.sources;
  sources.clear();
  for (long k = 0; k < count; ++k) sources.push_back(node_at(position - k));
  std::sort(sources.begin(), sources.end(),
            [this](long a, long b) { return paths_->place(a) < paths_->place(b); });
  double* rows[PathRows::group];
  for (long first = 0; first < count; first += PathRows::group) {
    const long together = std::min(PathRows::group, count - first);
    for (long s = 0; s < together; ++s) {
      slot_[static_cast<std::size_t>(sources[static_cast<std::size_t>(first + s)])] = first + s;
      rows[s] = rows_.block.row(first + s);
    }
    paths_->rows(sources.data() + first, together, rows, nullptr);
  }
  next_ = position >= count ? position - count : n - 1;  // the next pass begins anew
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
