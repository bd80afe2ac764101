// EM settings and the scores of the case data: log-likelihood, AIC and BIC.
#include <cmath>

#include "learning/case_store.h"
#include "learning/em.h"
#include "runtime/error.h"

using orv::guarded;
using orv::guarded_status;
using orv::usage;

extern "C" {

orv_status_t orv_domain_set_log_likelihood_tolerance(orv_domain_t domain, double tolerance) {
  if (!orv::is_learning_domain(domain) || !(tolerance >= 0.0)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  domain->log_likelihood_tolerance = tolerance;
  return orv_error_none;
}

double orv_domain_get_log_likelihood_tolerance(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return usage(-1.0);
  orv::set_error(orv_error_none);
  return domain->log_likelihood_tolerance;
}

orv_status_t orv_domain_set_max_number_of_em_iterations(orv_domain_t domain, size_t count) {
  if (!orv::is_learning_domain(domain)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  domain->max_em_iterations = count;
  return orv_error_none;
}

size_t orv_domain_get_max_number_of_em_iterations(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return usage(orv::kSizeSentinel);
  orv::set_error(orv_error_none);
  return domain->max_em_iterations;
}

orv_status_t _orv_domain_set_progress_handler(orv_domain_t domain, orv_em_progress_handler_t handler, void *data) {
  if (!orv::is_learning_domain(domain)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  domain->em_progress_handler = handler;
  domain->em_progress_data = data;
  return orv_error_none;
}

double orv_domain_get_log_likelihood(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return usage(1.0);
  return guarded<double>(1.0, [&] { return orv::compute_log_likelihood(domain); });
}

double orv_domain_get_AIC(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return usage(1.0);
  return guarded<double>(1.0, [&] { return orv::compute_log_likelihood(domain) - orv::free_parameters(domain); });
}

double orv_domain_get_BIC(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return usage(1.0);
  return guarded<double>(1.0, [&] {
    const double m = orv::total_case_weight(domain);
    if (!(m > 0.0)) orv::fail(orv_error_usage);
    return orv::compute_log_likelihood(domain) - orv::free_parameters(domain) / 2 * std::log(m);
  });
}

}  // extern "C"
