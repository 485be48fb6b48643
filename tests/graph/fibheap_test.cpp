#include "graph/fibheap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

#include "graph_support.h"

namespace qvtx {
namespace {

using test::Numbers;
using Node = HeapNode<double>;

/// The heap beside an ordered map of its nodes.
class CheckedHeap {
 public:
  void insert(Node* node) {
    heap_.Insert(node);
    content_.emplace(node->key, node);
    check();
  }
  void extract() {
    auto* node = static_cast<Node*>(heap_.ExtractMin());
    ASSERT_EQ(content_.empty(), node == nullptr);
    if (node == nullptr) return;
    ASSERT_EQ(content_.begin()->first, node->key);
    forget(node);
    check();
  }
  void decrease(Node* node, double key) {
    Node offer;
    offer = key;
    const double kept = std::min(node->key, key);
    forget(node);
    heap_.DecreaseKey(node, offer);
    ASSERT_EQ(kept, node->key);
    content_.emplace(node->key, node);
    check();
  }
  void remove(Node* node) {
    const double key = node->key;
    forget(node);
    heap_.Delete(node);
    ASSERT_EQ(key, node->key);
    check();
  }
  void unite(CheckedHeap& other) {
    heap_.Union(&other.heap_);
    content_.merge(other.content_);
    check();
    other.check();
  }
  Node* pick(Numbers& numbers) const {
    return content_.empty()
               ? nullptr
               : std::next(content_.begin(), numbers.below(static_cast<long>(content_.size())))->second;
  }

 private:
  void forget(Node* node) {
    auto place = content_.find(node->key);
    while (place->second != node) ++place;
    content_.erase(place);
  }
  void check() const {
    ASSERT_EQ(static_cast<long>(content_.size()), heap_.count());
    const auto* least = static_cast<const Node*>(heap_.Minimum());
    ASSERT_EQ(content_.empty(), least == nullptr);
    if (least != nullptr) {
      ASSERT_EQ(content_.begin()->first, least->key);
    }
  }

  FibHeap heap_;
  std::multimap<double, Node*> content_;
};

TEST(FibHeap, RandomOperationsAgreeWithAnOrderedMap) {
  Numbers numbers(1);
  std::vector<std::unique_ptr<Node>> nodes;
  CheckedHeap heaps[2];
  for (long step = 0; step < 12000 && !testing::Test::HasFailure(); ++step) {
    CheckedHeap& heap = heaps[numbers.below(2)];
    Node* node = heap.pick(numbers);
    const long what = numbers.below(100);
    if (what < 45) {
      nodes.push_back(std::make_unique<Node>());
      *nodes.back() = static_cast<double>(numbers.below(1000));  // many equal keys
      heap.insert(nodes.back().get());
    } else if (what < 65) {
      heap.extract();
    } else if (what < 90 && node != nullptr) {
      heap.decrease(node, node->key - static_cast<double>(numbers.below(400)) + 20.0);
    } else if (what < 98 && node != nullptr) {
      heap.remove(node);
    } else if (step % 500 == 0) {
      heap.unite(heaps[1]);
    }
  }
}

TEST(FibHeap, ExtractsALargeHeapInOrder) {
  Numbers numbers(2);
  std::vector<Node> nodes(100000);
  FibHeap heap;
  for (Node& node : nodes) {
    node = static_cast<double>(numbers.below(1L << 40));
    heap.Insert(&node);
  }
  double last = -1.0;
  for (long k = 0; k < 100000; ++k) {
    auto* node = static_cast<Node*>(heap.ExtractMin());
    ASSERT_LE(last, node->key);
    last = node->key;
    // Cuts at random places, so that trees lose children all the time.
    Node offer;
    offer = last + static_cast<double>(numbers.below(1000));
    Node& other = nodes[static_cast<std::size_t>(numbers.below(100000))];
    if (other.key > offer.key) heap.DecreaseKey(&other, offer);
  }
  EXPECT_EQ(nullptr, heap.ExtractMin());
}

TEST(FibHeap, DeletedNodeComparesByItsKeyAgain) {
  Node low, high;
  low = 1.0;
  high = 2.0;
  FibHeap heap;
  heap.Insert(&low);
  heap.Insert(&high);
  heap.Delete(&high);
  EXPECT_FALSE(high < low);
  EXPECT_TRUE(low < high);
  heap.Insert(&high);
  EXPECT_EQ(&low, heap.ExtractMin());
  EXPECT_EQ(&high, heap.ExtractMin());
}

TEST(HeapNode, StartsUnreachedAndAssignsTheKeyAlone) {
  Node a, b;
  EXPECT_EQ(std::numeric_limits<double>::infinity(), a.key);
  EXPECT_EQ(-1, a.index);
  b = 3.0;
  b.index = 7;
  static_cast<FibHeapNode&>(a) = b;  // the virtual form
  EXPECT_EQ(3.0, a.key);
  EXPECT_EQ(-1, a.index);
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a < b);
  EXPECT_FALSE(b < a);
}

class CountedNode : public HeapNode<double> {
 public:
  explicit CountedNode(long& alive) : alive_(alive) { ++alive_; }
  ~CountedNode() override { --alive_; }

 private:
  long& alive_;
};

TEST(FibHeap, OwningHeapDeletesTheNodesLeft) {
  long alive = 0;
  CountedNode on_stack(alive);
  {
    FibHeap keeps_nothing;
    keeps_nothing.Insert(&on_stack);
    FibHeap owner(true), joined;
    for (long k = 0; k < 20; ++k) (k % 2 == 0 ? owner : joined).Insert(new CountedNode(alive));
    delete owner.ExtractMin();
    owner.Union(&joined);
    owner.Union(&owner);
    owner.Union(nullptr);
    EXPECT_EQ(19, owner.count());
    EXPECT_EQ(0, joined.count());
  }
  EXPECT_EQ(1, alive);
}

}  // namespace
}  // namespace qvtx
