// Tables generated from models equal hand-computed tables: an interval node
// from a sampled interval parent, a numbered node per model configuration, a
// boolean node and a utility node from a label parent; invalid parameters
// fail with a log line and leave the table, as does every failed allocation.
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
node L { states = ("lo" "hi"); }
node B { states = ("false" "true"); subtype = boolean; }
utility U {}
potential (P) { data = (0.5 0.5); }
potential (C | P) { model_nodes = (); samples_per_interval = 4; model_data = ( Normal(P, 0.25) ); }
potential (N) { data = (0.5 0.5); }
potential (K | N) { model_nodes = (N); model_data = ( Binomial(N, 0.5), Distribution(1, 1, 2) ); }
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
  void TearDown() override { orv_domain_delete(d); }
  orv_node_t node(const char *name) { return orv_domain_get_node_by_name(d, name); }
};

TEST_F(Generation, TablesEqualHandComputedOnes) {
  ASSERT_NE(d, nullptr);
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
  ASSERT_NE(d, nullptr);
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
  ASSERT_NE(d, nullptr);
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

}  // namespace
}  // namespace orv
