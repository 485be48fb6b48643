// The detail report: data, prototypes, links.

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "matrix/summary.h"
#include "quant/vequan.h"
#include "settings/value_text.h"

namespace qvtx {

namespace {

/// Longest list of variables or axes that a table shows in full.
constexpr long most_rows = 16;
/// Longest list of component sizes.
constexpr std::size_t most_components = 10;

/// Names the metric, unless it is the Euclidean one.
void show_metric(Ostr& o, const Metric& metric) {
  if (metric.is_euclidean()) return;
  o.ow("Distance class: ")
      .ow(metric.is_cosine() ? "c (cosine)"
          : metric.is_area() ? "a (area)"
                             : "m (Minkowski)");
  if (!metric.is_cosine()) o.ow(", exponent ").ow(value_text(metric.miex));
  o.nl();
}

double total_variance(const MatFullD& dat) {
  MatFullD variances;
  dat.var(variances);
  return variances.sum(0, 1);
}

/// loaded: all data; dat: those in use.
void show_data(Ostr& o, int level, const MatFullD& loaded, const MatFullD& dat) {
  o.ow("Data: ").ow(loaded.nrow()).ow(" samples, ").ow(loaded.ncol()).ow(" variables, ");
  o.ow(loaded.nnan()).ow(" missing values").nl();
  if (level <= 0) return;
  const Indent indent(o);
  const long left_out = loaded.nrow() - dat.nrow();
  if (left_out > 0) o.ow("left out = ").ow(left_out).ow(left_out == 1 ? " sample" : " samples").nl();
  if (dat.nrow() == 0) return;
  put_figure(o.ow("total variance = "), total_variance(dat), 6, 2).nl();
  summary_head(o, "variable");
  const long shown = std::min(dat.ncol(), most_rows);
  for (long c = 0; c < shown; ++c) table_row(o, std::to_string(c), summarize(dat, c));
  if (shown < dat.ncol()) o.ow("... and ").ow(dat.ncol() - shown).ow(" more").nl();
}

/// Quantization error, and what the prototypes' data are like.
void show_cells(Ostr& o, double error, const MatFullD& dat, const MatFullD& prot, const MatFullL& bmu,
                const MatFullL& hits) {
  const Indent indent(o);
  put_figure(o.ow("quantization error = "), error, 1, 4);
  const double total = total_variance(dat);
  // Only squared Euclidean distances share the variance out.
  const bool shares = total > 0 && Metric::in_force().is_euclidean();
  if (shares) o.ow(", explained variance = ").ow(100 * (1 - 2 * error / total), 6, 2).ow('%');
  o.nl();
  // Per prototype: hits, and the root mean squared distance of its data.
  MatFullD figures(prot.nrow(), 2);
  figures.setrows(prot.nrow(), 0.0);
  for (long i = dat.nrow() - 1; i >= 0; --i) {
    const long k = bmu.get(i, 0);
    if (k < 0 || k >= prot.nrow()) continue;
    const double distance = prot.sdas(k, dat, i, no_bound);
    figures(k, 0) += 1;
    figures(k, 1) += distance * distance;
  }
  for (long k = prot.nrow() - 1; k >= 0; --k) {
    if (figures(k, 0) > 0) figures(k, 1) = std::sqrt(figures(k, 1) / figures(k, 0));
    figures(k, 0) = static_cast<double>(hits.get(k, 0));
  }
  summary_head(o, "per prototype");
  table_row(o, "hits", summarize(figures, 0));
  table_row(o, "radius", summarize(figures, 1));
}

/// Components, and what the nodes and links of the graph are like.
void show_graph(Ostr& o, const MatFullL& compsize, const MatLinkD& link) {
  const Indent indent(o);
  std::vector<long> sizes(compsize.data(), compsize.data() + compsize.nrow());
  std::sort(sizes.begin(), sizes.end(), std::greater<>());
  o.ow("component sizes: ");
  for (std::size_t c = 0; c < std::min(sizes.size(), most_components); ++c)
    o.ow(c > 0 ? ", " : "").ow(sizes[c]);
  o.ow(sizes.size() > most_components ? ", ..." : "").nl();
  const long n = link.nnode();
  MatFullD degrees(n, 1);
  degrees.setrows(n, 0.0);
  for (long k = n - 1; k >= 0; --k) degrees(k, 0) = static_cast<double>(link.degree(k));
  summary_head(o, "per prototype");
  table_row(o, "links", summarize(degrees, 0));
  const long live = link.nlive();
  if (live == 0) return;
  MatFullD values(live, 2);
  values.setrows(live, 0.0);
  long row = 0;
  for (long k = 0; k < link.nslot(); ++k) {
    if (!link.live(k)) continue;
    values(row, 0) = link.getvalue(k, 1);
    values(row++, 1) = link.getvalue(k, 0);
  }
  summary_head(o, "per link");
  table_row(o, "length", summarize(values, 0));
  table_row(o, "strength", summarize(values, 1));
}

}  // namespace

void VeQuan::show(Ostr& o, int level) {
  show_metric(o, Metric::in_force());
  if (!done(datadone)) {
    o.ow("No data").nl();
    return;
  }
  show_data(o, level, getdat(), dat);
  if (!done(pfindone) || prot.nrow() == 0) return;
  o.ow("Prototypes: ").ow(method[0] != '\0' ? method : "loaded").ow(", ").ow(prot.nrow()).ow(" prototypes, ");
  o.ow(protnbr(0)).ow(" lost, ").ow(protnbr(1)).ow(" copies").nl();
  if (level > 0 && dat.nrow() > 0) show_cells(o, prot_err(), dat, prot, bmu, hits);
  o.ow("Links: rule ").ow(integers["vglink_p"]).ow(" (").ow(linkname).ow("), ");
  o.ow(link.nlive()).ow(" links, ").ow(ncomp()).ow(ncomp() == 1 ? " component" : " components");
  if (torn.links > 0) o.ow(", ").ow(torn.links).ow(" torn");
  o.nl();
  if (level > 0) show_graph(o, compsize, link);
  lpca.show(o, level);
}

}  // namespace qvtx
