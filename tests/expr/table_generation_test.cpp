// Tables generated from models equal hand-computed tables: an interval node
// from a sampled interval parent, a numbered node per model configuration, a
// boolean node and a utility node from a label parent; invalid parameters
// fail with a log line and leave the table, as does every failed allocation.
// Through the public functions: compilation generates what is not up to date,
// changes that a model depends on mark it again, a domain-wide generation is
// all or nothing, and quantiles of numbered and continuous nodes come from
// the beliefs. A Normal with regression terms as the model of a continuous
// node gives its CG table per configuration of the model nodes (sampled
// interval parents mix); non-linear means and bad variances fail alike.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "expr/table_generation.h"
#include "runtime/error.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "tables/table.h"

namespace orv {
namespace {

const char *kNet = R"(net {}
node P { states = ("a" "b"); subtype = interval; state_values = (0 1 2); }
node C { states = ("x" "y" "z"); subtype = interval; state_values = (-infinity 0.5 1.5 infinity); }
node N { states = ("1" "2"); subtype = number; state_values = (1 2); }
node K { states = ("0" "1" "2"); subtype = number; state_values = (0 1 2); }
node J { states = ("0" "1" "2"); subtype = number; state_values = (0 1 2); }
node L { states = ("lo" "hi"); }
node B { states = ("false" "true"); subtype = boolean; }
utility U {}
potential (P) { data = (0.5 0.5); }
potential (C | P) { model_nodes = (); samples_per_interval = 4; model_data = ( Normal(P, 0.25) ); }
potential (N) { data = (0.5 0.5); }
potential (K | N) { model_nodes = (N); model_data = ( Binomial(N, 0.5), Distribution(1, 1, 2) ); }
potential (J | K) { model_nodes = (); model_data = ( Binomial(2, 0.25) ); }
potential (L) { data = (0.5 0.5); }
potential (B | L) { model_nodes = (); model_data = ( L == "hi" ); }
potential (U | L) { model_nodes = (); model_data = ( if(L == "hi", 10, -5) ); }
)";

double phi(double z) { return 0.5 * std::erfc(-z / std::sqrt(2.0)); }

// The table's entries; empty while the node has no table.
std::vector<double> data_of(orv_node_t n) {
  if (!n->table) return {};
  return {n->table->data, n->table->data + n->table->size};
}

// Generates inside the entry-point guard, as the public functions do.
orv_status_t generate(orv_node_t n) { return guarded_status([&] { generate_table(n); }); }

struct Generation : ::testing::Test {
  orv_domain_t d = orv_net_parse_domain(kNet, nullptr, nullptr);
  void SetUp() override { ASSERT_NE(d, nullptr); }
  void TearDown() override { orv_domain_delete(d); }
  orv_node_t node(const char *name) { return orv_domain_get_node_by_name(d, name); }
  // Sets expression i of the named node's model.
  orv_status_t set(const char *name, size_t i, const char *text) {
    return orv_model_set_expression_from_string(orv_node_get_model(node(name)), i, text, nullptr, nullptr);
  }
};

TEST_F(Generation, TablesEqualHandComputedOnes) {
  std::vector<double> c;  // Normal(mu, 0.25) at the sample points of each parent interval
  for (double lo : {0.0, 1.0}) {
    double x = 0, y = 0, z = 0;
    for (int k = 0; k < 4; ++k) {
      const double mu = lo + (k + 0.5) / 4;
      x += phi((0.5 - mu) / 0.5) / 4;
      y += (phi((1.5 - mu) / 0.5) - phi((0.5 - mu) / 0.5)) / 4;
      z += (1 - phi((1.5 - mu) / 0.5)) / 4;
    }
    c.insert(c.end(), {x, y, z});
  }
  struct Case {
    const char *name;
    std::vector<double> expected;
  } cases[] = {
      {"C", c},
      {"K", {0.5, 0.5, 0.0, 0.25, 0.25, 0.5}},
      {"B", {1.0, 0.0, 0.0, 1.0}},
      {"U", {-5.0, 10.0}},
  };
  for (const Case &k : cases) {
    ASSERT_EQ(generate(node(k.name)), orv_error_none) << k.name;
    test::expect_all_near(data_of(node(k.name)), k.expected, 1e-14, k.name);
  }
}

TEST_F(Generation, InvalidParametersFailWithALogLineAndKeepTheTable) {
  orv_node_t c = node("C");
  ASSERT_EQ(generate(c), orv_error_none);
  const std::vector<double> before = data_of(c);
  const std::string log = test::capture_log(d, [&] {
    for (const char *text : {"Normal(P, -1)", "Binomial(3, 1.5)", "Uniform(P, P)", "Distribution(1, 2)", "P < 1"}) {
      ASSERT_EQ(orv_model_set_expression_from_string(c->model, 0, text, nullptr, nullptr), orv_error_none) << text;
      EXPECT_EQ(generate(c), orv_error_invalid_expression) << text;
      EXPECT_EQ(data_of(c), before) << text;
    }
  });
  EXPECT_EQ(log.substr(0, log.find('\n') + 1),
            "Table generation for C failed at configuration (P = 0): negative variance\n");
}

// An aggregate whose convolution would run to a million values fails with a
// log line naming the node and configuration; a moderate one succeeds.
TEST(GenerationLimits, HugeAggregateFailsCleanly) {
  orv_domain_t d = orv_net_parse_domain(R"(net {}
node L { states = ("lo" "hi"); }
node H { states = ("0" "top"); subtype = number; state_values = (0 1000000); }
potential (L) { data = (0.5 0.5); }
potential (H | L) { model_nodes = (L); model_data = ( aggregate(Poisson(2), Poisson(1)), Distribution(1, 1) ); }
)",
                                        nullptr, nullptr);
  ASSERT_NE(d, nullptr);
  orv_node_t h = orv_domain_get_node_by_name(d, "H");
  EXPECT_EQ(test::capture_log(d, [&] { EXPECT_EQ(orv_node_generate_table(h), orv_error_invalid_expression); }),
            "Table generation for H failed at configuration (L = 0): the aggregate is too large to convolve\n");

