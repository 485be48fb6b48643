#include "matrix/matstor.h"

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <utility>

#include "base/memory.h"

namespace qvtx {

template <class M>
long MatStorT<M>::setdim(long n) {
  if (n < 0) ermessage('o', 101, 1, n);
  if (n == size()) return n;
  store_ = std::vector<M>();  // released before the new ones are made
  try {
    store_ = std::vector<M>(static_cast<std::size_t>(n));
  } catch (const std::exception&) {  // no memory, or more than a vector can ever hold
    os.ow("MatStorT.setdim: alloc.failed").nl();
    memory_failed(static_cast<double>(n) * sizeof(M));
  }
  return size();
}

template <class M>
void MatStorT<M>::expect(long rows, long cols) {
  using T = typename M::value_type;
  constexpr long line = 64 / sizeof(T);  // matrices begin on cache lines
  long room = 0, count = 0, bytes = 0;
  if (__builtin_mul_overflow(rows, cols, &room) || __builtin_add_overflow(room, line - 1, &room)) return;
  room -= room % line;
  if (__builtin_mul_overflow(room, size(), &count) || __builtin_add_overflow(count, line, &count) ||
      __builtin_mul_overflow(count, static_cast<long>(sizeof(T)), &bytes))
    return;
  const std::shared_ptr<void> block(block_to_fill(static_cast<std::size_t>(bytes)), std::free);
  if (!block) return;
  auto* first = static_cast<T*>(block.get());
  while (reinterpret_cast<std::uintptr_t>(first) % 64 != 0) ++first;
  for (M& matrix : store_) {
    matrix.setdim(0, cols);
    matrix.share(block, first, room);
    first += room;
  }
}

template <class M>
M& MatStorT<M>::operator[](long i) {
  return const_cast<M&>(std::as_const(*this)[i]);
}

template <class M>
const M& MatStorT<M>::operator[](long i) const {
  if (i < 0 || i >= size()) ermessage('o', 102, 1, i);
  return store_[static_cast<std::size_t>(i)];
}

template <class M>
void MatStorT<M>::ermessage(char kind, int code, int arg, long value) const {
  class_error("MatStorT", kind, code, arg, value, size(), 1);
}

template class MatStorT<MatFullD>;
template class MatStorT<MatFullL>;

}  // namespace qvtx
