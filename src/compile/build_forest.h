// The qualitative phase after triangulation: cliques become a junction forest
// with separators, and every potential is assigned to a clique.
#pragma once

#include <cstddef>

#include "compile/junction_forest.h"

namespace orv {

// Rank of a node given by a user elimination order (n for the first node to
// eliminate); null when the search's own numbering is to be used.
using RankFunction = std::size_t (*)(orv_node_t node);

// Builds the forest from the triangulation's cliques (a null-terminated array
// of null-terminated node lists of participating nodes), reporting to the log,
// and assigns the potentials. On failure throws; the domain is then left
// without a forest.
void _orv_domain_compile_qualitatively(orv_domain_s *d, orv_node_t const *const *cliques,
                                       RankFunction user_rank);

// The same from the triangulation the domain holds (its cliques, and the
// user's elimination ranks when the order was given).
void compile_qualitatively_from_triangulation(orv_domain_s *d);

// Parts of the phase, in their order of use.
void report_cliques(orv_domain_s *d, orv_node_t const *const *cliques);
void build_junction_forest(JunctionForest &forest, orv_node_t const *const *cliques,
                           RankFunction user_rank);
void create_node_results(JunctionForest &forest);
void assign_potentials(JunctionForest &forest);

// Controls of links and node potentials, built once per compilation.
void create_forest_controls(JunctionForest &forest);
void free_forest_controls(JunctionForest &forest) noexcept;

// The potential whose nodes decide a node's clique: the derived potential of
// a discrete function node with a model, else its table, or null.
orv_table_s *node_potential(orv_node_t node);

}  // namespace orv
