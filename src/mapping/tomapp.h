#pragma once
// The mapping: a quantizer with a low-dimensional image of its prototypes.

#include <optional>

#include "mapping/map_ranks.h"
#include "mapping/mapping_state.h"
#include "matrix/matspar.h"

namespace qvtx {

/// The mapping object: the n prototypes of the quantizer and their images in p dimensions, prototype i and
/// row i of `mprot` belonging together.
///
/// Names: `mapr` mapping of the prototypes, `cda` curvilinear component (distance) analysis, `mds`
/// multidimensional scaling, `god` goodness of the distances. Endings as in the quantizer; further `_rep`
/// repels, `_cor` computes coordinates, `_iv` interpolates, `_rd` reconstructs data.
///
/// Two steps follow those of the quantizer: "mapp_ini", which needs "dist_ext", and "mapp_fin". While
/// "mapp_ini" is set, `mprot` has one row per prototype. What holds for the quantizer's operations (results,
/// messages after the prefix, which is "ToMapp." from the constructor on, settings) holds here.
///
/// The distance D between two prototypes that a map should show is (1 - w) space + w graph distance, w the
/// setting "tdgb" or 0 without links; with w > 0 prototypes of different components have none. d is the
/// distance between images. Both are of the class and exponent in force. A method asked for fewer than 1
/// dimension returns 0 and changes nothing.
class ToMapp : public VeQuan, protected MappingState {
 public:
  static const char* const minidone;      ///< "mapp_ini"
  static const char* const mfindone;      ///< "mapp_fin"
  static const char* const scaling_name;  ///< label of maps by `mds`
  /// Reads two more blocks of prefs, into the quantizer's tables, after the quantizer's own two. An
  /// unreadable stream is reported; the first use of a key then ends the program.
  explicit ToMapp(std::ifstream& prefs);

  // ---- Model (tomapp.cpp, tomapp_error.cpp) ----
  /// Starts a mapping: forgets the method's name and makes n images of dim coordinates. how: 1 the principal
  /// components of the prototypes (0 on axes beyond their number), 2 all 0, anything else uniform in 0 .. a
  /// tenth of the largest mixed distance. The present images are kept instead when dim < 1, or when there are
  /// some and "vgkeep_p" is set; 0 when their number is not n. Returns the flag of "mapp_ini".
  long mapr_ini(long dim, int how);
  /// Closes the mapping: links the images by the rule of the prototypes ("vglink_p"; 4 as 2 with the mean
  /// degree of the prototypes, halved; another one makes no links), stores the lengths in the map with the
  /// links of both sides, and keeps the first 31 characters of name. Link values of the images: column 0 the
  /// strength, 1 the length. Returns the flag of "mapp_fin"; 0 when the images are not those of n prototypes.
  long mapr_fin(const char* name);
  /// Share of neighbours that the map loses. mode 0, or without links: of the K nearest images of each
  /// prototype those that are not among its K nearest prototypes, K the kissing number of p dimensions (2, 6,
  /// 12, 24, 40, 72, 126, 240). Else: of as many nearest images as the prototype has links those that it is
  /// not linked with. The nearest are those of `MatFullD::nearest`; 0 when there is nothing to count. -1
  /// before "mapp_ini".
  double mapr_err(int mode);
  /// Sammon's stress: the sum of (D - d)^2 / D over all pairs with D > 0, divided by that of D; 0 without
  /// such a pair, where `stress` has no value. Pairs of different components count with w = 0 only. -1, and
  /// no value, before "mapp_ini" and when memory is short.
  double mapr_err();
  std::optional<double> stress();
  /// Centres every component's images on its number, 0, 1, ..., times the gap on the first axis, 0 on the
  /// others; the gap is factor x "tdccsfac". Nothing moves when the gap is 0, as it always is without links.
  /// An image that is not finite spoils its component. 0 before "mapp_ini".
  long mapr_rep(double factor);
  /// The images, as a copy in out or as text matrix; false or 0 before "mapp_ini".
  bool maprsave(MatFullD& out) const;
  long maprsave(const char* file) const;
  /// Reads images, in any number of dimensions, and closes the mapping. Images that cannot be read, or are
  /// not n, leave "mapp_ini" cleared.
  long maprload(const char* file);
  /// Write the `path_row` of prototype k as text matrix n x 2 (requires "dist_ext"; 0 for another k), and the
  /// links of the images (`MatLinkT::save_asc`; requires "mapp_fin").
  long treesave(long k, const char* file);
  long mgrasave(const char* file) const;
  /// Mean squared distance of the rows of data to those of rec, their reconstruction; rows of data that are
  /// not finite do not count. When verbose it is compared with `cd_err`. Fatal: other shapes.
  double ir_err(const MatFullD& data, const MatFullD& rec) const;
  /// Rank figures of the final map, kept until it changes; null where there are none (`map_ranks`), or more
  /// than `most` prototypes not measured yet. ranksave: the curves.
  const MapRanks* ranks(long most);
  long ranksave(const char* file);

