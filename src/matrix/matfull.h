#pragma once
// The dense matrix of the program.
//
// The template is instantiated for double, long, int and char, and its members are split over several sources
// by subject. matfull.cpp ends with `template class MatFullT<...>`, which instantiates the members that are
// defined in it and in this header; every other source (matfull_text.cpp, matfull_binary.cpp) ends with
// explicit instantiations of the members that it defines, one by one:
//
//   template int MatFullT<double>::load_asc(const char*, int);
//
// Nothing is declared `extern template`: a member whose definition is not visible cannot be instantiated
// elsewhere.

#include <cstdio>
#include <iosfwd>
#include <memory>

#include "base/istr.h"
#include "base/ostr.h"

namespace qvtx {

// Reports of programming errors. Each form prints "class <name>: error <kind><code>" on a fresh line of `os`,
// then its details on lines indented one level more, and ends the program with exit status 0. `kind` is 'm'
// for access and shape, 'a' for arithmetic, 's' for searching and counting.

/// "value of argument <arg> out of range : <value>", then the dimensions of the object.
[[noreturn]] void class_error(const char* name, char kind, int code, int arg, long value, long nrow,
                              long ncol);
/// "the dimensions of argument 0 and argument <arg> differ", then those of both.
[[noreturn]] void class_error(const char* name, char kind, int code, int arg, long nrow, long ncol,
                              long other_nrow, long other_ncol);
/// The text on a line of its own.
[[noreturn]] void class_error(const char* name, char kind, int code, const char* text);

/// Dense row-major matrix of double, long, int or char. Element (i, j) is at data()[i * ncol() + j]. Storage
/// is allocated for `nall` rows, of which the first `nrow` are in use; appending beyond `nall` grows it by
/// multiples of `ninc` rows. Invariants: 0 <= nrow <= nall, ncol >= 1, data is null exactly when nothing is
/// allocated. Not copyable by value (see `copy`), movable. "Fatal: m 123, 2" below means: ends the program
/// with error 'm' 123, argument 2. What fails to find memory throws under a MemoryWatch, once the matrix is
/// as described. Row pointers and references hold until the matrix grows or is resized.
template <class T>
class MatFullT {
 public:
  using value_type = T;

  /// Room for `rows` rows of `cols` columns, none in use. Fatal: inc < 1 (m 112), sizes as in `setdim`.
  explicit MatFullT(long rows = 0, long cols = 1, long inc = 5);
  ~MatFullT();
  MatFullT(const MatFullT&) = delete;
  MatFullT& operator=(const MatFullT&) = delete;
  MatFullT(MatFullT&& other) noexcept;
  MatFullT& operator=(MatFullT&& other) noexcept;
  void swap(MatFullT& other) noexcept;

  long nall() const { return nall_; }
  long nrow() const { return nrow_; }
  long ncol() const { return ncol_; }
  long ninc() const { return ninc_; }
  T* data() { return data_; }
  const T* data() const { return data_; }
  /// No operation updates it.
  static inline long nalloc = 0;

  /// Room for rows x cols elements, contents undefined, no row in use. Keeps the block when the number of
  /// elements is unchanged. An allocation failure prints one line and leaves the matrix without storage.
  /// Returns the new `nall`. Fatal: rows < 0 (m 111, 1), cols < 1 (m 111, 2).
  long setdim(long rows, long cols);
  /// Sets the growth increment. Fatal: inc < 1 (m 112).
  void setinc(long inc);
  /// Puts n rows into use; cells that come newly into use hold `fill`. n <= 0 leaves no row. Grows as
  /// `realloc` does; when that fails the rows in use stay.
  void setrows(long n, T fill);
  /// setrows with the customary fill: -1 for long and int, 0 for double and char.
  void setrows(long n);
  /// Room for n more rows; returns nrow + n, or nrow when the allocation failed. Does not change `nrow`.
  long realloc(long n);
  /// Makes ready for so many rows in use, which are to come soon; where memory is short, for less. Changes
  /// neither `nall` nor `nrow`.
  void expect(long rows);
  /// Moves the matrix, empty, to `room` elements of a block that others use too; there it stays until it
  /// needs more of them. REQUIRES: room >= ncol.
  void share(std::shared_ptr<void> block, T* elements, long room);
  /// Appends a copy of row i of src (which may be this matrix); returns the new `nrow`, amortised O(ncol).
  /// Fatal: other ncol (m 123, dimensions form, 1), i (m 123, 2).
  long addrow(const MatFullT& src, long i);
  /// Appends one row filled with the customary value; returns the new `nrow`.
  long addrow();

  /// Checked access. Fatal: m 154 with the argument number.
  T& operator()(long i, long j) { return data_[offset(i, j, 154)]; }
  const T& operator()(long i, long j) const { return data_[offset(i, j, 154)]; }
  T get(long i, long j) const { return data_[offset(i, j, 152)]; }  ///< fatal: m 152
  void set(long i, long j, T v) { data_[offset(i, j, 153)] = v; }   ///< fatal: m 153
  T* row(long i) { return data_ + row_offset(i, 161); }             ///< first of ncol elements; fatal: m 161
  const T* row(long i) const { return data_ + row_offset(i, 161); }
  /// Row of a matrix that is the argument of another one's operation. Fatal: m 162.
  const T* argument_row(long i) const { return data_ + row_offset(i, 162); }

