// Method 19 per prime component: the exact search when the component's
// minimal separators stay within the domain's limits and the optimum admits
// a strong elimination order, otherwise the cheapest of best greedy and a
// series of seeded randomized greedy runs, improved by exact searches over
// windows of neighbouring cliques. Either way the result is never
// worse than best greedy, and it depends only on the graph and the limits.
#include <algorithm>
#include <limits>

#include "compile/compile_log.h"
#include "compile/total_weight.h"
#include "model/domain.h"

namespace orv {
namespace {

// The randomized series: a fixed number of runs, cut short by a work budget
// (vertices scanned and neighbourhoods joined, a deterministic stand-in for
// a time bound) of roughly ten seconds for a component of a few hundred
// vertices.
constexpr std::size_t kRandomRuns = 4000;
constexpr std::size_t kWorkBudget = 70000000;
constexpr std::uint64_t kSeed = 0x5eed19u;
// Potential maximal cliques kept, and candidates tested, per allowed
// separator: the listing stays within seconds when the count is within the
// limit (a component of two thousand separators takes well under a second).
constexpr std::size_t kCliquesPerSeparator = 40;
constexpr std::size_t kTestsPerSeparator = 200;
// Windows re-triangulated exactly after the randomized series: sizes in
// vertices, and searches per vertex of the component.
constexpr std::size_t kSmallestWindow = 20, kLargestWindow = 36, kWindowStep = 8;
constexpr std::size_t kSearchesPerVertex = 4;
// Separators per window search: keeps one search within milliseconds.
constexpr std::size_t kWindowSeparators = 2000;

SearchLimits limits_of(const orv_domain_s *d) {
  SearchLimits limits;
  if (!d) return limits;
  limits.max_separators = d->max_separators;
  limits.max_separator_size = d->max_separator_size;
  limits.max_cliques = size_multiply(d->max_separators, kCliquesPerSeparator);
  limits.max_tests = size_multiply(d->max_separators, kTestsPerSeparator);
  return limits;
}

LocalSearch local_search_of(const Fragment &g, const SearchLimits &limits) {
  LocalSearch search;
  search.smallest = kSmallestWindow;
  search.largest = kLargestWindow;
  search.step = kWindowStep;
  search.max_searches = size_multiply(g.size(), kSearchesPerVertex);
  search.limits = limits;
  if (limits.max_separators == 0 || limits.max_separators > kWindowSeparators) {
    search.limits.max_separators = kWindowSeparators;
    search.limits.max_cliques = kWindowSeparators * kCliquesPerSeparator;
    search.limits.max_tests = kWindowSeparators * kTestsPerSeparator;
  }
  return search;
}

// Picking strategies the randomized series cycles through: on the standard
// networks, weighted fill-in with some slack finds the cheapest runs, and a
// wide clique-weight window adds different cliques for the recombination.
struct Strategy {
  double slack;
  bool by_fill;
};
constexpr Strategy kStrategies[] = {{0.0, true}, {0.25, true}, {0.5, true}, {1.0, true},
                                    {2.0, true}, {4.0, false}, {0.5, true}, {1.0, true}};

// The randomized series, then the best recombination of the cliques of all
// its runs that are potential maximal cliques (the runs that kept redundant
// fill-ins for a strong order contribute cliques that may not be).
ComponentTriangulation recombined_greedy(const Fragment &g) {
  const BitGraph bits(g);
  SetPool seen(bits.rows().words), potential(bits.rows().words);
  ComponentTriangulation best = randomized_greedy(g, kSeed, kRandomRuns, kWorkBudget, &seen);
  Vector<Word> all(bits.rows().words, 0);
  for (Vertex v = 0; v < g.size(); ++v) Rows::set(all.data(), v);
  CliqueTest is_potential(bits);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    bool added = false;
    if (is_potential(seen[i], all.data())) potential.insert(seen[i], added);
  }
  ComponentTriangulation combined = best_combination(g, bits, potential);
  if (!combined.cliques.empty() && combined.cost < best.cost && admits_strong_order(g, combined.cliques))
    best = std::move(combined);
  return best;
}

// What the search saw: every minimal separator, or why it stopped counting.
void log_separator_count(std::FILE *log, orv_domain_s *d, const ExactResult &exact, const SearchLimits &limits) {
  if (exact.counted)
    log_printf(log, "    %s minimal separators", _orv_print_size(d, exact.separators));
  else if (limits.max_separators != 0 && exact.separators > limits.max_separators)
    log_printf(log, "    more than %s minimal separators", _orv_print_size(d, limits.max_separators));
  else
    log_printf(log, "    a minimal separator larger than %s", _orv_print_size(d, limits.max_separator_size));
}

}  // namespace

