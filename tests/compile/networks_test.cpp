// Triangulations of the standard benchmark networks, checked by the
// independent oracle, with best greedy never costlier than a heuristic.
#include <gtest/gtest.h>

#include <algorithm>

#include "compile/network_builder.h"

namespace orv {
namespace {

const orv_triangulation_method_t kMethods[] = {orv_tm_clique_size, orv_tm_clique_weight, orv_tm_fill_in_size,
                                               orv_tm_fill_in_weight, orv_tm_best_greedy};

class StandardNetwork : public ::testing::TestWithParam<const char *> {};

TEST_P(StandardNetwork, EveryMethodGivesAValidTriangulation) {
  const std::string path = std::string(ORVEL_DATA_DIR) + "/networks/" + GetParam() + ".net";
  std::string messages;
  auto collect = [](size_t, const char *message, void *data) { *static_cast<std::string *>(data) += message; };
  orv_domain_t d = orv_net_parse_domain(path.c_str(), collect, &messages);
  ASSERT_NE(d, nullptr) << path << ": " << messages;
  double best = 0.0, cheapest = 1e300;
  for (orv_triangulation_method_t method : kMethods) {
    ASSERT_EQ(orv_domain_triangulate(d, method), orv_error_none) << method;
    EXPECT_EQ(test::check_domain(d), "") << method;
    const double cost = compiled_domain(d)->cost;
    if (method == orv_tm_best_greedy)
      best = cost;
    else
      cheapest = std::min(cheapest, cost);
    uncompile(d);
  }
  EXPECT_LE(best, cheapest);
  orv_domain_delete(d);
}

INSTANTIATE_TEST_SUITE_P(Net, StandardNetwork,
                         ::testing::Values("asia", "alarm", "insurance", "water", "mildew", "barley", "hepar2",
                                           "pathfinder", "andes", "munin1", "munin"));

// Method 19 on the networks whose components it searches exactly in well
// under a second: a valid triangulation, never costlier than best greedy,
// and a cost that the cliques and the log both confirm.
class TotalWeightNetwork : public ::testing::TestWithParam<const char *> {};

TEST_P(TotalWeightNetwork, OptimumIsValidAndNoCostlierThanBestGreedy) {
  const std::string path = std::string(ORVEL_DATA_DIR) + "/networks/" + GetParam() + ".net";
  orv_domain_t d = orv_net_parse_domain(path.c_str(), nullptr, nullptr);
  ASSERT_NE(d, nullptr) << path;
  ASSERT_EQ(orv_domain_triangulate(d, orv_tm_best_greedy), orv_error_none);
  const double greedy = compiled_domain(d)->cost;
  uncompile(d);
  const std::string log = test::capture_log(d, [&] { ASSERT_EQ(orv_domain_triangulate(d, orv_tm_total_weight), 0); });
  EXPECT_EQ(test::check_domain(d), "");
  const double cost = compiled_domain(d)->cost;
  EXPECT_LE(cost, greedy);
  double recomputed = 0.0;
  for (orv_clique_t c = orv_domain_get_first_clique(d); c; c = orv_clique_get_next(c)) {
    double states = 1.0;
    for (orv_node_t *m = orv_clique_get_members(c); *m; ++m) states *= orv_node_get_number_of_states(*m);
    recomputed += states;
  }
  EXPECT_EQ(recomputed, cost);
  const std::string total = "Total cost of triangulation for all prime components is " +
                            std::to_string(static_cast<unsigned long long>(cost)) + "\n";
  EXPECT_NE(log.find(total), std::string::npos) << total;
  orv_domain_delete(d);
}

INSTANTIATE_TEST_SUITE_P(Net, TotalWeightNetwork,
                         ::testing::Values("asia", "child", "alarm", "insurance", "water", "mildew", "hepar2",
                                           "pathfinder"));

}  // namespace
}  // namespace orv
