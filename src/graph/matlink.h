#pragma once
// An undirected graph on the rows of another matrix, with a row of values per link.

#include <cstdio>
#include <vector>

#include "graph/fibheap.h"
#include "matrix/matfulll.h"

namespace qvtx {

/// The link store. Links are added and deleted in constant time; slots of deleted links are reused before the
/// tables grow, and a link never moves: its number stays valid until it is deleted. Every node heads a doubly
/// linked list of its links, most recently added first. Columns of a link row, for the link between nodes a <
/// b:
///   0, 1  next and previous link of a's list, -1 at its ends (for a free slot, 0: the next free slot)
///   2     a; -1 marks a free slot
///   3, 4  next and previous link of b's list
///   5     b
/// Two links may join the same nodes. A link from a node to itself stands once in that node's list; its
/// columns 3 and 4 repeat 0 and 1. A node number out of range is fatal everywhere but in the unchecked
/// accessors.
template <class T>
class MatLinkT {
 public:
  /// Room for n nodes and links with m values, none in use (see `setdim`); inc: growth increment of the
  /// nodes. Fatal: inc < 1 (g 102).
  explicit MatLinkT(long n = 0, long m = 1, long inc = 5);
  void swap(MatLinkT& other) noexcept;
  void duplicate(const MatLinkT& other);  ///< becomes the same, to the bytes that it saves

  // ---- Shape ----
  long nnode() const { return node.nrow(); }
  long nvalue() const { return value.ncol(); }
  /// Link slots in use or free: the bound of link numbers.
  long nslot() const { return link.nrow(); }
  /// Live links; walks the list of free slots.
  long nlive() const;

  /// Empties the store and reserves n nodes and max(10, 10 n) links, also the step by which the link tables
  /// grow. Returns n, 0 when a reservation failed. Fatal: n < 0 (g 101, 1), m < 1 (g 101, 2).
  long setdim(long n, long m);
  /// k > 0: appends k nodes without links; k < 0: removes the last |k| nodes with their links. Returns the
  /// node count.
  long addrow(long k);
  /// Removes node i with its links; the last node takes its number. Returns the node count. Fatal: g 103.
  long delrow(long i);
  /// Exchanges the numbers of two nodes; the graph stays the same up to the numbering. Fatal: g 106.
  void swaprows(long i, long j);

  // ---- Unchecked access: 0 <= i < nnode(), 0 <= k < nslot(), 0 <= c < nvalue() ----
  bool live(long k) const { return link.data()[6 * k + 2] != -1; }
  long end_a(long k) const { return link.data()[6 * k + 2]; }
  long end_b(long k) const { return link.data()[6 * k + 5]; }
  /// Walking the list of node i: for (k = head(i); k >= 0; k = next(k, i)) ... other(k, i).
  long head(long i) const { return node.data()[i]; }
  long next(long k, long i) const {
    const long* row = link.data() + 6 * k;
    return row[2] == i ? row[0] : row[3];
  }
  long other(long k, long i) const {
    const long* row = link.data() + 6 * k;
    return row[2] == i ? row[5] : row[2];
  }
  T getvalue(long k, long c) const { return value.data()[k * value.ncol() + c]; }
  void setvalue(long k, long c, T v) { value.data()[k * value.ncol() + c] = v; }

  // ---- Links ----
  /// Links i and j, whether they are linked already or not; all values are 0. Returns the link's number, -1
  /// when the tables could not grow. Fatal: g 104.
  long add_link(long i, long j);
  /// A link between i and j, the most recently added one, or -1. At most two steps per link of the node that
  /// has fewer. Fatal: g 105.
  long get_link(long i, long j) const;
  /// Returns 1; 0, and nothing changes, for a number out of range or a free slot.
  int del_link(long k);

