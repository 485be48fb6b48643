#pragma once
// Matrices from lists of numbers, and back.

#include <algorithm>
#include <vector>

#include "matrix/matfulld.h"

namespace qvtx::test {

/// m rows, n columns, filled row by row, zeros behind.
inline MatFullD matrix(long m, long n, const std::vector<double>& values = {}) {
  MatFullD a(m, n);
  a.setrows(m, 0);
  std::copy(values.begin(), values.end(), a.data());
  return a;
}

/// The rows given, all of the same length.
inline MatFullD matrix_of(const std::vector<std::vector<double>>& rows) {
  MatFullD m(0, rows.empty() ? 1 : static_cast<long>(rows[0].size()));
  for (const auto& row : rows) std::copy(row.begin(), row.end(), m.row(m.addrow() - 1));
  return m;
}

/// The elements of a matrix, and its rows, for comparisons.
template <class M>
auto contents(const M& m) {
  return std::vector<typename M::value_type>(m.data(), m.data() + m.nrow() * m.ncol());
}
template <class M>
std::vector<std::vector<typename M::value_type>> rows_of(const M& m) {
  std::vector<std::vector<typename M::value_type>> rows;
  for (long i = 0; i < m.nrow(); ++i) rows.emplace_back(m.row(i), m.row(i) + m.ncol());
  return rows;
}

}  // namespace qvtx::test
