// Loading and saving of the data.

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "base/elementary.h"
#include "matrix/distance/metric.h"
#include "quant/vequan.h"

namespace qvtx {

namespace {

/// Exponent of the largest power of a difference that is summed up; errors sum squares in every class.
double summed_exponent(const Metric& metric) {
  if (metric.is_cosine()) return 4.0;  // the product of two squared lengths
  return metric.miex < Metric::chebyshev_from ? std::max(metric.miex, 2.0) : 2.0;
}

/// First column of m whose values are too large: two rows may differ by twice the largest value, and that
/// difference, in every column of every row, must leave a finite sum of powers. -1: none.
long first_too_large(const MatFullD& m, const Metric& metric) {
  const double exponent = summed_exponent(metric);
  const auto terms = static_cast<double>(std::max(m.nrow(), m.ncol())) * static_cast<double>(m.ncol());
  const double limit = std::numeric_limits<double>::max() / terms;
  for (long j = 0; j < m.ncol(); ++j) {
    double largest = 0;
    for (long i = 0; i < m.nrow(); ++i) largest = std::max(largest, std::fabs(m.data()[i * m.ncol() + j]));
    if (!(fixed_pow(2 * largest, exponent) <= limit)) return j;
  }
  return -1;
}

}  // namespace

int VeQuan::dataload(const char* file, int binary) { return read_data("dataload: ", file, binary); }

int VeQuan::load_dbf(const char* file) { return read_data("load_dbn: ", file, 1); }

int VeQuan::read_data(const char* text, const char* file, int binary) {
  const long k = step(datadone);
  if (!state.shutflag(k) || file == nullptr) return 0;
  say(text);
  const int verbosity = verbose ? 1 : 0;
  if (!(binary ? dat.load_bin(file, verbosity) : dat.load_asc(file, verbosity))) {
    dat.setdim(0, 1);
    in_use = RowsInUse();
    return 0;
  }
  choose_rows();
  return state.setflag(k);
}

void VeQuan::choose_rows() {
  in_use = RowsInUse(dat);
  MatFullD().swap(whole);
  if (in_use.all()) return;
  whole.swap(dat);
  in_use.pick(whole, dat);
  if (verbose) {
    os.ow(prefix).ow("dataload: ").ow(in_use.left_out()).ow(" of ").ow(whole.nrow());
    os.ow(" samples left out: not finite").nl();
  }
}

bool VeQuan::data_usable() const {
  if (dat.nrow() == 0 && !in_use.all()) {
    refuse("prot_ini: no sample is finite");
    return false;
  }
  const long column = dat.nrow() > 0 ? first_too_large(dat, Metric::in_force()) : -1;
  if (column < 0) return true;
  refuse(("prot_ini: values of variable " + std::to_string(column) + " are too large").c_str());
  return false;
}

int VeQuan::dataload(MatFullD& m, int copy) {
  const long k = step(datadone);
  if (!state.shutflag(k)) return 0;
  say("dataload: loading from memory ... ");
  if (!in_use.all()) dat.swap(whole);  // all that was loaded is what m gets
  if (!copy) {
    dat.swap(m);
  } else {
    dat.copy(m);
  }
  say_end("done!");
  choose_rows();
  return state.setflag(k);
}

int VeQuan::datasave(const char* file, int binary) const { return write_data("datasave: ", file, binary); }

int VeQuan::save_dbf(const char* file) const { return write_data("save_dbn: ", file, 1); }

int VeQuan::write_data(const char* text, const char* file, int binary) const {
  if (!done(datadone) || file == nullptr) return 0;
  say(text);
  const int verbosity = verbose ? 1 : 0;
  return binary ? getdat().save_bin(file, verbosity) : getdat().save_asc(file, verbosity, 1);
}

int VeQuan::datasave(MatFullD& m) const {
  if (!done(datadone)) return 0;
  say("datasave: saving in memory ...");
  m.copy(getdat());
  say_end("done!");
  return 1;
}

}  // namespace qvtx
