// The NET reader: builds a domain from the new ("net { ... }") or the old
// format through the ordinary node, state, link, table and model operations.
#pragma once

#include <cstddef>

#include "formats/lexer.h"
#include "runtime/error.h"
#include "model/node.h"
#include "tables/table.h"

namespace orv {

class NetReader {
 public:
  NetReader(ParseData &p, orv_domain_s *d) : p_(p), d_(d) { p_.domain = d; }

  // Reads the whole input (new format); throws ParseAbort on a fatal error.
  // Returns normally also when counted errors occurred (see error_count).
  void parse_body();

  int next() { return p_.next(); }
  int next_expr() { return next_with(p_, get_expr_token); }
  void expect(int token, char c);
  [[noreturn]] void api_error(orv_error_t code);
  // Runs a public operation; a failure becomes "API error: <name>".
  void call(orv_status_t status) {
    if (status != orv_error_none) api_error(static_cast<orv_error_t>(status));
  }
  String take_token_text();

  void parse_net_block();
  void parse_node(orv_category_t category, orv_kind_t kind);
  void parse_states(orv_node_s *n, bool &have_states);
  void parse_state_values(orv_node_s *n, orv_subtype_t subtype, bool have_states, bool &have_values);
  orv_subtype_t parse_subtype(orv_node_s *n, orv_subtype_t current);
  void parse_position(orv_node_s *n);
  double read_signed_number(const char *message);
  // Reads `"value"` after "=" of a user-defined attribute and queues it.
  void queue_attribute(const String &key);
  void flush_attributes(orv_node_s *n);

  void handle_incomplete_tables();

  ParseData &p_;
  orv_domain_s *d_;
  // User attributes of the current block, applied at its end in file order.
  Vector<String> attribute_keys_;
  Vector<String> attribute_values_;
  // Tables that received data.
  Vector<orv_table_s *> filled_tables;
};

// Parses the potential declaration after the keyword "potential".
void parse_potential(NetReader &reader, ParseData &p, orv_domain_s *d);

// Fills t from table data; returns normally or throws ParseAbort.
void parse_table_data(ParseData &p, orv_table_s *t);

// Reads the old format into d.
void parse_old_net(ParseData &p, orv_domain_s *d);

// Whether the input starts like the old format (name, string, three numbers).
bool starts_like_old_format(ParseData &p);

// "API error: %s" with the error's name; aborts with that code.
[[noreturn]] void report_api_error(ParseData &p, orv_error_t code);

// Runs a parse body: running out of memory and failed operations become
// messages; returns the first fatal code, else parse when errors were
// counted, else 0.
template <class Body>
orv_error_t run_parse(ParseData &p, Body &&body) {
  orv_error_t code = orv_error_none;
  try {
    try {
      body();
    } catch (const std::bad_alloc &) {
      p.fatal("out-of-memory", orv_error_no_memory);
    } catch (const Failure &f) {
      report_api_error(p, f.code);
    }
  } catch (const ParseAbort &abort) {
    code = abort.code;
  }
  if (code == orv_error_none && p.error_count > 0) code = orv_error_parse;
  return code;
}

}  // namespace orv