  // ---- Methods, one file each (tomapp_<method>.cpp) ----
  /// Curvilinear component analysis (Demartines and Herault 1997; with graph distances Lee, Lendasse and
  /// Verleysen 2002): each prototype in turn, the pivot, pushes and pulls the other images of its component
  /// until d is D, those near it in the map first. The schedule's rows are epochs: step factor, width factor.
  /// It is read from file, or if that fails from "default.cmp"; without a file, or when both fail, it is made
  /// from the settings "tcdepoq", "tcdaini" .. "tcdlfin".
  long cda(long dim, const char* file);
  /// The same with a given schedule, which is refused when it has fewer than two columns or a negative entry.
  /// A row out of range ends the epochs; the mapping so far is closed.
  long cda(long dim, const MatParaD& sched);
  /// One epoch. Pivots come in the order of `mpidx`, last to first, shuffled before if "tgswap_p" is set. A
  /// pair with weight W = m F(D) + (1 - m) F(d) >= 0.05 and d > 0 is active and moves image j: y_j += (y_j -
  /// y_i) (s W anow), s = (D^2 - d^2) / (2 D^2) for d <= D, else (D - d) / d. m: "tcdlmds"; F: "tcdnwf", of
  /// the pivot's width, which is lnow x the largest mixed distance or ("tcdnwt") adapted so that the share
  /// lnow of its component is active. Ends with `mapr_rep`. Returns 0, to stop, for anow outside (0, 1] or
  /// lnow outside (0, 2] (reported), for images that are not those of the prototypes, and before "mapp_ini".
  /// REQUIRES: `nbwidth` has a row per prototype, as `cda` makes it.
  long cda_itr(double anow, double lnow);

  /// Classical multidimensional scaling (Torgerson 1952); with graph distances Isomap (Tenenbaum, de Silva,
  /// Langford 2000). n^2 memory; O(n^3) time, for more than 1000 prototypes and at most 16 axes n^2 times a
  /// number that grows with the density of the leading eigenvalues. 0 for fewer than two prototypes.
  long mds(long dim);
  /// The coordinates alone, into the images as they are (n x p): axis k is the k-th eigenvector of the
  /// double-centred matrix of -D^2 / 2 (pairs without distance count as 0), times the root of its eigenvalue.
  /// Axes of negative eigenvalues and axes beyond n are NaN. For more than 1000 prototypes and at most 16
  /// axes block Lanczos iteration finds the pairs, or the whole reduction where that fails, and the largest
  /// component of an axis is positive; otherwise the signs are those of the solver. 0 when the sizes do not
  /// fit or memory is short.
  long mds_cor();

  /// Sammon's nonlinear mapping (Sammon 1969). The schedule's rows are epochs: step factor, and the pass,
  /// which is stochastic above 0.5. It is read from file, or if that fails from "default.smp"; without a
  /// file, or when both fail, it is made from the settings "tsmepoq", "tsmaini", "tsmafin", the first
  /// round(epochs x "tsmstoch") + 1 epochs being stochastic unless that is 1. A given one as for `cda`.
  long sammon(long dim, const char* file);
  long sammon(long dim, const MatParaD& sched);
  /// One epoch over the prototypes in the order of `mpidx`, last to first, shuffled before if "tgswap_p" is
  /// set. Pairs with D > 0 and d > 0 count. Newton pass: on each axis image i moves by anow |G / H| in the
  /// sense of G, G and H the sums over j of c t and c - t^2 / d^3, with c = (D - d) / (D d), t = y_i - y_j;
  /// where H is 0, not at all. Stochastic pass: every other image moves, y_j += (y_j - y_i) (anow (D - d) /
  /// (d D)). The order of operations is that of SammonKernels. Ends with `mapr_rep`. Returns 0, to stop, for
  /// anow or snow outside [0, 1] (reported), for images that are not those of the prototypes, and before
  /// "mapp_ini".
  long sammon_itr(double anow, double snow);

  /// Isotop (Lee, Archambeau, Verleysen 2003): random stimuli in the map pull the nearest image, and along
  /// the graph its neighbours. Needs links and "tdgb" > 0. The schedule's rows are epochs: step factor, width
  /// factor; from file, or if that fails from "default.cmp", or from the settings "titepoq", "titaini" ..
  /// "titlfin". A given one as for `cda`.
  long isotop(long dim, const char* file);
  long isotop(long dim, const MatParaD& sched);
  /// Checks the settings, computes the distances, initialises the images and makes sdev 1 x p: the deviations
  /// of stimuli round the origin, 1 or ("titpcast") those of the principal components relative to the first
  /// (1 when all prototypes coincide). Without links or balance it advises and no step is touched.
  long isotop_ini(MatFullD& sdev, long dim);
  /// One epoch: n stimuli x, Gaussian round the origin of a component drawn at random or ("titmulst") with
  /// deviation 1 round an image drawn at random. The prototypes by increasing graph distance g from the
  /// winner move by exp(-3 r^2) anow of their way to x, r = g / (mean link length of the winner x lnow x
  /// "tdxp"), up to and including the first with r > 1; a winner without links or with width 0 moves alone.
  /// Ends with `mapr_rep`. Returns 0, to stop, for anow or lnow outside [0, 1] (reported), for images that
  /// are not those of the prototypes, and before "mapp_ini". Fatal: sdev has fewer than p columns.
  long isotop_itr(MatFullD& sdev, double anow, double lnow);

