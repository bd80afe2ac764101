// Forward sampling: nodes in an order with parents first, each state drawn
// from the row of its table selected by the parents' drawn states.
#include "forward_sampler.h"

#include <random>

namespace orv::test {

namespace {

std::vector<orv_node_t> parents_first(orv_domain_t d) {
  std::vector<orv_node_t> nodes, sorted;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    if (orv_node_get_category(n) == orv_category_chance && orv_node_get_kind(n) == orv_kind_discrete)
      nodes.push_back(n);
  std::vector<bool> placed(nodes.size(), false);
  auto placed_node = [&](orv_node_t p) {
    for (std::size_t j = 0; j < nodes.size(); ++j)
      if (nodes[j] == p) return static_cast<bool>(placed[j]);
    return true;
  };
  while (sorted.size() < nodes.size())
    for (std::size_t k = 0; k < nodes.size(); ++k) {
      if (placed[k]) continue;
      bool ready = true;
      for (orv_node_t *p = orv_node_get_parents(nodes[k]); *p; ++p) ready = ready && placed_node(*p);
      if (!ready) continue;
      placed[k] = true;
      sorted.push_back(nodes[k]);
    }
  return sorted;
}

}  // namespace

Samples forward_sample(orv_domain_t d, std::size_t cases, unsigned seed, double missing) {
  const std::vector<orv_node_t> nodes = parents_first(d);
  Samples samples;
  for (orv_node_t n : nodes) samples.names.emplace_back(orv_node_get_name(n));
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::vector<int> state(nodes.size());
  auto position = [&](orv_node_t m) {
    std::size_t j = 0;
    while (nodes[j] != m) ++j;
    return j;
  };
  for (std::size_t i = 0; i < cases; ++i) {
    for (std::size_t k = 0; k < nodes.size(); ++k) {
      orv_table_t t = orv_node_get_table(nodes[k]);
      std::size_t index = 0;
      for (orv_node_t *m = orv_table_get_nodes(t); *m != nodes[k]; ++m)
        index = index * orv_node_get_number_of_states(*m) + static_cast<std::size_t>(state[position(*m)]);
      const std::size_t states = orv_node_get_number_of_states(nodes[k]);
      const double *row = orv_table_get_data(t) + index * states;
      double u = uniform(rng);
      std::size_t s = 0;
      while (s + 1 < states && u >= row[s]) u -= row[s++];
      state[k] = static_cast<int>(s);
    }
    std::vector<int> row(state);
    for (int &v : row)
      if (missing > 0.0 && uniform(rng) < missing) v = -1;
    samples.states.push_back(std::move(row));
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
      if (samples.states[i][k] >= 0 &&
          orv_node_set_case_state(nodes[k], i, static_cast<std::size_t>(samples.states[i][k])) != orv_error_none)
        return false;
  return true;
}

}  // namespace orv::test
