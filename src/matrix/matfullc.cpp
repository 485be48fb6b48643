#include "matrix/matfullc.h"

#include <cstring>
#include <string>

namespace qvtx {

long MatFullC::addstr(const char* s) {
  const auto most = static_cast<std::size_t>(ncol() - 1);
  // A copy, since s may be a label of this matrix and the block may move.
  const std::string text(s != nullptr ? s : "", s != nullptr ? ::strnlen(s, most) : 0);
  const long before = nrow();
  if (addrow() != before) std::memcpy(row(before), text.data(), text.size());
  return nrow();
}

long MatFullC::count(const char* s, MatFullL& idx) const {
  const std::size_t length = ::strnlen(s, static_cast<std::size_t>(ncol() - 1));
  idx.setdim(nrow(), 1);
  idx.setrows(nrow());
  idx.setidx(0, 0, 1);
  for (long k = idx.nrow() - 1; k >= 0; --k) {
    if (std::memcmp(label(idx(k, 0)), s, length) == 0) continue;
    idx(k, 0) = idx(idx.nrow() - 1, 0);
    idx.setrows(idx.nrow() - 1);
  }
  return idx.nrow();
}

void MatFullC::tsp(const MatFullT<char>& src) {
  if (&src != this) copy(src);
  tsp();
}

}  // namespace qvtx
