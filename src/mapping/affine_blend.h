#pragma once
// Blended local affine maps between the data space and the map: a modified Shepard method (Shepard 1968; weights of
// Franke and Little, in Franke and Nielson 1980; Renka 1988) on one affine map per prototype, fitted to its neighbours
// (moving least squares: Lancaster and Salkauskas 1981). The affine map of a prototype and its inverse come from the
// same fit, so that position and reconstruction agree.

#include <vector>

#include "matrix/matfulld.h"
#include "quant/vequan.h"

namespace qvtx {

/// Which prototypes lie near each other in one of the two spaces, by rank instead of length, so that maps of any scale
/// and density are treated alike.
class Trust {
 public:
  /// points: n x d; two rows trust each other when one is among the `reach` nearest of the other. Distances in the class
  /// in force.
  Trust(const MatFullD& points, long reach);
  bool operator()(long i, long j) const;

 private:
  bool lists(long i, long j) const;
  std::vector<std::vector<long>> near_;  ///< per row: its nearest rows, increasing number
};

/// The rows that a blend mixes.
struct BlendRows {
  std::vector<long> row;      ///< numbers, nearest first
  std::vector<double> weight; ///< sums up to 1
  bool exact = false;         ///< the point is row[0] itself
};

/// The prototypes and their images with their affine maps, ready to carry points from one space to the other.
class AffineBlend {
 public:
  /// images: n x p, the images of the prototypes. linked: neighbours are those of the link store, else the nearest.
  /// REQUIRES: n > 0, finite images.
  AffineBlend(const VeQuan& quantizer, const MatFullD& images, bool linked);

  /// Chooses for every prototype the share of its affine map with which the quantizer's data reconstruct best.
  void shrink();

  /// Position of sample x (d numbers) in the map (p numbers); false, and a position of NaN, for a sample that is not
  /// finite. rows tells what was mixed.
  bool position(const double* x, double* y, BlendRows& rows);
  /// Sample (d numbers) at position y (p numbers); otherwise as `position`.
  bool sample(const double* y, double* x, BlendRows& rows);

  const MatFullD& prototypes() const { return prototypes_; }
  const MatFullD& images() const { return images_; }

 private:
  struct Local {
    std::vector<double> forward;  ///< d x p: image space to data space
    std::vector<double> inverse;  ///< p x d
    double reach_data = 0;        ///< longest difference to a neighbour in the data
    double reach_map = 0;         ///< the same in the map
    double share = 1;             ///< share of the inverse map in use
  };

  std::vector<long> graph_neighbours(long i) const;
  std::vector<long> neighbours(long i, const Trust& trust) const;
  void fit(long i, const std::vector<long>& near);
  bool choose(const MatFullD& points, const double* q, const Trust& trust, bool data_space, BlendRows& rows);

  const VeQuan& quantizer_;
  const MatFullD& prototypes_;
  const MatFullD& images_;
  bool linked_;
  Trust trust_map_, trust_data_;
  std::vector<Local> local_;
  MatFullD query_, distance_;   ///< scratch of `choose`
  std::vector<double> step_;    ///< scratch of a mixed step
};

}  // namespace qvtx
