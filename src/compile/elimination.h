// Triangulation by vertex elimination: the greedy heuristics, elimination in
// a given order, redundant fill-in removal and best greedy.
#pragma once

#include <cstdint>
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

// How a randomized elimination picks: a vertex without fill-in when there is
// one, otherwise uniformly among those whose clique weight (or weighted
// fill-in) is within (1 + slack) of the smallest. `state` seeds the choices.
struct RandomChoice {
  std::uint64_t state = 0;
  double slack = 0.0;
  bool by_fill = false;
  std::uint64_t next() {  // splitmix64
    std::uint64_t z = (state += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
};
// One randomized elimination in a strong order (continuous vertices first in
// a component with both kinds); `work` grows by the neighbourhoods visited.
Vector<EliminatedClique> eliminate_randomly(const Fragment &g, RandomChoice &choice, std::size_t &work);

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

// The sum of the clique weights.
double total_weight(const Fragment &g, const Vector<VertexList> &cliques);

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
