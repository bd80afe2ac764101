// Public entry points that read or rewrite one column: numbers, distinct
// values, counting, finding, replacing, shifting and type tests.
#include <algorithm>
#include <cstdlib>

#include "data/cell_values.h"
#include "runtime/error.h"

using orv::guarded;
using orv::guarded_status;
using orv::kSizeSentinel;
using orv::usage;

namespace orv {
namespace {

// 1 when the column has a present cell and test holds for every present
// cell, else 0.
template <class Test>
int all_present(const orv_data_set_s *ds, std::size_t column, Test &&test) {
  bool any = false;
  for (const char *cell : ds->columns[column].cells) {
    if (!cell) continue;
    if (!test(cell)) return 0;
    any = true;
  }
  return any ? 1 : 0;
}

}  // namespace
}  // namespace orv

extern "C" {

double *orv_ds_get_numbers(orv_data_set_t data_set, size_t column, double missing_value) {
  if (!orv::is_column(data_set, column)) return usage<double *>(nullptr);
  orv::set_error(orv_error_none);
  if (data_set->rows == 0) return nullptr;
  // Funnel memory is malloc memory: the caller frees the array with free().
  auto *numbers = static_cast<double *>(orv::_orv_allocate(orv::size_multiply(data_set->rows, sizeof(double))));
  if (!numbers) return nullptr;  // no_memory is set
  const orv::DataColumn &c = data_set->columns[column];
  for (std::size_t r = 0; r < data_set->rows; ++r)
    if (!orv::read_number(c.cells[r], numbers[r])) numbers[r] = missing_value;
  return numbers;
}

const char **orv_ds_get_distinct_values(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage<const char **>(nullptr);
  return guarded<const char **>(nullptr, [&] {
    orv::Vector<const char *> values;
    values.reserve(data_set->rows + 1);
    for (const char *cell : data_set->columns[column].cells)
      if (cell) values.push_back(cell);
    const auto less = [](const char *a, const char *b) { return std::strcmp(a, b) < 0; };
    std::sort(values.begin(), values.end(), less);
    values.erase(std::unique(values.begin(), values.end(), orv::same_cell), values.end());
    values.push_back(nullptr);
    data_set->distinct.swap(values);
    return data_set->distinct.data();
  });
}

size_t orv_ds_count_data(orv_data_set_t data_set, size_t column, const char *value) {
  if (!orv::is_column(data_set, column)) return usage(kSizeSentinel);
  orv::set_error(orv_error_none);
  const auto &cells = data_set->columns[column].cells;
  return static_cast<size_t>(
      std::count_if(cells.begin(), cells.end(), [&](const char *cell) { return orv::same_cell(cell, value); }));
}

size_t orv_ds_find_row(orv_data_set_t data_set, size_t column, const char *value, size_t start) {
  if (!orv::is_column(data_set, column) || start > data_set->rows) return usage(kSizeSentinel);
  orv::set_error(orv_error_none);
  const auto &cells = data_set->columns[column].cells;
  for (std::size_t r = start; r < cells.size(); ++r)
    if (orv::same_cell(cells[r], value)) return r;
  return kSizeSentinel;
}

size_t orv_ds_replace_values(orv_data_set_t data_set, size_t column, const char *old_value,
                             const char *new_value) {
  if (!orv::is_column(data_set, column)) return usage(kSizeSentinel);
  return guarded<size_t>(kSizeSentinel, [&] {
    auto &cells = data_set->columns[column].cells;
    std::size_t replaced = 0;
    for (const char *cell : cells) replaced += orv::same_cell(cell, old_value) ? 1 : 0;
    if (replaced == 0 || orv::same_cell(old_value, new_value)) return replaced;
    // The replaced cells share one stored copy (its release is then counted
    // once per cell, which only brings compaction sooner).
    const char *text = orv::store_text(data_set, new_value);
    for (const char *&cell : cells) {
      if (!orv::same_cell(cell, old_value)) continue;
      orv::release_text(data_set, cell);
      cell = text;
    }
    orv::settle(data_set);
    return replaced;
  });
}

orv_status_t orv_ds_shift_column_data(orv_data_set_t data_set, size_t column, long shift) {
  if (!orv::is_column(data_set, column)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  auto &cells = data_set->columns[column].cells;
  const std::size_t n = cells.size();
  const std::size_t k = shift < 0 ? static_cast<std::size_t>(-(shift + 1)) + 1 : static_cast<std::size_t>(shift);
  if (k >= n) {
    for (const char *&cell : cells) {
      orv::release_text(data_set, cell);
      cell = nullptr;
    }
  } else if (shift > 0) {
    for (std::size_t r = n - k; r < n; ++r) orv::release_text(data_set, cells[r]);
    std::move_backward(cells.begin(), cells.end() - static_cast<std::ptrdiff_t>(k), cells.end());
    std::fill(cells.begin(), cells.begin() + static_cast<std::ptrdiff_t>(k), nullptr);
  } else if (shift < 0) {
    for (std::size_t r = 0; r < k; ++r) orv::release_text(data_set, cells[r]);
    std::move(cells.begin() + static_cast<std::ptrdiff_t>(k), cells.end(), cells.begin());
    std::fill(cells.end() - static_cast<std::ptrdiff_t>(k), cells.end(), nullptr);
  }
  orv::settle(data_set);
  return orv_error_none;
}

int orv_ds_column_is_empty(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage(-1);
  orv::set_error(orv_error_none);
  const auto &cells = data_set->columns[column].cells;
  return std::all_of(cells.begin(), cells.end(), [](const char *cell) { return !cell; }) ? 1 : 0;
}

int orv_ds_column_data_are_numbers(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage(-1);
  orv::set_error(orv_error_none);
  return orv::all_present(data_set, column, [](const char *cell) {
    double value;
    return orv::read_number(cell, value);
  });
}

int orv_ds_column_data_are_intervals(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage(-1);
  orv::set_error(orv_error_none);
  return orv::all_present(data_set, column, [](const char *cell) {
    double lower, upper;
    return orv::read_interval(cell, lower, upper);
  });
}

}  // extern "C"
