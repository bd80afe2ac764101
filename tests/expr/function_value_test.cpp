// Values of real-valued function nodes after propagation with evidence:
// probability, variance and quantile against the same quantities computed
// from the beliefs, function parents and observed parents, and failures.
#include <gtest/gtest.h>

#include "expr/function_values.h"
#include "runtime/error.h"

namespace orv {
namespace {

const char *kNet = R"(net {}
node X { states = ("0" "1" "2"); subtype = number; state_values = (0 1 2); }
node I { states = ("a" "b" "c"); subtype = interval; state_values = (-infinity 0 10 infinity); }
node Y { states = ("no" "yes"); }
function F {}
function G {}
function H {}
potential (X) { data = (0.2 0.3 0.5); }
potential (I | X) { data = (0.6 0.3 0.1  0.2 0.5 0.3  0.1 0.2 0.7); }
potential (Y | X) { data = (0.9 0.1  0.5 0.5  0.2 0.8); }
potential (F | X I) { model_nodes = (); model_data = ( probability(X >= 1) + 10 * variance(X) + 100 * quantile(I, 0.4) ); }
potential (G | F Y) { model_nodes = (Y); model_data = ( -1, F * 2 ); }
potential (H | I) { model_nodes = (); model_data = ( variance(I) ); }
)";

double value(orv_node_t n) {
  double v = -1.0;
  const orv_status_t status = guarded_status([&] { v = function_value(n); });
  return status == orv_error_none ? v : -100.0 - static_cast<int>(status);
}

TEST(FunctionValues, EqualQuantitiesComputedFromBeliefs) {
  orv_domain_t d = orv_net_parse_domain(kNet, nullptr, nullptr);
  ASSERT_NE(d, nullptr);
  orv_node_t x = orv_domain_get_node_by_name(d, "X"), i = orv_domain_get_node_by_name(d, "I"),
             y = orv_domain_get_node_by_name(d, "Y"), f = orv_domain_get_node_by_name(d, "F"),
             g = orv_domain_get_node_by_name(d, "G"), h = orv_domain_get_node_by_name(d, "H");
  // Before compilation the beliefs are unknown; G's configuration too.
  EXPECT_EQ(value(f), -100.0 - static_cast<int>(orv_error_not_compiled));
  EXPECT_EQ(value(g), -100.0 - static_cast<int>(orv_error_invalid_expression));
  ASSERT_EQ(orv_domain_compile(d), orv_error_none);
  ASSERT_EQ(orv_node_select_state(y, 1), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  double bx[3], bi[3];
  for (int s = 0; s < 3; ++s) bx[s] = orv_node_get_belief(x, s), bi[s] = orv_node_get_belief(i, s);
  const double mean = bx[1] + 2 * bx[2], var = bx[1] + 4 * bx[2] - mean * mean;
  // The 0.4-quantile of I: its first interval stands for [0, 0], then linear within [0, 10).
  const double q = bi[0] >= 0.4 ? 0.0 : 10.0 * (0.4 - bi[0]) / bi[1];
  const double expected = bx[1] + bx[2] + 10 * var + 100 * q;
  EXPECT_NEAR(value(f), expected, 1e-12);
  EXPECT_NEAR(value(g), 2 * expected, 1e-12);  // Y observed "yes": F * 2
  const double mid[3] = {0.0, 5.0, 10.0};
  double m = 0, sq = 0;
  for (int s = 0; s < 3; ++s) m += bi[s] * mid[s], sq += bi[s] * mid[s] * mid[s];
  EXPECT_NEAR(value(h), sq - m * m, 1e-12);
  EXPECT_NEAR(belief_quantile(x, 0.999), 2.0, 0.0);
  EXPECT_THROW(belief_quantile(x, 1.0), Failure);
  EXPECT_THROW(function_value(x), Failure);
  orv_domain_delete(d);
}

}  // namespace
}  // namespace orv
