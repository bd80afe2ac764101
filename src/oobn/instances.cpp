// Instance nodes and their output clones, input and output declarations,
// input bindings, the cycle check of the instance hierarchy, and the
// unlinking done before a node of a class is deleted.
#include "model/node_ops.h"
#include "oobn/class.h"
#include "runtime/error.h"

namespace orv {

bool is_class_input(const orv_node_s *node) noexcept {
  return node->owner->is_class() && as_class(node->owner)->inputs.contains(const_cast<orv_node_s *>(node));
}

void append_output_clones(orv_node_s *node, Vector<orv_node_s *> &nodes) {
  if (!node->owner->is_class()) return;
  orv_class_s *c = as_class(node->owner);
  const long pos = c->outputs.index_of(node);
  if (pos < 0) return;
  for (orv_node_t i : c->instances) {
    orv_node_s *clone = i->output_clones[static_cast<std::size_t>(pos)];
    nodes.push_back(clone);
    append_output_clones(clone, nodes);  // a clone is never an output; kept for symmetry
  }
}

void check_instance_cycle(orv_class_s *c, orv_class_s *d) {
  auto &members = c->collection->members;
  for (orv_class_s *m : members) m->mark = false;
  Vector<orv_class_s *> stack{c};
  c->mark = true;
  while (!stack.empty()) {
    orv_class_s *x = stack.back();
    stack.pop_back();
    for (orv_node_t i : x->instances) {
      orv_class_s *h = home_class(i);
      if (h->mark) continue;
      h->mark = true;
      stack.push_back(h);
    }
  }
  const bool cyclic = d->mark;
  for (orv_class_s *m : members) m->mark = false;
  if (cyclic) fail(orv_error_cyclic_instance_hierarchy);
}

orv_node_s *make_output_clone(orv_node_s *instance, orv_node_s *master) {
  const orv_subtype_t subtype = master->is_discrete() ? master->subtype : orv_subtype_label;
  orv_node_s *k = _orv_domain_new_node(instance->owner, master->category, master->kind, subtype, false);
  try {
    k->state_count = master->state_count;
    k->state_labels = master->state_labels;
    k->state_values = master->state_values;
  } catch (...) {
    delete_node(k);
    throw;
  }
  k->class_node = master;
  k->instance_node = instance;
  return k;
}

orv_node_s *new_output_clone(orv_node_s *instance, orv_node_s *master) {
  instance->output_clones.reserve(instance->output_clones.size() + 1);
  orv_node_s *k = make_output_clone(instance, master);
  instance->output_clones.push_back(k);
  return k;
}

orv_node_s *new_instance(orv_class_s *c, orv_class_s *d) {
  if (c->collection != d->collection) fail(orv_error_usage);
  check_instance_cycle(c, d);
  d->instances.reserve(d->instances.size() + 1);
  orv_node_s *n = _orv_domain_new_node(c, orv_category_instance, orv_kind_other, orv_subtype_label, false);
  n->instance_class = d;
  d->instances.push_back(n);
  try {
    for (orv_node_t o : d->outputs) new_output_clone(n, o);
  } catch (...) {
    delete_node(n);
    throw;
  }
  return n;
}

namespace {

// A node that may be declared an input or output of its class.
orv_class_s *declarable(orv_node_s *node) {
  if (!node->owner->is_class() || node->category == orv_category_instance || is_output_clone(node) ||
      node->temporal_clone)
    fail(orv_error_usage);
  return as_class(node->owner);
}

}  // namespace

void add_to_inputs(orv_node_s *node) {
  orv_class_s *c = declarable(node);
  if (c->inputs.contains(node)) return;
  if (c->outputs.contains(node) || !node->parents.empty()) fail(orv_error_usage);
  c->inputs.push_back(node);
}

void add_to_outputs(orv_node_s *node) {
  orv_class_s *c = declarable(node);
  if (c->outputs.contains(node)) return;
  if (c->inputs.contains(node)) fail(orv_error_usage);
  c->outputs.reserve(c->outputs.size() + 1);
  std::size_t made = 0;
  try {
    for (orv_node_t i : c->instances) {
      new_output_clone(i, node);
      ++made;
    }
  } catch (...) {
    for (std::size_t k = 0; k < made; ++k) {
      NodeList &clones = c->instances[k]->output_clones;
      delete_node(clones[clones.size() - 1]);
    }
    throw;
  }
  c->outputs.push_back(node);
}

void remove_from_inputs(orv_node_s *node) {
  orv_class_s *c = declarable(node);
  const long pos = c->inputs.index_of(node);
  if (pos < 0) fail(orv_error_usage);
  c->inputs.remove_at(static_cast<std::size_t>(pos));
  for (orv_node_t i : c->instances)
    if (static_cast<std::size_t>(pos) < i->input_bindings.size()) i->input_bindings.erase(i->input_bindings.begin() + pos);
}

void remove_from_outputs(orv_node_s *node) {
  orv_class_s *c = declarable(node);
  const long pos = c->outputs.index_of(node);
  if (pos < 0) fail(orv_error_usage);
  c->outputs.remove_at(static_cast<std::size_t>(pos));
  for (orv_node_t i : c->instances) delete_node(i->output_clones[static_cast<std::size_t>(pos)]);
}

void detach_class_structure(orv_node_s *node) {
  orv_class_s *c = as_class(node->owner);
  if (c->inputs.contains(node)) remove_from_inputs(node);
  if (c->outputs.contains(node)) remove_from_outputs(node);
  if (is_output_clone(node)) node->instance_node->output_clones.remove(node);
  if (node->category == orv_category_instance) {
    if (node->instance_class) node->instance_class->instances.remove(node);
    while (!node->output_clones.empty()) delete_node(node->output_clones[node->output_clones.size() - 1]);
  }
  for (orv_node_s *n = c->first_node; n; n = n->next)
    for (orv_node_s *&b : n->input_bindings)
      if (b == node) b = nullptr;
}

void set_input(orv_node_s *instance, orv_node_s *formal, orv_node_s *actual) {
  if (instance->category != orv_category_instance || actual->owner != instance->owner) fail(orv_error_usage);
  const long pos = instance->instance_class->inputs.index_of(formal);
  if (pos < 0 || actual->category != formal->category || actual->kind != formal->kind) fail(orv_error_usage);
  const std::size_t length = instance->instance_class->inputs.size();
  if (instance->input_bindings.size() < length) instance->input_bindings.resize(length, nullptr);
  instance->input_bindings[static_cast<std::size_t>(pos)] = actual;
}

namespace {

bool is_instance(const orv_node_s *n) { return is_node(n) && n->category == orv_category_instance; }

// Position of formal among the inputs of the instance's class, or -1.
long input_position(const orv_node_s *instance, orv_node_s *formal) {
  return is_node(formal) ? instance->instance_class->inputs.index_of(formal) : -1;
}

}  // namespace

}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::is_node;
using orv::usage;

