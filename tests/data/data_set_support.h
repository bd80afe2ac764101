// Helpers of the data-set tests: building a data set from rows of cells and
// reading it back as rows (nullptr stands for a missing cell).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "orvel.h"

namespace orv::test {

using Cell = std::optional<std::string>;
using Rows = std::vector<std::vector<Cell>>;
inline const Cell M = std::nullopt;  // a missing cell

struct DataSet {
  orv_data_set_t ds = orv_new_data_set();
  explicit DataSet(orv_data_set_t owned) : ds(owned) {}
  DataSet(const std::vector<std::string> &names, const Rows &rows) {
    for (const auto &name : names) orv_ds_new_column(ds, name.c_str());
    for (std::size_t r = 0; r < rows.size(); ++r) {
      orv_ds_new_row(ds);
      for (std::size_t c = 0; c < rows[r].size(); ++c)
        orv_ds_set_data_item(ds, r, c, rows[r][c] ? rows[r][c]->c_str() : nullptr);
    }
  }
  ~DataSet() { orv_ds_delete(ds); }
  DataSet(const DataSet &) = delete;
  DataSet &operator=(const DataSet &) = delete;

  Rows rows() const {
    Rows out(orv_ds_get_number_of_rows(ds));
    for (std::size_t r = 0; r < out.size(); ++r)
      for (std::size_t c = 0; c < orv_ds_get_number_of_columns(ds); ++c) {
        const char *cell = orv_ds_get_data_item(ds, r, c);
        out[r].push_back(cell ? Cell(cell) : std::nullopt);
      }
    return out;
  }
  std::vector<std::string> names() const {
    std::vector<std::string> out;
    for (std::size_t c = 0; c < orv_ds_get_number_of_columns(ds); ++c) out.push_back(orv_ds_get_column_name(ds, c));
    return out;
  }
  // One column as cells.
  std::vector<Cell> column(std::size_t c) const {
    std::vector<Cell> out;
    for (const auto &row : rows()) out.push_back(row[c]);
    return out;
  }
};

}  // namespace orv::test
