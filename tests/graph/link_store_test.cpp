#include <numeric>

#include "graph/graph_support.h"

namespace qvtx {
namespace {

using test::build;
using test::contents;
using test::Edge;
using test::load_record;
using test::Numbers;
using test::record_of;

std::size_t at(long i) { return static_cast<std::size_t>(i); }

/// The link store as plain lists: per node its link numbers, most recent first, and per link its ends and its
/// value.
struct PlainStore {
  std::vector<std::vector<long>> lists;
  std::map<long, Edge> links;

  void add(long k, long i, long j, double value) {
    links[k] = {std::min(i, j), std::max(i, j), value};
    lists[at(i)].insert(lists[at(i)].begin(), k);
    if (i != j) lists[at(j)].insert(lists[at(j)].begin(), k);
  }
  bool remove(long k) {
    for (std::vector<long>& list : lists) std::erase(list, k);
    return links.erase(k) > 0;
  }
  void exchange(long i, long j) {
    std::swap(lists[at(i)], lists[at(j)]);
    const auto renamed = [i, j](long x) { return x == i ? j : x == j ? i : x; };
    for (auto& [k, link] : links)
      std::tie(link.a, link.b) = std::pair(std::minmax({renamed(link.a), renamed(link.b)}));
  }
  void drop_last() {
    for (const long k : std::vector<long>(lists.back())) remove(k);
    lists.pop_back();
  }
};

/// Link numbers in the list of node i.
std::vector<long> list_of(const MatLinkD& store, long i) {
  std::vector<long> list;
  for (long k = store.head(i); k >= 0 && std::ssize(list) <= store.nslot(); k = store.next(k, i))
    list.push_back(k);
  return list;
}

void expect_same(const PlainStore& plain, const MatLinkD& store) {
  ASSERT_EQ(std::ssize(plain.lists), store.nnode());
  ASSERT_EQ(std::ssize(plain.links), store.nlive());
  for (const auto& [k, link] : plain.links) {
    ASSERT_TRUE(store.live(k)) << k;
    ASSERT_EQ(link.a, store.end_a(k));
    ASSERT_EQ(link.b, store.end_b(k));
    ASSERT_EQ(link.length, store.getvalue(k, 1));
  }
  for (long i = 0; i < store.nnode(); ++i) {
    const std::vector<long>& list = plain.lists[at(i)];
    ASSERT_EQ(list, list_of(store, i));
    MatFullL neighbours;
    ASSERT_EQ(std::ssize(list), store.degree(i, neighbours));
    ASSERT_EQ(store.degree(i), neighbours.nrow());
    double sum = 0.0;
    for (long r = 0; r < neighbours.nrow(); ++r) {
      const Edge& link = plain.links.at(list[at(r)]);
      ASSERT_EQ(link.a == i ? link.b : link.a, neighbours(r, 0));
      sum += link.length;
    }
    ASSERT_EQ(sum, store.sum(i, 1));
  }
}

void random_edit(PlainStore& plain, MatLinkD& store, Numbers& numbers) {
  const long n = store.nnode(), what = n < 2 ? 95 : numbers.below(100);
  const long i = n < 2 ? 0 : numbers.below(n), j = n < 2 ? 0 : numbers.below(n);
  if (what < 50) {
    const long k = store.add_link(i, j);
    ASSERT_EQ(0.0, store.getvalue(k, 1));
    store.setvalue(k, 1, static_cast<double>(what));
    plain.add(k, i, j, static_cast<double>(what));
  } else if (what < 80) {
    const long k = numbers.below(store.nslot() + 2) - 1;
    ASSERT_EQ(plain.remove(k) ? 1 : 0, store.del_link(k));
  } else if (what < 88) {
    store.swaprows(i, j);
    plain.exchange(i, j);
  } else if (what < 94) {
    plain.exchange(i, n - 1);
    plain.drop_last();
    ASSERT_EQ(n - 1, store.delrow(i));
  } else if (what < 98) {
    const long added = 1 + numbers.below(6);
    plain.lists.resize(at(n + added));
    ASSERT_EQ(n + added, store.addrow(added));
  } else {
    const long gone = 1 + numbers.below(3);
    for (long k = 0; k < gone && !plain.lists.empty(); ++k) plain.drop_last();
    ASSERT_EQ(std::max(0L, n - gone), store.addrow(-gone));
  }
}

TEST(LinkStore, RandomEditsAgreeWithPlainLists) {
  Numbers numbers(3);
  MatLinkD store(2, 2);
  store.addrow(2);
  PlainStore plain;
  plain.lists.resize(2);
  for (long step = 0; step < 8000 && !testing::Test::HasFailure(); ++step) {
    random_edit(plain, store, numbers);
    if (step % 7 == 0) expect_same(plain, store);
  }
}

// ---- Queries ----

TEST(LinkStore, SearchDiscoversInListOrderUpToTheRadius) {
  MatLinkD store;
  build(store, 7, {{0, 1, 1.0}, {0, 2, 1.0}, {1, 3, 1.0}, {2, 4, 1.0}, {4, 3, 1.0}, {3, 5, 1.0}});
  MatFullL order, hops, mark;
  EXPECT_EQ(2, store.nrav(0, order, hops, 1));
  EXPECT_EQ(3, order.nrow());
  EXPECT_EQ(5, store.nrav(0, order, hops, 2147483647));
  EXPECT_EQ((std::vector<long>{0, 2, 1, 4, 3, 5}), contents(order));  // the link to 2 is the more recent one
  EXPECT_EQ((std::vector<long>{0, 1, 1, 2, 2, 3, -1}), contents(hops));
  EXPECT_EQ(0, store.nrav(0, order, hops, 0));
  EXPECT_EQ(3, store.nrnv(3, mark));
  EXPECT_EQ((std::vector<long>{-1, 1, -1, 0, 1, 1, -1}), contents(mark));
}

/// The definition of the components, with one search per component and a pool whose last entry fills the
/// gaps.
std::vector<long> plain_components(const MatLinkD& store) {
  std::vector<long> comp(at(store.nnode()), -1), pool(comp.size());
  std::iota(pool.begin(), pool.end(), 0L);
  MatFullL order, hops;
  for (long number = 0; !pool.empty(); ++number) {
    store.nrav(pool[0], order, hops, 2147483647);
    for (const long node : contents(order)) {
      comp[at(node)] = number;
      *std::find(pool.begin(), pool.end(), node) = pool.back();
      pool.pop_back();
    }
  }
  return comp;
}

using Pairs = std::set<std::pair<long, long>>;

/// Kruskal's tree of the component of root: links by (length, number), added when they join two trees.
Pairs kruskal(const MatLinkD& store, long root) {
  std::vector<std::pair<double, long>> order;
  for (long k = 0; k < store.nslot(); ++k) {
    if (store.live(k)) order.emplace_back(store.getvalue(k, 1), k);
  }
  std::sort(order.begin(), order.end());
  std::vector<long> tree(at(store.nnode()));
  std::iota(tree.begin(), tree.end(), 0L);
  Pairs chosen;
  for (const auto& [length, k] : order) {
    const long a = tree[at(store.end_a(k))], b = tree[at(store.end_b(k))];
    if (a == b) continue;
    std::replace(tree.begin(), tree.end(), b, a);
    chosen.emplace(store.end_a(k), store.end_b(k));
  }
  std::erase_if(chosen, [&](const auto& link) { return tree[at(link.first)] != tree[at(root)]; });
  return chosen;
}

TEST(LinkStore, ComponentsAndSpanningTreesAreThoseOfTheirDefinitionsAmongTies) {
  Numbers numbers(5);
  MatLinkD store;
  for (long round = 0; round < 150; ++round) {
    const long n = 1 + numbers.below(60), root = numbers.below(n);
    test::build_random(store, n, round % 3 == 0 ? numbers.below(n + 1) : 3 * n, 4, numbers);
    MatFullL comp, parent;
    const long count = store.connex(comp), links = store.mst(root, 1, parent);
    const std::vector<long> plain = plain_components(store);
    ASSERT_EQ(plain, contents(comp));
    ASSERT_EQ(*std::max_element(plain.begin(), plain.end()) + 1, count);
    Pairs found;
    for (long i = 0; i < n; ++i) {
      if (parent(i, 0) >= 0) found.insert(std::minmax(i, parent(i, 0)));
    }
    ASSERT_EQ(kruskal(store, root), found);
    ASSERT_EQ(std::ssize(found), links);
    ASSERT_EQ(-1, parent(root, 0));
  }
}

TEST(LinkStore, PartKeepsTheLinksAmongSelectedNodes) {
  MatLinkD whole, part;
  build(whole, 6, {{0, 1, 1.0}, {1, 2, 2.0}, {2, 3, 3.0}, {0, 3, 4.0}, {4, 5, 5.0}});
  whole.del_link(1);
  MatFullL sel(4, 2), map;
  sel.setrows(4, 0);
  sel(0, 1) = sel(3, 1) = 3;  // the first place counts
  sel(2, 1) = 2;
  part.copy_vss(whole, map, sel, 1);
  EXPECT_EQ(4, part.nnode());
  EXPECT_EQ(2, part.nlive());
  EXPECT_EQ(3.0, part.getvalue(part.get_link(0, 2), 1));
  EXPECT_EQ(4.0, part.getvalue(part.get_link(0, 1), 1));
  EXPECT_EQ((std::vector<long>{1, -1, 2, 0, -1, -1}), contents(map));
}

TEST(LinkStoreDeathTest, ReportsTheOperationAndTheArgument) {
  MatFullL out;
  MatFullD points(2, 2), data(1, 3), dist;
  points.setrows(2, 0.0);
  data.setrows(1, 0.0);
  MatLinkD store;
  build(store, 2, {{0, 1, 1.0}});
  const std::tuple<const char*, const char*, std::function<void()>> cases[] = {
      {"g102", "argument 1 out of range : 0", [&] { MatLinkD bad(1, 1, 0); }},
      {"g104", "argument 2 out of range : 3", [&] { store.add_link(0, 3); }},
      {"a1", "argument 3 out of range : 3", [&] { store.sum(0, 3); }},
      {"l901", "argument 2 out of range : 3", [&] { store.mst(0, 3, out); }},
      {"l1001", "argument 1 out of range : 2", [&] { store.gdav(2, 1, out, dist, 1.0); }},
      {"l94", "argument 3 out of range : 3", [&] { store.d_link(0, points, data, 1, 1.0); }},
      {"l95", "argument 2 out of range : 4", [&] { store.setgrd(0, 2, 2, 0); }}};
  for (const auto& [code, detail, call] : cases) {
    const std::string expected =
        std::string("class MatLinkT: error ") + code + "\n[^\n]*value of " + detail + "\n";
    EXPECT_FATAL(call(), expected);
  }
}

// ---- Files ----

/// A ring of five nodes and a loose one, with two free slots, a double link and a link of a node to itself.
MatLinkD sample() {
  MatLinkD store;
  build(store, 6,
        {{0, 1, 1.0}, {1, 2, 2.0}, {2, 3, 3.0}, {3, 4, 4.0}, {4, 0, 5.0}, {0, 2, 6.0}, {0, 1, 7.0}});
  store.add_link(3, 3);
  store.del_link(5);
  store.del_link(1);
  return store;
}

std::string with_word(std::string bytes, std::size_t place, long v) {
  for (std::size_t b = 0; b < 4; ++b) bytes[place + b] = static_cast<char>(v >> (8 * b) & 255);
  return bytes;
}

TEST(LinkStore, DamagedSnapshotLeavesTheStoreAsItWas) {
  const MatLinkD whole = sample();
  MatLinkD store;
  build(store, 2, {{0, 1, 9.0}});
  const std::string good = record_of(whole), before = record_of(store);
  for (std::size_t length = 0; length < good.size(); ++length)
    ASSERT_EQ(0, load_record(store, good.substr(0, length))) << length;
  // `free`, then three blocks, each behind a head of five integers: the heads of 6 lists, and 8 links.
  constexpr std::size_t nodes = 6, slots = nodes + 6 + 5, end = slots + 8 * 6;
  for (std::size_t w = 0; w < end; ++w) {
    for (const long v : {-7L, -2L, -1L, 0L, 1L, 2L, 5L, 7L, 8L, 2000000000L}) {
      MatLinkD target;
      build(target, 2, {{0, 1, 9.0}});
      const std::string bytes = with_word(good, 4 * w, v);
      const int loaded = load_record(target, bytes);
      EXPECT_TRUE(loaded == 1 || record_of(target) == before) << "word " << w << " = " << v;
      // Only the room and the increment in a head, and the unused columns of a free slot, can be any number.
      const bool head = w < nodes ? w > 0 : w >= nodes + 6 && w < slots;
      const std::size_t column = (w - slots) % 6;
      const bool unused =
          w >= slots && !whole.live(static_cast<long>((w - slots) / 6)) && column != 0 && column != 2;
      EXPECT_TRUE(loaded == 0 || bytes == good || head || unused) << "word " << w << " = " << v;
    }
  }
}

}  // namespace
}  // namespace qvtx
