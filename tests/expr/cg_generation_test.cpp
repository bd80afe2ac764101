// A Normal with regression terms as the model of a continuous node generates
// its CG table per configuration of the model nodes (sampled interval
// parents mix); non-linear means and bad variances fail with a log line; a
// failed allocation anywhere in domain-wide generation leaves every table.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

namespace {

const char *kNet = R"(net {}
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
  orv_domain_t d = orv_net_parse_domain(kNet, nullptr, nullptr);
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
  const auto last = orv::test::expect_no_memory_sweep("generate", [&] { return orv_domain_generate_tables(d); }, [&] {
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
  const std::string text = orv::test::take_text(orv_domain_to_net_string(d));
  EXPECT_CONTAINS(text, "normal ( 3 + 0.25 * X, 1.25 )");
  orv_domain_t again = orv_net_parse_domain(text.c_str(), nullptr, nullptr);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(orv::test::take_text(orv_domain_to_net_string(again)), text);
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
    const std::string log = orv::test::capture_log(
        d, [&] { EXPECT_EQ(orv_node_generate_table(y), orv_error_invalid_expression) << c.expression; });
    EXPECT_EQ(cg_of(y, x), good) << c.expression;
    EXPECT_EQ(log.substr(0, log.find('\n') + 1),
              std::string("Table generation for Y failed at configuration (D = 0, I = 0): ") + c.reason + "\n");
  }
  orv_domain_delete(d);
}

}  // namespace
