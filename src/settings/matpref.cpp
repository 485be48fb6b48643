#include "settings/matpref.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "settings/value_text.h"

namespace qvtx {

namespace {

/// The part of a key that is compared: its first 8 characters without trailing blanks.
std::string_view significant(const char* key, long length) {
  std::string_view text(key);
  text = text.substr(0, static_cast<std::size_t>(length));
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// Every row of a loaded label table must end with a zero, or reading it would run on into the next row.
bool terminated(const MatFullC& labels) {
  const long width = labels.ncol();
  for (long i = labels.nrow(); --i >= 0;)
    if (labels.data()[(i + 1) * width - 1] != 0) return false;
  return true;
}

template <class M>
bool has_shape(const M& m, long rows, long cols) {
  return m.nrow() == rows && m.ncol() == cols;
}

/// Do the lists that start at `heads` and go on through `links` end, share no element and use every element?
bool lists_close(const MatFullL& heads, const MatFullL& links) {
  const long n = links.nrow();
  std::vector<char> visited(static_cast<std::size_t>(n), 0);
  long total = 0;
  for (long i = heads.nrow(); --i >= 0;) {
    for (long m = heads.data()[i]; m != -1; m = links.data()[m]) {
      if (m < 0 || m >= n || visited[static_cast<std::size_t>(m)]) return false;
      visited[static_cast<std::size_t>(m)] = 1;
      ++total;
    }
  }
  return total == n;
}

}  // namespace

template <class T>
MatPrefT<T>::MatPrefT(long n)
    : labels_(0, key_length + 1),
      descriptions_(0, description_length + 1),
      search_(0, 1),
      values_(0, 4),
      heads_(0, 1),
      links_(0, 1, n),
      mvalues_(0, 1, n),
      mtexts_(0, key_length + 1, n) {}

template <class T>
void MatPrefT<T>::check(long k) const {
  if (k < 0 || k >= count()) badkey(k);
}

template <class T>
void MatPrefT<T>::badkey(long k) const {
  os.fresh();
  os.ow("MatPrefT: bad key ").ow(k).ow(" (not in 0,").ow(count() - 1).ow(")").nl();
  end_program();
}

template <class T>
long MatPrefT<T>::addkey(const char* key, const char* desc, T a, T b) {
  labels_.addstr(key);
  descriptions_.addstr(desc);
  heads_.setrows(heads_.nrow() + 1, -1);
  const T low = std::min(a, b);
  values_.setrows(values_.nrow() + 1, low);
  values_(count() - 1, 1) = std::max(a, b);
  return count() - 1;
}

template <class T>
long MatPrefT<T>::getkey(const char* key) const {
  const std::string wanted(significant(key, key_length));
  // The entries that begin with the key; one that equals it is among them.
  labels_.count(wanted.c_str(), search_);
  long found = -1;
  for (long i = search_.nrow(); --i >= 0;) {
    const long k = search_.data()[i];
    if (significant(labels_.label(k), key_length) != wanted) continue;
    if (found >= 0) return -1;
    found = k;
  }
  return found;
}

template <class T>
T MatPrefT<T>::getmin(long k) const {
  check(k);
  return values_(k, 0);
}

template <class T>
T MatPrefT<T>::getmax(long k) const {
  check(k);
  return values_(k, 1);
}

template <class T>
T MatPrefT<T>::getval(long k) const {
  check(k);
  return values_(k, 2);
}

template <class T>
T MatPrefT<T>::getfut(long k) const {
  check(k);
  return values_(k, 3);
}

template <class T>
const char* MatPrefT<T>::getlabel(long k) const {
  check(k);
  return labels_.label(k);
}

template <class T>
const char* MatPrefT<T>::getdescription(long k) const {
  check(k);
  return descriptions_.label(k);
}

template <class T>
std::vector<typename MatPrefT<T>::Meaning> MatPrefT<T>::meanings(long k) const {
  check(k);
  std::vector<Meaning> list;
  for (long m = heads_(k, 0); m >= 0; m = links_(m, 0)) list.push_back({mvalues_(m, 0), mtexts_.label(m)});
  return list;
}

template <class T>
T MatPrefT<T>::commit(long k) {
  check(k);
  return values_(k, 2) = values_(k, 3);
}

template <class T>
int MatPrefT<T>::newval(long k, T v) {
  check(k);
  if (!(values_(k, 0) <= v && v <= values_(k, 1))) return 0;
  values_(k, 3) = v;
  return 1;
}

template <class T>
T MatPrefT<T>::typed(long k, double x) const {
  const auto printed = [](T bound) { return std::strtod(value_text(bound).c_str(), nullptr); };
  const T low = getmin(k), high = getmax(k), v = nearest_value<T>(x);
  if (v < low && printed(low) <= x) return low;
  if (v > high && printed(high) >= x) return high;
  return v;
}

template <class T>
int MatPrefT<T>::sethlp(long k, T v, const char* text) {
  if (k < 0 || k >= count() || text == nullptr) return 0;
  links_.setrows(links_.nrow() + 1, heads_(k, 0));
  mvalues_.setrows(mvalues_.nrow() + 1, v);
  mtexts_.addstr(text);
  heads_(k, 0) = links_.nrow() - 1;
  return 1;
}

template <class T>
bool MatPrefT<T>::gethlp(long k, T v, std::string& text) const {
  check(k);
  if (!(values_(k, 0) <= v && v <= values_(k, 1))) return false;
  for (const Meaning& meaning : meanings(k)) {
    if (meaning.value != v) continue;
    text = meaning.text;
    return true;
  }
  return false;
}

template <class T>
int MatPrefT<T>::save_bin(std::FILE* f) const {
  return values_.save_bin(f) && labels_.save_bin(f) && descriptions_.save_bin(f) && heads_.save_bin(f) &&
         links_.save_bin(f) && mvalues_.save_bin(f) && mtexts_.save_bin(f);
}

template <class T>
int MatPrefT<T>::load_bin(std::FILE* f) {
  MatPrefT loaded(1);
  const bool complete = loaded.values_.load_bin(f) && loaded.labels_.load_bin(f) &&
                        loaded.descriptions_.load_bin(f) && loaded.heads_.load_bin(f) &&
                        loaded.links_.load_bin(f) && loaded.mvalues_.load_bin(f) &&
                        loaded.mtexts_.load_bin(f);
  if (!complete || !loaded.consistent()) return 0;
  swap(loaded);
  return 1;
}

template <class T>
bool MatPrefT<T>::consistent() const {
  const long n = values_.nrow(), m = links_.nrow();
  const bool shapes = has_shape(values_, n, 4) && has_shape(labels_, n, key_length + 1) &&
                      has_shape(descriptions_, n, description_length + 1) && has_shape(heads_, n, 1) &&
                      has_shape(links_, m, 1) && has_shape(mvalues_, m, 1) &&
                      has_shape(mtexts_, m, key_length + 1);
  if (!shapes || !terminated(labels_) || !terminated(descriptions_) || !terminated(mtexts_)) return false;
  for (long k = n; --k >= 0;) {
    const T* v = values_.data() + 4 * k;
    if (!(v[0] <= v[2] && v[2] <= v[1] && v[0] <= v[3] && v[3] <= v[1])) return false;
  }
  return lists_close(heads_, links_);
}

template <class T>
std::vector<std::string> MatPrefT<T>::keys() const {
  std::vector<std::string> keys;
  for (long k = 0; k < count(); ++k) {
    keys.emplace_back(getlabel(k));
    keys.back().erase(keys.back().find_last_not_of(' ') + 1);
  }
  return keys;
}

template <class T>
void MatPrefT<T>::duplicate(const MatPrefT& other) {
  labels_.duplicate(other.labels_);
  descriptions_.duplicate(other.descriptions_);
  search_.duplicate(other.search_);
  values_.duplicate(other.values_);
  heads_.duplicate(other.heads_);
  links_.duplicate(other.links_);
  mvalues_.duplicate(other.mvalues_);
  mtexts_.duplicate(other.mtexts_);
}

template <class T>
void MatPrefT<T>::swap(MatPrefT& other) noexcept {
  labels_.swap(other.labels_);
  descriptions_.swap(other.descriptions_);
  search_.swap(other.search_);
  values_.swap(other.values_);
  heads_.swap(other.heads_);
  links_.swap(other.links_);
  mvalues_.swap(other.mvalues_);
  mtexts_.swap(other.mtexts_);
}

template class MatPrefT<long>;
template class MatPrefT<double>;

}  // namespace qvtx
