#pragma once
// Preference tables: keyed settings with a description, a range, an actual and a future value and named
// values.

#include <cstdio>
#include <iosfwd>
#include <string>
#include <vector>

#include "matrix/matfullc.h"

namespace qvtx {

/// One table of integer (T = long) or real (T = double) settings. An entry is addressed by its number, 0 ..
/// count - 1 in the order of addition, or found by its key. The preference file sets the actual and the
/// future value, the menu and `newval` the future value only; a method commits a key just before it reads it.
/// Always minimum <= value <= maximum.
///
/// Every accessor that takes an entry's number ends the program through `badkey` when there is no such entry.
template <class T>
class MatPrefT {
 public:
  static constexpr long key_length = 8;           ///< characters of a key or a meaning that are kept
  static constexpr long description_length = 35;  ///< characters of a description that are kept

  /// A named value of an entry.
  struct Meaning {
    T value;
    std::string text;
  };

  /// An empty table. n: step by which the tables of value meanings grow; n < 1 is a fatal matrix argument
  /// error.
  explicit MatPrefT(long n);

  long count() const { return values_.nrow(); }
  /// Appends an entry with the bounds a and b in either order; both values start at the minimum. Key and
  /// description are cut to 8 and 35 characters. Returns the entry's number. Keys are not checked for
  /// duplicates (see `getkey`).
  long addkey(const char* key, const char* desc, T a, T b);
  /// Number of the entry with this key, or -1 when none or more than one matches. The text is cut like a
  /// stored key, and trailing blanks count for nothing: "tdgb" and "tdgb    " are one key. Upper and lower
  /// case differ.
  long getkey(const char* key) const;
  /// Ends the program: "MatPrefT: bad key <k> (not in 0,<count - 1>)", status 0.
  [[noreturn]] void badkey(long k) const;

  T getmin(long k) const;
  T getmax(long k) const;
  T getval(long k) const;                    ///< actual value
  T getfut(long k) const;                    ///< future value
  const char* getlabel(long k) const;        ///< key as stored, with the blanks that the file gave it
  const char* getdescription(long k) const;  ///< at most 35 characters
  std::vector<std::string> keys() const;     ///< of all entries, without these blanks
  /// Every named value of entry k, the newest first, those out of range included.
  std::vector<Meaning> meanings(long k) const;
  /// Copies the future value to the actual one and returns it.
  T commit(long k);
  /// True when the future value differs from the actual one.
  bool changed(long k) const { return getval(k) != getfut(k); }

  /// Sets the future value and returns 1 when v lies within the range; otherwise (NaN included) changes
  /// nothing and returns 0.
  int newval(long k, T v);
  /// The value that a person means who types x for entry k: the nearest one that the table can hold. Bounds
  /// are printed with the digits of their single precision ("0.001" for 0.0010000000474974513): what lies
  /// between a bound and its text is the bound.
  T typed(long k, double x) const;
  /// Names the value v of entry k, in front of its earlier meanings; v may lie outside the range. The text is
  /// cut to 8 characters. Returns 0 and does nothing when there is no entry k or no text.
  int sethlp(long k, T v, const char* text);
  /// The newest text that names value v of entry k, when v lies within the range; false when there is none.
  bool gethlp(long k, T v, std::string& text) const;

  /// The listing: one line per entry with its number, key, description, actual value and the value's meaning;
  /// at the end " -> " and the future value with its meaning where that differs.
  void show(Ostr& o) const;
  /// The interactive editor of the future values. Output goes to o, which is flushed before every prompt.
  /// An entry is named by its number or its key; the trace gets the number. Commands and answers are appended
  /// to trace; returns the number of characters appended (0 when trace is null). An empty table returns at
  /// once. End of input ends the program (see base/prompts.h).
  long menu(Ostr& o, Istr& in, std::string* trace);
  /// True when the last menu refused a command, a key or a value.
  bool menu_refused() const { return menu_refused_; }

  /// Appends one block of a preference file (docs: file formats). 1 when the block was ended by its command,
  /// 0 after a bad command, at the end of the file and when a number cannot be read; entries read so far
  /// stay. Messages go to `os`. Fatal (`badkey`): a value ahead of the block's first entry.
  int load_asc(std::ifstream& f);
  /// Seven matrices: values, keys, descriptions, meaning heads, links, values and texts. 0 at the first one
  /// that cannot be written and for a null file.
  int save_bin(std::FILE* f) const;
  /// The table is unchanged when 0 is returned: a null or short file, matrices that do not fit each other,
  /// values out of their range, meaning lists with an index out of range or that do not close.
  int load_bin(std::FILE* f);
  void swap(MatPrefT& other) noexcept;
  void duplicate(const MatPrefT& other);  ///< becomes the same, to the bytes that it saves

 private:
  void check(long k) const;
  bool consistent() const;

  MatFullC labels_;          ///< 9 characters a row: keys
  MatFullC descriptions_;    ///< 36 characters a row
  mutable MatFullL search_;  ///< scratch of the key lookup: candidate rows
  MatFullT<T> values_;       ///< minimum, maximum, actual value, future value
  MatFullL heads_;           ///< per entry: its newest value meaning, -1 for none
  MatFullL links_;           ///< per meaning: the next older one of the same entry, -1 at the end
  MatFullT<T> mvalues_;      ///< per meaning: the value it names
  MatFullC mtexts_;          ///< per meaning: its text, 9 characters a row
  bool menu_refused_ = false;
};

extern template class MatPrefT<long>;
extern template class MatPrefT<double>;

}  // namespace qvtx
