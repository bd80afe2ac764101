// Special functions behind the distribution functions: the normal CDF and
// the regularised incomplete gamma and beta functions.
#pragma once

namespace orv {

// log |Gamma(x)|, safe to call from several threads at once.
double log_gamma(double x);
// P(Z <= z) for a standard normal Z.
double standard_normal_cdf(double z);
// Regularised lower incomplete gamma P(a, x) = gamma(a, x) / Gamma(a), a > 0, x >= 0.
double regularized_gamma_p(double a, double x);
// Its upper tail Q(a, x) = 1 - P(a, x), computed directly where it is small.
double regularized_gamma_q(double a, double x);
// Regularised incomplete beta I_x(a, b), a, b > 0, 0 <= x <= 1.
double regularized_beta(double x, double a, double b);

}  // namespace orv
