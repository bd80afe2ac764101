// Single policy updating: each unmade decision in turn gets the policy that
// is optimal given the others, until a whole pass over the decision order
// changes nothing. The tree is then propagated under the new policies.
#include "decisions/spu.h"

#include <algorithm>

#include "decisions/decision_order.h"
#include "decisions/policy_update.h"
#include "decisions/tree_solver.h"
#include "inference/evidence.h"
#include "inference/evidence_validity.h"
#include "inference/propagation.h"
#include "runtime/error.h"

namespace orv {

namespace {

bool unmade(const orv_node_s *d) {
  return d->selected_state == kNoEvidence && d->state_count > 1 && has_compiled_policy(d);
}

// Everything one tree's update needs, allocated before anything changes.
struct TreeUpdate {
  explicit TreeUpdate(orv_junction_tree_s *t, DecisionRange decisions) : solver(t) {
    for (orv_node_t d : decisions)
      if (unmade(d)) unmade_order.push_back(d);
    for (orv_node_t d : unmade_order) saved.emplace_back(d->table->data, d->table->data + d->table->size);
    const std::size_t widest = std::max<std::size_t>(solver.widest_family(), 1);
    probability.resize(widest);
    weighted.resize(widest);
    optimal.resize(widest);
  }

  void restore_policies() noexcept {
    for (std::size_t i = 0; i < unmade_order.size(); ++i)
      std::copy(saved[i].begin(), saved[i].end(), unmade_order[i]->table->data);
  }

  TreeSolver solver;
  Vector<orv_node_t> unmade_order;
  Vector<Vector<double>> saved;  // the policies as they were
  Vector<double> probability, weighted;
  Vector<unsigned char> optimal;
};

bool update_one(TreeUpdate &u, orv_node_t d, std::size_t pass, PolicyUpdateObserver *observer) {
  u.solver.family_values(d, u.probability.data(), u.weighted.data());
  const std::size_t options = d->state_count, rows = d->table->size / options;
  const bool changed = update_policy(d->table->data, u.weighted.data(), rows, options, u.optimal.data());
  if (observer)
    observer->updated({d, pass, changed, rows, options, u.probability.data(), u.weighted.data(), u.optimal.data()});
  return changed;
}

void perform_SPU(TreeUpdate &u, PolicyUpdateObserver *observer) {
  orv_node_t last_changed = nullptr;
  for (std::size_t pass = 1;; ++pass) {
    for (orv_node_t d : u.unmade_order) {
      if (d == last_changed) return;  // a whole pass went by without a change
      if (!update_one(u, d, pass, observer)) continue;
      u.solver.invalidate_from(d->assigned_clique);
      last_changed = d;
    }
    if (!last_changed) return;
  }
}

void jt_update_policies(orv_junction_tree_s *t, DecisionRange decisions, PolicyUpdateObserver *observer) {
  TreeUpdate u(t, decisions);
  if (u.unmade_order.empty()) return;
  try {
    u.solver.load_base();
    perform_SPU(u, observer);
    reset_tree(t, orv_mode_normal);
    make_consistent(t, orv_equilibrium_sum, orv_mode_normal, nullptr);
  } catch (...) {
    const orv_error_t code = error_code();
    u.restore_policies();
    try {
      reset_tree(t, orv_mode_normal);
    } catch (...) {
      t->initialize_tables = true;
    }
    t->equilibrium = orv_equilibrium_none;
    set_error(code);
    throw;
  }
}

void check_request(orv_domain_s *d, JunctionForest &f) {
  for (orv_junction_tree_s *t = f.first_tree; t; t = t->next)
    if (t->equilibrium != orv_equilibrium_sum || t->mode != orv_mode_normal || t->evidence_to_propagate > 0 ||
        t->tables_changed)
      fail(orv_error_usage);
  if (!_orv_domain_evidence_is_valid(d)) fail(orv_error_invalid_evidence);
}

}  // namespace

void update_policies(orv_domain_s *d, PolicyUpdateObserver *observer) {
  if (!domain_is_compiled(d)) fail(orv_error_not_compiled);
  JunctionForest &f = *junction_forest(d);
  check_request(d, f);
  if (d->utility_count == 0) return;
  DecisionData &data = _orv_domain_create_decision_order(f);
  for (orv_junction_tree_s *t = f.first_tree; t; t = t->next) {
    if (!t->has_utility) continue;
    const orv_error_t saved = error_code();
    jt_update_policies(t, tree_decisions(data, f, t), observer);
    set_error(saved);
  }
}

}  // namespace orv

extern "C" {

orv_status_t orv_domain_update_policies(orv_domain_t domain) {
  if (!orv::is_domain(domain) || domain->is_class()) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] { orv::update_policies(domain, nullptr); });
}

}  // extern "C"
