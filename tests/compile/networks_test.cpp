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

}  // namespace
}  // namespace orv