  ASSERT_EQ(orv_node_set_state_value(h, 1, 2000), orv_error_none);
  ASSERT_EQ(orv_node_generate_table(h), orv_error_none);
  EXPECT_NEAR(data_of(h)[0], 1.0, 1e-15);  // P(sum = 2000) is negligible beside P(0)
  orv_domain_delete(d);
}

TEST_F(Generation, EveryFailedAllocationLeavesTheTable) {
  // C has no table before (a failure must not leave one); K has one.
  ASSERT_EQ(orv_node_get_table(node("K")) != nullptr, true);
  for (const char *name : {"C", "K"}) {
    orv_node_t n = node(name);
    const std::vector<double> before = data_of(n);
    const auto last = test::expect_no_memory_sweep(name, [&] { return generate(n); },
                                                   [&] { EXPECT_EQ(data_of(n), before); });
    EXPECT_EQ(last.result, orv_error_none);
    EXPECT_GT(last.n, 0u);
  }
}

TEST_F(Generation, CompilationGeneratesAndChangesMarkModelsAgain) {
  orv_model_t k = orv_node_get_model(node("K")), j = orv_node_get_model(node("J"));
  EXPECT_EQ(orv_model_table_is_generated(k), 0);
  ASSERT_EQ(orv_domain_compile(d), orv_error_none);
  EXPECT_EQ(orv_model_table_is_generated(k), 1);
  EXPECT_EQ(orv_model_table_is_generated(j), 1);
  const std::vector<double> expected = {0.5, 0.5, 0.0, 0.25, 0.25, 0.5};
  EXPECT_EQ(data_of(node("K")), expected);
  // P(K) = (0.25, 0.375, 0.375): the median of K is 1.
  EXPECT_DOUBLE_EQ(orv_node_get_quantile(node("K"), 0.5), 1.0);

  // A new state value of the parent marks the child's model, not the other.
  ASSERT_EQ(orv_node_set_state_value(node("N"), 1, 0.0), orv_error_none);
  EXPECT_EQ(orv_model_table_is_generated(k), 0);
  EXPECT_EQ(orv_model_table_is_generated(j), 1);
  ASSERT_EQ(orv_domain_generate_tables(d), orv_error_none);
  EXPECT_EQ(orv_model_table_is_generated(k), 1);
  EXPECT_EQ(data_of(node("K"))[3], 0.25);  // Distribution(1, 1, 2) ignores N's values
  ASSERT_EQ(set("K", 1, "Binomial(2, 1)"), orv_error_none);
  EXPECT_EQ(orv_model_table_is_generated(k), 0);
  ASSERT_EQ(orv_node_generate_table(node("K")), orv_error_none);
  EXPECT_EQ(data_of(node("K"))[5], 1.0);
}

