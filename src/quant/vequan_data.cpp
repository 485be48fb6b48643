// Loading and saving of the data.

#include "quant/vequan.h"

namespace qvtx {

int VeQuan::dataload(const char* file, int binary) { return read_data("dataload: ", file, binary); }

int VeQuan::load_dbf(const char* file) { return read_data("load_dbn: ", file, 1); }

int VeQuan::read_data(const char* text, const char* file, int binary) {
  const long k = step(datadone);
  if (!state.shutflag(k) || file == nullptr) return 0;
  say(text);
  const int verbosity = verbose ? 1 : 0;
  if (!(binary ? dat.load_bin(file, verbosity) : dat.load_asc(file, verbosity))) {
    dat.setdim(0, 1);
    return 0;
  }
  return state.setflag(k);
}

int VeQuan::dataload(MatFullD& m, int copy) {
  const long k = step(datadone);
  if (!state.shutflag(k)) return 0;
  say("dataload: loading from memory ... ");
  if (!copy) {
    dat.swap(m);
  } else {
    dat.copy(m);
  }
  say_end("done!");
  return state.setflag(k);
}

int VeQuan::datasave(const char* file, int binary) const { return write_data("datasave: ", file, binary); }

int VeQuan::save_dbf(const char* file) const { return write_data("save_dbn: ", file, 1); }

int VeQuan::write_data(const char* text, const char* file, int binary) const {
  if (!done(datadone) || file == nullptr) return 0;
  say(text);
  const int verbosity = verbose ? 1 : 0;
  return binary ? dat.save_bin(file, verbosity) : dat.save_asc(file, verbosity, 1);
}

int VeQuan::datasave(MatFullD& m) const {
  if (!done(datadone)) return 0;
  say("datasave: saving in memory ...");
  m.copy(dat);
  say_end("done!");
  return 1;
}

}  // namespace qvtx
