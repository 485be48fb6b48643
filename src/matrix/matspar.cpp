#include "matrix/matspar.h"

#include <algorithm>

namespace qvtx {
namespace {

/// n m / 10 entries, at least 10; capped where n m would overflow, far beyond any memory.
long reservation(long n, long m) {
  long cells;
  if (__builtin_mul_overflow(n, m, &cells)) return 1L << 55;
  return std::max(10L, cells / 10);
}

template <class T>
T combine(T old, T v, char op) {
  switch (op) {
    case '*':
      return old * v;
    case '+':
      return old + v;
    case '-':
      return old - v;
    case '/':
      return v == 0 ? old : old / v;
    case '=':
      return v;
    default:
      return old;
  }
}

}  // namespace

template <class T>
MatSparT<T>::MatSparT(long n, long m, long inc) {
  setdim(n, m);
  if (inc < 1) ermessage('s', 102, 1, inc);
  row_.setinc(inc);
}

template <class T>
long MatSparT<T>::setdim(long n, long m) {
  if (n < 0) ermessage('s', 101, 1, n);
  if (m < 1) ermessage('s', 101, 2, m);
  ncol_ = m;
  free_ = -1;
  const long entries = reservation(n, m);
  const bool reserved =
      row_.setdim(n, 1) == n && entry_.setdim(entries, 2) == entries && val_.setdim(entries, 1) == entries;
  entry_.setinc(entries);
  val_.setinc(entries);
  if (!reserved) {
    row_.setrows(0, -1);
    return 0;
  }
  row_.setrows(n, -1);
  return n;
}

template <class T>
void MatSparT<T>::clear() {
  setdim(0, 1);
}

template <class T>
long MatSparT<T>::count() const {
  long used = 0;
  for (long e = entry_.nrow() - 1; e >= 0; --e) used += entry_(e, 1) >= 0 ? 1 : 0;
  return used;
}

template <class T>
void MatSparT<T>::check(long i, long j, int code) const {
  if (i < 0 || i >= nrow()) ermessage('s', code, 1, i);
  if (j < 0 || j >= ncol_) ermessage('s', code, 2, j);
}

/// Entry of column j in row i, -1 when there is none; `before` is its predecessor, -1 for the first of the
/// row.
template <class T>
long MatSparT<T>::find(long i, long j, long& before) const {
  before = -1;
  const long* const entries = entry_.data();
  long e = row_.data()[i];
  while (e >= 0 && entries[2 * e + 1] != j) {
    before = e;
    e = entries[2 * e];
  }
  return e;
}

template <class T>
T MatSparT<T>::getval(long i, long j) const {
  check(i, j, 3);
  long before;
  const long e = find(i, j, before);
  return e < 0 ? T{0} : val_.data()[e];
}

template <class T>
T MatSparT<T>::setval(long i, long j, T v, char op) {
  check(i, j, 2);
  long before;
  const long e = find(i, j, before);
  if (e < 0) return v == 0 || op == '*' || op == '/' ? T{0} : create(i, j, op == '-' ? -v : v);
  T& value = val_.data()[e];
  value = combine(value, v, op);
  if (value != 0) return value;
  remove(i, e, before);
  return 0;
}

/// Unlinks entry e of row i and puts it on the free list.
template <class T>
void MatSparT<T>::remove(long i, long e, long before) {
  const long next = entry_(e, 0);
  if (before < 0) {
    row_(i, 0) = next;
  } else {
    entry_(before, 0) = next;
  }
  entry_(e, 0) = free_;
  entry_(e, 1) = -1;
  free_ = e;
}

/// New entry at the head of row i; returns its value, 0 without room for it.
template <class T>
T MatSparT<T>::create(long i, long j, T v) {
  long e = free_;
  if (e >= 0) {
    free_ = entry_(e, 0);
  } else {
    e = entry_.nrow();
    if (val_.addrow() != e + 1) return 0;
    if (entry_.addrow() != e + 1) {
      val_.setrows(e);
      return 0;
    }
  }
  entry_(e, 0) = row_(i, 0);
  entry_(e, 1) = j;
  row_(i, 0) = e;
  return val_(e, 0) = v;
}

template <class T>
void MatSparT<T>::ermessage(char kind, int code, int arg, long value) const {
  class_error("MatSparT", kind, code, arg, value, nrow(), ncol_);
}

template class MatSparT<long>;

}  // namespace qvtx
