// Evaluation of parsed expressions: every numeric, logical and comparison
// operator against values computed independently, node leaves from a
// context, "if" evaluating only the branch taken, and type failures.
#include <gtest/gtest.h>

#include <cmath>

#include "expr/evaluate.h"

namespace orv {
namespace {

// A: the number 2 in state 1; L: the label "high".
struct FixedContext : EvaluationContext {
  orv_node_t a, l;
  Value node_value(orv_node_s *n) override {
    Value v;
    if (n == a) {
      v.type = kTypeNumeric;
      v.number = 2.0;
    } else {
      v.type = kTypeLabel;
      v.label = "high";
    }
    return v;
  }
  std::size_t state_index(orv_node_s *) override { return 1; }
};

struct Evaluation : ::testing::Test {
  orv_domain_t d = orv_new_domain();
  FixedContext context;
  void SetUp() override {
    context.a = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
    context.l = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
    ASSERT_EQ(orv_node_set_name(context.a, "A"), 0);
    ASSERT_EQ(orv_node_set_name(context.l, "L"), 0);
    ASSERT_EQ(orv_node_set_subtype(context.a, orv_subtype_number), 0);
  }
  void TearDown() override { orv_domain_delete(d); }
  Value run(const char *text) {
    orv_expression_t e = orv_domain_string_to_expression(d, text, nullptr, nullptr);
    EXPECT_NE(e, nullptr) << text;
    if (!e) return {};
    Value v = evaluate(e, context);
    orv_expression_delete(e);
    return v;
  }
};

TEST_F(Evaluation, NumericOperators) {
  struct Case {
    const char *text;
    double expected;
  } cases[] = {
      {"-2^2", -4.0},           {"1 + 2 * 3 - 4 / 8", 6.5},  {"2 ^ 3 ^ 2", 512.0},
      {"A * 10 + #A", 21.0},    {"min(3, A, 7)", 2.0},       {"max(3, A, 7)", 7.0},
      {"log(exp(1.5))", 1.5},   {"log2(8) + log10(1000)", 6.0}, {"sin(0.5)", std::sin(0.5)},
      {"cos(0.5)", std::cos(0.5)}, {"tan(0.5)", std::tan(0.5)}, {"sinh(0.5)", std::sinh(0.5)},
      {"cosh(0.5)", std::cosh(0.5)}, {"tanh(0.5)", std::tanh(0.5)}, {"sqrt(A)", std::sqrt(2.0)},
      {"abs(-3.5)", 3.5},       {"floor(-1.5) + ceil(1.2)", 0.0}, {"mod(7, 3)", 1.0},
      {"mod(-1, 3)", 2.0},      {"if(A > 1, 10, 20)", 10.0}, {"if(L == \"low\", 1, 2)", 2.0},
  };
  for (const Case &c : cases) {
    const Value v = run(c.text);
    EXPECT_EQ(v.type, kTypeNumeric) << c.text;
    EXPECT_NEAR(v.number, c.expected, 1e-15) << c.text;
  }
}

TEST_F(Evaluation, LogicalOperatorsAndComparisons) {
  struct Case {
    const char *text;
    bool expected;
  } cases[] = {
      {"A == 2", true},   {"A != 2", false},  {"A < 3", true},    {"A > 3", false},
      {"A <= 2", true},   {"A >= 2.5", false}, {"L == \"high\"", true}, {"L != \"high\"", false},
      {"and(A == 2, L == \"high\")", true}, {"and(A == 2, false)", false}, {"and()", true},
      {"or(false, A < 0)", false}, {"or(false, true)", true}, {"not(A == 2)", false},
      {"true == true", true},
  };
  for (const Case &c : cases) {
    const Value v = run(c.text);
    EXPECT_EQ(v.type, kTypeBoolean) << c.text;
    EXPECT_EQ(v.boolean, c.expected) << c.text;
  }
}

TEST_F(Evaluation, DistributionsAndFailures) {
  Value v = run("if(A == 2, Normal(A, 4), Poisson(1))");
  ASSERT_EQ(v.type, kTypeDistribution);
  EXPECT_EQ(v.distribution.family, orv_op_Normal);
  EXPECT_NEAR(interval_mass(v.distribution, -INFINITY, 2.0), 0.5, 1e-15);
  v = run("NoisyOR(A == 2, 0.25, A == 3, 0.5, true, 0.8)");
  EXPECT_NEAR(v.distribution.weights[0], 0.2, 1e-15);
  v = run("truncate(0, Normal(0, 1))");
  EXPECT_NEAR(interval_mass(v.distribution, -1.0, 0.0), 0.0, 1e-15);
  v = run("aggregate(2, Binomial(1, 0.5))");
  prepare(v.distribution, 3);
  EXPECT_NEAR(probability_of(v.distribution, 1), 0.5, 1e-15);
  // The branch not taken is not evaluated: its invalid parameters do not fail.
  EXPECT_EQ(run("if(A == 2, 1, Normal(0, -1))").number, 1.0);
  for (const char *text : {"Normal(0, -1)", "Binomial(3, A)", "if(A == 1, 1, Uniform(A, A))", "probability(A == 2)",
                           "variance(A)", "quantile(A, 0.5)"}) {
    orv_expression_t e = orv_domain_string_to_expression(d, text, nullptr, nullptr);
    ASSERT_NE(e, nullptr) << text;
    try {
      evaluate(e, context);
      ADD_FAILURE() << text << " evaluated";
    } catch (const EvaluationError &error) {
      EXPECT_EQ(error.code, orv_error_invalid_expression) << text;
    }
    orv_expression_delete(e);
  }
}

}  // namespace
}  // namespace orv
