// The index-mapping controls of a junction forest, built once per
// compilation: each clique onto each of its separators, every node potential
// into its clique, and each clique onto the single-node tables of evidence
// and beliefs.
#include "compile/build_forest.h"
#include "runtime/error.h"
#include "tables/control.h"

namespace orv {

namespace {

orv_control_s *control(JunctionForest &f, orv_table_s *larger_p, orv_table_s *larger_u, orv_table_s *smaller_p,
                       orv_table_s *smaller_u) {
  f.controls.reserve(f.controls.size() + 1);
  orv_control_s *c = _orv_create_control(larger_p, larger_u, smaller_p, smaller_u, true, &f.arena);
  f.controls.push_back(c);
  _orv_setup_control_fast_retraction(c);  // reset and compress once: no evidence slicing
  return c;
}

// Per node result: the first of the smallest separators holding its node,
// or null; one pass over the separators' members.
ArenaVector<const Separator *> smallest_separators(JunctionForest &f) {
  ArenaVector<const Separator *> smallest(f.results.size(), nullptr, ArenaAllocator<const Separator *>(f.arena));
  for (const auto &s : f.separators)
    for (orv_node_t n : s->table->nodes) {
      if (!n->results) continue;
      const Separator *&best = smallest[static_cast<std::size_t>(n->results - f.results.data())];
      if (!best || s->table->size < best->table->size) best = s.get();
    }
  return smallest;
}

void node_controls(JunctionForest &f, NodeResults &r, const Separator *smallest) {
  orv_node_t n = r.node;
  orv_clique_s *c = n->assigned_clique;
  if (n->is_discrete()) {
    const orv_node_t alone[] = {n, nullptr};
    f.node_tables.reserve(f.node_tables.size() + 1);
    // Record and data in the forest's arena (the data marked pooled, so the
    // table never frees it).
    orv_table_s *evidence = _orv_create_table(f.domain, alone, orv_table_probability, 1, false, false, &f.arena);
    f.node_tables.push_back(evidence);
    r.evidence_table = evidence;
    evidence->data = static_cast<double *>(f.arena.allocate(size_multiply(evidence->size, sizeof(double)), alignof(double)));
    evidence->data_pooled = true;
    _orv_init_table(evidence);
    r.evidence_control = control(f, c->table, nullptr, r.evidence_table, nullptr);
    if (c->utility) {
      r.belief_control = control(f, c->table, c->utility, r.evidence_table, nullptr);
    } else if (const Separator *s = smallest; s && s->table->size < c->table->size) {
      // In equilibrium a separator holds the marginal of both its cliques.
      r.belief_control = control(f, s->table, nullptr, r.evidence_table, nullptr);
    } else {
      r.belief_control = r.evidence_control;
    }
  }
  orv_table_s *potential = node_potential(n);
  if (!potential) return;
  if (n->category == orv_category_utility) {
    r.potential_control = control(f, nullptr, c->utility, nullptr, potential);
    r.family_control = control(f, c->table, nullptr, potential, nullptr);
  } else {
    r.potential_control = control(f, c->table, nullptr, potential, nullptr);
  }
}

// Pre-order from the root: the first clique reached that holds a node is the
// node's top clique.
void find_top_cliques(orv_clique_s *c, orv_clique_s *from) {
  for (orv_node_t n : c->table->nodes) {
    if (!n->is_discrete() || !n->results || n->results->top_clique) continue;
    n->results->top_clique = c;
    c->top_nodes.push_back(n);
  }
  for (const CliqueLink &link : c->links)
    if (link.neighbor != from) find_top_cliques(link.neighbor, c);
}

}  // namespace

void create_forest_controls(JunctionForest &f) {
  // At most two per link and five per node: the lists never grow below.
  f.controls.reserve(2 * f.separators.size() + 5 * f.results.size());
  f.node_tables.reserve(f.results.size());
  for (auto &clique : f.clique_store)
    for (CliqueLink &link : clique->links)
      link.control = control(f, clique->table, clique->utility, link.separator->table, link.separator->utility);
  const ArenaVector<const Separator *> smallest = smallest_separators(f);
  for (std::size_t i = 0; i < f.results.size(); ++i) node_controls(f, f.results[i], smallest[i]);
  for (orv_junction_tree_s *t = f.first_tree; t; t = t->next) find_top_cliques(t->root, nullptr);
  for (NodeResults &r : f.results)
    if (r.top_clique)
      r.top_control = r.top_clique == r.node->assigned_clique && !r.top_clique->utility
                          ? r.evidence_control
                          : control(f, r.top_clique->table, nullptr, r.evidence_table, nullptr);
}

void free_forest_controls(JunctionForest &f) noexcept {
  // Newest first: each is then at the head of the domain's chain, so freeing
  // the forest's controls takes linear time.
  for (auto c = f.controls.rbegin(); c != f.controls.rend(); ++c) _orv_free_control(*c);
  f.controls.clear();
}

}  // namespace orv
