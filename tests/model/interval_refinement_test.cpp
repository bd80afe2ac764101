// Refining and coarsening interval nodes carries tables, models and cases
// along (coarsening undoes refinement exactly) and fails cleanly; and the
// interval probability of a Gaussian mixture.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"

namespace {

const char *kNet = R"(net {}
node X { states = ("a" "b" "c"); subtype = interval; state_values = (-infinity 0 2 infinity); }
node Y { states = ("y0" "y1"); }
node Z { states = ("z0" "z1"); }
node P { states = ("p0" "p1" "p2"); subtype = interval; state_values = (0 1 1 2); }
node L { states = ("l0" "l1"); }
potential (X) { data = (0.2 0.3 0.5); }
potential (Y | X) { data = ((0.1 0.9) (0.4 0.6) (0.7 0.3)); }
potential (Z | X) { model_nodes = (X); model_data = ( Distribution(1, 0), Distribution(0, 1), Distribution(1, 3) ); }
potential (P) { data = (0.25 0.25 0.5); }
potential (L) { data = (0.5 0.5); }
)";

std::vector<double> data_of(orv_node_t n) {
  orv_table_t t = orv_node_get_table(n);
  return {orv_table_get_data(t), orv_table_get_data(t) + orv_table_get_size(t)};
}

std::vector<double> values_of(orv_node_t n) {
  std::vector<double> v;
  for (size_t s = 0; s <= orv_node_get_number_of_states(n); ++s) v.push_back(orv_node_get_state_value(n, s));
  return v;
}

std::vector<std::string> expressions_of(orv_model_t m) {
  std::vector<std::string> texts;
  for (size_t i = 0; i < orv_model_get_size(m); ++i) {
    char *text = orv_expression_to_string(orv_model_get_expression(m, i));
    texts.emplace_back(text);
    free(text);
  }
  return texts;
}

struct IntervalRefinement : ::testing::Test {
  orv_domain_t d = orv_net_parse_domain(kNet, nullptr, nullptr);
  void TearDown() override { orv_domain_delete(d); }
  orv_node_t node(const char *name) { return orv_domain_get_node_by_name(d, name); }
};

// Each allocation of either may fail: no_memory, and nothing changed.
TEST_F(IntervalRefinement, DoublingSplitsAndHalvingUndoesIt) {
  ASSERT_NE(d, nullptr);
  orv_node_t x = node("X");
  const auto x0 = data_of(x), y0 = data_of(node("Y"));
  const auto values0 = values_of(x);
  orv_model_t z = orv_node_get_model(node("Z"));
  const auto expressions0 = expressions_of(z);
  const auto unchanged = [&] {
    EXPECT_EQ(values_of(x), values0);
    EXPECT_EQ(data_of(x), x0);
    EXPECT_EQ(data_of(node("Y")), y0);
    EXPECT_EQ(expressions_of(z), expressions0);
  };

  const auto run =
      orv::test::expect_no_memory_sweep("double", [&] { return orv_node_double_number_of_intervals(x); }, unchanged);
  ASSERT_EQ(run.result, orv_error_none);
  // Infinite ends split one neighbour width out; the finite interval at its midpoint.
  EXPECT_EQ(values_of(x), (std::vector<double>{-DBL_MAX, -2, 0, 1, 2, 4, DBL_MAX}));
  EXPECT_EQ(data_of(x), (std::vector<double>{0.1, 0.1, 0.15, 0.15, 0.25, 0.25}));
  EXPECT_EQ(data_of(node("Y")), (std::vector<double>{0.1, 0.9, 0.1, 0.9, 0.4, 0.6, 0.4, 0.6, 0.7, 0.3, 0.7, 0.3}));
  const auto doubled = expressions_of(z);
  ASSERT_EQ(doubled.size(), 6u);
  for (size_t i = 0; i < 6; ++i) EXPECT_EQ(doubled[i], expressions0[i / 2]);
  // The child's model regenerates over the refined parent.
  ASSERT_EQ(orv_domain_compile(d), orv_error_none);
  EXPECT_EQ(data_of(node("Z")), (std::vector<double>{1, 0, 1, 0, 0, 1, 0, 1, 0.25, 0.75, 0.25, 0.75}));

  const auto doubled_x = data_of(x);
  orv::test::expect_no_memory_sweep("halve", [&] { return orv_node_halve_number_of_intervals(x); },
                                    [&] { EXPECT_EQ(data_of(x), doubled_x); });
  unchanged();
  EXPECT_EQ(orv_domain_is_compiled(d), 0);
}

