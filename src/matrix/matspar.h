#pragma once
// Sparse counting table: one singly linked list of non-zero cells per row.

#include <iosfwd>

#include "matrix/matfulll.h"

namespace qvtx {

class TextWriter;

/// Sparse n x m matrix of T (instantiated for long), all cells 0 at first. Only non-zero cells take an entry;
/// a row's entries form a list, the one created last first, and freed entries are used again before new ones
/// are taken. Access costs time proportional to the occupied cells of the row. All errors are fatal: the
/// report of the dense matrix under the name "MatSparT".
template <class T>
class MatSparT {
 public:
  /// n x m cells, see `setdim`; `inc` becomes the growth increment of the row table. Fatal: inc < 1 (s 102).
  explicit MatSparT(long n = 0, long m = 1, long inc = 5);
  /// n x m cells, all 0. Reserves max(10, n m / 10) entries, by which the entry tables also grow. Returns n,
  /// or 0 when a reservation failed; the matrix has no rows then. Fatal: n < 0 (s 101, 1), m < 1 (s 101, 2).
  long setdim(long n, long m);
  long nrow() const { return row_.nrow(); }
  long ncol() const { return ncol_; }
  /// Number of occupied cells.
  long count() const;
  /// Number of entries that fit without growth.
  long capacity() const { return entry_.nall(); }
  /// Value of cell (i, j). Fatal: i (s 3, 1) or j (s 3, 2) out of range.
  T getval(long i, long j) const;
  /// Combines v into cell (i, j) and returns the cell's new value. An occupied cell: '*', '+', '-', '/'
  /// (integer division; a division by 0 leaves the value), '=' replaces, any other op leaves; a result of 0
  /// frees the entry. An empty cell stays empty for v = 0, '*' and '/'; it becomes -v for '-', and v for any
  /// other op. Returns 0, storing nothing, when there is no room for a new entry. Fatal: i (s 2, 1) or j (s
  /// 2, 2) out of range.
  T setval(long i, long j, T v, char op);

  /// Writes the matrix as a text that the dense reader understands, values without field width. `dense` != 0:
  /// all n x m values, each followed by a tab. `dense` = 0: one line "row, column, value" per occupied cell,
  /// row by row and within a row the cell created last first. `header` != 0 puts two header lines in front.
  void show(std::ostream& out, int dense, int header) const;
  /// Writes the dense form, which any plotting tool shows as a picture, to a file, replaced only after
  /// success. Returns 1 or 0.
  int save_asc(const char* name, int verbose, int header) const;
  /// Forgets everything: 0 rows of 1 column.
  void clear();

  [[noreturn]] void ermessage(char kind, int code, int arg, long value) const;

 private:
  void check(long i, long j, int code) const;
  long find(long i, long j, long& before) const;
  void remove(long i, long e, long before);
  T create(long i, long j, T v);
  void write_dense(TextWriter& writer, bool header) const;
  void write_cells(TextWriter& writer, bool header) const;

  long ncol_ = 1;
  long free_ = -1;   ///< first free entry slot, -1 for none
  MatFullL row_;     ///< n x 1: first entry of each row, -1 for none
  MatFullL entry_;   ///< E x 2: next entry of the row or next free slot (-1: the last), column (-1: free)
  MatFullT<T> val_;  ///< E x 1: never 0 for a used entry
};

extern template class MatSparT<long>;

}  // namespace qvtx
