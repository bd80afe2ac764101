// Making a junction tree consistent: the reset decision, incremental entry of
// evidence changes, the choice of cliques and root, and the collect and
// distribute passes with normalization.
#include "inference/propagation.h"

#include <cfloat>
#include <cmath>
#include <optional>

#include "inference/absorption.h"
#include "inference/cg_propagation.h"
#include "inference/d_connection.h"
#include "inference/evidence.h"
#include "inference/function_potentials.h"
#include "runtime/error.h"
#include "tables/control.h"

namespace orv {

namespace {

bool evidence_incorporated(const orv_junction_tree_s *t) {
  for (orv_node_t n : t->nodes)
    if (evidence_is_propagated(n)) return true;
  return false;
}

// An incremental change of n's evidence is possible when every state that
// the propagated evidence ruled out stays ruled out.
bool needs_retraction(const orv_node_s *n) {
  if (!n->is_discrete() || n->propagated_state == kNoEvidence) return false;
  for (std::size_t s = 0; s < n->state_count; ++s)
    if (propagated_weight(n, s) == 0.0 && entered_weight(n, s) != 0.0) return true;
  return false;
}

// A decision made or unmade changes which of its policy and its evidence the
// initial tables hold.
bool decision_evidence_changed(const orv_junction_tree_s *t) {
  for (orv_node_t n : t->nodes)
    if (n->category == orv_category_decision && evidence_to_propagate(n)) return true;
  return false;
}

bool must_reset(const orv_junction_tree_s *t, orv_evidence_mode_t mode) {
  if (t->initialize_tables || t->tables_changed) return true;
  if (decision_evidence_changed(t)) return true;
  if (t->freshly_loaded) return false;  // a reset just loaded the initial tables
  if (t->equilibrium == orv_equilibrium_none) return true;
  const bool incorporated = evidence_incorporated(t);
  if (incorporated && mode != t->mode) return true;
  if (t->evidence_to_propagate == 0) return false;
  if (mode == orv_mode_fast_retraction) return true;  // evidence is re-entered as a whole
  for (orv_node_t n : t->nodes)
    if (evidence_to_propagate(n) && needs_retraction(n)) return true;
  return false;
}

void take_entered_evidence(orv_node_s *n) {
  n->propagated_state = n->selected_state;
  if (n->selected_state == kFindingVector)
    for (std::size_t s = 0; s < n->state_count; ++s) n->results->propagated_finding[s] = n->entered_finding[s];
}

// Multiplies the ratio of new to old evidence into the node's clique.
void enter_change(orv_node_s *n) {
  NodeResults *r = n->results;
  double *factor = r->evidence_table->data;
  for (std::size_t s = 0; s < n->state_count; ++s) {
    const double old_weight = propagated_weight(n, s), new_weight = entered_weight(n, s);
    factor[s] = old_weight == 0.0 ? 0.0 : new_weight / old_weight;
  }
  _orv_combine(r->evidence_control);
}

// Enters the evidence changes; returns whether any clique received new evidence.
bool enter_evidence(orv_junction_tree_s *t, orv_evidence_mode_t mode) {
  for (orv_clique_s *c : t->cliques)
    if (c) c->status = 0;
  bool any = false;
  for (orv_node_t n : t->nodes) {
    if (!n->is_discrete() || !evidence_to_propagate(n)) continue;
    if (mode == orv_mode_normal) {
      enter_change(n);
    } else {
      // Kept apart: the evidence table holds the weights, applied on the fly.
      for (std::size_t s = 0; s < n->state_count; ++s) n->results->evidence_table->data[s] = entered_weight(n, s);
    }
    take_entered_evidence(n);
    n->assigned_clique->status = 1;
    any = true;
  }
  return any;
}

// Marks the cliques on paths between cliques with status set: returns the
// number of such cliques below and at c.
std::size_t mark_span(orv_clique_s *c, orv_clique_s *from, std::size_t total) {
  std::size_t below = c->status ? 1 : 0, branches = 0;
  for (const CliqueLink &link : c->links) {
    if (link.neighbor == from) continue;
    const std::size_t k = mark_span(link.neighbor, c, total);
    below += k;
    if (k > 0) ++branches;
  }
  c->mark = c->status || branches >= 2 || (branches == 1 && total > below) ? 1 : 0;
  return below;
}

orv_clique_s *choose_root(orv_junction_tree_s *t, orv_clique_s *given, orv_evidence_mode_t mode) {
  // Fast retraction applies evidence relative to the tree's own root.
  if (mode == orv_mode_fast_retraction) return t->root;
  if (given) return given;
  orv_clique_s *best = nullptr;
  for (orv_clique_s *c : t->cliques) {
    if (!c || !c->mark) continue;
    if (t->has_continuous) return t->root;
    if (!best || c->table->size < best->table->size) best = c;
  }
  return best ? best : t->root;
}

void mark_cliques(orv_junction_tree_s *t, orv_clique_s *given, bool all) {
  if (all) {
    for (orv_clique_s *c : t->cliques)
      if (c) c->mark = 1;
    return;
  }
  if (given) given->status = 1;
  std::size_t total = 0;
  for (orv_clique_s *c : t->cliques)
    if (c && c->status) ++total;
  mark_span(t->root, nullptr, total);
}

void collect(orv_clique_s *c, orv_clique_s *from, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  for (const CliqueLink &link : c->links) {
    if (link.neighbor == from || !link.neighbor->mark) continue;
    collect(link.neighbor, c, equilibrium, mode);
    absorb(c, link.neighbor, equilibrium, mode, Direction::collect);
  }
}

void distribute(orv_clique_s *c, orv_clique_s *from, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  for (const CliqueLink &link : c->links) {
    if (link.neighbor == from) continue;
    absorb(link.neighbor, c, equilibrium, mode, Direction::distribute);
    distribute(link.neighbor, c, equilibrium, mode);
  }
}

void check_constant(double c) {
  if (!(c < DBL_MAX)) {
    if (std::isnan(c)) fail(orv_error_inconsistency_or_underflow);
    fail(orv_error_overflow);
  }
  if (c < DBL_MIN) fail(orv_error_inconsistency_or_underflow);
}

void normalize(orv_junction_tree_s *t, orv_clique_s *root, orv_equilibrium_t equilibrium,
               orv_evidence_mode_t mode) {
  const double c = clique_total(root, equilibrium, mode);
  check_constant(c);
  root->scale /= c;
  double *data = root->table->data;
  const double inverse = 1.0 / c;
  for (std::size_t i = 0, n = root->table->size; i < n; ++i) data[i] *= inverse;
  t->constant *= c;
  t->log_constant += std::log(c);
  t->accumulated_constant *= c;
  t->accumulated_log += std::log(c);
}

// Fast retraction: the conflict takes each evidence node's own probability.
void finish_conflict(orv_junction_tree_s *t, orv_clique_s *root, orv_equilibrium_t equilibrium,
                     orv_evidence_mode_t mode) {
  if (mode == orv_mode_fast_retraction) {
    for (orv_node_t n : t->nodes) {
      if (!n->is_discrete() || n->propagated_state == kNoEvidence) continue;
      double p = 0.0;
      for (std::size_t s = 0; s < n->state_count; ++s) {
        const double term = n->results->belief[s] * propagated_weight(n, s);
        p = equilibrium == orv_equilibrium_sum ? p + term : std::max(p, term);
      }
      root->scale *= p;
    }
  }
  t->conflict = root->scale;
}

void recompute_flags(orv_junction_tree_s *t) {
  t->discrete_evidence = t->likelihood_evidence = t->cg_evidence = false;
  for (orv_node_t n : t->nodes) {
    if (n->is_discrete() && n->propagated_state != kNoEvidence) t->discrete_evidence = true;
    if (likelihood_is_propagated(n)) t->likelihood_evidence = true;
    if (n->is_continuous() && n->cg_propagated) t->cg_evidence = true;
  }
}

// CG trees are propagated as a whole from the node tables.
void propagate_cg(orv_junction_tree_s *t) {
  t->freshly_loaded = false;
  t->conflict = 1.0;
  for (orv_node_t n : t->nodes) {
    if (n->is_discrete()) {
      take_entered_evidence(n);
    } else {
      n->cg_propagated = n->cg_entered;
      n->cg_propagated_value = n->cg_value;
    }
  }
  propagate_cg_tree(t);
  t->equilibrium = orv_equilibrium_sum;
  t->evidence_to_propagate = 0;
  recompute_flags(t);
}

// Only the nodes d-connected to the new evidence can change their beliefs when
// the previous sum equilibrium in normal mode is extended by new evidence
// alone. Max-marginals do not keep that independence, and utilities and
// undirected links need the whole tree.
bool beliefs_incremental(const orv_junction_tree_s *t, orv_equilibrium_t equilibrium,
                         orv_evidence_mode_t mode, orv_evidence_mode_t prior_mode) {
  return equilibrium == orv_equilibrium_sum && t->equilibrium == equilibrium && mode == orv_mode_normal &&
         prior_mode == orv_mode_normal && !t->tables_changed && !t->has_utility &&
         !t->domain->first_chain_block;
}

void propagate_tree(orv_junction_tree_s *t, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode,
                    orv_clique_s *given_root) {
  const bool reset = must_reset(t, mode);
  if (!reset && equilibrium == t->equilibrium && (mode == t->mode || !evidence_incorporated(t)) &&
      t->evidence_to_propagate == 0) {
    t->mode = mode;  // without evidence the modes agree
    return;
  }
  if (t->has_continuous) {
    reset_tree(t, mode);
    t->mode = mode;
    propagate_cg(t);
    return;
  }
  const orv_evidence_mode_t prior_mode = t->mode;
  if (reset) reset_tree(t, mode);
  ++t->serial;
  std::optional<DConnected> changed;
  if (beliefs_incremental(t, equilibrium, mode, prior_mode)) changed.emplace(*junction_forest(t->domain), t);
  t->mode = mode;
  t->freshly_loaded = false;
  for (orv_clique_s *c : t->cliques)
    if (c) c->scale = 1.0;
  t->conflict = 1.0;
  t->constant = 1.0;
  t->log_constant = 0.0;
  enter_evidence(t, mode);
  const bool all = equilibrium != t->equilibrium || mode == orv_mode_fast_retraction;
  mark_cliques(t, given_root, all);
  orv_clique_s *root = choose_root(t, given_root, mode);
  root->mark = 1;
  collect(root, nullptr, equilibrium, mode);
  normalize(t, root, equilibrium, mode);
  distribute(root, nullptr, equilibrium, mode);
  t->equilibrium = equilibrium;
  t->mode = mode;
  update_beliefs(t, changed.has_value());
  finish_conflict(t, root, equilibrium, mode);
  t->evidence_to_propagate = 0;
  recompute_flags(t);
}

}  // namespace

void make_consistent(orv_junction_tree_s *t, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode,
                     orv_clique_s *root) {
  try {
    update_derived_potentials(t);
    propagate_tree(t, equilibrium, mode, root);
  } catch (...) {
    const orv_error_t saved = error_code();
    try {
      reset_tree(t, mode);
    } catch (...) {
      t->initialize_tables = true;
    }
    t->equilibrium = orv_equilibrium_none;
    set_error(saved);
    throw;
  }
}

namespace {

// Depth first: the trees a tree's derived potentials depend on come first.
void visit_prerequisites(orv_junction_tree_s *t, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  for (orv_junction_tree_s *p : t->prerequisites) {
    if (p->visited) continue;
    p->visited = true;
    visit_prerequisites(p, equilibrium, mode);
    make_consistent(p, equilibrium, mode, nullptr);
  }
}

void clear_visits(JunctionForest &forest) noexcept {
  for (orv_junction_tree_s *t = forest.first_tree; t; t = t->next) t->visited = false;
}

}  // namespace

void make_consistent_after_prerequisites(orv_junction_tree_s *t, orv_equilibrium_t equilibrium,
                                         orv_evidence_mode_t mode, orv_clique_s *root) {
  JunctionForest &forest = *junction_forest(t->domain);
  try {
    schedule_prerequisites(forest);
    t->visited = true;
    visit_prerequisites(t, equilibrium, mode);
  } catch (...) {
    clear_visits(forest);
    throw;
  }
  clear_visits(forest);
  make_consistent(t, equilibrium, mode, root);
}

void propagate_domain(orv_domain_s *d, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  JunctionForest *forest = junction_forest(d);
  try {
    schedule_prerequisites(*forest);
    for (orv_junction_tree_s *t = forest->first_tree; t; t = t->next) {
      if (t->visited) continue;
      t->visited = true;
      visit_prerequisites(t, equilibrium, mode);
      make_consistent(t, equilibrium, mode, nullptr);
    }
  } catch (...) {
    clear_visits(*forest);
    reset_inference_engine(*forest);
    throw;
  }
  clear_visits(*forest);
}

}  // namespace orv
