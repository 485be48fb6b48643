#include "graph/fibheap.h"

#include <array>
#include <bit>
#include <utility>

namespace qvtx {

// ---- Nodes ----

FibHeapNode& FibHeapNode::operator=(const FibHeapNode&) { return *this; }

bool FibHeapNode::operator==(const FibHeapNode& other) const { return below_all_ == other.below_all_; }

bool FibHeapNode::operator<(const FibHeapNode& other) const { return below_all_ && !other.below_all_; }

template <class K>
FibHeapNode& HeapNode<K>::operator=(const FibHeapNode& other) {
  key = static_cast<const HeapNode&>(other).key;
  return *this;
}

template <class K>
bool HeapNode<K>::operator==(const FibHeapNode& other) const {
  return below_all() == below_all(other) && key == static_cast<const HeapNode&>(other).key;
}

template <class K>
bool HeapNode<K>::operator<(const FibHeapNode& other) const {
  if (below_all() != below_all(other)) return below_all();
  return key < static_cast<const HeapNode&>(other).key;
}

template <class K>
HeapNode<K>& HeapNode<K>::operator=(K k) {
  key = k;
  return *this;
}

template <class K>
HeapNode<K>& HeapNode<K>::operator=(const HeapNode& other) {
  key = other.key;
  return *this;
}

template class HeapNode<double>;

// ---- Heap ----

FibHeap::~FibHeap() {
  if (!owns_) return;
  while (FibHeapNode* node = ExtractMin()) delete node;
}

/// Puts a lone node into the circle of roots, before the minimum, and makes it the minimum when it is
/// smaller.
void FibHeap::_AddToRootList(FibHeapNode* node) {
  node->parent_ = nullptr;
  if (node->mark_) --marked_;
  node->mark_ = false;
  ++trees_;
  if (min_ == nullptr) {
    node->left_ = node->right_ = node;
    min_ = node;
    return;
  }
  node->right_ = min_;
  node->left_ = min_->left_;
  node->left_->right_ = node;
  min_->left_ = node;
  if (*node < *min_) min_ = node;
}

void FibHeap::Insert(FibHeapNode* node) {
  node->child_ = nullptr;
  node->degree_ = 0;
  node->mark_ = false;
  _AddToRootList(node);
  ++nodes_;
}

void FibHeap::Union(FibHeap* other) {
  if (other == nullptr || other == this || other->min_ == nullptr) return;
  if (min_ == nullptr) {
    min_ = other->min_;
  } else {
    FibHeapNode* last = min_->left_;
    FibHeapNode* other_last = other->min_->left_;
    last->right_ = other->min_;
    other->min_->left_ = last;
    other_last->right_ = min_;
    min_->left_ = other_last;
    if (*other->min_ < *min_) min_ = other->min_;
  }
  nodes_ += std::exchange(other->nodes_, 0);
  trees_ += std::exchange(other->trees_, 0);
  marked_ += std::exchange(other->marked_, 0);
  other->min_ = nullptr;
}

FibHeapNode* FibHeap::ExtractMin() {
  FibHeapNode* out = min_;
  if (out == nullptr) return nullptr;
  // The children become roots one by one; none can replace the minimum, since none is smaller.
  FibHeapNode* child = out->child_;
  for (; out->degree_ > 0; --out->degree_) {
    FibHeapNode* next = child->right_;
    _AddToRootList(child);
    child = next;
  }
  out->child_ = nullptr;
  out->left_->right_ = out->right_;
  out->right_->left_ = out->left_;
  --trees_;
  --nodes_;
  min_ = out->right_ == out ? nullptr : out->right_;
  out->left_ = out->right_ = nullptr;
  if (min_ != nullptr) _Consolidate();
  return out;
}

/// Makes a root (already out of the root list) a child of another root that is not larger.
void FibHeap::_Link(FibHeapNode* child, FibHeapNode* parent) {
  child->parent_ = parent;
  if (parent->child_ == nullptr) {
    child->left_ = child->right_ = child;
    parent->child_ = child;
  } else {
    FibHeapNode* first = parent->child_;
    child->right_ = first;
    child->left_ = first->left_;
    child->left_->right_ = child;
    first->left_ = child;
  }
  ++parent->degree_;
}

/// Joins roots of equal degree until all degrees differ, and finds the minimum anew.
void FibHeap::_Consolidate() {
  // A node of degree k has at least F(k + 2) >= 1.618^k nodes below and including it, so that the degrees
  // stay below 1.4405 log2(nodes) + 1 and 96 suffice for any count of a 64-bit long; only those in reach are
  // cleared.
  std::array<FibHeapNode*, 96> of_degree;
  const long reach = 3 * static_cast<long>(std::bit_width(static_cast<unsigned long>(nodes_))) / 2 + 2;
  for (long k = 0; k < reach && k < 96; ++k) of_degree[static_cast<std::size_t>(k)] = nullptr;

  FibHeapNode* root = min_;
  for (long left = trees_; left > 0; --left) {
    FibHeapNode* next = root->right_;
    FibHeapNode* top = root;
    for (;;) {
      FibHeapNode*& place = of_degree[static_cast<std::size_t>(top->degree_)];
      if (place == nullptr) {
        place = top;
        break;
      }
      FibHeapNode* parent = std::exchange(place, nullptr);
      if (*top < *parent) std::swap(top, parent);  // among equals the earlier root stays on top
      _Link(top, parent);
      top = parent;
    }
    root = next;
  }

  min_ = nullptr;
  trees_ = 0;
  for (long k = 0; k < reach && k < 96; ++k) {
    FibHeapNode* node = of_degree[static_cast<std::size_t>(k)];
    if (node != nullptr) _AddToRootList(node);
  }
}

/// Moves a child to the root list.
void FibHeap::_Cut(FibHeapNode* node, FibHeapNode* parent) {
  if (--parent->degree_ == 0) {
    parent->child_ = nullptr;
  } else {
    node->left_->right_ = node->right_;
    node->right_->left_ = node->left_;
    if (parent->child_ == node) parent->child_ = node->right_;
  }
  _AddToRootList(node);
}

/// A child that loses its first child is marked; one that loses its second is cut, and so on upwards.
void FibHeap::_CascadingCut(FibHeapNode* node) {
  while (FibHeapNode* parent = node->parent_) {
    if (!node->mark_) {
      node->mark_ = true;
      ++marked_;
      return;
    }
    _Cut(node, parent);
    node = parent;
  }
}

void FibHeap::DecreaseKey(FibHeapNode* node, FibHeapNode& key) {
  if (*node < key) return;
  *node = key;
  FibHeapNode* parent = node->parent_;
  if (parent != nullptr) {
    if (!(*node < *parent)) return;
    _Cut(node, parent);
    _CascadingCut(parent);
  } else if (*node < *min_) {  // NOLINT(clang-analyzer-core.NonNullParamChecker): its heap is not empty
    min_ = node;
  }
}

void FibHeap::Delete(FibHeapNode* node) {
  node->below_all_ = true;
  DecreaseKey(node, *node);
  ExtractMin();
  node->below_all_ = false;
}

}  // namespace qvtx
