// The UAI reader (BAYES networks): a preamble of cardinalities and function
// scopes, the child last in each scope, then one table per function with
// the last scope variable varying fastest. Variables are named X0, X1, ...
// and their states 0, 1, ...
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "formats/foreign_build.h"
#include "formats/formats_api.h"
#include "formats/net_reader.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {
namespace {

// Words separated by white space.
int get_uai_token(ParseData &p) {
  int c = p.get_char();
  while (c != EOF && std::isspace(c)) c = p.get_char();
  if (c == EOF) return kTokEnd;
  p.clear_token();
  do {
    p.append_token_char(c);
    c = p.get_char();
  } while (c != EOF && !std::isspace(c));
  p.unget_char(c);
  return kTokName;
}

class UaiReader {
 public:
  UaiReader(ParseData &p, orv_domain_s *d) : p_(p), d_(d) {}

  void parse() {
    int t = p_.next();
    if (t != kTokName || (std::strcmp(p_.token_text, "BAYES") != 0 && std::strcmp(p_.token_text, "MARKOV") != 0))
      p_.syntax_error(t, "`BAYES' expected");
    if (std::strcmp(p_.token_text, "MARKOV") == 0)
      p_.fatal("only BAYES networks can be read (this is a MARKOV network)", orv_error_parse);
    const std::size_t variables = size_number("number of variables");
    for (std::size_t i = 0; i < variables; ++i) {
      const std::size_t card = size_number("cardinality");
      if (card == 0) p_.fatal("cardinality must be positive", orv_error_parse);
      Vector<String> states;
      for (std::size_t s = 0; s < card; ++s) states.push_back(format_message("%zu", s));
      nodes_.push_back(add_foreign_node(p_, d_, orv_category_chance, format_message("X%zu", i).c_str(), states));
    }
    const std::size_t functions = size_number("number of functions");
    Vector<Vector<orv_node_s *>> scopes;
    Vector<unsigned char> has_function(variables, 0);
    for (std::size_t f = 0; f < functions; ++f) {
      const std::size_t width = size_number("scope size");
      if (width == 0) p_.fatal("a function needs at least its child in its scope", orv_error_parse);
      Vector<orv_node_s *> scope;
      std::size_t child = 0;
      for (std::size_t k = 0; k < width; ++k) {
        child = size_number("variable index");
        if (child >= variables)
          p_.fatal(format_message("variable index %zu out of range", child).c_str(), orv_error_parse);
        scope.push_back(nodes_[child]);
      }
      if (has_function[child])
        p_.fatal(format_message("variable %zu is the child of two functions", child).c_str(), orv_error_parse);
      has_function[child] = 1;
      Vector<orv_node_s *> parents(scope.begin(), scope.end() - 1);
      add_foreign_parents(p_, scope.back(), parents);
      scopes.push_back(std::move(scope));
    }
    Vector<double> values;
    for (const Vector<orv_node_s *> &scope : scopes) {
      const Vector<orv_node_s *> parents(scope.begin(), scope.end() - 1);
      orv_table_s *table = foreign_table(p_, scope.back(), parents);
      const std::size_t count = size_number("number of table entries");
      if (count != table->size)
        p_.fatal(format_message("%zu table entries expected for `%s', %zu given", table->size,
                                node_name(scope.back()), count).c_str(), orv_error_parse);
      values.clear();
      for (std::size_t i = 0; i < count; ++i) values.push_back(number());
      fill_foreign_table(p_, table, scope, values);
    }
    t = p_.next();
    if (t != kTokEnd) p_.syntax_error(t, "end of input expected");
  }

 private:
  double number() {
    const int t = p_.next();
    char *end = nullptr;
    const double value = t == kTokName ? std::strtod(p_.token_text, &end) : 0;
    if (t != kTokName || *end != '\0' || end == p_.token_text) p_.syntax_error(t, "number expected");
    check_probability(p_, value);
    return value;
  }

  std::size_t size_number(const char *what) {
    const int t = p_.next();
    char *end = nullptr;
    const unsigned long long value = t == kTokName ? std::strtoull(p_.token_text, &end, 10) : 0;
    if (t != kTokName || *end != '\0' || end == p_.token_text || !std::isdigit(static_cast<unsigned char>(*p_.token_text)))
      p_.syntax_error(t, format_message("%s expected", what).c_str());
    return static_cast<std::size_t>(value);
  }

  ParseData &p_;
  orv_domain_s *d_;
  Vector<orv_node_s *> nodes_;
};

}  // namespace

void parse_uai_body(ParseData &p, orv_domain_s *d) {
  p.get_token = get_uai_token;
  UaiReader(p, d).parse();
}

}  // namespace orv