extern "C" {

orv_node_t orv_class_new_instance(orv_class_t c, orv_class_t instantiated) {
  if (!orv::is_class(c) || !orv::is_class(instantiated)) return usage<orv_node_t>(nullptr);
  return guarded<orv_node_t>(nullptr, [&] { return orv::new_instance(c, instantiated); });
}

orv_class_t orv_node_get_instance_class(orv_node_t instance) {
  if (!orv::is_instance(instance)) return usage<orv_class_t>(nullptr);
  orv::set_error(orv_error_none);
  return instance->instance_class;
}

orv_node_t *orv_class_get_instances(orv_class_t c) {
  if (!orv::is_class(c)) return usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] { return c->instances.c_list(); });
}

orv_status_t orv_node_add_to_inputs(orv_node_t node) {
  if (!is_node(node)) return usage(orv_error_usage);
  return guarded_status([&] { orv::add_to_inputs(node); });
}

orv_status_t orv_node_remove_from_inputs(orv_node_t node) {
  if (!is_node(node)) return usage(orv_error_usage);
  return guarded_status([&] { orv::remove_from_inputs(node); });
}

orv_status_t orv_node_add_to_outputs(orv_node_t node) {
  if (!is_node(node)) return usage(orv_error_usage);
  return guarded_status([&] { orv::add_to_outputs(node); });
}

orv_status_t orv_node_remove_from_outputs(orv_node_t node) {
  if (!is_node(node)) return usage(orv_error_usage);
  return guarded_status([&] { orv::remove_from_outputs(node); });
}

orv_node_t *orv_class_get_inputs(orv_class_t c) {
  if (!orv::is_class(c)) return usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] { return c->inputs.c_list(); });
}

orv_node_t *orv_class_get_outputs(orv_class_t c) {
  if (!orv::is_class(c)) return usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] { return c->outputs.c_list(); });
}

orv_status_t orv_node_set_input(orv_node_t instance, orv_node_t formal, orv_node_t actual) {
  if (!orv::is_instance(instance) || !is_node(formal) || !is_node(actual)) return usage(orv_error_usage);
  return guarded_status([&] { orv::set_input(instance, formal, actual); });
}

orv_status_t orv_node_unset_input(orv_node_t instance, orv_node_t formal) {
  if (!orv::is_instance(instance)) return usage(orv_error_usage);
  const long pos = orv::input_position(instance, formal);
  if (pos < 0) return usage(orv_error_usage);
  if (static_cast<std::size_t>(pos) < instance->input_bindings.size()) instance->input_bindings[pos] = nullptr;
  orv::set_error(orv_error_none);
  return orv_error_none;
}

orv_node_t orv_node_get_input(orv_node_t instance, orv_node_t formal) {
  if (!orv::is_instance(instance)) return usage<orv_node_t>(nullptr);
  const long pos = orv::input_position(instance, formal);
  if (pos < 0) return usage<orv_node_t>(nullptr);
  orv::set_error(orv_error_none);
  return orv::binding(instance, static_cast<std::size_t>(pos));
}

orv_node_t orv_node_get_output(orv_node_t instance, orv_node_t output) {
  if (!orv::is_instance(instance) || !is_node(output)) return usage<orv_node_t>(nullptr);
  const long pos = instance->instance_class->outputs.index_of(output);
  if (pos < 0) return usage<orv_node_t>(nullptr);
  orv::set_error(orv_error_none);
  return instance->output_clones[static_cast<std::size_t>(pos)];
}

orv_node_t *orv_node_get_outputs(orv_node_t instance) {
  if (!orv::is_instance(instance)) return usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] { return instance->output_clones.c_list(); });
}

orv_node_t orv_node_get_master(orv_node_t clone) {
  if (!is_node(clone) || !orv::is_output_clone(clone)) return usage<orv_node_t>(nullptr);
  orv::set_error(orv_error_none);
  return clone->class_node;
}

orv_node_t orv_node_get_instance(orv_node_t clone) {
  if (!is_node(clone) || !orv::is_output_clone(clone)) return usage<orv_node_t>(nullptr);
  orv::set_error(orv_error_none);
  return clone->instance_node;
}

orv_status_t orv_node_substitute_class(orv_node_t instance, orv_class_t new_class) {
  if (!orv::is_instance(instance) || !orv::is_class(new_class)) return usage(orv_error_usage);
  return guarded_status([&] { orv::substitute_class(instance, new_class); });
}

}  // extern "C"
