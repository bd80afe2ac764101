// Helpers of the compile and inference tests: shipped networks by name,
// marginals and beliefs read into vectors, and the check that targeted
// queries answer as compiling and propagating the domain does.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"

namespace orv::test {

// A shipped network by its name under data/networks, without ".net".
inline DomainPtr load_network(const std::string &name) {
  const std::string path = std::string(ORVEL_DATA_DIR) + "/networks/" + name + ".net";
  return DomainPtr(orv_net_parse_domain(path.c_str(), nullptr, nullptr));
}

// A marginal table's entries; the table is deleted (null fails the test).
inline std::vector<double> take_entries(orv_table_t t) {
  EXPECT_NE(t, nullptr) << orv_error_name(orv_error_code());
  if (!t) return {};
  const std::vector<double> result = table_values(t);
  orv_table_delete(t);
  return result;
}

// The joint of `nodes` by a targeted query, and from the propagated domain.
inline std::vector<double> queried_marginal(orv_domain_t d, std::vector<orv_node_t> nodes, double *log_pe) {
  nodes.push_back(nullptr);
  return take_entries(orv_domain_query_marginal(d, nodes.data(), log_pe));
}
inline std::vector<double> compiled_marginal(orv_domain_t d, std::vector<orv_node_t> nodes) {
  nodes.push_back(nullptr);
  return take_entries(orv_domain_get_marginal(d, nodes.data()));
}

// The beliefs of every node, one node after the other: by the batch query,
// and from the propagated domain.
inline std::vector<double> queried_beliefs(orv_domain_t d, std::vector<orv_node_t> nodes, double *log_pe) {
  std::size_t total = 0;
  for (orv_node_t n : nodes) total += orv_node_get_number_of_states(n);
  nodes.push_back(nullptr);
  std::vector<double> beliefs(total, -1.0);
  EXPECT_EQ(orv_domain_query_beliefs(d, nodes.data(), beliefs.data(), log_pe), orv_error_none);
  return beliefs;
}
inline std::vector<double> beliefs_of(const std::vector<orv_node_t> &nodes) {
  std::vector<double> beliefs;
  for (orv_node_t n : nodes)
    for (std::size_t s = 0; s < orv_node_get_number_of_states(n); ++s) beliefs.push_back(orv_node_get_belief(n, s));
  return beliefs;
}

// On an uncompiled domain with its evidence entered: the targeted joint of
// `targets`, the batch beliefs of `nodes` and log P(e) equal what compiling
// and propagating gives (the domain stays compiled).
inline void expect_queries_match_compiled(orv_domain_t d, const std::vector<orv_node_t> &targets,
                                          const std::vector<orv_node_t> &nodes, double tolerance,
                                          const std::string &what) {
  double log_pe = 0.0, batch_log_pe = 0.0;
  const std::vector<double> joint = queried_marginal(d, targets, &log_pe);
  const std::vector<double> beliefs = queried_beliefs(d, nodes, &batch_log_pe);
  EXPECT_EQ(orv_domain_is_compiled(d), 0) << what;
  ASSERT_EQ(orv_domain_compile(d), orv_error_none) << what;
  ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none) << what;
  expect_all_near(joint, compiled_marginal(d, targets), tolerance, what + " joint");
  expect_all_near(beliefs, beliefs_of(nodes), tolerance, what + " beliefs");
  EXPECT_NEAR(log_pe, orv_domain_get_log_normalization_constant(d), 1e-9) << what;
  EXPECT_NEAR(batch_log_pe, log_pe, 1e-12) << what;
}

}  // namespace orv::test
