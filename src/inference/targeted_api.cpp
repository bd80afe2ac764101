// Entry points of the targeted queries: argument checks, then the work.
#include "inference/targeted.h"
#include "runtime/error.h"

namespace {

// Discrete chance or function nodes of the domain; repeats only when allowed.
bool valid_targets(orv_domain_t d, orv_node_t const *nodes, bool repeats_allowed) {
  for (orv_node_t const *n = nodes; *n; ++n) {
    if (!orv::is_node(*n) || (*n)->owner != d || !(*n)->is_discrete()) return false;
    if ((*n)->category != orv_category_chance && (*n)->category != orv_category_function) return false;
    if (repeats_allowed) continue;
    for (orv_node_t const *m = nodes; m != n; ++m)
      if (*m == *n) return false;
  }
  return true;
}

bool valid_domain(orv_domain_t d) { return orv::is_domain(d) && !d->is_class(); }

}  // namespace

extern "C" {

orv_table_t orv_domain_query_marginal(orv_domain_t domain, orv_node_t *nodes, double *log_pe) {
  if (!valid_domain(domain) || !nodes || !valid_targets(domain, nodes, false))
    return orv::usage<orv_table_t>(nullptr);
  return orv::guarded<orv_table_t>(nullptr, [&] { return orv::targeted_marginal(domain, nodes, log_pe); });
}

orv_status_t orv_domain_query_beliefs(orv_domain_t domain, orv_node_t *nodes, double *beliefs, double *log_pe) {
  if (!valid_domain(domain) || !nodes || (nodes[0] && !beliefs) || !valid_targets(domain, nodes, true))
    return orv::usage(orv_error_usage);
  return orv::guarded_status([&] { orv::targeted_beliefs(domain, nodes, beliefs, log_pe); });
}

}  // extern "C"