  /// The grid of a self-organizing map becomes the mapping. 0 when the prototypes are not that map's.
  long sommap();

  /// GoD criteria: how faithfully one kind of distance, x, shows another one, y, over all pairs of prototypes
  /// with x > 0 and y >= 0. self: x graph, y space distances, requires "prot_fin"; else x distances between
  /// images, y space or (curvilinear) graph distances, requires "mapp_ini". Without links the Euclidean
  /// variant stands in, with a message. hist becomes the histogram of the pairs, x bins by y bins of one
  /// common width; the axis of the larger distances has 2^bits bins, the other one half as many as often as
  /// it fits into half, at least one. stats becomes (x bins) x 4: the bin's centre and, of all pairs up to
  /// the bin's end, the mean of (y - x)^2, the mean of y / x (0 and 1 for none) and the share. Changes no
  /// step. 0, and nothing changes, when the required step is not done.
  long god(int bits, MatSparT<long>& hist, MatFullD& stats, int curvilinear, int self);

  // ---- Interpolation and reconstruction (tomapp_interpolation.cpp, tomapp_sammon_interpolation.cpp) ----
  // Require "mapp_fin", a finite mapping and rows of the right width; otherwise 0, and the outputs stay. Rows
  // do not influence each other; one that is not finite gets NaN. Outputs are other matrices than the input.
  /// prj: the position of every row of data in the map, the image itself for a row that equals a prototype;
  /// ppr: the image of its nearest prototype. By blended local affine maps (AffineBlend).
  long cda_iv(const MatFullD& data, MatFullD& ppr, MatFullD& prj);
  /// jrp: the sample at every position in prj, the prototype itself at an image; tmp: the prototype of the
  /// nearest image.
  long cda_rd(const MatFullD& prj, MatFullD& tmp, MatFullD& jrp);
  /// The same, moved to where distances to the prototypes fit best (Sammon's stress of one point). Schedule:
  /// the factor 0..1 of each step, from the file, else "default.sam" ("default.rdp"), else a default.
  long sammon_iv(const MatFullD& data, MatFullD& ppr, MatFullD& prj, const char* file);
  long sammon_rd(const MatFullD& prj, MatFullD& tmp, MatFullD& jrp, const char* file);

  // ---- Snapshot (tomapp_snapshot.cpp) ----
  /// The mapping's block: number and width of the prototypes, images, links. One of other prototypes ("size
  /// mismatch ... "), a damaged one, or one that lacks what a step promises is refused; nothing changes.
  long save_mbf(std::FILE* f) const;
  long load_mbf(std::FILE* f);
  /// The quantizer's snapshot and the block, as one file; loading requires "dataload". A failed load changes
  /// nothing; a loaded mapping has no `mname` and no widths, and its presentation order is 0, 1, ...
  long save_mbf(const char* file) const;
  long load_mbf(const char* file);

  // ---- Report (tomapp_show.cpp) ----
  /// The quantizer's report, distances and mapping. level 0: head lines; 1: all but rank figures that are not
  /// known and take a moment (more than 500 prototypes); 2: all.
  void show(Ostr& o, int level);

  // ---- What has failed half-way is taken back, as in the quantizer (quant/quantizer_backup.h) ----
  using Backup = AnalysisBackup;
  void back_up(Backup& backup) const;
  void go_back(Backup& backup) noexcept;
  using VeQuan::set_data_aside;
  // ---- Read access; the shapes stand at the members below ----
  const MatFullD& getmprot() const { return mprot; }
  const char* getmname() const { return mname; }
  const Spectrum& getspectrum() const { return spectrum; }

 protected:
  void reset_image_order();
  void link_images();
  void shuffle_images();  ///< when "tgswap_p" is set
  /// What `mapr_rep` gets after an epoch: the largest mixed distance when graph distances count, else 0.
  double separation() const;
  /// A final, finite mapping and rows of this many columns; the refusals carry the method's name.
  bool can_interpolate(const char* name, const MatFullD& rows, long columns) const;
  /// The step factors (column 0): a file, else `default_rows` rows from 1 down to last. False when refused.
  bool step_schedule(MatParaD& sched, const char* file, const char* default_file, const char* name,
                     long default_rows, double last);
  /// Reads what `save_mbf` writes, for the prototypes of this state, as `read_state` does.
  bool read_mapping(std::FILE* f, const QuantizerState& quantizer, MappingState& saved);
  void forget_unsaved();  ///< what no file holds

  Spectrum spectrum;    ///< what the last `mds_cor` found
  char mname[32] = "";  ///< what produced the mapping, empty when unknown
  MatFullL mpidx;       ///< nprot x 1: presentation order of the prototypes
  MatFullD nbwidth;     ///< nprot x 1: neighbourhood widths of curvilinear component analysis, else no rows
  MappingMemory memory;
  std::optional<MapRanks> rank_figures;  ///< once measured
};

}  // namespace qvtx
