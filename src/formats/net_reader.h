// The NET reader: builds a domain from the new ("net { ... }") or the old
// format through the ordinary node, state, link, table and model operations.
#pragma once

#include <cstddef>

#include "formats/lexer.h"
#include "runtime/error.h"
#include "model/node.h"
#include "tables/table.h"

namespace orv {

// User attributes of a block, applied at its end in file order.
struct AttributeQueue {
  Vector<String> keys;
  Vector<String> values;
};

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
  // A node or potential declaration introduced by word; false for any
  // other word.
  bool parse_declaration(const String &word);
  // The value after "=" of a block attribute: node_size, or a user attribute.
  void parse_block_attribute(const String &key, AttributeQueue &queue);
  // Reads `"value"` after "=" of a user-defined attribute and queues it.
  void queue_attribute(const String &key, AttributeQueue &queue);
  // Sets the queued attributes on the node (the domain or class when null).
  void flush_attributes(orv_node_s *n, AttributeQueue &queue);

  // Drops the tables no data was read into (keeping and filling those of
  // nodes with learning tables), unless keep_unfilled_tables is set: KB files
  // fill them afterwards.
  void handle_incomplete_tables();
  bool keep_unfilled_tables = false;

  ParseData &p_;
  orv_domain_s *d_;
  AttributeQueue attributes_;  // of the node being read
  // Tables that received data.
  Vector<orv_table_s *> filled_tables;
};

// The node a potential or binding names: in a domain the whole name; in a
// class a plain name, or "I.N" for the output clone of N in instance I.
// Reports and aborts when there is none.
orv_node_s *find_named_node(ParseData &p, orv_domain_s *d, const char *name);

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
