// Packed rows in a storage that is used again.

#include "matrix/packed_rows.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

namespace qvtx {
namespace {

/// Every place of the blocks in use: the rows' numbers, +infinity where there is no row.
void expect_packed(const PackedRows& packed, const std::vector<double>& rows, long n, long d) {
  constexpr long block = PackedRows::block_rows;
  ASSERT_EQ(n, packed.size());
  for (long i = 0; i < (n + block - 1) / block * block; ++i) {
    for (long k = 0; k < d; ++k) {
      const double expected =
          i < n ? rows[static_cast<std::size_t>(i * d + k)] : std::numeric_limits<double>::infinity();
      EXPECT_EQ(expected, packed.data()[(i / block * d + k) * block + i % block])
          << n << ' ' << i << ' ' << k;
    }
  }
}

TEST(PackedRows, HoldNothingOfTheRowsBefore) {
  std::vector<double> rows(400);
  for (std::size_t c = 0; c < rows.size(); ++c) rows[c] = 0.5 * static_cast<double>(c);
  PackedRows packed;
  ASSERT_TRUE(packed.assign(rows.data(), 40, 5));
  const double* storage = packed.data();
  for (const auto& [n, d] : {std::pair{40L, 5L}, {11L, 3L}, {3L, 7L}, {0L, 2L}, {64L, 3L}}) {
    ASSERT_TRUE(packed.assign(rows.data(), n, d));
    EXPECT_EQ(storage, packed.data()) << "room for 200 numbers suffices";
    expect_packed(packed, rows, n, d);
  }
  ASSERT_TRUE(packed.assign(rows.data(), 9, 4));
  for (long i = 9; i < 100; ++i) {  // beyond the room that there is
    ASSERT_TRUE(packed.append(rows.data() + i * 4));
    expect_packed(packed, rows, i + 1, 4);
  }
}

}  // namespace
}  // namespace qvtx
