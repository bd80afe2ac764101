// The NET writer: a domain as NET text onto an output sink, with fixed
// indentation, quoted strings and one comment per table row.
#pragma once

#include "formats/net_output.h"
#include "model/domain.h"
#include "tables/table.h"

struct orv_class_s;
struct orv_class_collection_s;

namespace orv {

// Indentation of one writing context: a domain or a class.
struct NetLayout {
  const char *outer;  // "" for a domain, four spaces for a class
  const char *inner;  // four spaces for a domain, a tab for a class
  const char *tabs;   // one tab for a domain, two for a class
  bool is_class;
};

extern const NetLayout kDomainLayout;
extern const NetLayout kClassLayout;

// Writes the whole domain. Throws Failure or bad_alloc; run under the C locale.
void write_domain_net(NetOutput &out, orv_domain_s *d);

// Writes one class ("class NAME { ... } % class NAME").
void write_class_net(NetOutput &out, orv_domain_s *c);

// The members of a collection with every class after the classes it
// instantiates (otherwise in collection order).
Vector<orv_class_s *> dependency_order(orv_class_collection_s *cc);

// Writes every class of the collection of class `d`, used classes first.
void write_collection_net(NetOutput &out, orv_domain_s *d);

// Writes a domain into a file (recording the file name in the domain on
// success) or into new text, with the given writer, under the C locale.
// `exact` writes numbers with 17 significant digits.
using DomainWriter = void (*)(NetOutput &out, orv_domain_s *d);
void save_domain_file(orv_domain_s *d, const char *file_name, bool exact, DomainWriter write);
char *domain_text(orv_domain_s *d, bool exact, DomainWriter write);

// Whether the node's table is one that KB files store in binary rather than
// as NET text: a discrete table not generated from a model.
bool stored_in_binary(const orv_node_s *n);

// Number of trailing nodes of a chain potential that are its children.
std::size_t chain_child_count(const orv_table_s *t);

// Table data ending in ";", the last row comment and a newline.
void write_table(NetOutput &out, orv_table_s *t, const NetLayout &layout);
// Whether write_table puts the data on the line of its attribute.
bool table_fits_on_one_line(const orv_table_s *t);
// A state value ("%.8G", or "infinity"/"-infinity" at the largest doubles).
void write_state_value(NetOutput &out, double value);

}  // namespace orv
