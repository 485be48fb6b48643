#pragma once
// The vector quantizer: data, prototypes, bookkeeping, links and distances between prototypes.

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "graph/link_rule.h"
#include "matrix/matstor.h"
#include "quant/epochs.h"
#include "quant/messages.h"
#include "quant/quantizer_backup.h"
#include "settings/matpara.h"
#include "settings/settings.h"

namespace qvtx {

struct EpochMemory;

/// The quantizer replaces N data by n prototypes, links these into a graph and measures distances in it.
///
/// Names: `dat`a, `prot`otypes, `bmu` best-matching unit (the prototype that a datum belongs to), `hits` data
/// per prototype. Endings: `_ini` initialises, `_itr` runs an epoch, `_fin` finishes, `_err` measures an
/// error.
///
/// An analysis goes through the steps "dataload", "prot_ini", "prot_fin" and "dist_ext". An operation starts
/// its step (which clears that step and all later ones, and is refused when an earlier one is not done) and
/// completes it at its end. Unless said otherwise an operation returns 1, or 0 when it was refused because a
/// step is missing or an argument does not fit; counting and error operations return -1 then.
///
/// Data that hold a NaN or an infinity are left out: no mean and no search sees them, their code is -1 and
/// their image NaN. Whatever speaks of data to the outside (`getdat`, `cod`, `ind`, files) counts all of
/// them, in the order of the file; i below is the number of a datum in use, which is the same where none is
/// left out.
///
/// Settings are committed (future value to value in use) just before they are read. Distances are those of
/// the class and exponent in force. Index errors and missing keys end the program.
class VeQuan : public Messages, protected QuantizerState, protected Provenance, protected EpochLists {
 public:
  static const char* const datadone;  ///< "dataload"
  static const char* const pinidone;  ///< "prot_ini"
  static const char* const pfindone;  ///< "prot_fin"
  static const char* const dinidone;  ///< "dist_ext"

  /// Creates the four steps and reads the two preference tables from two blocks of prefs. An unreadable
  /// stream is reported and leaves the tables empty: the first use of a key then ends the program.
  explicit VeQuan(std::ifstream& prefs);
  virtual ~VeQuan();

  // ---- Data (vequan_data.cpp) ----
  /// Reads the data from a text or (binary != 0, load_dbf) binary matrix file. A file that cannot be read, or
  /// a null name, leaves "dataload" cleared; the former leaves 0 x 1 data. Or the data become a copy of m, or
  /// (copy == 0) are exchanged with m. When verbose, data that are left out are counted on a line.
  int dataload(const char* file, int binary);
  int dataload(MatFullD& m, int copy);
  int load_dbf(const char* file);
  /// The data as file, or as a copy in m.
  int datasave(const char* file, int binary) const;
  int datasave(MatFullD& m) const;
  int save_dbf(const char* file) const;

  // ---- Prototypes (vequan_prototypes.cpp) ----
  /// Takes prototypes as `dataload` takes data and finishes them with `prot_fin`. Without "vgkeep_p"
  /// `prot_ini` discards them, and the result is 0. Those of another column count than the data are refused
  /// and forgotten.
  int protload(const char* file, int binary);
  int protload(MatFullD& m, int copy);
  int protsave(const char* file, int binary) const;
  int protsave(MatFullD& m) const;
  /// Makes n prototypes and resets all bookkeeping. how: 1 uniform in the unit cube, 2 all at the data's
  /// mean, 3 zero, 4 a copy of the data (n is ignored), 5 data that spread (`spread_start`), anything else
  /// data drawn at random. The present prototypes are kept instead when there are some and "vgkeep_p" is set
  /// or n is negative; 0 when their column count is not the data's. Also 0 (reported) when all data are left
  /// out, and when a value is so large that sums of powers of distances overflow.
  int prot_ini(long n, int how);
  /// Finds the best-matching prototype of datum i within radius r and counts a hit for it; a datum beyond r
  /// of all prototypes becomes a new one. 1 when the prototype of datum i changed, else 0.
  int prot_bmu(long i, double r);
  /// Moves prototype k by the step a towards datum i as `MatFullD::move` does. Fatal: k is no prototype.
  void prot_mov(long i, double a, long k);
  /// Quantization error: half the mean squared distance of the data to their prototypes (to the nearest one
  /// where none is assigned); 0 without data, -1 before "prot_ini" or without prototypes.
  double prot_err() const;
  /// Number of dead prototypes (hits at most "vglpmaxp"); with replace != 0 and "vgrepl_p" set each becomes a
  /// datum drawn at random, from the last to the first. Sets all hits to 0.
  long prot_rep(int replace);
  /// Deletes the prototypes with exactly h hits and links the rest anew; returns how many, -1 before
  /// "prot_fin". The last row takes the place of a deleted one; the data of a deleted prototype go to the
  /// nearest one left. With no prototype left "prot_fin" is cleared.
  long protdel(long h);
  long protnbr(long h) const;  ///< prototypes with exactly h hits; -1 before "prot_fin"

