// Potential declarations: the node lists, the checks on them, links, the
// table, and the body fields (data, model, experience and fading data).
#include <cmath>
#include <cstring>

#include "expr/expr_parse.h"
#include "expr/model.h"
#include "formats/net_reader.h"
#include "learning/experience.h"
#include "model/chain_blocks.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {

bool is_real_function(const orv_node_s *n) {
  return n->category == orv_category_function && n->kind == orv_kind_other;
}

class PotentialParser {
 public:
  PotentialParser(NetReader &reader, ParseData &p, orv_domain_s *d) : r_(reader), p_(p), d_(d) {}

  void parse() {
    read_lists();
    check_lists();
    head_ = children_[0];
    if (is_real_function(head_) && !head_->parents.empty()) {
      String message = format_message("links specified twice for %s", node_name(head_));
      p_.report(message.c_str());
    }
    add_links();
    if (children_.size() == 1) order_parents();
    if (head_->is_discrete() || head_->is_continuous() || head_->category == orv_category_utility)
      make_table();
    body();
  }

 private:
  orv_node_s *lookup(const char *name) { return find_named_node(p_, d_, name); }

  void read_lists() {
    r_.expect(r_.next(), '(');
    bool in_parents = false;
    for (;;) {
      const int t = r_.next();
      if (t == ')') break;
      if (!in_parents && t == '|') {
        in_parents = true;
        continue;
      }
      const bool name = t == kTokName || (t == kTokDottedName && (in_parents || !d_->is_class()));
      if (!name)
        p_.syntax_error(t, in_parents ? "`)' or a node name expected" : "`|', `)', or a node name expected");
      (in_parents ? parents_ : children_).push_back(lookup(p_.token_text));
    }
    if (children_.empty()) p_.syntax_error(')', "empty child node list");
  }

  void problem(const char *format, const char *a = "", const char *b = "") {
    String message = format_message(format, a, b);
    p_.report(message.c_str());
    rejected_ = true;
  }

  void check_lists() {
    orv_node_s *head = children_[0];
    const bool chain = children_.size() > 1;
    if (head->category == orv_category_chance || head->category == orv_category_decision ||
        head->category == orv_category_utility) {
      for (orv_node_s *p : parents_)
        if (p->category == orv_category_utility) problem("utility node `%s' specified as parent", node_name(p));
    }
    if (chain) {
      for (orv_node_s *c : children_) {
        if (c->category != orv_category_chance || !c->is_discrete()) {
          problem("undirected links can only be specified for discrete chance nodes");
          break;
        }
      }
      for (orv_node_s *p : parents_) {
        if (is_real_function(p)) {
          problem("real-valued function nodes are not allowed in chain potentials");
          break;
        }
      }
    }
    Vector<orv_node_s *> all(children_);
    all.insert(all.end(), parents_.begin(), parents_.end());
    for (std::size_t i = 0; i < all.size(); ++i)
      for (std::size_t j = 0; j < i; ++j)
        if (all[i] == all[j]) {
          problem("node `%s' appears twice in potential specification", node_name(all[i]));
          break;
        }
    for (orv_node_s *c : children_) {
      if (!c->is_discrete() || c->category == orv_category_function) continue;
      for (orv_node_s *p : parents_)
        if (p->is_continuous())
          problem("continuous node `%s' is not allowed as parent of discrete node `%s'", node_name(p), node_name(c));
    }
    if (head->is_discrete() || head->is_continuous() || head->category == orv_category_utility) check_order();
    for (orv_node_s *n : all)
      if (n->category == orv_category_instance)
        problem("class instance node `%s' found in potential specification", node_name(n));
    for (orv_node_s *c : children_)
      if (c->class_node && c->instance_node) problem("output clone `%s' found in potential specification", node_name(c));
    if (rejected_) throw_rejected();
  }

  void check_order() {
    bool non_discrete = false, function_seen = false;
    for (orv_node_s *p : parents_) {
      if (p->is_discrete() || p->is_continuous()) {
        if (function_seen) {
          problem("real-valued function parents must appear last");
          return;
        }
        if (p->is_discrete() && non_discrete) {
          problem("discrete parents must appear first");
          return;
        }
      }
      if (!p->is_discrete()) non_discrete = true;
      if (is_real_function(p)) function_seen = true;
    }
  }

  [[noreturn]] void throw_rejected() {
    if (p_.fatal_code == orv_error_none) p_.fatal_code = orv_error_parse;
    throw ParseAbort{orv_error_parse};
  }

