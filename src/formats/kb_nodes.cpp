// KB files: the network section's head, its nodes and their links.
//
//   u64 node width, u64 node height, attributes, u64 node count,
//   per node: category, kind + 1, for an instance node the position of its
//     class in the collection, name, label, x, y (u32), attributes, for an
//     instance node the names of its output clones (empty: unnamed), which
//     take the positions after it, and when discrete: subtype, u64 state
//     count, u8 labelled (then per state u8 present and the label), u64
//     value count (0 or states + 1) and the values;
//   per node: u32 parent count and the parents' positions in parent order;
//   then the potentials (kb_potentials.cpp).
#include <algorithm>
#include <cstring>

#include "formats/kb_structure.h"
#include "model/attributes.h"
#include "model/graph_checks.h"
#include "model/node_ops.h"
#include "oobn/class.h"
#include "runtime/error.h"

namespace orv {

void kb_damage() { fail(orv_error_bad_kb_format); }

KbPositions::KbPositions(orv_domain_s *d, const Vector<orv_class_s *> *collection_order)
    : classes(collection_order) {
  order.reserve(d->node_count);
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (is_output_clone(n)) continue;
    order.push_back(n);
    for (orv_node_s *clone : n->output_clones) order.push_back(clone);
  }
  sorted.reserve(order.size());
  for (std::uint32_t i = 0; i < order.size(); ++i) sorted.emplace_back(order[i], i);
  std::sort(sorted.begin(), sorted.end());
}

std::uint32_t KbPositions::operator()(const orv_node_s *n) const {
  const auto it = std::lower_bound(sorted.begin(), sorted.end(), std::make_pair(n, std::uint32_t{0}));
  if (it == sorted.end() || it->first != n) fail(orv_error_error);  // a node of another network
  return it->second;
}

orv_node_s *KbNodes::read(ByteReader &r) const {
  const std::uint32_t i = r.u32();
  if (i >= nodes.size()) kb_damage();
  return nodes[i];
}

void write_attributes(ByteWriter &w, const orv_attribute_s *head) {
  std::size_t n = 0;
  for (const orv_attribute_s *a = head; a; a = a->next) ++n;
  w.u64(n);
  for (const orv_attribute_s *a = head; a; a = a->next) {
    w.text(a->key);
    w.text(a->value);
  }
}

// Keys are taken as stored, but never empty or twice.
void read_attributes(ByteReader &r, orv_attribute_s **head) {
  const std::size_t n = r.count(16);
  orv_attribute_s **tail = head;
  for (std::size_t i = 0; i < n; ++i) {
    String key, value;
    r.text(key);
    r.text(value);
    if (key.empty() || find_attribute(*head, key.c_str())) kb_damage();
    orv_attribute_s *a = _orv_new_attribute(std::move(key), std::move(value));
    *tail = a;
    tail = &a->next;
  }
}

