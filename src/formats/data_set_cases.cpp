// Cases from a data set: rows appended to a domain's case store, columns
// matched to chance nodes by name and cells to states as case data files
// match their items (a bare label and an interval label also name a state).
#include <cstring>

#include "data/cell_values.h"
#include "data/data_set.h"
#include "formats/case_findings.h"
#include "learning/case_store.h"
#include "model/states.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

namespace {

// The state with exactly the bounds [lower, upper), or -1.
long interval_state(const orv_node_s *n, double lower, double upper) {
  if (n->state_values.size() != n->state_count + 1) return -1;
  for (std::size_t s = 0; s < n->state_count; ++s)
    if (n->state_values[s] == lower && n->state_values[s + 1] == upper) return static_cast<long>(s);
  return -1;
}

// Stores the cell as node n's item of case i; fails with usage when the
// cell names no state or value of n.
void store_cell(orv_domain_s *d, orv_node_s *n, std::size_t i, const char *cell) {
  if (n->is_discrete()) {
    long state = n->subtype == orv_subtype_label ? unique_state_with_label(n, cell) : -1;
    double lower, upper;
    if (state < 0 && n->subtype == orv_subtype_interval && read_interval(cell, lower, upper))
      state = interval_state(n, lower, upper);
    if (state >= 0) {
      set_case_state(n, i, static_cast<std::size_t>(state));
      return;
    }
  }
  // The finding syntax of case data files, one finding filling the cell.
  ParseData p(nullptr, cell, nullptr, nullptr);
  p.domain = d;
  p.get_token = get_new_token;
  p.silent = true;
  try {
    const int t = p.next();
    parse_and_insert_finding(p, t, n, FindingTarget{true, i, p.line});
    if (p.next() != kTokEnd) p.fatal("extra text", orv_error_parse);
  } catch (const ParseAbort &abort) {
    fail(abort.code == orv_error_parse ? orv_error_usage : abort.code);
  }
  if (p.error_count > 0) fail(orv_error_usage);
}

bool is_missing(const char *cell) {
  return !cell || std::strcmp(cell, "*") == 0 || std::strcmp(cell, "?") == 0;
}

void add_cases(orv_domain_s *d, const orv_data_set_s *ds, std::size_t first_row, std::size_t count) {
  CLocale locale;
  Vector<orv_node_s *> nodes(ds->columns.size(), nullptr);
  for (std::size_t c = 0; c < ds->columns.size(); ++c) {
    orv_node_s *n = orv_domain_get_node_by_name(d, ds->columns[c].name);
    if (n && holds_cases(n)) nodes[c] = n;
  }
  const std::size_t first_case = d->number_of_cases;
  set_number_of_cases(d, size_add(first_case, count));
  for (std::size_t c = 0; c < nodes.size(); ++c) {
    if (!nodes[c]) continue;
    const auto &cells = ds->columns[c].cells;
    for (std::size_t k = 0; k < count; ++k)
      if (!is_missing(cells[first_row + k])) store_cell(d, nodes[c], first_case + k, cells[first_row + k]);
  }
}

}  // namespace
}  // namespace orv

extern "C" {

orv_status_t orv_domain_add_cases(orv_domain_t domain, orv_data_set_t data_set, size_t first_row, size_t count) {
  if (!orv::is_learning_domain(domain) || !orv::is_data_set(data_set) || first_row > data_set->rows ||
      count > data_set->rows - first_row)
    return orv::usage(orv_error_usage);
  return orv::guarded_status([&] {
    orv::CaseStoreMark mark(domain);
    try {
      orv::add_cases(domain, data_set, first_row, count);
    } catch (...) {
      mark.roll_back();
      throw;
    }
    orv::set_error(orv_error_none);
  });
}

}  // extern "C"
