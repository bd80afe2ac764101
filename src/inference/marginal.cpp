// Joint marginals of sets of discrete nodes (orv_domain_get_marginal) and the
// mutual information of two nodes computed from them.
#include <cmath>

#include "inference/cg_queries.h"
#include "inference/queries.h"
#include "runtime/error.h"
#include "tables/control.h"

namespace orv {

namespace {

struct TableDeleter {
  void operator()(orv_table_s *t) const noexcept { _orv_free_table(t); }
};
using TablePtr = std::unique_ptr<orv_table_s, TableDeleter>;

bool in(const Vector<orv_node_t> &list, orv_node_t n) {
  for (orv_node_t m : list)
    if (m == n) return true;
  return false;
}

TablePtr new_table(orv_domain_s *d, Vector<orv_node_t> nodes) {
  nodes.push_back(nullptr);
  return TablePtr(_orv_create_table(d, nodes.data(), orv_table_probability, 0, true, false));
}

TablePtr marginal_of(orv_table_s *t, Vector<orv_node_t> nodes) {
  nodes.push_back(nullptr);
  return TablePtr(_orv_table_get_marginal(t, nodes.data()));
}

// Whether the branch at c (away from `from`) holds a query node outside `known`.
bool branch_needed(const orv_clique_s *c, const orv_clique_s *from, const orv_table_s *known,
                   const Vector<orv_node_t> &query) {
  for (orv_node_t n : c->table->nodes)
    if (in(query, n) && !known->nodes.contains(n)) return true;
  for (const CliqueLink &link : c->links)
    if (link.neighbor != from && branch_needed(link.neighbor, c, known, query)) return true;
  return false;
}

// A clique table as the discrete operations see it: itself in a discrete
// tree, its weights over its discrete nodes in a CG tree (those are exact
// posterior probabilities; only the continuous moments are collapsed).
struct DiscreteView {
  TablePtr owned;
  orv_table_s *table;
};

DiscreteView discrete_view(orv_clique_s *c) {
  if (c->table->continuous_count == 0) return {nullptr, c->table};
  TablePtr clone(_orv_discrete_clone_table(c->table));
  orv_table_s *t = clone.get();
  return {std::move(clone), t};
}

// The separator's distribution: its own table in a discrete tree; in a CG
// tree read off the clique on this side. There a separator that holds
// continuous nodes has nothing but continuous nodes beyond it on the side
// away from the strong root, so dividing by its discrete part alone stays
// exact.
DiscreteView separator_view(const orv_clique_s *c, orv_table_s *clique, orv_table_s *separator) {
  if (!c->tree->has_continuous) return {nullptr, separator};
  Vector<orv_node_t> nodes;
  for (std::size_t i = 0; i < separator->discrete_count; ++i) nodes.push_back(separator->nodes[i]);
  TablePtr marginal = marginal_of(clique, nodes);
  orv_table_s *t = marginal.get();
  return {std::move(marginal), t};
}

// The potential over the clique's discrete members and the query nodes
// found below it (away from `from`), with everything below summed out; the
// caller marginalizes it further.
TablePtr gather(orv_clique_s *c, orv_clique_s *from, const Vector<orv_node_t> &query) {
  DiscreteView own = discrete_view(c);
  Vector<TablePtr> messages;
  Vector<DiscreteView> separators;
  Vector<orv_node_t> nodes(own.table->nodes.begin(), own.table->nodes.end());
  for (const CliqueLink &link : c->links) {
    if (link.neighbor == from || !branch_needed(link.neighbor, c, link.separator->table, query)) continue;
    TablePtr below = gather(link.neighbor, c, query);
    DiscreteView separator = separator_view(c, own.table, link.separator->table);
    Vector<orv_node_t> keep(separator.table->nodes.begin(), separator.table->nodes.end());
    for (orv_node_t n : below->nodes)
      if (in(query, n) && !in(keep, n)) keep.push_back(n);
    messages.push_back(marginal_of(below.get(), keep));
    separators.push_back(std::move(separator));
    for (orv_node_t n : keep)
      if (!in(nodes, n)) nodes.push_back(n);
  }
  if (messages.empty()) return marginal_of(own.table, nodes);
  TablePtr joint = new_table(c->domain, nodes);
  _orv_combine_tables(joint.get(), own.table);
  for (std::size_t i = 0; i < messages.size(); ++i) {
    _orv_combine_tables(joint.get(), messages[i].get());
    _orv_divide_tables(joint.get(), separators[i].table);
  }
  return joint;
}

TablePtr tree_marginal(orv_junction_tree_s *t, const Vector<orv_node_t> &query) {
  for (orv_clique_s *c : t->cliques) {
    if (!c) break;
    bool holds = true;
    for (orv_node_t n : query) holds = holds && c->table->nodes.contains(n);
    if (holds) return marginal_of(discrete_view(c).table, query);
  }
  TablePtr joint = gather(query[0]->assigned_clique, nullptr, query);
  return marginal_of(joint.get(), query);
}

}  // namespace

orv_table_s *domain_marginal(orv_domain_s *d, orv_node_t const *nodes) {
  Vector<orv_node_t> query;
  for (orv_node_t const *n = nodes; *n; ++n) {
    if (!is_node(*n) || (*n)->owner != d || !(*n)->is_discrete() || in(query, *n)) fail(orv_error_usage);
    query.push_back(*n);
  }
  if (!domain_is_compiled(d)) fail(orv_error_not_compiled);
  for (orv_node_t n : query) {
    require_results(n);
    require_sum_normal(n);
  }
  TablePtr result = new_table(d, query);
  // Trees are independent: the joint is the product of their marginals.
  for (orv_junction_tree_s *t = junction_forest(d)->first_tree; t; t = t->next) {
    Vector<orv_node_t> part;
    for (orv_node_t n : query)
      if (n->junction_tree == t) part.push_back(n);
    if (part.empty()) continue;
    TablePtr piece = tree_marginal(t, part);
    _orv_combine_tables(result.get(), piece.get());
  }
  return result.release();
}

double mutual_information(orv_node_s *a, orv_node_s *b) {
  const orv_node_t pair[] = {a, b, nullptr};
  TablePtr joint(domain_marginal(a->owner, pair));
  const std::size_t na = a->state_count, nb = b->state_count;
  Vector<double> pa(na, 0.0), pb(nb, 0.0);
  for (std::size_t i = 0; i < na; ++i)
    for (std::size_t j = 0; j < nb; ++j) {
      pa[i] += joint->data[i * nb + j];
      pb[j] += joint->data[i * nb + j];
    }
  double information = 0.0;
  for (std::size_t i = 0; i < na; ++i)
    for (std::size_t j = 0; j < nb; ++j) {
      const double p = joint->data[i * nb + j];
      if (p > 0.0) information += p * std::log(p / (pa[i] * pb[j]));
    }
  return information;
}

}  // namespace orv

extern "C" {

orv_table_t orv_domain_get_marginal(orv_domain_t domain, orv_node_t *nodes) {
  if (!orv::is_domain(domain) || domain->is_class() || !nodes || !nodes[0])
    return orv::usage<orv_table_t>(nullptr);
  return orv::guarded<orv_table_t>(nullptr, [&] { return orv::domain_marginal(domain, nodes); });
}

double orv_node_get_mutual_information(orv_node_t node, orv_node_t other) {
  if (!orv::is_node(node) || !orv::is_node(other) || node == other || node->owner != other->owner ||
      node->owner->is_class() || !node->counts_as_variable() || !other->counts_as_variable())
    return orv::usage(-1.0);
  return orv::guarded<double>(-1.0, [&] {
    if (node->is_continuous() || other->is_continuous()) return orv::cg_mutual_information(node, other);
    return orv::mutual_information(node, other);
  });
}

}  // extern "C"
