#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "graph/matlinkd.h"
#include "graph_support.h"
#include "support/temporary.h"

namespace qvtx {
namespace {

using test::build;
using test::Edge;
using test::Numbers;

/// The link store as plain lists: per node its link numbers, most recent first, and per link its ends and its
/// value.
class PlainStore {
 public:
  struct Link {
    long a, b;
    double value;
  };

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
    for (auto& [k, link] : links) {
      const long a = renamed(link.a), b = renamed(link.b);
      link.a = std::min(a, b);
      link.b = std::max(a, b);
    }
  }
  void drop_last() {
    for (const long k : std::vector<long>(lists.back())) remove(k);
    lists.pop_back();
  }

  static std::size_t at(long i) { return static_cast<std::size_t>(i); }
  std::vector<std::vector<long>> lists;
  std::map<long, Link> links;
};

/// Link numbers in the list of node i.
template <class T>
std::vector<long> list_of(const MatLinkT<T>& store, long i) {
  std::vector<long> list;
  for (long k = store.head(i); k >= 0 && static_cast<long>(list.size()) <= store.nslot();
       k = store.next(k, i)) {
    list.push_back(k);
  }
  return list;
}

template <class T>
void expect_same(const PlainStore& plain, const MatLinkT<T>& store) {
  ASSERT_EQ(static_cast<long>(plain.lists.size()), store.nnode());
  ASSERT_EQ(static_cast<long>(plain.links.size()), store.nlive());
  for (const auto& [k, link] : plain.links) {
    ASSERT_TRUE(store.live(k));
    ASSERT_EQ(link.a, store.end_a(k));
    ASSERT_EQ(link.b, store.end_b(k));
    ASSERT_EQ(static_cast<T>(link.value), store.getvalue(k, 1));
  }
  for (long i = 0; i < store.nnode(); ++i) {
    const std::vector<long>& list = plain.lists[PlainStore::at(i)];
    ASSERT_EQ(list, list_of(store, i));
    MatFullL neighbours;
    ASSERT_EQ(static_cast<long>(list.size()), store.degree(i, neighbours));
    ASSERT_EQ(store.degree(i), neighbours.nrow());
    double sum = 0.0;
    for (std::size_t r = 0; r < list.size(); ++r) {
      const PlainStore::Link& link = plain.links.at(list[r]);
      ASSERT_EQ(link.a == i ? link.b : link.a, neighbours(static_cast<long>(r), 0));
      sum += link.value;
    }
    ASSERT_EQ(sum, store.sum(i, 1));
  }
}

template <class T>
void random_edit(PlainStore& plain, MatLinkT<T>& store, Numbers& numbers) {
  const long n = store.nnode();
  const long what = n < 2 ? 95 : numbers.below(100);
  if (what < 50) {
    const long i = numbers.below(n), j = numbers.below(n), k = store.add_link(i, j);
    ASSERT_EQ(T{}, store.getvalue(k, 1));
    const long value = numbers.below(9);
    store.setvalue(k, 1, static_cast<T>(value));
    plain.add(k, i, j, static_cast<double>(value));
  } else if (what < 80) {
    const long k = numbers.below(store.nslot() + 2) - 1;
    ASSERT_EQ(plain.remove(k) ? 1 : 0, store.del_link(k));
  } else if (what < 88) {
    const long i = numbers.below(n), j = numbers.below(n);
    store.swaprows(i, j);
    plain.exchange(i, j);
  } else if (what < 94) {
    const long i = numbers.below(n);
    plain.exchange(i, n - 1);
    plain.drop_last();
    ASSERT_EQ(n - 1, store.delrow(i));
  } else if (what < 98) {
    const long added = 1 + numbers.below(6);
    plain.lists.resize(PlainStore::at(n + added));
    ASSERT_EQ(n + added, store.addrow(added));
  } else {
    const long gone = 1 + numbers.below(3);
    for (long k = 0; k < gone && !plain.lists.empty(); ++k) plain.drop_last();
    ASSERT_EQ(std::max(0L, n - gone), store.addrow(-gone));
  }
}

template <class T>
class LinkStoreOf : public testing::Test {};
using Values = testing::Types<long, double>;
TYPED_TEST_SUITE(LinkStoreOf, Values);

TYPED_TEST(LinkStoreOf, RandomEditsAgreeWithPlainLists) {
  Numbers numbers(3);
  MatLinkT<TypeParam> store(2, 2);
  store.addrow(2);
  PlainStore plain;
  plain.lists.resize(2);
  for (long step = 0; step < 4000 && !testing::Test::HasFailure(); ++step) {
    random_edit(plain, store, numbers);
    if (step % 7 == 0) expect_same(plain, store);
  }
}

TEST(LinkStore, ReusesSlotsMostRecentFirst) {
  MatLinkD store;
  build(store, 6, {{5, 2, 1.0}, {0, 1, 2.0}, {2, 5, 3.0}, {3, 4, 4.0}});
  EXPECT_EQ(2, store.get_link(2, 5));  // the later one
  EXPECT_EQ(1, store.del_link(3));
  EXPECT_EQ(0, store.del_link(3));
  EXPECT_EQ(1, store.del_link(1));
  EXPECT_EQ(-1, store.get_link(0, 1));
  EXPECT_EQ(1, store.add_link(0, 5));
  EXPECT_EQ(3, store.add_link(0, 4));
  EXPECT_EQ(4, store.add_link(0, 3));
  store.del_link(2);
  EXPECT_EQ(0, store.addrow(-6));
  store.addrow(2);
  EXPECT_EQ(0, store.add_link(0, 1));  // the free slots went with the last node
}

// ---- Queries ----

TEST(LinkStore, SearchDiscoversInListOrderUpToTheRadius) {
  MatLinkD store;
  build(store, 7, {{0, 1, 1.0}, {0, 2, 1.0}, {1, 3, 1.0}, {2, 4, 1.0}, {4, 3, 1.0}, {3, 5, 1.0}});
  MatFullL order, hops;
  EXPECT_EQ(2, store.nrav(0, order, hops, 1));
  EXPECT_EQ(3, order.nrow());
  EXPECT_EQ(5, store.nrav(0, order, hops, 2147483647));
  const long expected_order[] = {0, 2, 1, 4, 3, 5};  // the link to 2 is the more recent one
  EXPECT_TRUE(std::equal(expected_order, expected_order + 6, order.data()));
  const long expected_hops[] = {0, 1, 1, 2, 2, 3, -1};
  EXPECT_TRUE(std::equal(expected_hops, expected_hops + 7, hops.data()));
  EXPECT_EQ(0, store.nrav(0, order, hops, 0));

  MatFullL mark;
  EXPECT_EQ(3, store.nrnv(3, mark));
  const long expected_mark[] = {-1, 1, -1, 0, 1, 1, -1};
  EXPECT_TRUE(std::equal(expected_mark, expected_mark + 7, mark.data()));
}

/// The definition of the components, with one search per component and a pool whose last entry fills the
/// gaps.
std::vector<long> plain_components(const MatLinkD& store) {
  std::vector<long> comp(static_cast<std::size_t>(store.nnode()), -1), pool(comp.size());
  std::iota(pool.begin(), pool.end(), 0L);
  MatFullL order, hops;
  for (long number = 0; !pool.empty(); ++number) {
    store.nrav(pool[0], order, hops, 2147483647);
    for (long r = 0; r < order.nrow(); ++r) {
      comp[static_cast<std::size_t>(order(r, 0))] = number;
      *std::find(pool.begin(), pool.end(), order(r, 0)) = pool.back();
      pool.pop_back();
    }
  }
  return comp;
}

TEST(LinkStore, ComponentsAreNumberedInPoolOrder) {
  MatLinkD store;
  MatFullL comp;
  Numbers numbers(4);
  for (long round = 0; round < 50; ++round) {
    const long n = 1 + numbers.below(40);
    test::build_random(store, n, numbers.below(n + 1), 3, numbers);
    const long count = store.connex(comp);
    const std::vector<long> plain = plain_components(store);
    ASSERT_EQ(plain, std::vector<long>(comp.data(), comp.data() + n));
    ASSERT_EQ(*std::max_element(plain.begin(), plain.end()) + 1, count);
  }
}

using Pairs = std::set<std::pair<long, long>>;

/// Kruskal's tree of the component of root: links by (length, number), added when they join two trees.
Pairs kruskal(const MatLinkD& store, long root) {
  std::vector<std::pair<double, long>> order;
  for (long k = 0; k < store.nslot(); ++k) {
    if (store.live(k)) order.emplace_back(store.getvalue(k, 1), k);
  }
  std::sort(order.begin(), order.end());
  std::vector<long> tree(static_cast<std::size_t>(store.nnode()));
  std::iota(tree.begin(), tree.end(), 0L);
  const auto at = [&](long i) { return tree[static_cast<std::size_t>(i)]; };
  Pairs chosen;
  for (const auto& [length, k] : order) {
    const long a = at(store.end_a(k)), b = at(store.end_b(k));
    if (a == b) continue;
    std::replace(tree.begin(), tree.end(), b, a);
    chosen.emplace(store.end_a(k), store.end_b(k));
  }
  std::erase_if(chosen, [&](const std::pair<long, long>& link) { return at(link.first) != at(root); });
  return chosen;
}

TEST(LinkStore, SpanningTreeIsKruskalsAmongTies) {
  Numbers numbers(5);
  MatLinkD store;
  for (long round = 0; round < 100; ++round) {
    const long n = 2 + numbers.below(60);
    test::build_random(store, n, 3 * n, 4, numbers);
    const long root = numbers.below(n);
    MatFullL parent;
    const long count = store.mst(root, 1, parent);
    Pairs found;
    for (long i = 0; i < n; ++i) {
      if (parent(i, 0) >= 0) found.insert(std::minmax(i, parent(i, 0)));
    }
    ASSERT_EQ(kruskal(store, root), found);
    ASSERT_EQ(static_cast<long>(found.size()), count);
    ASSERT_EQ(-1, parent(root, 0));
  }
}

TEST(LinkStore, PartKeepsTheLinksAmongSelectedNodes) {
  MatLinkD whole, part;
  build(whole, 6, {{0, 1, 1.0}, {1, 2, 2.0}, {2, 3, 3.0}, {0, 3, 4.0}, {4, 5, 5.0}});
  whole.del_link(1);
  MatFullL sel(3, 2), map;
  sel.setrows(3, 0);
  sel(0, 1) = 3;
  sel(1, 1) = 0;
  sel(2, 1) = 2;
  part.copy_vss(whole, map, sel, 1);
  EXPECT_EQ(3, part.nnode());
  EXPECT_EQ(2, part.nlive());
  EXPECT_EQ(3.0, part.getvalue(part.get_link(0, 2), 1));
  EXPECT_EQ(4.0, part.getvalue(part.get_link(0, 1), 1));
  const long expected[] = {1, -1, 2, 0, -1, -1};
  EXPECT_TRUE(std::equal(expected, expected + 6, map.data()));
}

// ---- Errors ----

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
      {"l95", "argument 2 out of range : 4", [&] { store.setgrd(0, 2, 2, 0); }},
  };
  for (const auto& [code, detail, call] : cases) {
    const std::string expected =
        std::string("class MatLinkT: error ") + code + "\n[^\n]*value of " + detail + "\n";
    EXPECT_EXIT(
        {
          os.stream = &std::cerr;
          call();
        },
        testing::ExitedWithCode(0), expected);
  }
}

