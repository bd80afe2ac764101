// Cloning, deletion, category and subtype changes, ancestor and descendant
// searches.
#include "model/node_ops.h"

#include <cstring>
#include <utility>

#include "expr/model_upkeep.h"
#include "model/attributes.h"
#include "model/links.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {

namespace {

// An unchained table copy in which the clone replaces the source node.
orv_table_s *clone_node_table(const orv_table_s *t, orv_node_s *source, orv_node_s *clone) {
  if (!t) return nullptr;
  Owned<orv_table_s> copy(_orv_clone_table(t, false));
  const long i = copy->nodes.index_of(source);
  if (i >= 0) {
    NodeList nodes;
    nodes.assign(copy->nodes.c_list());
    // assign() copied the list; replacing an entry cannot fail.
    nodes.begin()[i] = clone;
    copy->nodes.swap(nodes);
  }
  copy->node = clone;
  return copy.release();
}

// Copies of a node's case arrays, made before a clone commits.
class CaseCopy {
 public:
  explicit CaseCopy(const orv_node_s *n) {
    const std::size_t capacity = n->owner->case_capacity;
    try {
      states_ = copy(n->case_states, capacity);
      values_ = copy(n->case_values, capacity);
      flags_ = copy(n->case_value_set, capacity);
    } catch (...) {
      free_all();
      throw;
    }
  }
  ~CaseCopy() { free_all(); }
  CaseCopy(const CaseCopy &) = delete;
  CaseCopy &operator=(const CaseCopy &) = delete;
  void release_into(orv_node_s *clone) noexcept {
    clone->case_states = std::exchange(states_, nullptr);
    clone->case_values = std::exchange(values_, nullptr);
    clone->case_value_set = std::exchange(flags_, nullptr);
  }

 private:
  void free_all() noexcept {
    _orv_free(states_);
    _orv_free(values_);
    _orv_free(flags_);
  }
  template <class T>
  static T *copy(const T *source, std::size_t capacity) {
    if (!source) return nullptr;
    auto *block = static_cast<T *>(_orv_allocate(size_multiply(capacity, sizeof(T))));
    if (!block) throw std::bad_alloc();
    std::memcpy(block, source, capacity * sizeof(T));
    return block;
  }
  std::int16_t *states_ = nullptr;
  double *values_ = nullptr;
  unsigned char *flags_ = nullptr;
};

}  // namespace

void copy_node_description(orv_node_s *to, const orv_node_s *from) {
  to->label = from->label;
  to->x = from->x;
  to->y = from->y;
  to->state_count = from->state_count;
  to->state_labels = from->state_labels;
  to->state_values = from->state_values;
  to->table_valid = from->table_valid;
  to->attributes = copy_attribute_list(from->attributes);
}

orv_node_s *clone_node(orv_node_s *node) {
  orv_domain_s *d = node->owner;
  Owned<orv_node_s> clone(make<orv_node_s>(d, node->category, node->kind));
  clone->subtype = node->subtype;
  clone->state_count = node->state_count;
  clone->state_labels = node->state_labels;
  clone->state_values = node->state_values;
  clone->label = node->label;
  clone->table_valid = node->table_valid;
  OwnedAttributes attributes(copy_attribute_list(node->attributes));
  clone->parents.assign(node->parents.c_list());
  for (orv_node_s *p : node->parents) p->children.reserve(p->children.size() + 1);

  // Case data: copies of the whole capacity.
  CaseCopy case_copy(node);

  // Tables last among the fallible steps: unchained copies, chained on commit.
  Owned<orv_table_s> table(clone_node_table(node->table, node, clone.get()));
  Owned<orv_table_s> experience(clone_node_table(node->experience, node, clone.get()));
  Owned<orv_table_s> fading(clone_node_table(node->fading, node, clone.get()));

  // Commit: nothing below can fail.
  for (orv_node_s *p : clone->parents) p->children.insert_discrete_first(clone.get());
  clone->attributes = attributes.release();
  const auto chain = [](Owned<orv_table_s> &t) {
    if (t) chain_table(t.get());
    return t.release();
  };
  clone->table = chain(table);
  clone->experience = chain(experience);
  clone->fading = chain(fading);
  case_copy.release_into(clone.get());
  uncompile(d);
  link_new_node(d, clone.get());
  return clone.release();
}

void delete_node(orv_node_s *node) {
  orv_domain_s *d = node->owner;
  if (d->is_class()) detach_class_structure(node);
  // Children lose the node's dimension (keeping state 0) like any removed parent.
  while (!node->parents.empty()) eliminate_parent(node, node->parents[0], 0);
  while (!node->children.empty()) eliminate_parent(node->children[0], node, 0);
  if (node->counts_as_variable() || node->category == orv_category_utility) uncompile(d);
  if (node->counts_as_variable()) discard_node_set_cache(d);
  d->initial_triangulation.remove(node);
  forget_node_in_models(node);
  free_node(node);
}

void _orv_node_set_discrete_type(orv_node_s *node, orv_category_t category, orv_subtype_t subtype) {
  if (!node->is_discrete() || node->class_node || node->temporal_clone) fail(orv_error_usage);
  orv_domain_s *d = node->owner;
  if (category != node->category) {
    if (node->category == orv_category_function || node->experience || node->fading ||
        node->chain_block)
      fail(orv_error_usage);
    if (category != orv_category_chance && category != orv_category_decision) fail(orv_error_usage);
    if (category == orv_category_decision) {
      if (d->continuous_count > 0) fail(orv_error_cg_limids_not_supported);
      check_function_nodes_for_limid(d, category);
    }
  }
  if (subtype != node->subtype) {
    const bool known = subtype == orv_subtype_label || subtype == orv_subtype_boolean ||
                       subtype == orv_subtype_number || subtype == orv_subtype_interval;
    if (!known || (subtype == orv_subtype_boolean && node->state_count != 2)) fail(orv_error_usage);
  }
  // The output clones of the node in every instance of its class follow it.
  // A Java peer of another subtype (or of a clone of another category) is let
  // go; the binding makes a new one on demand.
  Vector<orv_node_s *> group{node};
  append_output_clones(node, group);
  for (orv_node_s *m : group) {
    if (((m != node && m->category != category) || m->subtype != subtype) && m->java_peer) peer_release(m);
    if (category != m->category) {
      orv_domain_s *home = m->owner;
      if (m->category == orv_category_chance) --home->chance_count; else --home->decision_count;
      if (category == orv_category_chance) ++home->chance_count; else ++home->decision_count;
      discard_node_set_cache(home);
      uncompile(home);
      m->category = category;
    }
    m->subtype = subtype;
  }
}

orv_node_t *relatives(orv_node_s *node, bool ancestors) {
  orv_domain_s *d = node->owner;
  NodeArray &result = node->relatives;
  if (_orv_allocate_node_array(&result, size_add(d->node_count, 1)) != orv_error_none)
    fail(error_code());
  std::size_t count = 0;
  result.items[count++] = node;
  node->mark = 1;
  for (std::size_t head = 0; head < count; ++head) {
    const NodeList &next = ancestors ? result.items[head]->parents : result.items[head]->children;
    for (orv_node_s *n : next) {
      if (n->mark) continue;
      n->mark = 1;
      result.items[count++] = n;
    }
  }
  for (std::size_t i = 0; i < count; ++i) result.items[i]->mark = 0;
  result.items[count] = nullptr;
  return result.items;
}

}  // namespace orv
