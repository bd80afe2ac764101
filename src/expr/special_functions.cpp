// Regularised incomplete gamma and beta functions by series and modified
// Lentz continued fractions, evaluated where each converges fastest.
#include "expr/special_functions.h"

#include <cfloat>
#include <cmath>

namespace orv {

namespace {

constexpr int kMaxIterations = 10000;
constexpr double kEpsilon = 1e-16;
constexpr double kTiny = DBL_MIN / DBL_EPSILON;

// Series of P(a, x), converging quickly for x < a + 1.
double gamma_series(double a, double x) {
  double term = 1.0 / a, sum = term;
  for (int n = 1; n < kMaxIterations; ++n) {
    term *= x / (a + n);
    sum += term;
    if (std::fabs(term) < std::fabs(sum) * kEpsilon) break;
  }
  return sum * std::exp(-x + a * std::log(x) - log_gamma(a));
}

// Continued fraction of Q(a, x) = 1 - P(a, x), for x >= a + 1.
double gamma_fraction(double a, double x) {
  double b = x + 1.0 - a, c = 1.0 / kTiny, d = 1.0 / b, h = d;
  for (int i = 1; i < kMaxIterations; ++i) {
    const double an = -i * (i - a);
    b += 2.0;
    d = an * d + b;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = b + an / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1.0 / d;
    const double delta = d * c;
    h *= delta;
    if (std::fabs(delta - 1.0) < kEpsilon) break;
  }
  return std::exp(-x + a * std::log(x) - log_gamma(a)) * h;
}

// Continued fraction of the incomplete beta function (without its prefactor).
double beta_fraction(double x, double a, double b) {
  const double qab = a + b, qap = a + 1.0, qam = a - 1.0;
  double c = 1.0, d = 1.0 - qab * x / qap;
  if (std::fabs(d) < kTiny) d = kTiny;
  d = 1.0 / d;
  double h = d;
  for (int m = 1; m < kMaxIterations; ++m) {
    const int m2 = 2 * m;
    double aa = m * (b - m) * x / ((qam + m2) * (a + m2));
    d = 1.0 + aa * d;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = 1.0 + aa / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1.0 / d;
    h *= d * c;
    aa = -(a + m) * (qab + m) * x / ((a + m2) * (qap + m2));
    d = 1.0 + aa * d;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = 1.0 + aa / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1.0 / d;
    const double delta = d * c;
    h *= delta;
    if (std::fabs(delta - 1.0) < kEpsilon) break;
  }
  return h;
}

}  // namespace

double log_gamma(double x) {
  int sign = 0;  // lgamma_r leaves the global signgam alone, so workers may call it
  return lgamma_r(x, &sign);
}

double standard_normal_cdf(double z) { return 0.5 * std::erfc(-z / std::sqrt(2.0)); }

double regularized_gamma_p(double a, double x) {
  if (x <= 0.0) return 0.0;
  if (std::isinf(x)) return 1.0;
  if (x < a + 1.0) return gamma_series(a, x);
  return 1.0 - gamma_fraction(a, x);
}

double regularized_gamma_q(double a, double x) {
  if (x <= 0.0) return 1.0;
  if (std::isinf(x)) return 0.0;
  if (x < a + 1.0) return 1.0 - gamma_series(a, x);
  return gamma_fraction(a, x);
}

double regularized_beta(double x, double a, double b) {
  if (x <= 0.0) return 0.0;
  if (x >= 1.0) return 1.0;
  const double front = std::exp(log_gamma(a + b) - log_gamma(a) - log_gamma(b) + a * std::log(x) +
                                b * std::log1p(-x));
  // The fraction converges fast below the mean; above it use the symmetry.
  if (x < (a + 1.0) / (a + b + 2.0)) return front * beta_fraction(x, a, b) / a;
  return 1.0 - front * beta_fraction(1.0 - x, b, a) / b;
}

}  // namespace orv