  // ---- Coding (vequan_coding.cpp) ----
  /// idx: x.nrow x 1, the nearest datum of each row of x, -1 for rows that are not finite. 0 when x has
  /// another column count than the data.
  int ind(const MatFullD& x, MatFullL& idx) const;
  /// code: x.nrow x 1, the nearest prototype of each row of x; for the data themselves (the same object)
  /// their `bmu`; after Jarvis-Patrick clustering the cluster of the nearest datum. -1 for rows that are not
  /// finite. 0 for other column counts.
  int cod(const MatFullD& x, MatFullL& code) const;
  /// table: rows of `getdat` x 2, the prototype of each datum and the component of that prototype, -1 and -1
  /// for data left out. 0 before "prot_fin".
  int clusters(MatFullL& table) const;
  /// y: code.nrow x dim, the prototypes with the numbers in code. 0 unless code has one column. Fatal: a
  /// number that is no prototype's.
  int dec(const MatFullL& code, MatFullD& y) const;
  /// Mean over the rows of x of the squared Euclidean distance, whatever the class in force, to the decoded
  /// row; rows that are not finite do not count. 0 before "prot_fin", without rows or when x does not fit.
  double cd_err(const MatFullD& x) const;

  // ---- Driver and trivial methods (vequan.cpp) ----
  /// Runs the method that "vgvqdvqm" selects, with the size and radius of the settings, and returns its
  /// result; a value that selects none is returned itself.
  long vq();
  /// Number of prototypes asked for: data x "vgvqcora", rounded, at least 1; radius asked for: "vgvqdera".
  long getnumber();
  double getradius();
  /// Radius 2 (1 - r) d with d the mean distance of the data to their mean, negative for r above 1; -1 before
  /// "dataload", 0 without data.
  double marauto(double r) const;
  /// No quantization: the prototypes are the data. One prototype: the mean of the data.
  int nq();
  int gc();

  // ---- Methods (vequan_<method>.cpp) ----
  // Every method starts with `prot_ini` and ends with `prot_fin`, whose flag it returns; it is refused (0)
  // without data, without a prototype after the start, or with a schedule that is too narrow or holds a
  // negative number. A null file name builds the schedule from the settings; otherwise the file is tried,
  // then the default file of the working directory, then the settings. An `_itr` runs one epoch, with a step
  // a in 0..1 and a width l >= 0 of the schedule, and returns 0 for others; when verbose it appends its
  // counts to the line: "lost" dead prototypes, "chgd" data that changed their prototype.
  /// K-means (Linde, Buzo and Gray, 1980) with n prototypes: at most "vlbgitr" epochs, at least one, until at
  /// most data x "vlbgxch" data change their prototype. The epoch returns whether more than maxchg did
  /// (negative: the number of prototypes). A prototype without data becomes zero unless it is replaced.
  long lbg(long n);
  bool lbg_itr(long maxchg);
  /// K-means that starts from two prototypes and splits, in every epoch, each one whose data lie on average
  /// farther than |r| from it.
  long dlbg(double r);
  bool dlbg_itr(double r, long maxchg);
  /// Neural gas (Martinetz et al., 1993): the prototypes of rank 0 .. 3 l by their distance to a datum move
  /// by a exp(-rank / l).
  long ng(long n, const char* file);
  long ng(long n, const MatParaD& sched);
  long ng_itr(double a, double l);
  /// Competitive learning: the winner moves by the step a.
  long cl(long n, const char* file);
  long cl(long n, const MatParaD& sched);
  long cl_itr(double a);
  /// The same without a search for data whose winner stayed the same more than 8 times; asks on the console
  /// whether to skip it altogether (fast != 0) or to make it only for counting wrong winners. Moves are
  /// straight in every distance class.
  long fcl(long n, const char* file);
  long fcl(long n, const MatParaD& sched);
  long fcl_itr(double a, int fast);
  /// EXIN: one pass; a datum beyond the radius r > 0 of all prototypes becomes one, every other moves its
  /// prototype to the running mean of its data. Returns 0 in every case: ask `done(pfindone)`.
  long xn(double r);
  long xn_itr(double r);
  /// Neural Water: the same in epochs with the scheduled step.
  long nw(double r, const char* file);
  long nw(double r, const MatParaD& sched);
  long nw_itr(double r, double a);
  /// Self-organizing map (Kohonen, 1982) of about n nodes, `ratio` times as wide as long; widths in grid
  /// units. With prototypes that are kept ("vgkeep_p") their number must be that of the grid, else it is
  /// refused and nothing is touched. som_ini makes grid and first prototypes; an epoch moves the winner's
  /// neighbourhood on the grid or makes every prototype the weighted mean of the data ("vsomrule").
  long som(long n, double ratio, const char* file);
  long som(long n, double ratio, const MatParaD& sched);
  long som_ini(long n, double ratio);
  long som_itr(double a, double l);
  /// Topographic error (Kiviluoto, 1996): share of the data whose nearest and second nearest prototypes are
  /// not linked on the grid; -1 before "prot_ini" or without a grid.
  double som_tst();
  /// Jarvis-Patrick clustering (1973): data that are among each other's k nearest and share s of them belong
  /// together. Schedule: per pass over the data left k and optionally s. A pass numbers its clusters in
  /// `bmu`; in the end each becomes a prototype at the mean of its data, and the data left over join the
  /// nearest.
  long jp(const char* file);
  long jp_itr(long k, long s);

