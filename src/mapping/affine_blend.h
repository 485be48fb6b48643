#pragma once
// Blended local affine maps between the data space and the map: a modified Shepard method (Shepard 1968;
// weights of Franke and Little, in Franke and Nielson 1980; Renka 1988) on one affine map per prototype,
// fitted to its neighbours (moving least squares: Lancaster and Salkauskas 1981). The affine map of a
// prototype and its inverse come from the same fit, so that position and reconstruction agree.

#include <vector>

#include "matrix/distance/neighbour_search.h"
#include "quant/vequan.h"

namespace qvtx {

/// Which rows lie near each other, by rank instead of length, so that maps of any scale and density are
/// treated alike.
class Trust {
 public:
  /// Rows trust each other when one is among the `reach` nearest of the other (ties by the lower number).
  /// Every row trusts itself.
  Trust(NeighbourSearch& points, long reach);
  bool operator()(long i, long j) const { return i == j || lists(i, j) || lists(j, i); }

 private:
  bool lists(long i, long j) const;
  long reach_;              // length of the lists
  std::vector<long> near_;  // n x reach: the nearest rows of each row, increasing number
};

/// What a blend mixes at a point, nearest first. Reused from point to point it allocates nothing.
struct BlendRows {
  std::vector<long> row;       ///< numbers of prototypes; row[0] is the one nearest to the point
  std::vector<double> weight;  ///< not negative, sum 1
  bool exact = false;          ///< the point is row[0] itself, which is then the only one
};

/// The prototypes and their images with their affine maps, ready to carry points from one space to the other.
/// A point near prototypes o_0, o_1, ... goes to the mean of where their affine maps put it, weighted by
/// ((d_K - d_k) / (d_K d_k))^2 with d_K the distance of the first row that is not mixed, and 0 for rows that
/// o_0 does not trust. Distances are those of the class in force among the data, Euclidean in the map.
class AffineBlend {
 public:
  /// images: n x p, the images of the prototypes (n x d). linked: the neighbours of a prototype are those of
  /// the link store, else the 2 (p + 1) nearest. The quantizer and the images must outlive the object and
  /// stay as they are. REQUIRES: n > 0, finite images.
  AffineBlend(const VeQuan& quantizer, const MatFullD& images, bool linked);

  /// Chooses for every prototype the share (1, 0.7, 0.4, 0.2 or 0) of its affine map into the map with which
  /// the quantizer's data near it reconstruct best.
  void shrink();

  /// y (p numbers) becomes the position of sample x (d numbers) in the map: the image of a prototype that x
  /// equals, bit for bit. rows tells what was mixed. False, and all y NaN, when x is not finite or so far
  /// away that a distance overflows; rows then holds nothing of use.
  bool position(const double* x, double* y, BlendRows& rows);
  /// x (d numbers) becomes the sample at position y (p numbers); otherwise as `position`.
  bool sample(const double* y, double* x, BlendRows& rows);

 private:
  /// One affine map per prototype from one space to the other; maps and reach are 0 for prototypes without
  /// neighbours.
  struct Direction {
    Direction(const MatFullD& source, const MatFullD& target);
    long count() const { return from.nrow(); }
    double* map(long i) { return maps.data() + i * to.ncol() * from.ncol(); }
    const double* map(long i) const { return maps.data() + i * to.ncol() * from.ncol(); }

    const MatFullD& from;
    const MatFullD& to;
    std::vector<double> maps;   // n matrices of to.ncol x from.ncol
    std::vector<double> reach;  // n: the longest step that a map may take
    std::vector<double> share;  // n: share of the map in use
  };

  void nearest_prototypes();
  std::vector<long> graph_neighbours(long i) const;
  std::vector<long> neighbours(long i) const;
  void fit(long i);
  bool choose(NeighbourSearch& search, const Trust& trust, const double* q, BlendRows& rows) const;
  void mix(const Direction& way, const double* q, const BlendRows& rows, double* result);
  /// The two halves of `mix`: the whole steps of the affine maps into steps_, and the mean of what a share of
  /// each, share_of(o), leads to.
  void step_from_rows(const Direction& way, const double* q, const BlendRows& rows);
  template <class ShareOf>
  void mix_steps(const Direction& way, const BlendRows& rows, ShareOf share_of, double* result);
  /// Squared distance of the datum x from the sample at position y.
  double reconstruction_error(const double* x, const double* y);

  const VeQuan& quantizer_;
  const MatFullD& prototypes_;
  const MatFullD& images_;
  bool linked_;
  NeighbourSearch data_search_, map_search_;
  Trust data_trust_, map_trust_;
  MatFullL nearest_;  // n x 2 (p + 1) or fewer: the nearest prototypes of each, when there are no links
  Direction to_map_, to_data_;
  // Scratch, so that points are carried without allocation.
  std::vector<double> difference_, steps_, step_, position_, sample_;
  BlendRows back_;
};

}  // namespace qvtx
