// Forward sampling: nodes in an order with parents first, each state drawn
// from the row of its table selected by the parents' drawn states.
#include "forward_sampler.h"

#include <algorithm>
#include <random>

namespace orv::test {

namespace {

// The discrete chance nodes, each after its parents.
std::vector<orv_node_t> parents_first(orv_domain_t d) {
  std::vector<orv_node_t> nodes, sorted;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    if (orv_node_get_category(n) == orv_category_chance && orv_node_get_kind(n) == orv_kind_discrete)
      nodes.push_back(n);
  const auto placed = [&](orv_node_t n) { return std::find(sorted.begin(), sorted.end(), n) != sorted.end(); };
  while (sorted.size() < nodes.size())
    for (orv_node_t n : nodes) {
      bool ready = !placed(n);
      for (orv_node_t *p = orv_node_get_parents(n); *p; ++p) ready = ready && placed(*p);
      if (ready) sorted.push_back(n);
    }
  return sorted;
}

}  // namespace

Samples forward_sample(orv_domain_t d, std::size_t cases, unsigned seed) {
  const std::vector<orv_node_t> nodes = parents_first(d);
  Samples samples;
  for (orv_node_t n : nodes) samples.names.emplace_back(orv_node_get_name(n));
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::vector<int> state(nodes.size());
  for (std::size_t i = 0; i < cases; ++i) {
    for (std::size_t k = 0; k < nodes.size(); ++k) {
      orv_table_t t = orv_node_get_table(nodes[k]);
      std::size_t index = 0;
      for (orv_node_t *m = orv_table_get_nodes(t); *m != nodes[k]; ++m) {
        const std::size_t position = std::find(nodes.begin(), nodes.end(), *m) - nodes.begin();
        index = index * orv_node_get_number_of_states(*m) + static_cast<std::size_t>(state[position]);
      }
      const std::size_t states = orv_node_get_number_of_states(nodes[k]);
      const double *row = orv_table_get_data(t) + index * states;
      double u = uniform(rng);
      std::size_t s = 0;
      while (s + 1 < states && u >= row[s]) u -= row[s++];
      state[k] = static_cast<int>(s);
    }
    samples.states.push_back(state);
  }
  return samples;
}

bool store_samples(orv_domain_t d, const Samples &samples) {
  std::vector<orv_node_t> nodes;
  for (const std::string &name : samples.names) {
    nodes.push_back(orv_domain_get_node_by_name(d, name.c_str()));
    if (!nodes.back()) return false;
  }
  if (orv_domain_set_number_of_cases(d, 0) != orv_error_none ||
      orv_domain_set_number_of_cases(d, samples.states.size()) != orv_error_none)
    return false;
  for (std::size_t i = 0; i < samples.states.size(); ++i)
    for (std::size_t k = 0; k < nodes.size(); ++k)
      if (orv_node_set_case_state(nodes[k], i, static_cast<std::size_t>(samples.states[i][k])) != orv_error_none)
        return false;
  return true;
}

}  // namespace orv::test
