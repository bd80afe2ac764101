// The CG tables of continuous nodes around EM: the copy kept so that a
// failed learning can restore them, and the initial distribution of a node
// whose table is still the default one, estimated from its case values.
#include <cmath>

#include "learning/case_store.h"
#include "learning/em.h"
#include "tables/table.h"

namespace orv {

namespace {

// Every mean 0, every variance 1, every regression coefficient 0.
bool is_default_cg_table(const orv_table_s *t) {
  for (std::size_t j = 0; j < t->size; ++j) {
    const double *block = t->cg_data + j * t->block_size;
    if (block[cg_matrix_index(0, 0)] != 1.0) return false;
    for (std::size_t k = 0; k < t->continuous_count; ++k)
      if (block[cg_vector_index(k)] != 0.0) return false;
  }
  return true;
}

// Configuration of the table's discrete parents in case i, or size when one
// of them is not set.
std::size_t parent_configuration(const orv_table_s *t, std::size_t i) {
  std::size_t index = 0;
  for (std::size_t k = 0; k < t->discrete_count; ++k) {
    const long state = case_state(t->nodes[k], i);
    if (state < 0) return t->size;
    index = index * t->nodes[k]->state_count + static_cast<std::size_t>(state);
  }
  return index;
}

// Weighted sums (weight, value, square) of the node's case values, overall
// (last entry) and per configuration whose discrete parents are observed.
// Each configuration then gets the mean and variance of its own values when
// it has more than one case's weight and a positive spread, else those of
// all values; coefficients stay 0.
void initial_distribution(orv_domain_s *d, orv_node_s *n, Vector<double> &sums) {
  orv_table_s *t = n->table;
  sums.assign(3 * (t->size + 1), 0.0);
  for (std::size_t i = 0; i < d->number_of_cases; ++i) {
    const double w = case_weight(d, i);
    if (!(w > 0.0) || !case_is_set(n, i)) continue;
    const double x = n->case_values[i];
    const std::size_t j = parent_configuration(t, i);
    for (std::size_t at : {j, t->size}) {
      if (at > t->size) continue;
      sums[3 * at] += w;
      sums[3 * at + 1] += w * x;
      sums[3 * at + 2] += w * x * x;
    }
  }
  const double *all = &sums[3 * t->size];
  if (!(all[0] > 0.0)) return;  // no values: the default stays
  const auto moments = [](const double *s, double &mean, double &variance) {
    mean = s[1] / s[0];
    variance = s[2] / s[0] - mean * mean;
  };
  double mean_all, variance_all;
  moments(all, mean_all, variance_all);
  if (!(variance_all > 0.0)) variance_all = 1.0;
  for (std::size_t j = 0; j < t->size; ++j) {
    double mean = mean_all, variance = variance_all;
    const double *s = &sums[3 * j];
    if (s[0] > 1.0) {
      moments(s, mean, variance);
      if (!(variance > 0.0)) variance = variance_all;
    }
    double *block = t->cg_data + j * t->block_size;
    block[cg_vector_index(0)] = mean;
    block[cg_matrix_index(0, 0)] = variance;
  }
  if (n->junction_tree) n->junction_tree->tables_changed = true;
}

}  // namespace

void prepare_cg_tables(orv_domain_s *d, Vector<LearnedNode> &learned, bool initialise) {
  for (LearnedNode &l : learned) {
    if (!l.node->is_continuous()) continue;
    const orv_table_s *t = l.node->table;
    l.saved_cg.assign(t->cg_data, t->cg_data + size_multiply(t->size, t->block_size));
  }
  if (!initialise) return;
  Vector<double> sums;
  for (LearnedNode &l : learned)
    if (l.node->is_continuous() && is_default_cg_table(l.node->table)) initial_distribution(d, l.node, sums);
}

void restore_cg_tables(Vector<LearnedNode> &learned) noexcept {
  for (LearnedNode &l : learned) {
    if (l.saved_cg.empty()) continue;
    orv_table_s *t = l.node->table;
    for (std::size_t e = 0; e < l.saved_cg.size(); ++e) t->cg_data[e] = l.saved_cg[e];
    if (l.node->junction_tree) l.node->junction_tree->tables_changed = true;
  }
}

}  // namespace orv
