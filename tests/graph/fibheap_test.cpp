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
  }
  void extract() {
    auto* node = static_cast<Node*>(heap_.ExtractMin());
    ASSERT_EQ(content_.empty(), node == nullptr);
    if (node == nullptr) return;
    ASSERT_EQ(content_.begin()->first, node->key);
    forget(node);
  }
  void decrease(Node* node, double key) {
    Node offer;
    offer = key;
    const double kept = std::min(node->key, key);
    forget(node);
    heap_.DecreaseKey(node, offer);
    ASSERT_EQ(kept, node->key);
    content_.emplace(kept, node);
  }
  void remove(Node* node) {
    const double key = node->key;
    forget(node);
    heap_.Delete(node);
    ASSERT_EQ(key, node->key);
  }
  void unite(CheckedHeap& other) {
    heap_.Union(&other.heap_);
    content_.merge(other.content_);
  }
  Node* pick(Numbers& numbers) const {
    if (content_.empty()) return nullptr;
    return std::next(content_.begin(), numbers.below(static_cast<long>(content_.size())))->second;
  }
  void check() const {
    ASSERT_EQ(static_cast<long>(content_.size()), heap_.count());
    const auto* least = static_cast<const Node*>(heap_.Minimum());
    ASSERT_EQ(content_.empty(), least == nullptr);
    ASSERT_TRUE(least == nullptr || content_.begin()->first == least->key);
  }

 private:
  void forget(Node* node) {
    content_.erase(
        std::find(content_.begin(), content_.end(), std::pair<const double, Node*>(node->key, node)));
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
      if (what % 2 == 0) heap.insert(node);  // it compares by its key again
    } else if (step % 500 == 0) {
      heap.unite(heaps[1]);
    }
    for (const CheckedHeap& each : heaps) each.check();
  }
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
    FibHeap keeps_nothing, owner(true), joined;
    keeps_nothing.Insert(&on_stack);
    for (long k = 0; k < 20; ++k) (k % 2 == 0 ? owner : joined).Insert(new CountedNode(alive));
    delete owner.ExtractMin();
    owner.Union(&joined);
    owner.Union(&owner);
    EXPECT_EQ(19, owner.count());
  }
  EXPECT_EQ(1, alive);
}

}  // namespace
}  // namespace qvtx
