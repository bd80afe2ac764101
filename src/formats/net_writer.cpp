// NET text of a domain: the net block, node blocks and potential blocks.
#include "formats/net_writer.h"

#include <algorithm>

#include "expr/model.h"
#include "model/chain_blocks.h"
#include "model/node.h"
#include "model/node_ops.h"
#include "oobn/class.h"
#include "runtime/error.h"

namespace orv {

const NetLayout kDomainLayout{"", "    ", "\t", false};
const NetLayout kClassLayout{"    ", "\t", "\t\t", true};

namespace {

class NetWriter {
 public:
  NetWriter(NetOutput &out, orv_domain_s *d, const NetLayout &layout) : out_(out), d_(d), l_(layout) {}

  void write_domain() {
    out_.put("net\n{\n");
    out_.format("    node_size = (%zu %zu);\n", d_->node_width, d_->node_height);
    for (orv_attribute_t a = orv_domain_get_first_attribute(d_); a; a = orv_attribute_get_next(a))
      attribute("    ", a);
    out_.put("}\n");
    write_nodes_and_potentials();
  }

  void write_class() {
    orv_class_s *c = as_class(d_);
    out_.put("class ");
    out_.put(c->name.c_str());
    out_.put("\n{\n");
    name_list("inputs", c->inputs);
    name_list("outputs", c->outputs);
    out_.format("    node_size = (%zu %zu);\n", d_->node_width, d_->node_height);
    for (orv_attribute_t a = orv_domain_get_first_attribute(d_); a; a = orv_attribute_get_next(a))
      attribute("    ", a);
    write_nodes_and_potentials();
    out_.put("} % class ");
    out_.put(c->name.c_str());
    out_.put("\n");
  }

 private:
  void write_nodes_and_potentials() {
    for (orv_node_s *n = d_->first_node; n; n = n->next) {
      if (n->temporal_clone || is_output_clone(n)) continue;
      node_block(n, false);
      if (n->temporal_link) node_block(n->temporal_link, true);
    }
    for (orv_node_s *n = d_->first_node; n; n = n->next) {
      if (n->category == orv_category_instance || is_output_clone(n)) continue;
      potential(n);
    }
    chain_potentials();
  }

  void name_list(const char *word, NodeList &nodes) {
    out_.format("    %s = (", word);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      if (i > 0) out_.put(" ");
      out_.put(node_name(nodes[i]));
    }
    out_.put(");\n");
  }

  // An output clone is written when something refers to it: it has a name
  // or children, or it is bound to an input of some instance.
  bool clone_needed(orv_node_s *k) const {
    if (!k->name.empty() || !k->children.empty()) return true;
    for (orv_node_s *n = d_->first_node; n; n = n->next)
      for (orv_node_s *b : n->input_bindings)
        if (b == k) return true;
    return false;
  }

  void instance_header(orv_node_s *n) {
    orv_class_s *k = n->instance_class;
    out_.put("instance ");
    out_.put(node_name(n));
    out_.put(" : ");
    out_.put(k->name.c_str());
    out_.put(" (");
    bool first = true;
    for (std::size_t i = 0; i < k->inputs.size(); ++i) {
      orv_node_s *actual = binding(n, i);
      if (!actual) continue;
      if (!first) out_.put(", ");
      first = false;
      out_.put(node_name(k->inputs[i]));
      out_.put(" = ");
      out_.put(node_name(actual));
    }
    first = true;
    for (orv_node_s *clone : n->output_clones) {
      if (!clone_needed(clone)) continue;
      out_.put(first ? "; " : ", ");
      first = false;
      out_.put(node_name(clone));
      out_.put(" = ");
      out_.put(node_name(clone->class_node));
    }
    out_.put(")");
  }

