// Text files and snapshots of the link store.

#include <algorithm>

#include "base/files.h"
#include "graph/matlink.h"
#include "matrix/file_report.h"
#include "matrix/text/text_writer.h"

namespace qvtx {

namespace {

/// Writes the links in the layout of the text matrices.
template <class T>
void write_text(TextWriter& writer, Ostr* console, const MatLinkT<T>& store, bool header) {
  TextTable table(writer, console);
  if (header) table.header(store.nlive(), 2 + store.nvalue());
  for (long k = 0; k < store.nslot(); ++k) {
    if (!store.live(k)) continue;
    table.begin_line();
    table.put(store.end_a(k));
    table.put(store.end_b(k));
    for (long c = 0; c < store.nvalue(); ++c) table.put(store.getvalue(k, c));
    table.end_line();
  }
  table.end();
}

// ---- Checks of a loaded store ----

struct Tables {
  long free;
  const MatFullL& node;
  const MatFullL& link;

  const long* row(long k) const { return link.data() + 6 * k; }
  bool live(long k) const { return row(k)[2] != -1; }
};

/// Whether every number of the tables is in range.
bool in_range(const Tables& t) {
  const long nodes = t.node.nrow(), slots = t.link.nrow();
  const auto is_slot = [slots](long k) { return k >= -1 && k < slots; };
  if (t.node.ncol() != 1 || t.link.ncol() != 6 || !is_slot(t.free)) return false;
  if (!std::all_of(t.node.data(), t.node.data() + nodes, is_slot)) return false;
  for (long k = 0; k < slots; ++k) {
    const long* row = t.row(k);
    if (!is_slot(row[0])) return false;
    if (row[2] == -1) continue;
    if (!is_slot(row[1]) || !is_slot(row[3]) || !is_slot(row[4])) return false;
    if (row[2] < 0 || row[2] > row[5] || row[5] >= nodes) return false;
    if (row[2] == row[5] && (row[0] != row[3] || row[1] != row[4])) return false;
  }
  return true;
}

/// Whether the nodes' lists hold every live link at each of its ends, and nothing else. A list whose back
/// pointers agree cannot run in a circle: the link where it closed would have two predecessors.
bool lists_close(const Tables& t) {
  long entries = 0;
  for (long i = 0; i < t.node.nrow(); ++i) {
    long previous = -1;
    for (long k = t.node.data()[i]; k >= 0; ++entries) {
      const long* row = t.row(k);
      if (row[2] == -1 || (row[2] != i && row[5] != i)) return false;
      const long* pointers = row[2] == i ? row : row + 3;
      if (pointers[1] != previous) return false;
      previous = k;
      k = pointers[0];
    }
  }
  long ends = 0;
  for (long k = 0; k < t.link.nrow(); ++k) {
    if (t.live(k)) ends += t.row(k)[2] == t.row(k)[5] ? 1 : 2;
  }
  return entries == ends;
}

/// Whether the list of free slots holds exactly the free slots.
bool free_list_closes(const Tables& t) {
  long unused = 0;
  for (long k = 0; k < t.link.nrow(); ++k) unused += t.live(k) ? 0 : 1;
  for (long k = t.free; k >= 0; k = t.row(k)[0]) {
    if (t.live(k) || --unused < 0) return false;
  }
  return unused == 0;
}

}  // namespace

// ---- Operations ----

template <class T>
void MatLinkT<T>::show(Ostr& out, int verbose, int header) const {
  if (verbose != 0) out.ow("nodes ").ow(nnode()).ow(" links ").ow(nlive()).nl();
  TextWriter writer(*out.stream);
  write_text(writer, &out, *this, header != 0);
}

template <class T>
int MatLinkT<T>::save_asc(const char* name, int verbose, int header) const {
  if (name == nullptr) return 0;
  SafeFile file(name);
  if (!file.is_open()) return report_missing("MatLinkT.save_asc", name, verbose);
  report_start("saving ASCII-file ", name, verbose);
  TextWriter writer(file.file());
  write_text(writer, nullptr, *this, header != 0);
  return report_end(file.commit(), verbose);
}

template <class T>
int MatLinkT<T>::save_bin(const char* name, int verbose) const {
  if (name == nullptr) return 0;
  SafeFile file(name);
  if (!file.is_open()) return report_missing("MatLinkT.save_bin", name, verbose);
  report_start("saving binary file ", name, verbose);
  return report_end(save_bin(file.file()) != 0 && file.commit(), verbose);
}

template <class T>
int MatLinkT<T>::save_bin(std::FILE* f) const {
  if (f == nullptr || !write_int32(f, free)) return 0;
  return node.save_bin(f) != 0 && link.save_bin(f) != 0 && value.save_bin(f) != 0 ? 1 : 0;
}

template <class T>
int MatLinkT<T>::load_bin(std::FILE* f) {
  MatLinkT loaded;
  if (f == nullptr || !read_int32(f, loaded.free)) return 0;
  if (loaded.node.load_bin(f) == 0 || loaded.link.load_bin(f) == 0 || loaded.value.load_bin(f) == 0) return 0;
  if (loaded.value.nrow() != loaded.link.nrow()) return 0;
  const Tables tables{loaded.free, loaded.node, loaded.link};
  if (!in_range(tables) || !lists_close(tables) || !free_list_closes(tables)) return 0;
  swap(loaded);
  return 1;
}

template void MatLinkT<long>::show(Ostr&, int, int) const;
template void MatLinkT<int>::show(Ostr&, int, int) const;
template void MatLinkT<double>::show(Ostr&, int, int) const;
template int MatLinkT<long>::save_asc(const char*, int, int) const;
template int MatLinkT<int>::save_asc(const char*, int, int) const;
template int MatLinkT<double>::save_asc(const char*, int, int) const;
template int MatLinkT<long>::save_bin(const char*, int) const;
template int MatLinkT<int>::save_bin(const char*, int) const;
template int MatLinkT<double>::save_bin(const char*, int) const;
template int MatLinkT<long>::save_bin(std::FILE*) const;
template int MatLinkT<int>::save_bin(std::FILE*) const;
template int MatLinkT<double>::save_bin(std::FILE*) const;
template int MatLinkT<long>::load_bin(std::FILE*);
template int MatLinkT<int>::load_bin(std::FILE*);
template int MatLinkT<double>::load_bin(std::FILE*);

}  // namespace qvtx
