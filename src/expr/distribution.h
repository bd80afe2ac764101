// Distribution values produced by evaluating expressions: the standard
// continuous and integer families, weights per state, NoisyOR, truncation
// and aggregation, with their cumulative distribution and interval masses.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <limits>

#include "orvel.h"
#include "runtime/allocate.h"

namespace orv {

// Thrown while evaluating: the error code and a fixed reason for the log.
struct EvaluationError {
  orv_error_t code;
  const char *reason;
};
[[noreturn]] void invalid(const char *reason);

// State values store the infinite interval ends as the largest finite
// doubles; both forms count as unbounded, and bound() maps them to infinity.
inline bool unbounded(double x) { return !(std::fabs(x) < DBL_MAX); }
inline double bound(double x) { return unbounded(x) ? std::copysign(std::numeric_limits<double>::infinity(), x) : x; }

struct Distribution {
  orv_operator_t family = orv_op_error;  // orv_op_error: weights on 0, 1, ... (a point mass)
  double p[4] = {0.0, 0.0, 0.0, 0.0};
  // Per-state weights (Distribution, NoisyOR), or the probabilities of
  // 0, 1, ... of an aggregate once prepared.
  Vector<double> weights;
  // aggregate: the count and copy distributions.
  Vector<Distribution> parts;
  double lower = -std::numeric_limits<double>::infinity();
  double upper = std::numeric_limits<double>::infinity();
};

// Builds and checks a family from numeric arguments (Normal .. Geometric, Distribution).
Distribution make_distribution(orv_operator_t family, const double *args, std::size_t count);
// A point mass at a non-negative integer, as an aggregate operand.
Distribution point_mass(double value);
// NoisyOR from the truth of each cause and its failure probability.
Distribution make_noisy_or(const bool *present, const double *inhibitors, std::size_t count);
Distribution truncated(Distribution d, double lower, double upper);
Distribution aggregated(Distribution count, Distribution copy);

bool is_integer_valued(const Distribution &d);
bool has_state_weights(const Distribution &d);

// Materialises an aggregate's probabilities of 0 .. limit (no-op for others).
void prepare(Distribution &d, double limit);
// P(K = k) for integer-valued distributions (truncation applied).
double probability_of(const Distribution &d, double k);
// P(a <= X < b), truncation applied.
double interval_mass(const Distribution &d, double a, double b);

}  // namespace orv
