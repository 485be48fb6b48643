#include "local/block_lanczos.h"

#include <algorithm>
#include <cmath>

#include "base/interrupt.h"
#include "local/lanczos_kernels.h"
#include "local/mgceigen.h"

namespace qvtx {
namespace {

size_t at(long i) { return static_cast<size_t>(i); }

double length_of(const double* x, long n) {
  double square = 0;
  lanczos_kernels().project(&x, 1, x, n, &square);
  return std::sqrt(square);
}

}  // namespace

BlockLanczos::BlockLanczos(const double* const* a, long n, long k)
    : a_(a), n_(n), wanted_(k), block_(k + spare) {}

bool BlockLanczos::run() {
  for (long c = 0; c < block_; ++c) append(new_vector(), 0);
  const long most = std::min(most_steps, n_ / (2 * block_));
  long next_look = 1;
  for (long step = 1; step <= most; ++step) {
    interruption_point();
    if (!expand()) return false;
    if (step < next_look && step < most) continue;
    // A look costs the cube of the steps: the more there are, the farther apart.
    next_look = step + std::max(1L, step / 8);
    if (solve_projection() && residuals_hold()) return true;
  }
  return false;
}

// SplitMix64 (Steele, Lea, Flood, "Fast splittable pseudorandom number generators", OOPSLA 2014).
double BlockLanczos::Generator::next() {
  state += 0x9e3779b97f4a7c15;
  unsigned long long z = state;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
  z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
  z ^= z >> 31;
  return static_cast<double>(z >> 11) * 0x1p-52 - 1;
}

double* BlockLanczos::new_vector() {
  storage_.push_back(std::make_unique<double[]>(at(n_)));
  return storage_.back().get();
}

// Takes the basis out of x until a pass leaves half of it (Daniel, Gragg, Kaufman, Stewart,
// "Reorthogonalization and stable algorithms for updating the Gram-Schmidt QR factorization", Mathematics of
// Computation 30, 1976). Returns the length that is left, 0 for a vector of the space that the basis spans.
double BlockLanczos::orthogonalise(double* x) {
  constexpr int most_passes = 4;
  std::vector<double> products(at(size()));
  shares_.assign(at(size()), 0.0);
  double before = length_of(x, n_);
  for (int pass = 0; pass < most_passes; ++pass) {
    lanczos_kernels().project(basis_.data(), size(), x, n_, products.data());
    for (size_t v = 0; v < products.size(); ++v) {
      shares_[v] += products[v];
      products[v] = -products[v];
    }
    lanczos_kernels().combine(basis_.data(), size(), products.data(), x, n_);
    const double left = length_of(x, n_);
    if (left > 0.5 * before) return left;
    before = left;
  }
  return 0;
}

// x is orthogonal to the basis and has this length. One of length 0 adds nothing: a new direction takes its
// place.
void BlockLanczos::append(double* x, double length) {
  while (!(length > 0)) {
    for (long i = 0; i < n_; ++i) x[i] = generator_.next();
    length = orthogonalise(x);
  }
  for (long i = 0; i < n_; ++i) x[i] /= length;
  basis_.push_back(x);
}

// One step: the product of the matrix with the newest block, less what the basis has of it, is the next
// block.
bool BlockLanczos::expand() {
  const long newest = size() - block_;
  std::vector<double*> products;
  for (long c = 0; c < block_; ++c) products.push_back(new_vector());
  lanczos_kernels().multiply(a_, n_, basis_.data() + newest, products.data(), block_);
  couplings_.resize(at((size() + block_) * (block_ + 1)));
  for (long c = 0; c < block_; ++c) {
    const double length = orthogonalise(products[at(c)]);
    for (long v = newest + c; v < size(); ++v) {
      if (!std::isfinite(shares_[at(v)])) return false;
      coupling(v, newest + c) = shares_[at(v)];
    }
    append(products[at(c)], length);
    coupling(size() - 1, newest + c) = length;
  }
  return true;
}

// The eigenpairs of the projected matrix. True when the coupling to the newest block, which stands outside,
// promises small residuals.
bool BlockLanczos::solve_projection() {
  const long inside = size() - block_;
  mgcEigenD projected(static_cast<int>(inside));
  if (!projected.mat) return false;
  for (long i = 0; i < inside; ++i) {
    for (long j = std::max(0L, i - block_); j <= i; ++j)
      projected.mat[i][j] = projected.mat[j][i] = coupling(i, j);
  }
  projected.DecrSortEigenStuff(static_cast<int>(wanted_));
  values_.assign(projected.diag, projected.diag + wanted_);
  parts_.clear();
  bool small = true;
  for (long k = 0; k < wanted_; ++k) {
    for (long i = 0; i < inside; ++i) parts_.push_back(projected.mat[i][k]);
    double square = 0;
    for (long i = inside; i < size(); ++i) {
      double sum = 0;
      for (long j = i - block_; j < inside; ++j) sum += coupling(i, j) * projected.mat[j][k];
      square += sum * sum;
    }
    small = small && std::sqrt(square) <= accuracy * std::fabs(values_[0]);
  }
  return small;
}

// Makes the vectors and measures their residuals with the matrix itself.
bool BlockLanczos::residuals_hold() {
  const long inside = size() - block_;
  vectors_.assign(at(wanted_ * n_), 0.0);
  std::vector<double> products(vectors_.size());
  std::vector<double*> x, y;
  for (long k = 0; k < wanted_; ++k) {
    x.push_back(vectors_.data() + k * n_);
    y.push_back(products.data() + k * n_);
    lanczos_kernels().combine(basis_.data(), inside, parts_.data() + k * inside, x.back(), n_);
  }
  lanczos_kernels().multiply(a_, n_, x.data(), y.data(), wanted_);
  bool small = true;
  for (size_t k = 0; k < values_.size(); ++k) {
    const double factor = -values_[k];
    lanczos_kernels().combine(x.data() + k, 1, &factor, y[k], n_);
    small = small && length_of(y[k], n_) <= accuracy * std::fabs(values_[0]);
  }
  return small;
}

}  // namespace qvtx
