// Case data files: a header line naming the nodes (optionally led by "#"
// for a count column), then one case a line, appended to the case store. A
// failed parse removes the cases it appended. Also the node-list files.
#include <cstdlib>
#include <cstring>

#include "formats/case_findings.h"
#include "learning/case_store.h"
#include "runtime/error.h"

namespace orv {

namespace {

class CaseDataReader {
 public:
  explicit CaseDataReader(ParseData &p) : p_(p) {}

  void parse() {
    int t = p_.next();
    header_line_ = p_.line;
    if (t == '#') {
      counts_ = true;
      t = p_.next();
      if (t == ',' && p_.line == header_line_) t = p_.next();
    }
    t = read_header(t);
    if (t == kTokEnd) {
      p_.warning("warning: file contains no cases");
      return;
    }
    while (t != kTokEnd) t = read_case(t);
  }

 private:
  // Reads node names up to the end of the header line; returns the first
  // token after it.
  int read_header(int t) {
    for (;;) {
      if (t == kTokEnd || p_.line != header_line_) {
        if (nodes_.empty()) p_.fatal("node name expected", orv_error_parse);
        return t;
      }
      if (t != kTokName && t != kTokDottedName) p_.fatal("node name expected", orv_error_parse);
      orv_node_s *n = named_node(p_);
      if (!n) fail_with("the domain has no node named `%s'", p_.token_text);
      if (!n->counts_as_variable())
        fail_with("node `%s' is not a chance, a decision, or a discrete function node", p_.token_text);
      for (orv_node_s *m : nodes_)
        if (m == n) fail_with("node `%s' listed twice", p_.token_text);
      nodes_.push_back(n);
      t = p_.next();
      if (t == ',') {
        t = p_.next();
        if (t == kTokEnd || p_.line != header_line_) p_.fatal("line is incomplete", orv_error_parse);
      }
    }
  }

  // Reads the case whose first token is t; returns the token after it.
  int read_case(int t) {
    const std::size_t line = p_.line;
    const std::size_t index = p_.domain->number_of_cases;
    set_number_of_cases(p_.domain, index + 1);
    if (counts_) {
      if (t != kTokNumber) p_.fatal("case count expected", orv_error_parse);
      if (p_.number < 0) p_.fatal("case counts must be nonnegative", orv_error_parse);
      set_case_count(p_.domain, index, p_.number);
      t = p_.next();
    }
    const FindingTarget target{true, index, line};
    for (std::size_t k = 0; k < nodes_.size(); ++k) {
      if ((k > 0 || counts_) && t == ',' && p_.line == line) t = p_.next();
      if (t == kTokEnd || p_.line != line) {
        report_at(p_, line, "the case has too few data items");
        return t;
      }
      if (t != '*' && t != '?') parse_and_insert_finding(p_, t, nodes_[k], target);
      t = p_.next();
    }
    if (t == ',' && p_.line == line) t = p_.next();
    if (t != kTokEnd && p_.line == line) p_.fatal("the case has extra stuff at the end", orv_error_parse);
    return t;
  }

  [[noreturn]] void fail_with(const char *format, const char *name) {
    const String message = format_message(format, name);
    p_.fatal(message.c_str(), orv_error_parse);
  }

  ParseData &p_;
  std::size_t header_line_ = 0;
  bool counts_ = false;
  Vector<orv_node_s *> nodes_;
};

// Node names, each a name or dotted name of a node of the domain.
Vector<orv_node_s *> read_node_list(ParseData &p) {
  Vector<orv_node_s *> nodes;
  for (int t = p.next(); t != kTokEnd; t = p.next()) {
    if (t != kTokName && t != kTokDottedName) p.fatal("node name expected", orv_error_parse);
    orv_node_s *n = named_node(p);
    if (!n) {
      const String message = format_message("node `%s' not found", p.token_text);
      p.fatal(message.c_str(), orv_error_parse);
    }
    nodes.push_back(n);
  }
  return nodes;
}

}  // namespace
}  // namespace orv

extern "C" {

orv_status_t orv_domain_parse_cases(orv_domain_t domain, const char *file_name, orv_error_handler_t handler,
                                    void *data) {
  if (!orv::is_domain(domain) || domain->is_class() || !file_name) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] {
    orv::CaseStoreMark mark(domain);
    const orv_error_t code = orv::parse_file(file_name, handler, data, domain,
                                             [](orv::ParseData &p) { orv::CaseDataReader(p).parse(); });
    if (code != orv_error_none) {
      mark.roll_back();
      orv::fail(code);
    }
  });
}

orv_node_t *orv_domain_parse_nodes(orv_domain_t domain, const char *file_name, orv_error_handler_t handler,
                                   void *data) {
  if (!orv::is_domain(domain) || !file_name) return orv::usage<orv_node_t *>(nullptr);
  return orv::guarded<orv_node_t *>(nullptr, [&]() -> orv_node_t * {
    orv::Vector<orv_node_s *> nodes;
    const orv_error_t code = orv::parse_file(file_name, handler, data, domain,
                                             [&](orv::ParseData &p) { nodes = orv::read_node_list(p); });
    if (code != orv_error_none) orv::fail(code);
    auto *list = static_cast<orv_node_t *>(std::malloc((nodes.size() + 1) * sizeof(orv_node_t)));
    if (!list) orv::fail(orv_error_no_memory);
    for (std::size_t k = 0; k < nodes.size(); ++k) list[k] = nodes[k];
    list[nodes.size()] = nullptr;
    return list;
  });
}

}  // extern "C"
