// Text files of the dense matrix: writer, reader and the stream operators.

#include <algorithm>
#include <cmath>
#include <istream>
#include <limits>
#include <ostream>
#include <type_traits>

#include "base/files.h"
#include "matrix/file_report.h"
#include "matrix/matfull.h"
#include "matrix/matfullc.h"
#include "matrix/matfulld.h"
#include "matrix/text/number_scanner.h"
#include "matrix/text/text_inspection.h"
#include "matrix/text/text_writer.h"

namespace qvtx {
namespace {

// ---- Writing ----

template <class T>
void write_text(TextWriter& writer, Ostr* console, const MatFullT<T>& m, bool header) {
  TextTable table(writer, console);
  if (header) table.header(m.nrow(), m.ncol());
  for (long i = 0; i < m.nrow(); ++i) {
    const T* const values = m.data() + i * m.ncol();
    table.begin_line();
    for (long j = 0; j < m.ncol(); ++j) table.put(values[j]);
    table.end_line();
  }
  table.end();
}

// ---- Reading ----

bool is_line_end(int c) { return c == '\n' || c == '\r'; }
bool starts_number(int c) { return (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.'; }
bool is_count(double x, double least) { return x >= least && std::round(x) == x; }

/// The element that stores x: rounded to the nearest integer (halves away from zero) and clamped to the
/// type's range.
template <class T>
T to_element(double x) {
  if constexpr (std::is_same_v<T, double>) {
    return x;
  } else {
    using Code = std::conditional_t<std::is_same_v<T, char>, signed char, T>;
    using Limits = std::numeric_limits<Code>;
    const double nearest = std::round(x);
    // -min is a power of two and exact, unlike max as a double.
    constexpr double beyond = -static_cast<double>(Limits::min());
    if (nearest >= beyond) return static_cast<T>(Limits::max());
    if (nearest <= -beyond) return static_cast<T>(Limits::min());
    return static_cast<T>(static_cast<Code>(nearest));
  }
}

/// What becomes of a matrix that the text does not hold in full.
enum class Incomplete {
  kept,    ///< the rows that were read are the result
  refused  ///< the reader fails; as far as possible before it has touched the matrix
};

/// Reads one matrix, with or without header. The header test works on the text as it comes; lines that turn
/// out to be no header are data. Numbers go straight to where they stay: there is never a second copy of more
/// than the first row.
template <class T, class Source>
class TextReader {
 public:
  TextReader(MatFullT<T>& target, Source& source, Incomplete policy)
      : target_(target), source_(source), policy_(policy) {}

  /// False when not all of a header's numbers were read, when there is no first row, or when storage ran out.
  bool read() {
    const double columns = source_.number();
    // Even a failed first extraction counts as a value, which is the whole matrix then.
    if (source_.failed()) return append(columns) && finish_first_row();
    if (!is_count(columns, 1)) return append(columns) && first_row_goes_on();
    double foreign = 0;
    const Header first = header_line(columns, foreign);
    if (first.end != LineEnd::whole) {
      return append_header_line(columns, first.values) && continue_after(first, foreign);
    }
    if (!is_line_end(source_.look())) odd_ = true;
    const double rows = source_.number();
    if (!is_count(rows, 0)) {
      odd_ = true;
      return append_header_line(columns, first.values) && append(rows) && first_row_goes_on();
    }
    const Header second = header_line(columns, foreign);
    if (second.end == LineEnd::whole) return header_rows(rows, first.values);
    odd_ = true;  // two lines in one row
    return append_header_line(columns, first.values) && append_header_line(rows, second.values) &&
           continue_after(second, foreign);
  }

  /// Whether the target holds a part of the text.
  bool touched() const { return touched_; }
  /// Whether the rows may not be the lines of the text, and all of them: worth a second look.
  bool odd() const { return odd_; }
  /// The counts of the header that was taken; rows is negative when there is none.
  double declared_rows() const { return declared_rows_; }
  long declared_columns() const { return declared_columns_; }

 private:
  enum class LineEnd { whole, early, no_number, not_zero };
  struct Header {
    LineEnd end;
    long values;  ///< the first number and the zeros read behind it
  };

  /// Reads the zeros behind the first number of a header line. Whether the line ends after the last one does
  /// not matter.
  Header header_line(double columns, double& foreign) {
    long k = 1;
    for (; static_cast<double>(k) < columns; ++k) {
      const int c = source_.look();
      if (c < 0) return {LineEnd::early, k};
      if (is_line_end(c)) {
        source_.take();
        return {LineEnd::early, k};
      }
      if (!starts_number(c)) return {LineEnd::no_number, k};
      foreign = source_.number();
      if (foreign != 0) return {LineEnd::not_zero, k};
    }
    return {LineEnd::whole, k};
  }

  /// The line was no header: what was read of it opens the first row, which its end completes.
  bool continue_after(const Header& line, double foreign) {
    if (line.end == LineEnd::early) return finish_first_row() && data_rows();
    if (line.end == LineEnd::not_zero && !append(foreign)) return false;
    return first_row_goes_on();
  }

  bool append_header_line(double first, long values) {
    bool done = append(first);
    for (long k = 1; done && k < values; ++k) done = append(0);
    return done;
  }

  /// One more number of the first row, whose length is not known yet.
  bool append(double x) {
    if (!add_row(line_)) return false;
    line_.data()[line_.nrow() - 1] = to_element<T>(x);
    return true;
  }

  /// Numbers up to the line end make the first row; without line end there is no row.
  bool first_row_goes_on() {
    for (;;) {
      const int c = source_.look();
      if (is_line_end(c)) break;
      if (!starts_number(c) || !append(source_.number())) return false;
    }
    source_.take();
    return finish_first_row() && data_rows();
  }

  /// The column of numbers becomes the first row of the target.
  bool finish_first_row() {
    if (policy_ == Incomplete::refused && source_.failed()) return false;
    const long columns = line_.nrow();
    line_.tsp();
    if (line_.ncol() != columns) line_.ermessage('m', 151, 1, 1, columns);
    line_.setinc(target_.ninc());
    target_.swap(line_);
    line_.setdim(0, 1);
    return touched_ = true;
  }

  /// Rows behind the first one: line ends carry no meaning any more. A last row that is only partly filled is
  /// dropped.
  bool data_rows() {
    const long columns = target_.ncol();
    for (bool more = at_number(); more; more = next_line()) {
      RowPlace place = {columns, columns, true};
      if (!lines(place, std::numeric_limits<double>::infinity())) return false;
      const bool full = place.column == columns;
      if (full && !(place.line_end && at_number())) continue;
      if (full && !add_row(target_)) return false;
      T* const values = last_row();
      for (long j = full ? 0 : place.column; j < columns; ++j) {
        if (j > 0 && !same_line()) {
          target_.setrows(target_.nrow() - 1);
          break;
        }
        values[j] = to_element<T>(source_.number());
      }
    }
    if (source_.failed() || source_.look() >= 0) odd_ = true;
    return true;
  }

  /// Appends the numbers of lines that are rows, up to so many rows, as long as the source gives them at
  /// once; the last row may be incomplete. False without storage.
  bool lines(RowPlace& place, double rows) {
    double numbers[1024];
    for (;;) {
      const long filled = target_.nrow() * place.columns - (place.columns - place.column);
      const double left = rows * static_cast<double>(place.columns) - static_cast<double>(filled);
      const long most = left < std::size(numbers) ? static_cast<long>(left) : std::ssize(numbers);
      const long count = source_.lines(place, numbers, most);
      if (count == 0) return true;
      expect_rows(place.columns);
      const long needed = (filled + count + place.columns - 1) / place.columns;
      target_.setrows(needed, 0);
      if (target_.nrow() != needed) return false;
      std::transform(numbers, numbers + count, target_.data() + filled, to_element<T>);
    }
  }

  /// Room for all rows at once, when the source tells how many are to come: once, a few more than that.
  void expect_rows(long columns) {
    if (expected_) return;
    expected_ = true;
    const long more = source_.expected() / columns;
    target_.expect(target_.nrow() + more + more / 32);
  }

  bool at_number() {
    int c = source_.look();
    for (; is_line_end(c); c = source_.look()) source_.take();
    return starts_number(c);
  }
  /// The same, where a line end is expected to come first, and where none is.
  bool next_line() {
    if (starts_number(source_.look())) odd_ = true;
    return at_number();
  }
  bool same_line() {
    if (starts_number(source_.look())) return true;
    odd_ = true;
    return at_number();
  }

  /// Exactly rows x columns numbers, whatever the lines. Storage for all of them at once is taken only when
  /// the text is known to be long enough; else it grows with what is read.
  bool header_rows(double rows, long columns) {
    declared_rows_ = rows;
    declared_columns_ = columns;
    const long capacity = source_.capacity();
    const bool fits = capacity >= 0 && rows * static_cast<double>(columns) <= static_cast<double>(capacity);
    if (policy_ == Incomplete::refused && (rows < 1 || source_.failed() || (capacity >= 0 && !fits)))
      return false;
    touched_ = true;
    const long reserved = fits ? static_cast<long>(rows) : 0;
    if (target_.setdim(reserved, columns) < reserved) return false;
    bool complete = true;
    while (complete && static_cast<double>(target_.nrow()) < rows) {
      RowPlace place = {columns, columns, false};
      complete = lines(place, rows) && finish_row(place, rows);
    }
    // A stream may go on with other things, which are not to be touched.
    if (policy_ == Incomplete::refused && (at_number() || source_.look() >= 0)) odd_ = true;
    return complete;
  }

  /// Reads what the row in hand lacks or, when it is full, the next of so many rows. A row that the text does
  /// not complete is dropped.
  bool finish_row(const RowPlace& place, double rows) {
    const bool full = place.column == place.columns;
    if (full && static_cast<double>(target_.nrow()) >= rows) return true;
    if (full && !place.line_end && !is_line_end(source_.look())) odd_ = true;
    if (full && !add_row(target_)) return false;
    T* const values = last_row();
    for (long j = full ? 0 : place.column; j < place.columns; ++j) {
      if (j > 0 && is_line_end(source_.look())) odd_ = true;
      values[j] = to_element<T>(source_.number());
      if (!source_.failed()) continue;
      target_.setrows(target_.nrow() - 1);
      return false;
    }
    return true;
  }

  T* last_row() { return target_.data() + (target_.nrow() - 1) * target_.ncol(); }

  /// Puts one more row into use; false without storage.
  static bool add_row(MatFullT<T>& m) {
    const long n = m.nrow() + 1;
    m.setrows(n, 0);
    return m.nrow() == n;
  }

  MatFullT<T>& target_;
  Source& source_;
  const Incomplete policy_;
  MatFullT<T> line_;  ///< numbers of the first row, a column as long as their count is unknown
  bool touched_ = false;
  bool odd_ = false;
  bool expected_ = false;  ///< room for the rows to come has been asked for
  double declared_rows_ = -1;
  long declared_columns_ = 0;
};

/// What there is to say about a text file that was read.
template <class T, class Reader>
void tell_text(const char* name, const MatFullT<T>& m, const Reader& reader, bool loaded) {
  if (!reads_are_heard()) return;
  ReadReport report;
  report.file = name;
  report.loaded = loaded;
  report.header = reader.declared_rows() >= 0;
  const bool declared = report.header && !loaded;
  report.rows = declared ? static_cast<long>(std::min(reader.declared_rows(), 9e15)) : m.nrow();
  report.columns = declared ? reader.declared_columns() : m.ncol();
  if (!loaded || reader.odd()) inspect_text(report);
  tell_read(report);
}

}  // namespace

template <class T>
void MatFullT<T>::show(Ostr& out, int header) const {
  TextWriter writer(*out.stream);
  write_text(writer, &out, *this, header != 0);
}

template <class T>
int MatFullT<T>::save_asc(const char* name, int verbose, int header) const {
  SafeFile file(name);
  if (!file.is_open()) return report_missing("MatFullT.save_asc", name, verbose);
  report_start("saving ASCII-file ", name, verbose);
  TextWriter writer(file.file());
  write_text(writer, nullptr, *this, header != 0);
  return report_end(file.commit(), verbose);
}

template <class T>
int MatFullT<T>::load_asc(const char* name, int verbose) {
  std::FILE* const file = std::fopen(name, "rb");
  if (file == nullptr) return report_missing("MatFullT.load_asc", name, verbose);
  report_start("loading ASCII-file ", name, verbose);
  std::setvbuf(file, nullptr, _IONBF, 0);  // the source reads whole blocks
  FileNumbers source(file);
  TextReader<T, FileNumbers> reader(*this, source, Incomplete::refused);
  const bool whole = reader.read() && std::ferror(file) == 0;
  if (!whole && reader.touched()) setdim(0, 1);
  std::fclose(file);
  const int result = report_end(whole, verbose);
  tell_text(name, *this, reader, whole);
  return result;
}

template <class T>
long MatFullT<T>::read(Istr& in) {
  StreamNumbers source(*in.stream);
  TextReader<T, StreamNumbers> reader(*this, source, Incomplete::kept);
  reader.read();
  if (!reader.touched()) setdim(0, 1);
  return nrow_;
}

template void MatFullT<double>::show(Ostr&, int) const;
template void MatFullT<long>::show(Ostr&, int) const;
template void MatFullT<int>::show(Ostr&, int) const;
template void MatFullT<char>::show(Ostr&, int) const;
template int MatFullT<double>::save_asc(const char*, int, int) const;
template int MatFullT<long>::save_asc(const char*, int, int) const;
template int MatFullT<int>::save_asc(const char*, int, int) const;
template int MatFullT<char>::save_asc(const char*, int, int) const;
template int MatFullT<double>::load_asc(const char*, int);
template int MatFullT<long>::load_asc(const char*, int);
template int MatFullT<int>::load_asc(const char*, int);
template int MatFullT<char>::load_asc(const char*, int);
template long MatFullT<double>::read(Istr&);
template long MatFullT<long>::read(Istr&);
template long MatFullT<int>::read(Istr&);
template long MatFullT<char>::read(Istr&);

// ---- Stream operators ----

namespace {

template <class M>
std::ostream& write(std::ostream& out, const M& m) {
  const std::ios_base::fmtflags flags = out.flags();  // an Ostr sets its own
  Ostr text(out);
  m.show(text, 0);
  out.flags(flags);
  return out;
}

template <class M>
std::istream& read(std::istream& in, M& m) {
  Istr text(in);
  m.read(text);
  return in;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const MatFullD& m) { return write(out, m); }
std::ostream& operator<<(std::ostream& out, const MatFullL& m) { return write(out, m); }
std::ostream& operator<<(std::ostream& out, const MatFullC& m) { return write(out, m); }
std::istream& operator>>(std::istream& in, MatFullD& m) { return read(in, m); }
std::istream& operator>>(std::istream& in, MatFullL& m) { return read(in, m); }
std::istream& operator>>(std::istream& in, MatFullC& m) { return read(in, m); }

}  // namespace qvtx
