// An independent checker of triangulations: given a graph, a list of cliques
// and an elimination order, it verifies that the cliques cover the graph,
// that the graph they form is chordal with the order as a perfect
// elimination order, and that the cliques are exactly its maximal cliques.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace orv::test {

using Adjacency = std::vector<std::set<int>>;

// "" when everything holds, otherwise a description of the first problem.
std::string check_triangulation(const Adjacency &graph, const std::vector<std::vector<int>> &cliques,
                                const std::vector<int> &order);

// True when the graph is chordal (maximum-cardinality search test).
bool is_chordal(const Adjacency &graph);

}  // namespace orv::test