TEST_F(IntervalRefinement, PointIntervalsStayWholeAndCasesFollow) {
  ASSERT_NE(d, nullptr);
  orv_node_t p = node("P");
  ASSERT_EQ(orv_domain_set_number_of_cases(d, 3), orv_error_none);
  const size_t states[] = {0, 1, 2};
  for (size_t c = 0; c < 3; ++c) ASSERT_EQ(orv_node_set_case_state(p, c, states[c]), orv_error_none);

  ASSERT_EQ(orv_node_double_number_of_intervals(p), orv_error_none);
  EXPECT_EQ(values_of(p), (std::vector<double>{0, 0.5, 1, 1, 1.5, 2}));
  EXPECT_EQ(data_of(p), (std::vector<double>{0.125, 0.125, 0.25, 0.25, 0.25}));
  // A split interval's cases are missing; the point interval's case moves.
  EXPECT_EQ(orv_node_get_case_state(p, 0), -1);
  EXPECT_EQ(orv_node_get_case_state(p, 1), 2);
  EXPECT_EQ(orv_node_get_case_state(p, 2), -1);

  // Five states: [0, 1), [1, 1.5), and the odd last [1.5, 2] alone.
  ASSERT_EQ(orv_node_halve_number_of_intervals(p), orv_error_none);
  EXPECT_EQ(values_of(p), (std::vector<double>{0, 1, 1.5, 2}));
  EXPECT_EQ(data_of(p), (std::vector<double>{0.25, 0.5, 0.25}));
  EXPECT_EQ(orv_node_get_case_state(p, 1), 1);
  EXPECT_EQ(orv_node_get_state_index_from_value(p, 1.2), 1);
}

TEST_F(IntervalRefinement, BadArgumentsChangeNothing) {
  ASSERT_NE(d, nullptr);
  orv_node_t x = node("X"), l = node("L");
  orv_node_t bare = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
  ASSERT_EQ(orv_node_set_subtype(bare, orv_subtype_interval), orv_error_none);  // no values yet
  orv_node_t one = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
  ASSERT_EQ(orv_node_set_number_of_states(one, 1), orv_error_none);
  ASSERT_EQ(orv_node_set_subtype(one, orv_subtype_interval), orv_error_none);
  ASSERT_EQ(orv_node_set_state_value(one, 0, 0.0), orv_error_none);
  orv_node_t c = orv_domain_new_node(d, orv_category_chance, orv_kind_continuous);
  EXPECT_RESULT(orv_node_double_number_of_intervals(l), orv_error_usage, orv_error_usage);  // a label node
  EXPECT_RESULT(orv_node_double_number_of_intervals(bare), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_node_double_number_of_intervals(c), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_node_halve_number_of_intervals(l), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_node_halve_number_of_intervals(one), orv_error_usage, orv_error_usage);
  EXPECT_EQ(orv_node_get_number_of_states(l), 2u);
  EXPECT_EQ(orv_node_get_number_of_states(x), 3u);
}

// P(lo <= N(mean, variance) <= hi), independently through erfc.
double normal_mass(double mean, double variance, double lo, double hi) {
  const double sd = std::sqrt(2 * variance);
  return 0.5 * (std::erfc((mean - hi) / sd) - std::erfc((mean - lo) / sd));
}

TEST(ProbabilityOfInterval, MixtureMassAgreesWithNormalMasses) {
  orv_domain_t d = orv_net_parse_domain(R"(net {}
node D { states = ("a" "b"); }
continuous node C {}
potential (D) { data = (0.3 0.7); }
potential (C | D) { data = ( normal(0, 1) normal(2, 4) ); }
)",
                                        nullptr, nullptr);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(orv_domain_compile(d), orv_error_none);
  orv_node_t c = orv_domain_get_node_by_name(d, "C");
  orv_table_t mix = orv_node_get_distribution(c);
  ASSERT_NE(mix, nullptr);
  const struct { double lo, hi; } cases[] = {{-1, 1}, {0.5, 3}, {2, 2}, {6, 40}, {-DBL_MAX, 0}};
  for (const auto &k : cases)
    EXPECT_NEAR(orv_table_compute_probability_of_interval(mix, k.lo, k.hi),
                0.3 * normal_mass(0, 1, k.lo, k.hi) + 0.7 * normal_mass(2, 4, k.lo, k.hi), 1e-14)
        << k.lo << " " << k.hi;
  EXPECT_DOUBLE_EQ(orv_table_compute_probability_of_interval(mix, -DBL_MAX, DBL_MAX), 1.0);

  orv_table_t discrete = orv_node_get_table(orv_domain_get_node_by_name(d, "D"));
  EXPECT_RESULT(orv_table_compute_probability_of_interval(mix, 1, 0), -1.0, orv_error_usage);  // reversed
  EXPECT_RESULT(orv_table_compute_probability_of_interval(mix, NAN, 0), -1.0, orv_error_usage);
  EXPECT_RESULT(orv_table_compute_probability_of_interval(discrete, 0, 1), -1.0, orv_error_usage);
  EXPECT_RESULT(orv_table_compute_probability_of_interval(mix, 2, 2), 0.0, orv_error_none);
  orv_table_delete(mix);
  orv_domain_delete(d);
}

}  // namespace
