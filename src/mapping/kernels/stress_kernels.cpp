// The sums of the stress.

#include "mapping/kernels/stress_kernels.h"

#include "mapping/kernels/image_lanes.h"

namespace qvtx::QVTX_ISA {
namespace {

static_assert(group % stress_lanes == 0 && stress_lanes % lanes == 0);

/// Vectors that hold one partial sum of each kind.
constexpr int sum_parts = stress_lanes / lanes;

template <class Distances>
void add_by(const Distances& distances, const PairRow& row, long n, StressSums* sums) {
  Vec error[sum_parts], scale[sum_parts];
  for (int part = 0; part < sum_parts; ++part) {
    error[part] = load(sums->error + part * lanes);
    scale[part] = load(sums->scale + part * lanes);
  }
  for_groups(
      row.input, row.soon, n, [&](long j, const Vec(&from)[parts]) __attribute__((always_inline)) {
        Vec to[parts];
        distances.get(j, to);
        for (int part = 0; part < parts; ++part) {
          const Vec t = from[part] - to[part];
          to[part] = t * t / from[part];
        }
        for (int part = 0; part < parts; ++part) {
          const Mask counts = above(from[part], Vec{});
          error[part % sum_parts] += select(counts, to[part], Vec{});
          scale[part % sum_parts] += select(counts, from[part], Vec{});
        }
      });
  for (int part = 0; part < sum_parts; ++part) {
    store(sums->error + part * lanes, error[part]);
    store(sums->scale + part * lanes, scale[part]);
  }
}

void add(const PairRow& row, const ImageView& images, StressSums* sums) {
  const double* origin = images.axes + row.i;
  if (row.d) return add_by(KnownDistances{row.d}, row, images.n, sums);
  if (images.p == 2) return add_by(MeasuredDistances<2>{images, origin}, row, images.n, sums);
  add_by(MeasuredDistances<0>{images, origin}, row, images.n, sums);
}

}  // namespace

const StressKernels stress_kernels = {add};

}  // namespace qvtx::QVTX_ISA
