// The compilation estimate: computed from a triangulation without allocating,
// and equal to the table sizes the compiled forest then has.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "orvel.h"
#include "runtime/allocate.h"

namespace orv {
namespace {

TEST(CompileEstimate, MatchesTheCompiledTablesWithoutAllocating) {
  for (const char *name : {"asia", "alarm", "hepar2", "water"}) {
    for (orv_triangulation_method_t method : {orv_tm_clique_size, orv_tm_fill_in_weight, orv_tm_best_greedy}) {
      SCOPED_TRACE(std::string(name) + " method " + std::to_string(method));
      const std::string path = std::string(ORVEL_DATA_DIR) + "/networks/" + name + ".net";
      orv_domain_t d = orv_net_parse_domain(path.c_str(), nullptr, nullptr);
      ASSERT_NE(d, nullptr);
      ASSERT_EQ(orv_domain_triangulate(d, method), orv_error_none);
      size_t cliques = 0, separators = 0, bytes = 0;
      const std::size_t before = testing::allocations();
      ASSERT_EQ(orv_domain_estimate_compilation(d, &cliques, &separators, &bytes), orv_error_none);
      EXPECT_EQ(testing::allocations(), before);
      EXPECT_EQ(orv_domain_estimate_compilation(d, nullptr, nullptr, nullptr), orv_error_none);
      ASSERT_EQ(orv_domain_compile(d), orv_error_none);
      size_t total = 0;
      for (orv_junction_tree_t t = orv_domain_get_first_junction_tree(d); t; t = orv_jt_get_next(t))
        total += orv_jt_get_total_size(t);
      EXPECT_EQ(cliques + separators, total);
      size_t largest = 0;
      for (orv_clique_t c = orv_domain_get_first_clique(d); c; c = orv_clique_get_next(c))
        largest = std::max(largest, orv_table_get_size(orv_clique_get_probability_table(c)));
      // Table data plus the propagation buffers (at most three tables' worth).
      EXPECT_GE(bytes, (total + largest) * sizeof(double));
      EXPECT_LE(bytes, (total + 3 * largest) * sizeof(double));
      // A compiled domain has nothing left to estimate.
      EXPECT_EQ(orv_domain_estimate_compilation(d, &cliques, &separators, &bytes), orv_error_usage);
      orv_domain_delete(d);
    }
  }
}

}  // namespace
}  // namespace orv
