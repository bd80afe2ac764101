// Evaluation of expression trees in double precision: values of every
// operator, with the leaves and the belief queries supplied by a context.
#pragma once

#include <cstddef>

#include "expr/distribution.h"
#include "expr/expression.h"

namespace orv {

struct Value {
  int type = kTypeUnknown;  // kTypeNumeric, kTypeBoolean, kTypeLabel or kTypeDistribution
  double number = 0.0;
  bool boolean = false;
  const char *label = "";  // owned by the expression or node it came from
  Distribution distribution;
};

// Where the values of node leaves come from (a configuration being
// generated, or propagated results).
class EvaluationContext {
 public:
  virtual ~EvaluationContext() = default;
  virtual Value node_value(orv_node_s *node) = 0;
  virtual std::size_t state_index(orv_node_s *node) = 0;
  // probability, variance and quantile: only where beliefs exist.
  virtual double probability(const orv_expression_s *argument);
  virtual double variance(orv_node_s *node);
  virtual double quantile(orv_node_s *node, double p);
};

// The value of state s of a label node (its label, "" without one) or of a
// boolean node (state 1 is true).
Value symbolic_state_value(const orv_node_s *node, std::size_t s);

// Throws EvaluationError (invalid_expression with a reason) or bad_alloc.
Value evaluate(const orv_expression_s *e, EvaluationContext &context);

}  // namespace orv