  // ---- Queries ----
  /// Number of links of node i. Fatal: g 51.
  long degree(long i) const;
  /// Degree of node i; out becomes degree x 1: its neighbours in list order, a double link's twice.
  long degree(long i, MatFullL& out) const;
  /// Sum of value column c over the links of node i. Fatal: a 1.
  double sum(long i, long c) const;
  /// Degree of node i; mark becomes n x 1: 0 for i, 1 for its neighbours, -1 elsewhere. Fatal: l 702.
  long nrnv(long i, MatFullL& mark) const;
  /// Breadth-first search from i up to kmax links away. hops becomes n x 1: links on a shortest path, -1 when
  /// not reached; order (reached nodes) x 1: in the order of discovery, i first. Neighbours are discovered in
  /// list order. Returns the number of nodes reached besides i. Fatal: l 801.
  long nrav(long i, MatFullL& order, MatFullL& hops, long kmax) const;
  /// Connected components; comp becomes n x 1. Component 0 holds node 0; the next one starts at the first
  /// position of the pool of nodes left, in which the last entry replaces each node that is reached. Returns
  /// their number.
  long connex(MatFullL& comp) const;
  /// Minimum spanning tree of root's component by value column c (Prim, "Shortest connection networks and
  /// some generalizations", 1957); parent becomes n x 1, -1 for the root and outside the component. Among
  /// links of equal weight the one with the lower number wins, so that the tree is unique; a NaN counts as
  /// +infinity. Returns the number of tree links. Fatal: l 901.
  long mst(long root, long c, MatFullL& parent) const;

  /// Becomes the part of src that the selected nodes span: the node numbers in column k of sel become nodes
  /// 0, 1, ... in that order (of a number given twice the first place counts, the other node stays without
  /// links), linked as in src, values included, in src's link order. map becomes (nodes of src) x 1: the new
  /// numbers, -1 for nodes left out.
  /// Fatal: a number that is no node of src (g 107, 3), k out of range (g 107, 4).
  void copy_vss(const MatLinkT& src, MatFullL& map, const MatFullL& sel, long k);

  // ---- Output and snapshots (matlink_files.cpp) ----
  /// One line per live link in link order: the two nodes, then the values, in the layout of matrix text
  /// files; with header that of a matrix of 2 + m columns. verbose != 0: a line "nodes <n> links <l>" before.
  void show(Ostr& out, int verbose, int header) const;
  int save_asc(const char* name, int verbose, int header) const;
  int save_bin(const char* name, int verbose) const;
  /// `free`, then the three tables.
  int save_bin(std::FILE* f) const;
  /// The store is unchanged when 0 is returned: a short file, tables that do not fit each other, indices out
  /// of range, link lists that do not close or that disagree, free slots that the list of free slots does not
  /// hold.
  int load_bin(std::FILE* f);

  [[noreturn]] void ermessage(char kind, int code, int arg, long v) const;
  [[noreturn]] void ermessage(char kind, int code, int arg, long other_nrow, long other_ncol) const;

 protected:
  /// A node of a growing tree: index is the node, link the link to its parent.
  class TreeNode final : public HeapNode<double> {
   public:
    using HeapNode<double>::operator=;
    bool operator<(const FibHeapNode& rival) const override;
    long link = -1;
    bool reached = false;
    bool settled = false;
  };
  /// Adds the tree of root's component to `nodes` (one per node of the store, none of this component
  /// reached). Its keys are the lengths of the links that were chosen, or, with `paths`, of the shortest
  /// paths from root.
  long grow_tree(long root, long c, bool paths, std::vector<TreeNode>& nodes) const;

  void checknode(long i, char kind, int code, int arg) const;

  long free = -1;     ///< first free link slot
  MatFullL node;      ///< n x 1: first link of each node's list
  MatFullL link;      ///< L x 6
  MatFullT<T> value;  ///< L x m

 private:
  void unlink(long k, long i);
  void rename(long k, long from, long to);
  void reorder(long i);
  void clear_links(long i);
};

extern template class MatLinkT<long>;
extern template class MatLinkT<int>;
extern template class MatLinkT<double>;

}  // namespace qvtx
