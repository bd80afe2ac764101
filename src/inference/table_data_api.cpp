// Public table writers, table algebra and the CG parameters of continuous
// nodes. They live with inference because a write into a node's own table
// must tell the node's junction tree, so that the next propagation reloads it.
#include <cfloat>

#include "compile/junction_forest.h"
#include "runtime/error.h"
#include "tables/control.h"
#include "tables/node_table.h"
#include "tables/table.h"

namespace orv {
namespace {

// The table changed: a node's own table is checked again and its tree reloads.
void touch(orv_table_s *t) noexcept {
  orv_node_s *owner = t->node;
  if (!owner || owner->table != t) return;
  owner->table_valid = false;
  if (owner->junction_tree) owner->junction_tree->tables_changed = true;
}

bool discrete_table(const orv_table_s *t) { return is_table(t) && t->continuous_count == 0; }

// Two discrete tables of one domain, the second over nodes of the first.
bool operands(const orv_table_s *larger, const orv_table_s *smaller) {
  if (!discrete_table(larger) || !discrete_table(smaller) || larger->domain != smaller->domain) return false;
  for (orv_node_t n : smaller->nodes)
    if (!larger->nodes.contains(n)) return false;
  return true;
}

// The CG block of configuration i of a continuous chance node's own table:
// the head's intercept (alpha), tail coefficients (beta) and variance (gamma).
double *cg_block(orv_node_s *node, std::size_t i) {
  orv_table_s *t = node_table(node);
  if (i >= t->size) fail(orv_error_usage);
  _orv_allocate_data_arrays(t);
  return t->cg_data + i * t->block_size;
}

// The block position of a continuous parent's coefficient.
std::size_t beta_position(orv_node_s *node, orv_node_s *parent) {
  orv_table_s *t = node_table(node);
  const long k = t->nodes.index_of(parent);
  if (!is_node(parent) || parent == node || k < static_cast<long>(t->discrete_count)) fail(orv_error_usage);
  return cg_vector_index(static_cast<std::size_t>(k) - t->discrete_count);
}

bool cg_node(const orv_node_s *n) {
  return is_node(n) && n->is_continuous() && n->category == orv_category_chance && !n->class_node;
}

}  // namespace
}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::is_table;
using orv::usage;

extern "C" {

double orv_table_get_data_item(orv_table_t table, size_t index) {
  if (!is_table(table) || index >= table->size) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::_orv_allocate_data_arrays(table);
    return table->data[index];
  });
}

orv_status_t orv_table_set_data_item(orv_table_t table, size_t index, double value) {
  if (!is_table(table) || index >= table->size) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::_orv_allocate_data_arrays(table);
    table->data[index] = value;
    orv::touch(table);
  });
}

orv_status_t orv_table_set_all_data_items(orv_table_t table, double value) {
  if (!is_table(table) || table->size == orv::kSizeSentinel) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::_orv_allocate_data_arrays(table);
    for (size_t i = 0; i < table->size; ++i) table->data[i] = value;
    orv::touch(table);
  });
}

orv_status_t orv_table_set_data(orv_table_t table, const double *data, size_t start, size_t count) {
  if (!is_table(table) || !data || start >= table->size || count > table->size - start)
    return usage(orv_error_usage);
  return guarded_status([&] {
    if (count == 0) return;
    orv::_orv_allocate_data_arrays(table);
    for (size_t i = 0; i < count; ++i) table->data[start + i] = data[i];
    orv::touch(table);
  });
}

orv_status_t orv_table_multiply(orv_table_t table, orv_table_t other) {
  if (!orv::operands(table, other)) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::_orv_combine_tables(table, other);
    orv::touch(table);
  });
}

orv_status_t orv_table_divide(orv_table_t table, orv_table_t other) {
  if (!orv::operands(table, other) || table->type == orv_table_utility) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::_orv_divide_tables(table, other);
    orv::touch(table);
  });
}

orv_table_t orv_table_get_marginal(orv_table_t table, orv_node_t *nodes) {
  if (!orv::discrete_table(table) || !nodes) return usage<orv_table_t>(nullptr);
  return guarded<orv_table_t>(nullptr, [&] { return orv::_orv_table_get_marginal(table, nodes); });
}

orv_status_t orv_table_update(orv_table_t table, orv_table_t source) {
  if (!orv::operands(source, table) ||
      (table->type == orv_table_utility) != (source->type == orv_table_utility))
    return usage(orv_error_usage);
  return guarded_status([&] {
    if (table == source) return;
    orv::_orv_marginalize_tables(source, table, orv_equilibrium_sum, orv::kMarginalizeInto);
    orv::touch(table);
  });
}

orv_status_t orv_node_set_alpha(orv_node_t node, double alpha, size_t i) {
  if (!orv::cg_node(node)) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::cg_block(node, i)[orv::cg_vector_index(0)] = alpha;
    orv::touch(node->table);
  });
}

double orv_node_get_alpha(orv_node_t node, size_t i) {
  if (!orv::cg_node(node)) return usage(-1.0);
  return guarded<double>(-1.0, [&] { return orv::cg_block(node, i)[orv::cg_vector_index(0)]; });
}

orv_status_t orv_node_set_beta(orv_node_t node, double beta, orv_node_t parent, size_t i) {
  if (!orv::cg_node(node)) return usage(orv_error_usage);
  return guarded_status([&] {
    const size_t position = orv::beta_position(node, parent);
    orv::cg_block(node, i)[position] = beta;
    orv::touch(node->table);
  });
}

double orv_node_get_beta(orv_node_t node, orv_node_t parent, size_t i) {
  if (!orv::cg_node(node)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    const size_t position = orv::beta_position(node, parent);
    return orv::cg_block(node, i)[position];
  });
}

orv_status_t orv_node_set_gamma(orv_node_t node, double gamma, size_t i) {
  if (!orv::cg_node(node) || !(gamma >= 0.0) || gamma > DBL_MAX) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::cg_block(node, i)[orv::cg_matrix_index(0, 0)] = gamma;
    orv::touch(node->table);
  });
}

double orv_node_get_gamma(orv_node_t node, size_t i) {
  if (!orv::cg_node(node)) return usage(-1.0);
  return guarded<double>(-1.0, [&] { return orv::cg_block(node, i)[orv::cg_matrix_index(0, 0)]; });
}

}  // extern "C"
