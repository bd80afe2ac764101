// The new NET format: the top level, the net block and node declarations.
#include "formats/net_reader.h"

#include <cfloat>
#include <cmath>
#include <cstring>

#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

void report_api_error(ParseData &p, orv_error_t code) {
  String message = format_message("API error: %s", orv_error_name(code));
  p.fatal(message.c_str(), code);
}

void NetReader::api_error(orv_error_t code) { report_api_error(p_, code); }

void NetReader::expect(int token, char c) {
  if (token == c) return;
  char message[] = "`?' expected";
  message[1] = c;
  p_.syntax_error(token, message);
}

String NetReader::take_token_text() { return String(p_.token_text ? p_.token_text : ""); }

void NetReader::parse_body() {
  for (;;) {
    const int t = next();
    if (t == kTokEnd) break;
    if (t != kTokName) p_.syntax_error(t, "unexpected token");
    const String word = take_token_text();
    if (word == "net") {
      parse_net_block();
    } else if (!parse_declaration(word)) {
      String message = format_message("unknown object type: %s", word.c_str());
      p_.syntax_error(t, message.c_str());
    }
  }
  if (!keep_unfilled_tables) handle_incomplete_tables();
}

bool NetReader::parse_declaration(const String &word) {
  if (word == "node") {
    parse_node(orv_category_chance, orv_kind_discrete);
  } else if (word == "decision") {
    parse_node(orv_category_decision, orv_kind_discrete);
  } else if (word == "utility") {
    parse_node(orv_category_utility, orv_kind_other);
  } else if (word == "function") {
    parse_node(orv_category_function, orv_kind_other);
  } else if (word == "potential") {
    parse_potential(*this, p_, d_);
  } else if (word == "continuous") {
    const int k = next();
    if (k != kTokName || std::strcmp(p_.token_text, "node") != 0) p_.syntax_error(k, "keyword `node' expected");
    parse_node(orv_category_chance, orv_kind_continuous);
  } else if (word == "discrete") {
    const int k = next();
    const char *w = k == kTokName ? p_.token_text : "";
    if (std::strcmp(w, "node") == 0) {
      parse_node(orv_category_chance, orv_kind_discrete);
    } else if (std::strcmp(w, "decision") == 0) {
      parse_node(orv_category_decision, orv_kind_discrete);
    } else if (std::strcmp(w, "function") == 0) {
      parse_node(orv_category_function, orv_kind_discrete);
    } else {
      p_.syntax_error(k, "keyword `node', `decision', or `function' expected");
    }
  } else {
    return false;
  }
  return true;
}

void NetReader::queue_attribute(const String &key, AttributeQueue &queue) {
  const int t = next();
  if (t != kTokString) p_.syntax_error(t, "value of a user-defined attribute must be a string");
  String value = take_token_text();
  for (std::size_t i = 0; i < queue.keys.size(); ++i) {
    if (queue.keys[i] == key) {
      queue.values[i].swap(value);
      return;
    }
  }
  queue.keys.push_back(key);
  queue.values.push_back(std::move(value));
}

// Applies the queued attributes; each new key goes to the head of the list,
// so they are set in reverse to keep file order.
void NetReader::flush_attributes(orv_node_s *n, AttributeQueue &queue) {
  for (std::size_t i = queue.keys.size(); i-- > 0;) {
    const char *key = queue.keys[i].c_str(), *value = queue.values[i].c_str();
    call(n ? orv_node_set_attribute(n, key, value) : orv_domain_set_attribute(d_, key, value));
  }
  queue.keys.clear();
  queue.values.clear();
}

void NetReader::parse_net_block() {
  expect(next(), '{');
  for (;;) {
    int t = next();
    if (t == '}') break;
    if (t != kTokName) p_.syntax_error(t, "`}' or an attribute name expected");
    const String key = take_token_text();
    expect(next(), '=');
    parse_block_attribute(key, attributes_);
    expect(next(), ';');
  }
  flush_attributes(nullptr, attributes_);
}

void NetReader::parse_block_attribute(const String &key, AttributeQueue &queue) {
  if (key != "node_size") {
    queue_attribute(key, queue);
    return;
  }
  expect(next(), '(');
  double size[2];
  for (double &v : size) {
    if (next() != kTokNumber) p_.syntax_error(kTokError, "number expected");
    v = p_.number;
    if (v < 0) {
      p_.report("<number> must be nonnegative");
      v = 0;
    }
  }
  expect(next(), ')');
  call(orv_domain_set_node_size(d_, rounded_size(size[0]), rounded_size(size[1])));
}

double NetReader::read_signed_number(const char *message) {
  const int t = next();
  if (t != kTokNumber) p_.syntax_error(t, message);
  return p_.number;
}

void NetReader::parse_position(orv_node_s *n) {
  expect(next(), '(');
  const double x = read_signed_number("number expected");
  const double y = read_signed_number("number expected");
  expect(next(), ')');
  const auto to_int = [](double v) {
    v = std::trunc(v);
    if (v > INT32_MAX) return INT32_MAX;
    if (v < INT32_MIN) return INT32_MIN;
    return static_cast<int>(v);
  };
  call(orv_node_set_position(n, to_int(x), to_int(y)));
}

