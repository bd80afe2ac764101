// The upper tail of the chi-square distribution, Q(df/2, x/2) of the
// regularised incomplete gamma function: a power series below a + 1, a
// continued fraction (modified Lentz) above.
#include <cfloat>
#include <cmath>

#include "learning/pc.h"

namespace orv {

namespace {

constexpr int kMaxTerms = 10000;
constexpr double kEpsilon = 1e-15;
constexpr double kTiny = 1e-300;

// P(a, x) by its series; x < a + 1.
double lower_series(double a, double x) {
  double term = 1.0 / a, sum = term;
  for (int n = 1; n < kMaxTerms; ++n) {
    term *= x / (a + n);
    sum += term;
    if (std::fabs(term) < std::fabs(sum) * kEpsilon) break;
  }
  return sum * std::exp(-x + a * std::log(x) - std::lgamma(a));
}

// Q(a, x) by its continued fraction; x >= a + 1.
double upper_fraction(double a, double x) {
  double b = x + 1.0 - a, c = 1.0 / kTiny, d = 1.0 / b, h = d;
  for (int i = 1; i < kMaxTerms; ++i) {
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
  return std::exp(-x + a * std::log(x) - std::lgamma(a)) * h;
}

}  // namespace

// -1 for arguments outside the distribution (negative x, df <= 0, NaN).
double _orv_chi_square_c(double x, double df) {
  if (!(df > 0.0) || !(x >= 0.0) || std::isinf(df)) return -1.0;
  if (x == 0.0) return 1.0;
  if (std::isinf(x)) return 0.0;
  const double a = df / 2.0, y = x / 2.0;
  if (y < a + 1.0) return 1.0 - lower_series(a, y);
  return upper_fraction(a, y);
}

}  // namespace orv