ComponentTriangulation randomized_greedy(const Fragment &g, std::uint64_t seed, std::size_t runs,
                                         std::size_t work_budget, SetPool *seen) {
  const Rows rows{(g.size() + 63) / 64};
  Vector<Word> row(rows.words);
  ComponentTriangulation best;
  best.cost = std::numeric_limits<double>::infinity();
  std::size_t work = 0;
  for (std::size_t r = 0; r < runs && (r == 0 || work < work_budget); ++r) {
    const Strategy &strategy = kStrategies[r % std::size(kStrategies)];
    RandomChoice choice{seed * 0x100000001b3u + r, strategy.slack, strategy.by_fill};
    Vector<EliminatedClique> eliminated = eliminate_randomly(g, choice, work);
    Vector<VertexList> whole;
    whole.reserve(eliminated.size());
    for (const EliminatedClique &c : eliminated) whole.push_back(c.members);
    Vector<VertexList> cliques = _orv_remove_redundant_fill_ins(g, eliminated, nullptr);
    // Thinning can lose the strong order of a component with both kinds.
    if (!admits_strong_order(g, cliques)) cliques = std::move(whole);
    for (const VertexList &clique : seen ? cliques : Vector<VertexList>{}) {
      rows.clear(row.data());
      for (Vertex v : clique) Rows::set(row.data(), v);
      bool added = false;
      seen->insert(row.data(), added);
    }
    const double cost = total_weight(g, cliques);
    if (cost < best.cost) {
      best.cliques = std::move(cliques);
      best.cost = cost;
    }
  }
  return best;
}

bool admits_strong_order(const Fragment &g, const Vector<VertexList> &cliques) {
  std::size_t continuous = 0;
  for (Vertex v = 0; v < g.size(); ++v) continuous += g.continuous[v];
  if (continuous == 0 || continuous == g.size()) return true;
  // Eliminating simplicial vertices never spoils another's simpliciality,
  // so taking any simplicial continuous vertex while one exists decides.
  Vector<VertexList> around(g.size());
  for (const VertexList &clique : cliques)
    for (Vertex a : clique)
      for (Vertex b : clique)
        if (a != b) _orv_insert_in_sorted_list(around[a], b);
  Vector<unsigned char> gone(g.size(), 0);
  auto simplicial = [&](Vertex v) {
    for (Vertex a : around[v])
      for (Vertex b : around[v])
        if (a < b && !gone[a] && !gone[b] && !contains_sorted(around[a], b)) return false;
    return true;
  };
  for (bool progress = true; continuous > 0 && progress;) {
    progress = false;
    for (Vertex v = 0; v < g.size(); ++v) {
      if (gone[v] || !g.continuous[v] || !simplicial(v)) continue;
      gone[v] = 1;
      --continuous;
      progress = true;
    }
  }
  return continuous == 0;
}

ComponentTriangulation triangulate_by_total_weight(const Fragment &g, std::FILE *log) {
  log_printf(log, "\n    Using the total weight method for triangulation\n\n");
  const SearchLimits limits = limits_of(g.domain);
  ComponentTriangulation greedy = try_all_greedy_methods(g, nullptr);
  ExactResult exact = minimum_weight_triangulation(g, limits);
  if (exact.found && !admits_strong_order(g, exact.best.cliques)) exact.found = false;  // keeps the cliques
  ComponentTriangulation result;
  if (exact.found) {
    log_separator_count(log, g.domain, exact, limits);
    log_printf(log, ", exact search: total weight %s\n", cost_text(g.domain, exact.best.cost));
    result = exact.best.cost <= greedy.cost ? std::move(exact.best) : std::move(greedy);
  } else {
    ComponentTriangulation randomized = recombined_greedy(g);
    const double greedy_cost = greedy.cost, randomized_cost = randomized.cost;
    result = randomized.cost < greedy.cost ? std::move(randomized) : std::move(greedy);
    result = improve_by_windows(g, std::move(result), local_search_of(g, limits));
    log_separator_count(log, g.domain, exact, limits);
    log_printf(log, ", %s: best greedy %s, randomized greedy %s, exact windows %s\n",
               exact.best.cliques.empty() ? "beyond the limits" : "no strong exact optimum",
               cost_text(g.domain, greedy_cost), cost_text(g.domain, randomized_cost),
               cost_text(g.domain, result.cost));
  }
  log_printf(log, "\nFound triangulation of prime component of cost %s\n", cost_text(g.domain, result.cost));
  return result;
}

}  // namespace orv
