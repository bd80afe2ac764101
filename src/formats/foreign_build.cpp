// Building a domain from a foreign format (BIF, XMLBIF, UAI) through the
// ordinary operations, with failures reported as parse messages.
#include "formats/foreign_build.h"

#include <cassert>
#include <cctype>
#include <cstring>

#include "formats/net_reader.h"
#include "model/node_ops.h"
#include "runtime/error.h"
#include "model/node_list.h"
#include "tables/table.h"

namespace orv {

orv_node_s *add_foreign_node(ParseData &p, orv_domain_s *d, orv_category_t category, const char *name,
                             const Vector<String> &states) {
  const orv_kind_t kind = category == orv_category_utility ? orv_kind_other : orv_kind_discrete;
  orv_node_s *n = orv_domain_new_node(d, category, kind);
  if (!n) report_api_error(p, orv_error_code());
  const orv_status_t named = orv_node_set_name(n, name);
  if (named == orv_error_twice) {
    p.fatal(format_message("a node with name `%s' already exists", name).c_str(), orv_error_twice);
  } else if (named == orv_error_invalid_name) {
    p.fatal(format_message("invalid node name `%s'", name).c_str(), orv_error_invalid_name);
  } else if (named != orv_error_none) {
    report_api_error(p, static_cast<orv_error_t>(named));
  }
  if (kind != orv_kind_discrete) return n;
  if (states.empty()) p.fatal(format_message("variable `%s' has no states", name).c_str(), p.syntax_code);
  if (orv_node_set_number_of_states(n, states.size()) != orv_error_none) report_api_error(p, orv_error_code());
  for (std::size_t s = 0; s < states.size(); ++s)
    if (orv_node_set_state_label(n, s, states[s].c_str()) != orv_error_none) report_api_error(p, orv_error_code());
  return n;
}

orv_node_s *find_foreign_node(ParseData &p, orv_domain_s *d, const char *name) {
  orv_node_s *n = orv_domain_get_node_by_name(d, name);
  if (!n) {
    if (orv_error_code() == orv_error_no_memory) report_api_error(p, orv_error_no_memory);
    p.fatal(format_message("node `%s' not found", name).c_str(), p.syntax_code);
  }
  return n;
}

void add_foreign_parents(ParseData &p, orv_node_s *child, const Vector<orv_node_s *> &parents) {
  for (std::size_t i = 0; i < parents.size(); ++i) {
    orv_node_s *parent = parents[i];
    bool repeated = parent == child;
    for (std::size_t j = 0; j < i; ++j) repeated = repeated || parents[j] == parent;
    if (repeated)
      p.fatal(format_message("node `%s' appears twice in potential specification", node_name(parent)).c_str(),
              p.syntax_code);
    const orv_status_t status = orv_node_add_parent(child, parent);
    if (status == orv_error_cyclic_network) {
      p.fatal(format_message("link from `%s' to `%s' makes a cycle", node_name(parent), node_name(child)).c_str(),
              orv_error_cyclic_network);
    } else if (status != orv_error_none) {
      report_api_error(p, static_cast<orv_error_t>(status));
    }
  }
}

orv_table_s *foreign_table(ParseData &p, orv_node_s *n, const Vector<orv_node_s *> &parents) {
  if (n->category != orv_category_chance && n->category != orv_category_utility)
    p.fatal(format_message("node `%s' cannot have a table", node_name(n)).c_str(), p.syntax_code);
  // A table over the parents as listed, then the node: written back in the
  // same order.
  NodeList nodes;
  for (orv_node_s *parent : parents) nodes.push_back(parent);
  if (n->category == orv_category_chance) nodes.push_back(n);
  const orv_table_type_t type = n->category == orv_category_utility ? orv_table_utility : orv_table_probability;
  orv_table_s *t = _orv_create_table(n->owner, nodes.c_list(), type, 0, false, true);
  t->node = n;
  if (n->table) _orv_free_table(n->table);
  n->table = t;
  return t;
}

std::size_t configuration_count(const Vector<orv_node_s *> &nodes) {
  std::size_t count = 1;
  for (const orv_node_s *n : nodes) count = size_multiply(count, n->state_count);
  return count;
}

void fill_foreign_table(ParseData &p, orv_table_s *t, const Vector<orv_node_s *> &order, const Vector<double> &values) {
  assert(order.size() == t->discrete_count && values.size() == t->size);
  try {
    _orv_allocate_data_arrays(t);
  } catch (const std::bad_alloc &) {
    report_api_error(p, orv_error_no_memory);
  }
  // Stride in t of each node of `order`.
  Vector<std::size_t> stride(order.size(), 0);
  for (std::size_t i = 0; i < order.size(); ++i) {
    std::size_t s = 1;
    for (std::size_t k = t->discrete_count; k-- > 0;) {
      if (t->nodes[k] == order[i]) {
        stride[i] = s;
        break;
      }
      s *= t->nodes[k]->state_count;
    }
  }
  Vector<std::size_t> state(order.size(), 0);
  std::size_t target = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    t->data[target] = values[i];
    // Odometer over `order`, last fastest, keeping target in step.
    for (std::size_t k = order.size(); k-- > 0;) {
      target += stride[k];
      if (++state[k] < order[k]->state_count) break;
      target -= stride[k] * state[k];
      state[k] = 0;
    }
  }
}

void check_probability(ParseData &p, double value) {
  if (value < 0) p.report("<number> must be nonnegative");
}

String leading_word(const char *text) {
  while (std::isspace(static_cast<unsigned char>(*text))) ++text;
  String word;
  while (std::isalpha(static_cast<unsigned char>(*text)) && word.size() < 15) word.push_back(*text++);
  return word;
}

}  // namespace orv
