// The sparse matrix as text.

#include <ostream>
#include <vector>

#include "base/files.h"
#include "matrix/file_report.h"
#include "matrix/matspar.h"
#include "matrix/text/text_writer.h"

namespace qvtx {
namespace {

/// "first", then `zeros` times a tab and 0.
void write_header_line(TextWriter& writer, long first, long zeros) {
  writer.put(first);
  for (; zeros > 0; --zeros) {
    writer.put('\t');
    writer.put('0');
  }
  writer.put('\n');
}

}  // namespace

template <class T>
void MatSparT<T>::show(std::ostream& out, int dense, int header) const {
  TextWriter writer(out);
  if (dense != 0) {
    write_dense(writer, header != 0);
  } else {
    write_cells(writer, header != 0);
  }
  writer.flush();
}

template <class T>
void MatSparT<T>::write_dense(TextWriter& writer, bool header) const {
  if (header) {
    write_header_line(writer, ncol_, ncol_ - 1);
    write_header_line(writer, nrow(), ncol_ - 1);
  }
  std::vector<T> line(static_cast<std::size_t>(ncol_), T{0});
  for (long i = 0; i < nrow(); ++i) {
    for (long e = row_(i, 0); e >= 0; e = entry_(e, 0))
      line[static_cast<std::size_t>(entry_(e, 1))] = val_(e, 0);
    for (T& value : line) {
      writer.put(value);
      writer.put('\t');
      value = 0;
    }
    writer.put('\n');
  }
}

template <class T>
void MatSparT<T>::write_cells(TextWriter& writer, bool header) const {
  if (header) {
    write_header_line(writer, 3, 2);
    write_header_line(writer, count(), 2);
  }
  for (long i = 0; i < nrow(); ++i) {
    for (long e = row_(i, 0); e >= 0; e = entry_(e, 0)) {
      writer.put(i);
      writer.put('\t');
      writer.put(entry_(e, 1));
      writer.put('\t');
      writer.put(val_(e, 0));
      writer.put('\n');
    }
  }
}

template <class T>
int MatSparT<T>::save_asc(const char* name, int verbose, int header) const {
  SafeFile file(name);
  if (!file.is_open()) {
    if (verbose != 0) os.ow("MatSparT.save_asc: file ").ow(name).ow(" not found").nl();
    return 0;
  }
  report_start("saving ASCII-file ", name, verbose);
  TextWriter writer(file.file());
  write_dense(writer, header != 0);
  writer.flush();
  return report_end(file.commit(), verbose);
}

template void MatSparT<long>::write_dense(TextWriter&, bool) const;
template void MatSparT<long>::write_cells(TextWriter&, bool) const;
template void MatSparT<long>::show(std::ostream&, int, int) const;
template int MatSparT<long>::save_asc(const char*, int, int) const;

}  // namespace qvtx