  // ---- Linking step (vequan_linking.cpp) and distances (vequan_distances.cpp) ----
  /// Finishes a quantization: the label (cut to 31 characters) goes to `method`, every datum without a
  /// prototype gets its nearest one, `hits` is counted anew, the prototypes are centred if asked
  /// ("vgcent_p"), linked by the rule of "vglink_p" and labelled by component, the graph is torn if asked
  /// ("vgteartt"), and the local PCA follows if asked ("vgdimloc"). With flag 0, and for a self-organizing
  /// map, the present links are kept. Returns the flag of "prot_fin"; 0 without prototypes.
  int prot_fin(const char* label, int flag);
  /// Computes the distances between all prototypes, or confirms that nothing they depend on has changed, and
  /// records their ranges in the settings. quick != 0: only completes the step; rows are computed where they
  /// are used. Returns the flag of "dist_ext"; 0 when a step is missing and (reported, all is forgotten) when
  /// memory is short or the Laplacian cannot be inverted. GivenUp (base/interrupt.h) leaves the step undone.
  int dist_ini(int quick);
  /// Rows of the distances between prototypes, as `PairDistances` tells them: whether they are stored, the
  /// stored row or one computed into scratch, and the number of path rows, nprot once "dist_ext" is done.
  bool space_stored(long i) const { return pairs.space_stored(i); }
  bool graph_stored(long i) const { return pairs.graph_stored(i); }
  bool path_stored(long i) const { return pairs.path_stored(i); }
  const double* space_row(long i, MatFullD& scratch) const { return pairs.space_row(i, scratch); }
  const double* graph_row(long i, MatFullD& scratch) const { return pairs.graph_row(i, scratch); }
  const long* path_row(long i, MatFullL& scratch, MatFullD& scratch2) const {
    return pairs.path_row(i, scratch, scratch2);
  }
  long npath() const { return pairs.size(); }
  /// Graph distances come from the Laplacian of the links, not from shortest paths.
  bool has_laplacian() const;
  long lpca_init();  ///< local PCA of the data in the prototypes' regions widened along the links

  // ---- Snapshot (vequan_snapshot.cpp): everything but the data, the distances and the local PCA ----
  /// 0 on a failed write, a null stream, a number beyond 32 bits.
  int save_vbf(std::FILE* f) const;
  int save_vbf(const char* file) const;
  /// Reads a snapshot and leaves the stream right behind it; a file requires "dataload". One of data of
  /// another size, a damaged or a short one is refused, and nothing changes. A loaded one has no `method`
  /// (but for that of a grid), components are labelled anew and distances are computed where they are used.
  int load_vbf(std::FILE* f);
  int load_vbf(const char* file);
  /// Why the last snapshot that was opened was refused: "cut off or damaged: prototypes".
  const std::string& getloadtrouble() const { return load_trouble; }
  int dgrasave(const char* file, int binary) const;  ///< the graph of the prototypes; requires "prot_fin"

  // ---- Report (vequan_show.cpp) ----
  /// Prints the metric unless it is the Euclidean one, and what is known of the data, the prototypes, their
  /// links and the local PCA, a block per stage that is done; level 0: head lines only. Changes nothing.
  void show(Ostr& o, int level);

