#include "mapping/pair_rows.h"

#include <algorithm>

#include "matrix/distance/metric.h"

namespace qvtx {

PairRows::PairRows(const VeQuan& prototypes, double w, bool across, MatFullD& images, MappingMemory& memory,
                   const MatFullL* order)
    : input_(prototypes, w, across, memory.distances),
      images_(images),
      arrays_(memory.images),
      plain_(memory.scratch) {
  arrays_.load(images_);
  input_.ask_in_order(order ? order->data() : nullptr);
}

PairRow PairRows::row(long i, long next) {
  PairRow row{i, input_.row(i), nullptr, input_.stored(next)};
  if (!row.soon) row.soon = row.input;
  if (!Metric::in_force().is_euclidean()) {
    store();
    images_.sdav(i, plain_, no_bound);
    std::copy_n(plain_.data(), images_.nrow(), arrays_.distance());  // where there is padding
    row.d = arrays_.distance();
  }
  return row;
}

PairRow PairRows::row_at(const MatFullL& order, long position) {
  return row(order.get(position, 0), order.get(std::max(position - 1, 0L), 0));
}

}  // namespace qvtx
