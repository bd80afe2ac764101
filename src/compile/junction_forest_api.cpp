// Read-only accessors for cliques and junction trees.
#include "compile/compiled_domain.h"
#include "compile/junction_forest.h"
#include "runtime/error.h"

namespace orv {
namespace {

std::size_t tree_total(const orv_clique_s *c, const orv_clique_s *from, bool cg) {
  const auto size_of = [cg](const orv_table_s *t) {
    return cg ? size_multiply(t->size, t->block_size) : t->size;
  };
  std::size_t total = size_of(c->table);
  for (const CliqueLink &link : c->links) {
    if (link.neighbor == from) continue;
    total = size_add(total, size_of(link.separator->table));
    total = size_add(total, tree_total(link.neighbor, c, cg));
  }
  return total;
}

std::size_t total_size(orv_junction_tree_s *tree, bool cg) {
  std::size_t total = tree_total(tree->root, nullptr, cg);
  if (tree->has_utility) total = size_add(total, total);
  if (total == kSizeSentinel) fail(orv_error_size_too_large);
  return total;
}

}  // namespace
}  // namespace orv

using orv::guarded;
using orv::is_clique;
using orv::is_domain;
using orv::is_junction_tree;
using orv::junction_forest;
using orv::usage;

extern "C" {

orv_clique_t orv_domain_get_first_clique(orv_domain_t domain) {
  if (!is_domain(domain)) return usage<orv_clique_t>(nullptr);
  return guarded<orv_clique_t>(nullptr, [&] {
    orv::JunctionForest *f = junction_forest(domain);
    return f ? f->first_clique : nullptr;
  });
}

orv_clique_t orv_clique_get_next(orv_clique_t clique) {
  if (!is_clique(clique)) return usage<orv_clique_t>(nullptr);
  return guarded<orv_clique_t>(nullptr, [&] { return clique->next; });
}

size_t orv_domain_get_number_of_cliques(orv_domain_t domain) {
  if (!is_domain(domain)) return usage(orv::kSizeSentinel);
  return guarded<size_t>(orv::kSizeSentinel, [&] {
    orv::JunctionForest *f = junction_forest(domain);
    return f ? f->clique_count : std::size_t{0};
  });
}

orv_junction_tree_t orv_clique_get_junction_tree(orv_clique_t clique) {
  if (!is_clique(clique)) return usage<orv_junction_tree_t>(nullptr);
  return guarded<orv_junction_tree_t>(nullptr, [&] { return clique->tree; });
}

orv_node_list_t orv_clique_get_members(orv_clique_t clique) {
  if (!is_clique(clique)) return usage<orv_node_list_t>(nullptr);
  return guarded<orv_node_list_t>(nullptr, [&] { return clique->table->nodes.c_list(); });
}

size_t orv_clique_get_number_of_members(orv_clique_t clique) {
  if (!is_clique(clique)) return usage(orv::kSizeSentinel);
  return guarded<size_t>(orv::kSizeSentinel, [&] { return clique->member_count(); });
}

orv_clique_t *orv_clique_get_neighbors(orv_clique_t clique) {
  if (!is_clique(clique)) return usage<orv_clique_t *>(nullptr);
  return guarded<orv_clique_t *>(nullptr, [&] { return clique->neighbor_list.data(); });
}

size_t orv_clique_get_number_of_neighbors(orv_clique_t clique) {
  if (!is_clique(clique)) return usage(orv::kSizeSentinel);
  return guarded<size_t>(orv::kSizeSentinel, [&] { return clique->links.size(); });
}

orv_table_t orv_clique_get_probability_table(orv_clique_t clique) {
  if (!is_clique(clique)) return usage<orv_table_t>(nullptr);
  return guarded<orv_table_t>(nullptr, [&] {
    if (!orv::domain_is_compiled(clique->domain)) orv::fail(orv_error_not_compiled);
    return clique->table;
  });
}

orv_table_t orv_clique_get_utility_table(orv_clique_t clique) {
  if (!is_clique(clique)) return usage<orv_table_t>(nullptr);
  return guarded<orv_table_t>(nullptr, [&] {
    if (!orv::domain_is_compiled(clique->domain)) orv::fail(orv_error_not_compiled);
    return clique->utility;
  });
}

orv_junction_tree_t orv_domain_get_first_junction_tree(orv_domain_t domain) {
  if (!is_domain(domain)) return usage<orv_junction_tree_t>(nullptr);
  return guarded<orv_junction_tree_t>(nullptr, [&] {
    orv::JunctionForest *f = junction_forest(domain);
    return f ? f->first_tree : nullptr;
  });
}

orv_junction_tree_t orv_jt_get_next(orv_junction_tree_t tree) {
  if (!is_junction_tree(tree)) return usage<orv_junction_tree_t>(nullptr);
  return guarded<orv_junction_tree_t>(nullptr, [&] { return tree->next; });
}

orv_clique_t orv_jt_get_root(orv_junction_tree_t tree) {
  if (!is_junction_tree(tree)) return usage<orv_clique_t>(nullptr);
  return guarded<orv_clique_t>(nullptr, [&] { return tree->root; });
}

orv_clique_t *orv_jt_get_cliques(orv_junction_tree_t tree) {
  if (!is_junction_tree(tree)) return usage<orv_clique_t *>(nullptr);
  return guarded<orv_clique_t *>(nullptr, [&] { return tree->cliques.data(); });
}

orv_junction_tree_t orv_node_get_junction_tree(orv_node_t node) {
  if (!orv::is_node(node)) return usage<orv_junction_tree_t>(nullptr);
  return guarded<orv_junction_tree_t>(nullptr, [&] {
    if (!junction_forest(node->owner)) orv::fail(orv_error_not_compiled);
    return node->junction_tree;
  });
}

orv_clique_t orv_node_get_conflict_clique(orv_node_t node) {
  if (!orv::is_node(node) || !orv::participates(node)) return usage<orv_clique_t>(nullptr);
  return guarded<orv_clique_t>(nullptr, [&] {
    if (!junction_forest(node->owner)) orv::fail(orv_error_not_compiled);
    return node->assigned_clique;
  });
}

orv_status_t orv_clique_set_user_data(orv_clique_t clique, void *data) {
  if (!is_clique(clique)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  clique->user_data = data;
  return orv_error_none;
}

void *orv_clique_get_user_data(orv_clique_t clique) {
  if (!is_clique(clique)) return usage<void *>(nullptr);
  orv::set_error(orv_error_none);
  return clique->user_data;
}

orv_status_t orv_jt_set_user_data(orv_junction_tree_t tree, void *data) {
  if (!is_junction_tree(tree)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  tree->user_data = data;
  return orv_error_none;
}

void *orv_jt_get_user_data(orv_junction_tree_t tree) {
  if (!is_junction_tree(tree)) return usage<void *>(nullptr);
  orv::set_error(orv_error_none);
  return tree->user_data;
}

size_t orv_jt_get_total_size(orv_junction_tree_t tree) {
  if (!is_junction_tree(tree)) return usage(orv::kSizeSentinel);
  return guarded<size_t>(orv::kSizeSentinel, [&] { return orv::total_size(tree, false); });
}

size_t orv_jt_get_total_cg_size(orv_junction_tree_t tree) {
  if (!is_junction_tree(tree)) return usage(orv::kSizeSentinel);
  return guarded<size_t>(orv::kSizeSentinel, [&] { return orv::total_size(tree, true); });
}

}  // extern "C"