  void add_links() {
    for (orv_node_s *child : children_) {
      for (orv_node_s *parent : parents_) {
        if (child->parents.contains(parent)) continue;
        if (child->table) {
          String message = format_message("the directed link %s --> %s should have been included in the potential for %s",
                                          node_name(parent), node_name(child), node_name(child));
          p_.report(message.c_str());
        }
        const orv_status_t status = orv_node_add_parent(child, parent);
        if (status == orv_error_cyclic_network || status == orv_error_cyclic_functional_dependency) {
          String message = format_message(
              "adding the link %s --> %s creates a %s", node_name(parent), node_name(child),
              status == orv_error_cyclic_network ? "directed cycle" : "cyclic functional dependency");
          p_.fatal(message.c_str(), static_cast<orv_error_t>(status));
        }
        r_.call(status);
      }
    }
  }

  void order_parents() {
    if (head_->parents.size() != parents_.size()) {
      String message = format_message("potential for node %s must include all parents", node_name(head_));
      p_.report(message.c_str());
      return;
    }
    NodeList ordered;
    ordered.reserve(parents_.size());
    for (orv_node_s *p : parents_) ordered.push_back(p);
    head_->parents.swap(ordered);
  }

  void make_table() {
    NodeList nodes;
    if (head_->is_discrete() && head_->category == orv_category_function) {
      nodes.push_back(head_);
    } else {
      for (orv_node_s *p : parents_)
        if (p->is_discrete()) nodes.push_back(p);
      for (orv_node_s *c : children_)
        if (c->is_discrete()) nodes.push_back(c);
      for (orv_node_s *c : children_)
        if (c->is_continuous()) nodes.push_back(c);
      for (orv_node_s *p : parents_)
        if (p->is_continuous()) nodes.push_back(p);
    }
    const orv_table_type_t type =
        head_->category == orv_category_utility ? orv_table_utility : orv_table_probability;
    orv_table_s *t = _orv_create_table(d_, nodes.c_list(), type, 0, false, true);
    if (children_.size() > 1) {
      add_chain_potential(t);
      return;
    }
    t->node = head_;
    if (head_->table) {
      String message = format_message("potential specified twice for node `%s'", node_name(head_));
      p_.report(message.c_str());
      _orv_free_table(head_->table);
    }
    head_->table = t;
    table_ = t;
  }

  // Hands t to the chain blocks; on failure t is freed.
  void add_chain_potential(orv_table_s *t) {
    if (d_->is_class()) p_.report("undirected links are not allowed in classes");
    orv_error_t code = orv_error_none;
    try {
      _orv_domain_add_chain_potential(d_, t, children_.size());
    } catch (const Failure &f) {
      code = f.code;
    } catch (const std::bad_alloc &) {
      code = orv_error_no_memory;
    }
    if (code == orv_error_none) {
      table_ = t;
      return;
    }
    _orv_free_table(t);
    if (code == orv_error_cyclic_network || code == orv_error_cyclic_functional_dependency) {
      String message = format_message("adding chain potential creates a %s",
                                      code == orv_error_cyclic_network ? "directed cycle" : "cyclic functional dependency");
      p_.fatal(message.c_str(), code);
    }
    report_api_error(p_, code);
  }

  void body() {
    const int t = r_.next();
    if (t != '{') {
      r_.p_.push_back(t);
      return;
    }
    bool any = false;
    for (;;) {
      const int f = r_.next();
      if (f == '}') break;
      if (f != kTokName) p_.syntax_error(f, "`}' or an attribute name expected");
      const String field = r_.take_token_text();
      r_.expect(r_.next(), '=');
      any = true;
      if (field == "data") {
        data();
      } else if (field == "model_nodes") {
        model_nodes();
      } else if (field == "model_data") {
        model_data();
      } else if (field == "samples_per_interval") {
        samples();
      } else if (field == "experience") {
        learning_data(true);
      } else if (field == "fading") {
        learning_data(false);
      } else {
        String message = format_message("unknown field: `%s'", field.c_str());
        p_.syntax_error(0, message.c_str());
      }
      r_.expect(r_.next(), ';');
    }
    if (!any) p_.warning("warning: no potential data specified");
    if (head_->model && have_data_) head_->model->table_supplied = true;
  }

  void data() {
    if (have_data_) p_.syntax_error(0, "`data' attribute specified twice");
    if (!table_) p_.syntax_error(0, "`data' attribute is not allowed for real-valued function nodes");
    have_data_ = true;
    parse_table_data(p_, table_);
    r_.filled_tables.push_back(table_);
  }

