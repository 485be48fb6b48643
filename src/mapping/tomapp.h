#pragma once
// The mapping: a quantizer with a low-dimensional image of its prototypes.

#include <string>

#include "mapping/image_arrays.h"
#include "matrix/matspar.h"
#include "quant/vequan.h"

namespace qvtx {

class ToMapp : public VeQuan {
 public:
  static const char* const minidone;  ///< "mapp_ini"
  static const char* const mfindone;  ///< "mapp_fin"

  explicit ToMapp(std::ifstream& prefs);

  // ---- Model (tomapp.cpp, tomapp_error.cpp) ----
  long mapr_ini(long dim, int how);
  long mapr_fin(const char* name);
  /// Share of neighbours lost: against the nearest prototypes (mode 0) or the graph (mode 1).
  double mapr_err(int mode);
  /// Stress: sum (D - d)^2 / D over sum D.
  double mapr_err();
  long mapr_rep(double factor);
  bool maprsave(MatFullD& out) const;
  long maprsave(const char* file) const;
  long maprload(const char* file);
  long treesave(long k, const char* file) const;
  long mgrasave(const char* file) const;
  double ir_err(const MatFullD& data, const MatFullD& rec) const;

  // ---- Methods, one file each (tomapp_<method>.cpp) ----
  long cda(long dim, const char* file);
  long cda(long dim, const MatParaD& sched);
  long cda_itr(double anow, double lnow);
  long mds(long dim);
  long mds_cor();
  long sammon(long dim, const char* file);
  long sammon(long dim, const MatParaD& sched);
  long sammon_itr(double anow, double snow);
  long isotop(long dim, const char* file);
  long isotop(long dim, const MatParaD& sched);
  long isotop_ini(MatFullD& sdev, long dim);
  long isotop_itr(MatFullD& sdev, double anow, double lnow);
  /// The grid of a self-organizing map as mapping: `us mp`.
  long sommap();
  long god(int bits, MatSparT<long>& hist, MatFullD& stats, int curvilinear, int self);

  // ---- Interpolation and reconstruction (tomapp_interpolation.cpp) ----
  long cda_iv(const MatFullD& data, MatFullD& ppr, MatFullD& prj);
  long cda_rd(const MatFullD& prj, MatFullD& tmp, MatFullD& jrp);
  long sammon_iv(const MatFullD& data, MatFullD& ppr, MatFullD& prj, const char* file);
  long sammon_rd(const MatFullD& prj, MatFullD& tmp, MatFullD& jrp, const char* file);

  // ---- Snapshot (tomapp_snapshot.cpp) ----
  long save_mbf(std::FILE* f) const;
  long save_mbf(const char* file) const;
  long load_mbf(std::FILE* f);
  long load_mbf(const char* file);

  // ---- Report (tomapp_show.cpp) ----
  void show(Ostr& o, int level);

  const MatFullD& getmprot() const { return mprot; }
  const MatFullD& getnbwidth() const { return nbwidth; }
  const MatFullL& getmpidx() const { return mpidx; }
  const MatLinkD& getmlink() const { return mlink; }
  const char* getmname() const { return mname; }

 protected:
  /// Looks up the entries of the mapping's own keys.
  void find_mapping_keys();
  void start_positions(long dim, int how);
  void reset_image_order();
  void link_images();
  double lost_neighbours() const;
  double lost_links() const;
  /// Shuffles the presentation order of the prototypes when "tgswap_p" is set.
  void shuffle_images();
  /// Distance between components that `mapr_rep` is given after an epoch: the largest mixed distance with graph
  /// distances in use, else 0.
  double separation() const;
  /// Advances the loop counter; prints `label` and the stress, or the lost links, when "vgerrors" is set.
  void mapping_progress(const char* label, bool stress);
  /// Distances of all images from image i, in the class in force; valid until the next call. `images` must be loaded;
  /// it is stored back where the class asks for the plain form.
  const double* image_distances(long i);
  void draw_stimulus(const MatFullD& sdev, bool around_images, double* x);
  void pull_towards(const double* x, long winner, double anow, double lnow);
  void show_distances(Ostr& o, int level) const;
  void show_mapping(Ostr& o, int level);
  /// Checks what interpolation and reconstruction need: a final, finite mapping and rows of this many columns. The
  /// refusals carry the method's name.
  bool can_interpolate(const char* name, const MatFullD& rows, long columns) const;
  /// The one-column schedule of step factors: a file, else `default_rows` rows from 1 down to last. False when refused.
  bool step_schedule(MatParaD& sched, const char* file, const char* default_file, const char* name, long default_rows,
                     double last);
  void bar_begin(const char* text, long n) const;
  void bar_step() const;
  void bar_end() const;
  /// Two lines of advice when Isotop cannot run.
  void advise(const char* text) const;
  /// Makes the mapping consistent after a quantizer snapshot was read: all of it, or nothing past the data.
  void settle_mapping(bool loaded);

  char mname[32] = "";       ///< what produced the mapping
  long ktgswap, ktdccsfac, ktcdlmds, ktcdnwt, ktcdnwf;  ///< entries of the keys
  MatFullD mprot;            ///< mapped prototypes
  MatFullL mpidx;            ///< presentation order of the prototypes
  MatFullD nbwidth;          ///< neighbourhood widths of curvilinear component analysis
  MatLinkD mlink;            ///< links between the mapped prototypes
  ImageArrays images;        ///< work form of the mapped prototypes during an epoch
  MatFullD plain_distances;  ///< scratch of `image_distances`
  MatFullD newton_sums;             ///< 2 x p: sums of a Newton pass
  MatFullD graph_scratch, path_distance_scratch;
  MatFullL path_scratch;     ///< rows that are not stored
};

}  // namespace qvtx