  void chain_potentials() {
    Vector<orv_table_s *> tables;
    for (ChainBlock *b = d_->first_chain_block; b; b = b->next)
      tables.insert(tables.end(), b->potentials.begin(), b->potentials.end());
    std::sort(tables.begin(), tables.end(), [](const orv_table_s *a, const orv_table_s *b) { return a->number < b->number; });
    for (orv_table_s *t : tables) {
      const std::size_t k = chain_child_count(t), first = t->discrete_count - k;
      out_.put("\n");
      out_.put(l_.outer);
      out_.put("potential (");
      for (std::size_t i = first; i < t->discrete_count; ++i) {
        if (i > first) out_.put(" ");
        out_.put(node_name(t->nodes[i]));
      }
      if (first > 0) out_.put(" |");
      for (std::size_t j = 0; j < first; ++j) parent_name(t->nodes[j]);
      out_.put(")\n");
      out_.put(l_.outer);
      out_.put("{\n");
      field("data = ");
      write_table(out_, t, l_);
      out_.put(l_.outer);
      out_.put("}\n");
    }
  }

  void attribute(const char *indent, orv_attribute_t a) {
    out_.put(indent);
    out_.put(orv_attribute_get_key(a));
    out_.put(" = ");
    out_.put_quoted(orv_attribute_get_value(a));
    out_.put(";\n");
  }

  void node_header(orv_node_s *n, bool temporal) {
    if (n->category == orv_category_instance) {
      instance_header(n);
      return;
    }
    if (temporal) {
      out_.put("temporal ");
      out_.put(node_name(n));
      out_.put(" : ");
      out_.put(node_name(n->temporal_link));
      return;
    }
    if (n->is_continuous()) out_.put("continuous ");
    if (n->is_discrete() && n->category == orv_category_function) out_.put("discrete ");
    switch (n->category) {
      case orv_category_decision: out_.put("decision "); break;
      case orv_category_utility: out_.put("utility "); break;
      case orv_category_function: out_.put("function "); break;
      default: out_.put("node "); break;
    }
    out_.put(node_name(n));
  }

  void node_block(orv_node_s *n, bool temporal) {
    out_.put("\n");
    out_.put(l_.outer);
    node_header(n, temporal);
    out_.put("\n");
    out_.put(l_.outer);
    out_.put("{\n");
    if (!n->label.empty()) {
      field("label = ");
      out_.put_quoted(n->label.c_str());
      out_.put(";\n");
    }
    if (n->x != 0 || n->y != 0) {
      field("");
      out_.format("position = (%ld %ld);\n", static_cast<long>(n->x), static_cast<long>(n->y));
    }
    if (n->is_discrete() && !n->temporal_clone) states(n);
    for (orv_attribute_t a = orv_node_get_first_attribute(n); a; a = orv_attribute_get_next(a))
      attribute(l_.inner, a);
    out_.put(l_.outer);
    out_.put("}\n");
  }

  void field(const char *text) {
    out_.put(l_.inner);
    out_.put(text);
  }

  void states(orv_node_s *n) {
    field("states = (");
    for (std::size_t s = 0; s < n->state_count; ++s) {
      if (s > 0) out_.put(" ");
      const char *label = orv_node_get_state_label(n, s);
      if (!label) fail(orv_error_code());
      out_.put_quoted(label);
    }
    out_.put(");\n");
    switch (n->subtype) {
      case orv_subtype_label:
        if (n->model) field("subtype = label;\n");
        break;
      case orv_subtype_boolean: field("subtype = boolean;\n"); break;
      case orv_subtype_number: field("subtype = number;\n"); break;
      case orv_subtype_interval: field("subtype = interval;\n"); break;
      default: fail(orv_error_error);
    }
    const bool numeric = n->subtype == orv_subtype_number || n->subtype == orv_subtype_interval;
    if (!numeric || n->state_values.empty()) return;
    const std::size_t count = n->subtype == orv_subtype_interval ? n->state_count + 1 : n->state_count;
    field("state_values = (");
    for (std::size_t i = 0; i < count && i < n->state_values.size(); ++i) {
      if (i > 0) out_.put(" ");
      write_state_value(out_, n->state_values[i]);
    }
    out_.put(");\n");
  }

  static bool is_variable(const orv_node_s *n) { return n->counts_as_variable(); }

