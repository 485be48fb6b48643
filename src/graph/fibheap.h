#pragma once
// Fibonacci heap (Fredman and Tarjan, "Fibonacci heaps and their uses in improved network optimization
// algorithms", J. ACM 34(3), 1987): the priority queue of the graph searches.

#include <limits>

namespace qvtx {

/// A node of the heap, which links its nodes with each other and never allocates. Nodes are ordered by
/// operator<; one whose `below_all` flag is set compares below every other one. A node belongs to one heap at
/// most.
class FibHeapNode {
 public:
  FibHeapNode() = default;
  FibHeapNode(const FibHeapNode&) = delete;
  virtual ~FibHeapNode() = default;
  /// Copies the key only (this base has none): never the place in a heap or the flag.
  virtual FibHeapNode& operator=(const FibHeapNode& other);
  virtual bool operator==(const FibHeapNode& other) const;
  virtual bool operator<(const FibHeapNode& other) const;

 protected:
  /// True when the flag that makes a node compare below every other one is set on this node / on the given
  /// node.
  bool below_all() const { return below_all_; }
  static bool below_all(const FibHeapNode& node) { return node.below_all_; }

 private:
  friend class FibHeap;
  FibHeapNode* left_ = nullptr;  ///< siblings, in a circle; alone: the node itself
  FibHeapNode* right_ = nullptr;
  FibHeapNode* parent_ = nullptr;
  FibHeapNode* child_ = nullptr;  ///< any one of the children
  int degree_ = 0;                ///< number of children
  bool mark_ = false;             ///< has lost a child since it became a child itself
  bool below_all_ = false;
};

/// A node with a key and a number. Compares by the key alone; a comparison with NaN is false. The nodes of
/// one heap have the same class.
template <class K>
class HeapNode : public FibHeapNode {
 public:
  FibHeapNode& operator=(const FibHeapNode& other) override;
  bool operator==(const FibHeapNode& other) const override;
  bool operator<(const FibHeapNode& other) const override;
  /// The same for two of this class, where the language would not know which operand to ask.
  bool operator==(const HeapNode& other) const { return *this == static_cast<const FibHeapNode&>(other); }
  /// Sets the key. Of a node in a heap the key changes through FibHeap::DecreaseKey only.
  virtual HeapNode& operator=(K key);
  HeapNode& operator=(const HeapNode& other);

  K key = std::numeric_limits<K>::infinity();
  long index = -1;
};

extern template class HeapNode<double>;

/// The heap: insertion, union and decrease in constant, extraction in logarithmic amortised time. Among equal
/// keys the order of the root list decides, which depends on the operations alone and never on addresses.
class FibHeap {
 public:
  /// owns: nodes left at destruction are deleted; otherwise all nodes belong to the caller.
  explicit FibHeap(bool owns = false) : owns_(owns) {}
  virtual ~FibHeap();
  FibHeap(const FibHeap&) = delete;
  FibHeap& operator=(const FibHeap&) = delete;

  /// REQUIRES: the node is in no heap. What it remembers of an earlier heap is forgotten.
  void Insert(FibHeapNode* node);
  /// Takes over all nodes of the other heap, which is empty afterwards. Nothing happens for null and for this
  /// heap.
  void Union(FibHeap* other);
  /// Removes and returns the smallest node; null when the heap is empty.
  FibHeapNode* ExtractMin();
  /// Gives a node of this heap the smaller key; one that is not smaller is ignored. `key` may be the node
  /// itself, when its order has changed already.
  void DecreaseKey(FibHeapNode* node, FibHeapNode& key);
  /// Removes a node of this heap; it keeps its key.
  void Delete(FibHeapNode* node);

  FibHeapNode* Minimum() const { return min_; }
  long count() const { return nodes_; }

 private:
  void _AddToRootList(FibHeapNode* node);
  void _Link(FibHeapNode* child, FibHeapNode* parent);
  void _Cut(FibHeapNode* node, FibHeapNode* parent);
  void _CascadingCut(FibHeapNode* node);
  void _Consolidate();

  FibHeapNode* min_ = nullptr;  ///< smallest root
  long nodes_ = 0;              ///< all nodes
  long trees_ = 0;              ///< roots
  long marked_ = 0;             ///< marked nodes
  bool owns_ = false;
};

}  // namespace qvtx
