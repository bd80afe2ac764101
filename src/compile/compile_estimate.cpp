// What the quantitative phase of compilation will allocate, computed from
// the cliques and separators of a triangulated domain before any table data
// exists, so that a user can compare triangulations before running out of
// memory. Mirrors the allocations of compile.cpp.
#include <algorithm>

#include "compile/build_forest.h"
#include "compile/junction_forest.h"
#include "runtime/error.h"

namespace orv {
namespace {

struct Estimate {
  std::size_t clique_entries = 0;
  std::size_t separator_entries = 0;
  std::size_t doubles = 0;  // every double the phase allocates
};

// Entries of a table's data arrays, as _orv_allocate_data_arrays makes them.
std::size_t data_doubles(const orv_table_s *t) {
  if (!t) return 0;
  const std::size_t cg = t->continuous_count > 0 ? size_multiply(t->size, t->block_size) : 0;
  return size_add(t->size, cg);
}

void add_table(const orv_table_s *t, std::size_t &entries, std::size_t &doubles) {
  if (!t) return;
  entries = size_add(entries, t->size);
  if (!t->data) doubles = size_add(doubles, data_doubles(t));
}

Estimate estimate(const JunctionForest &f) {
  Estimate e;
  std::size_t widest_separator = 1, widest_clique = 1, widest_family = 1;
  for (const auto &c : f.clique_store) {
    add_table(c->table, e.clique_entries, e.doubles);
    add_table(c->utility, e.clique_entries, e.doubles);
    widest_clique = std::max(widest_clique, c->table->size);
  }
  for (const auto &s : f.separators) {
    add_table(s->table, e.separator_entries, e.doubles);
    add_table(s->utility, e.separator_entries, e.doubles);
    widest_separator = std::max(widest_separator, s->table->size);
  }
  for (orv_node_s *n = f.domain->first_node; n; n = n->next) {
    const orv_table_s *potential = node_potential(n);
    if (!potential || !n->assigned_clique) continue;
    if (!potential->data) e.doubles = size_add(e.doubles, data_doubles(potential));
    if (n->category == orv_category_utility) widest_family = std::max(widest_family, potential->size);
  }
  // Propagation buffers: separator, check and clique buffers, plus the
  // utility separator and family buffers when there are utilities.
  const std::size_t buffers = f.has_utility ? 3 : 2;
  e.doubles = size_add(e.doubles, size_multiply(widest_separator, buffers));
  e.doubles = size_add(e.doubles, widest_clique);
  if (f.has_utility) e.doubles = size_add(e.doubles, widest_family);
  return e;
}

}  // namespace
}  // namespace orv

extern "C" {

orv_status_t orv_domain_estimate_compilation(orv_domain_t domain, size_t *clique_entries, size_t *separator_entries,
                                             size_t *bytes) {
  if (!orv::is_domain(domain) || domain->is_class()) return orv::usage(orv_error_usage);
  const orv::JunctionForest *f = orv::junction_forest(domain);
  if (!f || orv::domain_is_compiled(domain)) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] {
    const orv::Estimate e = orv::estimate(*f);
    const std::size_t total = orv::size_multiply(e.doubles, sizeof(double));
    if (e.clique_entries == orv::kSizeSentinel || e.separator_entries == orv::kSizeSentinel ||
        total == orv::kSizeSentinel)
      orv::fail(orv_error_size_too_large);
    if (clique_entries) *clique_entries = e.clique_entries;
    if (separator_entries) *separator_entries = e.separator_entries;
    if (bytes) *bytes = total;
  });
}

}  // extern "C"
