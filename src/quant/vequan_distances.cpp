// The step "dist_ext": distances between the prototypes, their ranges, and the settings that they depend on.

#include "quant/vequan.h"

namespace qvtx {

namespace {

constexpr const char* no_memory = "dist_ini: not enough memory for the distances between prototypes";

template <class T>
bool key_changed(const MatPrefT<T>& table, const char* key) {
  return table.changed(table.getkey(key));
}

void record(MatPrefT<double>& table, const char* key, double value) {
  table.commit(key);  // a missing key is reported by its name
  table.newval(table.getkey(key), value);
  table.commit(key);
}

}  // namespace

int VeQuan::dist_ini(int quick) {
  const long k = step(dinidone);
  const bool current = distances_current();
  if (current && state.getflag(k) && !key_changed(dpref, "tdgb") && pairs.balance() == balance()) {
    say_line("dist_ini: distances already computed");
    return state.setflag(k);
  }
  if (!state.shutflag(k)) return 0;
  if (!current) pairs.forget();
  if (!pairs.make_room()) return refuse_distances(no_memory);
  if (quick) return state.setflag(k);
  dkey("tdgb");
  for (const char* key : {"tdgdtype", "tdctdtwt", "tdctdlnf"}) lkey(key);
  dkey("tdctdakp");
  if (has_laplacian() && !current && !laplacian_rows()) return 0;
  return measure_distances() ? state.setflag(k) : 0;
}

int VeQuan::refuse_distances(const char* text) {
  pairs.forget();
  refuse(text);
  return 0;
}

bool VeQuan::distances_current() const {
  return pairs.current() && !key_changed(lpref, "tdgdtype") && !key_changed(lpref, "tdctdtwt") &&
         !key_changed(lpref, "tdctdlnf") && !key_changed(dpref, "tdctdakp");
}

bool VeQuan::laplacian_rows() {
  const PairDistances::Outcome outcome = pairs.keep_laplacian([this](const char* text) { say_piece(text); });
  if (outcome == PairDistances::Outcome::singular) return refuse_distances("dist_ini: singular Laplacian");
  if (outcome == PairDistances::Outcome::no_memory) return refuse_distances(no_memory);
  say_end("done!");
  return true;
}

bool VeQuan::rows_ready(double w) {
  if (w == 0.0 || !has_laplacian() || prot.nrow() == 0 || pairs.graph_stored(0)) return true;
  if (pairs.keep_laplacian([](const char*) {}) != PairDistances::Outcome::no_memory) return true;
  refuse("not enough memory for the distances between prototypes");
  return false;
}

bool VeQuan::measure_distances() {
  const long memory = lkey("vgmemory");
  const bool bar = verbose && !has_laplacian();
  if (bar) {
    const bool reading = memory == 0 || pairs.measured();  // rows kept from the last computation
    os.ow(prefix).ow("dist_ini: computing min. and max. distances (").ow(reading ? "reading)" : "storing)");
    os.wbb(prot.nrow(), 60);
  }
  const std::optional<PairRanges> ranges = pairs.measure([bar] {
    if (bar) os.wbp();
  });
  if (!ranges) return refuse_distances(no_memory);
  if (bar) os.wbe();
  record(dpref, "tdns", ranges->space.min);
  record(dpref, "tdng", ranges->graph.min);
  record(dpref, "tdnm", ranges->mixed.min);
  record(dpref, "tdxs", ranges->space.max);
  record(dpref, "tdxg", ranges->graph.max);
  record(dpref, "tdxm", ranges->mixed.max);
  lkey("tdxp");
  lpref.newval(keys.tdxp, ranges->hops);
  lkey("tdxp");
  const auto print = [this](const char* name, const char* min, const char* max) {
    os.ow(prefix).ow(name).ow(" dist.: [").ow(dpref.getval(dpref.getkey(min)));
    os.ow(",").ow(dpref.getval(dpref.getkey(max))).ow("]").nl();
  };
  if (!verbose) return true;
  print("space", "tdns", "tdxs");
  print("mixed", "tdnm", "tdxm");
  print("graph", "tdng", "tdxg");
  return true;
}

double VeQuan::balance() const { return lpref.getval(keys.vglink_p) != 0 ? dpref.getval(keys.tdgb) : 0.0; }

bool VeQuan::has_laplacian() const {
  return lpref.getval(keys.vglink_p) != 0 && lpref.getval(keys.tdgdtype) != 0;
}

PairRules VeQuan::pair_rules() const {
  PairRules rules{lpref.getval(keys.vglink_p) != 0, std::nullopt, balance(), lpref.getval(keys.vgmemory)};
  if (!has_laplacian()) return rules;
  rules.laplacian = {lpref.getval(keys.tdgdtype), lpref.getval(lpref.getkey("tdctdtwt")),
                     lpref.getval(lpref.getkey("tdctdlnf")) != 0, dpref.getval(dpref.getkey("tdctdakp"))};
  return rules;
}

}  // namespace qvtx
