// Per-kind pieces of the distribution values, shared by their source files.
#pragma once

#include <cstddef>

#include "expr/distribution.h"

namespace orv {

// Checks the parameters of a continuous family (filling defaults); throws.
void check_continuous(Distribution &d, std::size_t count);
// P(X <= x) before truncation.
double continuous_cdf(const Distribution &d, double x);

void check_integer(Distribution &d);
// P(K <= k) and P(K = k) before truncation, for integral k.
double integer_cdf(const Distribution &d, double k);
double integer_pmf(const Distribution &d, double k);

}  // namespace orv
