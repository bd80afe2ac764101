// Small networks for the junction-forest and inference tests: nodes with
// states, families with tables, random networks and a brute-force oracle.
#pragma once

#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "orvel.h"
#include "support/domain_fixture.h"

namespace orv::test {

// A discrete node with `states` states (labels s0, s1, ...).
orv_node_t variable(orv_domain_t d, const char *name, std::size_t states,
                    orv_category_t category = orv_category_chance);
// Makes `parents` the node's parents and gives it a table with `data`
// (row-major over the parents in order, then the node; utility nodes hold
// no own dimension). Empty data keeps the table's initial entries.
void family(orv_node_t node, const std::vector<orv_node_t> &parents, const std::vector<double> &data);

// Cliques of an elimination in the given order (test oracle for structure).
std::vector<std::vector<orv_node_t>> eliminate(orv_domain_t d, const std::vector<orv_node_t> &order);
// Runs the qualitative phase on the given cliques; returns the status.
orv_status_t build_forest(orv_domain_t d, const std::vector<std::vector<orv_node_t>> &cliques);
// Compiles with the cliques of eliminating the nodes in domain chain order.
orv_status_t compile_simply(orv_domain_t d);

// A random discrete network: n nodes, up to max_parents parents each, 2..max_states
// states, random positive tables. Returns the nodes in creation order.
std::vector<orv_node_t> random_network(orv_domain_t d, std::size_t n, std::size_t max_parents,
                                       std::size_t max_states, std::mt19937 &rng);

// Brute force over all configurations of the discrete chance nodes: the
// marginals under the entered evidence and P(e).
struct Exact {
  std::map<orv_node_t, std::vector<double>> marginal;
  std::map<orv_node_t, std::vector<double>> max_marginal;  // max over the rest, normalized by the max
  double probability = 0.0;  // P(e)
  double max_probability = 0.0;
};
Exact brute_force(orv_domain_t d);
// The normalized joint of the given nodes under the entered evidence, row-major.
std::vector<double> brute_force_joint(orv_domain_t d, const std::vector<orv_node_t> &nodes);

}  // namespace orv::test
