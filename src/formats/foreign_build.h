// Shared pieces of the BIF, XMLBIF and UAI readers: building nodes, links and
// tables through the ordinary operations with failures reported as parse
// messages.
#pragma once

#include <cstddef>

#include "formats/lexer.h"
#include "model/node.h"

namespace orv {

// A new discrete node of the category with the given name and state labels.
// A name clash is fatal ("a node with name `%s' already exists"), as is a
// name the naming rule refuses ("invalid node name `%s'").
orv_node_s *add_foreign_node(ParseData &p, orv_domain_s *d, orv_category_t category, const char *name,
                             const Vector<String> &states);

// The node of that name or a fatal "node `%s' not found".
orv_node_s *find_foreign_node(ParseData &p, orv_domain_s *d, const char *name);

// Adds the parents in order; a repeated parent or a cycle is fatal.
void add_foreign_parents(ParseData &p, orv_node_s *child, const Vector<orv_node_s *> &parents);

// A new table of the chance or utility node over its parents in the given
// order (then the node itself for a chance node), replacing its table; a
// fatal message for other nodes.
orv_table_s *foreign_table(ParseData &p, orv_node_s *n, const Vector<orv_node_s *> &parents);

// Copies values given row-major over `order` (last fastest) into t, whose
// nodes must be the same set.
void fill_foreign_table(ParseData &p, orv_table_s *t, const Vector<orv_node_s *> &order, const Vector<double> &values);
// A negative probability is a counted error ("<number> must be nonnegative").
void check_probability(ParseData &p, double value);

// Product of the state counts of the nodes (kSizeSentinel on overflow).
std::size_t configuration_count(const Vector<orv_node_s *> &nodes);

// The first word of text after white space (letters only, at most 15 characters).
String leading_word(const char *text);

}  // namespace orv
