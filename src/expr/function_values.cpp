// Function node values: the model's expression evaluated over propagated
// results, with probability, variance and quantile read from beliefs.
#include "expr/function_values.h"

#include <cmath>

#include "expr/distribution.h"
#include "expr/evaluate.h"
#include "inference/queries.h"
#include "runtime/error.h"

namespace orv {

namespace {

bool is_real_function(const orv_node_s *n) { return n->category == orv_category_function && n->kind == orv_kind_other; }

// The finite ends of each interval (an infinite end replaced by the nearest
// finite boundary); fails for a single interval over the whole line.
void interval_ends(const orv_node_s *n, std::size_t s, double &a, double &b) {
  const std::size_t k = n->state_count;
  if (n->state_values.size() != k + 1) fail(orv_error_invalid_state_values);
  a = n->state_values[s];
  b = n->state_values[s + 1];
  if (unbounded(a)) a = n->state_values[1];
  if (unbounded(b)) b = n->state_values[k - 1];
  if (unbounded(a) || unbounded(b)) fail(orv_error_invalid_state_values);
}

double numeric_state_value(const orv_node_s *n, std::size_t s) {
  if (n->subtype == orv_subtype_number) {
    if (n->state_values.size() <= s) fail(orv_error_invalid_state_values);
    return n->state_values[s];
  }
  double a, b;
  interval_ends(n, s, a, b);
  return 0.5 * (a + b);
}

void require_numeric(const orv_node_s *n) {
  if (!n->is_discrete() || (n->subtype != orv_subtype_number && n->subtype != orv_subtype_interval))
    fail(orv_error_usage);
  require_results(n);
}

struct ResultsContext : EvaluationContext {
  orv_node_s *fixed = nullptr;  // the node whose states probability() runs over
  std::size_t fixed_state = 0;

  std::size_t state_index(orv_node_s *n) override {
    if (n == fixed) return fixed_state;
    long s = n->selected_state >= 0 ? n->selected_state : -1;
    if (n->owner->compiled) s = inferred_state(n);
    if (s < 0) invalid("the state of a discrete node is not known");
    return static_cast<std::size_t>(s);
  }

  Value node_value(orv_node_s *n) override {
    Value v;
    if (is_real_function(n)) {
      v.type = kTypeNumeric;
      v.number = function_value(n);
      return v;
    }
    if (n->is_continuous()) {
      if (!n->cg_entered) invalid("the value of a continuous node is not known");
      v.type = kTypeNumeric;
      v.number = n->cg_value;
      return v;
    }
    if (!n->is_discrete()) invalid("a node without a value");
    const std::size_t s = state_index(n);
    switch (n->subtype) {
      case orv_subtype_label:
      case orv_subtype_boolean: return symbolic_state_value(n, s);
      default:
        v.type = kTypeNumeric;
        v.number = numeric_state_value(n, s);
        return v;
    }
  }

  double probability(const orv_expression_s *argument) override {
    orv_node_s *n = single_node(argument);  // construction checked there is exactly one
    if (!n || !n->is_discrete()) invalid("probability needs one discrete node");
    require_results(n);
    double p = 0.0;
    ResultsContext inner;
    inner.fixed = n;
    for (std::size_t s = 0; s < n->state_count; ++s) {
      inner.fixed_state = s;
      const Value v = evaluate(argument, inner);
      if (v.type != kTypeBoolean) invalid("probability needs a condition");
      if (v.boolean) p += belief_of(n, s);
    }
    return p;
  }

  double variance(orv_node_s *n) override {
    if (n->is_continuous()) {
      const double v = orv_node_get_variance(n);
      if (error_code() != orv_error_none) fail(error_code());
      return v;
    }
    return belief_variance(n);
  }

  double quantile(orv_node_s *n, double p) override { return belief_quantile(n, p); }

  static orv_node_s *single_node(const orv_expression_s *e) {
    if (e->op == orv_op_node) return e->node;
    orv_node_s *found = nullptr;
    for (std::size_t i = 0; e->is_composite() && i < e->operand_count(); ++i)
      if (orv_node_s *n = single_node(e->operands[i])) found = n;
    return found;
  }
};

}  // namespace

double belief_variance(const orv_node_s *n) {
  require_numeric(n);
  double mean = 0.0, square = 0.0;
  for (std::size_t s = 0; s < n->state_count; ++s) {
    const double b = belief_of(n, s), x = numeric_state_value(n, s);
    mean += b * x;
    square += b * x * x;
  }
  return std::fmax(square - mean * mean, 0.0);
}

double belief_quantile(const orv_node_s *n, double p) {
  if (!(p > 0.0 && p < 1.0)) fail(orv_error_usage);
  require_numeric(n);
  double cumulative = 0.0;
  for (std::size_t s = 0; s < n->state_count; ++s) {
    const double b = belief_of(n, s);
    if (cumulative + b >= p && b > 0.0) {
      if (n->subtype == orv_subtype_number) return numeric_state_value(n, s);
      double a, e;
      interval_ends(n, s, a, e);
      return a + (e - a) * (p - cumulative) / b;
    }
    cumulative += b;
  }
  return numeric_state_value(n, n->state_count - 1);
}

double function_value(orv_node_s *node) {
  if (!is_real_function(node)) fail(orv_error_usage);
  const orv_model_s *m = node->model;
  if (!m) fail(orv_error_invalid_expression);
  ResultsContext context;
  try {
    std::size_t index = 0;
    for (orv_node_s *mn : m->nodes) index = index * mn->state_count + context.state_index(mn);
    const orv_expression_s *e = m->expressions[index];
    if (!e) invalid("the model has no expression for this configuration");
    const Value v = evaluate(e, context);
    if (v.type != kTypeNumeric || !std::isfinite(v.number)) invalid("the value is not a finite number");
    node->value = v.number;
    return v.number;
  } catch (const EvaluationError &error) {
    fail(error.code);
  }
}

}  // namespace orv
