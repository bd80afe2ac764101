// EM learning of the tables of the nodes with experience tables: the
// preconditions, the iteration with its log lines, stopping rules and
// progress handler, and what learning leaves behind.
#include <cfloat>
#include <cmath>
#include <cstdio>

#include "inference/evidence.h"
#include "inference/propagation.h"
#include "learning/case_store.h"
#include "learning/em.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

namespace {

// Compiled (not_compiled), with no table change waiting to be propagated
// (usage); learning also needs sum equilibrium in normal mode.
void check_tree_states(orv_domain_s *d, bool for_learning) {
  if (!domain_is_compiled(d)) fail(orv_error_not_compiled);
  for (orv_junction_tree_s *t = junction_forest(d)->first_tree; t; t = t->next) {
    if (t->tables_changed) fail(orv_error_usage);
    if (for_learning && (t->equilibrium != orv_equilibrium_sum || t->mode != orv_mode_normal))
      fail(orv_error_usage);
  }
}

void check_limid(orv_domain_s *d) {
  if (d->decision_count > 1 && !function_nodes_satisfy_limid_constraints(d)) fail(orv_error_functional_dependency);
}

}  // namespace

void check_learning_preconditions(orv_domain_s *d) {
  if (!(total_case_weight(d) > 0.0)) fail(orv_error_usage);
  check_tree_states(d, true);
  for (orv_junction_tree_s *t = junction_forest(d)->first_tree; t; t = t->next)
    if (t->discrete_evidence || t->likelihood_evidence || t->cg_evidence) fail(orv_error_usage);
  check_limid(d);
}

namespace {

void check_write(orv_domain_s *d, int written) {
  if (written < 0 || std::fflush(d->log) != 0) fail(orv_error_io);
}

void log_header(orv_domain_s *d) {
  if (!d->log) return;
  const int written = d->case_counts
                          ? std::fprintf(d->log, "\n\nEM learning with %g cases:\n\n", total_case_weight(d))
                          : std::fprintf(d->log, "\n\nEM learning with %s cases:\n\n",
                                         _orv_print_size(d, d->number_of_cases));
  check_write(d, written);
}

void log_footer(orv_domain_s *d, double log_likelihood) {
  if (!d->log) return;
  const double k = free_parameters(d), m = total_case_weight(d);
  int written = std::fputs("\nEM learning - final results:\n\n", d->log);
  if (written >= 0) written = std::fprintf(d->log, "    Log-likelihood: %g\n", log_likelihood);
  if (written >= 0) written = std::fprintf(d->log, "    AIC: %g\n", log_likelihood - k);
  if (written >= 0) written = std::fprintf(d->log, "    BIC: %g\n", log_likelihood - k / 2 * std::log(m));
  check_write(d, written);
}

bool has_incomplete_cases(const Vector<signed char> &flags) {
  for (signed char f : flags)
    if (f == 0) return true;
  return false;
}

}  // namespace

void run_em(orv_domain_s *d, Vector<LearnedNode> &learned, const Vector<signed char> &flags, bool initialise) {
  EvidenceSnapshot evidence(d);
  const bool incomplete = has_incomplete_cases(flags);
  try {
    prepare_cg_tables(d, learned, initialise);
    EStepRunner runner(d, learned, flags, em_worker_count(d, flags));
    log_header(d);
    junction_forest(d)->saved.reset();  // a saved equilibrium would outlive the tables
    double previous = -DBL_MAX;
    std::size_t iteration = 0;
    for (;;) {
      const double log_likelihood = runner.run(true);
      ++iteration;
      if (d->log)
        check_write(d, std::fprintf(d->log, "    Log-likelihood for iteration %s: %g\n",
                                    _orv_print_size(d, iteration), log_likelihood));
      bool stop = !incomplete || (d->max_em_iterations != 0 && iteration >= d->max_em_iterations) ||
                  std::fabs(log_likelihood - previous) <= std::fabs(log_likelihood) * d->log_likelihood_tolerance;
      if (d->em_progress_handler && d->em_progress_handler(log_likelihood, iteration, d->em_progress_data) == 0)
        stop = true;
      m_step_all(learned);
      runner.tables_changed();
      previous = log_likelihood;
      if (stop) break;
    }
    // The final log-likelihood for the log comes from the same E-step.
    if (d->log) {
      d->cached_log_likelihood = runner.run(false);
      d->log_likelihood_valid = true;
    }
  } catch (...) {
    restore_cg_tables(learned);
    evidence.restore_quietly();
    throw;
  }
  try {
    evidence.restore_and_settle();
  } catch (...) {
    // Settle again on the restored tables, so that the domain can learn again.
    restore_cg_tables(learned);
    evidence.restore_quietly();
    throw;
  }
  if (d->log) log_footer(d, d->cached_log_likelihood);
  for (std::size_t k = 0; k < learned.size(); ++k)
    if (learned[k].leader == k) update_experience(learned[k]);
}

namespace {

void learn_tables(orv_domain_s *d) {
  check_learning_preconditions(d);
  const Vector<signed char> flags = case_flags(d);
  Vector<LearnedNode> learned = learned_nodes(d);
  if (learned.empty()) fail(orv_error_usage);
  run_em(d, learned, flags, true);
}

}  // namespace

EvidenceSnapshot::EvidenceSnapshot(orv_domain_s *d) : d_(d) {
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if (n->counts_as_variable())
      saved_.push_back(Saved{n, n->selected_state, n->value_evidence, n->entered_value, n->cg_entered, n->cg_value});
}

bool EvidenceSnapshot::restore() noexcept {
  bool any = false;
  for (const Saved &s : saved_) {
    EvidenceCountUpdate update(s.node);
    s.node->selected_state = s.selected_state;
    s.node->value_evidence = s.value_evidence;
    s.node->entered_value = s.entered_value;
    s.node->cg_entered = s.cg_entered;
    s.node->cg_value = s.cg_value;
    any = any || evidence_is_entered(s.node);
  }
  return any;
}

void EvidenceSnapshot::restore_quietly() noexcept {
  const orv_error_t saved = error_code();
  restore();
  reset_inference_engine(*junction_forest(d_));
  try {
    propagate_domain(d_, orv_equilibrium_sum, orv_mode_normal);
  } catch (...) {
    // The trees stay reset; the first cause is what the caller reports.
  }
  set_error(saved);
}

void EvidenceSnapshot::restore_and_settle() {
  restore();
  reset_inference_engine(*junction_forest(d_));
  propagate_domain(d_, orv_equilibrium_sum, orv_mode_normal);
}

double compute_log_likelihood(orv_domain_s *d) {
  if (d->log_likelihood_valid) return d->cached_log_likelihood;
  if (d->number_of_cases == 0) return 0.0;
  check_tree_states(d, false);
  check_limid(d);
  const Vector<signed char> flags = case_flags(d);
  Vector<LearnedNode> none;
  EvidenceSnapshot evidence(d);
  double log_likelihood;
  try {
    EStepRunner runner(d, none, flags, 1);
    log_likelihood = runner.run(false);
  } catch (...) {
    evidence.restore_quietly();
    throw;
  }
  evidence.restore_and_settle();
  d->cached_log_likelihood = log_likelihood;
  d->log_likelihood_valid = true;
  return log_likelihood;
}

}  // namespace orv

extern "C" {

orv_status_t orv_domain_learn_tables(orv_domain_t domain) {
  if (!orv::is_domain(domain) || domain->is_class()) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] { orv::learn_tables(domain); });
}

}  // extern "C"
