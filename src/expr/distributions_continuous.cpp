// The continuous families: parameter checks and closed-form cumulative
// distribution functions (Gamma and Beta through the incomplete functions).
#include <cmath>

#include "expr/distribution.h"
#include "expr/distributions_internal.h"
#include "expr/special_functions.h"

namespace orv {

namespace {

void require(bool ok, const char *reason) {
  if (!ok) invalid(reason);
}

bool finite(const double *args, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    if (!std::isfinite(args[i])) return false;
  return true;
}

// Beta CDF on [a, b].
double beta_cdf(double x, double alpha, double beta, double a, double b) {
  if (x <= a) return 0.0;
  if (x >= b) return 1.0;
  return regularized_beta((x - a) / (b - a), alpha, beta);
}

}  // namespace

void check_continuous(Distribution &d, std::size_t count) {
  const double *p = d.p;
  require(finite(p, count), "parameters must be finite numbers");
  switch (d.family) {
    case orv_op_Normal: require(p[1] >= 0.0, "negative variance"); break;
    case orv_op_LogNormal: require(p[1] >= 0.0, "negative variance"); break;
    case orv_op_Beta:
      require(p[0] > 0.0 && p[1] > 0.0, "Beta shape parameters must be positive");
      if (count == 2) d.p[3] = 1.0;
      require(d.p[2] < d.p[3], "empty interval");
      break;
    case orv_op_Gamma: require(p[0] > 0.0 && p[1] > 0.0, "Gamma shape and scale must be positive"); break;
    case orv_op_Exponential: require(p[0] > 0.0, "Exponential rate must be positive"); break;
    case orv_op_Weibull: require(p[0] > 0.0 && p[1] > 0.0, "Weibull shape and scale must be positive"); break;
    case orv_op_Uniform: require(p[0] < p[1], "empty interval"); break;
    case orv_op_Triangular:
      require(p[0] < p[2] && p[0] <= p[1] && p[1] <= p[2], "Triangular needs a <= mode <= b with a < b");
      break;
    case orv_op_PERT:
      if (count == 3) d.p[3] = 4.0;
      require(p[0] < p[2] && p[0] <= p[1] && p[1] <= p[2], "PERT needs a <= mode <= b with a < b");
      require(d.p[3] > 0.0, "PERT shape must be positive");
      break;
    default: invalid("not a distribution");
  }
}

double continuous_cdf(const Distribution &d, double x) {
  const double *p = d.p;
  if (std::isinf(x)) return x > 0 ? 1.0 : 0.0;
  switch (d.family) {
    case orv_op_Normal:
      if (p[1] == 0.0) return x >= p[0] ? 1.0 : 0.0;
      return standard_normal_cdf((x - p[0]) / std::sqrt(p[1]));
    case orv_op_LogNormal:
      if (x <= p[2]) return 0.0;
      if (p[1] == 0.0) return std::log(x - p[2]) >= p[0] ? 1.0 : 0.0;
      return standard_normal_cdf((std::log(x - p[2]) - p[0]) / std::sqrt(p[1]));
    case orv_op_Beta: return beta_cdf(x, p[0], p[1], p[2], p[3]);
    case orv_op_Gamma: return x <= p[2] ? 0.0 : regularized_gamma_p(p[0], (x - p[2]) / p[1]);
    case orv_op_Exponential: return x <= p[1] ? 0.0 : -std::expm1(-p[0] * (x - p[1]));
    case orv_op_Weibull: return x <= p[2] ? 0.0 : -std::expm1(-std::pow((x - p[2]) / p[1], p[0]));
    case orv_op_Uniform: return x <= p[0] ? 0.0 : x >= p[1] ? 1.0 : (x - p[0]) / (p[1] - p[0]);
    case orv_op_Triangular: {
      const double a = p[0], m = p[1], b = p[2];
      if (x <= a) return 0.0;
      if (x >= b) return 1.0;
      if (x <= m) return (x - a) * (x - a) / ((b - a) * (m - a));
      return 1.0 - (b - x) * (b - x) / ((b - a) * (b - m));
    }
    case orv_op_PERT: {
      const double a = p[0], m = p[1], b = p[2], g = p[3];
      return beta_cdf(x, 1.0 + g * (m - a) / (b - a), 1.0 + g * (b - m) / (b - a), a, b);
    }
    default: return 0.0;
  }
}

}  // namespace orv
