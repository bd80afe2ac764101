// Unfolding: a class becomes an ordinary domain. Instances are unfolded
// recursively into the same domain, bound inputs are replaced by their actual
// nodes, and every runtime node is named by its instance path ("I.J.X") and
// keeps that path as its source list. The same copying turns a domain into a
// class of a collection.
#include <cstring>

#include "expr/expression.h"
#include "expr/model.h"
#include "model/attributes.h"
#include "model/graph_checks.h"
#include "model/links.h"
#include "model/node_ops.h"
#include "oobn/class.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {

namespace {

// Runtime counterparts of one class's nodes, indexed by node number - 1.
using NodeMap = Vector<orv_node_s *>;

orv_node_s *&mapped(NodeMap &map, const orv_node_s *n) { return map[n->number - 1]; }

class Unfolder {
 public:
  Unfolder(orv_domain_s *target, bool keep_names) : to_(target), keep_names_(keep_names) {}

  // Copies the nodes of c (a class, or a domain) into the target and fills
  // map; instance nodes are unfolded recursively below path.
  void merge(orv_domain_s *c, NodeMap &map, Vector<orv_node_s *> &path) {
    Vector<std::pair<orv_node_s *, NodeMap>> nested;
    for (orv_node_s *n = c->first_node; n; n = n->next) {
      if (is_output_clone(n)) continue;
      if (n->category != orv_category_instance) {
        mapped(map, n) = copy_node(n, path);
        continue;
      }
      orv_class_s *k = n->instance_class;
      NodeMap inner(k->node_count, nullptr);
      path.push_back(n);
      merge(k, inner, path);
      path.pop_back();
      for (orv_node_t clone : n->output_clones) mapped(map, clone) = mapped(inner, clone->class_node);
      nested.emplace_back(n, std::move(inner));
    }
    for (orv_node_s *n = c->first_node; n; n = n->next)
      if (n->category != orv_category_instance && !is_output_clone(n)) copy_links_and_tables(n, map);
    for (auto &[instance, inner] : nested) bind_inputs(instance, inner, map);
  }

 private:
  orv_node_s *copy_node(orv_node_s *n, const Vector<orv_node_s *> &path) {
    const orv_subtype_t subtype = n->is_discrete() ? n->subtype : orv_subtype_label;
    orv_node_s *r = _orv_domain_new_node(to_, n->category, n->kind, subtype, false);
    copy_node_description(r, n);
    if (keep_names_) {
      r->name = n->name;
    } else {
      r->source.reserve(path.size() + 1);
      for (orv_node_s *i : path) r->source.push_back(i);
      r->source.push_back(n);
    }
    return r;
  }

  orv_table_s *copy_table(const orv_table_s *t, orv_node_s *owner, NodeMap &map) {
    Owned<orv_table_s> copy(_orv_clone_table(t, false));
    NodeList nodes;
    nodes.reserve(copy->nodes.size());
    for (orv_node_t m : copy->nodes) nodes.push_back(mapped(map, m));
    copy->nodes.swap(nodes);
    copy->domain = to_;
    copy->node = owner;
    chain_table(copy.get());
    return copy.release();
  }

  // Parents in the class's order: add_parent puts a discrete parent in front
  // of the others, so the others go first in order, then the discrete ones
  // from last to first.
  void copy_links_and_tables(orv_node_s *n, NodeMap &map) {
    orv_node_s *r = mapped(map, n);
    for (orv_node_t p : n->parents)
      if (!p->is_discrete()) add_parent(r, mapped(map, p));
    for (std::size_t i = n->parents.size(); i-- > 0;)
      if (n->parents[i]->is_discrete()) add_parent(r, mapped(map, n->parents[i]));
    if (n->table) r->table = copy_table(n->table, r, map);
    if (n->experience) r->experience = copy_table(n->experience, r, map);
    if (n->fading) r->fading = copy_table(n->fading, r, map);
    if (n->model) copy_model(n->model, r, map);
  }

  static orv_node_s *map_expression_node(const orv_node_s *n, const void *map) {
    return (*static_cast<const NodeMap *>(map))[n->number - 1];
  }

  void copy_model(const orv_model_s *m, orv_node_s *r, NodeMap &map) {
    NodeList nodes;
    nodes.reserve(m->nodes.size());
    for (orv_node_t n : m->nodes) nodes.push_back(mapped(map, n));
    orv_model_s *copy = new_model(r, nodes.c_list());
    copy->samples_per_interval = m->samples_per_interval;
    copy->table_supplied = m->table_supplied;
    copy->table_generated = m->table_generated;
    for (std::size_t i = 0; i < m->expressions.size(); ++i)
      if (m->expressions[i])
        set_model_expression(copy, i, clone_expression(m->expressions[i], map_expression_node, &map));
  }

