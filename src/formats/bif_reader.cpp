// The BIF reader: "network", "variable" and "probability" blocks with
// tables given whole ("table", child first), by parent configuration rows or
// by a "default" row.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <set>

#include "formats/foreign_build.h"
#include "formats/formats_api.h"
#include "formats/net_reader.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {
namespace {

bool is_bif_punctuation(int c) { return c > 0 && std::strchr("{}()[],;|", c) != nullptr; }

// Skips white space and // and /* */ comments; returns the next character.
int skip_bif_space(ParseData &p) {
  for (;;) {
    int c = p.get_char();
    while (c != EOF && std::isspace(c)) c = p.get_char();
    if (c != '/') return c;
    const int second = p.get_char();
    if (second == '/') {
      while ((c = p.get_char()) != '\n' && c != EOF) {
      }
    } else if (second == '*') {
      int previous = 0;
      while ((c = p.get_char()) != EOF && !(previous == '*' && c == '/')) previous = c;
      if (c == EOF) p.fatal("comment did not end", orv_error_parse);
    } else {
      p.unget_char(second);
      return '/';
    }
  }
}

// Punctuation, quoted strings (kTokString) and words (kTokName): runs of any
// other characters, so that labels such as 0_5_MG_L and numbers are words.
int get_bif_token(ParseData &p) {
  const int c = skip_bif_space(p);
  if (c == EOF) return kTokEnd;
  if (is_bif_punctuation(c)) return c;
  p.clear_token();
  if (c == '"') {
    for (;;) {
      int ch = p.get_char();
      if (ch == EOF || ch == '\n') p.fatal("string did not end", orv_error_parse);
      if (ch == '"') return kTokString;
      if (ch == '\\') {
        ch = p.get_char();
        if (ch == EOF) p.fatal("string did not end", orv_error_parse);
      }
      p.append_token_char(ch);
    }
  }
  int ch = c;
  do {
    p.append_token_char(ch);
    ch = p.get_char();
  } while (ch != EOF && !std::isspace(ch) && !is_bif_punctuation(ch) && ch != '"');
  p.unget_char(ch);
  return kTokName;
}

class BifReader {
 public:
  BifReader(ParseData &p, orv_domain_s *d) : p_(p), d_(d) {}

  void parse() {
    for (;;) {
      const int t = p_.next();
      if (t == kTokEnd) return;
      if (t != kTokName) p_.syntax_error(t, "`network', `variable' or `probability' expected");
      if (word_is("network")) {
        parse_network();
      } else if (word_is("variable")) {
        parse_variable();
      } else if (word_is("probability")) {
        parse_probability();
      } else {
        p_.syntax_error(t, format_message("unknown block `%s'", p_.token_text).c_str());
      }
    }
  }

 private:
  bool word_is(const char *word) const { return std::strcmp(p_.token_text, word) == 0; }

  void expect(int token, char c) {
    if (token == c) return;
    char message[] = "`?' expected";
    message[1] = c;
    p_.syntax_error(token, message);
  }

  String name(const char *what) {
    const int t = p_.next();
    if (t != kTokName && t != kTokString) p_.syntax_error(t, format_message("%s expected", what).c_str());
    return String(p_.token_text);
  }

  // "network NAME { ... }": properties are skipped.
  void parse_network() {
    name("network name");
    expect(p_.next(), '{');
    skip_block();
  }

  // Skips to the "}" that closes a block whose "{" was read.
  void skip_block() {
    for (int depth = 1; depth > 0;) {
      const int t = p_.next();
      if (t == kTokEnd) p_.syntax_error(t, "`}' expected");
      depth += t == '{' ? 1 : t == '}' ? -1 : 0;
    }
  }

  void parse_variable() {
    const String variable = name("variable name");
    expect(p_.next(), '{');
    Vector<String> states;
    std::size_t declared = 0;
    bool typed = false;
    int x = 0, y = 0;
    bool positioned = false;
    for (;;) {
      int t = p_.next();
      if (t == '}') break;
      if (t == kTokName && word_is("type")) {
        t = p_.next();
        if (t != kTokName || !word_is("discrete"))
          p_.syntax_error(t, "only discrete variables can be read (`discrete' expected)");
        expect(p_.next(), '[');
        declared = size_number("number of states");
        expect(p_.next(), ']');
        expect(p_.next(), '{');
        for (t = p_.next(); t != '}'; t = p_.next()) {
          if (t == ',') continue;
          if (t != kTokName && t != kTokString) p_.syntax_error(t, "state or `}' expected");
          states.emplace_back(p_.token_text);
        }
        expect(p_.next(), ';');
        typed = true;
      } else if (t == kTokName && word_is("property")) {
        t = p_.next();
        if (t != kTokString && t != kTokName) p_.syntax_error(t, "property text expected");
        if (std::sscanf(p_.token_text, " position = ( %d , %d )", &x, &y) == 2) positioned = true;
        expect(p_.next(), ';');
      } else {
        p_.syntax_error(t, "`type', `property' or `}' expected");
      }
    }
    if (!typed) p_.fatal(format_message("variable `%s' has no type", variable.c_str()).c_str(), orv_error_parse);
    if (declared != states.size())
      p_.report(format_message("variable `%s' declares %zu states but lists %zu", variable.c_str(), declared,
                               states.size()).c_str());
    orv_node_s *n = add_foreign_node(p_, d_, orv_category_chance, variable.c_str(), states);
    if (positioned && orv_node_set_position(n, x, y) != orv_error_none) report_api_error(p_, orv_error_code());
  }

