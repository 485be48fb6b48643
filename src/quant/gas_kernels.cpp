// Steps of neural gas on packed prototypes: a vector lane holds a prototype, so that each has the bits of the
// plain loop over its coordinates.

#include "quant/gas_kernels.h"

#include "base/vector_lanes.h"
#include "matrix/distance/packed_block.h"

namespace qvtx::QVTX_ISA {
namespace {

constexpr int block_rows = packed_block_rows;

void move_lanes(double* place, long d, const double* steps, const double* x, const double* next,
                double* sums) {
  const Vec step = load(steps);
  const Bits moving = step == step;
  Vec sum = {};
  if (!any(moving)) {
    for (long k = d - 1; k >= 0; --k) {
      const Vec difference = load(place + k * block_rows) - broadcast(next[k]);
      sum += difference * difference;
    }
  } else {
    for (long k = d - 1; k >= 0; --k) {
      const Vec row = load(place + k * block_rows);
      const Vec moved = moving ? row - step * (row - broadcast(x[k])) : row;
      store(place + k * block_rows, moved);
      const Vec difference = moved - broadcast(next[k]);
      sum += difference * difference;
    }
  }
  store(sums, sum);
}

void move_and_measure(double* packed, long n, long d, const double* steps, const double* x,
                      const double* next, double* sums) {
  for (long first = 0; first < n; first += block_rows)
    for (int l = 0; l < block_rows; l += lanes)
      move_lanes(packed + first * d + l, d, steps + first + l, x, next, sums + first + l);
}

}  // namespace

const GasKernels gas_kernels = {move_and_measure};

}  // namespace qvtx::QVTX_ISA
