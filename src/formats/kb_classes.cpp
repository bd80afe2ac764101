// KB files: class collections. Per class, used classes first: its name, its
// network section, its inputs and outputs (u32 count and positions), and per
// instance node in written order a u32 binding count and per input 0
// (unbound) or the bound node's position + 1.
#include "formats/kb_structure.h"
#include "formats/net_writer.h"
#include "oobn/class.h"
#include "runtime/error.h"

namespace orv {

namespace {

void write_declared(ByteWriter &w, NodeList &nodes, const KbPositions &at) {
  w.u32(static_cast<std::uint32_t>(nodes.size()));
  for (orv_node_s *n : nodes) w.u32(at(n));
}

void write_class(ByteWriter &w, orv_class_s *c, const Vector<orv_class_s *> &order) {
  const KbPositions at(c, &order);
  w.text(c->name);
  write_network(w, c, at);
  write_declared(w, c->inputs, at);
  write_declared(w, c->outputs, at);
  for (orv_node_s *n : at.order) {
    if (n->category != orv_category_instance) continue;
    w.u32(static_cast<std::uint32_t>(n->input_bindings.size()));
    for (orv_node_s *b : n->input_bindings) w.u32(b ? at(b) + 1 : 0);
  }
}

// Declaring checks what the class allows (no parents for an input, no
// instance or clone, never both).
void read_declared(ByteReader &r, const KbNodes &k, void (*declare)(orv_node_s *)) {
  const std::uint32_t n = r.u32();
  if (n > k.nodes.size()) kb_damage();
  for (std::uint32_t i = 0; i < n; ++i) declare(k.read(r));
}

void read_bindings(ByteReader &r, const KbNodes &k) {
  for (orv_node_s *n : k.nodes) {
    if (n->category != orv_category_instance) continue;
    const NodeList &inputs = n->instance_class->inputs;
    const std::uint32_t count = r.u32();
    if (count > inputs.size()) kb_damage();
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint32_t at = r.u32();
      if (at > k.nodes.size()) kb_damage();
      if (at) set_input(n, inputs[i], k.nodes[at - 1]);
    }
  }
}

void read_class(ByteReader &r, orv_class_collection_s *cc, Vector<orv_class_s *> &loaded) {
  orv_class_s *c = new_class(cc);
  String name;
  r.text(name);
  const orv_class_s *holder = find_class(cc, name.c_str());
  if (!is_valid_name(name.c_str(), false) || (holder && holder != c)) kb_damage();
  c->name.swap(name);
  KbNodes k;
  k.classes = &loaded;  // instances only of the classes before
  read_network(r, c, k);
  read_declared(r, k, add_to_inputs);
  read_declared(r, k, add_to_outputs);
  read_bindings(r, k);
  loaded.push_back(c);
}

}  // namespace

void write_collection(ByteWriter &w, orv_class_collection_s *cc) {
  const Vector<orv_class_s *> order = dependency_order(cc);
  w.u64(order.size());
  for (orv_class_s *c : order) write_class(w, c, order);
}

void read_collection(ByteReader &r, orv_class_collection_s *cc) {
  const std::size_t n = r.count(32);
  if (n == 0) kb_damage();
  Vector<orv_class_s *> loaded;
  loaded.reserve(n);
  for (std::size_t i = 0; i < n; ++i) read_class(r, cc, loaded);
}

}  // namespace orv
