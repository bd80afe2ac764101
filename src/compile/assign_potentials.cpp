// Assignment of every node's potential (conditional table, policy or utility
// table) to one clique that holds all of its nodes.
#include "compile/build_forest.h"
#include "compile/forest_log.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {

template <class Nodes>
bool holds_all(const orv_clique_s *c, const Nodes &nodes) {
  for (orv_node_t n : nodes)
    if (!c->table->nodes.contains(n)) return false;
  return true;
}

// Whether the clique holds the nodes that decide where a node's potential
// goes: its table's nodes, a utility node's parents, or the node itself.
bool holds_family(const orv_clique_s *c, orv_node_t node) {
  if (const orv_table_s *t = node_potential(node)) return holds_all(c, t->nodes);
  if (node->category == orv_category_utility) return holds_all(c, node->parents);
  return c->table->nodes.contains(node);
}

std::size_t cg_size(const orv_clique_s *c) { return size_multiply(c->table->size, c->table->block_size); }

// Smaller table first, then smaller CG size; a tie keeps the incumbent.
bool better(const orv_clique_s *candidate, const orv_clique_s *incumbent) {
  if (!incumbent) return true;
  if (candidate->table->size != incumbent->table->size)
    return candidate->table->size < incumbent->table->size;
  return cg_size(candidate) < cg_size(incumbent);
}

orv_clique_s *best_clique(JunctionForest &forest, orv_node_t node) {
  orv_clique_s *best = nullptr;
  for (orv_clique_s *c = forest.first_clique; c; c = c->next)
    if (holds_family(c, node) && better(c, best)) best = c;
  return best;
}

void select_cliques(JunctionForest &forest) {
  for (orv_clique_s *c = forest.first_clique; c; c = c->next) {
    for (orv_node_t n : c->table->nodes) {
      if (n->assigned_clique == c || !holds_family(c, n)) continue;
      if (n->is_discrete()) {
        if (better(c, n->assigned_clique)) n->assigned_clique = c;
      } else if (!n->assigned_clique &&
                 (!c->way_to_strong_root || !holds_family(c->way_to_strong_root, n))) {
        n->assigned_clique = c;
      }
    }
  }
}

}  // namespace

void assign_potentials(JunctionForest &forest) {
  orv_domain_s *d = forest.domain;
  log_printf(d, "\n\nChecking tables for all nodes:\n\n");
  for (orv_node_s *n = d->log ? d->first_node : nullptr; n; n = n->next)
    if ((n->counts_as_variable() || n->category == orv_category_utility) && !node_potential(n))
      log_printf(d, "    Warning: Node `%s' has no table\n", node_name(n));

  select_cliques(forest);
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (n->category != orv_category_utility) continue;
    orv_clique_s *c = best_clique(forest, n);
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
    if (d->log) log_printf(d, "    Node %s assigned to clique %s\n", node_name(n), _orv_print_size(d, c->number));
  }
}

}  // namespace orv
