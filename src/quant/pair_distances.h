#pragma once
// The distances between all pairs of prototypes.

#include <functional>
#include <optional>

#include "base/progress.h"
#include "graph/laplacian.h"
#include "graph/matlinkd.h"
#include "matrix/distance/metric.h"
#include "matrix/matstor.h"

namespace qvtx {

/// Links cut by tearing.
struct Torn {
  long links = 0;
  double shortest = 0;  ///< length of the shortest of them
};

/// What the settings say about the distances.
struct PairRules {
  bool linked = false;  ///< distances along the links count
  /// They come from the Laplacian of the links, built like this; without it they are shortest paths.
  std::optional<LaplacianOptions> laplacian;
  double balance = 0.0;  ///< weight of the distance along the links in the mix, 0 unless linked
  long memory = 0;       ///< rows stored: 0 none, 1 distances, 2 paths too; Laplacian rows always are

  /// Distances in space are stored where the mix has a share of them; nobody else reads whole rows often.
  bool stores_space() const { return memory >= 1 && !(linked && balance == 1.0); }
};

/// Smallest and largest positive distance of a kind; 0 and 0 when there is none.
struct PairRange {
  double min = 0.0;
  double max = 0.0;
};

struct PairRanges {
  PairRange space, graph, mixed;
  long hops = 0;  ///< links on the longest of all shortest paths
};

/// Distances of n prototypes in space, along their links, and in the mix of both, row by row: n numbers from
/// one prototype to all. Rows that are stored are read, others computed where they are asked for; both have
/// the same bits. Distances are of the class and exponent in force; along the links they are -1 where no path
/// leads.
class PairDistances {
 public:
  /// What the distances were computed for.
  struct Signature {
    long shape = -1;  ///< prototypes x columns x live links
    Metric metric;
    bool operator==(const Signature&) const = default;
  };

  using AskRules = std::function<PairRules()>;

  /// points: n x dim; links: of the same n nodes once a row is asked for, lengths in value column 1. Both
  /// must outlive the object. rules: asked when rows are computed, for the settings may change.
  PairDistances(const MatFullD& points, const MatLinkD& links, AskRules rules);
  PairDistances(const PairDistances&) = delete;
  PairDistances& operator=(const PairDistances&) = delete;

  // ---- Rows ----

  bool space_stored(long i) const { return stored(space_, i); }
  bool graph_stored(long i) const { return stored(graph_, i); }
  bool path_stored(long i) const { return stored(paths_, i); }
  /// Row of prototype i: the stored one, or one computed into scratch. Valid until scratch or the stores
  /// change. A Laplacian row that is not stored takes the whole Laplacian: see `keep_laplacian`.
  const double* space_row(long i, MatFullD& scratch) const;
  const double* graph_row(long i, MatFullD& scratch) const;
  /// n x 2 row by row: the predecessor on the shortest path from i (-1: none), and the prototypes in the
  /// order of their distance from i (then -1).
  const long* path_row(long i, MatFullL& scratch, MatFullD& scratch2) const;
  /// Number of prototypes that there is room for.
  long size() const { return paths_.size(); }

  // ---- Computation ----

  /// Bytes of what `measure` and `keep_laplacian` work in and store.
  double bytes_needed() const;
  /// Room for the rows of n prototypes; rows already stored stay. False when there is no memory.
  [[nodiscard]] bool make_room();
  /// Empties the stores, and there is no measurement any more.
  void forget();
  /// Empties the stores. The last measurement stands, for rows are computed where they are used, but it is
  /// not current any more.
  void drop_rows();

  enum class Outcome { done, singular, no_memory };
  /// Computes and stores the Laplacian rows; `announce` is told of each part of the work before it starts,
  /// `progress` how far the last one is. When the Laplacian is singular the rows tell that no other prototype
  /// is reached.
  Outcome keep_laplacian(const std::function<void(const char*)>& announce, const Progress& progress);
  /// Passes over all rows, stores them as far as the rules say so, and remembers what they were computed for;
  /// `progress` is called after every prototype. Nothing, and all is forgotten, when there is no memory. Rows
  /// are interruption points (base/interrupt.h): given up, the stores are empty and the last measurement
  /// stands. REQUIRES: make_room(); Laplacian rows are stored.
  std::optional<PairRanges> measure(const std::function<void()>& progress);

  // ---- Validity ----

  /// What the last measurement was of, and which state the stored rows are in.
  struct Mark {
    long version = 0;  ///< changes whenever rows are computed or forgotten
    Signature measured_for;
    double balance = 0.0;
    bool measured = false;
    bool kept = false;  ///< the stores hold what it left
  };
  const Mark& mark() const { return mark_; }
  /// Back to a measurement whose points and links are there again. Rows that have been stored or forgotten
  /// since are stored no longer.
  void go_back(const Mark& mark) noexcept;

  /// The last measurement has not been forgotten.
  bool measured() const { return mark_.measured; }
  /// It was of as many prototypes, columns and links as there are now, in the class and exponent in force.
  bool current() const { return mark_.measured && mark_.kept && mark_.measured_for == signature(); }
  /// The stores hold what the last measurement left.
  bool kept() const { return mark_.kept; }
  /// Balance that its mixed range belongs to.
  double balance() const { return mark_.balance; }

 private:
  class Pass;

  Signature signature() const;
  template <class Store>
  bool stored(const Store& rows, long i) const {
    return i < rows.size() && rows[i].nrow() == points_.nrow();
  }

  const MatFullD& points_;
  const MatLinkD& links_;
  const AskRules rules_;
  MatStorD space_, graph_;    ///< per prototype its row, n x 1; without rows when not stored
  MatStorT<MatFullL> paths_;  ///< likewise, n x 2
  Mark mark_;
};

}  // namespace qvtx