  std::size_t size_number(const char *what) {
    const int t = p_.next();
    char *end = nullptr;
    const double value = t == kTokName ? std::strtod(p_.token_text, &end) : -1;
    if (t != kTokName || *end != '\0' || !(value >= 0) || value != static_cast<double>(rounded_size(value)))
      p_.syntax_error(t, format_message("%s expected", what).c_str());
    return rounded_size(value);
  }

  // Numbers up to ";", commas optional.
  void read_values(Vector<double> &values) {
    values.clear();
    for (int t = p_.next(); t != ';'; t = p_.next()) {
      if (t == ',') continue;
      char *end = nullptr;
      const double value = t == kTokName ? std::strtod(p_.token_text, &end) : 0;
      if (t != kTokName || *end != '\0' || end == p_.token_text) p_.syntax_error(t, "number expected");
      check_probability(p_, value);
      values.push_back(value);
    }
  }

  void check_count(const Vector<double> &values, std::size_t expected) {
    if (values.size() != expected)
      p_.report(format_message("%zu numbers expected, %zu given", expected, values.size()).c_str());
  }

  void parse_probability() {
    expect(p_.next(), '(');
    orv_node_s *child = find_foreign_node(p_, d_, name("node name").c_str());
    Vector<orv_node_s *> parents;
    int t = p_.next();
    if (t == '|') t = p_.next();
    for (; t != ')'; t = p_.next()) {
      if (t == ',') continue;
      if (t != kTokName && t != kTokString) p_.syntax_error(t, "`)' or a node name expected");
      parents.push_back(find_foreign_node(p_, d_, p_.token_text));
    }
    if (!child->parents.empty() || filled_.count(child))
      p_.fatal(format_message("probability of `%s' given twice", node_name(child)).c_str(), orv_error_parse);
    add_foreign_parents(p_, child, parents);
    filled_.insert(child);
    orv_table_s *table = foreign_table(p_, child, parents);
    const std::size_t states = child->state_count;
    const std::size_t rows = configuration_count(parents);
    // Values row-major over (parents..., child); a row is one parent configuration.
    Vector<double> values(table->size, 0.0);
    Vector<unsigned char> given(rows, 0);
    Vector<double> numbers;
    expect(p_.next(), '{');
    for (t = p_.next(); t != '}'; t = p_.next()) {
      if (t == kTokName && word_is("table")) {
        read_values(numbers);
        check_count(numbers, table->size);
        for (std::size_t i = 0; i < numbers.size() && i < table->size; ++i)
          values[(i % rows) * states + i / rows] = numbers[i];
        given.assign(rows, 1);
      } else if (t == kTokName && word_is("default")) {
        read_values(numbers);
        check_count(numbers, states);
        for (std::size_t r = 0; r < rows; ++r) {
          if (given[r]) continue;
          for (std::size_t s = 0; s < states && s < numbers.size(); ++s) values[r * states + s] = numbers[s];
          given[r] = 1;
        }
      } else if (t == kTokName && word_is("property")) {
        t = p_.next();
        if (t != kTokString && t != kTokName) p_.syntax_error(t, "property text expected");
        expect(p_.next(), ';');
      } else if (t == '(') {
        const std::size_t row = parse_row_configuration(parents);
        read_values(numbers);
        check_count(numbers, states);
        for (std::size_t s = 0; s < states && s < numbers.size(); ++s) values[row * states + s] = numbers[s];
        given[row] = 1;
      } else {
        p_.syntax_error(t, "`table', `default', `(' or `}' expected");
      }
    }
    std::size_t missing = 0;
    for (const unsigned char g : given) missing += g ? 0 : 1;
    if (missing > 0)
      p_.report(format_message("probabilities of `%s' missing for %zu parent configurations", node_name(child),
                               missing).c_str());
    Vector<orv_node_s *> order(parents);
    order.push_back(child);
    fill_foreign_table(p_, table, order, values);
  }

  // "(s1, s2, ...)" after "(": the index of that parent configuration.
  std::size_t parse_row_configuration(const Vector<orv_node_s *> &parents) {
    std::size_t row = 0, k = 0;
    for (int t = p_.next(); t != ')'; t = p_.next()) {
      if (t == ',') continue;
      if (t != kTokName && t != kTokString) p_.syntax_error(t, "state or `)' expected");
      if (k == parents.size()) p_.syntax_error(t, "too many states in parent configuration");
      orv_node_s *parent = parents[k++];
      const long s = orv_node_get_state_index_from_label(parent, p_.token_text);
      if (s < 0)
        p_.syntax_error(t, format_message("node `%s' has no state `%s'", node_name(parent), p_.token_text).c_str());
      row = row * parent->state_count + static_cast<std::size_t>(s);
    }
    if (k != parents.size()) p_.syntax_error(')', "too few states in parent configuration");
    return row;
  }

  ParseData &p_;
  orv_domain_s *d_;
  std::set<orv_node_s *, std::less<>, Allocator<orv_node_s *>> filled_;
};

}  // namespace

void parse_bif_body(ParseData &p, orv_domain_s *d) {
  p.get_token = get_bif_token;
  BifReader(p, d).parse();
}

}  // namespace orv
