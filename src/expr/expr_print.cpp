// The text form of expressions, built in two passes: the exact length first,
// then the text into a buffer of that size.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "expr/expression.h"
#include "formats/quote.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {

bool is_additive(const orv_expression_s *e) {
  return e->op == orv_op_add || e->op == orv_op_subtract || e->op == orv_op_negate ||
         (e->op == orv_op_number && std::signbit(e->number));
}
bool is_product(const orv_expression_s *e) {
  return e->op == orv_op_multiply || e->op == orv_op_divide;
}
bool is_comparison(const orv_expression_s *e) {
  return e->op >= orv_op_equals && e->op <= orv_op_greater_than_or_equals;
}

// Whether operand `index` of composite `parent` needs parentheses.
bool needs_parentheses(const orv_expression_s *parent, std::size_t index) {
  const orv_expression_s *e = parent->operands[index];
  const bool left = index == 0;
  switch (parent->op) {
    case orv_op_add:
    case orv_op_subtract: return !left && is_additive(e);
    case orv_op_multiply:
    case orv_op_divide: return is_additive(e) || (!left && is_product(e));
    case orv_op_power:
      return is_additive(e) || is_product(e) || (left && e->op == orv_op_power);
    case orv_op_negate: return is_additive(e);
    default: return is_comparison(parent) && is_comparison(e);
  }
}

// Emits the text through a sink that either counts or copies.
class Printer {
 public:
  Printer(char *buffer, bool exact) : buffer_(buffer), exact_(exact) {}
  std::size_t length() const { return length_; }

  void print(const orv_expression_s *e) {
    switch (e->op) {
      case orv_op_number: {
        char text[64];
        const int n = std::snprintf(text, sizeof text, exact_ ? "%.17G" : "%G", e->number);
        emit(text, static_cast<std::size_t>(n));
        return;
      }
      case orv_op_label: write_quoted([this](const char *s, std::size_t n) { emit(s, n); }, e->label.c_str()); return;
      case orv_op_node: emit(node_name(e->node)); return;
      case orv_op_boolean: emit(e->boolean ? "true" : "false"); return;
      default: break;
    }
    const char *text = operator_text(e->op);
    if (e->op == orv_op_negate || e->op == orv_op_state_index) {
      emit(text);
      operand(e, 0);
    } else if (e->op >= orv_op_add) {
      operand(e, 0);
      emit(" ");
      emit(text);
      emit(" ");
      operand(e, 1);
    } else {
      emit(text);
      emit(" (");
      for (std::size_t i = 0; i < e->operand_count(); ++i) {
        if (i > 0) emit(", ");
        print(e->operands[i]);
      }
      emit(")");
    }
  }

 private:
  void operand(const orv_expression_s *e, std::size_t i) {
    const bool wrap = needs_parentheses(e, i);
    if (wrap) emit("(");
    print(e->operands[i]);
    if (wrap) emit(")");
  }
  void emit(const char *s) { emit(s, std::strlen(s)); }
  void emit(const char *s, std::size_t n) {
    if (buffer_) std::memcpy(buffer_ + length_, s, n);
    length_ += n;
  }

  char *buffer_;
  bool exact_;
  std::size_t length_ = 0;
};

}  // namespace

char *format_expression(const orv_expression_s *e, bool exact) {
  Printer counter(nullptr, exact);
  counter.print(e);
  char *text = static_cast<char *>(_orv_allocate(size_add(counter.length(), 1)));
  if (!text) throw std::bad_alloc();
  Printer writer(text, exact);
  try {
    writer.print(e);
  } catch (...) {
    _orv_free(text);
    throw;
  }
  text[writer.length()] = '\0';
  return text;
}

}  // namespace orv
