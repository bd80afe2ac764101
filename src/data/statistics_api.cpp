// Public statistics of data-set columns: moments of one column and
// forecast errors of a forecast column against an actual one.
#include <cmath>

#include "data/cell_values.h"
#include "data/statistics.h"
#include "runtime/error.h"

using orv::guarded;
using orv::usage;

namespace orv {
namespace {

Moments column_moments(const orv_data_set_s *ds, std::size_t column, std::size_t at_least) {
  Moments m;
  for (const char *cell : ds->columns[column].cells) {
    if (!cell) continue;
    double value;
    if (!read_number(cell, value)) fail(orv_error_usage);
    m.add(value);
  }
  if (m.n < at_least) fail(orv_error_usage);
  return m;
}

// The value of a statistic, failing with usage for zero spread.
double spread_ratio(double numerator, double m2) {
  if (!(m2 > 0)) fail(orv_error_usage);
  return numerator;
}

// Rows where both cells are present; each must then be a number.
template <class Visit>
void paired_numbers(const orv_data_set_s *ds, std::size_t a, std::size_t b, Visit &&visit) {
  const auto &actual = ds->columns[a].cells;
  const auto &other = ds->columns[b].cells;
  for (std::size_t r = 0; r < ds->rows; ++r) {
    if (!actual[r] || !other[r]) continue;
    double x, y;
    if (!read_number(actual[r], x) || !read_number(other[r], y)) fail(orv_error_usage);
    visit(r, x, y);
  }
}

// Mean of |a - f| (scaled by |a| when relative), over rows with both present.
double mean_absolute_error(const orv_data_set_s *ds, std::size_t actual, std::size_t forecast, bool relative) {
  double sum = 0;
  std::size_t n = 0;
  paired_numbers(ds, actual, forecast, [&](std::size_t, double a, double f) {
    if (relative && a == 0) fail(orv_error_division_by_zero);
    sum += relative ? std::fabs((a - f) / a) : std::fabs(a - f);
    ++n;
  });
  if (n == 0) fail(orv_error_usage);
  return sum / static_cast<double>(n);
}

}  // namespace
}  // namespace orv

extern "C" {

double orv_ds_compute_mean(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage(-1.0);
  return guarded<double>(-1.0, [&] { return orv::column_moments(data_set, column, 1).mean(); });
}

double orv_ds_compute_variance(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    const orv::Moments m = orv::column_moments(data_set, column, 2);
    return m.m2 / static_cast<double>(m.n - 1);
  });
}

double orv_ds_compute_skewness(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    const orv::Moments m = orv::column_moments(data_set, column, 2);
    const double n = static_cast<double>(m.n);
    return orv::spread_ratio(std::sqrt(n) * m.m3 / std::pow(m.m2, 1.5), m.m2);
  });
}

double orv_ds_compute_kurtosis(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    const orv::Moments m = orv::column_moments(data_set, column, 2);
    const double n = static_cast<double>(m.n);
    return orv::spread_ratio(n * m.m4 / (m.m2 * m.m2) - 3.0, m.m2);
  });
}

double orv_ds_compute_mean_absolute_error(orv_data_set_t data_set, size_t actual, size_t forecast) {
  if (!orv::is_column(data_set, actual) || !orv::is_column(data_set, forecast)) return usage(-1.0);
  return guarded<double>(-1.0, [&] { return orv::mean_absolute_error(data_set, actual, forecast, false); });
}

double orv_ds_compute_mean_absolute_percentage_error(orv_data_set_t data_set, size_t actual, size_t forecast) {
  if (!orv::is_column(data_set, actual) || !orv::is_column(data_set, forecast)) return usage(-1.0);
  return guarded<double>(-1.0,
                         [&] { return 100.0 * orv::mean_absolute_error(data_set, actual, forecast, true); });
}

double orv_ds_compute_mean_absolute_scaled_error(orv_data_set_t data_set, size_t actual, size_t forecast,
                                                 size_t period) {
  if (!orv::is_column(data_set, actual) || !orv::is_column(data_set, forecast) || period == 0 ||
      period >= data_set->rows)
    return usage(-1.0);
  return guarded<double>(-1.0, [&] {
    const double mae = orv::mean_absolute_error(data_set, actual, forecast, false);
    const auto &cells = data_set->columns[actual].cells;
    double sum = 0;
    std::size_t n = 0;
    for (std::size_t r = period; r < data_set->rows; ++r) {
      double now, before;
      if (!cells[r] || !cells[r - period]) continue;
      if (!orv::read_number(cells[r], now) || !orv::read_number(cells[r - period], before))
        orv::fail(orv_error_usage);
      sum += std::fabs(now - before);
      ++n;
    }
    if (n == 0) orv::fail(orv_error_usage);
    if (sum == 0) orv::fail(orv_error_division_by_zero);
    return mae / (sum / static_cast<double>(n));
  });
}

}  // extern "C"
