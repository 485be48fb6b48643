#pragma once
// The settings of a preference table by their keys.

#include <array>

#include "settings/keys.h"
#include "settings/matpref.h"

namespace qvtx {

/// Reads and commits the settings of one preference table, which must outlive it. Where they stand in it is
/// looked up once, by `look_up`. A setting that the table lacks is named on standard error at its first use,
/// which ends the program (`MatPrefT::badkey`).
template <class T>
class Settings {
 public:
  explicit Settings(MatPrefT<T>& table) : table_(table) { look_up(); }

  /// To be called when entries were added to the table or all of it was replaced.
  void look_up();
  /// What it found: the entry of each setting, -1 for none, by its row in the table of all settings. It can
  /// be put back with the table that it belongs to.
  using Rows = std::array<long, settings_count>;
  const Rows& rows() const { return rows_; }
  void put_back(const Rows& rows) noexcept { rows_ = rows; }

  /// The value in use.
  T operator[](Key<T> key) const { return table_.getval(row(key)); }
  /// The future value comes into use; returns it.
  T commit(Key<T> key) { return table_.commit(row(key)); }
  /// Whether the future value is another one than that in use.
  bool changed(Key<T> key) const { return table_.changed(row(key)); }
  /// Puts a result into the table: its value in use and its future value. One out of range is not taken.
  void record(Key<T> key, T value);

 private:
  long row(Key<T> key) const {
    const long found = rows_[key.row()];
    if (found < 0) missing(key);
    return found;
  }
  [[noreturn]] void missing(Key<T> key) const;

  MatPrefT<T>& table_;
  Rows rows_;
};

extern template class Settings<long>;
extern template class Settings<double>;

}  // namespace qvtx
