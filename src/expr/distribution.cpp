// Construction of distribution values and the masses they give to points and
// intervals, with truncation to a range renormalised.
#include "expr/distribution.h"

#include <cmath>

#include "expr/distributions_internal.h"

namespace orv {

void invalid(const char *reason) { throw EvaluationError{orv_error_invalid_expression, reason}; }

bool is_integer_valued(const Distribution &d) {
  switch (d.family) {
    case orv_op_Binomial:
    case orv_op_Poisson:
    case orv_op_NegativeBinomial:
    case orv_op_Geometric:
    case orv_op_aggregate:
    case orv_op_error: return true;
    default: return false;
  }
}

bool has_state_weights(const Distribution &d) {
  return d.family == orv_op_Distribution || d.family == orv_op_NoisyOR;
}

Distribution make_distribution(orv_operator_t family, const double *args, std::size_t count) {
  Distribution d;
  d.family = family;
  if (family == orv_op_Distribution) {
    double total = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
      if (!(args[i] >= 0.0 && std::isfinite(args[i]))) invalid("negative or infinite weight");
      total += args[i];
    }
    if (total <= 0.0) invalid("the weights sum to zero");
    d.weights.assign(args, args + count);
    return d;
  }
  for (std::size_t i = 0; i < count && i < 4; ++i) d.p[i] = args[i];
  if (family >= orv_op_Binomial && family <= orv_op_Geometric)
    check_integer(d);
  else
    check_continuous(d, count);
  return d;
}

namespace {

// P(a <= X < b) before truncation.
double raw_mass(const Distribution &d, double a, double b) {
  if (!(a < b)) return 0.0;
  if (is_integer_valued(d)) return integer_cdf(d, std::ceil(b) - 1.0) - integer_cdf(d, std::ceil(a) - 1.0);
  return continuous_cdf(d, b) - continuous_cdf(d, a);
}

// The range of a truncation as a half-open range [lo, hi): integer ranges are
// inclusive of their upper end.
double upper_end(const Distribution &d) {
  return is_integer_valued(d) ? std::floor(d.upper) + 1.0 : d.upper;
}

double truncation_mass(const Distribution &d) { return raw_mass(d, d.lower, upper_end(d)); }

}  // namespace

Distribution truncated(Distribution d, double lower, double upper) {
  if (has_state_weights(d)) invalid("truncate needs a distribution over numbers");
  if (std::isnan(lower) || std::isnan(upper) || !(lower < upper || (lower == upper && is_integer_valued(d))))
    invalid("empty interval");
  d.lower = std::fmax(d.lower, lower);
  d.upper = std::fmin(d.upper, upper);
  return d;
}

double probability_of(const Distribution &d, double k) {
  if (k < d.lower || k > d.upper) return 0.0;
  const double p = integer_pmf(d, k);
  if (std::isinf(d.lower) && std::isinf(d.upper)) return p;
  const double norm = truncation_mass(d);
  if (!(norm > 0.0)) invalid("no mass within the truncation");
  return p / norm;
}

double interval_mass(const Distribution &d, double a, double b) {
  if (std::isinf(d.lower) && std::isinf(d.upper)) return raw_mass(d, a, b);
  const double norm = truncation_mass(d);
  if (!(norm > 0.0)) invalid("no mass within the truncation");
  return raw_mass(d, std::fmax(a, d.lower), std::fmin(b, upper_end(d))) / norm;
}

}  // namespace orv
