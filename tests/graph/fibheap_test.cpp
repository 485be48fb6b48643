#include "graph/fibheap.h"

#include <memory>

#include "graph/graph_support.h"

namespace qvtx {
namespace {

using test::Numbers;
using Node = HeapNode<double>;

/// A heap beside an ordered map of its nodes.
struct CheckedHeap {
  FibHeap heap;
  std::multimap<double, Node*> content;

  void add(Node* node) { content.emplace(node->key, node); }
  void forget(Node* node) {
    content.erase(std::find(content.begin(), content.end(), std::pair<const double, Node*>(node->key, node)));
  }
  Node* pick(Numbers& numbers) {
    if (content.empty()) return nullptr;
    return std::next(content.begin(), numbers.below(static_cast<long>(content.size())))->second;
  }
  void check() const {
    ASSERT_EQ(static_cast<long>(content.size()), heap.count());
    const auto* least = static_cast<const Node*>(heap.Minimum());
    ASSERT_EQ(content.empty(), least == nullptr);
    ASSERT_TRUE(least == nullptr || content.begin()->first == least->key);
  }
};

TEST(FibHeap, RandomOperationsAgreeWithAnOrderedMap) {
  Numbers numbers(1);
  std::vector<std::unique_ptr<Node>> nodes;
  CheckedHeap heaps[2];
  for (long step = 0; step < 12000 && !testing::Test::HasFailure(); ++step) {
    CheckedHeap& checked = heaps[numbers.below(2)];
    FibHeap& heap = checked.heap;
    Node* node = checked.pick(numbers);
    const long what = numbers.below(100);
    if (what < 45) {
      nodes.push_back(std::make_unique<Node>());
      *nodes.back() = static_cast<double>(numbers.below(1000));  // many equal keys
      heap.Insert(nodes.back().get());
      checked.add(nodes.back().get());
    } else if (what < 65) {
      auto* least = static_cast<Node*>(heap.ExtractMin());
      ASSERT_EQ(node == nullptr, least == nullptr);
      if (least != nullptr) checked.forget(least);
    } else if (what < 90 && node != nullptr) {
      Node offer;
      offer = node->key - static_cast<double>(numbers.below(400)) + 20.0;  // not always smaller
      const double kept = std::min(node->key, offer.key);
      checked.forget(node);
      heap.DecreaseKey(node, offer);
      ASSERT_EQ(kept, node->key);
      checked.add(node);
    } else if (what < 98 && node != nullptr) {
      checked.forget(node);
      heap.Delete(node);
      if (what % 2 != 0) continue;
      heap.Insert(node);  // it compares by its key again
      checked.add(node);
    } else if (what == 98 && &checked == &heaps[0]) {
      heap.Union(&heaps[1].heap);
      checked.content.merge(heaps[1].content);
    }
    for (const CheckedHeap& each : heaps) each.check();
  }
}

struct CountedNode : HeapNode<double> {
  explicit CountedNode(long& number) : alive(number) { ++alive; }
  ~CountedNode() override { --alive; }
  long& alive;
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
