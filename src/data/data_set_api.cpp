// Public entry points of the data-set store: creation, rows, columns,
// names and cells.
#include <algorithm>

#include "data/data_set.h"
#include "runtime/error.h"

using orv::guarded;
using orv::guarded_status;
using orv::kSizeSentinel;
using orv::usage;

namespace orv {
namespace {

bool row_ok(const orv_data_set_s *ds, std::size_t row) { return is_data_set(ds) && row < ds->rows; }
// Moves element from to position to in v, shifting those between.
template <class V>
void move_element(V &v, std::size_t from, std::size_t to) {
  if (from < to) std::rotate(v.begin() + from, v.begin() + from + 1, v.begin() + to + 1);
  else if (to < from) std::rotate(v.begin() + to, v.begin() + from, v.begin() + from + 1);
}

}  // namespace
}  // namespace orv

extern "C" {

orv_data_set_t orv_new_data_set(void) {
  return guarded<orv_data_set_t>(nullptr, [] { return orv::make<orv_data_set_s>(); });
}

orv_status_t orv_ds_delete(orv_data_set_t data_set) {
  if (!orv::is_data_set(data_set)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  orv::destroy(data_set);
  return orv_error_none;
}

size_t orv_ds_new_row(orv_data_set_t data_set) {
  if (!orv::is_data_set(data_set)) return usage(kSizeSentinel);
  return guarded<size_t>(kSizeSentinel, [&] {
    const std::size_t row = data_set->rows;
    orv::ensure_size(data_set, orv::size_add(row, 1), 0);
    orv::settle(data_set);
    return row;
  });
}

size_t orv_ds_new_column(orv_data_set_t data_set, const char *name) {
  if (!orv::is_data_set(data_set) || !name) return usage(kSizeSentinel);
  return guarded<size_t>(kSizeSentinel, [&] {
    const std::size_t column = orv::append_column(data_set, name);
    orv::settle(data_set);
    return column;
  });
}

orv_status_t orv_ds_delete_row(orv_data_set_t data_set, size_t row) {
  if (!orv::row_ok(data_set, row)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  for (orv::DataColumn &c : data_set->columns) {
    orv::release_text(data_set, c.cells[row]);
    c.cells.erase(c.cells.begin() + static_cast<std::ptrdiff_t>(row));
  }
  --data_set->rows;
  orv::settle(data_set);
  return orv_error_none;
}

orv_status_t orv_ds_delete_column(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  orv::DataColumn &c = data_set->columns[column];
  orv::release_text(data_set, c.name);
  for (const char *cell : c.cells) orv::release_text(data_set, cell);
  data_set->columns.erase(data_set->columns.begin() + static_cast<std::ptrdiff_t>(column));
  orv::settle(data_set);
  return orv_error_none;
}

orv_status_t orv_ds_move_row(orv_data_set_t data_set, size_t row, size_t new_index) {
  if (!orv::row_ok(data_set, row) || new_index >= data_set->rows) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  for (orv::DataColumn &c : data_set->columns) orv::move_element(c.cells, row, new_index);
  orv::settle(data_set);
  return orv_error_none;
}

orv_status_t orv_ds_move_column(orv_data_set_t data_set, size_t column, size_t new_index) {
  if (!orv::is_column(data_set, column) || new_index >= data_set->columns.size()) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  orv::move_element(data_set->columns, column, new_index);
  orv::settle(data_set);
  return orv_error_none;
}

size_t orv_ds_copy_column(orv_data_set_t data_set, size_t column, const char *name) {
  if (!orv::is_column(data_set, column)) return usage(kSizeSentinel);
  return guarded<size_t>(kSizeSentinel, [&] {
    orv::DataColumn copy;
    copy.cells.assign(data_set->rows, nullptr);
    data_set->columns.reserve(data_set->columns.size() + 1);
    orv::with_arena_undo(data_set, [&] {
      const orv::DataColumn &source = data_set->columns[column];
      copy.name = orv::store_text(data_set, name ? name : source.name);
      for (std::size_t r = 0; r < source.cells.size(); ++r) copy.cells[r] = orv::store_text(data_set, source.cells[r]);
      return 0;
    });
    data_set->columns.push_back(std::move(copy));
    orv::settle(data_set);
    return data_set->columns.size() - 1;
  });
}

orv_status_t orv_ds_set_column_name(orv_data_set_t data_set, size_t column, const char *name) {
  if (!orv::is_column(data_set, column) || !name) return usage(orv_error_usage);
  return guarded_status([&] {
    const char *text = orv::store_text(data_set, name);
    orv::release_text(data_set, data_set->columns[column].name);
    data_set->columns[column].name = text;
    orv::settle(data_set);
  });
}

const char *orv_ds_get_column_name(orv_data_set_t data_set, size_t column) {
  if (!orv::is_column(data_set, column)) return usage<const char *>(nullptr);
  orv::set_error(orv_error_none);
  return data_set->columns[column].name;
}

size_t orv_ds_get_number_of_rows(orv_data_set_t data_set) {
  if (!orv::is_data_set(data_set)) return usage(kSizeSentinel);
  orv::set_error(orv_error_none);
  return data_set->rows;
}

size_t orv_ds_get_number_of_columns(orv_data_set_t data_set) {
  if (!orv::is_data_set(data_set)) return usage(kSizeSentinel);
  orv::set_error(orv_error_none);
  return data_set->columns.size();
}

orv_status_t orv_ds_set_data_item(orv_data_set_t data_set, size_t row, size_t column, const char *data) {
  if (!orv::is_data_set(data_set) || row == kSizeSentinel || column == kSizeSentinel)
    return usage(orv_error_usage);
  return guarded_status([&] {
    const char *text = orv::with_arena_undo(data_set, [&] {
      const char *stored = orv::store_text(data_set, data);
      orv::ensure_size(data_set, row + 1, column + 1);
      return stored;
    });
    const char *&cell = data_set->columns[column].cells[row];
    const char *old = cell;
    cell = text;
    orv::release_text(data_set, old);
    orv::settle(data_set);
  });
}

const char *orv_ds_get_data_item(orv_data_set_t data_set, size_t row, size_t column) {
  if (!orv::row_ok(data_set, row) || column >= data_set->columns.size()) return usage<const char *>(nullptr);
  orv::set_error(orv_error_none);
  return data_set->columns[column].cells[row];
}

}  // extern "C"
