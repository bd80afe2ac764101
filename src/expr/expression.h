// The expression record: a reference-counted tree node with an operator code,
// a result type and a payload (operands, number, label, node or boolean).
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/node.h"
#include "model/records.h"
#include "orvel.h"
#include "runtime/allocate.h"

namespace orv {

// Result types assigned when an expression is built.
enum ExprType : int {
  kTypeUnknown = 0,
  kTypeNumeric = 1,
  kTypeLabel = 2,
  kTypeBoolean = 3,
  kTypeDistribution = 5,
};

}  // namespace orv

struct orv_expression_s : orv::Tagged {
  explicit orv_expression_s(orv_operator_t op_) : Tagged(orv::Tag::expression), op(op_) {}
  ~orv_expression_s();

  orv_operator_t op;
  int type = orv::kTypeUnknown;
  std::uint64_t references = 0;  // composites holding it as an operand, and a model holding it
  std::size_t height = 1;        // longest path to a leaf, counting this node
  // Payload, by operator: operands (null-terminated) for composites.
  orv::Vector<orv_expression_s *> operands;
  double number = 0.0;
  orv::String label;
  orv_node_s *node = nullptr;
  int boolean = 0;

  bool is_composite() const { return op >= orv_op_Normal && op <= orv_op_greater_than_or_equals; }
  std::size_t operand_count() const { return operands.empty() ? 0 : operands.size() - 1; }
};

namespace orv {

bool is_expression(const orv_expression_s *e);

// Text of an operator (its name or symbol); null for leaves and "none".
const char *operator_text(orv_operator_t op);
// The named operator (codes 60..100) spelled exactly `name`, or orv_op_error.
orv_operator_t operator_from_name(const char *name);

// Construction; each throws Failure (invalid_expression) or bad_alloc and then
// leaves its operands untouched.
orv_expression_s *make_number(double value);
orv_expression_s *make_boolean(int value);
orv_expression_s *make_label(const char *text);
orv_expression_s *make_node(orv_node_s *node);
// Operands are shared: each gains one reference when the composite is made.
orv_expression_s *make_composite(orv_operator_t op, orv_expression_s *const *operands,
                                 std::size_t count);
// A deep copy; with a node map, node leaves refer to map(node, context).
using ExpressionNodeMap = orv_node_s *(*)(const orv_node_s *node, const void *context);
orv_expression_s *clone_expression(const orv_expression_s *e, ExpressionNodeMap map = nullptr,
                                   const void *context = nullptr);
// Frees e unless it is still an operand somewhere; operands follow by the same rule.
void delete_expression(orv_expression_s *e) noexcept;

// A model's hold on e: while held, deleting e elsewhere leaves it alone.
// Releasing drops the hold and deletes e by the reference rule. Null is allowed.
void hold_expression(orv_expression_s *e) noexcept;
void release_expression(orv_expression_s *e) noexcept;

// Owning handle that deletes by the reference rule.
struct ExpressionDeleter {
  void operator()(orv_expression_s *e) const noexcept { delete_expression(e); }
};
using OwnedExpression = std::unique_ptr<orv_expression_s, ExpressionDeleter>;

// The text form ("%G" numbers, escaped labels, minimal parentheses) in funnel
// memory (free with _orv_free). `exact` writes numbers with 17 significant
// digits, which read back to the same doubles. Throws bad_alloc. Run under
// the C locale.
char *format_expression(const orv_expression_s *e, bool exact = false);

}  // namespace orv
