// Clustering by shared near neighbours (Jarvis and Patrick, "Clustering using a similarity measure based on shared near
// neighbors", IEEE Trans. Computers C-22, 1973).

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

#include "quant/vequan.h"

namespace qvtx {

namespace {

/// Disjoint sets of 0 .. n - 1; the representative of a set is its lowest member.
class DisjointSets {
 public:
  explicit DisjointSets(std::size_t n) : parent_(n) { std::iota(parent_.begin(), parent_.end(), 0); }
  std::int32_t find(std::int32_t i) {
    while (parent_[static_cast<std::size_t>(i)] != i) {
      std::int32_t& up = parent_[static_cast<std::size_t>(i)];
      up = parent_[static_cast<std::size_t>(up)];
      i = up;
    }
    return i;
  }
  void unite(std::int32_t i, std::int32_t j) {
    i = find(i);
    j = find(j);
    parent_[static_cast<std::size_t>(std::max(i, j))] = std::min(i, j);
  }

 private:
  std::vector<std::int32_t> parent_;
};

/// The k nearest rows of every row, each list in increasing number.
class NeighbourLists {
 public:
  NeighbourLists(const MatFullD& rows, long k) : k_(k) {
    list_.resize(static_cast<std::size_t>(rows.nrow() * k));
    MatFullD distance;
    MatFullL nearest;
    for (long i = 0; i < rows.nrow(); ++i) {
      rows.nearest(rows, i, distance, nearest, k);
      std::int32_t* list = list_.data() + i * k;
      for (long r = 0; r < k; ++r) list[r] = static_cast<std::int32_t>(r < nearest.nrow() ? nearest(r, 0) : i);
      std::sort(list, list + k);
    }
  }
  const std::int32_t* begin(long i) const { return list_.data() + i * k_; }
  const std::int32_t* end(long i) const { return begin(i) + k_; }
  bool holds(long i, long j) const { return std::binary_search(begin(i), end(i), static_cast<std::int32_t>(j)); }
  long shared(long i, long j) const {
    long count = 0;
    const std::int32_t* a = begin(i);
    const std::int32_t* b = begin(j);
    while (a != end(i) && b != end(j)) {
      if (*a == *b) ++count;
      const bool advance_a = *a <= *b;
      const bool advance_b = *b <= *a;
      a += advance_a;
      b += advance_b;
    }
    return count;
  }