TEST_F(Generation, DomainGenerationIsAllOrNothing) {
  ASSERT_EQ(orv_domain_generate_tables(d), orv_error_none);
  const std::vector<double> k = data_of(node("K")), j = data_of(node("J"));
  orv_model_t model_k = orv_node_get_model(node("K"));
  ASSERT_EQ(set("K", 0, "Binomial(2, 0.75)"), orv_error_none);
  ASSERT_EQ(set("J", 0, "Binomial(2, 1.5)"), orv_error_none);
  EXPECT_EQ(orv_domain_generate_tables(d), orv_error_invalid_expression);
  EXPECT_EQ(data_of(node("K")), k);  // generated before J failed, then put back
  EXPECT_EQ(data_of(node("J")), j);
  EXPECT_EQ(orv_model_table_is_generated(model_k), 0);
  EXPECT_EQ(orv_domain_compile(d), orv_error_invalid_expression);

  ASSERT_EQ(set("J", 0, "Binomial(2, 0.5)"), orv_error_none);
  const auto run = test::expect_no_memory_sweep("generate", [&] { return orv_domain_generate_tables(d); }, [&] {
    EXPECT_EQ(data_of(node("K")), k);
    EXPECT_EQ(data_of(node("J")), j);
  });
  EXPECT_EQ(run.result, orv_error_none);
  EXPECT_NE(data_of(node("K")), k);
}

TEST_F(Generation, RefusesBadArguments) {
  EXPECT_EQ(orv_node_generate_table(nullptr), orv_error_usage);
  EXPECT_EQ(orv_node_generate_table(node("N")), orv_error_usage);  // no model
  EXPECT_EQ(orv_domain_generate_tables(nullptr), orv_error_usage);
  EXPECT_EQ(orv_model_table_is_generated(nullptr), 0);
  EXPECT_EQ(orv_node_get_value(node("K")), -1.0);  // not a real-valued function node
  EXPECT_EQ(orv_error_code(), orv_error_usage);
  EXPECT_EQ(orv_node_get_quantile(node("K"), 1.0), -1.0);
  EXPECT_EQ(orv_node_get_quantile(node("K"), 0.5), -1.0);  // not compiled
  EXPECT_EQ(orv_error_code(), orv_error_not_compiled);
}

// A model whose table does not exist yet when the domain is triangulated
// (by a heuristic or an order) still reaches the compiled forest.
TEST(GenerationApiTriangulated, ModelTablesReachAForestBuiltBeforeThem) {
  for (int by_order = 0; by_order < 2; ++by_order) {
    orv_domain_t d = orv_net_parse_domain(R"(net {}
node A { states = ("a" "b"); }
node B { states = ("x" "y" "z"); }
potential (A) { data = (0.3 0.7); }
potential (B | A) { model_nodes = (A); model_data = ( Distribution(1, 2, 3), Distribution(3, 2, 1) ); }
)", nullptr, nullptr);
    ASSERT_NE(d, nullptr);
    orv_node_t order[] = {orv_domain_get_node_by_name(d, "B"), orv_domain_get_node_by_name(d, "A"), nullptr};
    ASSERT_EQ(by_order ? orv_domain_triangulate_with_order(d, order) : orv_domain_triangulate(d, orv_tm_fill_in_size),
              orv_error_none);
    ASSERT_EQ(orv_domain_compile(d), orv_error_none);
    EXPECT_NEAR(orv_node_get_belief(order[0], 0), 0.3 / 6 + 0.7 * 3 / 6, 1e-15) << by_order;
    orv_domain_delete(d);
  }
}

TEST(GenerationApiCg, QuantileOfAContinuousNodeInvertsItsMixture) {
  orv_domain_t d = orv_net_parse_domain(R"(net {}
node A { states = ("a" "b"); }
continuous node X {}
potential (A) { data = (0.25 0.75); }
potential (X | A) { data = ( normal(0, 1) normal(4, 4) ); }
)",
                                        nullptr, nullptr);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(orv_domain_compile(d), orv_error_none);
  orv_node_t x = orv_domain_get_node_by_name(d, "X");
  for (double p : {0.05, 0.5, 0.9}) {
    const double q = orv_node_get_quantile(x, p);
    const double cdf = 0.25 * 0.5 * std::erfc(-q / std::sqrt(2.0)) + 0.75 * 0.5 * std::erfc(-(q - 4) / std::sqrt(8.0));
    EXPECT_NEAR(cdf, p, 1e-12) << p;
  }
  orv_domain_delete(d);
}

// D, an interval node I and X as parents of the continuous Y.
const char *kCgNet = R"(net {}
node D { states = ("a" "b"); }
node I { states = ("i0" "i1"); subtype = interval; state_values = (0 2 4); }
node K { states = ("k0" "k1"); }
continuous node X {}
continuous node Y {}
potential (D) { data = (0.5 0.5); }
potential (I) { data = (0.5 0.5); }
potential (K | D) { model_nodes = (D); model_data = ( Distribution(1, 3), Distribution(1, 1) ); }
potential (X) { data = normal(1, 1); }
potential (Y | D I X) {}
)";

