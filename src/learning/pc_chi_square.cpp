// The upper tail of the chi-square distribution, Q(df/2, x/2) of the
// regularised incomplete gamma function.
#include <cmath>

#include "expr/special_functions.h"
#include "learning/pc.h"

namespace orv {

// -1 for arguments outside the distribution (negative x, df <= 0, NaN).
double _orv_chi_square_c(double x, double df) {
  if (!(df > 0.0) || !(x >= 0.0) || std::isinf(df)) return -1.0;
  if (x == 0.0) return 1.0;
  if (std::isinf(x)) return 0.0;
  return regularized_gamma_q(df / 2.0, x / 2.0);
}

}  // namespace orv
