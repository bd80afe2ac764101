// The expression grammar: comparisons that do not chain, additive terms with
// an optional leading sign, products, right-associative powers, and factors
// (state index, parentheses, nodes, literals, operator calls).
#include "expr/expr_parse.h"

#include <algorithm>
#include <cstring>

#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

namespace {

class ExpressionParser {
 public:
  explicit ExpressionParser(ParseData &p) : p_(p) {}

  OwnedExpression expr() {
    OwnedExpression left = simple();
    const int t = next();
    const orv_operator_t op = comparison(t);
    if (op == orv_op_error) {
      p_.push_back(t);
      return left;
    }
    OwnedExpression right = simple();
    return combine(op, left, right);
  }

 private:
  int next() { return next_with(p_, get_expr_token); }

  static orv_operator_t comparison(int t) {
    switch (t) {
      case kTokEqual: return orv_op_equals;
      case kTokLess: return orv_op_less_than;
      case kTokGreater: return orv_op_greater_than;
      case kTokNotEqual: return orv_op_not_equals;
      case kTokLessEqual: return orv_op_less_than_or_equals;
      case kTokGreaterEqual: return orv_op_greater_than_or_equals;
      default: return orv_op_error;
    }
  }

  // Builds a composite; a failure is reported as an API error.
  OwnedExpression build(orv_operator_t op, orv_expression_s *const *operands, std::size_t count) {
    std::size_t height = 1;
    for (std::size_t i = 0; i < count; ++i) height = std::max(height, operands[i]->height + 1);
    if (height > kMaxExpressionHeight) p_.syntax_error(0, "expression nested too deeply");
    orv_expression_s *e = nullptr;
    try {
      e = make_composite(op, operands, count);
    } catch (const Failure &f) {
      api_error(f.code);
    } catch (const std::bad_alloc &) {
      api_error(orv_error_no_memory);
    }
    return OwnedExpression(e);
  }

  OwnedExpression combine(orv_operator_t op, OwnedExpression &a, OwnedExpression &b) {
    orv_expression_s *operands[] = {a.get(), b.get()};
    OwnedExpression e = build(op, operands, 2);
    // The operands now belong to e.
    a.release();
    b.release();
    return e;
  }

  OwnedExpression unary(orv_operator_t op, OwnedExpression &a) {
    orv_expression_s *operands[] = {a.get()};
    OwnedExpression e = build(op, operands, 1);
    a.release();
    return e;
  }

  [[noreturn]] void api_error(orv_error_t code) {
    String message = format_message("API error: %s", orv_error_name(code));
    p_.fatal(message.c_str(), code);
  }

  OwnedExpression leaf(orv_expression_s *(*make)(double), double v) {
    try {
      return OwnedExpression(make(v));
    } catch (const std::bad_alloc &) {
      api_error(orv_error_no_memory);
    }
  }

  OwnedExpression simple() {
    const int t = next();
    if (t != '+' && t != '-') p_.push_back(t);
    OwnedExpression left = term();
    if (t == '-') {
      if (left->op == orv_op_number) {
        left->number = -left->number;
      } else {
        left = unary(orv_op_negate, left);
      }
    }
    for (;;) {
      const int op = next();
      if (op != '+' && op != '-') {
        p_.push_back(op);
        return left;
      }
      OwnedExpression right = term();
      left = combine(op == '+' ? orv_op_add : orv_op_subtract, left, right);
    }
  }

  OwnedExpression term() {
    OwnedExpression left = exp_factor();
    for (;;) {
      const int op = next();
      if (op != '*' && op != '/') {
        p_.push_back(op);
        return left;
      }
      OwnedExpression right = exp_factor();
      left = combine(op == '*' ? orv_op_multiply : orv_op_divide, left, right);
    }
  }

  OwnedExpression exp_factor() {
    OwnedExpression base = factor();
    const int t = next();
    if (t != '^') {
      p_.push_back(t);
      return base;
    }
    OwnedExpression exponent = exp_factor();
    return combine(orv_op_power, base, exponent);
  }

