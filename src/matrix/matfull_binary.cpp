// Binary blocks: five 4-byte little-endian integers (rows allocated, columns, rows in use, growth increment,
// bytes per element), then the elements of the rows in use, row by row, in the machine's representation.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "base/files.h"
#include "matrix/binary_inspection.h"
#include "matrix/file_report.h"
#include "matrix/matfull.h"

namespace qvtx {
namespace {

/// The form of an element in a file: a long takes 4 bytes there.
template <class T>
using Stored = std::conditional_t<std::is_same_v<T, long>, std::int32_t, T>;

constexpr long always_allowed = 1L << 30;  ///< bytes that a small file may ask for
constexpr long largest_ratio = 16;         ///< bytes asked for by a large block, per byte of the file

struct BlockHeader {
  long nall, ncol, nrow, ninc, width;
};

bool read_header(std::FILE* f, BlockHeader& h) {
  return read_int32(f, h.nall) && read_int32(f, h.ncol) && read_int32(f, h.nrow) && read_int32(f, h.ninc) &&
         read_int32(f, h.width);
}

/// True when the header describes a matrix that the rest of the file can hold, with room to grow once. The
/// counts are 32-bit integers, so that the elements of that room fit 64 bits and only their product with the
/// element width can overflow.
bool is_plausible(const BlockHeader& h, long width, long memory_width, std::FILE* f) {
  if (h.width != width || h.nrow < 0 || h.nall < h.nrow || h.ncol < 1 || h.ninc < 1) return false;
  const long count = (h.nall + h.ninc) * h.ncol;
  if (count > std::numeric_limits<long>::max() / memory_width) return false;
  const long left = bytes_left(f);
  const bool known = left >= 0;
  if (known && h.nrow * h.ncol > left / width) return false;
  const long memory = count * memory_width;
  const long file_size = known ? std::ftell(f) + left : 0;
  return memory <= always_allowed || memory / largest_ratio <= file_size;
}

bool write_elements(std::FILE* f, const long* data, long count) {
  std::array<std::int32_t, 4096> block;
  while (count > 0) {
    const long n = std::min(count, static_cast<long>(block.size()));
    for (long k = 0; k < n; ++k) {
      block[static_cast<std::size_t>(k)] = static_cast<std::int32_t>(data[k]);
      if (block[static_cast<std::size_t>(k)] != data[k]) return false;
    }
    const auto length = static_cast<std::size_t>(n);
    if (std::fwrite(block.data(), sizeof block[0], length, f) != length) return false;
    data += n;
    count -= n;
  }
  return true;
}

template <class T>
bool write_elements(std::FILE* f, const T* data, long count) {
  const auto length = static_cast<std::size_t>(count);
  return count == 0 || std::fwrite(data, sizeof(T), length, f) == length;
}

bool read_elements(std::FILE* f, long* data, long count) {
  std::array<std::int32_t, 4096> block;
  while (count > 0) {
    const auto length = static_cast<std::size_t>(std::min(count, static_cast<long>(block.size())));
    if (std::fread(block.data(), sizeof block[0], length, f) != length) return false;
    data = std::copy_n(block.data(), length, data);
    count -= static_cast<long>(length);
  }
  return true;
}

template <class T>
bool read_elements(std::FILE* f, T* data, long count) {
  const auto length = static_cast<std::size_t>(count);
  return count == 0 || std::fread(data, sizeof(T), length, f) == length;
}

/// What there is to say about a binary file that was read.
template <class T>
void tell_binary(const char* name, const MatFullT<T>& m, bool loaded) {
  if (!reads_are_heard()) return;
  ReadReport report;
  report.file = name;
  report.loaded = loaded;
  report.binary = true;
  report.rows = m.nrow();
  report.columns = m.ncol();
  if (!loaded) inspect_binary(report, sizeof(Stored<T>));
  tell_read(report);
}

}  // namespace

template <class T>
int MatFullT<T>::save_bin(std::FILE* f) const {
  if (f == nullptr) return 0;
  const long width = sizeof(Stored<T>);
  const bool written = write_int32(f, nall_) && write_int32(f, ncol_) && write_int32(f, nrow_) &&
                       write_int32(f, ninc_) && write_int32(f, width) &&
                       write_elements(f, data_, nrow_ * ncol_);
  return written ? 1 : 0;
}

template <class T>
int MatFullT<T>::load_bin(std::FILE* f) {
  BlockHeader h = {};
  if (f == nullptr || !read_header(f, h)) return 0;
  if (!is_plausible(h, sizeof(Stored<T>), sizeof(T), f)) return 0;
  MatFullT loaded(h.nall, h.ncol, h.ninc);
  if (loaded.nall_ != h.nall) return 0;
  loaded.nrow_ = h.nrow;
  if (!read_elements(f, loaded.data_, h.nrow * h.ncol)) return 0;
  swap(loaded);
  return 1;
}

template <class T>
int MatFullT<T>::save_bin(const char* name, int verbose) const {
  SafeFile out(name);
  if (!out.is_open()) return report_missing("MatFullT.save_bin", name, verbose);
  report_start("saving binary file ", name, verbose);
  return report_end(save_bin(out.file()) != 0 && out.commit(), verbose);
}

template <class T>
int MatFullT<T>::load_bin(const char* name, int verbose) {
  std::FILE* in = std::fopen(name, "rb");
  if (in == nullptr) return report_missing("MatFullT.load_bin", name, verbose);
  report_start("loading binary file ", name, verbose);
  MatFullT read(0, 1);
  const bool loaded = read.load_bin(in) != 0 && read.nrow_ > 0;
  if (loaded) swap(read);
  std::fclose(in);
  const int result = report_end(loaded, verbose);
  tell_binary(name, *this, loaded);
  return result;
}

#define QVTX_INSTANTIATE(T)                                   \
  template int MatFullT<T>::save_bin(std::FILE*) const;       \
  template int MatFullT<T>::load_bin(std::FILE*);             \
  template int MatFullT<T>::save_bin(const char*, int) const; \
  template int MatFullT<T>::load_bin(const char*, int);
QVTX_INSTANTIATE(double)
QVTX_INSTANTIATE(long)
QVTX_INSTANTIATE(int)
QVTX_INSTANTIATE(char)
#undef QVTX_INSTANTIATE

}  // namespace qvtx
