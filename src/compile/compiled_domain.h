// The compiled state a domain holds once triangulated: the moral graph with
// each node's moral neighbours, the cliques and the elimination order. The
// domain owns it through `compiled`, so uncompiling drops all of it.
#pragma once

#include <cstddef>
#include <utility>

#include "compile/fragment.h"
#include "model/domain.h"
#include "model/node.h"
#include "model/records.h"
#include "orvel.h"
#include "runtime/allocate.h"

namespace orv {

struct CompiledDomain : Attachment {
  // The moral graph: one vertex per discrete or continuous node, in domain
  // node order, with sorted adjacency (moral links and necessary fill-ins).
  Fragment moral_graph;
  // Each vertex's moral neighbours in the order moralization found them,
  // null-terminated (the array orv_node_get_moral_neighbors returns).
  Vector<Vector<orv_node_t>> moral_neighbors;
  // (node, vertex) pairs sorted by node address, for node lookups.
  Vector<std::pair<orv_node_t, Vertex>> vertex_of_node;

  // Maximal cliques of the triangulation: sorted vertex lists.
  Vector<VertexList> cliques;
  double cost = 0.0;  // sum of the clique weights
  // Per vertex: n for the first vertex to eliminate, 1 for the last.
  Vector<std::size_t> elimination_position;
  bool user_order = false;  // the positions come from an order the user gave
  // Cached null-terminated elimination order (built on first request).
  Vector<orv_node_t> elimination_order;

  // The vertex of a node, or -1 when the node takes no part.
  long vertex(orv_node_t node) const;
  void index_nodes();  // builds vertex_of_node from moral_graph.nodes
};

// The domain's compiled state, or null when it is not triangulated.
CompiledDomain *compiled_domain(orv_domain_s *d);
// Installs a complete state as the domain's compiled structure; cannot fail.
void attach_triangulation(orv_domain_s *d, Owned<CompiledDomain> state) noexcept;

// A node's elimination position in its triangulated domain (n for the first
// node eliminated), or 0 when the domain is not triangulated or the node
// takes no part.
std::size_t elimination_rank(orv_node_t node);

// Nodes that take part in the junction forest: kind discrete or continuous.
inline bool participates(orv_node_t node) { return node->kind >= 0 && node->kind <= 1; }

}  // namespace orv