// ---- Files ----

using test::temporary;

std::string content(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(LinkStore, TextHoldsOneLinePerLiveLink) {
  MatLinkT<long> store(3, 1);
  store.addrow(3);
  store.setvalue(store.add_link(1, 0), 0, 7);
  store.add_link(0, 2);
  store.setvalue(store.add_link(2, 1), 0, -5);
  store.del_link(1);
  const std::string name = temporary("text");
  ASSERT_EQ(1, store.save_asc(name.c_str(), 0, 1));
  EXPECT_EQ(
      "     3\t     0\t     0\t\n"
      "     2\t     0\t     0\t\n"
      "         0\t         1\t         7\t\n"
      "         1\t         2\t        -5\t\n",
      content(name));

  std::remove(name.c_str());
}

std::string snapshot(const MatLinkD& store) {
  const std::string name = temporary("snapshot");
  EXPECT_EQ(1, store.save_bin(name.c_str(), 0));
  const std::string bytes = content(name);
  std::remove(name.c_str());
  return bytes;
}

int load(MatLinkD& store, const std::string& bytes) {
  std::FILE* f = std::tmpfile();
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::rewind(f);
  const int result = store.load_bin(f);
  std::fclose(f);
  return result;
}

/// A ring of five nodes and a loose one, with two free slots, a double link and a link of a node to itself.
void build_sample(MatLinkD& store) {
  build(store, 6,
        {{0, 1, 1.0}, {1, 2, 2.0}, {2, 3, 3.0}, {3, 4, 4.0}, {4, 0, 5.0}, {0, 2, 6.0}, {0, 1, 7.0}});
  store.add_link(3, 3);
  store.del_link(5);
  store.del_link(1);
}

TEST(LinkStore, SnapshotLoadsToTheSameBytesAndGoesOn) {
  MatLinkD store, loaded;
  build_sample(store);
  const std::string bytes = snapshot(store);
  ASSERT_EQ(1, load(loaded, bytes));
  EXPECT_EQ(bytes, snapshot(loaded));
  EXPECT_EQ(store.add_link(1, 5), loaded.add_link(1, 5));
  EXPECT_EQ(snapshot(store), snapshot(loaded));
}

std::string with_word(std::string bytes, std::size_t place, long v) {
  for (std::size_t b = 0; b < 4; ++b) bytes[place + b] = static_cast<char>(v >> (8 * b) & 255);
  return bytes;
}

/// Whether every list of the store closes and holds exactly the links of its node.
bool is_sound(const MatLinkD& store) {
  std::size_t entries = 0, ends = 0;
  for (long i = 0; i < store.nnode(); ++i) {
    const std::vector<long> list = list_of(store, i);
    entries += list.size();
    for (const long k : list) {
      if (!store.live(k) || (store.end_a(k) != i && store.end_b(k) != i)) return false;
    }
    if (std::set<long>(list.begin(), list.end()).size() != list.size()) return false;
  }
  for (const Edge& e : test::edges_of(store)) ends += e.a == e.b ? 1u : 2u;
  return entries == ends;
}

TEST(LinkStore, DamagedSnapshotLeavesTheStoreAsItWas) {
  MatLinkD sample, store;
  build_sample(sample);
  build(store, 2, {{0, 1, 9.0}});
  const std::string good = snapshot(sample), before = snapshot(store);
  for (std::size_t length = 0; length < good.size(); ++length) {
    ASSERT_EQ(0, load(store, good.substr(0, length))) << length;
  }
  const std::size_t words = (good.size() - 8u * 3u * 8u - 20u) / 4u;  // up to the values
  const std::size_t row = 4 + 20 + 6 * 4 + 20;                        // where the first link stands
  for (std::size_t w = 0; w < words; ++w) {
    for (const long v : {-7L, -2L, -1L, 0L, 1L, 2L, 5L, 7L, 8L, 2000000000L}) {
      MatLinkD target;
      build(target, 2, {{0, 1, 9.0}});
      const std::string bytes = with_word(good, 4 * w, v);
      if (load(target, bytes) == 0) {
        ASSERT_EQ(before, snapshot(target)) << "word " << w << " = " << v;
        continue;
      }
      ASSERT_TRUE(is_sound(target)) << "word " << w << " = " << v;
      // Of a live link no number can change without a contradiction.
      const std::size_t k = (4 * w - row) / 24;
      const bool of_live_link = 4 * w >= row && k < 8 && sample.live(static_cast<long>(k));
      ASSERT_FALSE(bytes != good && of_live_link) << "word " << w << " = " << v;
    }
  }
}

}  // namespace
}  // namespace qvtx
