// Assignment of every node's potential (conditional table, policy or utility
// table) to one clique that holds all of its nodes.
#include "compile/build_forest.h"
#include "compile/forest_log.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {

bool holds(const orv_clique_s *c, orv_node_t const *nodes) {
  for (std::size_t i = 0; nodes[i]; ++i)
    if (!c->table->nodes.contains(nodes[i])) return false;
  return true;
}

std::size_t cg_size(const orv_clique_s *c) { return size_multiply(c->table->size, c->table->block_size); }

// Smaller table first, then smaller CG size; a tie keeps the incumbent.
bool better(const orv_clique_s *candidate, const orv_clique_s *incumbent) {
  if (!incumbent) return true;
  if (candidate->table->size != incumbent->table->size)
    return candidate->table->size < incumbent->table->size;
  return cg_size(candidate) < cg_size(incumbent);
}

// The node list that decides where a node's potential goes.
Vector<orv_node_t> family(orv_node_t node) {
  Vector<orv_node_t> nodes;
  if (orv_table_s *t = node_potential(node)) {
    for (orv_node_t n : t->nodes) nodes.push_back(n);
  } else if (node->category == orv_category_utility) {
    for (orv_node_t n : node->parents) nodes.push_back(n);
  } else {
    nodes.push_back(node);
  }
  nodes.push_back(nullptr);
  return nodes;
}

orv_clique_s *best_clique(JunctionForest &forest, orv_node_t const *nodes) {
  orv_clique_s *best = nullptr;
  for (orv_clique_s *c = forest.first_clique; c; c = c->next)
    if (holds(c, nodes) && better(c, best)) best = c;
  return best;
}

void select_cliques(JunctionForest &forest) {
  for (orv_clique_s *c = forest.first_clique; c; c = c->next) {
    for (orv_node_t n : c->table->nodes) {
      if (n->assigned_clique == c) continue;
      const Vector<orv_node_t> nodes = family(n);
      if (!holds(c, nodes.data())) continue;
      if (n->is_discrete()) {
        if (better(c, n->assigned_clique)) n->assigned_clique = c;
      } else if (!n->assigned_clique &&
                 (!c->way_to_strong_root || !holds(c->way_to_strong_root, nodes.data()))) {
        n->assigned_clique = c;
      }
    }
  }
}

}  // namespace

void assign_potentials(JunctionForest &forest) {
  orv_domain_s *d = forest.domain;
  log_printf(d, "\n\nChecking tables for all nodes:\n\n");
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if ((n->counts_as_variable() || n->category == orv_category_utility) && !node_potential(n))
      log_printf(d, "    Warning: Node `%s' has no table\n", node_name(n));

  select_cliques(forest);
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (n->category != orv_category_utility) continue;
    const Vector<orv_node_t> nodes = family(n);
    orv_clique_s *c = best_clique(forest, nodes.data());
    if (!c) fail(orv_error_error);
    n->assigned_clique = c;
    n->junction_tree = c->tree;
  }

  log_printf(d, "\n\nAssignment of potentials to cliques:\n\n");
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (!n->counts_as_variable() && n->category != orv_category_utility) continue;
    orv_clique_s *c = n->assigned_clique;
    if (!c) fail(orv_error_error);
    if (n->counts_as_variable()) c->belief_nodes.push_back(n);
    if (!node_potential(n)) continue;
    c->assigned.push_back(n);
    log_printf(d, "    Node %s assigned to clique %s\n", node_name(n), _orv_print_size(d, c->number));
  }
}

}  // namespace orv
