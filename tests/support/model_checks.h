// Helpers for the model tests: several discrete nodes made at once, and links
// added through the public API with every refusal reported.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <initializer_list>
#include <utility>

#include "orvel.h"
#include "support/domain_fixture.h"

namespace orv::test {

// Discrete chance nodes of the given names and state counts, created in order.
template <std::size_t N>
std::array<orv_node_t, N> discrete_nodes(orv_domain_t d, const std::pair<const char *, std::size_t> (&nodes)[N]) {
  std::array<orv_node_t, N> made{};
  for (std::size_t i = 0; i < N; ++i) {
    made[i] = add_node(d, nodes[i].first);
    if (nodes[i].second != 1) set_state_count(made[i], nodes[i].second);
  }
  return made;
}

// Adds each (child, parent) link in order with orv_node_add_parent; every one must succeed.
inline void add_parents(std::initializer_list<std::pair<orv_node_t, orv_node_t>> links) {
  for (auto [child, parent] : links)
    EXPECT_EQ(orv_node_add_parent(child, parent), orv_error_none)
        << orv_node_get_name(child) << " <- " << orv_node_get_name(parent);
}

}  // namespace orv::test
