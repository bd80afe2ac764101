// orv_domain_compile and the quantitative phase of compilation.
#include "compile/compile.h"

#include "compile/build_forest.h"
#include "compile/forest_log.h"
#include "inference/queries.h"
#include "inference/evidence.h"
#include "inference/propagation.h"
#include "runtime/error.h"
#include "runtime/files.h"
#include "tables/table.h"

namespace orv {

namespace {

double *allocate_buffer(std::size_t count) {
  auto *block = static_cast<double *>(_orv_allocate(size_multiply(count == 0 ? 1 : count, sizeof(double))));
  if (!block) throw std::bad_alloc();
  return block;
}

// Entries of a pooled table rounded up to whole cache lines.
constexpr std::size_t kPoolAlignment = 8;
std::size_t pooled_entries(const orv_table_s *t) {
  return size_multiply(size_add(t->size, kPoolAlignment - 1) / kPoolAlignment, kPoolAlignment);
}

template <class Visit>
void for_each_forest_table(JunctionForest &f, Visit &&visit) {
  for (auto &c : f.clique_store)
    for (orv_table_s *t : {c->table, c->utility})
      if (t) visit(t);
  for (auto &s : f.separators)
    for (orv_table_s *t : {s->table, s->utility})
      if (t) visit(t);
}

// Gives every discrete clique and separator table its data in one pooled
// block (CG tables keep their own arrays).
void pool_table_data(JunctionForest &f) {
  std::size_t total = 0;
  for_each_forest_table(f, [&](orv_table_s *t) {
    if (t->continuous_count == 0 && !t->data) total = size_add(total, pooled_entries(t));
  });
  if (total == 0) return;
  f.table_pool = allocate_buffer(total);
  double *next = f.table_pool;
  for_each_forest_table(f, [&](orv_table_s *t) {
    if (t->continuous_count != 0 || t->data) return;
    t->data = next;
    t->data_pooled = true;
    next += pooled_entries(t);
  });
}

void allocate_forest_data(JunctionForest &f) {
  std::size_t widest_separator = 1, widest_clique = 1, widest_family = 1;
  pool_table_data(f);
  // Clique and separator tables are written whole by the first reset (which
  // initialize_tables forces), so their fresh memory is not filled here.
  for (auto &c : f.clique_store) {
    _orv_allocate_data_arrays(c->table, false);
    if (c->utility) _orv_allocate_data_arrays(c->utility, false);
    widest_clique = std::max(widest_clique, c->table->size);
  }
  for (auto &s : f.separators) {
    _orv_allocate_data_arrays(s->table, false);
    if (s->utility) _orv_allocate_data_arrays(s->utility, false);
    widest_separator = std::max(widest_separator, s->table->size);
  }
  for (orv_node_s *n = f.domain->first_node; n; n = n->next) {
    orv_table_s *potential = node_potential(n);
    if (!potential || !n->assigned_clique) continue;
    _orv_allocate_data_arrays(potential);
    if (n->category == orv_category_utility) widest_family = std::max(widest_family, potential->size);
  }
  f.separator_buffer = allocate_buffer(widest_separator);
  if (f.has_utility) f.separator_utility_buffer = allocate_buffer(widest_separator);
  f.check_buffer = allocate_buffer(widest_separator);
  f.clique_buffer = allocate_buffer(widest_clique);
  if (f.has_utility) f.family_buffer = allocate_buffer(widest_family);
  f.walk_from_child.reserve(f.domain->node_count);
  f.walk_from_parent.reserve(f.domain->node_count);
}

void free_forest_data(JunctionForest &f) noexcept {
  for_each_forest_table(f, [](orv_table_s *t) {
    if (!t->data_pooled) _orv_free(t->data);
    _orv_free(t->cg_data);
    t->data = t->cg_data = nullptr;
    t->data_pooled = false;
  });
  f.release_buffers();
  f.saved.reset();
}

}  // namespace

void compile_quantitatively(orv_domain_s *d) {
  JunctionForest &f = *junction_forest(d);
  f.compiled = true;
  try {
    allocate_forest_data(f);
    // Invalid potentials are only reported here; propagation finds what they cause.
    if (d->log) inspect_potentials(d);
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next) t->initialize_tables = true;
    recount_evidence_to_propagate(f);
    propagate_domain(d, orv_equilibrium_sum, orv_mode_normal);
    if (d->log) {
      report_beliefs(d);
      log_flush(d);
    }
  } catch (...) {
    free_forest_data(f);
    if (d->log) std::fflush(d->log);
    f.compiled = false;
    for (orv_junction_tree_s *t = f.first_tree; t; t = t->next) {
      t->equilibrium = orv_equilibrium_none;
      t->initialize_tables = true;
      for (orv_node_t n : t->nodes) n->propagated_state = kNoEvidence;
    }
    throw;
  }
}

}  // namespace orv
