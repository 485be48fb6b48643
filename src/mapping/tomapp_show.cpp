// The detail report: distances and mapping, after what the quantizer has to tell.

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "mapping/tomapp.h"
#include "matrix/summary.h"

namespace qvtx {

namespace {

/// The smallest and the largest distance of a kind.
struct DistanceRange {
  const char* kind;
  double low, high;
};

void show_ranges(Ostr& o, const DistanceRange* ranges, long count) {
  range_head(o, "");
  for (long r = 0; r < count; ++r) {
    const double figures[] = {ranges[r].low, ranges[r].high};
    if (ranges[r].high > 0) {
      table_row(o, ranges[r].kind, figures, 2);
    } else {
      table_dashes(o, ranges[r].kind, 2);
    }
  }
}

bool finite_axis(const MatFullD& images, long k) {
  for (long i = images.nrow() - 1; i >= 0; --i)
    if (!std::isfinite(images.get(i, k))) return false;
  return true;
}

/// Whether there is a pair of images, and each has a place on every axis.
bool comparable(const MatFullD& images) {
  for (long k = images.ncol() - 1; k >= 0; --k)
    if (!finite_axis(images, k)) return false;
  return images.nrow() > 1;
}

void show_share(Ostr& o, const char* label, bool known, double share) {
  o.ow(label);
  if (known) {
    o.ow(100 * share, 6, 2).ow('%');
  } else {
    o.ow('-');
  }
}

void show_errors(Ostr& o, ToMapp& mapping, bool linked) {
  const bool known = comparable(mapping.getmprot());
  o.ow("stress = ").ow(known ? mapping.stress() : std::nullopt, 1, 4);
  show_share(o, ", lost neighbours = ", known, mapping.mapr_err(0));
  if (linked) show_share(o, ", lost links = ", known && mapping.getlink().nlive() > 0, mapping.mapr_err(1));
  o.nl();
}

void show_mapping(Ostr& o, int level, ToMapp& mapping, bool linked) {
  const MatFullD& images = mapping.getmprot();
  const char* const name = mapping.getmname();
  o.ow("Mapping: ")
      .ow(name[0] != '\0' ? name : "loaded")
      .ow(", ")
      .ow(images.ncol())
      .ow(images.ncol() == 1 ? " dimension" : " dimensions")
      .nl();
  if (level <= 0) return;
  const Indent indent(o);
  show_errors(o, mapping, linked);
  const long most = level > 1 ? images.nrow() : ranked_at_once;
  if (const MapRanks* const ranks = mapping.ranks(most)) show_ranks(o, *ranks);
  summary_head(o, "axis");
  for (long k = 0; k < images.ncol(); ++k) {
    if (finite_axis(images, k)) {
      table_row(o, std::to_string(k), summarize(images, k));
    } else {
      table_note(o, std::to_string(k), "no value");
    }
  }
}

}  // namespace

void ToMapp::show(Ostr& o, int level) {
  VeQuan::show(o, level);
  const bool linked = wants_links();
  if (done(dinidone) && distances_known()) {
    o.ow(linked ? "Distances: space, graph and mixed (balance tdgb = " : "Distances: space");
    if (linked) o.ow(reals["tdgb"], 6, 2).ow(")");
    o.nl();
    const DistanceRange ranges[] = {{"space", reals["tdns"], reals["tdxs"]},
                                    {"graph", reals["tdng"], reals["tdxg"]},
                                    {"mixed", reals["tdnm"], reals["tdxm"]}};
    const Indent indent(o);
    if (level > 0) show_ranges(o, ranges, linked ? 3 : 1);
    if (level > 0 && linked) o.ow("longest path = ").ow(integers["tdxp"]).ow(" links").nl();
  }
  if (done(mfindone)) show_mapping(o, level, *this, linked);
}

}  // namespace qvtx
