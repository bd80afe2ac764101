// Evaluation of every operator: arithmetic and functions on numbers (C
// semantics, "mod" with the sign of the divisor), comparisons of numbers,
// labels and booleans, the logical operators, "if" evaluating one branch,
// and the distribution constructors.
#include "expr/evaluate.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace orv {

double EvaluationContext::probability(const orv_expression_s *) { invalid("probability needs propagated beliefs"); }
double EvaluationContext::variance(orv_node_s *) { invalid("variance needs propagated beliefs"); }
double EvaluationContext::quantile(orv_node_s *, double) { invalid("quantile needs propagated beliefs"); }

namespace {

Value number(double x) {
  Value v;
  v.type = kTypeNumeric;
  v.number = x;
  return v;
}

Value truth(bool b) {
  Value v;
  v.type = kTypeBoolean;
  v.boolean = b;
  return v;
}

Value distribution(Distribution d) {
  Value v;
  v.type = kTypeDistribution;
  v.distribution = std::move(d);
  return v;
}

class Evaluator {
 public:
  explicit Evaluator(EvaluationContext &context) : context_(context) {}

  Value operator()(const orv_expression_s *e) {
    switch (e->op) {
      case orv_op_number: return number(e->number);
      case orv_op_boolean: return truth(e->boolean != 0);
      case orv_op_label: {
        Value v;
        v.type = kTypeLabel;
        v.label = e->label.c_str();
        return v;
      }
      case orv_op_node: return context_.node_value(e->node);
      default: return composite(e);
    }
  }

 private:
  EvaluationContext &context_;

  double numeric(const orv_expression_s *e) {
    const Value v = (*this)(e);
    if (v.type == kTypeBoolean) return v.boolean ? 1.0 : 0.0;
    if (v.type != kTypeNumeric) invalid("a number was expected");
    return v.number;
  }

  bool boolean(const orv_expression_s *e) {
    const Value v = (*this)(e);
    if (v.type != kTypeBoolean) invalid("a boolean was expected");
    return v.boolean;
  }

  Distribution integer_distribution(const orv_expression_s *e) {
    Value v = (*this)(e);
    if (v.type == kTypeNumeric) return point_mass(v.number);
    if (v.type != kTypeDistribution) invalid("a distribution was expected");
    return std::move(v.distribution);
  }

  Value compare(orv_operator_t op, const orv_expression_s *a, const orv_expression_s *b) {
    const Value x = (*this)(a), y = (*this)(b);
    int order;
    if (x.type == kTypeLabel && y.type == kTypeLabel) {
      order = std::strcmp(x.label, y.label);
    } else if (x.type == kTypeBoolean && y.type == kTypeBoolean) {
      order = static_cast<int>(x.boolean) - static_cast<int>(y.boolean);
    } else if (x.type == kTypeNumeric && y.type == kTypeNumeric) {
      if (std::isnan(x.number) || std::isnan(y.number)) invalid("comparison with an undefined number");
      order = x.number < y.number ? -1 : x.number > y.number ? 1 : 0;
    } else {
      invalid("comparison of values of different types");
    }
    switch (op) {
      case orv_op_equals: return truth(order == 0);
      case orv_op_not_equals: return truth(order != 0);
      case orv_op_less_than: return truth(order < 0);
      case orv_op_greater_than: return truth(order > 0);
      case orv_op_less_than_or_equals: return truth(order <= 0);
      default: return truth(order >= 0);
    }
  }

