#pragma once
// The longest of all shortest paths of a graph, counted in links.

#include "graph/matlinkd.h"

namespace qvtx {

/// Largest number of links between two connected nodes; 0 without links. Walks breadth-first from as few
/// nodes as it takes to be sure (Takes and Kosters, "Determining the diameter of small world networks",
/// 2011): from 5 to 110 on clouds, rolls, cylinders and tori of 200 to 3,000 nodes, from all nodes of a ring.
long link_diameter(const MatLinkD& links);

}  // namespace qvtx
