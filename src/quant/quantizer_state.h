#pragma once
// What a snapshot of a quantizer holds.

#include <tuple>
#include <utility>

#include "graph/gauge.h"
#include "graph/matlinkd.h"
#include "settings/matpref.h"

namespace qvtx {

/// What is booked for each of the ndata data in use; a snapshot holds a row for each of those loaded.
struct DatumColumns {
  MatFullD ddis;    ///< ndata x 1: work column
  MatFullL bmu;     ///< ndata x 1: best-matching prototype, -1 = none yet
  MatFullL bmucnt;  ///< ndata x 2: changes of it; presentations since the last one
};

/// The part of a quantizer that its snapshots save: everything but the data (ndata x dim), what can be
/// computed again from the rest, and the local PCA.
struct QuantizerState : DatumColumns {
  Gauge state{8};              ///< steps, of which the first 4 are the quantizer's
  MatPrefT<long> lpref{64};    ///< integer settings
  MatPrefT<double> dpref{64};  ///< real settings
  MatFullD prot;               ///< nprot x dim
  MatFullD pval;               ///< nprot x 1: work column
  MatFullL hits;               ///< nprot x 1: data captured since the last reset
  MatFullL pidx;               ///< nprot x 1: component of each prototype
  /// Columns: the strength counted by the rule, the distance between the two prototypes, and that on the grid
  /// of a self-organizing map, else 0 until a mapping fills it.
  MatLinkD link{0, 3};
  MatFullD lwork{0, 2};   ///< nprot x 2: grid coordinates of a self-organizing map, else 0 x 2
  MatFullL lwork2{0, 3};  ///< 1 x 3: width, length, hexagonal of that grid, else 0 x 3

  /// References to the fields of s, a QuantizerState, const or not, in the order of the file; those of the
  /// data may be taken from other columns.
  template <class State, class Columns>
  static auto fields(State& s, Columns& data) {
    return std::tie(s.state, s.lpref, s.dpref, data.ddis, data.bmu, data.bmucnt, s.prot, s.pval, s.hits,
                    s.pidx, s.link, s.lwork, s.lwork2);
  }
  template <class State>
  static auto fields(State& s) {
    return fields(s, s);
  }
  /// What the fields hold, in their order, for a person who reads of a damaged file.
  static constexpr const char* contents[] = {"steps",
                                             "integer settings",
                                             "real settings",
                                             "distances of the data",
                                             "codes of the data",
                                             "code ages",
                                             "prototypes",
                                             "prototype values",
                                             "hits",
                                             "components",
                                             "link store",
                                             "grid positions",
                                             "grid shape"};
};

/// A state on its way from a file, which holds the object's verbosity as well.
struct SavedState : QuantizerState {
  long verbose = 0;
};

/// Swaps the fields of one state, as `fields` lists them, with those of another one.
template <class... Field>
void exchange(std::tuple<Field&...> a, std::tuple<Field&...> b) {
  std::apply([&b](Field&... mine) { std::apply([&](Field&... other) { (mine.swap(other), ...); }, b); }, a);
}

/// Makes the fields of one state, listed likewise, duplicates of those of another one.
template <class... To, class... From>
void duplicate(std::tuple<To&...> to, std::tuple<const From&...> from) {
  std::apply(
      [&from](To&... mine) { std::apply([&](const From&... its) { (mine.duplicate(its), ...); }, from); },
      to);
}

}  // namespace qvtx
