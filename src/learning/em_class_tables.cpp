// Learning the tables of classes: EM over a domain unfolded from a class,
// where every runtime copy of one class node shares that node's parameters.
// The expected counts of all copies are summed, one table per class node is
// estimated with the class node's experience as prior, and the learned
// tables and experience are written back into the class nodes (and into the
// runtime copies, which stay in step with their class).
#include "learning/case_store.h"
#include "learning/em.h"
#include "runtime/error.h"
#include "tables/node_table.h"

namespace orv {

namespace {

// The class node a runtime node was copied from (the last source entry).
orv_node_s *class_node_of(const orv_node_s *n) { return n->source.empty() ? nullptr : n->source[n->source.size() - 1]; }

bool same_layout(const orv_table_s *a, const orv_table_s *b) {
  return a->size == b->size && a->block_size == b->block_size && a->nodes.size() == b->nodes.size();
}

void write_back(Vector<LearnedNode> &learned) noexcept {
  for (std::size_t k = 0; k < learned.size(); ++k) {
    LearnedNode &l = learned[k];
    orv_node_s *c = class_node_of(l.node);
    if (l.leader == k) _orv_copy_table_data(c->table, l.node->table);
    if (l.node->experience && l.node->experience != l.experience && l.node->experience->size == l.experience->size)
      _orv_copy_table_data(l.node->experience, l.experience);
  }
}

void learn_class_tables(orv_domain_s *d) {
  bool from_class = false;
  for (orv_node_s *n = d->first_node; n; n = n->next) from_class = from_class || class_node_of(n);
  if (!from_class) fail(orv_error_usage);
  check_learning_preconditions(d);
  const Vector<signed char> flags = case_flags(d);
  Vector<LearnedNode> learned = class_learned_nodes(d);
  if (learned.empty()) fail(orv_error_usage);
  run_em(d, learned, flags, false);
  write_back(learned);
}

}  // namespace

Vector<LearnedNode> class_learned_nodes(orv_domain_s *d) {
  Vector<LearnedNode> learned;
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    orv_node_s *c = class_node_of(n);
    if (!holds_cases(n) || !c || !c->experience) continue;
    std::size_t leader = learned.size();
    for (std::size_t k = 0; k < learned.size(); ++k)
      if (learned[k].leader == k && class_node_of(learned[k].node) == c) leader = k;
    LearnedNode l;
    if (!make_learned_node(n, c->experience, l)) continue;
    orv_table_s *class_table = node_table(c);
    _orv_allocate_data_arrays(class_table);
    // The class may have changed since it was unfolded.
    const std::size_t configurations = n->is_continuous() ? n->table->size : n->table->size / n->state_count;
    if (!same_layout(class_table, n->table) || c->experience->size != configurations) fail(orv_error_usage);
    l.leader = leader;
    if (leader != learned.size()) l.prior.clear();  // the leader holds the prior once
    learned.push_back(std::move(l));
  }
  return learned;
}

}  // namespace orv

extern "C" {

orv_status_t orv_domain_learn_class_tables(orv_domain_t domain) {
  if (!orv::is_learning_domain(domain)) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] { orv::learn_class_tables(domain); });
}

}  // extern "C"