  OwnedExpression factor() {
    if (++depth_ > kMaxExpressionHeight) p_.syntax_error(0, "expression nested too deeply");
    OwnedExpression e = factor_body();
    --depth_;
    return e;
  }

  OwnedExpression factor_body() {
    const int t = next();
    switch (t) {
      case '#': {
        OwnedExpression operand = factor();
        if (operand->op != orv_op_node || !operand->node->is_discrete())
          p_.syntax_error(t, "`#' must be followed by the name of a discrete node");
        return unary(orv_op_state_index, operand);
      }
      case '(': {
        OwnedExpression inner = expr();
        if (next() != ')') p_.syntax_error(t, "`)' expected");
        return inner;
      }
      case kTokDottedName: return node_leaf(lookup(p_.token_text));
      case kTokString:
        try {
          return OwnedExpression(make_label(p_.token_text));
        } catch (const std::bad_alloc &) {
          api_error(orv_error_no_memory);
        }
      case kTokNumber: return leaf(make_number, p_.number);
      case kTokName: return name_factor();
      default: p_.syntax_error(t, "unexpected token");
    }
  }

  orv_node_s *lookup(const char *name) {
    orv_domain_s *d = p_.domain;
    orv_node_s *n = d->names.find(d->first_node, d->node_count, name);
    if (!n) {
      String message = format_message("no such node: %s", name);
      p_.syntax_error(0, message.c_str());
    }
    return n;
  }

  OwnedExpression node_leaf(orv_node_s *n) {
    try {
      return OwnedExpression(make_node(n));
    } catch (const std::bad_alloc &) {
      api_error(orv_error_no_memory);
    }
  }

  OwnedExpression name_factor() {
    String name(p_.token_text);
    const int t = next();
    if (t == '(') return call(name);
    p_.push_back(t);
    orv_domain_s *d = p_.domain;
    if (orv_node_s *n = d->names.find(d->first_node, d->node_count, name.c_str())) return node_leaf(n);
    if (name == "true" || name == "false") {
      try {
        return OwnedExpression(make_boolean(name == "true"));
      } catch (const std::bad_alloc &) {
        api_error(orv_error_no_memory);
      }
    }
    lookup(name.c_str());  // reports "no such node"
    p_.syntax_error(0, "no such node");
  }

  OwnedExpression call(const String &name) {
    const orv_operator_t op = operator_from_name(name.c_str());
    if (op == orv_op_error) {
      String message = format_message("unknown operator `%s'", name.c_str());
      p_.syntax_error(0, message.c_str());
    }
    Vector<OwnedExpression> arguments;
    int t = next();
    if (t != ')') {
      p_.push_back(t);
      for (;;) {
        OwnedExpression argument = expr();
        arguments.push_back(std::move(argument));
        t = next();
        if (t == ')') break;
        if (t != ',') p_.syntax_error(t, "`,' or `)' expected");
      }
    }
    Vector<orv_expression_s *> operands;
    operands.reserve(arguments.size());
    for (const OwnedExpression &a : arguments) operands.push_back(a.get());
    OwnedExpression e = build(op, operands.data(), operands.size());
    for (OwnedExpression &a : arguments) a.release();
    return e;
  }

  ParseData &p_;
  std::size_t depth_ = 0;
};

}  // namespace

OwnedExpression parse_expression(ParseData &p) { return ExpressionParser(p).expr(); }

orv_expression_s *parse_expression_text(orv_domain_s *d, const char *text,
                                        orv_error_handler_t handler, void *data) {
  return guarded<orv_expression_s *>(nullptr, [&]() -> orv_expression_s * {
    CLocale locale;
    ParseData p(nullptr, text, handler, data);
    p.domain = d;
    p.syntax_code = orv_error_syntax;
    p.get_token = get_expr_token;
    try {
      OwnedExpression e = parse_expression(p);
      if (p.next() != kTokEnd) p.syntax_error(0, "unexpected token");
      set_error(orv_error_none);
      return e.release();
    } catch (const ParseAbort &abort) {
      set_error(abort.code);
      return nullptr;
    }
  });
}

}  // namespace orv
