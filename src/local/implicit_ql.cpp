#include "local/implicit_ql.h"

#include <algorithm>
#include <cmath>

#include "base/interrupt.h"
#include "base/memory.h"

namespace qvtx {
namespace {

constexpr int max_sweeps = 30;

// The rotation with c : s = g : f, by the larger of the two; returns the length of (f, g). Not both 0.
template <class Real>
Real make_rotation(Real f, Real g, PlaneRotation<Real>& rotation) {
  const Real one = 1;
  if (std::fabs(f) >= std::fabs(g)) {
    const Real ratio = g / f;
    const Real root = std::sqrt(ratio * ratio + one);
    rotation.s = one / root;
    rotation.c = ratio * rotation.s;
    return f * root;
  }
  const Real ratio = f / g;
  const Real root = std::sqrt(ratio * ratio + one);
  rotation.c = one / root;
  rotation.s = ratio * rotation.c;
  return g * root;
}

}  // namespace

template <class Real>
void RecordedRotations<Real>::rotate_columns(Real* panel, long lines) const {
  eigen_kernels<Real>().rotate_columns(panel, lines, list.data(), sweeps.data(),
                                       static_cast<long>(sweeps.size()));
}

template <class Real>
void RecordedRotations<Real>::multiply(Real* panel, long lines) const {
  eigen_kernels<Real>().multiply_rotations(panel, lines, list.data(), sweeps.data(),
                                           static_cast<long>(sweeps.size()));
}

// Last row of the unreduced block that begins at first_: the coupling behind it vanishes beside the diagonal.
template <class Real>
long ImplicitQL<Real>::block_end() const {
  long m = first_;
  for (; m < n_ - 1; ++m) {
    const Real sum = std::fabs(diag_[m]) + std::fabs(diag_[m + 1]);
    if (std::fabs(subd_[m]) + sum == sum) break;
  }
  return m;
}

// diag[last] less the shift, which is the eigenvalue of the first 2 x 2 minor of the block next to its first
// element.
template <class Real>
Real ImplicitQL<Real>::shifted(long last) const {
  const Real coupling = subd_[first_];
  const Real g = (diag_[first_ + 1] - diag_[first_]) / (Real(2) * coupling);
  const Real r = std::sqrt(g * g + Real(1));
  return diag_[last] - diag_[first_] + coupling / (g < 0 ? g - r : g + r);
}

template <class Real>
void ImplicitQL<Real>::chase(long last, RecordedRotations<Real>& out) {
  Real g = shifted(last);
  Real p = 0;
  PlaneRotation<Real> rotation{1, 1};
  RotationSweep sweep{first_, last, out.size()};
  for (long i = last - 1; i >= first_; --i) {
    const Real f = rotation.s * subd_[i];
    const Real b = rotation.c * subd_[i];
    if (f == 0 && g == 0) {  // the block falls apart by itself
      diag_[i + 1] -= p;
      subd_[i + 1] = 0;
      subd_[last] = 0;
      sweep.first = i + 1;
      if (sweep.first < last) out.sweeps.push_back(sweep);
      return;
    }
    subd_[i + 1] = make_rotation(f, g, rotation);
    g = diag_[i + 1] - p;
    const Real r = (diag_[i] - g) * rotation.s + Real(2) * rotation.c * b;
    p = rotation.s * r;
    diag_[i + 1] = g + p;
    g = rotation.c * r - b;
    out.list.push_back(rotation);
  }
  diag_[first_] -= p;
  subd_[first_] = g;
  subd_[last] = 0;
  out.sweeps.push_back(sweep);
}

template <class Real>
typename ImplicitQL<Real>::State ImplicitQL<Real>::sweep(RecordedRotations<Real>& out) {
  for (; first_ < n_; ++first_, sweeps_ = 0) {
    const long last = block_end();
    if (last == first_) continue;
    if (sweeps_ == max_sweeps) return State::exceeded;
    ++sweeps_;
    chase(last, out);
    return State::running;
  }
  return State::converged;
}

template <class Real>
VectorPanels<Real>::VectorPanels(long n, long k) : n_(n) {
  constexpr long line = line_vectors<Real>;
  lanes_ = std::min(panel_lines, (k + line - 1) / line) * line;
  count_ = k == 0 ? 0 : (k + lanes_ - 1) / lanes_;
  data_.assign(static_cast<size_t>(count_ * n_ * lanes_), 0);
}

template <class Real>
typename ImplicitQL<Real>::State QLHistory<Real>::run(long n, Real* diag, Real* subd) {
  ImplicitQL<Real> iteration(n, diag, subd);
  // Room for all: growing by copies would touch it several times.
  rotations_.list.reserve(static_cast<size_t>(std::min(n * n, stretch_ + n)));
  will_be_filled(rotations_.list.data(), rotations_.list.capacity() * sizeof(PlaneRotation<Real>));
  Beginning beginning{iteration, {diag, diag + n}, {subd, subd + n}, 0};
  auto state = ImplicitQL<Real>::State::running;
  while (state == ImplicitQL<Real>::State::running) {
    if (rotations_.size() >= stretch_) {
      beginning.sweeps = rotations_.sweeps.size();
      beginnings_.push_back(std::move(beginning));
      beginning = Beginning{iteration, {diag, diag + n}, {subd, subd + n}, 0};
      rotations_.clear();
    }
    interruption_point();
    state = iteration.sweep(rotations_);
  }
  return state;
}

template <class Real>
void QLHistory<Real>::multiply(VectorPanels<Real>& vectors) {
  for (size_t left = beginnings_.size();; --left) {
    interruption_point();
    for (long p = 0; p < vectors.count(); ++p) rotations_.multiply(vectors.panel(p), vectors.lines());
    if (left == 0) return;
    Beginning& beginning = beginnings_[left - 1];
    ImplicitQL<Real> iteration(beginning.iteration, beginning.diag.data(), beginning.subd.data());
    rotations_.clear();
    while (rotations_.sweeps.size() < beginning.sweeps) iteration.sweep(rotations_);
    beginnings_.pop_back();
  }
}

template struct RecordedRotations<double>;
template struct RecordedRotations<float>;
template class ImplicitQL<double>;
template class ImplicitQL<float>;
template class VectorPanels<double>;
template class VectorPanels<float>;
template class QLHistory<double>;
template class QLHistory<float>;

}  // namespace qvtx
