// The policy update rule of single policy updating: all mass on the options
// of maximal expected utility in each parent configuration.
#pragma once

#include <cstddef>

namespace orv {

// Relative tolerance of optimality: an option is optimal when its value is at
// least the row maximum m times this factor (m >= 0) or its reciprocal
// counterpart (m < 0).
constexpr double kOptimalFactorPositive = 0.9999999999990008;
constexpr double kOptimalFactorNegative = 1.0000000000009992;

// Updates a policy of `rows` rows of `options` entries in place from the
// values of the options (expected utilities, or those weighted by the row's
// probability). A row that puts mass on a non-optimal option loses it and is
// renormalized over its optimal options (1/k each when they had no mass);
// other rows are left alone, so ties keep their mixture. `optimal`, when
// given, receives 1 for every optimal entry. Returns whether a row changed.
bool update_policy(double *policy, const double *values, std::size_t rows, std::size_t options,
                   unsigned char *optimal = nullptr);

}  // namespace orv
