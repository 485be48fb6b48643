#include "matrix/distance/all_neighbours.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "matrix/distance/neighbour_search.h"
#include "matrix/distance/row_distances.h"

namespace qvtx {

using namespace distance;

namespace {

/// Rows that search together, a multiple of filter_queries.
constexpr long batch = 64;
/// Blocks of rows scored at a time: they and the scores stay in the nearest caches.
constexpr long chunk_blocks = 32;
/// Scores scanned between two updates of the limit, a multiple of filter_block.
constexpr long piece = 64;

/// Fewer rows than this are searched as fast one by one.
constexpr long batched_rows_from = 100;

}  // namespace

AllNeighbours::AllNeighbours(const MatFullD& rows)
    : rows_(rows),
      filter_(rows.data(),
              Metric::in_force().is_euclidean() && rows.nrow() >= batched_rows_from ? rows.nrow() : 0,
              rows.ncol()) {}

void AllNeighbours::search(long k, const Take& take) {
  const long n = rows_.nrow();
  if (!filter_.usable()) return search_one_by_one(k, take);
  queries_.resize(batch);
  centred_.resize(static_cast<std::size_t>(batch * rows_.ncol()));
  scores_.resize(static_cast<std::size_t>(filter_queries * chunk_blocks * filter_block));
  for (long first = 0; first < n; first += batch) {
    const long count = std::min(batch, n - first);
    search_batch(first, count, std::min(k, n - 1));
    for (long q = 0; q < count; ++q) take(first + q, queries_[static_cast<std::size_t>(q)].list);
  }
}

void AllNeighbours::search_one_by_one(long k, const Take& take) {
  NeighbourSearch search(rows_);
  for (long i = 0; i < rows_.nrow(); ++i) {
    search.search(rows_.row(i), i, k);
    take(i, search.list());
  }
}

void AllNeighbours::search_batch(long first, long count, long k) {
  const long d = rows_.ncol();
  for (long q = 0; q < count; ++q) {
    Query& query = queries_[static_cast<std::size_t>(q)];
    query.list.start(k);
    query.length = filter_kernels().centre(filter_.table(), rows_.row(first + q), centred_.data() + q * d);
    query.sum = no_bound;
    query.score = std::numeric_limits<float>::max();  // places without a row have the score +infinity
  }
  const long blocks = (rows_.nrow() + filter_block - 1) / filter_block;
  for (long block = 0; block < blocks; block += chunk_blocks)
    scan_chunk(block, std::min(chunk_blocks, blocks - block), first, count);
  for (long q = 0; q < count; ++q) queries_[static_cast<std::size_t>(q)].list.sort();
}

void AllNeighbours::scan_chunk(long first_block, long blocks, long first, long count) {
  const long width = blocks * filter_block;
  for (long q = 0; q < count; q += filter_queries) {
    filter_kernels().score(filter_.table(), first_block, blocks, centred_.data() + q * rows_.ncol(),
                           scores_.data());
    for (long s = 0; s < std::min(filter_queries, count - q); ++s)
      scan_scores(queries_[static_cast<std::size_t>(q + s)], first + q + s, first_block * filter_block,
                  scores_.data() + s * width, width);
  }
}

void AllNeighbours::scan_scores(Query& query, long self, long first_row, const float* scores, long count) {
  const FilterKernels& kernels = filter_kernels();
  const double* x = rows_.row(self);
  if (!query.list.full())
    query.score = std::min(query.score, kernels.nearest_limit(filter_.table(), query.length, scores, count,
                                                              query.list.wanted()));
  int places[piece];
  for (long begin = 0; begin < count; begin += piece) {
    const long found = kernels.select(scores + begin, std::min(piece, count - begin), query.score, places);
    if (found == 0) continue;
    for (long c = 0; c < found; ++c) {
      const long row = first_row + begin + places[c];
      const double* y = rows_.row(row);
      double sum = 0.0;
      for (long k = rows_.ncol() - 1; k >= 0; --k) sum += (y[k] - x[k]) * (y[k] - x[k]);
      if (sum <= query.sum && row != self) query.list.offer(std::sqrt(sum), row);
    }
    if (!query.list.full()) continue;
    query.sum = query.list.farthest_sum();
    query.score = kernels.limit(filter_.table(), query.length, query.sum);
  }
}

}  // namespace qvtx