namespace {

bool is_numeric(const orv_node_s *n) {
  return n->subtype == orv_subtype_number || n->subtype == orv_subtype_interval;
}

// An output clone keeps a name when something refers to it by name: it has
// one, children, or it is bound to an input.
bool clone_needs_name(orv_node_s *clone) {
  if (!clone->name.empty() || !clone->children.empty()) return true;
  for (orv_node_s *n = clone->owner->first_node; n; n = n->next)
    for (orv_node_s *b : n->input_bindings)
      if (b == clone) return true;
  return false;
}

std::uint32_t class_position(const KbPositions &at, const orv_class_s *c) {
  if (!at.classes) fail(orv_error_error);
  const auto &classes = *at.classes;
  for (std::size_t i = 0; i < classes.size(); ++i)
    if (classes[i] == c) return static_cast<std::uint32_t>(i);
  fail(orv_error_error);
}

void write_node(ByteWriter &w, orv_node_s *n, const KbPositions &at) {
  w.u8(static_cast<unsigned>(n->category));
  w.u8(static_cast<unsigned>(n->kind + 1));
  if (n->category == orv_category_instance) w.u32(class_position(at, n->instance_class));
  node_name(n);  // generated when unnamed
  w.text(n->name);
  w.text(n->label);
  w.u32(static_cast<std::uint32_t>(n->x));
  w.u32(static_cast<std::uint32_t>(n->y));
  write_attributes(w, n->attributes);
  for (orv_node_s *clone : n->output_clones) {
    if (clone_needs_name(clone)) node_name(clone);
    w.text(clone->name);
  }
  if (!n->is_discrete()) return;
  w.u8(static_cast<unsigned>(n->subtype));
  w.u64(n->state_count);
  w.u8(n->state_labels.empty() ? 0 : 1);
  for (const std::optional<String> &label : n->state_labels) {
    w.u8(label ? 1 : 0);
    if (label) w.text(*label);
  }
  const std::size_t values = is_numeric(n) ? n->state_values.size() : 0;
  w.u64(values);
  w.f64s(n->state_values.data(), values);
}

bool valid_kind(unsigned category, int kind) {
  switch (category) {
    case orv_category_chance:
    case orv_category_decision: return kind == orv_kind_discrete || kind == orv_kind_continuous;
    case orv_category_function: return kind == orv_kind_discrete || kind == orv_kind_other;
    case orv_category_utility:
    case orv_category_instance: return kind == orv_kind_other;
    default: return false;
  }
}

void read_states(ByteReader &r, orv_node_s *n) {
  const unsigned subtype = r.u8();
  if (subtype < orv_subtype_label || subtype > orv_subtype_interval) kb_damage();
  n->subtype = static_cast<orv_subtype_t>(subtype);
  const std::size_t count = r.count(1);  // a state costs at least its label flag
  if (count == 0 || (n->subtype == orv_subtype_boolean && count != 2)) kb_damage();
  n->state_count = count;
  const unsigned labelled = r.u8();
  if (labelled > 1) kb_damage();
  if (labelled) {
    if (count > static_cast<std::size_t>(r.end - r.at)) kb_damage();
    n->state_labels.resize(count);
    for (std::optional<String> &label : n->state_labels) {
      const unsigned present = r.u8();
      if (present > 1) kb_damage();
      if (present) r.text(label.emplace());
    }
  }
  const std::size_t values = r.count(sizeof(double));
  if (values != 0 && (values != count + 1 || !is_numeric(n))) kb_damage();
  n->state_values.resize(values);
  r.f64s(n->state_values.data(), values);
}

void check_name(const orv_domain_s *d, const String &name) {
  if (name.empty() || !is_valid_name(name.c_str(), !d->is_class())) kb_damage();
}

// An instance node (with its output clones) of a class read before.
orv_node_s *read_instance(ByteReader &r, orv_domain_s *d, const KbNodes &k) {
  const std::uint32_t i = r.u32();
  if (!d->is_class() || !k.classes || i >= k.classes->size()) kb_damage();
  return new_instance(as_class(d), (*k.classes)[i]);
}

// Appends the node (and an instance's clones) to k.nodes.
void read_node(ByteReader &r, orv_domain_s *d, KbNodes &k) {
  const unsigned category = r.u8();
  const int kind = static_cast<int>(r.u8()) - 1;
  if (!valid_kind(category, kind)) kb_damage();
  orv_node_s *n = category == orv_category_instance
                      ? read_instance(r, d, k)
                      : _orv_domain_new_node(d, static_cast<orv_category_t>(category), static_cast<orv_kind_t>(kind),
                                             orv_subtype_label, false);
  k.nodes.push_back(n);
  r.text(n->name);
  check_name(d, n->name);
  r.text(n->label);
  n->x = static_cast<std::int32_t>(r.u32());
  n->y = static_cast<std::int32_t>(r.u32());
  read_attributes(r, &n->attributes);
  for (orv_node_s *clone : n->output_clones) {
    k.nodes.push_back(clone);
    r.text(clone->name);
    if (!clone->name.empty()) check_name(d, clone->name);
  }
  if (n->is_discrete()) read_states(r, n);
}

// Names are unique (clones may have none); the network's name index stays
// empty until a lookup builds it.
void check_unique_names(Vector<orv_node_s *> nodes) {
  std::sort(nodes.begin(), nodes.end(), [](const orv_node_s *a, const orv_node_s *b) { return a->name < b->name; });
  for (std::size_t i = 1; i < nodes.size(); ++i)
    if (!nodes[i]->name.empty() && nodes[i]->name == nodes[i - 1]->name) kb_damage();
}

void write_links(ByteWriter &w, const KbPositions &at) {
  for (orv_node_s *n : at.order) {
    w.u32(static_cast<std::uint32_t>(n->parents.size()));
    for (orv_node_s *p : n->parents) w.u32(at(p));
  }
}

// The links a node may have, as adding a parent checks them: no node twice,
// kinds that fit, discrete parents first, none into a copy of a class node,
// none from or to an instance node.
void check_parent(orv_node_s *child, orv_node_s *parent, bool &non_discrete_seen) {
  if (child == parent || child->class_node || child->category == orv_category_instance ||
      parent->category == orv_category_instance)
    kb_damage();
  if (child->category != orv_category_function) {
    if (parent->category == orv_category_utility) kb_damage();
    if (child->is_discrete() && parent->is_continuous()) kb_damage();
  }
  if (parent->is_discrete() && non_discrete_seen) kb_damage();
  non_discrete_seen = non_discrete_seen || !parent->is_discrete();
}

// Kahn's order over the parent lists (offsets into `parents`): refuses a
// directed cycle.
void check_acyclic(KbNodes &k, const Vector<std::size_t> &offsets, const Vector<std::uint32_t> &parents) {
  const std::size_t n = k.nodes.size();
  Vector<std::size_t> child_offsets(n + 1, 0), pending(n), children(parents.size()), ready;
  for (std::uint32_t p : parents) ++child_offsets[p + 1];
  for (std::size_t i = 0; i < n; ++i) child_offsets[i + 1] += child_offsets[i];
  Vector<std::size_t> fill(child_offsets.begin(), child_offsets.end() - 1);
  for (std::size_t c = 0; c < n; ++c) {
    pending[c] = offsets[c + 1] - offsets[c];
    for (std::size_t j = offsets[c]; j < offsets[c + 1]; ++j) children[fill[parents[j]]++] = c;
    if (pending[c] == 0) ready.push_back(c);
  }
  std::size_t done = 0;
  while (!ready.empty()) {
    const std::size_t p = ready.back();
    ready.pop_back();
    ++done;
    for (std::size_t j = child_offsets[p]; j < child_offsets[p + 1]; ++j)
      if (--pending[children[j]] == 0) ready.push_back(children[j]);
  }
  if (done != n) kb_damage();
}

void read_links(ByteReader &r, orv_domain_s *d, KbNodes &k) {
  const std::size_t n = k.nodes.size();
  Vector<std::size_t> offsets(n + 1, 0), child_counts(n, 0);
  Vector<std::uint32_t> parents;
  k.stamps.assign(n, 0);
  for (std::size_t c = 0; c < n; ++c) {
    const std::uint32_t count = r.u32();
    if (count > static_cast<std::size_t>(r.end - r.at) / 4) kb_damage();
    ++k.epoch;
    bool non_discrete_seen = false;
    for (std::uint32_t j = 0; j < count; ++j) {
      orv_node_s *p = k.read(r);
      const std::size_t at = KbNodes::position(p);
      if (k.stamps[at] == k.epoch) kb_damage();
      k.stamps[at] = k.epoch;
      check_parent(k.nodes[c], p, non_discrete_seen);
      parents.push_back(static_cast<std::uint32_t>(at));
      ++child_counts[at];
    }
    offsets[c + 1] = parents.size();
  }
  check_acyclic(k, offsets, parents);
  for (std::size_t i = 0; i < n; ++i) {
    k.nodes[i]->parents.reserve(offsets[i + 1] - offsets[i]);
    k.nodes[i]->children.reserve(child_counts[i]);
  }
  // Functional dependencies are checked link by link, as links are added.
  const bool functions = d->function_count > 0;
  for (std::size_t c = 0; c < n; ++c) {
    orv_node_s *child = k.nodes[c];
    for (std::size_t j = offsets[c]; j < offsets[c + 1]; ++j) {
      orv_node_s *parent = k.nodes[parents[j]];
      if (functions) _orv_check_proposed_link(parent, child, nullptr);
      child->parents.push_back(parent);
      parent->children.push_back(child);
    }
  }
}

}  // namespace

void write_network(ByteWriter &w, orv_domain_s *d, const KbPositions &at) {
  w.u64(d->node_width);
  w.u64(d->node_height);
  write_attributes(w, d->attributes);
  std::size_t records = 0;
  for (orv_node_s *n : at.order) records += !is_output_clone(n);
  w.u64(records);
  for (orv_node_s *n : at.order)
    if (!is_output_clone(n)) write_node(w, n, at);
  write_links(w, at);
  write_potentials(w, d, at);
}

void read_network(ByteReader &r, orv_domain_s *d, KbNodes &k) {
  d->node_width = static_cast<std::size_t>(r.u64());
  d->node_height = static_cast<std::size_t>(r.u64());
  read_attributes(r, &d->attributes);
  const std::size_t n = r.count(16);  // a node takes at least 16 bytes
  k.nodes.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    read_node(r, d, k);
    if (k.nodes.size() >= UINT32_MAX) kb_damage();
  }
  check_unique_names(k.nodes);
  read_links(r, d, k);
  read_potentials(r, d, k);
  _orv_reverse_node_and_table_lists(d);
}

}  // namespace orv
