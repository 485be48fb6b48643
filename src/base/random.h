#pragma once
// The only source of randomness: the MT19937 generator with the seeding of its first publication.
// Matsumoto and Nishimura, "Mersenne Twister", ACM TOMACS 8(1), 1998; the multiplier 69069 is Knuth's.

#include <cstdint>

namespace qvtx {

/// Seed of a deterministic run, and of a generator that was never seeded.
inline constexpr unsigned long default_seed = 4357;

/// Next 32-bit number.
std::uint32_t ul_rand();
/// ul_rand() / 4294967295.0, in 0..1, both ends included.
double u_rand();
/// |r mod n| of the next number r read as a signed 32-bit integer. REQUIRES: n > 0.
long draw_index(long n);
/// sqrt(-2 ln u1) cos(6.2831853076 u2) of two uniform draws, u1 first; a u1 of 0 counts as the smallest
/// positive one. Box and Muller, Ann. Math. Stat. 29(2), 1958.
double gauss_rand();

/// mt[0] = seed, mt[i] = 69069 mt[i-1], all modulo 2^32.
void setseed(unsigned long seed);
/// Seeds with the time in seconds, read again while it is 0.
void setseed();
/// The current time in seconds, never 0: the seed of `setseed()`.
unsigned long clock_seed();

/// State of the generator, so that tests and tools can predict draws without disturbing them.
struct RandomState {
  std::uint32_t mt[624];
  int mti;  ///< next word; 624 when all are used up, 625 for a generator that was never seeded
};
RandomState getrandom();
void setrandom(const RandomState& state);

}  // namespace qvtx
