#include "local/mgceigen.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <new>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

#include "base/interrupt.h"
#include "base/memory.h"
#include "base/ostr.h"
#include "local/cache_lines.h"
#include "local/implicit_ql.h"
#include "local/tridiagonal.h"

namespace qvtx {
namespace {

/// Up to this order nearly all pages of a matrix are used; of larger ones the iterations read a triangle.
constexpr size_t most_filled = 1000;

// Order in which a selection sort by exchanges leaves the values: entry k is the former place of value k. The
// first of equal values is taken; later ones may have been moved by an exchange.
template <class Real, class Before>
std::vector<long> selection_order(std::vector<Real> values, Before before) {
  std::vector<long> order(values.size());
  std::iota(order.begin(), order.end(), 0L);
  for (size_t i = 0; i + 1 < values.size(); ++i) {
    size_t best = i;
    for (size_t j = i + 1; j < values.size(); ++j) {
      if (before(values[j], values[best])) best = j;
    }
    std::swap(values[i], values[best]);
    std::swap(order[i], order[best]);
  }
  return order;
}

template <class Real>
void permute(Real* values, const std::vector<long>& order, std::vector<Real>& buffer) {
  for (size_t k = 0; k < order.size(); ++k) buffer[k] = values[order[k]];
  std::copy(buffer.begin(), buffer.end(), values);
}

template <class Real, class Before>
void sort_pairs(long n, Real* diag, Real* const* mat, Before before) {
  const std::vector<long> order = selection_order(std::vector<Real>(diag, diag + n), before);
  std::vector<Real> buffer(order.size());
  permute(diag, order, buffer);
  for (long i = 0; i < n; ++i) permute(mat[i], order, buffer);
}

// The columns of mat take the rotations, some rows of mat at a time.
template <class Real>
void rotate_matrix(long n, Real* const* mat, const RecordedRotations<Real>& rotations) {
  constexpr long lanes = panel_lines * line_vectors<Real>;
  std::vector<Real> panel(static_cast<size_t>(n * lanes));
  for (long first = 0; first < n; first += lanes) {
    const long count = std::min(lanes, n - first);
    for (long r = 0; r < count; ++r) {
      for (long i = 0; i < n; ++i) panel[static_cast<size_t>(i * lanes + r)] = mat[first + r][i];
    }
    rotations.rotate_columns(panel.data(), panel_lines);
    for (long r = 0; r < count; ++r) {
      for (long i = 0; i < n; ++i) mat[first + r][i] = panel[static_cast<size_t>(i * lanes + r)];
    }
  }
}

template <class Real>
void set_identity(long n, Real* const* mat) {
  for (long i = 0; i < n; ++i) {
    std::fill_n(mat[i], n, Real(0));
    mat[i][i] = 1;
  }
}

template <class Real>
std::unique_ptr<Real[]> try_allocate(size_t n) {
  return std::unique_ptr<Real[]>(new (std::nothrow) Real[n]());
}

template <class Real>
std::string error_line(int number) {
  const char* name = std::is_same_v<Real, double> ? "mgcEigenD: " : "mgcEigen: ";
  return std::string(name) + (number >= 0 && number < 3 ? mgcEigenT<Real>::message[number] : "unknown error");
}

}  // namespace

template <class Real>
const char* const mgcEigenT<Real>::message[3] = {"invalid matrix size", "allocation failed",
                                                 "QL algorithm - exceeded maximum iterations"};
template <class Real>
unsigned mgcEigenT<Real>::error = 0;
template <class Real>
int mgcEigenT<Real>::verbose = 0;

// ---- Construction ----

template <class Real>
mgcEigenT<Real>::mgcEigenT(int n) : size(n) {
  if (n < 2) {
    Report(invalid_size);
  } else {
    allocate();
  }
}

template <class Real>
mgcEigenT<Real>::~mgcEigenT() = default;

template <class Real>
void mgcEigenT<Real>::allocate() {
  const size_t n = static_cast<size_t>(size);
  rows_ = try_allocate<Real*>(n);
  // Zeros that are not touched before they are used: the iterations read one triangle of a large matrix.
  const size_t stride = row_stride<Real>(n);
  values_.reset(static_cast<Real*>(std::calloc(n * stride + line_size_of<Real>, sizeof(Real))));
  diagonal_ = try_allocate<Real>(n);
  coupling_ = try_allocate<Real>(n);
  if (!rows_ || !values_ || !diagonal_ || !coupling_) {
    Report(allocation_failed);
    memory_failed(static_cast<double>(n) * static_cast<double>(n) * sizeof(Real));
    return;
  }
  if (n <= most_filled) will_be_filled(values_.get(), n * stride * sizeof(Real));
  for (size_t i = 0; i < n; ++i) rows_[i] = first_on_line(values_.get()) + i * stride;
  mat = rows_.get();
  diag = diagonal_.get();
  subd = coupling_.get();
}

template <class Real>
mgcEigenT<Real>& mgcEigenT<Real>::Matrix(Real** a) {
  if (mat == nullptr) return *this;
  for (int i = 0; i < size; ++i) std::copy_n(a[i], size, mat[i]);
  return *this;
}

// ---- Steps ----

template <class Real>
void mgcEigenT<Real>::Tridiagonal2(Real** a, Real* d, Real* e) {
  d[0] = a[0][0];
  d[1] = a[1][1];
  e[0] = a[0][1];
  e[1] = 0;
  set_identity(2, a);
}

template <class Real>
void mgcEigenT<Real>::Tridiagonal3(Real** a, Real* d, Real* e) {
  const Real a11 = a[1][1], a22 = a[2][2], a01 = a[0][1], a02 = a[0][2], a12 = a[1][2];
  d[0] = a[0][0];
  e[2] = 0;
  set_identity(3, a);
  if (a02 == 0) {
    d[1] = a11;
    d[2] = a22;
    e[0] = a01;
    e[1] = a12;
    return;
  }
  const Real length = std::sqrt(a01 * a01 + a02 * a02);
  const Real u = a01 / length;
  const Real v = a02 / length;
  const Real q = Real(2) * u * a12 + v * (a22 - a11);
  d[1] = a11 + v * q;
  d[2] = a22 - v * q;
  e[0] = length;
  e[1] = a12 - u * q;
  a[1][1] = u;
  a[1][2] = v;
  a[2][1] = v;
  a[2][2] = -u;
}

template <class Real>
void mgcEigenT<Real>::Tridiagonal4(Real** a, Real* d, Real* e) {
  TridiagonalN(4, a, d, e);
}

template <class Real>
void mgcEigenT<Real>::TridiagonalN(int n, Real** a, Real* d, Real* e) {
  std::vector<Real> h(static_cast<size_t>(n));
  reduce_to_tridiagonal(n, a, d, e, h.data(), progress);
  form_transform(n, a, h.data());
}

template <class Real>
void mgcEigenT<Real>::QLAlgorithm(int n, Real* d, Real* e, Real** a) {
  constexpr long batch = 1L << 18;  // rotations that still fit the caches while the matrix passes by
  ImplicitQL<Real> iteration(n, d, e);
  RecordedRotations<Real> rotations;
  auto state = ImplicitQL<Real>::State::running;
  while (state == ImplicitQL<Real>::State::running) {
    state = iteration.sweep(rotations);
    if (rotations.size() < batch && state == ImplicitQL<Real>::State::running) continue;
    rotate_matrix(n, a, rotations);
    rotations.clear();
  }
  if (state == ImplicitQL<Real>::State::exceeded) Report(ql_exceeded);
}

template <class Real>
void mgcEigenT<Real>::DecreasingSort(int n, Real* d, Real** a) {
  if (a != nullptr) sort_pairs(n, d, a, std::greater<Real>());
}

template <class Real>
void mgcEigenT<Real>::IncreasingSort(int n, Real* d, Real** a) {
  if (a != nullptr) sort_pairs(n, d, a, std::less<Real>());
}

// ---- Solving ----

template <class Real>
void mgcEigenT<Real>::EigenStuff2() {
  if (mat == nullptr) return;
  Tridiagonal2(mat, diag, subd);
  QLAlgorithm(2, diag, subd, mat);
}

template <class Real>
void mgcEigenT<Real>::EigenStuff3() {
  if (mat == nullptr) return;
  Tridiagonal3(mat, diag, subd);
  QLAlgorithm(3, diag, subd, mat);
}

template <class Real>
void mgcEigenT<Real>::EigenStuff4() {
  if (mat == nullptr) return;
  Tridiagonal4(mat, diag, subd);
  QLAlgorithm(4, diag, subd, mat);
}

template <class Real>
void mgcEigenT<Real>::EigenStuffN() {
  if (mat == nullptr) return;
  TridiagonalN(size, mat, diag, subd);
  QLAlgorithm(size, diag, subd, mat);
}

template <class Real>
void mgcEigenT<Real>::IncrSortEigenStuff2() {
  EigenStuff2();
  IncreasingSort(2, diag, mat);
}

template <class Real>
void mgcEigenT<Real>::IncrSortEigenStuff3() {
  EigenStuff3();
  IncreasingSort(3, diag, mat);
}

template <class Real>
void mgcEigenT<Real>::IncrSortEigenStuff4() {
  EigenStuff4();
  IncreasingSort(4, diag, mat);
}

template <class Real>
void mgcEigenT<Real>::IncrSortEigenStuffN() {
  EigenStuffN();
  IncreasingSort(size, diag, mat);
}

template <class Real>
void mgcEigenT<Real>::DecrSortEigenStuff2() {
  EigenStuff2();
  DecreasingSort(2, diag, mat);
}

template <class Real>
void mgcEigenT<Real>::DecrSortEigenStuff3() {
  EigenStuff3();
  DecreasingSort(3, diag, mat);
}

template <class Real>
void mgcEigenT<Real>::DecrSortEigenStuff4() {
  EigenStuff4();
  DecreasingSort(4, diag, mat);
}

template <class Real>
void mgcEigenT<Real>::DecrSortEigenStuffN() {
  EigenStuffN();
  DecreasingSort(size, diag, mat);
}

template <class Real>
void mgcEigenT<Real>::EigenStuff() {
  switch (size) {
    case 2:
      return EigenStuff2();
    case 3:
      return EigenStuff3();
    case 4:
      return EigenStuff4();
    default:
      return EigenStuffN();
  }
}

template <class Real>
void mgcEigenT<Real>::IncrSortEigenStuff() {
  switch (size) {
    case 2:
      return IncrSortEigenStuff2();
    case 3:
      return IncrSortEigenStuff3();
    case 4:
      return IncrSortEigenStuff4();
    default:
      return IncrSortEigenStuffN();
  }
}

template <class Real>
void mgcEigenT<Real>::DecrSortEigenStuff() {
  switch (size) {
    case 2:
      return DecrSortEigenStuff2();
    case 3:
      return DecrSortEigenStuff3();
    case 4:
      return DecrSortEigenStuff4();
    default:
      return DecrSortEigenStuffN();
  }
}

template <class Real>
void mgcEigenT<Real>::DecrSortEigenStuff(int k) {
  if (mat == nullptr) return;
  if (size < 4) return DecrSortEigenStuff();
  const long n = size;
  std::vector<Real> h(static_cast<size_t>(n));
  reduce_to_tridiagonal(n, mat, diag, subd, h.data(), progress);
  QLHistory<Real> history;
  if (history.run(n, diag, subd) == ImplicitQL<Real>::State::exceeded) Report(ql_exceeded);
  const std::vector<long> order = selection_order(std::vector<Real>(diag, diag + n), std::greater<Real>());
  std::vector<Real> buffer(order.size());
  permute(diag, order, buffer);

  const long wanted = std::clamp(k, 0, size);
  VectorPanels<Real> vectors(n, wanted);
  for (long v = 0; v < wanted; ++v) vectors.at(order[static_cast<size_t>(v)], v) = 1;
  history.multiply(vectors);
  for (long p = 0; p < vectors.count(); ++p) {
    interruption_point();
    eigen_kernels<Real>().reflect(vectors.panel(p), vectors.lines(), mat, h.data(), 1, n);
  }
  for (long i = 0; i < n; ++i) {
    for (long v = 0; v < wanted; ++v) mat[i][v] = vectors.at(i, v);
  }
}

// ---- Errors ----

template <class Real>
int mgcEigenT<Real>::Number(unsigned bit) {
  int shifts = 0;
  for (; bit != 0; bit >>= 1) ++shifts;
  return shifts - 1;
}

template <class Real>
void mgcEigenT<Real>::Report(unsigned bit) {
  error |= bit;
  const std::string line = error_line<Real>(Number(bit));
  if (verbose != 0) {
    os.fresh().ow(line).nl();
  } else {
    std::ofstream("eigen.err", std::ios::app) << line << '\n';
  }
}

template <class Real>
void mgcEigenT<Real>::Report(std::ostream& out) {
  for (int number = 0; number < 32; ++number) {
    if ((error >> number & 1u) != 0) out << error_line<Real>(number) << '\n';
  }
  error = 0;
}

template class mgcEigenT<double>;
template class mgcEigenT<float>;

}  // namespace qvtx