  void require_model_allowed() {
    if (children_.size() > 1) p_.syntax_error(0, "models cannot be specified for chain graph potentials");
  }

  void require_model() {
    require_model_allowed();
    if (!head_->model) p_.syntax_error(0, "`model_nodes' attribute has not been specified");
  }

  void model_nodes() {
    require_model_allowed();
    if (head_->model) p_.syntax_error(0, "`model_nodes' attribute specified twice");
    if (head_->is_continuous()) p_.syntax_error(0, "models cannot be specified for CG nodes");
    r_.expect(r_.next(), '(');
    NodeList nodes;
    bool all_discrete = true;
    for (;;) {
      const int t = r_.next();
      if (t == ')') break;
      if (t != kTokName && t != kTokDottedName) p_.syntax_error(t, "`)' or a node name expected");
      orv_node_s *n = lookup(p_.token_text);
      if (!head_->parents.contains(n)) {
        String message = format_message("node `%s' is not a parent of node `%s'", node_name(n), node_name(head_));
        p_.syntax_error(0, message.c_str());
      }
      if (nodes.contains(n)) {
        String message = format_message("node `%s' appears twice in `model_nodes' attribute", node_name(n));
        p_.syntax_error(0, message.c_str());
      }
      all_discrete = all_discrete && n->is_discrete();
      nodes.push_back(n);
    }
    if (!all_discrete) p_.syntax_error(0, "the `model_nodes' attribute must contain discrete nodes only");
    try {
      new_model(head_, nodes.c_list());
    } catch (const Failure &f) {
      report_api_error(p_, f.code);
    } catch (const std::bad_alloc &) {
      report_api_error(p_, orv_error_no_memory);
    }
  }

  void model_data() {
    require_model();
    orv_model_s *m = head_->model;
    if (m->has_expressions()) p_.syntax_error(0, "`model_data' attribute specified twice");
    r_.expect(r_.next_expr(), '(');
    const std::size_t n = m->expressions.size();
    for (std::size_t i = 0; i < n; ++i) {
      const char separator = i + 1 == n ? ')' : ',';
      const int t = r_.next_expr();
      if (t == separator) continue;
      p_.push_back(t);
      OwnedExpression e = parse_expression(p_);
      set_model_expression(m, i, e.release());
      r_.expect(r_.next_expr(), separator);
    }
  }

  void samples() {
    require_model();
    const int t = r_.next();
    if (t != kTokNumber) p_.syntax_error(t, "number expected");
    const double v = p_.number;
    if (v < 1 || v != std::floor(v) || v > 1e15)
      p_.syntax_error(0, "`samples_per_interval' must be a positive integer");
    head_->model->samples_per_interval = static_cast<std::size_t>(v);
  }

  void learning_data(bool experience) {
    const char *word = experience ? "experience" : "fading";
    if (children_.size() > 1) {
      String message = format_message("%s data cannot be specified for chain graph potentials", word);
      p_.syntax_error(0, message.c_str());
    }
    if (experience ? !may_have_experience(head_) : !may_have_fading(head_)) {
      p_.syntax_error(0, experience ? "experience data can only be specified for chance nodes"
                                    : "fading data can only be specified for discrete chance nodes");
    }
    bool &seen = experience ? have_experience_ : have_fading_;
    if (seen) {
      String message = format_message("`%s' attribute specified twice", word);
      p_.syntax_error(0, message.c_str());
    }
    seen = true;
    orv_table_s *t = nullptr;
    try {
      t = experience ? node_experience_table(head_) : node_fading_table(head_);
    } catch (const Failure &f) {
      report_api_error(p_, f.code);
    } catch (const std::bad_alloc &) {
      report_api_error(p_, orv_error_no_memory);
    }
    parse_table_data(p_, t);
  }

  NetReader &r_;
  ParseData &p_;
  orv_domain_s *d_;
  Vector<orv_node_s *> children_;
  Vector<orv_node_s *> parents_;
  orv_node_s *head_ = nullptr;
  orv_table_s *table_ = nullptr;
  bool rejected_ = false;
  bool have_data_ = false;
  bool have_experience_ = false;
  bool have_fading_ = false;
};

}  // namespace

void parse_potential(NetReader &reader, ParseData &p, orv_domain_s *d) { PotentialParser(reader, p, d).parse(); }

}  // namespace orv
