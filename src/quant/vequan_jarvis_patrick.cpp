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
#include "quant/winners.h"

namespace qvtx {

namespace {

/// Disjoint sets of 0 .. n - 1; the representative of a set is its lowest member.
class DisjointSets {
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

/// The clusters of data: `label` (ndata x 1) tells the cluster of each datum, -1: none yet.
class Clusters {
 public:
  Clusters(const MatFullD& dat, MatFullL& label) : dat_(dat), label_(label) {}

  /// One pass over the data left: those that are among each other's k nearest and share s of them belong
  /// together. Sets of `least` data or more become the clusters count(), count() + 1, ...; k is brought into
  /// the range of what is possible. Returns how many clusters were found.
  long pass(long& k, long s, long least);
  /// Clusters so far.
  long count() const;
  /// Numbers the clusters by their lowest datum (sort 0), or first by size, falling (1) or rising (2). When
  /// there is none, all data become one. Returns their number.
  long order(long sort);
  /// The data left over join the cluster of the nearest datum that has one.
  void adopt_leftovers();

 private:
  /// The data that have a cluster, and the others, as columns of their numbers.
  void split(MatFullL& members, MatFullL& left) const;
  void join_neighbours(const MatFullL& left, long k, long s, DisjointSets& sets) const;

  const MatFullD& dat_;
  MatFullL& label_;
};

long Clusters::count() const {
  long count = 0;
  for (long i = 0; i < dat_.nrow(); ++i) count = std::max(count, label_(i, 0) + 1);
  return count;
}

void Clusters::split(MatFullL& members, MatFullL& left) const {
  for (MatFullL* list : {&members, &left}) list->setdim(std::max(dat_.nrow(), 1L), 1);
  for (long i = 0; i < dat_.nrow(); ++i) {
    MatFullL& list = label_(i, 0) >= 0 ? members : left;
    list.addrow();
    list(list.nrow() - 1, 0) = i;
  }
}

long Clusters::pass(long& k, long s, long least) {
  MatFullL members, left;
  split(members, left);
  const long n = left.nrow();
  k = n < 2 ? 0 : std::clamp(k, 1L, n - 1);
  DisjointSets sets(static_cast<std::size_t>(n));
  join_neighbours(left, k, s, sets);

  const long known = count();
  std::vector<long> size(static_cast<std::size_t>(n), 0);
  std::vector<long> number(size.size(), -1);
  for (long i = 0; i < n; ++i) ++size[sets.find(i)];
  long found = 0;
  for (long i = 0; i < n; ++i) {
    const std::size_t set = sets.find(i);
    if (size[set] < least) continue;
    if (number[set] < 0) number[set] = known + found++;
    label_(left(i, 0), 0) = number[set];
  }
  return found;
}

void Clusters::join_neighbours(const MatFullL& left, long k, long s, DisjointSets& sets) const {
  const long n = left.nrow();
  MatFullD subset;  // all data are left before the first pass: no copy is needed
  if (n < dat_.nrow()) subset.copy(dat_, left, 0);
  const NeighbourLists lists(n < dat_.nrow() ? subset : dat_, k);
  for (long i = 0; i < n; ++i) {
    for (const std::int32_t* j = lists.begin(i); j != lists.end(i); ++j) {
      if (*j > i && lists.holds(*j, i) && lists.shared(i, *j) >= s) sets.unite(i, *j);
    }
  }
}

long Clusters::order(long sort) {
  if (count() == 0) std::fill_n(label_.data(), dat_.nrow(), 0L);
  struct Cluster {
    long size = 0;
    long lowest = 0;  // datum
    long number = 0;  // so far
  };
  std::vector<Cluster> clusters(static_cast<std::size_t>(count()));
  for (std::size_t c = 0; c < clusters.size(); ++c) clusters[c].number = static_cast<long>(c);
  for (long i = dat_.nrow() - 1; i >= 0; --i) {
    if (label_(i, 0) < 0) continue;
    Cluster& cluster = clusters[static_cast<std::size_t>(label_(i, 0))];
    ++cluster.size;
    cluster.lowest = i;
  }
  std::sort(clusters.begin(), clusters.end(), [sort](const Cluster& a, const Cluster& b) {
    if (sort == 1 && a.size != b.size) return a.size > b.size;
    if (sort == 2 && a.size != b.size) return a.size < b.size;
    return a.lowest < b.lowest;
  });
  std::vector<long> renamed(clusters.size());
  for (std::size_t c = 0; c < clusters.size(); ++c)
    renamed[static_cast<std::size_t>(clusters[c].number)] = static_cast<long>(c);
  for (long i = 0; i < dat_.nrow(); ++i) {
    if (label_(i, 0) >= 0) label_(i, 0) = renamed[static_cast<std::size_t>(label_(i, 0))];
  }
  return static_cast<long>(clusters.size());
}

void Clusters::adopt_leftovers() {
  MatFullL members, left;
  split(members, left);
  if (left.nrow() == 0) return;
  MatFullD known, unknown;
  known.copy(dat_, members, 0);
  unknown.copy(dat_, left, 0);
  MatFullL nearest;
  nearest_rows(known, unknown, nearest);
  for (long r = 0; r < left.nrow(); ++r) label_(left(r, 0), 0) = label_(members(nearest(r, 0), 0), 0);
}

/// prot and hits become the means and sizes of `count` clusters; data without one (label -1) do not count.
void cluster_means(const MatFullD& dat, const MatFullL& label, long count, MatFullD& prot, MatFullL& hits) {
  const long d = dat.ncol();
  prot.setdim(count, d);
  prot.setrows(count, 0.0);
  hits.setdim(count, 1);
  hits.setrows(count, 0);
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long k = label(i, 0);
    if (k < 0) continue;
    const double* x = dat.row(i);
    double* sum = prot.row(k);
    for (long c = d - 1; c >= 0; --c) sum[c] += x[c];
    ++hits(k, 0);
  }
  for (long k = count - 1; k >= 0; --k) divide_row(prot, k, hits(k, 0));
}

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
  const long shared = lkey("vjpshar");
  lkey("vjpminc");
  const long sort = lkey("vjpsort");
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
  run_epochs("jp: quantizing ... ", sched.nrow(), {}, [&](long t) {
    return jp_itr(rounded(sched(t, 0)), sched.ncol() > 1 ? rounded(sched(t, 1)) : shared);
  });
  Clusters clusters(dat, bmu);
  const long count = clusters.order(sort);
  cluster_means(dat, bmu, count, prot, hits);
  pval.setdim(count, 1);
  pval.setrows(count, 0.0);
  clusters.adopt_leftovers();
  return prot_fin(cluster_name, 1);
}

long VeQuan::jp_itr(long k, long s) {
  if (!done(pinidone)) return 0;
  const long found = Clusters(dat, bmu).pass(k, s, integers["vjpminc"]);
  if (verbose) {
    const long remaining = bmu.count(0, -1, -1);
    os.ow(" k=").ow(k).ow(" s=").ow(s).ow(" clusters=").ow(found).ow(" left=").ow(remaining);
  }
  return 1;
}

}  // namespace qvtx
