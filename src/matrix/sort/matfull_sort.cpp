// Row orders of the double and the long matrix: `maxsort` and `potsort`.

#include <algorithm>
#include <utility>
#include <vector>

#include "matrix/matfulld.h"

namespace qvtx {

namespace {

/// Sorts the row numbers 0 .. n-1 by increasing value[row * step + col]; NaN counts as larger than any
/// number. idx (n x 2, resized here): column 0 the row of each rank, column 1 the rank of each row. Equal
/// values end in no fixed order, but in the same one on every machine. Williams, Algorithm 232: Heapsort,
/// CACM 7(6), 1964.
template <class T>
void heap_sort(const T* value, long step, long col, long n, MatFullL& idx) {
  idx.setdim(n, 2);
  idx.setrows(n);
  if (idx.nrow() != n) return;
  const auto entry = [rows = idx.data()](long k) -> long& { return rows[2 * k]; };
  const auto larger = [&](long a, long b) {
    const T x = value[entry(a) * step + col], y = value[entry(b) * step + col];
    return x > y || (x != x && y == y);
  };
  for (long last = 0; last < n; ++last) {
    entry(last) = last;
    long parent = 0;
    for (long k = last; k > 0 && larger(k, parent = (k + 1) / 2 - 1); k = parent)
      std::swap(entry(k), entry(parent));
  }
  for (long last = n - 1; last > 0; --last) {
    std::swap(entry(0), entry(last));
    for (long k = 0, child = 1; child < last; k = child, child = 2 * k + 1) {
      if (child + 1 < last && !larger(child, child + 1)) ++child;
      if (!larger(child, k)) break;
      std::swap(entry(k), entry(child));
    }
  }
  for (long k = 0; k < n; ++k) idx.data()[2 * entry(k) + 1] = k;
}

}  // namespace

void MatFullD::maxsort(long col, MatFullL& idx, long n) const {
  if (col < 0 || col >= ncol()) ermessage('s', 141, 1, col);
  if (n < 0 || n >= nrow()) n = nrow();
  std::vector<long> order(static_cast<std::size_t>(nrow()));
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<long>(i);
  // Repeated selection of the smallest value, the lowest row among equals, is this order's beginning.
  const auto before = [value = data(), d = ncol(), col](long i, long j) {
    const double x = value[i * d + col], y = value[j * d + col];
    if (x < y || x > y) return x < y;
    if (x != x || y != y) return y != y && (x == x || i < j);  // NaN last
    return i < j;
  };
  std::partial_sort(order.begin(), order.begin() + n, order.end(), before);
  idx.setdim(nrow(), 2);
  idx.setrows(nrow());
  if (idx.nrow() != nrow()) return;
  for (long k = 0; k < n; ++k) {
    const long i = order[static_cast<std::size_t>(k)];
    idx(k, 0) = i;
    idx(i, 1) = k;
  }
}

void MatFullD::potsort(long col, MatFullL& idx) const {
  if (col < 0 || col >= ncol()) ermessage('s', 141, 1, col);
  heap_sort(data(), ncol(), col, nrow(), idx);
}

void MatFullL::potsort(long col, MatFullL& idx) const {
  if (col < 0 || col >= ncol()) ermessage('s', 141, 1, col);
  heap_sort(data(), ncol(), col, nrow(), idx);
}

}  // namespace qvtx
