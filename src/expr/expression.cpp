// Expression trees: the operator table with arities, construction with arity
// and type checks, deep cloning and deletion by reference count.
#include "expr/expression.h"

#include <algorithm>
#include <cstring>

#include "model/node_ops.h"
#include "runtime/error.h"

orv_expression_s::~orv_expression_s() = default;

namespace orv {

namespace {

struct OperatorInfo {
  const char *text;
  std::size_t min_args;
  std::size_t max_args;  // kSizeSentinel: no upper bound
};

constexpr std::size_t kAny = kSizeSentinel;

// Indexed by code - 60, for codes 60..113.
constexpr OperatorInfo kOperators[] = {
    {"Normal", 2, 2},       {"LogNormal", 2, 3},        {"Beta", 2, 4},
    {"Gamma", 2, 3},        {"Exponential", 1, 2},      {"Weibull", 2, 3},
    {"Uniform", 2, 2},      {"Triangular", 3, 3},       {"PERT", 3, 4},
    {"Binomial", 2, 2},     {"Poisson", 1, 1},          {"NegativeBinomial", 2, 2},
    {"Geometric", 1, 1},    {"Distribution", 1, kAny},  {"NoisyOR", 2, kAny},
    {"truncate", 2, 3},     {"aggregate", 2, 2},        {"probability", 1, 1},
    {"variance", 1, 1},     {"quantile", 2, 2},         {"min", 1, kAny},
    {"max", 1, kAny},       {"log", 1, 1},              {"log2", 1, 1},
    {"log10", 1, 1},        {"exp", 1, 1},              {"sin", 1, 1},
    {"cos", 1, 1},          {"tan", 1, 1},              {"sinh", 1, 1},
    {"cosh", 1, 1},         {"tanh", 1, 1},             {"sqrt", 1, 1},
    {"abs", 1, 1},          {"floor", 1, 1},            {"ceil", 1, 1},
    {"mod", 2, 2},          {"if", 3, 3},               {"and", 0, kAny},
    {"or", 0, kAny},        {"not", 1, 1},              {"+", 2, 2},
    {"-", 2, 2},            {"*", 2, 2},                {"/", 2, 2},
    {"^", 2, 2},            {"-", 1, 1},                {"#", 1, 1},
    {"==", 2, 2},           {"<", 2, 2},                {">", 2, 2},
    {"!=", 2, 2},           {"<=", 2, 2},               {">=", 2, 2},
};
static_assert(sizeof(kOperators) / sizeof(kOperators[0]) == 54);

const OperatorInfo &info(orv_operator_t op) { return kOperators[op - orv_op_Normal]; }

bool arity_ok(orv_operator_t op, std::size_t count) {
  const OperatorInfo &i = info(op);
  if (count < i.min_args || count > i.max_args) return false;
  if (op == orv_op_Beta) return count == 2 || count == 4;
  if (op == orv_op_NoisyOR) return count % 2 == 0;
  return true;
}

int node_type(const orv_node_s *n) {
  if (n->is_discrete()) {
    switch (n->subtype) {
      case orv_subtype_label: return kTypeLabel;
      case orv_subtype_boolean: return kTypeBoolean;
      default: return kTypeNumeric;
    }
  }
  if (n->category == orv_category_instance) return kTypeUnknown;
  return kTypeNumeric;  // continuous, utility and real-valued function nodes
}

bool accepts(int type, int wanted) { return type == wanted || type == kTypeUnknown; }
bool compatible(int a, int b) { return a == b || a == kTypeUnknown || b == kTypeUnknown; }

// Distinct nodes mentioned by e; sets `nested` when e contains "probability".
void collect_nodes(const orv_expression_s *e, Vector<orv_node_s *> &nodes, bool &nested) {
  if (e->op == orv_op_node) {
    for (orv_node_s *n : nodes)
      if (n == e->node) return;
    nodes.push_back(e->node);
    return;
  }
  if (!e->is_composite()) return;
  if (e->op == orv_op_probability) nested = true;
  for (std::size_t i = 0; i < e->operand_count(); ++i) collect_nodes(e->operands[i], nodes, nested);
}

// Type assignment: checks the operands of op and returns the result type.
int _orv_assign_types(orv_operator_t op, orv_expression_s *const *args, std::size_t count) {
  const auto all = [&](int wanted) {
    for (std::size_t i = 0; i < count; ++i)
      if (!accepts(args[i]->type, wanted)) return false;
    return true;
  };
  const auto require = [](bool ok) {
    if (!ok) fail(orv_error_invalid_expression);
  };
  if (op <= orv_op_Distribution) {
    require(all(kTypeNumeric));
    return kTypeDistribution;
  }
  if (op <= orv_op_aggregate) return kTypeDistribution;
  switch (op) {
    case orv_op_probability: {
      Vector<orv_node_s *> nodes;
      bool nested = false;
      collect_nodes(args[0], nodes, nested);
      require(nodes.size() == 1 && nodes[0]->is_discrete() && !nested);
      return kTypeNumeric;
    }
    case orv_op_variance:
    case orv_op_quantile: return kTypeNumeric;
    case orv_op_if: {
      require(accepts(args[0]->type, kTypeBoolean));
      const int a = args[1]->type, b = args[2]->type;
      if (compatible(a, b)) return a == kTypeUnknown ? b : a;
      // A number is a degenerate distribution.
      if ((a == kTypeNumeric && b == kTypeDistribution) || (a == kTypeDistribution && b == kTypeNumeric))
        return kTypeDistribution;
      fail(orv_error_invalid_expression);
    }
    case orv_op_and:
    case orv_op_or:
    case orv_op_not: require(all(kTypeBoolean)); return kTypeBoolean;
    case orv_op_state_index:
      require(args[0]->op == orv_op_node && args[0]->node->is_discrete());
      return kTypeNumeric;
    case orv_op_equals:
    case orv_op_not_equals: require(compatible(args[0]->type, args[1]->type)); return kTypeBoolean;
    case orv_op_less_than:
    case orv_op_greater_than:
    case orv_op_less_than_or_equals:
    case orv_op_greater_than_or_equals: require(all(kTypeNumeric)); return kTypeBoolean;
    default: require(all(kTypeNumeric)); return kTypeNumeric;  // min..mod, arithmetic
  }
}

}  // namespace

bool is_expression(const orv_expression_s *e) { return e && e->tag == Tag::expression; }

const char *operator_text(orv_operator_t op) {
  if (op < orv_op_Normal || op > orv_op_greater_than_or_equals) return nullptr;
  return info(op).text;
}

orv_operator_t operator_from_name(const char *name) {
  for (int op = orv_op_Normal; op <= orv_op_not; ++op)
    if (std::strcmp(kOperators[op - orv_op_Normal].text, name) == 0) return static_cast<orv_operator_t>(op);
  return orv_op_error;
}

orv_expression_s *make_number(double value) {
  orv_expression_s *e = make<orv_expression_s>(orv_op_number);
  e->number = value;
  e->type = kTypeNumeric;
  return e;
}

orv_expression_s *make_boolean(int value) {
  orv_expression_s *e = make<orv_expression_s>(orv_op_boolean);
  e->boolean = value != 0;
  e->type = kTypeBoolean;
  return e;
}

orv_expression_s *make_label(const char *text) {
  Owned<orv_expression_s> e(make<orv_expression_s>(orv_op_label));
  e->label.assign(text);
  e->type = kTypeLabel;
  return e.release();
}

orv_expression_s *make_node(orv_node_s *node) {
  orv_expression_s *e = make<orv_expression_s>(orv_op_node);
  e->node = node;
  e->type = node_type(node);
  return e;
}

orv_expression_s *make_composite(orv_operator_t op, orv_expression_s *const *operands,
                                 std::size_t count) {
  if (!arity_ok(op, count)) fail(orv_error_invalid_expression);
  const int type = _orv_assign_types(op, operands, count);
  Owned<orv_expression_s> e(make<orv_expression_s>(op));
  e->operands.reserve(count + 1);
  e->operands.assign(operands, operands + count);
  e->operands.push_back(nullptr);
  e->type = type;
  for (std::size_t i = 0; i < count; ++i) {
    ++operands[i]->references;
    e->height = std::max(e->height, size_add(operands[i]->height, 1));
  }
  return e.release();
}

orv_expression_s *clone_expression(const orv_expression_s *e, ExpressionNodeMap map, const void *context) {
  switch (e->op) {
    case orv_op_number: return make_number(e->number);
    case orv_op_boolean: return make_boolean(e->boolean);
    case orv_op_label: return make_label(e->label.c_str());
    case orv_op_node: return make_node(map ? map(e->node, context) : e->node);
    default: break;
  }
  Vector<orv_expression_s *> copies;
  copies.reserve(e->operand_count());
  try {
    for (std::size_t i = 0; i < e->operand_count(); ++i) copies.push_back(clone_expression(e->operands[i], map, context));
    return make_composite(e->op, copies.data(), copies.size());
  } catch (...) {
    for (orv_expression_s *c : copies) delete_expression(c);
    throw;
  }
}

void hold_expression(orv_expression_s *e) noexcept {
  if (e) ++e->references;
}

void release_expression(orv_expression_s *e) noexcept {
  if (!e) return;
  --e->references;
  delete_expression(e);
}

void delete_expression(orv_expression_s *e) noexcept {
  if (!e || e->references != 0) return;
  if (e->is_composite()) {
    for (std::size_t i = 0; i < e->operand_count(); ++i) {
      orv_expression_s *operand = e->operands[i];
      --operand->references;
      delete_expression(operand);
    }
  }
  destroy(e);
}

}  // namespace orv
