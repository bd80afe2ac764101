// Triangulations of the standard benchmark networks, checked by the
// independent oracle, with best greedy never costlier than a heuristic.
#include <gtest/gtest.h>

#include "compile/network_builder.h"
#include "support/bif_structure.h"

namespace orv {
namespace {

const orv_triangulation_method_t kMethods[] = {orv_tm_clique_size, orv_tm_clique_weight, orv_tm_fill_in_size,
                                               orv_tm_fill_in_weight, orv_tm_best_greedy};

class StandardNetwork : public ::testing::TestWithParam<const char *> {};

TEST_P(StandardNetwork, EveryMethodGivesAValidTriangulation) {
  const std::string path = std::string(ORVEL_DATA_DIR) + "/networks/bif/" + GetParam() + ".bif";
  orv_domain_t d = test::load_bif_structure(path);
  ASSERT_NE(d, nullptr) << path;
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

INSTANTIATE_TEST_SUITE_P(Bif, StandardNetwork,
                         ::testing::Values("asia", "alarm", "insurance", "water", "mildew", "barley", "hepar2",
                                           "pathfinder", "andes", "munin1", "munin"));

}  // namespace
}  // namespace orv
