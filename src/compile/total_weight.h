// Triangulation for the smallest total clique weight: exact over minimal
// triangulations when the component's minimal separators stay within the
// limits, otherwise the best of best greedy and seeded randomized greedy runs,
// improved by re-triangulating windows of neighbouring cliques exactly.
#pragma once

#include <cstdint>
#include <cstdio>

#include "compile/elimination.h"
#include "compile/potential_cliques.h"

namespace orv {

// The minimal triangulation of g (connected) with the smallest total clique
// weight, from its potential maximal cliques; `found` is false when a limit
// is exceeded (the result is then empty). `separators` counts the minimal
// separators of g, or those found before a limit stopped the count.
struct ExactResult {
  bool found = false;
  bool counted = false;  // every minimal separator of g was counted
  std::size_t separators = 0;
  ComponentTriangulation best;
};
ExactResult minimum_weight_triangulation(const Fragment &g, const SearchLimits &limits);

// The cheapest minimal triangulation whose cliques all come from the given
// potential maximal cliques of g (rows of bits): the same programme over a
// partial list, so it recombines the cliques of several triangulations.
// Empty cliques (cost 0) when the list completes no triangulation.
ComponentTriangulation best_combination(const Fragment &g, const BitGraph &bits, const SetPool &cliques);

// Greedy eliminations that pick each next vertex at random among the
// cheapest candidates (seeded, so repeatable), until `runs` runs or the work
// budget (counted in neighbourhood visits) is spent. Cliques after redundant
// fill-in removal; cost infinite when no run completed. When `seen` is given
// (rows as wide as g's BitGraph), the cliques of every run are added to it.
ComponentTriangulation randomized_greedy(const Fragment &g, std::uint64_t seed, std::size_t runs,
                                         std::size_t work_budget, SetPool *seen = nullptr);

// Whether the cliques (of g) can be produced by an elimination order that
// removes every continuous vertex before any discrete one.
bool admits_strong_order(const Fragment &g, const Vector<VertexList> &cliques);

// Re-triangulating windows of neighbouring cliques exactly: windows of up to
// `smallest` vertices first, then `step` more at a time up to `largest`, at
// most `max_searches` exact searches in all, each within `limits`.
struct LocalSearch {
  std::size_t smallest = 0, largest = 0, step = 1;
  std::size_t max_searches = 0;
  SearchLimits limits;
};
// The triangulation of g (its maximal cliques) improved window by window;
// never costlier, and strong when `start` is. `searches` receives the count
// of exact searches made.
ComponentTriangulation improve_by_windows(const Fragment &g, ComponentTriangulation start, const LocalSearch &search,
                                          std::size_t *searches = nullptr);

// Method 19 for one prime component (not complete), with its log lines.
ComponentTriangulation triangulate_by_total_weight(const Fragment &g, std::FILE *log);

}  // namespace orv