  // The copy of each bound input hands its children to the actual node and
  // goes away; unbound inputs stay as ordinary nodes.
  void bind_inputs(orv_node_s *instance, NodeMap &inner, NodeMap &map) {
    const NodeList &inputs = instance->instance_class->inputs;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      orv_node_s *actual_node = binding(instance, i);
      if (!actual_node) continue;
      orv_node_s *copy = mapped(inner, inputs[i]);
      orv_node_s *actual = mapped(map, actual_node);
      if (!_orv_nodes_are_compatible(copy, actual)) fail(orv_error_illegal_binding);
      while (!copy->children.empty()) {
        try {
          switch_parent(copy->children[0], copy, actual);
        } catch (const Failure &f) {
          if (f.code == orv_error_usage) fail(orv_error_illegal_binding);
          throw;
        }
      }
      delete_node(copy);
      mapped(inner, inputs[i]) = nullptr;
    }
  }

  orv_domain_s *to_;
  bool keep_names_;
};

// "I.J.X" from the source list; class nodes without a name get their
// generated one first.
void name_runtime_nodes(orv_domain_s *d) {
  for (orv_node_s *r = d->first_node; r; r = r->next) {
    std::size_t length = 0;
    for (orv_node_t s : r->source) length = size_add(length, size_add(std::strlen(node_name(s)), 1));
    String name;
    name.reserve(length);
    for (orv_node_t s : r->source) {
      if (!name.empty()) name += '.';
      name += s->name;
    }
    r->name.swap(name);
  }
  d->names.clear();
}

void check_state_limit(const orv_domain_s *d, std::size_t limit) {
  std::size_t total = 0;
  for (const orv_node_s *n = d->first_node; n; n = n->next)
    total = size_add(total, n->is_discrete() ? n->state_count : n->is_continuous() ? 2 : 1);
  if (total > limit) fail(orv_error_demo);
}

}  // namespace

orv_domain_s *unfold_class(orv_class_s *c) {
  Owned<orv_domain_s> d(make<orv_domain_s>());
  d->node_width = c->node_width;
  d->node_height = c->node_height;
  d->attributes = copy_attribute_list(c->attributes);
  NodeMap map(c->node_count, nullptr);
  Vector<orv_node_s *> path;
  Unfolder(d.get(), false).merge(c, map, path);
  _orv_reverse_node_and_table_lists(d.get());
  check_state_limit(d.get(), c->collection->state_limit);
  name_runtime_nodes(d.get());
  return d.release();
}

namespace {

orv_class_s *class_from_domain(orv_class_collection_s *cc, orv_domain_s *domain) {
  if (domain->first_chain_block) fail(orv_error_usage);  // undirected links stay out of classes
  for (orv_node_s *n = domain->first_node; n; n = n->next)
    if (!n->name.empty() && !is_valid_name(n->name.c_str(), false)) fail(orv_error_invalid_name);
  orv_class_s *c = new_class(cc);
  try {
    c->node_width = domain->node_width;
    c->node_height = domain->node_height;
    c->attributes = copy_attribute_list(domain->attributes);
    NodeMap map(domain->node_count, nullptr);
    Vector<orv_node_s *> path;
    Unfolder(c, true).merge(domain, map, path);
    _orv_reverse_node_and_table_lists(c);
    c->file_name = domain->file_name;
  } catch (...) {
    cc->members.pop_back();
    free_class(c);
    throw;
  }
  return c;
}

}  // namespace

}  // namespace orv

using orv::guarded;
using orv::usage;

extern "C" {

orv_domain_t orv_class_create_domain(orv_class_t c) {
  if (!orv::is_class(c)) return usage<orv_domain_t>(nullptr);
  return guarded<orv_domain_t>(nullptr, [&] { return orv::unfold_class(c); });
}

orv_node_t *orv_node_get_source(orv_node_t node) {
  if (!orv::is_node(node)) return usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] { return node->source.c_list(); });
}

orv_status_t orv_domain_delete_source_lists(orv_domain_t domain) {
  if (!orv::is_domain(domain) || domain->is_class()) return usage(orv_error_usage);
  for (orv_node_s *n = domain->first_node; n; n = n->next) {
    if (n->java_source) orv::source_release(n);
    n->source.clear();
  }
  orv::set_error(orv_error_none);
  return orv_error_none;
}

orv_class_t orv_cc_add_domain(orv_class_collection_t cc, orv_domain_t domain) {
  if (!orv::is_collection(cc) || !orv::is_domain(domain) || domain->is_class()) return usage<orv_class_t>(nullptr);
  return guarded<orv_class_t>(nullptr, [&] {
    orv_class_s *c = orv::class_from_domain(cc, domain);
    orv::destroy(domain);
    return c;
  });
}

}  // extern "C"
