// The block of the detail report on the local principal component analysis.

#include <string>

#include "local/lpca.h"
#include "matrix/summary.h"

namespace qvtx {

namespace {

constexpr long most_rows = 16;

}  // namespace

void LPCA::show(Ostr& o, int level) const {
  if (!ready()) return;
  o.ow("Local PCA: explained variance in ").ow(nregion()).ow(" regions, ");
  o.ow(nunder()).ow(" underdetermined").nl();
  if (level <= 0) return;
  const Indent indent(o);
  summary_head(o, "components");
  const long last = stats().ncol() - 1;
  for (long c = 0; c <= last; ++c) {
    if (c >= most_rows && c < last) continue;
    Summary summary;
    for (long r = 0; r < summary_figures; ++r) summary.figure[r] = stats()(r, c);
    table_row(o, std::to_string(c), summary);
  }
  if (const long dimension = getdim(0.95, 2); dimension >= 0) {
    o.ow("The dataset seems to be ").ow(dimension).ow("-dimensional at 95% of confidence.").nl();
  }
}

}  // namespace qvtx
