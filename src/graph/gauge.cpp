#include "graph/gauge.h"

#include <cstring>
#include <string>
#include <vector>

namespace qvtx {

Gauge::Gauge(long n) : flags_(n, 1), links_(n, 1), names_(0, name_length + 1) {
  flags_.setrows(n, 0);
  links_.addrow(n);
}

void Gauge::check(long k) const {
  if (k < 0 || k >= flags_.nrow()) badstep(k);
}

void Gauge::badstep(long k) const {
  os.fresh();
  os.ow("Gauge: bad step ").ow(k, static_cast<int>(os.width)).nl();
  end_program();
}

long Gauge::addstep(const char* name, long needs) {
  const long k = names_.nrow();
  check(k);
  if (needs < -1 || needs >= k) badstep(needs);
  names_.addstr(name);
  if (needs >= 0) links_.add_link(needs, k);
  return k;
}

long Gauge::getstep(const char* name) const {
  long found = -1;
  for (long k = names_.nrow(); --k >= 0;) {
    if (std::strcmp(names_.label(k), name) != 0) continue;
    if (found >= 0) return -1;
    found = k;
  }
  return found;
}

/// Are all steps that step k needs done?
bool Gauge::prerequisites(long k) const {
  for (long m = links_.head(k); m >= 0; m = links_.next(m, k)) {
    const long needed = links_.other(m, k);
    if (needed < k && flags_.data()[needed] == 0) return false;
  }
  return true;
}

int Gauge::tryflag(long k) const {
  check(k);
  return flags_.data()[k] != 0 || prerequisites(k);
}

int Gauge::shutflag(long k) {
  if (!getflag(k)) return tryflag(k);
  flags_.data()[k] = 0;
  std::vector<long> cleared{k};
  for (std::size_t i = 0; i < cleared.size(); ++i) {
    const long step = cleared[i];
    for (long m = links_.head(step); m >= 0; m = links_.next(m, step)) {
      const long built = links_.other(m, step);
      if (built < step || flags_.data()[built] == 0) continue;
      flags_.data()[built] = 0;
      cleared.push_back(built);
    }
  }
  return 1;
}

int Gauge::getflag(long k) const {
  check(k);
  return flags_.data()[k] != 0;
}

int Gauge::setflag(long k) {
  if (!tryflag(k)) return 0;
  flags_.data()[k] = 1;
  return 1;
}

void Gauge::show(Ostr& o) const {
  flags_.show(o, 0);
  links_.show(o, 0, 0);
}

int Gauge::save_bin(std::FILE* f) const {
  return flags_.save_bin(f) && links_.save_bin(f) && names_.save_bin(f);
}

int Gauge::load_bin(std::FILE* f) {
  Gauge loaded(0);
  if (!loaded.flags_.load_bin(f) || !loaded.links_.load_bin(f) || !loaded.names_.load_bin(f)) return 0;
  if (!loaded.consistent() || (names_.nrow() > 0 && !same_steps(loaded))) return 0;
  swap(loaded);
  return 1;
}

bool Gauge::consistent() const {
  const long n = flags_.nrow(), width = name_length + 1;
  if (flags_.ncol() != 1 || links_.nnode() != n || names_.ncol() != width || names_.nrow() > n) return false;
  for (long k = names_.nrow(); --k >= 0;)
    if (names_.data()[k * width + name_length] != 0) return false;
  for (long k = n; --k >= 0;)
    if (flags_.data()[k] != 0 && !prerequisites(k)) return false;
  return true;
}

bool Gauge::same_steps(const Gauge& other) const {
  if (flags_.nrow() != other.flags_.nrow() || names_.nrow() != other.names_.nrow()) return false;
  for (long k = names_.nrow(); --k >= 0;)
    if (std::strcmp(names_.label(k), other.names_.label(k)) != 0) return false;
  if (links_.nlive() != other.links_.nlive()) return false;
  for (long m = links_.nslot(); --m >= 0;)
    if (links_.live(m) && other.links_.get_link(links_.end_a(m), links_.end_b(m)) < 0) return false;
  return true;
}

void Gauge::swap(Gauge& other) noexcept {
  flags_.swap(other.flags_);
  links_.swap(other.links_);
  names_.swap(other.names_);
}

void Gauge::duplicate(const Gauge& other) {
  flags_.duplicate(other.flags_);
  links_.duplicate(other.links_);
  names_.duplicate(other.names_);
}

}  // namespace qvtx