// NET files carry no models for CG nodes: Y's is made through the API.
orv_domain_t parse_with_model() {
  orv_domain_t d = orv_net_parse_domain(kCgNet, nullptr, nullptr);
  orv_node_t y = orv_domain_get_node_by_name(d, "Y");
  orv_node_t model_nodes[] = {orv_domain_get_node_by_name(d, "D"), nullptr};
  orv_model_t m = orv_node_new_model(y, model_nodes);
  orv_model_set_number_of_samples_per_interval(m, 2);
  orv_model_set_expression_from_string(m, 0, "Normal(2 * X - 1, 0.5)", nullptr, nullptr);
  orv_model_set_expression_from_string(m, 1, "Normal(if(I > 2, X / 4, -X) + I, 1)", nullptr, nullptr);
  return d;
}

// Intercept, coefficient on X and variance of Y per configuration of (D, I).
std::vector<double> cg_of(orv_node_t y, orv_node_t x) {
  std::vector<double> out;
  for (size_t i = 0; i < 4; ++i)
    out.insert(out.end(), {orv_node_get_alpha(y, i), orv_node_get_beta(y, x, i), orv_node_get_gamma(y, i)});
  return out;
}

TEST(CgGeneration, NormalWithRegressionGivesTheCgTable) {
  orv_domain_t d = parse_with_model();
  orv_node_t x = orv_domain_get_node_by_name(d, "X"), y = orv_domain_get_node_by_name(d, "Y");
  orv_node_t k = orv_domain_get_node_by_name(d, "K");
  const std::vector<double> y0 = cg_of(y, x);
  const double k0 = orv_table_get_data(orv_node_get_table(k))[0];

  // Every failed allocation of the domain-wide generation leaves both tables.
  const auto last = test::expect_no_memory_sweep("generate", [&] { return orv_domain_generate_tables(d); }, [&] {
    EXPECT_EQ(cg_of(y, x), y0);
    EXPECT_EQ(orv_table_get_data(orv_node_get_table(k))[0], k0);
  });
  ASSERT_EQ(last.result, orv_error_none);
  // D = a: 2X - 1 everywhere. D = b: I is sampled at 0.5, 1.5 and 2.5, 3.5;
  // the intercept I averages to 1 and 3 and its spread (0.25) widens the variance.
  EXPECT_EQ(cg_of(y, x), (std::vector<double>{-1, 2, 0.5, -1, 2, 0.5, 1, -1, 1.25, 3, 0.25, 1.25}));
  EXPECT_EQ(orv_table_get_data(orv_node_get_table(k))[0], 0.25);
  ASSERT_EQ(orv_domain_compile(d), orv_error_none);
  EXPECT_NEAR(orv_node_get_mean(y), 0.5 * 1 + 0.25 * 0 + 0.25 * 3.25, 1e-12);

  // The generated CG table is written in place of the model and reads back
  // to the same text.
  const std::string text = test::take_text(orv_domain_to_net_string(d));
  EXPECT_CONTAINS(text, "normal ( 3 + 0.25 * X, 1.25 )");
  orv_domain_t again = orv_net_parse_domain(text.c_str(), nullptr, nullptr);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(test::take_text(orv_domain_to_net_string(again)), text);
  orv_domain_delete(again);
  orv_domain_delete(d);
}

TEST(CgGeneration, BadMeansAndVariancesFailAndKeepTheTable) {
  orv_domain_t d = parse_with_model();
  orv_node_t x = orv_domain_get_node_by_name(d, "X"), y = orv_domain_get_node_by_name(d, "Y");
  ASSERT_EQ(orv_node_generate_table(y), orv_error_none);
  const std::vector<double> good = cg_of(y, x);
  orv_model_t m = orv_node_get_model(y);
  const struct {
    const char *expression, *reason;
  } cases[] = {
      {"Normal(X * X, 1)", "the mean is not linear in the continuous parents"},
      {"Normal(X, -1)", "negative variance"},
      {"Normal(1, X)", "the variance must not depend on continuous parents"},
      {"Poisson(2)", "a continuous node needs Normal(mean, variance)"},
  };
  for (const auto &c : cases) {
    ASSERT_EQ(orv_model_set_expression_from_string(m, 0, c.expression, nullptr, nullptr), orv_error_none);
    const std::string log = test::capture_log(
        d, [&] { EXPECT_EQ(orv_node_generate_table(y), orv_error_invalid_expression) << c.expression; });
    EXPECT_EQ(cg_of(y, x), good) << c.expression;
    EXPECT_EQ(log.substr(0, log.find('\n') + 1),
              std::string("Table generation for Y failed at configuration (D = 0, I = 0): ") + c.reason + "\n");
  }
  orv_domain_delete(d);
}

}  // namespace
}  // namespace orv
