// The probability that the continuous node of a Gaussian mixture table lies
// in an interval: the weighted sum of the components' normal masses.
#include <cmath>

#include "expr/special_functions.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace {

// P(lo <= X <= hi) for X ~ N(mean, variance); a zero variance is a point mass.
// Both tails are taken from the side where the normal CDF is small, so mass
// far out in the upper tail keeps its precision.
double normal_mass(double mean, double variance, double lo, double hi) {
  if (variance <= 0.0) return lo <= mean && mean <= hi ? 1.0 : 0.0;
  const double sd = std::sqrt(variance);
  const double a = (lo - mean) / sd, b = (hi - mean) / sd;
  if (a > 0.0) return orv::standard_normal_cdf(-a) - orv::standard_normal_cdf(-b);
  return orv::standard_normal_cdf(b) - orv::standard_normal_cdf(a);
}

}  // namespace

extern "C" {

double orv_table_compute_probability_of_interval(orv_table_t table, double x, double y) {
  if (!orv::is_table(table) || table->continuous_count != 1 || table->roles.empty() ||
      table->roles[0] != orv::kRoleHead || !table->data || !table->cg_data || !(x <= y))
    return orv::usage(-1.0);
  double total = 0.0, inside = 0.0;
  const std::size_t bs = table->block_size;
  for (std::size_t i = 0; i < table->size; ++i) {
    const double w = table->data[i];
    if (!(w >= 0.0)) return orv::usage(-1.0);
    if (w == 0.0) continue;
    const double *block = table->cg_data + i * bs;
    total += w;
    inside += w * normal_mass(block[orv::cg_vector_index(0)], block[orv::cg_matrix_index(0, 0)], x, y);
  }
  if (!(total > 0.0)) return orv::usage(-1.0);
  orv::set_error(orv_error_none);
  return inside / total;
}

}  // extern "C"
