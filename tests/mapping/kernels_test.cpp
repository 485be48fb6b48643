// What the plain loops of the mappings cannot tell of the distances between images.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/random.h"
#include "mapping/kernels/cda_kernels.h"
#include "matrix/matfulld.h"
#include "support/levels.h"

namespace qvtx::test {
namespace {

// An image stays where it is only if its output distance is its input distance to the last bit: the step
// makes a move of any other. The roots of sums a^2 + b^2 that lie next to the middle between two numbers are
// the hard ones: with b = 2^-26 k the sum 1 + k^2 2^-52 is exact, and so is the square of a number of 26
// bits.
TEST(Pairs, DistancesAreRoundedRoots) {
  std::vector<double> a = {0.0, 0x1p-537, 0x1p-540, 0x1p-480, 0x1p-479, 0x1p511, 1e-160};
  std::vector<double> b(a.size(), 0.0), input;
  for (long k = 1; k < 3000; ++k) {
    const double scale = std::ldexp(1.0, static_cast<int>(k % 1000) - 530);
    a.push_back(scale * (k % 2 == 0 ? 1.0 : 1.5));
    b.push_back(scale * 0x1p-26 * static_cast<double>(k / 4));
    a.push_back(scale * std::floor(u_rand() * 0x1p26));
    b.push_back(k % 3 == 0 ? scale : 0.0);
    a.push_back(scale * u_rand());
    b.push_back(scale * u_rand());
  }
  const auto n = static_cast<long>(a.size());
  MatFullD images(n, 2);
  images.setrows(n, 0.0);
  for (std::size_t j = 0; j < a.size(); ++j) {
    images(static_cast<long>(j), 0) = a[j];
    images(static_cast<long>(j), 1) = b[j];
    input.push_back(std::sqrt(b[j] * b[j] + a[j] * a[j]));
  }
  for (const Isa isa : instruction_sets())
    for (const bool crowded : {false, true}) {
      const Level level(isa);
      ImageArrays arrays;
      arrays.load(images);
      const PairRow row{0, input.data(), nullptr, input.data()};
      double dmax = 0;
      cda_kernels().move({0, 0x1p600, 0.0, 0x1p400, crowded}, row, arrays.view(), &dmax);
      MatFullD moved;
      moved.copy(images);
      arrays.store(moved);
      for (long c = 0; c < 2 * n; ++c) ASSERT_EQ(moved.data()[c], images.data()[c]) << c;
      ASSERT_EQ(*std::max_element(input.begin(), input.end()), dmax);
    }
}

}  // namespace
}  // namespace qvtx::test
