// Derived potentials of discrete function nodes: F = f(parents) by its model,
// so P(F = s) = sum over the parents' configurations of P(parents | evidence)
// times the model's probability of s there. The parents lie in other trees
// (they are not F's moral neighbours); those trees are propagated first.
#include "inference/function_potentials.h"

#include <algorithm>
#include <memory>

#include "compile/forest_log.h"
#include "expr/model.h"
#include "expr/table_generation.h"
#include "inference/queries.h"
#include "model/node_ops.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {

namespace {

struct TableDeleter {
  void operator()(orv_table_s *t) const noexcept { _orv_free_table(t); }
};
using TablePtr = std::unique_ptr<orv_table_s, TableDeleter>;

bool is_real_function(const orv_node_s *n) { return n->category == orv_category_function && n->kind == orv_kind_other; }

void add_distinct(Vector<orv_node_t> &list, orv_node_t n) {
  if (std::find(list.begin(), list.end(), n) == list.end()) list.push_back(n);
}

void add_mentioned(const orv_expression_s *e, Vector<orv_node_t> &list) {
  if (e->op == orv_op_node) {
    add_distinct(list, e->node);
    return;
  }
  if (!e->is_composite()) return;
  for (std::size_t i = 0; i < e->operand_count(); ++i) add_mentioned(e->operands[i], list);
}

// What a node's model reads: its model nodes and the nodes its expressions mention.
void add_model_reads(const orv_node_s *n, Vector<orv_node_t> &list) {
  for (orv_node_t m : n->model->nodes) add_distinct(list, m);
  for (const orv_expression_s *e : n->model->expressions)
    if (e) add_mentioned(e, list);
}

// The discrete parents that F's model reads, in parent order: the nodes of
// its conditional table besides F.
Vector<orv_node_t> read_parents(const orv_node_s *f) {
  Vector<orv_node_t> reads, parents;
  add_model_reads(f, reads);
  for (orv_node_t p : f->parents)
    if (p->is_discrete() && std::find(reads.begin(), reads.end(), p) != reads.end()) parents.push_back(p);
  return parents;
}

[[noreturn]] void refuse(orv_node_s *f, orv_error_t code, const char *reason) {
  log_printf(f->owner, "\nThe potential of function node %s cannot be derived: %s\n", node_name(f), reason);
  fail(code);
}

// The nodes whose posterior F's potential depends on: what its model reads
// and, through real-valued function nodes, what their values read.
Vector<orv_node_t> dependencies(orv_node_s *f) {
  Vector<orv_node_t> reads;
  add_model_reads(f, reads);
  for (orv_node_t n : reads)
    if (n->is_continuous()) refuse(f, orv_error_invalid_expression, "its model uses a continuous node");
  for (std::size_t i = 0; i < reads.size(); ++i)
    if (is_real_function(reads[i]) && reads[i]->model) add_model_reads(reads[i], reads);
  return reads;
}

using TreeLists = Vector<Vector<orv_junction_tree_s *>>;

// Depth-first over prerequisites; state per tree: 0 new, 1 on the path, 2 done.
bool on_cycle(std::size_t t, const TreeLists &lists, Vector<unsigned char> &state) {
  if (state[t] != 0) return state[t] == 1;
  state[t] = 1;
  for (const orv_junction_tree_s *p : lists[t])
    if (on_cycle(p->number - 1, lists, state)) return true;
  state[t] = 2;
  return false;
}

bool active(const orv_node_s *n) { return n->results && n->results->derived && n->model; }

// F's distribution under the current posterior of the parents its model reads.
void induced_distribution(orv_node_s *f, Vector<double> &out) {
  Vector<orv_node_t> nodes = read_parents(f);
  const std::size_t parent_count = nodes.size(), k = f->state_count;
  nodes.push_back(f);
  nodes.push_back(nullptr);
  TablePtr conditional(_orv_create_table(f->owner, nodes.data(), orv_table_probability, 0, true, false));
  fill_from_model(f, conditional.get());
  const double *column = conditional->data;
  if (parent_count == 0) {
    out.assign(column, column + k);
    return;
  }
  nodes[parent_count] = nullptr;
  TablePtr joint(domain_marginal(f->owner, nodes.data()));
  out.assign(k, 0.0);
  for (std::size_t i = 0; i < joint->size; ++i) {
    const double w = joint->data[i];
    if (w == 0.0) continue;
    for (std::size_t s = 0; s < k; ++s) out[s] += w * column[i * k + s];
  }
}

}  // namespace

bool derives_potential(const orv_node_s *n) {
  return n->category == orv_category_function && n->is_discrete() && n->model != nullptr;
}

void construct_derived_potentials(JunctionForest &forest) {
  orv_domain_s *d = forest.domain;
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (!derives_potential(n) || !n->results) continue;
    const orv_node_t alone[] = {n, nullptr};
    forest.node_tables.reserve(forest.node_tables.size() + 1);
    orv_table_s *t = _orv_create_table(d, alone, orv_table_probability, 1, true, false);
    forest.node_tables.push_back(t);
    n->results->derived = t;
    forest.has_derived = true;
  }
  schedule_prerequisites(forest);
}

void schedule_prerequisites(JunctionForest &forest) {
  if (!forest.has_derived) return;
  TreeLists lists(forest.tree_count);
  for (orv_node_s *f = forest.domain->first_node; f; f = f->next) {
    if (!active(f)) continue;
    orv_junction_tree_s *own = f->junction_tree;
    Vector<orv_junction_tree_s *> &list = lists[own->number - 1];
    for (orv_node_t n : dependencies(f)) {
      if (n == f || !n->counts_as_variable()) continue;
      if (n->junction_tree == own)
        refuse(f, orv_error_cyclic_functional_dependency, "its model reads a node of its own junction tree");
      if (std::find(list.begin(), list.end(), n->junction_tree) == list.end()) list.push_back(n->junction_tree);
    }
  }
  Vector<unsigned char> state(forest.tree_count, 0);
  for (std::size_t t = 0; t < lists.size(); ++t)
    if (on_cycle(t, lists, state)) fail(orv_error_cyclic_functional_dependency);
  for (auto &tree : forest.tree_store) tree->prerequisites.swap(lists[tree->number - 1]);
}

void update_derived_potentials(orv_junction_tree_s *t) {
  std::uint64_t stamp = 0;
  for (const orv_junction_tree_s *p : t->prerequisites) stamp += p->serial;
  if (!t->initialize_tables && !t->tables_changed && stamp == t->prerequisite_stamp) return;
  Vector<double> next;
  for (orv_node_t n : t->nodes) {
    if (!active(n)) continue;  // a model deleted since compilation: the last potential stays
    orv_table_s *derived = n->results->derived;
    induced_distribution(n, next);
    if (std::equal(next.begin(), next.end(), derived->data)) continue;
    std::copy(next.begin(), next.end(), derived->data);
    t->tables_changed = true;  // the tree reloads its tables from the new potential
  }
  t->prerequisite_stamp = stamp;
}

}  // namespace orv
