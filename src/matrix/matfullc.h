#pragma once
// Matrix of char: each row a zero-terminated label of at most ncol - 1 characters.

#include "matrix/matfulll.h"

namespace qvtx {

class MatFullC : public MatFullT<char> {
 public:
  using MatFullT<char>::MatFullT;

  /// Appends a label, cut to ncol - 1 characters (a null s: an empty one); returns the new row count.
  long addstr(const char* s);
  /// Number of rows that begin with the first min(strlen(s), ncol - 1) characters of s. idx (resized to one
  /// column) receives their numbers, not in order.
  long count(const char* s, MatFullL& idx) const;
  using MatFullT<char>::tsp;
  /// This becomes the transpose of src, which may be this matrix.
  void tsp(const MatFullT<char>& src);
  /// Label of row i, zero-terminated when `addstr` made it.
  const char* label(long i) const { return row(i); }
};

std::ostream& operator<<(std::ostream& out, const MatFullC& m);
std::istream& operator>>(std::istream& in, MatFullC& m);

}  // namespace qvtx