  /// Row i = row j of src (same ncol). Fatal: m 145 (1: i, 2: ncol, 3: j).
  void copy(long i, const MatFullT& src, long j);
  /// Becomes the single row j of src; src may be this matrix, whose other rows are then given up. Fatal: m
  /// 143, 2.
  void copy(const MatFullT& src, long j);
  /// Becomes a copy of src (rows in use, columns, growth increment). Nothing happens when src is this matrix.
  void copy(const MatFullT& src);
  /// The same with the rows that are allocated and not in use: both save the same bytes.
  void duplicate(const MatFullT& src);
  /// Exchanges two rows. Fatal: m 181.
  void swaprows(long i, long j);
  /// Transposes in place: ncol x nrow, all in use. Nothing happens without rows, since a matrix has a column
  /// at least.
  void tsp();
  /// Combines every element x with its partner s in src: '*', '+', '-', '/', 'i' (s / x), 'o' (s - x), any
  /// other character: s. Shapes of src, tried in this order: 1 x 1, 1 x ncol, nrow x 1, nrow x ncol; it may
  /// be this matrix. An integer quotient by zero is 0. Returns this. Fatal: any other shape (a 140,
  /// dimensions form, 1).
  MatFullT& assign(const MatFullT& src, char op);

  /// Sum of row k (byrow != 0) or column k, from the last element to the first; 0 for none. Fatal: a 111.
  double sum(long k, int byrow) const;
  /// Dot product of two rows of this matrix, or of row i and row j of b (same ncol), from the last column to
  /// the first. Fatal: a 174 (1, 2), a 177 (1: i, 2: ncol, 3: j).
  double dps(long i, long j) const;
  double dps(long i, const MatFullT& b, long j) const;
  /// Row of the smallest (largest) value of a column; among equals the lowest row. NaN only when there is
  /// nothing else. Fatal: no row (s 101, 0), col (s 101, 1).
  long minidx(long col) const;
  long maxidx(long col) const;

  // Text: two optional header lines (column count, row count, each filled up with zeros to ncol values), then
  // one line a row. Every value is followed by a tab. Doubles have six decimals, a char is its signed code.

  /// Writes the text, headers if header != 0, every line indented as `out` stands.
  void show(Ostr& out, int header) const;
  /// Writes the text to a file, which is replaced only after success. Returns 1 or 0.
  int save_asc(const char* name, int verbose, int header) const;
  /// Reads a text file as `read` does, in blocks: beside the numbers nothing larger than the first row is
  /// held. Returns 0 for a file that does not open, fails, holds less than its header declares, or holds no
  /// complete row of numbers (also: a header of 0 rows). The matrix then stays as it was, unless rows had
  /// already been taken over; it has no rows and one column in that case.
  int load_asc(const char* name, int verbose);
  /// Reads one matrix from a stream, with or without header, and not a character behind it; returns the row
  /// count. Numbers are read by the standard extraction of doubles; integers take the nearest one (halves
  /// away from zero), clamped to their range. A header's numbers that the stream does not hold are missing:
  /// the complete rows stay. Without a single number the matrix is 1 x 1 and holds what the failed extraction
  /// gave (0).
  long read(Istr& in);

  // Binary files hold one block: five 4-byte little-endian integers (nall, ncol, nrow, ninc, bytes per
  // element), then the nrow x ncol elements in the machine's representation; a long takes 4 bytes. All four
  // return 1 on success, else 0. The forms by name tell what they do when verbose.
  /// Replaces the file as a whole, or leaves it as it was (`SafeFile`).
  int save_bin(const char* name, int verbose) const;
  /// A file without a row is refused; the matrix is unchanged when 0 is returned.
  int load_bin(const char* name, int verbose);
  /// Writes at the position of f. Fails for a long that does not fit 4 bytes, and for a null f.
  int save_bin(std::FILE* f) const;
  /// Reads at the position of f; bytes after the block are left. The matrix is unchanged when 0 is returned:
  /// another element width, sizes that contradict each other or exceed what the file holds, a short read, a
  /// null f.
  int load_bin(std::FILE* f);

  // Reports of programming errors with the name "MatFullT" and these dimensions, see `class_error`.
  [[noreturn]] void ermessage(char kind, int code, int arg, long value) const;
  [[noreturn]] void ermessage(char kind, int code, int arg, long other_nrow, long other_ncol) const;
  [[noreturn]] void ermessage(char kind, int code, const char* text) const;
  template <class U>
  [[noreturn]] void ermessage(char kind, int code, int arg, const MatFullT<U>& other) const {
    ermessage(kind, code, arg, other.nrow(), other.ncol());
  }

 private:
  // One unsigned comparison tests both bounds.
  static bool outside(long i, long n) {
    return static_cast<unsigned long>(i) >= static_cast<unsigned long>(n);
  }
  long row_offset(long i, int code) const {
    if (outside(i, nrow_)) [[unlikely]]
      ermessage('m', code, 1, i);
    return i * ncol_;
  }
  long offset(long i, long j, int code) const {
    if (outside(i, nrow_)) [[unlikely]]
      ermessage('m', code, 1, i);
    if (outside(j, ncol_)) [[unlikely]]
      ermessage('m', code, 2, j);
    return i * ncol_ + j;
  }
  /// Makes the block large enough for `rows` rows.
  bool grow(long rows);
  /// Makes the block `count` elements large, more than it has; the elements so far stay. False, and nothing
  /// changed, when there is no memory.
  bool enlarge(long count);
  void release();

  long nall_ = 0;
  long nrow_ = 0;
  long ncol_ = 1;
  long ninc_ = 5;
  long room_ = 0;  ///< elements of the block, at least nall * ncol
  T* data_ = nullptr;
  std::shared_ptr<void> shared_;  ///< what the elements are a part of, unless they are the matrix's own
};

}  // namespace qvtx