void NetReader::parse_states(orv_node_s *n, bool &have_states) {
  expect(next(), '(');
  Vector<String> labels;
  labels.reserve(64);
  for (;;) {
    const int t = next();
    if (t == ')') break;
    if (t != kTokString) p_.syntax_error(t, "state or `)' expected");
    labels.push_back(take_token_text());
  }
  if (labels.empty()) p_.syntax_error(')', "empty list of states");
  if (!n->is_discrete()) {
    p_.report("only discrete nodes can have states");
    return;
  }
  if (have_states) {
    p_.report("states specified twice (or more)");
    return;
  }
  have_states = true;
  call(orv_node_set_number_of_states(n, labels.size()));
  for (std::size_t i = 0; i < labels.size(); ++i) call(orv_node_set_state_label(n, i, labels[i].c_str()));
}

orv_subtype_t NetReader::parse_subtype(orv_node_s *n, orv_subtype_t current) {
  const bool discrete = n->is_discrete();
  if (!discrete) p_.report("subtype designations only make sense for discrete nodes");
  const int t = next();
  if (t != kTokName) p_.syntax_error(t, "`label', `boolean', `number', or `interval' expected");
  const char *word = p_.token_text;
  orv_subtype_t subtype = orv_subtype_error;
  if (std::strcmp(word, "label") == 0) subtype = orv_subtype_label;
  if (std::strcmp(word, "boolean") == 0) subtype = orv_subtype_boolean;
  if (std::strcmp(word, "number") == 0) subtype = orv_subtype_number;
  if (std::strcmp(word, "interval") == 0) subtype = orv_subtype_interval;
  if (subtype == orv_subtype_error) {
    p_.report("`label', `boolean', `number', or `interval' expected");
    return current;
  }
  return discrete ? subtype : current;
}

void NetReader::parse_state_values(orv_node_s *n, orv_subtype_t subtype, bool have_states,
                                   bool &have_values) {
  if (!n->is_discrete()) p_.syntax_error(0, "only discrete nodes can have state values");
  if (subtype != orv_subtype_number && subtype != orv_subtype_interval)
    p_.syntax_error(0, "only numeric nodes can have state values");
  if (!have_states) p_.syntax_error(0, "states must be specified before state values");
  if (have_values) p_.syntax_error(0, "state values have already been specified");
  have_values = true;
  expect(next_expr(), '(');
  const std::size_t capacity = n->state_count + 1;
  Vector<double> values;
  values.reserve(capacity);
  std::size_t count = 0;
  for (;;) {
    int t = next_expr();
    if (t == ')') break;
    double sign = 1;
    if (t == '+' || t == '-') {
      sign = t == '-' ? -1 : 1;
      t = next_expr();
    }
    double value;
    if (t == kTokNumber) {
      value = p_.number;
    } else if (t == kTokName && std::strcmp(p_.token_text, "infinity") == 0) {
      value = DBL_MAX;
    } else {
      p_.syntax_error(t, "state value expected");
    }
    if (count < capacity) values.push_back(sign * value);
    ++count;
  }
  const std::size_t wanted = subtype == orv_subtype_interval ? n->state_count + 1 : n->state_count;
  if (count != wanted) {
    p_.report("incorrect number of state values");
    return;
  }
  n->subtype = subtype;  // the setter needs a numeric node
  for (std::size_t i = 0; i < values.size(); ++i) call(orv_node_set_state_value(n, i, values[i]));
}

void NetReader::parse_node(orv_category_t category, orv_kind_t kind) {
  orv_node_s *n = orv_domain_new_node(d_, category, kind);
  if (!n) api_error(orv_error_code());
  const int t = next();
  const bool name_ok = t == kTokName || (t == kTokDottedName && !d_->is_class());
  if (!name_ok) p_.syntax_error(t, "name expected");
  const orv_status_t named = orv_node_set_name(n, p_.token_text);
  if (named == orv_error_twice) {
    String message = format_message("a node with name `%s' already exists", p_.token_text);
    p_.fatal(message.c_str(), orv_error_twice);
  }
  call(named);
  expect(next(), '{');
  bool have_states = false, have_values = false;
  orv_subtype_t subtype = n->is_discrete() ? n->subtype : orv_subtype_label;
  for (;;) {
    const int f = next();
    if (f == '}') break;
    if (f != kTokName) p_.syntax_error(f, "`}' or an attribute name expected");
    const String field = take_token_text();
    expect(next(), '=');
    if (field == "label") {
      if (next() != kTokString) p_.syntax_error(kTokError, "string expected");
      call(orv_node_set_label(n, p_.token_text));
    } else if (field == "position") {
      parse_position(n);
    } else if (field == "states") {
      parse_states(n, have_states);
    } else if (field == "subtype") {
      subtype = parse_subtype(n, subtype);
    } else if (field == "state_values") {
      parse_state_values(n, subtype, have_states, have_values);
    } else {
      queue_attribute(field, attributes_);
    }
    expect(next(), ';');
  }
  if (n->is_discrete()) {
    if (subtype == orv_subtype_boolean && n->state_count != 2) {
      p_.report("a boolean node must have exactly two states");
    } else {
      n->subtype = subtype;
    }
  }
  flush_attributes(n, attributes_);
}

void NetReader::handle_incomplete_tables() {
  for (orv_node_s *n = d_->first_node; n; n = n->next) {
    orv_table_s *t = n->table;
    if (!t) continue;
    bool filled = false;
    for (orv_table_s *f : filled_tables) filled = filled || f == t;
    if (filled) continue;
    if (n->experience || n->fading) {
      try {
        _orv_allocate_data_arrays(t);
      } catch (const std::bad_alloc &) {
        api_error(orv_error_no_memory);
      }
    } else {
      n->table = nullptr;
      _orv_free_table(t);
    }
  }
}

}  // namespace orv
