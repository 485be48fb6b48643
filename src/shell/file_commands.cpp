// Commands that load and save.

#include <sstream>

#include "base/files.h"
#include "base/prompts.h"
#include "base/trace.h"
#include "shell/session.h"

namespace qvtx {

void Session::load_data_file() {
  std::string name;
  const auto load = [&] {
    const std::string file = name + ".dat";
    return read_data(file, [&] {
      return alter(true).dataload(file.c_str(), 1) != 0 || alter().dataload(file.c_str(), 0) != 0;
    });
  };
  ask_file(name, {".dat", load, [](const std::string&) { return true; }});
  data_name_.swap(name);
  loaded_ = data_name_;
  unsaved_ = false;
}

bool Session::load_snapshot(const std::string& name) {
  const std::string file = name + ".mbf";
  const bool loaded = alter().load_mbf(file.c_str()) != 0;
  loaded ? void(unsaved_ = false) : tell_snapshot(file);
  return loaded;
}

Outcome Session::load_data() {
  load_data_file();
  hint_data();
  return Outcome::done;
}

Outcome Session::load_all() {
  load_data_file();
  load_snapshot(data_name_);
  return Outcome::done;
}

Outcome Session::load_mapping() {
  if (analysis_.verbose) prompt("Load Mapping parameters:\n");
  std::string name;
  ask_file(name, {".mbf", [&] { return load_snapshot(name); },
                  [this](const std::string& file) { return fits_data(file); }});
  data_name_.swap(name);
  return Outcome::done;
}

Outcome Session::save_all() {
  if (analysis_.verbose) prompt("Save Mapping parameters:\n");
  std::string name;
  getfile(name, names_with(".mbf"));
  FileSet files;
  save_parts(name);
  save_log(name + ".log");
  const bool saved = files.commit();
  prompt(saved ? "  log saved!\n" : "  log failed!\n");
  if (saved) {
    unsaved_ = false;
  } else {
    tell(files.placed() == 0
             ? "nothing was written: earlier files of the name " + name + " stand as they were"
             : "only some of the files of the name " + name + " were replaced");
  }
  return Outcome::quiet;
}

void Session::save_parts(const std::string& name) {
  const int verbose = static_cast<int>(analysis_.verbose);
  const auto file = [&name](const char* extension) { return name + extension; };
  analysis_.save_mbf(file(".mbf").c_str());
  if (analysis_.done(VeQuan::pinidone)) {
    analysis_.protsave(file(".pro").c_str(), 0);
    MatFullL index;
    if (analysis_.cod(analysis_.getdat(), index)) index.save_asc(file(".cod").c_str(), verbose, 1);
    if (analysis_.ind(analysis_.getprot(), index)) index.save_asc(file(".ind").c_str(), verbose, 1);
  }
  if (analysis_.done(VeQuan::pfindone)) analysis_.dgrasave(file(".crv").c_str(), 0);
  if (analysis_.done(ToMapp::minidone)) analysis_.maprsave(file(".map").c_str());
  if (analysis_.done(ToMapp::mfindone)) analysis_.mgrasave(file(".lnk").c_str());
  analysis_.ranksave(file(".rnk").c_str());
  MatFullL clusters;
  if (analysis_.clusters(clusters)) clusters.save_asc(file(".clu").c_str(), verbose, 1);

  const auto save_graph = [&](const MatSparT<long>& graph, const MatFullD& statistics, const char* gd,
                              const char* st) {
    if (graph.nrow() <= 0) return;
    graph.save_asc(file(gd).c_str(), verbose, 1);
    statistics.save_asc(file(st).c_str(), verbose, 1);
  };
  save_graph(work_.sgd, work_.sst, ".sgd", ".sst");
  save_graph(work_.egd, work_.est, ".egd", ".est");
  save_graph(work_.cgd, work_.cst, ".cgd", ".cst");
}

void Session::save_log(const std::string& name) {
  std::ostringstream text;
  text.exceptions(std::ios::badbit);  // a lack of memory is not to be lost
  Ostr log(text);
  write_report(log, 1, true);
  if (work_.jrp.nrow() > 0) {
    log.ow("  rel. mean quad. error = ").ow(analysis_.ir_err(reference(), work_.jrp)).nl();
  }
  write_file(name.c_str(), text.str());
}

Outcome Session::save_trace() {
  comtrac.resize(comtrac.size() - 3);  // "st" and its line end
  const std::string name = getanswer("  Filename without exension? ", names_with(".trc"));
  savetrc((name + ".trc").c_str());
  return Outcome::quiet;
}

Outcome Session::save_clusters() {
  const int verbose = static_cast<int>(analysis_.verbose);
  if (verbose) prompt("Save cluster parameters:\n");
  std::string name;
  getfile(name, names_with(".pro"));
  const bool prototypes = analysis_.done(VeQuan::pinidone) != 0;
  if (!prototypes) refuse("xg saves prototypes, and there are none: ng or another quantization");
  if (prototypes) analysis_.protsave((name + ".pro").c_str(), 0);
  if (analysis_.done(ToMapp::minidone)) analysis_.maprsave((name + ".map").c_str());
  MatFullL codes;
  if (prototypes && analysis_.cod(analysis_.getdat(), codes)) codes.save_bin((name + ".cod").c_str(), 1);
  return Outcome::quiet;
}

Outcome Session::save_projections() {
  const int verbose = static_cast<int>(analysis_.verbose);
  if (verbose) prompt("Save proj./deproj. data:\n");
  std::string name;
  getfile(name, names_with(".prj"));
  work_.prj.save_asc((name + ".prj").c_str(), verbose, 1);
  if (work_.ppr.nrow() > 0) work_.ppr.save_asc((name + ".ppr").c_str(), verbose, 1);
  if (work_.jrp.nrow() > 0) {
    work_.jrp.save_asc((name + ".jrp").c_str(), verbose, 1);
    MatFullD error(1, 1);
    error.setrows(1);
    error(0, 0) = analysis_.ir_err(reference(), work_.jrp);
    error.save_asc((name + ".mre").c_str(), verbose, 1);
  }
  return Outcome::quiet;
}

Outcome Session::save_path() {
  long index = 0;
  const std::string text = "Prototype index ? [0," + std::to_string(analysis_.getprot().nrow() - 1) + "]";
  if (!ask_long(text.c_str(), index)) return Outcome::given_up;
  std::string name;
  getfile(name, names_with(".bwt"));
  const long last = analysis_.getprot().nrow() - 1;
  if (index < 0 || index > last) {
    refuse("prototype " + std::to_string(index) + " is outside [0," + std::to_string(last) + "]");
  } else {
    analysis_.treesave(index, (name + ".bwt").c_str());
  }
  return Outcome::quiet;
}

}  // namespace qvtx
