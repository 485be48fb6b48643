// Commands that project the prototypes, interpolate data through the projection and rate it.

#include <algorithm>
#include <iostream>
#include <utility>

#include "base/prompts.h"
#include "matrix/binary_inspection.h"
#include "settings/value_text.h"
#include "shell/session.h"

namespace qvtx {

namespace {

/// Bins per axis of a GoD graph, as a power of two.
constexpr int god_bits = 7;

bool is_command(char c1, char c2, const char* name) { return c1 == name[0] && c2 == name[1]; }

}  // namespace

void Session::sub_menu(const char* title, bool interpolation) const {
  os.flush();
  std::cerr << title << "\n    mp = mapping\n";
  if (!interpolation) return;
  if (analysis_.done(ToMapp::mfindone)) {
    std::cerr << "    il = Interpolate Learning   set\n"
              << "    iv = Interpolate Validation set\n";
  }
  if (work_.prj.nrow() > 0) std::cerr << "    rd = Reconstruct Data       set\n";
}

Outcome Session::projection_menu(const char* title, Mapping method, bool sammon_variants) {
  sub_menu(title, true);
  char c1 = 0;
  char c2 = 0;
  getsub(c1, c2);
  const bool final_mapping = analysis_.done(ToMapp::mfindone) != 0;
  if (is_command(c1, c2, "mp")) {
    if (method) return map_prototypes(method);
    if (alter().sommap()) {
      hint_mapping();
    } else {
      refuse("us needs the prototypes of a self-organizing map: om");
    }
    return Outcome::done;
  }
  if (is_command(c1, c2, "il") && final_mapping) {
    // From now on the reference of `rd` and `mq` is the learning set.
    if (interpolate(analysis_.getdat(), sammon_variants)) work_.dat.setdim(0, 1);
    return Outcome::quiet;
  }
  if (is_command(c1, c2, "iv") && final_mapping) return interpolate_validation(sammon_variants);
  if (is_command(c1, c2, "rd") && work_.prj.nrow() > 0) return reconstruct(sammon_variants);
  const bool interpolates = is_command(c1, c2, "il") || is_command(c1, c2, "iv");
  return bad_command(c1, c2,
                     interpolates ? "needs a mapping: mp"
                     : is_command(c1, c2, "rd")
                         ? "needs projected data: il or iv"
                         : std::string("is no choice of ") + command_ + ", which has mp, il, iv and rd");
}

bool Session::ask_dimension(long& dimension) {
  if (!automatic()) return ask_long("  Output dimension (integer) ? ", dimension);
  double confidence = 0;
  if (!ask_double("  Confidence (0.xx) ? ", confidence)) return false;
  if (!analysis_.getlpca().ready()) alter().lpca_init();
  dimension = analysis_.getlpca().getdim(confidence, 2);
  if (dimension < 0) refuse("no number of dimensions reaches a confidence of " + value_text(confidence));
  return true;
}

Outcome Session::mapped(long dimension, long result) {
  if (result != 0) hint_mapping();
  if (result != 0 || refused_) return Outcome::done;
  const long n = analysis_.getprot().nrow();
  if (dimension < 1) {
    refuse("a map has at least 1 dimension, not " + std::to_string(dimension));
  } else if (n < 2) {
    refuse("a map needs two prototypes, there is one");
  } else {
    refuse_because("no map was made");
  }
  return Outcome::done;
}

Outcome Session::map_prototypes(Mapping method) {
  long dimension = 0;
  if (!ask_dimension(dimension)) return Outcome::given_up;
  const MatFullD& prototypes = analysis_.getprot();
  if (const long most = std::max(prototypes.nrow(), prototypes.ncol()); dimension > most) {
    refuse("a map of " + std::to_string(prototypes.nrow()) + " prototypes with " +
           std::to_string(prototypes.ncol()) + " variables has at most " + std::to_string(most) +
           " dimensions, not " + std::to_string(dimension));
    return Outcome::given_up;
  }
  return mapped(dimension, (alter().*method)(dimension, nullptr));
}

bool Session::interpolate(const MatFullD& data, bool sammon_variants) {
  MatFullD ppr, prj;
  const long ok =
      sammon_variants ? analysis_.sammon_iv(data, ppr, prj, nullptr) : analysis_.cda_iv(data, ppr, prj);
  if (ok == 0) return false;
  hint_interpolation(data, prj);
  work_.ppr.swap(ppr);
  work_.prj.swap(prj);
  work_.reinit(1);
  return true;
}

Outcome Session::interpolate_validation(bool sammon_variants) {
  const int verbose = static_cast<int>(analysis_.verbose);
  MatFullD validation;
  std::string name;
  const auto load = [&] {
    const std::string file = name + ".dat";
    return read_data(file, [&] { return validation.load_bin(file.c_str(), verbose) != 0; });
  };
  ask_file(name, {".dat", load, [](const std::string& file) { return !looks_like_text(file.c_str()); }});
  if (const long columns = analysis_.getprot().ncol(); validation.ncol() != columns) {
    refuse(name + ".dat has " + std::to_string(validation.ncol()) + " columns, the data have " +
           std::to_string(columns));
  }
  const bool interpolated = interpolate(validation, sammon_variants);
  MatFullL codes;
  if (!sammon_variants && analysis_.done(VeQuan::pinidone) && analysis_.cod(validation, codes)) {
    codes.save_asc((name + ".cod").c_str(), verbose, 1);
  }
  // A refused set must not become the reference of positions that are not its own.
  if (interpolated) work_.dat.swap(validation);
  return Outcome::quiet;
}

Outcome Session::reconstruct(bool sammon_variants) {
  MatFullD tmp, jrp;
  const long ok = sammon_variants ? analysis_.sammon_rd(work_.prj, tmp, jrp, nullptr)
                                  : analysis_.cda_rd(work_.prj, tmp, jrp);
  if (ok != 0) {
    work_.tmp.swap(tmp);
    work_.jrp.swap(jrp);
  }
  return Outcome::quiet;
}

Outcome Session::unfold_map() { return projection_menu("  Unfold SOM: ", nullptr, false); }

Outcome Session::sammon() { return projection_menu("  Sammon Mapping: ", &ToMapp::sammon, true); }

Outcome Session::curvilinear() {
  return projection_menu("  Curvilinear Component Analysis: ", &ToMapp::cda, false);
}

Outcome Session::isotop() { return projection_menu("  Isotop: ", &ToMapp::isotop, false); }

Outcome Session::scaling() {
  sub_menu("  MultiDimensional Scaling: ", false);
  char c1 = 0;
  char c2 = 0;
  getsub(c1, c2);
  if (!is_command(c1, c2, "mp")) return bad_command(c1, c2, "is no choice of md, which has mp alone");
  long dimension = 0;
  if (!ask_dimension(dimension)) return Outcome::given_up;
  return mapped(dimension, alter().mds(dimension));
}

bool Session::rate(MatSparT<long>& graph, MatFullD& statistics, int curvilinear, int self) {
  MatSparT<long> found;
  MatFullD summary;
  if (!analysis_.god(god_bits, found, summary, curvilinear, self)) return false;
  if (const std::string reason = refusal(); !reason.empty()) tell(reason + ": distances in space instead");
  graph = std::move(found);
  statistics.swap(summary);
  return true;
}

Outcome Session::self_god() {
  if (rate(work_.sgd, work_.sst, 0, 1)) work_.sgd_fell_back = !analysis_.wants_links();
  return Outcome::quiet;
}

Outcome Session::euclidean_god() {
  rate(work_.egd, work_.est, 0, 0);
  return Outcome::quiet;
}

Outcome Session::curvilinear_god() {
  if (rate(work_.cgd, work_.cst, 1, 0)) work_.cgd_fell_back = !analysis_.wants_links();
  return Outcome::quiet;
}

Outcome Session::all_gods() {
  self_god();
  euclidean_god();
  curvilinear_god();
  return Outcome::quiet;
}

Outcome Session::mean_error() {
  analysis_.ir_err(reference(), work_.jrp);
  return Outcome::quiet;
}

}  // namespace qvtx
