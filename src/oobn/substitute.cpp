// Class substitution: an instance node takes another class whose inputs and
// outputs match the old ones by name; bindings move to the new positions and
// the existing output clones (with their links) are kept.
#include "model/graph_checks.h"
#include "model/node_ops.h"
#include "oobn/class.h"
#include "runtime/error.h"

namespace orv {

namespace {

orv_node_s *find_by_name(const NodeList &list, const orv_node_s *like) {
  for (orv_node_t n : list)
    if (n->name == like->name) return n;
  return nullptr;
}

}  // namespace

void substitute_class(orv_node_s *instance, orv_class_s *e) {
  orv_class_s *old = instance->instance_class;
  if (e->collection != old->collection) fail(orv_error_usage);
  if (e == old) return;
  check_instance_cycle(home_class(instance), e);

  if (!old->inputs.empty() && e->inputs.empty()) fail(orv_error_usage);
  Vector<orv_node_s *> bindings(e->inputs.size(), nullptr);
  for (std::size_t i = 0; i < old->inputs.size(); ++i) {
    orv_node_s *f = old->inputs[i];
    orv_node_s *g = find_by_name(e->inputs, f);
    if (!g || g->category != f->category || g->kind != f->kind) fail(orv_error_usage);
    bindings[static_cast<std::size_t>(e->inputs.index_of(g))] = binding(instance, i);
  }

  Vector<orv_node_s *> masters(old->outputs.size(), nullptr);
  for (std::size_t j = 0; j < old->outputs.size(); ++j) {
    orv_node_s *o = find_by_name(e->outputs, old->outputs[j]);
    if (!o || !_orv_nodes_are_compatible(old->outputs[j], o)) fail(orv_error_usage);
    masters[j] = o;
  }

  NodeList clones;
  clones.reserve(e->outputs.size());
  e->instances.reserve(e->instances.size() + 1);
  Vector<orv_node_s *> created;
  created.reserve(e->outputs.size());
  try {
    for (orv_node_t o : e->outputs) {
      orv_node_s *kept = nullptr;
      for (std::size_t j = 0; j < masters.size(); ++j)
        if (masters[j] == o) kept = instance->output_clones[j];
      if (!kept) {
        kept = make_output_clone(instance, o);
        created.push_back(kept);
      }
      clones.push_back(kept);
    }
  } catch (...) {
    for (orv_node_s *k : created) delete_node(k);
    throw;
  }
  for (std::size_t j = 0; j < masters.size(); ++j) instance->output_clones[j]->class_node = masters[j];
  instance->output_clones.swap(clones);
  old->instances.remove(instance);
  e->instances.push_back(instance);
  instance->instance_class = e;
  instance->input_bindings.swap(bindings);
}

}  // namespace orv
