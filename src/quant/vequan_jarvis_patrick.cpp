// Clustering by shared near neighbours (Jarvis and Patrick, "Clustering using a similarity measure based on
// shared near neighbors", IEEE Trans. Computers C-22, 1973).

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

#include "matrix/distance/all_neighbours.h"
#include "quant/centroids.h"
#include "quant/vequan.h"

namespace qvtx {

/// Disjoint sets of 0 .. n - 1; the representative of a set is its lowest member.
class VeQuan::DisjointSets {
 public:
  explicit DisjointSets(std::size_t n) : parent_(n) { std::iota(parent_.begin(), parent_.end(), 0); }
  std::size_t find(long member) {
    auto i = static_cast<std::size_t>(member);
    while (parent(i) != i) {
      parent_[i] = parent_[parent(i)];  // halves the way for the next search
      i = parent(i);
    }
    return i;
  }
  void unite(long a, long b) {
    const auto [low, high] = std::minmax({find(a), find(b)});
    parent_[high] = static_cast<std::int32_t>(low);
  }

 private:
  std::size_t parent(std::size_t i) const { return static_cast<std::size_t>(parent_[i]); }
  std::vector<std::int32_t> parent_;
};

namespace {

/// The k nearest rows of every row, each list in increasing number.
class NeighbourLists {
 public:
  /// REQUIRES: k < rows.nrow(), or 0.
  NeighbourLists(const MatFullD& rows, long k) : k_(k), list_(static_cast<std::size_t>(rows.nrow() * k)) {
    if (k < 1) return;
    AllNeighbours(rows).search(k, [this, k](long i, const NearestList& nearest) {
      std::int32_t* list = list_.data() + i * k;
      for (long r = 0; r < k; ++r) list[r] = static_cast<std::int32_t>(nearest[r].row);
      std::sort(list, list + k);
    });
  }
  const std::int32_t* begin(long i) const { return list_.data() + i * k_; }
  const std::int32_t* end(long i) const { return begin(i) + k_; }
  bool holds(long i, long j) const {
    return std::binary_search(begin(i), end(i), static_cast<std::int32_t>(j));
  }
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
    sched.setrows(1, static_cast<double>(std::max(10L, 2 * shared)));
  }
  // Without prototypes there is nothing that "vgkeep_p" could keep: clusters are always new ones.
  if (done(datadone)) prot.setdim(0, dat.ncol());
  if (!prot_ini(0, 3)) return 0;
  if (!schedule_fits(sched)) {
    refuse("jp: k not parametric");
    return 0;
  }
  if (dat.nrow() == 0) return 0;
  progress_begin("jp: quantizing ... ", sched.nrow());
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
  long known = 0;  // clusters so far
  for (long i = 0; i < dat.nrow(); ++i) {
    known = std::max(known, bmu(i, 0) + 1);
    if (bmu(i, 0) >= 0) continue;
    left.addrow();
    left(left.nrow() - 1, 0) = i;
  }
  const long n = left.nrow();
  k = n < 2 ? 0 : std::clamp(k, 1L, n - 1);
  DisjointSets sets(static_cast<std::size_t>(n));
  join_neighbours(left, k, s, sets);
  const long found = number_clusters(left, sets, known);
  if (verbose) {
    const long remaining = bmu.count(0, -1, -1);
    os.ow(" k=").ow(k).ow(" s=").ow(s).ow(" clusters=").ow(found).ow(" left=").ow(remaining);
  }
  return 1;
}

void VeQuan::join_neighbours(const MatFullL& left, long k, long s, DisjointSets& sets) const {
  const long n = left.nrow();
  MatFullD subset;  // all data are left before the first pass: no copy is needed
  if (n < dat.nrow()) subset.copy(dat, left, 0);
  const NeighbourLists lists(n < dat.nrow() ? subset : dat, k);
  for (long i = 0; i < n; ++i) {
    for (const std::int32_t* j = lists.begin(i); j != lists.end(i); ++j) {
      if (*j > i && lists.holds(*j, i) && lists.shared(i, *j) >= s) sets.unite(i, *j);
    }
  }
}

long VeQuan::number_clusters(const MatFullL& left, DisjointSets& sets, long known) {
  const long least = lpref.getval(lpref.getkey("vjpminc "));
  std::vector<long> size(static_cast<std::size_t>(left.nrow()), 0);
  std::vector<long> number(size.size(), -1);
  for (long i = 0; i < left.nrow(); ++i) ++size[sets.find(i)];
  long found = 0;
  for (long i = 0; i < left.nrow(); ++i) {
    const std::size_t set = sets.find(i);
    if (size[set] < least) continue;
    if (number[set] < 0) number[set] = known + found++;
    bmu(left(i, 0), 0) = number[set];
  }
  return found;
}

void VeQuan::finish_clusters(long sort) {
  long count = 0;
  for (long i = 0; i < dat.nrow(); ++i) count = std::max(count, bmu(i, 0) + 1);
  if (count == 0) {
    std::fill_n(bmu.data(), dat.nrow(), 0L);
    count = 1;
  }
  order_clusters(sort, count);
  cluster_means(count);
  adopt_leftovers();
}

void VeQuan::order_clusters(long sort, long count) {
  struct Cluster {
    long size = 0;
    long lowest = 0;  // datum
    long number = 0;  // so far
  };
  std::vector<Cluster> clusters(static_cast<std::size_t>(count));
  for (long c = 0; c < count; ++c) clusters[static_cast<std::size_t>(c)].number = c;
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    if (bmu(i, 0) < 0) continue;
    Cluster& cluster = clusters[static_cast<std::size_t>(bmu(i, 0))];
    ++cluster.size;
    cluster.lowest = i;
  }
  std::sort(clusters.begin(), clusters.end(), [sort](const Cluster& a, const Cluster& b) {
    if (sort == 1 && a.size != b.size) return a.size > b.size;
    if (sort == 2 && a.size != b.size) return a.size < b.size;
    return a.lowest < b.lowest;
  });
  std::vector<long> renamed(static_cast<std::size_t>(count));
  for (std::size_t c = 0; c < clusters.size(); ++c)
    renamed[static_cast<std::size_t>(clusters[c].number)] = static_cast<long>(c);
  for (long i = 0; i < dat.nrow(); ++i) {
    if (bmu(i, 0) >= 0) bmu(i, 0) = renamed[static_cast<std::size_t>(bmu(i, 0))];
  }
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
  for (long k = count - 1; k >= 0; --k) divide_row(prot, k, hits(k, 0));
}

void VeQuan::adopt_leftovers() {
  MatFullL members(0, 1, dat.nrow());
  MatFullL left(0, 1, dat.nrow());
  for (long i = 0; i < dat.nrow(); ++i) {
    MatFullL& list = bmu(i, 0) >= 0 ? members : left;
    list.addrow();
    list(list.nrow() - 1, 0) = i;
  }
  if (left.nrow() == 0) return;
  MatFullD known, unknown;
  known.copy(dat, members, 0);
  unknown.copy(dat, left, 0);
  MatFullL nearest;
  nearest_rows(known, unknown, nearest);
  for (long r = 0; r < left.nrow(); ++r) bmu(left(r, 0), 0) = bmu(members(nearest(r, 0), 0), 0);
}

}  // namespace qvtx
