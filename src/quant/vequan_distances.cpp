// The step "dist_ext": distances between the prototypes, their ranges, and the settings that they depend on.

#include <algorithm>
#include <iterator>
#include <optional>

#include "base/interrupt.h"
#include "base/memory.h"
#include "base/time_left.h"
#include "quant/vequan.h"

namespace qvtx {

namespace {

/// The integer settings that graph distances depend on, beside the links.
constexpr Key<long> graph_keys[] = {"tdgdtype", "tdctdtwt", "tdctdlnf"};

}  // namespace

int VeQuan::dist_ini(int quick) {
  const long k = step(dinidone);
  const bool current = distances_current();
  if (current && state.getflag(k) && !reals.changed("tdgb") && pairs.balance() == balance()) {
    say_line("dist_ini: distances already computed");
    return state.setflag(k);
  }
  if (!state.shutflag(k)) return 0;
  const Interruptible scope;
  if (!current) quick ? pairs.forget() : pairs.drop_rows();
  if (!pairs.make_room()) return distances_without_memory();
  if (quick) return state.setflag(k);
  dkey("tdgb");
  for (const Key<long> key : graph_keys) lkey(key);
  dkey("tdctdakp");
  lkey("vgmemory");
  if (pairs.bytes_needed() > memory_limit()) return distances_without_memory();
  if (has_laplacian() && !current && !laplacian_rows()) return 0;
  return measure_distances() ? state.setflag(k) : 0;
}

int VeQuan::distances_without_memory() {
  const double bytes = pairs.bytes_needed();
  refuse_distances("dist_ini: not enough memory for the distances between prototypes");
  memory_failed(bytes);
  return 0;
}

int VeQuan::refuse_distances(const char* text) {
  pairs.forget();
  refuse(text);
  return 0;
}

bool VeQuan::distances_current() const {
  const auto changed = [this](Key<long> key) { return integers.changed(key); };
  return pairs.current() && !reals.changed("tdctdakp") &&
         std::none_of(std::begin(graph_keys), std::end(graph_keys), changed);
}

bool VeQuan::laplacian_rows() {
  const PairDistances::Outcome outcome = pairs.keep_laplacian([this](const char* text) { say_piece(text); },
                                                              verbose ? time_left_of("") : Progress());
  if (outcome == PairDistances::Outcome::singular) return refuse_distances("dist_ini: singular Laplacian");
  if (outcome == PairDistances::Outcome::no_memory) return distances_without_memory();
  say_end("done!");
  return true;
}

bool VeQuan::rows_ready(double w) {
  if (w == 0.0 || !has_laplacian() || prot.nrow() == 0 || pairs.graph_stored(0)) return true;
  if (pairs.keep_laplacian([](const char*) {}, {}) != PairDistances::Outcome::no_memory) return true;
  refuse("not enough memory for the distances between prototypes");
  memory_failed(pairs.bytes_needed());
  return false;
}

bool VeQuan::measure_distances() {
  const long memory = integers["vgmemory"];
  const bool bar = verbose && !has_laplacian();
  if (bar) {
    const bool reading = memory == 0 || pairs.kept();  // rows kept from the last computation
    os.ow(prefix).ow("dist_ini: computing min. and max. distances (").ow(reading ? "reading)" : "storing)");
    os.wbb(prot.nrow(), 60);
  }
  std::optional<TimeLeft> left;
  if (bar) left.emplace(TimeLeft::Place::bar);
  const std::optional<PairRanges> ranges = pairs.measure([bar, &left] {
    if (bar) left->tell(os.wbp().bar_share());
  });
  left.reset();
  if (!ranges) return distances_without_memory();
  if (bar) os.wbe();
  reals.record("tdns", ranges->space.min);
  reals.record("tdng", ranges->graph.min);
  reals.record("tdnm", ranges->mixed.min);
  reals.record("tdxs", ranges->space.max);
  reals.record("tdxg", ranges->graph.max);
  reals.record("tdxm", ranges->mixed.max);
  integers.record("tdxp", ranges->hops);
  const auto print = [this](const char* name, double min, double max) {
    os.ow(prefix).ow(name).ow(" dist.: [").ow(min).ow(",").ow(max).ow("]").nl();
  };
  if (!verbose) return true;
  print("space", reals["tdns"], reals["tdxs"]);
  print("mixed", reals["tdnm"], reals["tdxm"]);
  print("graph", reals["tdng"], reals["tdxg"]);
  return true;
}

double VeQuan::balance() const { return wants_links() ? reals["tdgb"] : 0.0; }

bool VeQuan::has_laplacian() const { return wants_links() && integers["tdgdtype"] != 0; }

PairRules VeQuan::pair_rules() const {
  PairRules rules{wants_links(), std::nullopt, balance(), integers["vgmemory"]};
  if (!has_laplacian()) return rules;
  rules.laplacian = {integers["tdgdtype"], integers["tdctdtwt"], integers["tdctdlnf"] != 0,
                     reals["tdctdakp"]};
  return rules;
}

}  // namespace qvtx