  // ---- Read access; the shapes stand at the members ----
  int done(const char* name) const;  ///< flag of a step. Fatal: a name not found exactly once
  /// All data, those left out included; the data in use.
  const MatFullD& getdat() const { return in_use.all() ? dat : whole; }
  const MatFullD& getused() const { return dat; }
  const MatFullD& getprot() const { return prot; }
  const MatLinkD& getlink() const { return link; }
  const MatFullL& getcomp() const { return pidx; }
  long ncomp() const { return compsize.nrow(); }  ///< 0 before "prot_fin"
  const MatFullL& getcompsize() const { return compsize; }
  const Torn& gettorn() const { return torn; }
  const LPCA& getlpca() const { return lpca; }
  const char* getmethod() const { return method; }
  /// The rule in use, "vglink_p", and whether it asks for links at all.
  LinkRule link_rule() const { return LinkRule{integers["vglink_p"]}; }
  bool wants_links() const { return link_rule() != LinkRule::none; }
  /// The lengths of the links are of another metric than the one in force; those of a loaded snapshot count
  /// as of the metric in force at that time.
  bool links_outdated() const;
  MatPrefT<long>& getlpref() { return lpref; }
  MatPrefT<double>& getdpref() { return dpref; }

 protected:
  // ---- For the methods (vequan.cpp) ----
  long step(const char* name) const;  ///< its number. Fatal: a name not found exactly once
  /// Commits a key and returns its value.
  long lkey(Key<long> key) { return integers.commit(key); }
  double dkey(Key<double> key) { return reals.commit(key); }
  void find_keys();  ///< again, whenever entries were added to the tables or these were replaced
  /// Calls epoch(e) for e = 0 .. n - 1 until it returns 0 or a signal has come. When verbose, prints prefix
  /// and text, then before each epoch a line "loop e/n" and, when "vgerrors" is set, the error (width 7,
  /// precision 4; none for {}). Without `error` the quantizers' own, `prot_err`.
  void run_epochs(const char* text, long n, const EpochError& error, const Epoch& epoch);
  void run_epochs(const char* text, long n, const Epoch& epoch);
  /// The schedule of a method: from the file (when not null), else from the default file, else from the keys.
  MatParaD schedule_for(const char* file, long file_verbose, const ScheduleSource& source);
  double balance() const;  ///< weight of the graph distance in the mix in use: "tdgb", 0 without links
  bool distances_known() const { return pairs.measured(); }  ///< their ranges in the settings hold
  /// To be called before rows of graph distances are read with weight w: those of a Laplacian are computed
  /// together and kept. False (reported) when memory is short.
  bool rows_ready(double w);

  // A load in two steps: what `save_vbf` writes is read, or the reason noted, and taken over.
  bool read_state(std::FILE* f, SavedState& saved);
  void take_over(SavedState& saved);
  bool refuse_load(const std::string& why);  ///< notes the reason and returns false

  // What has failed half-way is taken back (quant/quantizer_backup.h).
  void back_up(QuantizerBackup& backup) const;
  void set_data_aside(QuantizerBackup& backup) noexcept;
  void go_back(QuantizerBackup& backup) noexcept;

  Settings<long> integers{lpref};  ///< the settings by their keys
  Settings<double> reals{dpref};
  MatFullD dat;         ///< ndata x dim: the data in use, all finite
  PairDistances pairs;  ///< between the prototypes

 private:
  // Data and prototypes.
  int read_data(const char* text, const char* file, int binary);
  void exchange_data(QuantizerBackup& backup) noexcept;
  void choose_rows();        ///< splits what `dat` holds after a load
  bool data_usable() const;  ///< false when refused
  int write_data(const char* text, const char* file, int binary) const;
  int take_prototypes();
  void reset_bookkeeping(long grow);
  void reset_unsaved();   ///< presentation order, neighbour lists and distances
  void derive_unsaved();  ///< what a snapshot does not hold, after a load
  // Linking step; the name under which the prototypes are finished is in `method`.
  bool has_grid() const;
  void link_prototypes(bool keep);
  void clear_links();
  void restore_grid();
  void apply_rule(LinkRule rule);
  void name_links();
  void label_components();
  void tear_links();
  // Distances.
  PairRules pair_rules() const;
  bool distances_current() const;          ///< a computation would give what stores and ranges hold
  int distances_without_memory();          ///< as `refuse_distances`, and throws under a MemoryWatch
  int refuse_distances(const char* text);  ///< gives the distances up, says why and returns 0
  bool laplacian_rows();                   ///< false when refused
  bool measure_distances();                ///< likewise
  std::string load_trouble;
  RowsInUse in_use;
  MatFullD whole;                                ///< all data where some are left out, else empty
  const std::unique_ptr<EpochMemory> workspace;  ///< of the epochs; it means nothing between them
};

}  // namespace qvtx
