// KB files: the binary network section of a domain or class. Nodes are
// referred to by their position in the written order; everything is rebuilt
// with the internal constructors, every count and reference checked first.
#pragma once

#include <cstdint>
#include <utility>

#include "formats/kb_stream.h"
#include "model/node.h"

struct orv_class_s;
struct orv_class_collection_s;

namespace orv {

// The written order of a network's nodes: the chain, with every instance
// node followed by its output clones (and clones nowhere else), and their
// positions. `classes` is the written order of a collection's classes.
struct KbPositions {
  Vector<orv_node_s *> order;
  Vector<std::pair<const orv_node_s *, std::uint32_t>> sorted;
  const Vector<orv_class_s *> *classes = nullptr;
  KbPositions(orv_domain_s *d, const Vector<orv_class_s *> *collection_order);
  std::uint32_t operator()(const orv_node_s *n) const;
};

// The nodes of a network being read, by position, with the scratch stamps
// that the permutation checks use; `classes` are the classes read before.
struct KbNodes {
  Vector<orv_node_s *> nodes;
  Vector<std::uint32_t> stamps;
  std::uint32_t epoch = 0;
  const Vector<orv_class_s *> *classes = nullptr;

  // The node at the position read next (u32); damage when out of range.
  orv_node_s *read(ByteReader &r) const;
  // Position of a node of this network (its number while it is read).
  static std::size_t position(const orv_node_s *n) { return n->number - 1; }
};

// Writes the node size, attributes, nodes, links, tables, models and chain
// potentials. Names nodes that need a name. Throws.
void write_network(ByteWriter &w, orv_domain_s *d, const KbPositions &at);

// Reads what write_network wrote into the empty network d and puts its chain
// into file order. Throws Failure (bad_kb_format on damage) or bad_alloc;
// the caller frees d then.
void read_network(ByteReader &r, orv_domain_s *d, KbNodes &nodes);

// The quantitative part (tables, experience and fading tables, models, chain
// potentials), after the nodes and links.
void write_potentials(ByteWriter &w, orv_domain_s *d, const KbPositions &at);
void read_potentials(ByteReader &r, orv_domain_s *d, KbNodes &nodes);

// Attribute lists in list order.
void write_attributes(ByteWriter &w, const orv_attribute_s *head);
void read_attributes(ByteReader &r, orv_attribute_s **head);

// A class collection: every class, used classes first. Reading appends the
// classes to the empty collection cc; the caller frees it on failure.
void write_collection(ByteWriter &w, orv_class_collection_s *cc);
void read_collection(ByteReader &r, orv_class_collection_s *cc);

[[noreturn]] void kb_damage();

}  // namespace orv
