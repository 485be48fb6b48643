// Copies of an analysis to return to.

#include <cstring>
#include <utility>

#include "quant/vequan.h"

namespace qvtx {

void VeQuan::back_up(QuantizerBackup& backup) const {
  duplicate(fields<QuantizerState>(backup), fields<const QuantizerState>(*this));
  backup.verbose = verbose;
  std::memcpy(backup.method, method, sizeof method);
  backup.origin = origin;
  backup.torn = torn;
  backup.linkname = linkname;
  backup.linkmetric = linkmetric;
  backup.compsize.duplicate(compsize);
  backup.lpca.duplicate(lpca);
  backup.integers = integers.rows();
  backup.reals = reals.rows();
  backup.distances = pairs.mark();
}

void VeQuan::set_data_aside(QuantizerBackup& backup) noexcept {
  backup.holds_data = true;
  exchange_data(backup);
}

void VeQuan::go_back(QuantizerBackup& backup) noexcept {
  exchange(fields<QuantizerState>(*this), fields<QuantizerState>(backup));
  integers.put_back(backup.integers);
  reals.put_back(backup.reals);
  verbose = backup.verbose;
  std::memcpy(method, backup.method, sizeof method);
  origin = backup.origin;
  torn = backup.torn;
  linkname = backup.linkname;
  linkmetric = backup.linkmetric;
  compsize.swap(backup.compsize);
  lpca.swap(backup.lpca);
  // Rows that are not stored are computed where they are asked for.
  pairs.go_back(backup.distances);
  if (backup.holds_data) exchange_data(backup);
}

void VeQuan::exchange_data(QuantizerBackup& backup) noexcept {
  dat.swap(backup.dat);
  whole.swap(backup.whole);
  std::swap(in_use, backup.in_use);
}

}  // namespace qvtx
