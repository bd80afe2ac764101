// Public table entry points: node tables, shape and data accessors,
// configuration indexing, CG block accessors and deletion.
#include "model/node.h"
#include "runtime/error.h"
#include "tables/node_table.h"
#include "tables/table.h"

using orv::guarded;
using orv::is_node;
using orv::is_table;
using orv::kSizeSentinel;
using orv::usage;

namespace {

// Position of `node` among the table's continuous nodes, or -1.
long continuous_position(const orv_table_s *t, orv_node_t node) {
  if (!is_node(node) || !node->is_continuous()) return -1;
  const long i = t->nodes.index_of(node);
  if (i < 0 || static_cast<std::size_t>(i) < t->discrete_count) return -1;
  return i - static_cast<long>(t->discrete_count);
}

// The role of continuous node i; a table without data arrays has the roles
// its initialisation will give it.
unsigned char role_of(const orv_table_s *t, std::size_t i) {
  if (i < t->roles.size()) return t->roles[i];
  return t->type == orv_table_probability ? orv::kRoleAbsent : orv::kRoleHead;
}

// Reads a mean or covariance entry of a head-only CG table; -1.0 with usage
// when the index, the table or a node is not acceptable.
double cg_entry(orv_table_t table, size_t index, orv_node_t node1, orv_node_t node2, bool mean) {
  if (!is_table(table) || index >= table->size || orv::cg_tail_count(table) > 0) return usage(-1.0);
  const long i = continuous_position(table, node1), j = continuous_position(table, node2);
  if (i < 0 || j < 0) return usage(-1.0);
  if (role_of(table, static_cast<std::size_t>(i)) != orv::kRoleHead ||
      role_of(table, static_cast<std::size_t>(j)) != orv::kRoleHead)
    return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    orv::_orv_allocate_data_arrays(table);
    const auto ui = static_cast<std::size_t>(i), uj = static_cast<std::size_t>(j);
    const std::size_t at = mean ? orv::cg_vector_index(ui) : orv::cg_matrix_index(ui, uj);
    return table->cg_data[index * table->block_size + at];
  });
}

}  // namespace

extern "C" {

orv_table_t orv_node_get_table(orv_node_t node) {
  if (!is_node(node) || !orv::node_can_have_table(node)) return usage<orv_table_t>(nullptr);
  return guarded<orv_table_t>(nullptr, [&] { return orv::node_table(node); });
}

int orv_node_has_table(orv_node_t node) {
  if (!is_node(node)) return usage(-1);
  orv::set_error(orv_error_none);
  return orv::node_can_have_table(node) ? 1 : 0;
}

orv_node_t *orv_table_get_nodes(orv_table_t table) {
  if (!is_table(table)) return usage<orv_node_t *>(nullptr);
  orv::set_error(orv_error_none);
  return table->nodes.c_list();
}

double *orv_table_get_data(orv_table_t table) {
  if (!is_table(table)) return usage<double *>(nullptr);
  return guarded<double *>(nullptr, [&] {
    orv::_orv_allocate_data_arrays(table);
    // The caller may write the entries: the owner's table must be checked again.
    if (table->node && table->node->table == table) table->node->table_valid = false;
    return table->data;
  });
}

size_t orv_table_get_size(orv_table_t table) {
  if (!is_table(table)) return usage(kSizeSentinel);
  orv::set_error(table->size == kSizeSentinel ? orv_error_size_too_large : orv_error_none);
  return table->size;
}

size_t orv_table_get_cg_size(orv_table_t table) {
  if (!is_table(table)) return usage(kSizeSentinel);
  const size_t cg_size = orv::size_multiply(table->size, table->block_size);
  orv::set_error(cg_size == kSizeSentinel ? orv_error_size_too_large : orv_error_none);
  return cg_size;
}

size_t orv_table_get_index_from_configuration(orv_table_t table, const size_t *configuration) {
  if (!is_table(table) || !configuration) return usage(kSizeSentinel);
  const size_t index = orv::_orv_table_get_index_from_configuration(table, configuration);
  if (index == kSizeSentinel) return usage(kSizeSentinel);
  orv::set_error(orv_error_none);
  return index;
}

orv_status_t orv_table_get_configuration_from_index(orv_table_t table, size_t *configuration,
                                                    size_t index) {
  if (!is_table(table) || !configuration || index >= table->size) return usage(orv_error_usage);
  orv::_orv_table_get_configuration_from_index(table, configuration, index);
  orv::set_error(orv_error_none);
  return orv_error_none;
}

double orv_table_get_mean(orv_table_t table, size_t index, orv_node_t node) {
  return cg_entry(table, index, node, node, true);
}

double orv_table_get_covariance(orv_table_t table, size_t index, orv_node_t node1, orv_node_t node2) {
  return cg_entry(table, index, node1, node2, false);
}

double orv_table_get_variance(orv_table_t table, size_t index, orv_node_t node) {
  return cg_entry(table, index, node, node, false);
}

size_t orv_cg_vector_index(orv_table_t table, size_t i) {
  if (!is_table(table) || i >= table->continuous_count) return usage(kSizeSentinel);
  orv::set_error(orv_error_none);
  return orv::cg_vector_index(i);
}

size_t orv_cg_matrix_index(orv_table_t table, size_t i, size_t j) {
  if (!is_table(table) || i >= table->continuous_count || j >= table->continuous_count)
    return usage(kSizeSentinel);
  orv::set_error(orv_error_none);
  return orv::cg_matrix_index(i, j);
}

size_t orv_cg_tail_count(orv_table_t table) {
  if (!is_table(table)) return usage(kSizeSentinel);
  orv::set_error(orv_error_none);
  return orv::cg_tail_count(table);
}

orv_status_t orv_table_delete(orv_table_t table) {
  if (!is_table(table)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  orv_node_s *owner = table->node;
  if (owner && owner->experience == table) {
    owner->experience = nullptr;
  } else if (owner && owner->fading == table) {
    owner->fading = nullptr;
  } else if (table->chained) {
    return orv_error_none;  // a node's or a clique's table stays with its owner
  }
  orv::_orv_free_table(table);
  return orv_error_none;
}

orv_status_t orv_table_set_user_data(orv_table_t table, void *data) {
  if (!is_table(table)) return usage(orv_error_usage);
  table->user_data = data;
  orv::set_error(orv_error_none);
  return orv_error_none;
}

void *orv_table_get_user_data(orv_table_t table) {
  if (!is_table(table)) return usage<void *>(nullptr);
  orv::set_error(orv_error_none);
  return table->user_data;
}

}  // extern "C"