  void potential_head(orv_node_s *n) {
    out_.put("\n");
    out_.put(l_.outer);
    out_.put("potential (");
    out_.put(node_name(n));
    if (n->parents.empty()) {
      out_.put(")");
      return;
    }
    out_.put(" |");
    const bool from_table = n->table && n->category != orv_category_function;
    if (from_table) {
      for (orv_node_s *m : n->table->nodes)
        if (m != n && is_variable(m)) parent_name(m);
    } else {
      for (orv_node_s *m : n->parents)
        if (is_variable(m)) parent_name(m);
    }
    for (orv_node_s *m : n->parents)
      if (!is_variable(m)) parent_name(m);
    out_.put(")");
  }

  void parent_name(orv_node_s *m) {
    out_.put(" ");
    out_.put(node_name(m));
  }

  void potential(orv_node_s *n) {
    potential_head(n);
    // Learning tables also need a body, so that they are not lost.
    if ((!n->table || (!out_.table_data && stored_in_binary(n))) && !n->model && !n->experience && !n->fading) {
      out_.put(" {}\n");
      return;
    }
    out_.put("\n");
    out_.put(l_.outer);
    out_.put("{\n");
    // The language has no models for CG nodes: their generated tables are
    // written instead.
    const bool with_model = n->model && !n->is_continuous();
    if (with_model) model(n->model);
    if (n->table && (!with_model || n->model->table_supplied) && (out_.table_data || !stored_in_binary(n))) {
      field("data");
      if (!l_.is_class && !table_fits_on_one_line(n->table)) {
        out_.put("\n");
        out_.put(l_.inner);
      }
      out_.put(" = ");
      write_table(out_, n->table, l_);
    }
    if (n->experience) learning_table("experience", n->experience);
    if (n->fading) learning_table("fading", n->fading);
    out_.put(l_.outer);
    out_.put("}\n");
  }

  void learning_table(const char *word, orv_table_s *t) {
    field(word);
    if (!table_fits_on_one_line(t)) {
      out_.put("\n");
      if (l_.is_class) out_.put("\t");
      out_.put("    ");
    }
    out_.put(" = ");
    write_table(out_, t, l_);
  }

  void model(orv_model_s *m) {
    field("model_nodes = (");
    bool first = true;
    for (orv_node_s *n : m->nodes) {
      if (!first) out_.put(" ");
      out_.put(node_name(n));
      first = false;
    }
    out_.put(");\n");
    if (m->samples_per_interval != kDefaultSamplesPerInterval) {
      field("");
      out_.format("samples_per_interval = %zu;\n", m->samples_per_interval);
    }
    if (!m->has_expressions()) return;
    field("model_data");
    if (m->expressions.size() > 1) out_.put(l_.is_class ? " " : "\n\t   ");
    out_.put(" = ( ");
    for (std::size_t i = 0; i < m->expressions.size(); ++i) {
      if (i > 0) out_.put(l_.is_class ? ",\n\t\t\t" : ",\n\t\t");
      if (!m->expressions[i]) continue;
      char *text = format_expression(m->expressions[i], out_.exact);
      try {
        out_.put(text);
      } catch (...) {
        _orv_free(text);
        throw;
      }
      _orv_free(text);
    }
    out_.put(" );\n");
  }

  NetOutput &out_;
  orv_domain_s *d_;
  const NetLayout &l_;
};

}  // namespace

// Number of trailing nodes of a chain potential that are its children:
// the shortest tail (at least two) whose nodes all have the nodes before
// it as parents.
std::size_t chain_child_count(const orv_table_s *t) {
  const std::size_t n = t->discrete_count;
  for (std::size_t k = 2; k < n; ++k) {
    bool all = true;
    for (std::size_t i = n - k; i < n && all; ++i)
      for (std::size_t j = 0; j < n - k && all; ++j) all = t->nodes[i]->parents.contains(t->nodes[j]);
    if (all) return k;
  }
  return n;
}

bool stored_in_binary(const orv_node_s *n) {
  return n->table && n->table->data && !n->model && n->table->continuous_count == 0 && !n->table->cg_data;
}

void write_domain_net(NetOutput &out, orv_domain_s *d) { NetWriter(out, d, kDomainLayout).write_domain(); }

void write_class_net(NetOutput &out, orv_domain_s *c) { NetWriter(out, c, kClassLayout).write_class(); }

}  // namespace orv
