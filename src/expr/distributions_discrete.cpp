// The integer families (Binomial, Poisson, NegativeBinomial, Geometric),
// point masses, NoisyOR and the aggregate of a random number of copies.
#include <cfloat>
#include <cmath>

#include "expr/distribution.h"
#include "expr/distributions_internal.h"
#include "expr/special_functions.h"

namespace orv {

namespace {

bool is_probability(double p) { return p >= 0.0 && p <= 1.0; }

double log_choose(double n, double k) { return log_gamma(n + 1.0) - log_gamma(k + 1.0) - log_gamma(n - k + 1.0); }

// k^a with 0^0 = 1, as the probability functions need it.
double power(double x, double k) { return k == 0.0 ? 1.0 : std::pow(x, k); }

}  // namespace

void check_integer(Distribution &d) {
  const double *p = d.p;
  switch (d.family) {
    case orv_op_Binomial:
      if (!(p[0] >= 0.0 && std::floor(p[0]) == p[0] && std::isfinite(p[0])))
        invalid("Binomial needs a non-negative integral number of trials");
      if (!is_probability(p[1])) invalid("probability outside [0, 1]");
      break;
    case orv_op_Poisson:
      if (!(p[0] > 0.0 && std::isfinite(p[0]))) invalid("Poisson mean must be positive");
      break;
    case orv_op_NegativeBinomial:
      if (!(p[0] > 0.0 && std::isfinite(p[0]))) invalid("NegativeBinomial needs a positive number of successes");
      if (!(p[1] > 0.0 && p[1] <= 1.0)) invalid("probability outside (0, 1]");
      break;
    case orv_op_Geometric:
      if (!(p[0] > 0.0 && p[0] <= 1.0)) invalid("probability outside (0, 1]");
      break;
    default: invalid("not a distribution");
  }
}

double integer_pmf(const Distribution &d, double k) {
  if (k < 0.0 || std::floor(k) != k) return 0.0;
  const double *p = d.p;
  switch (d.family) {
    case orv_op_Binomial:
      if (k > p[0]) return 0.0;
      if (p[1] == 0.0 || p[1] == 1.0) return (p[1] == 0.0 ? k == 0.0 : k == p[0]) ? 1.0 : 0.0;
      return std::exp(log_choose(p[0], k) + k * std::log(p[1]) + (p[0] - k) * std::log1p(-p[1]));
    case orv_op_Poisson: return std::exp(k * std::log(p[0]) - p[0] - log_gamma(k + 1.0));
    case orv_op_NegativeBinomial:
      if (p[1] == 1.0) return k == 0.0 ? 1.0 : 0.0;
      return std::exp(log_gamma(k + p[0]) - log_gamma(k + 1.0) - log_gamma(p[0]) + p[0] * std::log(p[1]) +
                      k * std::log1p(-p[1]));
    case orv_op_Geometric: return p[0] * power(1.0 - p[0], k);
    case orv_op_aggregate:
    case orv_op_error: return k < static_cast<double>(d.weights.size()) ? d.weights[static_cast<std::size_t>(k)] : 0.0;
    default: return 0.0;
  }
}

double integer_cdf(const Distribution &d, double k) {
  if (k < 0.0) return 0.0;
  if (std::isinf(k)) return 1.0;
  const double *p = d.p;
  switch (d.family) {
    case orv_op_Binomial:
      if (k >= p[0]) return 1.0;
      if (p[1] == 0.0) return 1.0;
      if (p[1] == 1.0) return 0.0;
      return regularized_beta(1.0 - p[1], p[0] - k, k + 1.0);
    case orv_op_Poisson: return 1.0 - regularized_gamma_p(k + 1.0, p[0]);
    case orv_op_NegativeBinomial: return regularized_beta(p[1], p[0], k + 1.0);
    case orv_op_Geometric: return -std::expm1((k + 1.0) * std::log1p(-p[0]));
    default: {
      if (k >= static_cast<double>(d.weights.size())) return 1.0;
      double sum = 0.0;
      for (std::size_t i = 0; i <= static_cast<std::size_t>(k); ++i) sum += d.weights[i];
      return sum;
    }
  }
}

Distribution point_mass(double value) {
  if (!(value >= 0.0 && std::floor(value) == value && value < 1e7))
    invalid("aggregate needs non-negative integers");
  Distribution d;
  d.weights.assign(static_cast<std::size_t>(value) + 1, 0.0);
  d.weights.back() = 1.0;
  return d;
}

Distribution make_noisy_or(const bool *present, const double *inhibitors, std::size_t count) {
  double all_fail = 1.0;
  for (std::size_t i = 0; i < count; ++i) {
    if (!is_probability(inhibitors[i])) invalid("probability outside [0, 1]");
    if (present[i]) all_fail *= inhibitors[i];
  }
  Distribution d;
  d.family = orv_op_NoisyOR;
  d.weights.assign({all_fail, 1.0 - all_fail});
  return d;
}

Distribution aggregated(Distribution count, Distribution copy) {
  if (!is_integer_valued(count) || !is_integer_valued(copy)) invalid("aggregate needs integer-valued distributions");
  Distribution d;
  d.family = orv_op_aggregate;
  d.parts.reserve(2);
  d.parts.push_back(std::move(count));
  d.parts.push_back(std::move(copy));
  return d;
}

// Bounds of an aggregate's convolution: the largest value tabulated, and
// the total multiply-adds (about a second of work).
constexpr std::size_t kMaxAggregateValue = 20000;
constexpr std::size_t kMaxAggregateWork = std::size_t{1} << 30;

// The probabilities of 0 .. limit of the sum: the n-fold convolutions of the
// copy weighted by P(N = n), until N's remaining mass is negligible (or, when
// a copy is never 0, until n passes the limit). Fails (invalid) when the
// convolutions would take more than about a second.
void prepare(Distribution &d, double limit) {
  if (d.family != orv_op_aggregate) return;
  for (Distribution &part : d.parts) prepare(part, limit);
  // Each convolution costs size^2 / 2 steps: refuse what could not finish
  // in reasonable time or memory instead of trying.
  if (!(limit <= static_cast<double>(kMaxAggregateValue))) invalid("the aggregate is too large to convolve");
  const std::size_t size = static_cast<std::size_t>(std::fmax(limit, 0.0)) + 1;
  const Distribution &count = d.parts[0], &copy = d.parts[1];
  Vector<double> copy_pmf(size), power_pmf(size, 0.0), next(size), sum(size, 0.0);
  for (std::size_t k = 0; k < size; ++k) copy_pmf[k] = probability_of(copy, static_cast<double>(k));
  power_pmf[0] = 1.0;
  double seen = 0.0;
  std::size_t work = 0;
  for (std::size_t n = 0; n < 100000; ++n) {
    const double pn = probability_of(count, static_cast<double>(n));
    seen += pn;
    for (std::size_t k = 0; k < size; ++k) sum[k] += pn * power_pmf[k];
    // The count's remaining mass is below rounding (its cdf may stop a few
    // ulps short of 1), or no further sum can stay within the limit.
    if (1.0 - seen <= 4 * DBL_EPSILON || (copy_pmf[0] == 0.0 && n >= size)) break;
    work += size * (size + 1) / 2;
    if (work > kMaxAggregateWork) invalid("the aggregate is too large to convolve");
    for (std::size_t k = 0; k < size; ++k) {
      double s = 0.0;
      for (std::size_t j = 0; j <= k; ++j) s += power_pmf[j] * copy_pmf[k - j];
      next[k] = s;
    }
    power_pmf.swap(next);
  }
  d.weights.swap(sum);
}

}  // namespace orv
