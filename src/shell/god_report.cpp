#include "shell/god_report.h"

#include <array>
#include <bit>
#include <string>

#include "shell/session.h"

namespace qvtx {

namespace {

constexpr long picture_columns = 32;
constexpr long picture_rows = 16;
using Picture = std::array<std::array<long, picture_columns>, picture_rows>;

/// Pairs per cell of the picture; row 0 is the bottom.
Picture shrink(const MatSparT<long>& graph, long& pairs) {
  Picture cells{};
  pairs = 0;
  for (long r = 0; r < graph.nrow(); ++r) {
    for (long c = 0; c < graph.ncol(); ++c) {
      const long count = graph.getval(r, c);
      pairs += count;
      const auto row = static_cast<std::size_t>(c * picture_rows / graph.ncol());
      const auto column = static_cast<std::size_t>(r * picture_columns / graph.nrow());
      cells[row][column] += count;
    }
  }
  return cells;
}

/// Character number min(9, ceil(log2(pairs + 1))): the number of binary digits of the count.
char shade(long pairs) {
  const auto digits = static_cast<std::size_t>(std::bit_width(static_cast<unsigned long>(pairs)));
  return " .:-=+*#%@"[digits < 9 ? digits : 9];
}

}  // namespace

void show_god(Ostr& o, const GodCaption& caption, const MatSparT<long>& graph, const MatFullD& statistics,
              int level) {
  if (graph.nrow() <= 0 || statistics.nrow() <= 0) return;
  long pairs = 0;
  const Picture cells = shrink(graph, pairs);
  o.ow("GoD: ").ow(caption.kind).ow(", ").ow(pairs).ow(" pairs").nl();
  if (level <= 0) return;
  const Indent indent(o);
  const long last = statistics.nrow() - 1;
  const auto mean = [&](long c) { return pairs > 0 ? std::optional(statistics(last, c)) : std::nullopt; };
  o.ow("mean squared difference = ").ow(mean(1), 1, 4).ow(", mean ratio = ").ow(mean(2), 1, 4).nl();
  for (auto row = cells.rbegin(); row != cells.rend(); ++row) {
    std::string line = "|";
    for (const long count : *row) line += shade(count);
    o.ow(line + "|").nl();
  }
  o.ow("+" + std::string(picture_columns, '-') + "+  across: " + caption.across + ", up: " + caption.up).nl();
}

void Session::write_report(Ostr& o, int level, bool graphs) {
  constexpr GodCaption self{"self", "graph distance", "space distance"};
  constexpr GodCaption euclidean{"Euclidean", "distance in the map", "space distance"};
  constexpr GodCaption curvilinear{"curvilinear", "distance in the map", "graph distance"};
  analysis_.show(o, level);
  if (!graphs) return;
  show_god(o, work_.sgd_fell_back ? euclidean : self, work_.sgd, work_.sst, 1);
  show_god(o, euclidean, work_.egd, work_.est, 1);
  show_god(o, work_.cgd_fell_back ? euclidean : curvilinear, work_.cgd, work_.cst, 1);
}

}  // namespace qvtx
