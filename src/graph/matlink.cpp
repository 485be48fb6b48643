#include "graph/matlink.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

namespace qvtx {

namespace {

/// The pointers of a link row in the list of node i. A link from a node to itself keeps them twice, hence two
/// tests.
void set_next(long* row, long i, long k) {
  if (row[2] == i) row[0] = k;
  if (row[5] == i) row[3] = k;
}

void set_previous(long* row, long i, long k) {
  if (row[2] == i) row[1] = k;
  if (row[5] == i) row[4] = k;
}

}  // namespace

template <class T>
MatLinkT<T>::MatLinkT(long n, long m, long inc) {
  setdim(n, m);
  if (inc < 1) ermessage('g', 102, 1, inc);
  node.setinc(inc);
}

template <class T>
void MatLinkT<T>::swap(MatLinkT& other) noexcept {
  std::swap(free, other.free);
  node.swap(other.node);
  link.swap(other.link);
  value.swap(other.value);
}

template <class T>
void MatLinkT<T>::duplicate(const MatLinkT& other) {
  free = other.free;
  node.duplicate(other.node);
  link.duplicate(other.link);
  value.duplicate(other.value);
}

template <class T>
void MatLinkT<T>::ermessage(char kind, int code, int arg, long v) const {
  class_error("MatLinkT", kind, code, arg, v, nnode(), nvalue());
}

template <class T>
void MatLinkT<T>::ermessage(char kind, int code, int arg, long other_nrow, long other_ncol) const {
  class_error("MatLinkT", kind, code, arg, nnode(), nvalue(), other_nrow, other_ncol);
}

template <class T>
void MatLinkT<T>::checknode(long i, char kind, int code, int arg) const {
  if (i < 0 || i >= nnode()) ermessage(kind, code, arg, i);
}

// ---- Shape ----

template <class T>
long MatLinkT<T>::nlive() const {
  long live_links = nslot();
  for (long k = free; k >= 0; k = link.data()[6 * k]) --live_links;
  return live_links;
}

template <class T>
long MatLinkT<T>::setdim(long n, long m) {
  if (n < 0) ermessage('g', 101, 1, n);
  if (m < 1) ermessage('g', 101, 2, m);
  const long slots = n > 1 ? 10 * n : 10;
  free = -1;
  bool reserved = node.setdim(n, 1) == n;
  reserved = (link.setdim(slots, 6) == slots) && reserved;
  reserved = (value.setdim(slots, m) == slots) && reserved;
  link.setinc(slots);
  value.setinc(slots);
  return reserved ? n : 0;
}

template <class T>
long MatLinkT<T>::addrow(long k) {
  const long n = nnode();
  if (k >= 0) {
    node.setrows(n + k, -1);
  } else if (k <= -n) {
    node.setrows(0, -1);
    link.setrows(0, -1);
    value.setrows(0, T{});
    free = -1;
  } else {
    for (long i = n - 1; i >= n + k; --i) clear_links(i);
    node.setrows(n + k, -1);
  }
  return nnode();
}

template <class T>
long MatLinkT<T>::delrow(long i) {
  checknode(i, 'g', 103, 1);
  swaprows(i, nnode() - 1);
  return addrow(-1);
}

template <class T>
void MatLinkT<T>::clear_links(long i) {
  while (del_link(head(i)) != 0) {
  }
}

/// Every link of node `from`, the list that starts at link k, belongs to `to` from now on.
template <class T>
void MatLinkT<T>::rename(long k, long from, long to) {
  while (k >= 0) {
    const long following = next(k, from);
    long* row = link.data() + 6 * k;
    if (row[2] == from) row[2] = to;
    if (row[5] == from) row[5] = to;
    k = following;
  }
}

/// Restores the order of the ends in every link of node i.
template <class T>
void MatLinkT<T>::reorder(long i) {
  for (long k = head(i); k >= 0; k = next(k, i)) {
    long* row = link.data() + 6 * k;
    if (row[2] > row[5]) std::swap_ranges(row, row + 3, row + 3);
  }
}

template <class T>
void MatLinkT<T>::swaprows(long i, long j) {
  checknode(i, 'g', 106, 1);
  checknode(j, 'g', 106, 2);
  if (i == j) return;
  constexpr long nobody = -2;
  rename(head(i), i, nobody);
  rename(head(j), j, i);
  rename(head(i), nobody, j);
  std::swap(node.data()[i], node.data()[j]);
  reorder(i);
  reorder(j);
}

// ---- Links ----

template <class T>
long MatLinkT<T>::add_link(long i, long j) {
  checknode(i, 'g', 104, 1);
  checknode(j, 'g', 104, 2);
  long k = free;
  if (k >= 0) {
    free = link.data()[6 * k];
    std::fill_n(value.data() + k * nvalue(), nvalue(), T{});
  } else {
    k = nslot();
    link.setrows(k + 1, -1);
    value.setrows(k + 1, T{});
    if (link.nrow() == k || value.nrow() == k) {  // out of memory: both tables stay as they were
      link.setrows(k, -1);
      value.setrows(k, T{});
      return -1;
    }
  }
  const long a = std::min(i, j), b = std::max(i, j);
  const long head_a = head(a), head_b = head(b);
  long* row = link.data() + 6 * k;
  row[0] = head_a;
  row[1] = -1;
  row[2] = a;
  row[3] = head_b;
  row[4] = -1;
  row[5] = b;
  node.data()[a] = k;
  node.data()[b] = k;
  if (head_a >= 0) set_previous(link.data() + 6 * head_a, a, k);
  if (head_b >= 0) set_previous(link.data() + 6 * head_b, b, k);
  return k;
}

template <class T>
long MatLinkT<T>::get_link(long i, long j) const {
  checknode(i, 'g', 105, 1);
  checknode(j, 'g', 105, 2);
  long of_i = head(i), of_j = head(j);
  while (of_i >= 0 && of_j >= 0) {
    if (other(of_i, i) == j) return of_i;
    if (other(of_j, j) == i) return of_j;
    of_i = next(of_i, i);
    of_j = next(of_j, j);
  }
  return -1;
}

/// Takes link k out of the list of its end i.
template <class T>
void MatLinkT<T>::unlink(long k, long i) {
  const long* row = link.data() + 6 * k;
  const bool first_end = row[2] == i;
  const long following = first_end ? row[0] : row[3];
  const long previous = first_end ? row[1] : row[4];
  if (previous >= 0) {
    set_next(link.data() + 6 * previous, i, following);
  } else {
    node.data()[i] = following;
  }
  if (following >= 0) set_previous(link.data() + 6 * following, i, previous);
}

template <class T>
int MatLinkT<T>::del_link(long k) {
  if (k < 0 || k >= nslot() || !live(k)) return 0;
  const long a = end_a(k), b = end_b(k);
  unlink(k, a);
  if (b != a) unlink(k, b);
  long* row = link.data() + 6 * k;
  row[0] = free;
  row[2] = -1;
  free = k;
  return 1;
}

// ---- Queries ----

template <class T>
long MatLinkT<T>::degree(long i) const {
  checknode(i, 'g', 51, 1);
  long links = 0;
  for (long k = head(i); k >= 0; k = next(k, i)) ++links;
  return links;
}

template <class T>
long MatLinkT<T>::degree(long i, MatFullL& out) const {
  const long links = degree(i);
  out.setdim(links, 1);
  out.setrows(links, -1);
  long r = 0;
  for (long k = head(i); k >= 0; k = next(k, i)) out.data()[r++] = other(k, i);
  return links;
}

template <class T>
double MatLinkT<T>::sum(long i, long c) const {
  checknode(i, 'a', 1, 1);
  if (c < 0 || c >= nvalue()) ermessage('a', 1, 3, c);
  double total = 0.0;
  for (long k = head(i); k >= 0; k = next(k, i)) total += static_cast<double>(getvalue(k, c));
  return total;
}

template <class T>
long MatLinkT<T>::nrnv(long i, MatFullL& mark) const {
  checknode(i, 'l', 702, 1);
  mark.setdim(nnode(), 1);
  mark.setrows(nnode(), -1);
  std::fill_n(mark.data(), nnode(), -1L);
  long links = 0;
  for (long k = head(i); k >= 0; k = next(k, i)) {
    mark.data()[other(k, i)] = 1;
    ++links;
  }
  mark.data()[i] = 0;
  return links;
}

template <class T>
long MatLinkT<T>::nrav(long i, MatFullL& order, MatFullL& hops, long kmax) const {
  checknode(i, 'l', 801, 1);
  const long n = nnode();
  hops.setdim(n, 1);
  hops.setrows(n, -1);
  std::fill_n(hops.data(), n, -1L);
  order.setdim(n, 1);
  order.setrows(n, -1);
  long* queue = order.data();
  long reached = 1;
  queue[0] = i;
  hops.data()[i] = 0;
  for (long done = 0; done < reached; ++done) {
    const long u = queue[done];
    const long hop = hops.data()[u] + 1;
    if (hop > kmax) break;  // the queue is ordered by hops
    for (long k = head(u); k >= 0; k = next(k, u)) {
      const long v = other(k, u);
      if (hops.data()[v] >= 0) continue;
      hops.data()[v] = hop;
      queue[reached++] = v;
    }
  }
  order.setrows(reached, -1);
  return reached - 1;
}

/// The pool is kept with the position of every node in it, so that the whole takes one walk over the links; a
/// search per component through `nrav` would clear n marks each time.
template <class T>
long MatLinkT<T>::connex(MatFullL& comp) const {
  const long n = nnode();
  if (comp.setdim(n, 1) != n) throw std::bad_alloc();
  comp.setrows(n, -1);
  std::vector<long> pool(static_cast<std::size_t>(n)), position(pool.size()), queue(pool.size());
  for (long i = 0; i < n; ++i) pool[static_cast<std::size_t>(i)] = position[static_cast<std::size_t>(i)] = i;

  long left = n, components = 0;
  const auto reach = [&](long i) {
    comp.data()[i] = components;
    const long place = position[static_cast<std::size_t>(i)];
    const long last = pool[static_cast<std::size_t>(--left)];
    pool[static_cast<std::size_t>(place)] = last;
    position[static_cast<std::size_t>(last)] = place;
  };
  while (left > 0) {  // NOLINT(bugprone-infinite-loop): reach counts down
    std::size_t reached = 0;
    queue[reached++] = pool[0];
    reach(pool[0]);
    for (std::size_t done = 0; done < reached; ++done) {
      const long u = queue[done];
      for (long k = head(u); k >= 0; k = next(k, u)) {
        const long v = other(k, u);
        if (comp.data()[v] >= 0) continue;
        queue[reached++] = v;
        reach(v);
      }
    }
    ++components;
  }
  return components;
}

template <class T>
void MatLinkT<T>::copy_vss(const MatLinkT& src, MatFullL& map, const MatFullL& sel, long k) {
  if (k < 0 || k >= sel.ncol()) ermessage('g', 107, 4, k);
  map.setdim(src.nnode(), 1);
  map.setrows(src.nnode(), -1);
  std::fill_n(map.data(), src.nnode(), -1L);
  for (long r = sel.nrow() - 1; r >= 0; --r) {
    const long i = sel(r, k);
    src.checknode(i, 'g', 107, 3);
    map.data()[i] = r;
  }
  MatLinkT part(sel.nrow(), src.nvalue(), src.node.ninc());
  part.addrow(sel.nrow());
  for (long from = 0; from < src.nslot(); ++from) {
    if (!src.live(from)) continue;
    const long i = map.data()[src.end_a(from)], j = map.data()[src.end_b(from)];
    if (i < 0 || j < 0) continue;
    const long to = part.add_link(i, j);
    if (to < 0) break;  // out of memory
    std::copy_n(src.value.data() + from * src.nvalue(), src.nvalue(), part.value.data() + to * src.nvalue());
  }
  swap(part);
}

// ---- Trees ----

/// Orders by key, then by link: among equal lengths the lower link number wins.
template <class T>
bool MatLinkT<T>::TreeNode::operator<(const FibHeapNode& other) const {
  const auto& rival = static_cast<const TreeNode&>(other);
  if (below_all() != below_all(other) || key != rival.key) return HeapNode<double>::operator<(other);
  return link < rival.link;
}

template <class T>
long MatLinkT<T>::grow_tree(long root, long c, bool paths, std::vector<TreeNode>& nodes) const {
  const auto at = [&](long i) -> TreeNode& { return nodes[static_cast<std::size_t>(i)]; };
  FibHeap heap;
  at(root) = 0.0;
  at(root).reached = true;
  heap.Insert(&at(root));
  long links = -1;
  while (auto* u = static_cast<TreeNode*>(heap.ExtractMin())) {
    u->settled = true;
    ++links;
    const long i = u->index;
    for (long k = head(i); k >= 0; k = next(k, i)) {
      TreeNode& v = at(other(k, i));
      if (v.settled) continue;
      double length = static_cast<double>(getvalue(k, c)) + (paths ? u->key : 0.0);
      if (std::isnan(length)) length = std::numeric_limits<double>::infinity();
      if (!v.reached) {
        v = length;
        v.link = k;
        v.reached = true;
        heap.Insert(&v);
      } else if (length < v.key || (length == v.key && k < v.link)) {
        TreeNode offer;
        offer = length;
        v.link = offer.link = k;  // before the key, so that an offer of equal length moves the node too
        heap.DecreaseKey(&v, offer);
      }
    }
  }
  return links;
}

template <class T>
long MatLinkT<T>::mst(long root, long c, MatFullL& parent) const {
  checknode(root, 'l', 901, 1);
  if (c < 0 || c >= nvalue()) ermessage('l', 901, 2, c);
  const long n = nnode();
  std::vector<TreeNode> nodes(static_cast<std::size_t>(n));
  for (long i = 0; i < n; ++i) nodes[static_cast<std::size_t>(i)].index = i;
  const long links = grow_tree(root, c, false, nodes);
  parent.setdim(n, 1);
  parent.setrows(n, -1);
  for (long i = 0; i < n; ++i) {
    const long k = nodes[static_cast<std::size_t>(i)].link;
    parent.data()[i] = k >= 0 ? other(k, i) : -1;
  }
  return links;
}

template class MatLinkT<long>;
template class MatLinkT<int>;
template class MatLinkT<double>;

}  // namespace qvtx
