// Random conditional-Gaussian networks as NET text, and a brute-force
// oracle for them: every discrete configuration with its joint Gaussian,
// conditioned on the evidence one observation at a time.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace orv::test {

struct CgNode {
  std::string name;
  bool continuous = false;
  std::size_t states = 1;           // discrete nodes
  std::vector<std::size_t> parents;  // indexes of earlier nodes, discrete first
  // Discrete: one row of `states` probabilities per configuration of the
  // discrete parents. Continuous: per configuration of the discrete parents
  // an intercept, a variance and one coefficient per continuous parent.
  std::vector<double> values;
};

struct CgNetwork {
  std::vector<CgNode> nodes;  // in a topological order
  std::string net_text() const;
};

// A random network: discrete nodes with discrete parents, continuous nodes
// with any parents, at most three parents each.
CgNetwork random_cg_network(std::mt19937 &rng, std::size_t discrete, std::size_t continuous);

// Evidence: a state for discrete nodes, a value for continuous ones.
struct CgEvidence {
  std::vector<long> state;     // per node, -1 when unobserved (discrete only)
  std::vector<bool> observed;  // per node (continuous only)
  std::vector<double> value;
};

struct CgPosterior {
  double log_constant = 0.0;
  std::vector<std::vector<double>> beliefs;  // discrete nodes
  std::vector<double> mean, variance;        // continuous nodes
  bool possible = true;
};

CgPosterior brute_force_posterior(const CgNetwork &net, const CgEvidence &evidence);

}  // namespace orv::test
