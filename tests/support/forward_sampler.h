// Forward sampling of complete cases from a discrete network's own tables
// with a fixed seed, and storing them in a domain's case store by node name.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "orvel.h"

namespace orv::test {

struct Samples {
  std::vector<std::string> names;        // the sampled nodes
  std::vector<std::vector<int>> states;  // per case, per node
};

// Draws `cases` cases from the discrete chance nodes of `d` (parents are
// drawn before their children).
Samples forward_sample(orv_domain_t d, std::size_t cases, unsigned seed);

// Replaces the case store of `d` by the samples (nodes found by name).
// Returns false when a node is absent or a call fails.
bool store_samples(orv_domain_t d, const Samples &samples);

}  // namespace orv::test
