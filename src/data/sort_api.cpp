// Stable sorts of the rows of a data set by one column, as text or as
// numbers; cells without a key (missing, or not numbers) go last.
#include <algorithm>
#include <cstring>

#include "data/cell_values.h"
#include "runtime/error.h"

using orv::guarded_status;
using orv::usage;

namespace orv {
namespace {

// Reorders every column so that new row r is old row order[r]. All memory
// is taken before the first column changes.
void permute_rows(orv_data_set_s *ds, const Vector<std::size_t> &order) {
  Vector<const char *> scratch(ds->rows);
  for (DataColumn &c : ds->columns) {
    for (std::size_t r = 0; r < ds->rows; ++r) scratch[r] = c.cells[order[r]];
    c.cells.swap(scratch);
  }
  settle(ds);
}

// Sorts the rows by key(row) (false when the row has none) under less.
template <class Key, class KeyOf, class Less>
void sort_by(orv_data_set_s *ds, KeyOf &&key_of, Less &&less, bool ascending) {
  struct Entry {
    Key key;
    bool has_key;
    std::size_t row;
  };
  Vector<Entry> entries;
  entries.reserve(ds->rows);
  for (std::size_t r = 0; r < ds->rows; ++r) {
    Entry e{Key{}, false, r};
    e.has_key = key_of(r, e.key);
    entries.push_back(e);
  }
  Vector<std::size_t> order(ds->rows);
  std::stable_sort(entries.begin(), entries.end(), [&](const Entry &a, const Entry &b) {
    if (a.has_key != b.has_key) return a.has_key;
    if (!a.has_key) return false;
    return ascending ? less(a.key, b.key) : less(b.key, a.key);
  });
  for (std::size_t r = 0; r < ds->rows; ++r) order[r] = entries[r].row;
  permute_rows(ds, order);
}

bool sort_ok(const orv_data_set_s *ds, std::size_t column, int ascending) {
  return is_data_set(ds) && column < ds->columns.size() && (ascending == 0 || ascending == 1);
}

}  // namespace
}  // namespace orv

extern "C" {

orv_status_t orv_ds_sort_rows(orv_data_set_t data_set, size_t column, int ascending) {
  if (!orv::sort_ok(data_set, column, ascending)) return usage(orv_error_usage);
  return guarded_status([&] {
    const auto &cells = data_set->columns[column].cells;
    orv::sort_by<const char *>(
        data_set,
        [&](std::size_t r, const char *&key) {
          key = cells[r];
          return key != nullptr;
        },
        [](const char *a, const char *b) { return std::strcmp(a, b) < 0; }, ascending == 1);
  });
}

orv_status_t orv_ds_sort_rows_numerically(orv_data_set_t data_set, size_t column, int ascending) {
  if (!orv::sort_ok(data_set, column, ascending)) return usage(orv_error_usage);
  return guarded_status([&] {
    const auto &cells = data_set->columns[column].cells;
    orv::sort_by<double>(
        data_set, [&](std::size_t r, double &key) { return orv::read_number(cells[r], key); },
        [](double a, double b) { return a < b; }, ascending == 1);
  });
}

}  // extern "C"
