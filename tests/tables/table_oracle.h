// Test support for the table kernels: tables over nodes with chosen state
// counts, random shapes, and naive reference operations that walk the larger
// table entry by entry in row-major order and map each entry to the smaller.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

#include "model/node.h"
#include "orvel.h"
#include "support/domain_fixture.h"
#include "tables/table.h"

namespace orv::test {

// A discrete chance node with the given number of states.
inline orv_node_t node_with_states(orv_domain_t d, std::size_t states) {
  orv_node_t n = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
  n->state_count = states;
  return n;
}

// An unchained table with allocated data over the nodes (type as given).
inline orv_table_s *table_over(orv_domain_t d, std::vector<orv_node_t> nodes,
                               orv_table_type_t type = orv_table_probability) {
  nodes.push_back(nullptr);
  return _orv_create_table(d, nodes.data(), type, 0, true, false);
}

struct TableDeleter {
  void operator()(orv_table_s *t) const { _orv_free_table(t); }
};
using TablePtr = std::unique_ptr<orv_table_s, TableDeleter>;

inline std::vector<double> data_of(const orv_table_s *t) {
  return std::vector<double>(t->data, t->data + t->size);
}

// Copies `values` into the table's first entries.
inline void put(orv_table_s *t, const std::vector<double> &values) {
  std::copy(values.begin(), values.end(), t->data);
}

inline void fill_random(orv_table_s *t, std::mt19937 &random, double zero_share = 0.1) {
  std::uniform_real_distribution<double> value(0.0, 1.0);
  for (std::size_t i = 0; i < t->size; ++i) {
    const double v = value(random);
    t->data[i] = v < zero_share ? 0.0 : v * 10.0;
  }
}

// For each entry of the larger table: its configuration's index in the
// smaller table, or -1 when a selected state of a node absent from the
// smaller table excludes it (only when honour_selected is set).
inline std::vector<long> naive_map(const orv_table_s *larger, const orv_table_s *smaller,
                                   bool honour_selected) {
  std::vector<long> map(larger->size);
  std::vector<std::size_t> config(larger->discrete_count);
  for (std::size_t i = 0; i < larger->size; ++i) {
    std::size_t rest = i;
    for (std::size_t k = larger->discrete_count; k-- > 0;) {
      config[k] = rest % larger->nodes[k]->state_count;
      rest /= larger->nodes[k]->state_count;
    }
    long index = 0;
    for (std::size_t j = 0; j < smaller->discrete_count; ++j) {
      const long k = larger->nodes.index_of(smaller->nodes[j]);
      index = index * static_cast<long>(smaller->nodes[j]->state_count) +
              static_cast<long>(config[k]);
    }
    for (std::size_t k = 0; honour_selected && k < larger->discrete_count; ++k) {
      const orv_node_t n = larger->nodes[k];
      const bool absent = smaller->nodes.index_of(n) < 0;
      if (absent && n->selected_state >= 0 &&
          static_cast<std::size_t>(n->selected_state) < n->state_count &&
          config[k] != static_cast<std::size_t>(n->selected_state))
        index = -1;
    }
    map[i] = index;
  }
  return map;
}

enum class NaiveOp { multiply, add, divide };

inline std::vector<double> naive_combine(const std::vector<double> &larger,
                                         const std::vector<double> &smaller,
                                         const std::vector<long> &map, NaiveOp op) {
  std::vector<double> result = larger;
  for (std::size_t i = 0; i < larger.size(); ++i) {
    if (map[i] < 0) continue;
    const double s = smaller[static_cast<std::size_t>(map[i])];
    switch (op) {
      case NaiveOp::multiply: result[i] *= s; break;
      case NaiveOp::add: result[i] += s; break;
      case NaiveOp::divide: result[i] = s == 0.0 ? 0.0 : result[i] / s; break;
    }
  }
  return result;
}

inline std::vector<double> naive_sum(const std::vector<double> &larger, std::size_t smaller_size,
                                     const std::vector<long> &map) {
  std::vector<double> result(smaller_size, 0.0);
  for (std::size_t i = 0; i < larger.size(); ++i)
    if (map[i] >= 0) result[static_cast<std::size_t>(map[i])] += larger[i];
  return result;
}

inline std::vector<double> naive_max(const std::vector<double> &larger, std::size_t smaller_size,
                                     const std::vector<long> &map) {
  std::vector<double> result(smaller_size, -HUGE_VAL);
  for (std::size_t i = 0; i < larger.size(); ++i) {
    if (map[i] < 0) continue;
    double &r = result[static_cast<std::size_t>(map[i])];
    if (larger[i] > r) r = larger[i];
  }
  return result;
}

// Probabilities summed, utilities weighted by them (0 for zero weight);
// `contracted` gets the sum of probability x utility alone.
inline void naive_pair(const std::vector<double> &p, const std::vector<double> &u,
                       const std::vector<long> &map, std::vector<double> &p_out,
                       std::vector<double> &u_out, std::vector<double> &contracted) {
  std::fill(p_out.begin(), p_out.end(), 0.0);
  std::fill(contracted.begin(), contracted.end(), 0.0);
  for (std::size_t i = 0; i < p.size(); ++i) {
    if (map[i] < 0) continue;
    p_out[static_cast<std::size_t>(map[i])] += p[i];
    contracted[static_cast<std::size_t>(map[i])] += p[i] * u[i];
  }
  for (std::size_t j = 0; j < p_out.size(); ++j)
    u_out[j] = p_out[j] == 0.0 ? 0.0 : contracted[j] / p_out[j];
}

// A random pair of node lists: the larger over up to max_nodes nodes (state
// counts 1..4) in random order, the smaller over a random subset in another
// random order.
struct RandomShape {
  std::vector<orv_node_t> larger;
  std::vector<orv_node_t> smaller;
};

inline RandomShape random_shape(orv_domain_t d, std::mt19937 &random, std::size_t max_nodes) {
  RandomShape shape;
  const std::size_t n = std::uniform_int_distribution<std::size_t>(0, max_nodes)(random);
  std::uniform_int_distribution<std::size_t> states(1, 4);
  for (std::size_t i = 0; i < n; ++i) shape.larger.push_back(node_with_states(d, states(random)));
  std::shuffle(shape.larger.begin(), shape.larger.end(), random);
  std::bernoulli_distribution keep(0.5);
  for (orv_node_t node : shape.larger)
    if (keep(random)) shape.smaller.push_back(node);
  std::shuffle(shape.smaller.begin(), shape.smaller.end(), random);
  return shape;
}

}  // namespace orv::test
