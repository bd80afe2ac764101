// Maximum-cardinality search on the hypergraph of cliques: numbers the
// vertices (discrete before continuous) and arranges the cliques in search
// trees whose parent links satisfy the running-intersection property.
#pragma once

#include <cstddef>

#include "orvel.h"
#include "runtime/allocate.h"

namespace orv {

struct HypergraphSearch {
  // Input.
  Vector<orv_node_t> vertices;
  Vector<Vector<std::size_t>> cliques;  // members as vertex indexes

  // Output.
  Vector<std::size_t> number;        // per vertex, 1-based; discrete first
  Vector<std::size_t> order;         // cliques in the order they were taken
  Vector<long> parent;               // per clique: search parent or -1
  Vector<Vector<std::size_t>> children;  // per clique, newest first
};

// Runs the search. Throws error (48) when a vertex lies in no clique or a
// clique names an unknown vertex; bad_alloc on allocation failure.
void _orv_perform_hypergraph_mcs(HypergraphSearch &search);

}  // namespace orv