  Value composite(const orv_expression_s *e) {
    orv_expression_s *const *a = e->operands.data();
    const std::size_t n = e->operand_count();
    const orv_operator_t op = e->op;
    if (op >= orv_op_Normal && op <= orv_op_Geometric) {
      double args[4];
      for (std::size_t i = 0; i < n; ++i) args[i] = numeric(a[i]);
      return distribution(make_distribution(op, args, n));
    }
    switch (op) {
      case orv_op_Distribution: {
        Vector<double> args(n);
        for (std::size_t i = 0; i < n; ++i) args[i] = numeric(a[i]);
        return distribution(make_distribution(op, args.data(), n));
      }
      case orv_op_NoisyOR: {
        Vector<double> inhibitors(n / 2);
        bool causes[64];
        if (n / 2 > 64) invalid("NoisyOR takes at most 64 causes");
        for (std::size_t i = 0; i < n / 2; ++i) {
          causes[i] = boolean(a[2 * i]);
          inhibitors[i] = numeric(a[2 * i + 1]);
        }
        return distribution(make_noisy_or(causes, inhibitors.data(), n / 2));
      }
      case orv_op_truncate: {
        const double inf = std::numeric_limits<double>::infinity();
        if (n == 3) {
          const double lower = numeric(a[0]), upper = numeric(a[2]);
          return distribution(truncated(integer_or_any(a[1]), lower, upper));
        }
        if ((*this)(a[0]).type == kTypeDistribution) return distribution(truncated(integer_or_any(a[0]), -inf, numeric(a[1])));
        return distribution(truncated(integer_or_any(a[1]), numeric(a[0]), inf));
      }
      case orv_op_aggregate: return distribution(aggregated(integer_distribution(a[0]), integer_distribution(a[1])));
      case orv_op_probability: return number(context_.probability(a[0]));
      case orv_op_variance: return number(context_.variance(leaf_node(a[0])));
      case orv_op_quantile: return number(context_.quantile(leaf_node(a[0]), numeric(a[1])));
      case orv_op_min:
      case orv_op_max: {
        double r = numeric(a[0]);
        for (std::size_t i = 1; i < n; ++i) r = op == orv_op_min ? std::fmin(r, numeric(a[i])) : std::fmax(r, numeric(a[i]));
        return number(r);
      }
      case orv_op_if: return boolean(a[0]) ? (*this)(a[1]) : (*this)(a[2]);
      case orv_op_and:
        for (std::size_t i = 0; i < n; ++i)
          if (!boolean(a[i])) return truth(false);
        return truth(true);
      case orv_op_or:
        for (std::size_t i = 0; i < n; ++i)
          if (boolean(a[i])) return truth(true);
        return truth(false);
      case orv_op_not: return truth(!boolean(a[0]));
      case orv_op_state_index: return number(static_cast<double>(context_.state_index(leaf_node(a[0]))));
      case orv_op_equals:
      case orv_op_not_equals:
      case orv_op_less_than:
      case orv_op_greater_than:
      case orv_op_less_than_or_equals:
      case orv_op_greater_than_or_equals: return compare(op, a[0], a[1]);
      default: break;
    }
    if (n == 1) return number(unary(op, numeric(a[0])));
    return number(binary(op, numeric(a[0]), numeric(a[1])));
  }

  Distribution integer_or_any(const orv_expression_s *e) {
    Value v = (*this)(e);
    if (v.type != kTypeDistribution) invalid("a distribution was expected");
    return std::move(v.distribution);
  }

  static orv_node_s *leaf_node(const orv_expression_s *e) {
    if (e->op != orv_op_node) invalid("a node was expected");
    return e->node;
  }

  static double unary(orv_operator_t op, double x) {
    switch (op) {
      case orv_op_log: return std::log(x);
      case orv_op_log2: return std::log2(x);
      case orv_op_log10: return std::log10(x);
      case orv_op_exp: return std::exp(x);
      case orv_op_sin: return std::sin(x);
      case orv_op_cos: return std::cos(x);
      case orv_op_tan: return std::tan(x);
      case orv_op_sinh: return std::sinh(x);
      case orv_op_cosh: return std::cosh(x);
      case orv_op_tanh: return std::tanh(x);
      case orv_op_sqrt: return std::sqrt(x);
      case orv_op_abs: return std::fabs(x);
      case orv_op_floor: return std::floor(x);
      case orv_op_ceil: return std::ceil(x);
      case orv_op_negate: return -x;
      default: invalid("unknown operator");
    }
  }

  static double binary(orv_operator_t op, double x, double y) {
    switch (op) {
      case orv_op_add: return x + y;
      case orv_op_subtract: return x - y;
      case orv_op_multiply: return x * y;
      case orv_op_divide: return x / y;
      case orv_op_power: return std::pow(x, y);
      case orv_op_mod: return x - y * std::floor(x / y);
      default: invalid("unknown operator");
    }
  }
};

}  // namespace

Value symbolic_state_value(const orv_node_s *n, std::size_t s) {
  Value v;
  if (n->subtype == orv_subtype_boolean) {
    v.type = kTypeBoolean;
    v.boolean = s == 1;
  } else {
    v.type = kTypeLabel;
    v.label = s < n->state_labels.size() && n->state_labels[s] ? n->state_labels[s]->c_str() : "";
  }
  return v;
}

Value evaluate(const orv_expression_s *e, EvaluationContext &context) { return Evaluator(context)(e); }

}  // namespace orv
