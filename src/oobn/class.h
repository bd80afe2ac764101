// Class collections and classes: a class is a domain record that belongs to a
// collection and declares input and output nodes; instance nodes of other
// classes refer to it.
#pragma once

#include <cstddef>

#include "model/node.h"

struct orv_class_collection_s;

struct orv_class_s : orv_domain_s {
  explicit orv_class_s(orv_class_collection_s *cc) : orv_domain_s(orv::Tag::class_record), collection(cc) {}

  orv_class_collection_s *collection;
  orv::String name;
  orv::NodeList inputs;     // declaration order
  orv::NodeList outputs;    // declaration order
  orv::NodeList instances;  // instance nodes, in any class, of this class
  bool mark = false;        // scratch flag of the cycle check
};

struct orv_class_collection_s : orv::Tagged {
  orv_class_collection_s() : Tagged(orv::Tag::class_collection) {}
  ~orv_class_collection_s();

  orv::Vector<orv_class_s *> members;  // creation order
  orv::Vector<orv_class_t> member_list;  // null-terminated view for callers
  void *user_data = nullptr;
  // The license check's cap on the total number of states of an unfolded
  // domain; unlimited until that check exists.
  std::size_t state_limit = orv::kSizeSentinel;
};

namespace orv {

inline orv_class_s *as_class(orv_domain_s *d) { return static_cast<orv_class_s *>(d); }
bool is_class(const orv_class_s *c);
bool is_collection(const orv_class_collection_s *cc);
inline bool is_output_clone(const orv_node_s *n) { return n->class_node && n->instance_node; }
inline orv_class_s *home_class(const orv_node_s *n) {
  return n->owner->is_class() ? as_class(n->owner) : nullptr;
}

// A new class with the first free name "Class<k>", appended to the members.
orv_class_s *new_class(orv_class_collection_s *cc);
// Unlinks the class's instance nodes from their classes and frees it; the
// class must have no instances. Never fails.
void free_class(orv_class_s *c) noexcept;
orv_class_s *find_class(orv_class_collection_s *cc, const char *name);

// Error 41 when an instance of d inside c would close a cycle.
void check_instance_cycle(orv_class_s *c, orv_class_s *d);
// A new instance node of d in c with its output clones.
orv_node_s *new_instance(orv_class_s *c, orv_class_s *d);
// A new output clone of master for the instance, not yet in its clone list.
orv_node_s *make_output_clone(orv_node_s *instance, orv_node_s *master);
// As above, appended to the instance's clones.
orv_node_s *new_output_clone(orv_node_s *instance, orv_node_s *master);

void add_to_inputs(orv_node_s *node);
void add_to_outputs(orv_node_s *node);
void set_input(orv_node_s *instance, orv_node_s *formal, orv_node_s *actual);
// The bound actual of input position i, or null.
inline orv_node_s *binding(const orv_node_s *instance, std::size_t i) {
  return i < instance->input_bindings.size() ? instance->input_bindings[i] : nullptr;
}

void substitute_class(orv_node_s *instance, orv_class_s *e);

// The unfolded domain of a class; throws, leaving nothing behind.
orv_domain_s *unfold_class(orv_class_s *c);

}  // namespace orv
