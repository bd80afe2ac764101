// Distribution values (closed-form CDFs, incomplete gamma and beta against
// quadrature, integer families, aggregates, truncation, partitions, invalid
// parameters) and evaluation of parsed expressions: every operator against
// independent values, node leaves, "if" evaluating only its branch, type failures.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "expr/distribution.h"
#include "expr/evaluate.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"

namespace orv {
namespace {

const double kInf = std::numeric_limits<double>::infinity();

Distribution make(orv_operator_t op, std::vector<double> args) { return make_distribution(op, args.data(), args.size()); }

double cdf(const Distribution &d, double x) { return interval_mass(d, -kInf, x); }

// Composite Simpson rule on [a, b].
double simpson(const std::function<double(double)> &f, double a, double b, int n = 200000) {
  const double h = (b - a) / n;
  double s = f(a) + f(b);
  for (int i = 1; i < n; ++i) s += f(a + i * h) * (i % 2 ? 4.0 : 2.0);
  return s * h / 3.0;
}

// `run` must fail with an invalid_expression evaluation error and a reason.
template <class Run>
void expect_invalid(Run run, const std::string &what) {
  try {
    run();
    ADD_FAILURE() << what << " was accepted";
  } catch (const EvaluationError &e) {
    EXPECT_EQ(e.code, orv_error_invalid_expression) << what;
    EXPECT_NE(e.reason, nullptr) << what;
  }
}

TEST(Distributions, ClosedFormCdfsAtChosenPoints) {
  struct Case {
    orv_operator_t op;
    std::vector<double> args;
    double x, expected;
  } cases[] = {
      {orv_op_Normal, {1.0, 4.0}, 2.0, 0.691462461274013},  // Phi(0.5)
      {orv_op_LogNormal, {0.0, 1.0, 2.0}, 2.0 + std::exp(1.0), 0.841344746068543},
      {orv_op_Exponential, {2.0}, 1.0, 1.0 - std::exp(-2.0)},
      {orv_op_Exponential, {2.0, 3.0}, 4.0, 1.0 - std::exp(-2.0)},
      {orv_op_Weibull, {2.0, 3.0}, 3.0, 1.0 - std::exp(-1.0)},
      {orv_op_Uniform, {-1.0, 3.0}, 0.0, 0.25},
      {orv_op_Triangular, {0.0, 1.0, 4.0}, 0.5, 0.0625},
      {orv_op_Triangular, {0.0, 1.0, 4.0}, 3.0, 1.0 - 1.0 / 12.0},
      {orv_op_Beta, {1.0, 1.0, 2.0, 6.0}, 3.0, 0.25},
      {orv_op_Gamma, {1.0, 2.0}, 2.0, 1.0 - std::exp(-1.0)},  // exponential with mean 2
      {orv_op_PERT, {0.0, 0.5, 1.0}, 0.3, 0.16308},  // Beta(3, 3): binomial tail of 5 trials
  };
  for (const Case &c : cases) EXPECT_NEAR(cdf(make(c.op, c.args), c.x), c.expected, 1e-14) << c.op;
}

TEST(Distributions, IncompleteFunctionCasesMatchQuadrature) {
  struct Case {
    orv_operator_t op;
    std::vector<double> args;
    double from, x;
    std::function<double(double)> density;
  } cases[] = {
      {orv_op_Gamma, {3.5, 2.0}, 0.0, 4.0,
       [](double t) { return std::pow(t, 2.5) * std::exp(-t / 2.0) / (std::tgamma(3.5) * std::pow(2.0, 3.5)); }},
      {orv_op_Gamma, {3.5, 2.0, 1.0}, 1.0, 19.0,
       [](double t) { return std::pow(t - 1, 2.5) * std::exp(-(t - 1) / 2.0) / (std::tgamma(3.5) * std::pow(2.0, 3.5)); }},
      {orv_op_Beta, {2.5, 3.5}, 0.0, 0.3,
       [](double t) { return std::pow(t, 1.5) * std::pow(1 - t, 2.5) / std::beta(2.5, 3.5); }},
      {orv_op_Beta, {2.5, 3.5}, 0.0, 0.8,
       [](double t) { return std::pow(t, 1.5) * std::pow(1 - t, 2.5) / std::beta(2.5, 3.5); }},
      {orv_op_PERT, {0.0, 3.0, 10.0}, 0.0, 6.0,  // Beta(2.2, 3.8) on [0, 10]
       [](double t) { return std::pow(t / 10, 1.2) * std::pow(1 - t / 10, 2.8) / (10 * std::beta(2.2, 3.8)); }},
  };
  for (const Case &c : cases) {
    const double expected = simpson(c.density, c.from, c.x);
    EXPECT_NEAR(cdf(make(c.op, c.args), c.x) / expected, 1.0, 1e-12) << c.op << " at " << c.x;
  }
}

TEST(Distributions, IntegerFamiliesAndAggregate) {
  struct Case {
    orv_operator_t op;
    std::vector<double> args;
    double k, pmf;
  } cases[] = {
      {orv_op_Binomial, {5, 0.3}, 2, 10 * 0.09 * 0.343},
      {orv_op_Poisson, {2.0}, 3, std::exp(-2.0) * 8 / 6},
      {orv_op_NegativeBinomial, {3, 0.4}, 2, 6 * 0.064 * 0.36},
      {orv_op_Geometric, {0.25}, 3, 0.25 * 0.75 * 0.75 * 0.75},
  };
  for (const Case &c : cases) {
    const Distribution d = make(c.op, c.args);
    EXPECT_NEAR(probability_of(d, c.k), c.pmf, 1e-15) << c.op;
    EXPECT_EQ(probability_of(d, c.k + 0.5), 0.0);
    // The closed-form CDF (incomplete functions) equals the summed masses.
    double sum = 0.0;
    for (int k = 0; k <= 4; ++k) sum += probability_of(d, k);
    EXPECT_NEAR(interval_mass(d, 0.0, 4.5), sum, 1e-14) << c.op;
  }
  // Binomial(2, 1/2) copies of a Bernoulli(0.3).
  Distribution s = aggregated(make(orv_op_Binomial, {2, 0.5}), make(orv_op_Binomial, {1, 0.3}));
  prepare(s, 5);
  test::expect_all_near({probability_of(s, 0), probability_of(s, 1), probability_of(s, 2), probability_of(s, 3)},
                        {0.25 + 0.5 * 0.7 + 0.25 * 0.49, 0.5 * 0.3 + 0.25 * 2 * 0.21, 0.25 * 0.09, 0.0}, 1e-15);
  // A fixed count of 3 Poisson(1) copies is Poisson(3).
  Distribution p = aggregated(point_mass(3), make(orv_op_Poisson, {1.0}));
  prepare(p, 10);
  for (int k = 0; k <= 10; ++k) EXPECT_NEAR(probability_of(p, k), probability_of(make(orv_op_Poisson, {3.0}), k), 1e-15);
}

TEST(Distributions, PartitionsOfTheLineSumToOneAndTruncationRenormalises) {
  const double cuts[] = {-kInf, -1.0, 0.0, 0.5, 2.0, 3.0, 7.0, kInf};
  std::vector<Distribution> all = {
      make(orv_op_Normal, {0.5, 2.0}),       make(orv_op_LogNormal, {0.1, 0.5}),
      make(orv_op_Beta, {2.0, 3.0, -1.0, 4.0}), make(orv_op_Gamma, {2.0, 1.5}),
      make(orv_op_Weibull, {1.5, 2.0, -0.5}), make(orv_op_Triangular, {-2.0, 0.0, 5.0}),
      make(orv_op_PERT, {-2.0, 0.0, 5.0, 3.0}), make(orv_op_Binomial, {6, 0.4}),
      make(orv_op_Poisson, {2.5}),            make(orv_op_NegativeBinomial, {2.5, 0.3}),
      make(orv_op_Geometric, {0.4}),          truncated(make(orv_op_Normal, {0.0, 1.0}), -0.5, 2.5),
      truncated(make(orv_op_Poisson, {4.0}), 1.0, 5.0),
  };
  for (const Distribution &d : all) {
    double total = 0.0;
    for (std::size_t i = 0; i + 1 < std::size(cuts); ++i) total += interval_mass(d, cuts[i], cuts[i + 1]);
    EXPECT_NEAR(total, 1.0, 1e-14) << d.family;
  }
  const Distribution t = truncated(make(orv_op_Normal, {0.0, 1.0}), 0.0, kInf);
  EXPECT_NEAR(interval_mass(t, -1.0, 1.0), (0.841344746068543 - 0.5) / 0.5, 1e-14);
  const Distribution q = truncated(make(orv_op_Poisson, {4.0}), 1.0, 5.0);
  const Distribution full = make(orv_op_Poisson, {4.0});
  EXPECT_NEAR(probability_of(q, 5), probability_of(full, 5) / interval_mass(full, 1.0, 6.0), 1e-15);
  EXPECT_EQ(probability_of(q, 0), 0.0);
}

TEST(Distributions, InvalidParametersFail) {
  struct Case {
    orv_operator_t op;
    std::vector<double> args;
  } cases[] = {
      {orv_op_Normal, {0.0, -1.0}},   {orv_op_LogNormal, {0.0, -0.1}}, {orv_op_Beta, {0.0, 1.0}},
      {orv_op_Beta, {1, 1, 2, 2}},    {orv_op_Gamma, {1.0, 0.0}},       {orv_op_Exponential, {-1.0}},
      {orv_op_Uniform, {1.0, 1.0}},   {orv_op_Triangular, {0, 2, 1}},   {orv_op_PERT, {0, 0.5, 1, -1}},
      {orv_op_Binomial, {2.5, 0.5}},  {orv_op_Binomial, {3, 1.5}},      {orv_op_Poisson, {0.0}},
      {orv_op_NegativeBinomial, {1, 0}}, {orv_op_Geometric, {-0.1}},    {orv_op_Distribution, {0.0, 0.0}},
      {orv_op_Normal, {NAN, 1.0}},
  };
  for (const Case &c : cases) expect_invalid([&] { make(c.op, c.args); }, std::to_string(c.op));
  EXPECT_THROW(truncated(make(orv_op_Normal, {0, 1}), 2.0, 1.0), EvaluationError);
  EXPECT_THROW(aggregated(make(orv_op_Normal, {0, 1}), point_mass(1)), EvaluationError);
  const bool present[] = {true, false};
  const double bad[] = {0.5, 2.0};
  EXPECT_THROW(make_noisy_or(present, bad, 2), EvaluationError);
}

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
  test::DomainPtr d = test::new_domain();
  FixedContext context;
  void SetUp() override {
    context.a = test::add_node(d.get(), "A");
    context.l = test::add_node(d.get(), "L");
    ASSERT_EQ(orv_node_set_subtype(context.a, orv_subtype_number), 0);
  }
  Value run(const char *text) {
    orv_expression_t e = orv_domain_string_to_expression(d.get(), text, nullptr, nullptr);
    EXPECT_NE(e, nullptr) << text;
    if (!e) return {};
    Value v = evaluate(e, context);
    orv_expression_delete(e);
    return v;
  }
};

// Numeric results, and booleans as 0 and 1.
TEST_F(Evaluation, NumericAndLogicalOperators) {
  const struct {
    const char *text;
    double expected;
    int type = kTypeNumeric;
  } cases[] = {
      {"-2^2", -4.0},           {"1 + 2 * 3 - 4 / 8", 6.5},  {"2 ^ 3 ^ 2", 512.0},
      {"A * 10 + #A", 21.0},    {"min(3, A, 7)", 2.0},       {"max(3, A, 7)", 7.0},
      {"log(exp(1.5))", 1.5},   {"log2(8) + log10(1000)", 6.0}, {"sin(0.5)", std::sin(0.5)},
      {"cos(0.5)", std::cos(0.5)}, {"tan(0.5)", std::tan(0.5)}, {"sinh(0.5)", std::sinh(0.5)},
      {"cosh(0.5)", std::cosh(0.5)}, {"tanh(0.5)", std::tanh(0.5)}, {"sqrt(A)", std::sqrt(2.0)},
      {"abs(-3.5)", 3.5},       {"floor(-1.5) + ceil(1.2)", 0.0}, {"mod(7, 3)", 1.0},
      {"mod(-1, 3)", 2.0},      {"if(A > 1, 10, 20)", 10.0}, {"if(L == \"low\", 1, 2)", 2.0},
      {"A == 2", 1, kTypeBoolean},   {"A != 2", 0, kTypeBoolean},  {"A < 3", 1, kTypeBoolean},
      {"A > 3", 0, kTypeBoolean},    {"A <= 2", 1, kTypeBoolean},  {"A >= 2.5", 0, kTypeBoolean},
      {"L == \"high\"", 1, kTypeBoolean}, {"L != \"high\"", 0, kTypeBoolean},
      {"and(A == 2, L == \"high\")", 1, kTypeBoolean}, {"and(A == 2, false)", 0, kTypeBoolean},
      {"and()", 1, kTypeBoolean}, {"or(false, A < 0)", 0, kTypeBoolean}, {"or(false, true)", 1, kTypeBoolean},
      {"not(A == 2)", 0, kTypeBoolean}, {"true == true", 1, kTypeBoolean},
  };
  for (const auto &c : cases) {
    const Value v = run(c.text);
    EXPECT_EQ(v.type, c.type) << c.text;
    EXPECT_NEAR(v.type == kTypeBoolean ? double(v.boolean) : v.number, c.expected, 1e-15) << c.text;
  }
}

TEST_F(Evaluation, DistributionsAndFailures) {
  Value v = run("if(A == 2, Normal(A, 4), Poisson(1))");
  ASSERT_EQ(v.type, kTypeDistribution);
  EXPECT_EQ(v.distribution.family, orv_op_Normal);
  EXPECT_NEAR(interval_mass(v.distribution, -INFINITY, 2.0), 0.5, 1e-15);
  // Noisy-or: the inhibitors of the present causes (the last pair is the leak) multiply.
  v = run("NoisyOR(A == 2, 0.25, A == 3, 0.5, true, 0.8)");
  const auto &weights = v.distribution.weights;
  test::expect_all_near(std::vector<double>(weights.begin(), weights.end()), {0.2, 0.8}, 1e-15, "noisy-or");
  v = run("truncate(0, Normal(0, 1))");
  EXPECT_NEAR(interval_mass(v.distribution, -1.0, 0.0), 0.0, 1e-15);
  v = run("aggregate(2, Binomial(1, 0.5))");
  prepare(v.distribution, 3);
  EXPECT_NEAR(probability_of(v.distribution, 1), 0.5, 1e-15);
  // The branch not taken is not evaluated: its invalid parameters do not fail.
  EXPECT_EQ(run("if(A == 2, 1, Normal(0, -1))").number, 1.0);
  for (const char *text : {"Normal(0, -1)", "Binomial(3, A)", "if(A == 1, 1, Uniform(A, A))", "probability(A == 2)",
                           "variance(A)", "quantile(A, 0.5)"}) {
    orv_expression_t e = orv_domain_string_to_expression(d.get(), text, nullptr, nullptr);
    ASSERT_NE(e, nullptr) << text;
    expect_invalid([&] { evaluate(e, context); }, text);
    orv_expression_delete(e);
  }
}

}  // namespace
}  // namespace orv
