// The row-by-row policy update with its tolerance and tie rules.
#include "decisions/policy_update.h"

#include <algorithm>

namespace orv {

bool update_policy(double *policy, const double *values, std::size_t rows, std::size_t options,
                   unsigned char *optimal) {
  bool changed = false;
  for (std::size_t r = 0; r < rows; ++r) {
    double *row = policy + r * options;
    const double *value = values + r * options;
    const double m = *std::max_element(value, value + options);
    const double threshold = m * (m >= 0.0 ? kOptimalFactorPositive : kOptimalFactorNegative);
    bool row_changed = false;
    double mass = 0.0;
    std::size_t count = 0;
    for (std::size_t k = 0; k < options; ++k) {
      const bool best = value[k] >= threshold;
      if (optimal) optimal[r * options + k] = best ? 1 : 0;
      if (best) {
        mass += row[k];
        ++count;
      } else if (row[k] > 0.0) {
        row[k] = 0.0;
        row_changed = true;
      }
    }
    if (!row_changed) continue;
    changed = true;
    for (std::size_t k = 0; k < options; ++k) {
      if (!(value[k] >= threshold)) continue;
      row[k] = mass > 0.0 ? row[k] / mass : 1.0 / static_cast<double>(count);
    }
  }
  return changed;
}

}  // namespace orv
