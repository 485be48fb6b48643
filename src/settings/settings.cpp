#include "settings/settings.h"

#include <iostream>

namespace qvtx {

template <class T>
void Settings<T>::look_up() {
  for (std::size_t i = 0; i < settings_count; ++i)
    rows_[i] = settings_table[i].table == Key<T>::table ? table_.getkey(settings_table[i].name) : -1;
}

template <class T>
void Settings<T>::record(Key<T> key, T value) {
  table_.newval(row(key), value);
  commit(key);
}

template <class T>
void Settings<T>::missing(Key<T> key) const {
  os.fresh().flush();
  std::cerr << "  missing key: " << key.name() << '\n';
  table_.badkey(-1);
}

template class Settings<long>;
template class Settings<double>;

}  // namespace qvtx
