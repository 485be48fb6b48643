#include "base/random.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>

#include "base/elementary.h"

namespace qvtx {
namespace {

constexpr int word_count = 624;
constexpr int middle = 397;
constexpr int never_seeded = word_count + 1;

RandomState generator = {{}, never_seeded};

/// The word that follows from the upper bit of `high`, the lower 31 bits of `low` and the word `far` ahead.
std::uint32_t twist(std::uint32_t high, std::uint32_t low, std::uint32_t far) {
  const std::uint32_t y = (high & 0x80000000U) | (low & 0x7fffffffU);
  return far ^ (y >> 1) ^ ((y & 1U) != 0 ? 0x9908b0dfU : 0U);
}

void next_words() {
  std::uint32_t* mt = generator.mt;
  int i = 0;
  for (; i < word_count - middle; ++i) mt[i] = twist(mt[i], mt[i + 1], mt[i + middle]);
  for (; i < word_count - 1; ++i) mt[i] = twist(mt[i], mt[i + 1], mt[i + middle - word_count]);
  mt[i] = twist(mt[i], mt[0], mt[middle - 1]);
  generator.mti = 0;
}

}  // namespace

std::uint32_t ul_rand() {
  if (generator.mti >= word_count) {
    if (generator.mti == never_seeded) setseed(default_seed);
    next_words();
  }
  std::uint32_t y = generator.mt[generator.mti++];
  y ^= y >> 11;
  y ^= (y << 7) & 0x9d2c5680U;
  y ^= (y << 15) & 0xefc60000U;
  y ^= y >> 18;
  return y;
}

double u_rand() { return ul_rand() / 4294967295.0; }

long draw_index(long n) { return std::labs(static_cast<long>(static_cast<std::int32_t>(ul_rand())) % n); }

double gauss_rand() {
  // A draw of 0, one in 2^32, would make the number infinite and spoil every mean it enters: it counts as the
  // next one.
  const double u1 = std::max(u_rand(), 1.0 / 4294967295.0);
  const double u2 = u_rand();
  return std::sqrt(-2.0 * fixed_log(u1)) * fixed_cos(6.2831853076 * u2);
}

void setseed(unsigned long seed) {
  std::uint32_t* mt = generator.mt;
  mt[0] = static_cast<std::uint32_t>(seed);
  for (int i = 1; i < word_count; ++i) mt[i] = 69069U * mt[i - 1];
  generator.mti = word_count;
}

unsigned long clock_seed() {
  std::time_t now = 0;
  while (now == 0) now = std::time(nullptr);
  return static_cast<unsigned long>(now);
}

void setseed() { setseed(clock_seed()); }

RandomState getrandom() { return generator; }

void setrandom(const RandomState& state) { generator = state; }

}  // namespace qvtx
