#include "matrix/matfull.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "base/memory.h"

namespace qvtx {
namespace {

/// First line of an error report. The caller raises the depth for the others.
void begin_report(const char* name, char kind, int code) {
  os.fresh();
  os.ow("class ").ow(name).ow(": error ").ow(kind).ow(code).nl();
}

template <class T>
constexpr T customary_fill = std::is_same_v<T, long> || std::is_same_v<T, int> ? T(-1) : T(0);

template <class T>
double bytes_of(long rows, long cols) {
  return static_cast<double>(rows) * static_cast<double>(cols) * sizeof(T);
}

/// rows * cols, or -1 when a block of so many elements is beyond what can be addressed.
template <class T>
long element_count(long rows, long cols) {
  long count = 0;
  if (__builtin_mul_overflow(rows, cols, &count)) return -1;
  return count > std::numeric_limits<std::ptrdiff_t>::max() / static_cast<long>(sizeof(T)) ? -1 : count;
}

/// Writes the transpose of the rows x cols elements at `from` to `to`, tile by tile, so that both sides stay
/// in cache.
template <class T>
void transpose(const T* from, long rows, long cols, T* to) {
  constexpr long tile = 32;
  for (long r = 0; r < rows; r += tile) {
    const long row_end = std::min(r + tile, rows);
    for (long c = 0; c < cols; c += tile) {
      const long col_end = std::min(c + tile, cols);
      for (long i = r; i < row_end; ++i) {
        for (long j = c; j < col_end; ++j) to[j * rows + i] = from[i * cols + j];
      }
    }
  }
}

/// Integer arithmetic is that of the wider type, cut; a quotient by zero is 0.
template <class T>
T quotient(T x, T y) {
  if constexpr (std::is_integral_v<T>) {
    return y == 0 ? T(0) : static_cast<T>(x / y);
  } else {
    return x / y;
  }
}

/// The second operand of `assign`: its element for cell (i, j) is at i * row_step + j * col_step.
template <class T>
struct Operand {
  const T* data;
  long row_step;
  long col_step;
};

template <class T, class Combine>
void combine(T* cells, long rows, long cols, Operand<T> s, Combine op) {
  for (long i = 0; i < rows; ++i, cells += cols) {
    const T* other = s.data + i * s.row_step;
    if (s.col_step == 0) {
      const T scalar = *other;
      for (long j = 0; j < cols; ++j) cells[j] = static_cast<T>(op(cells[j], scalar));
    } else {
      for (long j = 0; j < cols; ++j) cells[j] = static_cast<T>(op(cells[j], other[j]));
    }
  }
}

}  // namespace

void class_error(const char* name, char kind, int code, int arg, long value, long nrow, long ncol) {
  begin_report(name, kind, code);
  ++os.depth;
  os.ow("value of argument ").ow(arg).ow(" out of range : ").ow(value).nl();
  os.ow("#row= ").ow(nrow).nl();
  os.ow("#col= ").ow(ncol).nl();
  end_program();
}

void class_error(const char* name, char kind, int code, int arg, long nrow, long ncol, long other_nrow,
                 long other_ncol) {
  begin_report(name, kind, code);
  ++os.depth;
  os.ow("the dimensions of argument 0 and argument ").ow(arg, 2).ow(" differ").nl();
  os.ow("#row= ").ow(nrow).ow(' ').ow(other_nrow).nl();
  os.ow("#col= ").ow(ncol).ow(' ').ow(other_ncol).nl();
  end_program();
}

void class_error(const char* name, char kind, int code, const char* text) {
  begin_report(name, kind, code);
  ++os.depth;
  os.ow(text).nl();
  end_program();
}

template <class T>
MatFullT<T>::MatFullT(long rows, long cols, long inc) {
  setdim(rows, cols);
  if (inc < 1) ermessage('m', 112, 1, inc);
  ninc_ = inc;
}

template <class T>
MatFullT<T>::~MatFullT() {
  release();
}

template <class T>
void MatFullT<T>::release() {
  if (!shared_) std::free(data_);
  shared_.reset();
  data_ = nullptr;
  room_ = 0;
}

template <class T>
MatFullT<T>::MatFullT(MatFullT&& other) noexcept {
  swap(other);
}

template <class T>
MatFullT<T>& MatFullT<T>::operator=(MatFullT&& other) noexcept {
  swap(other);
  return *this;
}

template <class T>
void MatFullT<T>::swap(MatFullT& other) noexcept {
  std::swap(nall_, other.nall_);
  std::swap(nrow_, other.nrow_);
  std::swap(ncol_, other.ncol_);
  std::swap(ninc_, other.ninc_);
  std::swap(room_, other.room_);
  std::swap(data_, other.data_);
  shared_.swap(other.shared_);
}

template <class T>
long MatFullT<T>::setdim(long rows, long cols) {
  nrow_ = 0;
  if (rows == nall_ && cols == ncol_) return nall_;
  if (rows < 0) ermessage('m', 111, 1, rows);
  if (cols < 1) ermessage('m', 111, 2, cols);
  const long count = element_count<T>(rows, cols);
  bool failed = false;
  const bool fits_share = shared_ && count > 0 && count <= room_;
  if (count != nall_ * ncol_ && !fits_share) {
    release();
    data_ = count > 0 ? static_cast<T*>(std::malloc(static_cast<std::size_t>(count) * sizeof(T))) : nullptr;
    room_ = data_ != nullptr ? count : 0;
    failed = count != 0 && data_ == nullptr;
  }
  ncol_ = cols;
  nall_ = data_ != nullptr ? rows : 0;
  if (failed) {
    os.fresh().ow("MatFullT.setdim: alloc.failed").nl();
    memory_failed(bytes_of<T>(rows, cols));
  }
  return nall_;
}

template <class T>
void MatFullT<T>::setinc(long inc) {
  if (inc < 1) ermessage('m', 112, 1, inc);
  ninc_ = inc;
}

template <class T>
void MatFullT<T>::setrows(long n, T fill) {
  n = std::max(n, 0L);
  if (n > nall_ && realloc(n - nrow_) != n) return;
  if (n > nrow_) std::fill(data_ + nrow_ * ncol_, data_ + n * ncol_, fill);
  nrow_ = n;
}

template <class T>
void MatFullT<T>::setrows(long n) {
  setrows(n, customary_fill<T>);
}

template <class T>
bool MatFullT<T>::grow(long rows) {
  // By half the size at least, since blocks that grow by `ninc` rows would be copied too often; else the
  // exact size.
  const long needed = element_count<T>(rows, ncol_);
  if (needed < 0) return false;
  if (needed <= room_) return true;
  const long generous = std::max(needed, element_count<T>(room_ + room_ / 2, 1));
  return enlarge(generous) || enlarge(needed);
}

template <class T>
bool MatFullT<T>::enlarge(long count) {
  void* block = std::realloc(shared_ ? nullptr : data_, static_cast<std::size_t>(count) * sizeof(T));
  if (block == nullptr) return false;
  if (shared_) std::copy_n(data_, nall_ * ncol_, static_cast<T*>(block));
  shared_.reset();
  data_ = static_cast<T*>(block);
  room_ = count;
  return true;
}

template <class T>
void MatFullT<T>::expect(long rows) {
  const long needed = element_count<T>(rows, ncol_);
  if (needed > room_ && !enlarge(needed)) return;
  will_be_filled(data_, static_cast<std::size_t>(room_) * sizeof(T));
}

template <class T>
void MatFullT<T>::share(std::shared_ptr<void> block, T* elements, long room) {
  release();
  shared_ = std::move(block);
  data_ = elements;
  room_ = room;
  nall_ = room / ncol_;
  nrow_ = 0;
}

template <class T>
long MatFullT<T>::realloc(long n) {
  long rows = 0;
  bool fits = !__builtin_add_overflow(nrow_, n, &rows);
  if (fits && rows <= nall_) return rows;
  long capacity = 0;
  const long steps = fits ? (rows - nall_ - 1) / ninc_ + 1 : 0;
  fits = fits && !__builtin_mul_overflow(steps, ninc_, &capacity) &&
         !__builtin_add_overflow(nall_, capacity, &capacity) && grow(capacity);
  if (!fits) {
    os.fresh().ow("MatFullT.addrow: realloc.failed").nl();
    memory_failed(bytes_of<T>(nrow_, ncol_) + bytes_of<T>(n, ncol_));
    return nrow_;
  }
  nall_ = capacity;
  return rows;
}

template <class T>
long MatFullT<T>::addrow(const MatFullT& src, long i) {
  if (src.ncol_ != ncol_) ermessage('m', 123, 1, src);
  if (outside(i, src.nrow_)) src.ermessage('m', 123, 2, i);
  const long rows = realloc(1);
  if (rows == nrow_) return nrow_;
  // The source is read after the block may have moved: it may be this matrix.
  std::memcpy(data_ + nrow_ * ncol_, src.data_ + i * ncol_, static_cast<std::size_t>(ncol_) * sizeof(T));
  return nrow_ = rows;
}

template <class T>
long MatFullT<T>::addrow() {
  setrows(nrow_ + 1);
  return nrow_;
}

template <class T>
void MatFullT<T>::copy(long i, const MatFullT& src, long j) {
  if (outside(i, nrow_)) ermessage('m', 145, 1, i);
  if (outside(j, src.nrow_)) src.ermessage('m', 145, 3, j);
  if (src.ncol_ != ncol_) ermessage('m', 145, 2, src.ncol_);
  if (this == &src && i == j) return;
  std::memcpy(data_ + i * ncol_, src.data_ + j * ncol_, static_cast<std::size_t>(ncol_) * sizeof(T));
}

template <class T>
void MatFullT<T>::copy(const MatFullT& src, long j) {
  if (outside(j, src.nrow_)) ermessage('m', 143, 2, j);
  if (this == &src) {
    swaprows(0, j);
  } else if (setdim(1, src.ncol_) == 1) {
    std::memcpy(data_, src.data_ + j * ncol_, static_cast<std::size_t>(ncol_) * sizeof(T));
  }
  nrow_ = std::min(nall_, 1L);
}

template <class T>
void MatFullT<T>::copy(const MatFullT& src) {
  if (this == &src) return;
  ninc_ = src.ninc_;
  if (setdim(src.nrow_, src.ncol_) != src.nrow_ || src.nrow_ == 0) return;
  std::memcpy(data_, src.data_, static_cast<std::size_t>(src.nrow_ * ncol_) * sizeof(T));
  nrow_ = src.nrow_;
}

template <class T>
void MatFullT<T>::duplicate(const MatFullT& src) {
  if (this == &src) return;
  ninc_ = src.ninc_;
  if (setdim(src.nall_, src.ncol_) != src.nall_) return;
  std::copy_n(src.data_, src.nrow_ * src.ncol_, data_);
  nrow_ = src.nrow_;
}

template <class T>
void MatFullT<T>::swaprows(long i, long j) {
  if (outside(i, nrow_)) ermessage('m', 181, 1, i);
  if (outside(j, nrow_)) ermessage('m', 181, 2, j);
  if (i != j) std::swap_ranges(data_ + i * ncol_, data_ + (i + 1) * ncol_, data_ + j * ncol_);
}

template <class T>
void MatFullT<T>::tsp() {
  if (nrow_ == 0) return;
  MatFullT result(ncol_, nrow_, ninc_);
  if (result.nall_ == ncol_) {
    transpose(data_, nrow_, ncol_, result.data_);
    result.nrow_ = ncol_;
  }
  swap(result);
}

template <class T>
MatFullT<T>& MatFullT<T>::assign(const MatFullT& src, char op) {
  Operand<T> s = {src.data_, 0, 0};
  if (src.nrow_ == 1 && src.ncol_ == 1) {
  } else if (src.nrow_ == 1 && src.ncol_ == ncol_) {
    s.col_step = 1;
  } else if (src.nrow_ == nrow_ && src.ncol_ == 1) {
    s.row_step = 1;
  } else if (src.nrow_ == nrow_ && src.ncol_ == ncol_) {
    s.row_step = ncol_;
    s.col_step = 1;
  } else {
    ermessage('a', 140, 1, src);
  }
  const auto apply = [&](auto f) { combine(data_, nrow_, ncol_, s, f); };
  switch (op) {
    case '*':
      apply([](T x, T y) { return x * y; });
      break;
    case '+':
      apply([](T x, T y) { return x + y; });
      break;
    case '-':
      apply([](T x, T y) { return x - y; });
      break;
    case '/':
      apply([](T x, T y) { return quotient(x, y); });
      break;
    case 'i':
      apply([](T x, T y) { return quotient(y, x); });
      break;
    case 'o':
      apply([](T x, T y) { return y - x; });
      break;
    default:
      apply([](T, T y) { return y; });
      break;
  }
  return *this;
}

template <class T>
double MatFullT<T>::sum(long k, int byrow) const {
  if (outside(k, byrow != 0 ? nrow_ : ncol_)) ermessage('a', 111, 1, k);
  const long first = byrow != 0 ? k * ncol_ : k;
  const long step = byrow != 0 ? 1 : ncol_;
  double total = 0;
  for (long m = (byrow != 0 ? ncol_ : nrow_) - 1; m >= 0; --m)
    total += static_cast<double>(data_[first + m * step]);
  return total;
}

template <class T>
double MatFullT<T>::dps(long i, long j) const {
  if (outside(i, nrow_)) ermessage('a', 174, 1, i);
  if (outside(j, nrow_)) ermessage('a', 174, 2, j);
  return dps(i, *this, j);
}

template <class T>
double MatFullT<T>::dps(long i, const MatFullT& b, long j) const {
  if (outside(i, nrow_)) ermessage('a', 177, 1, i);
  if (outside(j, b.nrow_)) b.ermessage('a', 177, 3, j);
  if (b.ncol_ != ncol_) ermessage('a', 177, 2, b);
  const T* x = data_ + i * ncol_;
  const T* y = b.data_ + j * ncol_;
  double total = 0;
  for (long k = ncol_ - 1; k >= 0; --k) total += static_cast<double>(x[k]) * static_cast<double>(y[k]);
  return total;
}

template <class T>
long MatFullT<T>::minidx(long col) const {
  if (nrow_ == 0) ermessage('s', 101, 0, 0);
  if (outside(col, ncol_)) ermessage('s', 101, 1, col);
  long best = nrow_ - 1;
  for (long i = best - 1; i >= 0; --i) {
    // A value that differs from itself is a NaN, which any other replaces.
    const T x = data_[i * ncol_ + col], chosen = data_[best * ncol_ + col];
    if (x <= chosen || chosen != chosen) best = i;
  }
  return best;
}

template <class T>
long MatFullT<T>::maxidx(long col) const {
  if (nrow_ == 0) ermessage('s', 101, 0, 0);
  if (outside(col, ncol_)) ermessage('s', 101, 1, col);
  long best = nrow_ - 1;
  for (long i = best - 1; i >= 0; --i) {
    const T x = data_[i * ncol_ + col], chosen = data_[best * ncol_ + col];
    if (x >= chosen || chosen != chosen) best = i;
  }
  return best;
}

template <class T>
void MatFullT<T>::ermessage(char kind, int code, int arg, long value) const {
  class_error("MatFullT", kind, code, arg, value, nrow_, ncol_);
}

template <class T>
void MatFullT<T>::ermessage(char kind, int code, int arg, long other_nrow, long other_ncol) const {
  class_error("MatFullT", kind, code, arg, nrow_, ncol_, other_nrow, other_ncol);
}

template <class T>
void MatFullT<T>::ermessage(char kind, int code, const char* text) const {
  class_error("MatFullT", kind, code, text);
}

template class MatFullT<double>;
template class MatFullT<long>;
template class MatFullT<int>;
template class MatFullT<char>;

}  // namespace qvtx
