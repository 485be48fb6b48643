// The quantizer object: construction, states, messages, the driver and the two trivial methods.

#include "quant/vequan.h"

#include <cmath>

#include "base/interrupt.h"
#include "base/random.h"
#include "base/time_left.h"
#include "quant/epoch_memory.h"

namespace qvtx {

const char* const VeQuan::datadone = "dataload";
const char* const VeQuan::pinidone = "prot_ini";
const char* const VeQuan::pfindone = "prot_fin";
const char* const VeQuan::dinidone = "dist_ext";

VeQuan::VeQuan(std::ifstream& prefs)
    : pairs(prot, link, [this] { return pair_rules(); }), workspace(std::make_unique<EpochMemory>()) {
  long last = -1;
  for (const char* name : {datadone, pinidone, pfindone, dinidone}) last = state.addstep(name, last);
  if (prefs) {
    lpref.load_asc(prefs);
    dpref.load_asc(prefs);
  } else {
    refuse("VeQuan: unable to read preference file");
  }
  find_keys();
}

VeQuan::~VeQuan() = default;

void VeQuan::find_keys() {
  integers.look_up();
  reals.look_up();
}

long VeQuan::step(const char* name) const {
  const long k = state.getstep(name);
  if (k < 0) state.badstep(k);
  return k;
}

int VeQuan::done(const char* name) const { return state.getflag(step(name)); }

void shuffle(MatFullL& order) {
  long* cell = order.data();
  const long n = order.nrow();
  for (long i = n - 1; i >= 0; --i) {
    const long j = draw_index(n);
    const long other = cell[j];
    cell[j] = cell[i];
    cell[i] = other;
  }
}

void VeQuan::run_epochs(const char* text, long n, const EpochError& error, const Epoch& epoch) {
  if (verbose) {
    say(text);
    os.nl().lb(n);
  }
  TimeLeft left(TimeLeft::Place::line);
  for (long e = 0; e < n; ++e) {
    if (verbose) os.lp(0);  // one line per iteration, so that a log of the run shows them all
    if (verbose && error.measure && lkey("vgerrors")) os.ow(error.label).ow(error.measure(), 7, 4);
    if (!epoch(e) || interrupted()) break;
    if (verbose) left.tell(static_cast<double>(e + 1) / static_cast<double>(n));
  }
  if (verbose) os.le().flush();
}

void VeQuan::run_epochs(const char* text, long n, const Epoch& epoch) {
  run_epochs(text, n, {" mE=", [this] { return prot_err(); }}, epoch);
}

MatParaD VeQuan::schedule_for(const char* file, long file_verbose, const ScheduleSource& source) {
  MatParaD sched;
  if (file && load_schedule(sched, file, source.default_file, file_verbose != 0)) return sched;
  say_line(source.notice);
  sched.setdim(0, static_cast<long>(source.columns.size()));
  sched.additer(lkey(source.epochs));
  long column = 0;
  for (const auto [first_key, last_key] : source.columns) {
    const double first = dkey(first_key);
    sched.set(3, column++, first, dkey(last_key), 0, -1);
  }
  return sched;
}

long VeQuan::getnumber() {
  const long n = std::lround(static_cast<double>(dat.nrow()) * dkey("vgvqcora"));
  return n < 1 ? 1 : n;
}

double VeQuan::getradius() { return dkey("vgvqdera"); }

double VeQuan::marauto(double r) const {
  if (!done(datadone)) return -1.0;
  if (dat.nrow() == 0) return 0.0;
  MatFullD columns, distances, summary;
  dat.mmm(columns);
  dat.sdav(columns, 0, distances, no_bound);
  distances.mmm(summary);
  return 2.0 * (1.0 - r) * summary(0, 0);
}

long VeQuan::vq() {
  const char* const no_file = nullptr;
  const long selected = lkey("vgvqdvqm");
  switch (selected) {
    case 1:
      return nq();
    case 2:
      return gc();
    case 3:
      return lbg(getnumber());
    case 4:
      return dlbg(getradius());
    case 5:
      return cl(getnumber(), no_file);
    case 6:
      return fcl(getnumber(), no_file);
    case 7:
      return ng(getnumber(), no_file);
    case 8:
      return nw(getradius(), no_file);
    case 9:
      return xn(getradius());
    case 10:
      return som(getnumber(), dkey("vsomd12"), no_file);
    default:
      return selected;
  }
}

int VeQuan::nq() {
  if (!prot_ini(dat.nrow(), 4)) {
    say_line("nq: failed when copying data!");
    return 0;
  }
  say_line("nq: data copied.");
  return prot_fin("No quantization", 1);
}

int VeQuan::gc() {
  if (!prot_ini(1, 2)) {
    say_line("gc: failure!");
    return 0;
  }
  say_line("gc: G-center computed.");
  return prot_fin("G-center", 1);
}

}  // namespace qvtx
