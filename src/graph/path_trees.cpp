#include "graph/path_trees.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace qvtx {

namespace {

constexpr long group = PathRows::group;
constexpr int half_byte = 15;  // no step, or a place with many links

constexpr std::size_t cache_line = 64;

/// Links called for ahead of their use.
constexpr long ahead = 32;

/// Sources that follow each other and share a sequence.
constexpr long block_size = 8 * group;

std::size_t index(long i) { return static_cast<std::size_t>(i); }

}  // namespace

std::unique_ptr<PathTrees> PathTrees::plant(const MatLinkD& links, long col, std::size_t most_bytes) {
  std::unique_ptr<PathTrees> trees(new PathTrees(links, col));
  if (!trees->measure(most_bytes)) return nullptr;
  trees->grow();
  return trees;
}

/// Sizes of the tables. False when they are too large.
bool PathTrees::measure(std::size_t most_bytes) {
  const std::size_t n = index(graph_.n);
  many_links_.assign(n, -1);
  for (std::size_t p = 0; p < n; ++p) {
    const int links = graph_.first[p + 1] - graph_.first[p];
    if (links >= no_step) return false;
    if (links >= half_byte) many_links_[p] = static_cast<int>(wide_++);
  }
  row_bytes_ = (n + 1) / 2;
  const double bytes = static_cast<double>(n) * static_cast<double>(row_bytes_ + wide_);
  return bytes <= static_cast<double>(most_bytes);
}

void PathTrees::grow() {
  const long n = graph_.n;
  halves_.resize(index(n) * row_bytes_);
  whole_.resize(index(n) * wide_);
  searched_.assign(index(n), false);
  sequence_.resize(index((n + block_size - 1) / block_size));
  distance_.resize(index(n));
  std::vector<unsigned char> step(index(n * group));
  std::array<long, group> ends{};
  for (long first = 0; first < n; first += group) {
    const long count = std::min(group, n - first);
    paths_.steps(paths_.order().data() + first, count, step.data(), ends.data());
    for (long s = 0; s < count; ++s) {
      searched_[index(first + s)] = ends[index(s)] != 1;
      keep(first + s, step.data() + s);
    }
    // The sources in the middle of a block are near all of it.
    if (first % block_size == 0 || first % block_size == block_size / 2) keep_sequence(first / block_size);
  }
}

/// step: every `group`-th number is of this source.
void PathTrees::keep(long source_place, const unsigned char* step) {
  unsigned char* const halves = halves_.data() + index(source_place) * row_bytes_;
  unsigned char* const whole = whole_.data() + index(source_place) * wide_;
  for (long p = 0; p < graph_.n; ++p) {
    const int s = step[p * group];
    const int many = many_links_[index(p)];
    if (many >= 0) whole[many] = static_cast<unsigned char>(s);
    const int half = many >= 0 || s == no_step ? half_byte : s;
    halves[p / 2] = static_cast<unsigned char>(p % 2 == 0 ? half : halves[p / 2] | half << 4);
  }
}

void PathTrees::keep_sequence(long block) {
  std::vector<int>& places = sequence_[index(block)];
  places.resize(index(graph_.n));
  std::iota(places.begin(), places.end(), 0);
  for (long p = 0; p < graph_.n; ++p) distance_[index(p)] = paths_.found(p, 0);
  std::sort(places.begin(), places.end(),
            [this](int a, int b) { return distance_[index(a)] < distance_[index(b)]; });
}

inline void PathTrees::add_up(const Tree& tree, long place, const PathEdge& last) {
  const double before = distance_[index(last.to)];
  if (before >= 0.0) {
    distance_[index(place)] = before + last.length;
  } else {
    climb(tree, place);
  }
}

inline int PathTrees::step(const Tree& tree, long place) const {
  const int half = tree.halves[index(place) / 2] >> (index(place) % 2 * 4) & half_byte;
  if (half != half_byte) return half;
  const int many = many_links_[index(place)];
  return many >= 0 ? tree.whole[many] : no_step;
}

void PathTrees::row(long source, double* dist) {
  const long start = paths_.place(source);
  if (searched_[index(start)]) return paths_.row(source, dist);
  const Tree tree{halves_.data() + index(start) * row_bytes_, whole_.data() + index(start) * wide_};
  for (std::size_t b = 0; b < row_bytes_; b += cache_line) __builtin_prefetch(tree.halves + b);
  std::fill(distance_.begin(), distance_.end(), -1.0);
  distance_[index(start)] = 0.0;
  const std::vector<int>& sequence = sequence_[index(start / block_size)];
  std::array<const PathEdge*, ahead> last;  // called for together, for they lie far from each other
  for (long first = 0; first < graph_.n; first += ahead) {
    const long count = std::min(ahead, graph_.n - first);
    for (long k = 0; k < count; ++k) {
      const long p = sequence[index(first + k)];
      const int s = step(tree, p);
      last[index(k)] = s == no_step ? nullptr : &edge(p, s);
      __builtin_prefetch(last[index(k)]);
    }
    for (long k = 0; k < count; ++k)
      if (last[index(k)] != nullptr) add_up(tree, sequence[index(first + k)], *last[index(k)]);
  }
  for (long p = 0; p < graph_.n; ++p) dist[graph_.number[p]] = distance_[index(p)];
}

/// Adds up the way to a place some of whose predecessors come later in the sequence.
void PathTrees::climb(const Tree& tree, long place) {
  for (; distance_[index(place)] < 0.0; place = edge(place, step(tree, place)).to) way_.push_back(place);
  for (; !way_.empty(); way_.pop_back()) {
    const long p = way_.back();
    const PathEdge& last = edge(p, step(tree, p));
    distance_[index(p)] = distance_[index(last.to)] + last.length;
  }
}

}  // namespace qvtx
