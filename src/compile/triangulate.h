// Triangulation of a moralized domain: prime components, one triangulation
// per component, and the elimination order derived from the cliques.
#pragma once

#include <cstdio>

#include "compile/compiled_domain.h"

namespace orv {

// Fills state.cliques, state.cost and state.elimination_position from the
// moral graph, logging the triangulation section. Methods 15 to 20.
void triangulate_domain(orv_domain_s *d, CompiledDomain &state, orv_triangulation_method_t method, std::FILE *log);

// Builds the cliques by eliminating the vertices in exactly the given order
// (state.elimination_position set from it); logs the fill-ins.
void build_cliques_from_order(CompiledDomain &state, const VertexList &order, std::FILE *log);

// Numbers the vertices by a maximum-cardinality search over the cliques,
// discrete vertices before continuous ones (1 = first numbered, eliminated
// last); fails with error when a vertex lies in no clique.
Vector<std::size_t> _orv_perform_hypergraph_mcs(const Fragment &g, const Vector<VertexList> &cliques);

// Stores each vertex's elimination position (n for the first to eliminate).
void generate_elimination_order(CompiledDomain &state);

// The participating nodes by elimination position, n first, null-terminated;
// fails with enumeration when the positions are not 1..n.
void list_elimination_order(CompiledDomain &state);

// Checks a user's order: every participating node once, nothing else, no
// continuous node after a discrete one. Fails with enumeration otherwise.
void _orv_check_elimination_order(orv_domain_s *d, orv_node_t const *order);
// The qualitative phase by a given order: checks it, moralizes, builds the
// cliques and the junction forest. On failure the domain stays untriangulated.
void triangulate_with_order(orv_domain_s *d, orv_node_t const *order);

}  // namespace orv
