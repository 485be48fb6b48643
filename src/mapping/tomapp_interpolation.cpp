// Interpolation of samples into the map and reconstruction of samples from positions, by blended local affine
// maps; the rating of a reconstruction.

#include <algorithm>

#include "base/interrupt.h"
#include "mapping/affine_blend.h"
#include "mapping/progress_bar.h"
#include "mapping/tomapp.h"

namespace qvtx {

bool ToMapp::can_interpolate(const char* name, const MatFullD& rows, long columns) const {
  if (!done(mfindone) || prot.nrow() == 0) return false;
  const char* trouble = nullptr;
  if (rows.ncol() != columns) {
    trouble = "sizes don't agree!";
  } else if (mprot.nnan() > 0) {
    trouble = "mapping is not finite!";
  }
  if (!trouble) return true;
  if (verbose) os.fresh().ow(prefix).ow(name).ow(": ").ow(trouble).nl();
  return false;
}

long ToMapp::cda_iv(const MatFullD& data, MatFullD& ppr, MatFullD& prj) {
  if (!can_interpolate("cda_iv", data, prot.ncol())) return 0;
  ProgressBar bar(verbose != 0, prefix, "cda_iv: interpolating ... ", data.nrow());
  AffineBlend blend(*this, mprot, wants_links());
  if (data.nrow() > 0) blend.shrink();
  prj.setdim(data.nrow(), mprot.ncol());
  prj.setrows(data.nrow());
  ppr.setdim(data.nrow(), mprot.ncol());
  ppr.setrows(data.nrow());
  BlendRows rows;
  for (long i = data.nrow() - 1; i >= 0; --i) {
    if (interrupted()) {  // a part of the rows would pass for all of them
      prj.setrows(0);
      ppr.setrows(0);
      return 0;
    }
    const bool finite = blend.position(data.row(i), prj.row(i), rows);
    std::copy_n(finite ? mprot.row(rows.row[0]) : prj.row(i), mprot.ncol(), ppr.row(i));
    bar.step();
  }
  return 1;
}

long ToMapp::cda_rd(const MatFullD& prj, MatFullD& tmp, MatFullD& jrp) {
  if (!can_interpolate("cda_rd", prj, mprot.ncol())) return 0;
  ProgressBar bar(verbose != 0, prefix, "cda_rd: reconstructing ... ", prj.nrow());
  AffineBlend blend(*this, mprot, wants_links());
  jrp.setdim(prj.nrow(), prot.ncol());
  jrp.setrows(prj.nrow());
  tmp.setdim(prj.nrow(), prot.ncol());
  tmp.setrows(prj.nrow());
  BlendRows rows;
  for (long i = prj.nrow() - 1; i >= 0; --i) {
    if (interrupted()) {  // a part of the rows would pass for all of them
      jrp.setrows(0);
      tmp.setrows(0);
      return 0;
    }
    const bool finite = blend.sample(prj.row(i), jrp.row(i), rows);
    std::copy_n(finite ? prot.row(rows.row[0]) : jrp.row(i), prot.ncol(), tmp.row(i));
    bar.step();
  }
  return 1;
}

double ToMapp::ir_err(const MatFullD& data, const MatFullD& rec) const {
  const double error = mqe_in_use(data, rec);
  if (!verbose) return error;
  const double quantization = cd_err(data);
  const double gain = quantization == 0 ? 0 : (quantization - error) * 100 / quantization;
  os.fresh().ow(prefix).ow("ir_err:").nl();
  os.ow("Error without interpolation = ").ow(quantization, 1, 6).nl();
  os.ow("Error with    interpolation = ").ow(error, 1, 6).nl();
  os.ow("Gain = ").ow(gain, 1, 2).ow("%").nl();
  return error;
}

}  // namespace qvtx
