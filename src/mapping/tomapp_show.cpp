// The detail report: distances and mapping, after what the quantizer has to tell.

#include <algorithm>
#include <string>

#include "mapping/tomapp.h"
#include "matrix/summary.h"

namespace qvtx {

void ToMapp::show(Ostr& o, int level) {
  VeQuan::show(o, level);
  if (done(dinidone) && distances_known()) show_distances(o, level);
  if (done(mfindone)) show_mapping(o, level);
}

void ToMapp::show_distances(Ostr& o, int level) const {
  const bool linked = lpref.getval(keys.vglink_p) != 0;
  if (linked) {
    o.ow("Distances: space, graph and mixed (balance tdgb = ").ow(dpref.getval(keys.tdgb), 6, 2).ow(")").nl();
  } else {
    o.ow("Distances: space").nl();
  }
  if (level <= 0) return;
  const Indent indent(o);
  const auto range = [&](const char* label, long low, long high) {
    const double figures[] = {dpref.getval(low), dpref.getval(high)};
    table_row(o, label, figures, 2);
  };
  range_head(o, "");
  range("space", keys.tdns, keys.tdxs);
  if (!linked) return;
  range("graph", keys.tdng, keys.tdxg);
  range("mixed", keys.tdnm, keys.tdxm);
  o.ow("longest path = ").ow(lpref.getval(keys.tdxp)).ow(" links").nl();
}

void ToMapp::show_mapping(Ostr& o, int level) {
  const bool linked = lpref.getval(keys.vglink_p) != 0;
  o.ow("Mapping: ")
      .ow(mname[0] != '\0' ? mname : "loaded")
      .ow(", ")
      .ow(mprot.ncol())
      .ow(mprot.ncol() == 1 ? " dimension" : " dimensions")
      .nl();
  if (level <= 0) return;
  const Indent indent(o);
  o.ow("stress = ").ow(mapr_err(), 1, 4).ow(", lost neighbours = ").ow(100 * mapr_err(0), 6, 2).ow('%');
  if (linked) o.ow(", lost links = ").ow(100 * mapr_err(1), 6, 2).ow('%');
  o.nl();
  summary_head(o, "axis");
  for (long k = 0; k < mprot.ncol(); ++k) table_row(o, std::to_string(k), summarize(mprot, k));
}

}  // namespace qvtx
