// The old NET format: a header (name, label, node width, node height, scale)
// and node specifications "NAME STATES ( PARENT STATES ... )". Nodes may be
// used as parents before they are defined; names are made valid at the end.
#include <cstring>

#include "formats/net_reader.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {

struct OldNode {
  String name;
  orv_node_s *node;
  std::size_t states;
  std::size_t defined_line;  // 0 while only used
  std::size_t used_line;
};

class OldNetParser {
 public:
  OldNetParser(ParseData &p, orv_domain_s *d) : p_(p), d_(d) {}

  void parse() {
    header();
    for (;;) {
      const int t = p_.next();
      if (t == kTokEnd) break;
      if (t != kTokName) p_.syntax_error(t, "node name (or end-of-file) expected");
      specification();
    }
    for (const OldNode &n : nodes_) {
      if (n.defined_line != 0) continue;
      String message = format_message("node `%s' (used at line %s) has not been defined", n.name.c_str(),
                                      _orv_print_size(d_, n.used_line));
      p_.report(message.c_str());
    }
    if (p_.error_count > 0) return;
    for (const OldNode &n : nodes_) n.node->name = n.name;
    try {
      _orv_convert_node_names(d_);
    } catch (const Failure &f) {
      report_api_error(p_, f.code);
    }
  }

 private:
  double number() {
    const int t = p_.next();
    if (t != kTokNumber) p_.syntax_error(t, "number expected");
    return p_.number;
  }

  void header() {
    p_.next();  // network name
    p_.next();  // label
    const double width = number(), height = number(), scale = number();
    if (width < 0 || height < 0 || scale < 0) {
      p_.report("node width and height, and scale factor must be nonnegative");
      return;
    }
    d_->node_width = rounded_size(width);
    d_->node_height = rounded_size(height);
  }

  std::size_t state_count() {
    const double v = number();
    if (v < 1 || v > 1e9 || v != static_cast<double>(static_cast<std::size_t>(v)))
      p_.syntax_error(kTokNumber, "number of states must be a positive integer");
    return static_cast<std::size_t>(v);
  }

  OldNode *find(const char *name) {
    for (OldNode &n : nodes_)
      if (n.name == name) return &n;
    return nullptr;
  }

  OldNode &mention(const String &name, std::size_t states, bool defining) {
    const std::size_t line = p_.line;
    if (OldNode *n = find(name.c_str())) {
      if (defining && n->defined_line != 0) {
        String message = format_message("node `%s' has already been defined (at line %s)", name.c_str(),
                                        _orv_print_size(d_, n->defined_line));
        p_.syntax_error(0, message.c_str());
      }
      if (n->states != states) {
        String message = format_message("number of states (%s) does not match previous usage (line %s)",
                                        _orv_print_size(d_, states),
                                        _orv_print_size(d_, n->defined_line ? n->defined_line : n->used_line));
        p_.report(message.c_str());
      }
      if (defining) n->defined_line = line;
      return *n;
    }
    orv_node_s *node = orv_domain_new_node(d_, orv_category_chance, orv_kind_discrete);
    if (!node) report_api_error(p_, orv_error_code());
    if (orv_node_set_number_of_states(node, states) != orv_error_none) report_api_error(p_, orv_error_code());
    nodes_.push_back(OldNode{name, node, states, defining ? line : 0, line});
    return nodes_.back();
  }

  void specification() {
    const String name(p_.token_text);
    NodeList listed;
    const std::size_t states = state_count();
    orv_node_s *child = mention(name, states, true).node;
    int t = p_.next();
    if (t != '(') p_.syntax_error(t, "parent node name or a left parenthesis expected");
    for (;;) {
      t = p_.next();
      if (t == ')') break;
      if (t != kTokName) p_.syntax_error(t, "parent node name or a left parenthesis expected");
      const String parent_name(p_.token_text);
      OldNode &parent = mention(parent_name, state_count(), false);
      if (child->parents.contains(parent.node)) {
        String message = format_message("node `%s' appears twice as a parent of `%s'", parent_name.c_str(), name.c_str());
        p_.report(message.c_str());
        continue;
      }
      listed.push_back(parent.node);
      const orv_status_t status = orv_node_add_parent(child, parent.node);
      if (status == orv_error_cyclic_network) {
        String message = format_message("adding the link %s --> %s creates a directed cycle",
                                        parent_name.c_str(), name.c_str());
        p_.fatal(message.c_str(), orv_error_cyclic_network);
      }
      if (status != orv_error_none) report_api_error(p_, static_cast<orv_error_t>(status));
    }
    // Parents keep the order of the specification.
    if (listed.size() == child->parents.size()) child->parents.swap(listed);
  }

  ParseData &p_;
  orv_domain_s *d_;
  Vector<OldNode> nodes_;
};

}  // namespace

bool starts_like_old_format(ParseData &p) {
  static const int kPattern[] = {kTokName, kTokString, kTokNumber, kTokNumber, kTokNumber};
  const bool saved_silent = p.silent;
  const std::size_t saved_errors = p.error_count, saved_line = p.line;
  const char *saved_position = p.text_position;
  long offset = 0;
  if (p.stream) {
    offset = std::ftell(p.stream);
    if (offset < 0) p.fatal("could not read the file position", orv_error_io);
  }
  p.silent = true;
  bool old = true;
  try {
    for (int expected : kPattern) {
      if (get_old_token(p) != expected) {
        old = false;
        break;
      }
    }
  } catch (const ParseAbort &abort) {
    if (abort.code == orv_error_no_memory || abort.code == orv_error_io) {
      p.silent = saved_silent;
      throw;
    }
    old = false;
  }
  p.silent = saved_silent;
  p.error_count = saved_errors;
  p.fatal_code = orv_error_none;
  p.line = saved_line;
  p.text_position = saved_position;
  if (p.stream && std::fseek(p.stream, offset, SEEK_SET) != 0)
    p.fatal("could not restore the file position", orv_error_io);
  return old;
}

void parse_old_net(ParseData &p, orv_domain_s *d) { OldNetParser(p, d).parse(); }

}  // namespace orv
