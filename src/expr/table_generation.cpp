// Table generation: evaluates the model's expression for every parent
// configuration and turns the value into a column of the node's table, or
// into the CG block of a continuous node.
#include "expr/table_generation.h"

#include <cmath>
#include <cstring>

#include "compile/forest_log.h"
#include "expr/evaluate.h"
#include "expr/function_values.h"
#include "expr/model_upkeep.h"
#include "runtime/error.h"
#include "tables/node_table.h"
#include "tables/table.h"

namespace orv {

namespace {

// Node values from one configuration of the table's discrete nodes, with a
// sample point for each sampled interval parent.
struct ConfigurationContext : EvaluationContext {
  const orv_table_s *table;
  const std::size_t *states;
  const Vector<orv_node_s *> *sampled;
  const Vector<double> *points;

  std::size_t position(const orv_node_s *n) const {
    for (std::size_t i = 0; i < table->discrete_count; ++i)
      if (table->nodes[i] == n) return i;
    invalid("the value of a node that is not a discrete parent is unknown here");
  }
  std::size_t state_index(orv_node_s *n) override { return states[position(n)]; }
  Value node_value(orv_node_s *n) override {
    Value v;
    if (n->category == orv_category_function && n->kind == orv_kind_other) {
      v.type = kTypeNumeric;  // a real-valued function parent enters by its value
      v.number = function_value(n);
      return v;
    }
    const std::size_t s = state_index(n);
    switch (n->subtype) {
      case orv_subtype_label:
      case orv_subtype_boolean: return symbolic_state_value(n, s);
      case orv_subtype_number:
        if (n->state_values.size() <= s) invalid("a numbered parent has no state values");
        v.type = kTypeNumeric;
        v.number = n->state_values[s];
        return v;
      default:
        for (std::size_t i = 0; i < sampled->size(); ++i)
          if ((*sampled)[i] == n) {
            v.type = kTypeNumeric;
            v.number = (*points)[i];
            return v;
          }
        invalid("an interval parent has no state values");
    }
  }
};

// The point of sample k of `count` in state s of an interval node: the
// midpoint of the k-th equal part, or the finite end of an infinite interval.
double sample_point(const orv_node_s *n, std::size_t s, std::size_t k, std::size_t count) {
  const double a = bound(n->state_values[s]), b = bound(n->state_values[s + 1]);
  if (std::isinf(a) && std::isinf(b)) invalid("an interval spans the whole line");
  if (std::isinf(a)) return b;
  if (std::isinf(b)) return a;
  return a + (static_cast<double>(k) + 0.5) * (b - a) / static_cast<double>(count);
}

std::size_t matching_state(const orv_node_s *head, const Value &v) {
  for (std::size_t s = 0; s < head->state_count; ++s) {
    bool match = false;
    if (v.type == kTypeBoolean) {
      match = head->subtype == orv_subtype_boolean && (s == 1) == v.boolean;
    } else if (v.type == kTypeLabel) {
      match = s < head->state_labels.size() && head->state_labels[s] && *head->state_labels[s] == v.label;
    } else if (v.type == kTypeNumeric && head->state_values.size() > s) {
      if (head->subtype == orv_subtype_number) match = head->state_values[s] == v.number;
      if (head->subtype == orv_subtype_interval)
        match = bound(head->state_values[s]) <= v.number && v.number < bound(head->state_values[s + 1]);
    }
    if (match) return s;
  }
  invalid("the value matches no state of the node");
}

// Adds weight times the column the value gives to the head's states.
void add_column(const orv_node_s *head, Value &v, double weight, double *column) {
  const std::size_t k = head->state_count;
  if (v.type != kTypeDistribution) {
    column[matching_state(head, v)] += weight;
    return;
  }
  Distribution &d = v.distribution;
  Vector<double> masses(k, 0.0);
  if (has_state_weights(d)) {
    if (d.weights.size() != k) invalid("the number of probabilities differs from the number of states");
    for (std::size_t s = 0; s < k; ++s) masses[s] = d.weights[s];
  } else if (head->subtype == orv_subtype_interval && head->state_values.size() == k + 1) {
    double limit = 0.0;
    for (double x : head->state_values) limit = unbounded(x) ? limit : std::fmax(limit, x);
    prepare(d, limit);
    for (std::size_t s = 0; s < k; ++s) masses[s] = interval_mass(d, bound(head->state_values[s]), bound(head->state_values[s + 1]));
  } else if (head->subtype == orv_subtype_number && head->state_values.size() >= k && is_integer_valued(d)) {
    double limit = 0.0;
    for (std::size_t s = 0; s < k; ++s) limit = std::fmax(limit, head->state_values[s]);
    prepare(d, limit);
    for (std::size_t s = 0; s < k; ++s) masses[s] = probability_of(d, head->state_values[s]);
  } else {
    invalid("the distribution does not fit the states of the node");
  }
  double total = 0.0;
  for (double m : masses) total += m;
  if (!(total > 0.0) || !std::isfinite(total)) invalid("no probability mass on any state");
  for (std::size_t s = 0; s < k; ++s) column[s] += weight * masses[s] / total;
}

bool mentions_continuous(const orv_expression_s *e) {
  if (e->op == orv_op_node) return e->node->is_continuous();
  if (!e->is_composite()) return false;
  for (std::size_t i = 0; i < e->operand_count(); ++i)
    if (mentions_continuous(e->operands[i])) return true;
  return false;
}

// The value of an expression that must be a number.
double number_of(const orv_expression_s *e, EvaluationContext &context, const char *what) {
  const Value v = evaluate(e, context);
  if (v.type != kTypeNumeric || !std::isfinite(v.number)) invalid(what);
  return v.number;
}

// A mean as a linear form over the table's continuous nodes: c[0] the
// intercept, c[i] the coefficient of continuous node i (i >= 1, the parents).
void linear_form(const orv_expression_s *e, const orv_table_s *t, EvaluationContext &context, Vector<double> &c) {
  const std::size_t n = t->continuous_count;
  c.assign(n, 0.0);
  if (!mentions_continuous(e)) {
    c[0] = number_of(e, context, "the mean must be a finite number");
    return;
  }
  if (e->op == orv_op_node) {
    for (std::size_t i = 1; i < n; ++i)
      if (t->nodes[t->discrete_count + i] == e->node) {
        c[i] = 1.0;
        return;
      }
    invalid("the mean mentions a continuous node that is not a parent");
  }
  const auto is_constant = [n](const Vector<double> &v) {
    for (std::size_t i = 1; i < n; ++i)
      if (v[i] != 0.0) return false;
    return true;
  };
  Vector<double> a, b;
  switch (e->op) {
    case orv_op_add:
    case orv_op_subtract:
      linear_form(e->operands[0], t, context, a);
      linear_form(e->operands[1], t, context, b);
      for (std::size_t i = 0; i < n; ++i) c[i] = e->op == orv_op_add ? a[i] + b[i] : a[i] - b[i];
      return;
    case orv_op_negate:
      linear_form(e->operands[0], t, context, a);
      for (std::size_t i = 0; i < n; ++i) c[i] = -a[i];
      return;
    case orv_op_multiply:
    case orv_op_divide:
      linear_form(e->operands[0], t, context, a);
      linear_form(e->operands[1], t, context, b);
      if (e->op == orv_op_divide) {
        if (!is_constant(b) || b[0] == 0.0) invalid("the mean is not linear in the continuous parents");
        for (std::size_t i = 0; i < n; ++i) c[i] = a[i] / b[0];
        return;
      }
      if (!is_constant(b)) {
        if (!is_constant(a)) invalid("the mean is not linear in the continuous parents");
        a.swap(b);
      }
      for (std::size_t i = 0; i < n; ++i) c[i] = a[i] * b[0];
      return;
    case orv_op_if: {
      const Value condition = evaluate(e->operands[0], context);
      if (condition.type != kTypeBoolean) invalid("the condition of if must be a boolean");
      linear_form(e->operands[condition.boolean ? 1 : 2], t, context, c);
      return;
    }
    default: invalid("the mean is not linear in the continuous parents");
  }
}

// Adds weight times the Normal(mean, variance) of one sample to the running
// moments: the mean's linear form, its square's intercept, the variance.
void add_normal(const orv_expression_s *e, const orv_table_s *t, EvaluationContext &context, double weight,
                Vector<double> &form, double *moments) {
  if (e->op != orv_op_Normal || e->operand_count() != 2) invalid("a continuous node needs Normal(mean, variance)");
  if (mentions_continuous(e->operands[1])) invalid("the variance must not depend on continuous parents");
  const double variance = number_of(e->operands[1], context, "the variance must be a finite number");
  if (!(variance >= 0.0)) invalid("negative variance");
  Vector<double> c;
  linear_form(e->operands[0], t, context, c);
  for (std::size_t i = 0; i < c.size(); ++i) form[i] += weight * c[i];
  moments[0] += weight * c[0] * c[0];
  moments[1] += weight * variance;
}

void log_failure(orv_node_s *node, const orv_table_s *t, const std::size_t *states, const char *reason) {
  if (!node->owner->log) return;
  log_printf(node->owner, "Table generation for %s failed at configuration (", node->name.c_str());
  const char *separator = "";
  for (std::size_t i = 0; i < t->discrete_count; ++i) {
    if (t->nodes[i] == node) continue;
    log_printf(node->owner, "%s%s = %zu", separator, t->nodes[i]->name.c_str(), states[i]);
    separator = ", ";
  }
  log_printf(node->owner, "): %s\n", reason);
}

}  // namespace

void fill_from_model(orv_node_s *node, orv_table_s *t) {
  orv_model_s *m = node->model;
  const bool utility = node->category == orv_category_utility;
  const bool cg = node->is_continuous();
  if (!m) fail(orv_error_usage);
  if (!t->data) _orv_allocate_data_arrays(t);
  const std::size_t k = utility || cg ? 1 : node->state_count;
  std::size_t head = t->discrete_count, stride = 1;
  for (std::size_t i = 0; i < t->discrete_count; ++i)
    if (t->nodes[i] == node) head = i;
  if (!utility && !cg) stride = stride_after(t, head);
  Vector<double> data(t->size, 0.0), column(k), form, blocks;
  if (cg) blocks.assign(t->cg_data, t->cg_data + t->size * t->block_size);
  double moments[2];
  Vector<std::size_t> states(t->discrete_count + 1, 0), model_positions;
  for (orv_node_s *mn : m->nodes)
    for (std::size_t i = 0; i < t->discrete_count; ++i)
      if (t->nodes[i] == mn) model_positions.push_back(i);
  if (model_positions.size() != m->nodes.size()) fail(orv_error_usage);
  Vector<orv_node_s *> sampled;
  Vector<std::size_t> sampled_positions;
  Vector<double> points;
  ConfigurationContext context;
  context.table = t;
  context.states = states.data();
  context.sampled = &sampled;
  context.points = &points;
  for (std::size_t index = 0; index < t->size; ++index) {
    _orv_table_get_configuration_from_index(t, states.data(), index);
    if (!utility && !cg && states[head] != 0) continue;
    std::size_t mi = 0;
    for (std::size_t p : model_positions) mi = mi * t->nodes[p]->state_count + states[p];
    const orv_expression_s *e = m->expressions[mi];
    try {
      if (!e) invalid("the model has no expression for this configuration");
      sampled.clear();
      sampled_positions.clear();
      for (std::size_t i = 0; i < t->discrete_count; ++i) {
        orv_node_s *p = t->nodes[i];
        if (p != node && p->subtype == orv_subtype_interval && p->state_values.size() > p->state_count &&
            mentions(e, p)) {
          sampled.push_back(p);
          sampled_positions.push_back(i);
        }
      }
      const std::size_t per = m->samples_per_interval;
      std::size_t combinations = 1;
      for (std::size_t i = 0; i < sampled.size(); ++i) combinations = size_multiply(combinations, per);
      if (combinations == kSizeSentinel) fail(orv_error_size_too_large);
      points.assign(sampled.size(), 0.0);
      std::fill(column.begin(), column.end(), 0.0);
      form.assign(t->continuous_count, 0.0);
      moments[0] = moments[1] = 0.0;
      for (std::size_t c = 0; c < combinations; ++c) {
        std::size_t rest = c;
        for (std::size_t i = sampled.size(); i-- > 0;) {
          points[i] = sample_point(sampled[i], states[sampled_positions[i]], rest % per, per);
          rest /= per;
        }
        const double weight = 1.0 / static_cast<double>(combinations);
        if (cg) {
          add_normal(e, t, context, weight, form, moments);
          continue;
        }
        Value v = evaluate(e, context);
        if (utility) {
          if (v.type != kTypeNumeric || !std::isfinite(v.number)) invalid("a utility must be a finite number");
          column[0] += weight * v.number;
        } else {
          add_column(node, v, weight, column.data());
        }
      }
    } catch (const EvaluationError &error) {
      log_failure(node, t, states.data(), error.reason);
      fail(error.code);
    }
    if (cg) {
      // Sampled parents mix normals: keep the mean, widen the variance by
      // the spread of the intercepts.
      double *block = blocks.data() + index * t->block_size;
      for (std::size_t i = 0; i < form.size(); ++i) block[cg_vector_index(i)] = form[i];
      block[cg_matrix_index(0, 0)] = moments[1] + std::fmax(moments[0] - form[0] * form[0], 0.0);
      continue;
    }
    for (std::size_t s = 0; s < k; ++s) data[index + s * stride] = column[s];
  }
  if (cg)
    std::memcpy(t->cg_data, blocks.data(), blocks.size() * sizeof(double));
  else
    std::memcpy(t->data, data.data(), t->size * sizeof(double));
}

void generate_table(orv_node_s *node) {
  if (!node->model || !(node->category == orv_category_utility || node->category == orv_category_chance))
    fail(orv_error_usage);
  const bool had_table = node->table != nullptr;
  orv_table_s *t = node_table(node);
  try {
    fill_from_model(node, t);
    node->table_valid = false;
  } catch (...) {
    if (!had_table) {
      _orv_free_table(t);
      node->table = nullptr;
    }
    throw;
  }
}

}  // namespace orv
