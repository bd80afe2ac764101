// Lifecycle of the junction forest records and the lookups the other layers
// use to reach them from a domain or a node.
#include "compile/junction_forest.h"

#include "compile/build_forest.h"
#include "compile/compiled_domain.h"

namespace orv {

Separator::~Separator() {
  _orv_free_table(utility);
  _orv_free_table(table);
}

JunctionForest::~JunctionForest() {
  for (orv_node_s *n = domain->first_node; n; n = n->next) {
    n->junction_tree = nullptr;
    n->assigned_clique = nullptr;
    n->results = nullptr;
    n->propagated_state = -1;
    n->cg_propagated = false;
  }
  free_forest_controls(*this);
  release_buffers();
  for (auto t = node_tables.rbegin(); t != node_tables.rend(); ++t) _orv_free_table(*t);
  while (!separators.empty()) separators.pop_back();
  // Newest first, so that table numbers stay dense while freeing.
  while (!clique_store.empty()) clique_store.pop_back();
  tree_store.clear();
}

void JunctionForest::release_buffers() noexcept {
  for (double **buffer : {&separator_buffer, &separator_utility_buffer, &check_buffer, &clique_buffer,
                          &family_buffer, &table_pool}) {
    _orv_free(*buffer);
    *buffer = nullptr;
  }
}

JunctionForest *junction_forest(const orv_domain_s *d) {
  CompiledDomain *state = compiled_domain(const_cast<orv_domain_s *>(d));
  return state ? static_cast<JunctionForest *>(state->forest.get()) : nullptr;
}

void attach_forest(orv_domain_s *d, Owned<JunctionForest> forest) {
  // A forest built from cliques given directly gets a bare compiled state.
  if (!compiled_domain(d)) attach_triangulation(d, make_owned<CompiledDomain>());
  compiled_domain(d)->forest.reset(forest.release());
}

void detach_forest(orv_domain_s *d) noexcept {
  if (CompiledDomain *state = compiled_domain(d)) state->forest.reset();
}

bool domain_is_compiled(const orv_domain_s *d) {
  const JunctionForest *f = junction_forest(d);
  return f && f->compiled;
}

bool is_clique(const orv_clique_s *c) { return c && c->tag == Tag::clique; }
bool is_junction_tree(const orv_junction_tree_s *t) { return t && t->tag == Tag::junction_tree; }

NodeResults *node_results(const orv_node_s *n) { return n->results; }

}  // namespace orv

orv_clique_s::~orv_clique_s() {
  orv::_orv_free_table(utility);
  orv::_orv_free_table(table);
}
