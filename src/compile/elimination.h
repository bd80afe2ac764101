// Triangulation by vertex elimination: the greedy heuristics, elimination in
// a given order, redundant fill-in removal and best greedy.
#pragma once

#include <cstdio>

#include "compile/fragment.h"
#include "orvel.h"

namespace orv {

// The clique formed by eliminating one vertex, with the fill-ins that
// elimination created (pairs of vertices, flattened).
struct EliminatedClique {
  Vertex eliminated = 0;
  VertexList members;  // sorted, eliminated vertex included
  VertexList fill_ins;
};

// Maximal cliques of the filled graph, in elimination order.
Vector<EliminatedClique> eliminate_greedily(const Fragment &g, orv_triangulation_method_t method, std::FILE *log);
Vector<EliminatedClique> eliminate_in_order(const Fragment &g, const VertexList &order, std::FILE *log);

// Drops fill-ins that lie in a single clique, splitting that clique, and
// returns the maximal cliques of the thinner triangulation.
Vector<VertexList> _orv_remove_redundant_fill_ins(const Fragment &g, Vector<EliminatedClique> &cliques,
                                                  std::FILE *log);

// Removes every list that is contained in another (the first of equal lists
// stays). n is the number of vertices.
void drop_non_maximal(Vector<VertexList> &cliques, std::size_t n);

// The cliques of one prime component and their total weight.
struct ComponentTriangulation {
  Vector<VertexList> cliques;
  double cost = 0.0;
};

// Greedy triangulation with one heuristic (15 to 18), logged.
ComponentTriangulation triangulate_by_elimination(const Fragment &g, orv_triangulation_method_t method,
                                                  std::FILE *log);
// The cheapest of the heuristics; only the header goes to the log.
ComponentTriangulation try_all_greedy_methods(const Fragment &g, std::FILE *log);

// Whether weighted scores can choose differently from plain ones: not when
// every vertex is continuous or every vertex is discrete with one state count.
bool weights_can_differ(const Fragment &g);

// The name the log uses for a method.
const char *method_name(orv_triangulation_method_t method);

}  // namespace orv
