// Targeted queries on networks the elimination path does not cover
// (continuous nodes, decisions, utilities, chain blocks, function nodes with
// models): a copy of the domain with its evidence is compiled and propagated,
// so that the domain, its compiled state and its evidence stay untouched.
#include <memory>

#include "inference/function_potentials.h"
#include "inference/targeted.h"
#include "model/domain.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {

namespace {

struct CopyDeleter {
  void operator()(orv_domain_s *d) const noexcept { orv_domain_delete(d); }
};
using DomainCopyPtr = std::unique_ptr<orv_domain_s, CopyDeleter>;

struct TableDeleter {
  void operator()(orv_table_s *t) const noexcept { orv_table_delete(t); }
};
using OwnedTable = std::unique_ptr<orv_table_s, TableDeleter>;

// The copy in sum equilibrium under the domain's entered evidence.
DomainCopyPtr propagated_copy(orv_domain_s *d) {
  DomainCopyPtr copy(orv_domain_clone(d));
  check(copy != nullptr);
  if (!orv_domain_is_compiled(copy.get())) check(orv_domain_compile(copy.get()) == orv_error_none);
  check(orv_domain_propagate(copy.get(), orv_equilibrium_sum, orv_mode_normal) == orv_error_none);
  return copy;
}

// The copy's nodes standing for the targets, null-terminated.
Vector<orv_node_t> counterparts(orv_domain_s *copy, orv_node_s *const *targets) {
  Vector<orv_node_t> list;
  for (orv_node_s *const *t = targets; *t; ++t) list.push_back(orv_domain_get_node_by_name(copy, orv_node_get_name(*t)));
  list.push_back(nullptr);
  return list;
}

void store_log_pe(orv_domain_s *copy, double *log_pe) {
  if (!log_pe) return;
  const double value = orv_domain_get_log_normalization_constant(copy);
  check(error_code() == orv_error_none);
  *log_pe = value;
}

}  // namespace

bool needs_compiled_copy(const orv_domain_s *d) {
  if (d->decision_count > 0 || d->utility_count > 0 || d->continuous_count > 0 || d->first_chain_block) return true;
  // Discrete function nodes with models take their potential from their
  // parents' posterior in other junction trees.
  for (const orv_node_s *n = d->first_node; n; n = n->next)
    if (derives_potential(n)) return true;
  return false;
}

orv_table_s *compiled_copy_marginal(orv_domain_s *d, orv_node_s *const *targets, double *log_pe) {
  OwnedTable result(_orv_create_table(d, targets, orv_table_probability, 0, true, false));
  DomainCopyPtr copy = propagated_copy(d);
  if (targets[0]) {
    Vector<orv_node_t> list = counterparts(copy.get(), targets);
    OwnedTable marginal(orv_domain_get_marginal(copy.get(), list.data()));
    check(marginal != nullptr);
    std::copy(marginal->data, marginal->data + marginal->size, result->data);
  } else {
    result->data[0] = 1.0;
  }
  store_log_pe(copy.get(), log_pe);
  return result.release();
}

void compiled_copy_beliefs(orv_domain_s *d, orv_node_s *const *targets, double *beliefs, double *log_pe) {
  DomainCopyPtr copy = propagated_copy(d);
  const Vector<orv_node_t> list = counterparts(copy.get(), targets);
  Vector<double> out;
  for (std::size_t i = 0; list[i]; ++i)
    for (std::size_t s = 0; s < list[i]->state_count; ++s) {
      out.push_back(orv_node_get_belief(list[i], s));
      check(error_code() == orv_error_none);
    }
  store_log_pe(copy.get(), log_pe);
  std::copy(out.begin(), out.end(), beliefs);
}

}  // namespace orv