 private:
  long k_;
  std::vector<std::int32_t> list_;
};

bool schedule_fits(const MatParaD& sched) {
  for (long t = sched.nrow() - 1; t >= 0; --t) {
    if (!(sched.get(t, 0) >= 1)) return false;
    if (sched.ncol() > 1 && !(sched.get(t, 1) >= 0)) return false;
  }
  return true;
}

/// Nearest long, within what a count can be.
long rounded(double x) { return std::lround(std::min(x, 2147483647.0)); }

}  // namespace

long VeQuan::jp(const char* file) {
  MatParaD sched;
  const bool loaded = file && load_schedule(sched, file, "default.jpp", static_cast<int>(verbose));
  const long shared = lkey("vjpshar ");
  lkey("vjpminc ");
  const long sort = lkey("vjpsort ");
  if (!loaded) {
    say_line("jp: using default parameters (all neighbours)");
    sched.setdim(1, 1);
    sched.setrows(1, 0.0);
    sched(0, 0) = static_cast<double>(std::max(10L, 2 * shared));
  }
  if (!prot_ini(0, 3)) return 0;
  prot.setrows(0);  // prototypes that were kept are not clusters
  if (!schedule_fits(sched)) {
    refuse("jp: k not parametric");
    return 0;
  }
  if (dat.nrow() == 0) return 0;
  progress_begin("jp: quantizing ... ", std::max(sched.nrow(), 1L));
  for (long t = 0; t < sched.nrow(); ++t) {
    if (verbose) os.lp(0);
    jp_itr(rounded(sched(t, 0)), sched.ncol() > 1 ? rounded(sched(t, 1)) : shared);
  }
  progress_end();
  finish_clusters(sort);
  return prot_fin("Jarvis-Patrick", 1);
}

long VeQuan::jp_itr(long k, long s) {
  if (!done(pinidone)) return 0;
  MatFullL left(0, 1, std::max(dat.nrow(), 1L));
  const long known = 1 + *std::max_element(bmu.data(), bmu.data() + bmu.nrow());  // clusters so far
  for (long i = 0; i < dat.nrow(); ++i) {
    if (bmu(i, 0) >= 0) continue;
    left.addrow();
    left(left.nrow() - 1, 0) = i;
  }
  const long n = left.nrow();
  const long length = std::clamp(k, std::min(1L, std::max(n - 1, 0L)), std::max(n - 1, 0L));
  // All data are left before the first pass: no copy is needed.
  MatFullD subset;
  if (n < dat.nrow()) subset.copy(dat, left, 0);
  const NeighbourLists lists(n < dat.nrow() ? subset : dat, length);
  DisjointSets sets(static_cast<std::size_t>(n));
  for (long i = 0; i < n; ++i) {
    for (const std::int32_t* j = lists.begin(i); j != lists.end(i); ++j) {
      if (*j > i && lists.holds(*j, i) && lists.shared(i, *j) >= s) sets.unite(static_cast<std::int32_t>(i), *j);
    }
  }
  std::vector<long> size(static_cast<std::size_t>(n), 0);
  std::vector<long> number(static_cast<std::size_t>(n), -1);
  for (long i = 0; i < n; ++i) ++size[static_cast<std::size_t>(sets.find(static_cast<std::int32_t>(i)))];
  const long least = lpref.getval(lpref.getkey("vjpminc "));
  long found = 0;
  long remaining = 0;
  for (long i = 0; i < n; ++i) {
    const auto set = static_cast<std::size_t>(sets.find(static_cast<std::int32_t>(i)));
    if (size[set] < least) {
      ++remaining;
      continue;
    }
    if (number[set] < 0) number[set] = known + found++;
    bmu(left(i, 0), 0) = number[set];
  }
  if (verbose) {
    os.ow(" k=").ow(length).ow(" s=").ow(s).ow(" clusters=").ow(found).ow(" left=").ow(remaining);
  }
  return 1;
}

void VeQuan::finish_clusters(long sort) {
  const long n = dat.nrow();
  long count = 1 + *std::max_element(bmu.data(), bmu.data() + n);
  if (count == 0) {
    std::fill_n(bmu.data(), n, 0L);
    count = 1;
  }
  // New numbers in the order asked for; ties go to the lowest datum.
  std::vector<long> size(static_cast<std::size_t>(count), 0);
  std::vector<long> lowest(static_cast<std::size_t>(count), n);
  for (long i = n - 1; i >= 0; --i) {
    if (bmu(i, 0) < 0) continue;
    ++size[static_cast<std::size_t>(bmu(i, 0))];
    lowest[static_cast<std::size_t>(bmu(i, 0))] = i;
  }
  std::vector<long> order_of(static_cast<std::size_t>(count));
  std::iota(order_of.begin(), order_of.end(), 0L);
  std::sort(order_of.begin(), order_of.end(), [&](long a, long b) {
    const auto i = static_cast<std::size_t>(a);
    const auto j = static_cast<std::size_t>(b);
    if (sort == 1 && size[i] != size[j]) return size[i] > size[j];
    if (sort == 2 && size[i] != size[j]) return size[i] < size[j];
    return lowest[i] < lowest[j];
  });
  std::vector<long> renamed(static_cast<std::size_t>(count));
  for (long c = 0; c < count; ++c) renamed[static_cast<std::size_t>(order_of[static_cast<std::size_t>(c)])] = c;
  for (long i = 0; i < n; ++i)
    if (bmu(i, 0) >= 0) bmu(i, 0) = renamed[static_cast<std::size_t>(bmu(i, 0))];
  cluster_means(count);
  adopt_leftovers();
}

void VeQuan::cluster_means(long count) {
  const long d = dat.ncol();
  prot.setdim(count, d);
  prot.setrows(count, 0.0);
  pval.setdim(count, 1);
  pval.setrows(count, 0.0);
  hits.setdim(count, 1);
  hits.setrows(count, 0);
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long k = bmu(i, 0);
    if (k < 0) continue;
    const double* x = dat.row(i);
    double* sum = prot.row(k);
    for (long c = d - 1; c >= 0; --c) sum[c] += x[c];
    ++hits(k, 0);
  }
  for (long k = count - 1; k >= 0; --k)
    for (long c = d - 1; c >= 0; --c) prot(k, c) /= static_cast<double>(hits(k, 0));
}

void VeQuan::adopt_leftovers() {
  MatFullL assigned;
  assigned.copy(bmu);
  MatFullD distance;
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    if (assigned(i, 0) >= 0) continue;
    dat.sdav(i, distance, no_bound);
    long best = -1;
    for (long j = dat.nrow() - 1; j >= 0; --j) {
      if (assigned(j, 0) < 0) continue;
      if (best < 0 || distance(j, 0) <= distance(best, 0)) best = j;
    }
    bmu(i, 0) = assigned(best, 0);
  }
}

}  // namespace qvtx
