// Reloading junction trees into their initial state: clique tables from the
// node potentials (or from the copy saved in memory), separators to unity,
// and no evidence incorporated.
#include <algorithm>

#include "inference/d_connection.h"
#include "inference/evidence.h"
#include "inference/propagation.h"
#include "inference/saved_tables.h"
#include "runtime/error.h"
#include "tables/control.h"

namespace orv {

namespace {

// A decision that has been made (instantiated) is represented by its
// evidence alone: its policy is left out, so that the choice tells nothing
// about the decision's parents.
bool policy_replaced(const orv_node_s *n) { return n->category == orv_category_decision && n->selected_state >= 0; }

// Writes a clique's tables from its assigned potentials: the first potential
// of each part overwrites it (one write pass over fresh memory), the rest
// combine in; a part no potential reaches is initialised.
void load_clique(orv_clique_s *c) {
  CombinedParts fresh{true, c->utility != nullptr};
  for (orv_node_t n : c->assigned) {
    if (policy_replaced(n)) continue;
    const CombinedParts written = _orv_combine_into_fresh(n->results->potential_control, fresh);
    fresh.probability &= !written.probability;
    fresh.utility &= !written.utility;
  }
  if (fresh.probability) _orv_init_table(c->table);
  if (fresh.utility) _orv_init_table(c->utility);
}

void load_from_potentials(orv_junction_tree_s *t) {
  for (orv_clique_s *c : t->cliques) {
    if (!c) break;
    // CG trees are built from the node tables by their propagation.
    if (t->has_continuous) {
      _orv_init_table(c->table);
      if (c->utility) _orv_init_table(c->utility);
    } else {
      load_clique(c);
    }
    for (const CliqueLink &link : c->links) {
      if (link.separator->child != c) continue;
      _orv_init_table(link.separator->table);
      if (link.separator->utility) _orv_init_table(link.separator->utility);
    }
  }
}

}  // namespace

void reset_tree(orv_junction_tree_s *t, orv_evidence_mode_t mode) {
  JunctionForest &f = *junction_forest(t->domain);
  t->equilibrium = orv_equilibrium_none;
  t->initialize_tables = true;
  ++t->serial;
  for (orv_node_t n : t->nodes) {
    n->propagated_state = kNoEvidence;
    n->cg_propagated = false;
  }
  t->constant = t->accumulated_constant = 1.0;
  t->log_constant = t->accumulated_log = 0.0;
  // The saved copy holds derived potentials as they were when saved.
  if (f.saved && t->prerequisites.empty()) restore_saved_tables(f, t);
  else load_from_potentials(t);
  note_unnormalized_tables(t);
  for (orv_clique_s *c : t->cliques)
    if (c) c->scale = 1.0;
  t->mode = mode;
  t->conflict = 1.0;
  t->discrete_evidence = t->likelihood_evidence = t->cg_evidence = false;
  t->tables_changed = false;
  t->initialize_tables = false;
  t->freshly_loaded = true;
  t->evidence_to_propagate = 0;
  for (orv_node_t n : t->nodes)
    if (evidence_to_propagate(n)) ++t->evidence_to_propagate;
}

void reset_inference_engine(JunctionForest &forest) noexcept {
  const orv_error_t saved = error_code();
  for (orv_junction_tree_s *t = forest.first_tree; t; t = t->next) {
    try {
      reset_tree(t, t->mode);
    } catch (...) {
      t->initialize_tables = true;
      t->equilibrium = orv_equilibrium_none;
    }
  }
  set_error(saved);
}

}  // namespace orv
