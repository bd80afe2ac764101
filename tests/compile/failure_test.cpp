// The error convention of the triangulation entry points: bad arguments give
// usage and change nothing; memory and log failures leave the domain
// untriangulated with nothing leaked.
#include <gtest/gtest.h>

#include "compile/network_builder.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

using namespace test;

TEST(TriangulationContract, BadArgumentsGiveUsageAndChangeNothing) {
  auto d = new_domain();
  EXPECT_EQ(orv_domain_triangulate(nullptr, orv_tm_best_greedy), orv_error_usage);
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_usage);  // no nodes
  orv_node_t u = add_node(d.get(), "U", orv_category_utility, orv_kind_other);
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_usage);  // only a utility node
  EXPECT_EQ(orv_domain_triangulate(reinterpret_cast<orv_domain_t>(u), orv_tm_best_greedy), orv_error_usage);
  orv_node_t a = add_states(d.get(), "A", 2), b = add_states(d.get(), "B", 2);
  link(a, b), link(b, u);
  for (int method : {0, 14, 19, 21}) {
    EXPECT_EQ(orv_domain_triangulate(d.get(), static_cast<orv_triangulation_method_t>(method)), orv_error_usage);
    EXPECT_EQ(orv_error_code(), orv_error_usage);
  }
  EXPECT_RESULT(orv_domain_get_elimination_order(d.get()), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_node_get_moral_neighbors(a), nullptr, orv_error_usage);
  EXPECT_EQ(orv_domain_triangulate_with_order(d.get(), nullptr), orv_error_usage);
  orv_node_t order[] = {a, b, nullptr};
  EXPECT_EQ(orv_domain_triangulate_with_order(nullptr, order), orv_error_usage);
  EXPECT_EQ(orv_domain_get_elimination_order(nullptr), nullptr);
  EXPECT_EQ(orv_node_get_moral_neighbors(nullptr), nullptr);
  EXPECT_EQ(compiled_domain(d.get()), nullptr);

  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_fill_in_size), orv_error_none);
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_fill_in_size), orv_error_usage);  // already triangulated
  EXPECT_EQ(orv_domain_triangulate_with_order(d.get(), order), orv_error_usage);
  EXPECT_NE(orv_domain_get_elimination_order(d.get()), nullptr);
  EXPECT_EQ(orv_error_code(), orv_error_none);  // the next good call reads 0
  EXPECT_EQ(test::names_of(orv_node_get_moral_neighbors(a)), std::vector<std::string>{"B"});

  uncompile(d.get());  // what every structural change does
  EXPECT_EQ(orv_domain_get_elimination_order(d.get()), nullptr);
  EXPECT_EQ(orv_domain_triangulate_with_order(d.get(), order), orv_error_none);
}

// A network with fill-ins, redundant ones, CG boundaries and several prime
// components, so that every allocation site runs.
void build_sweep_network(orv_domain_t d) {
  test::random_network(d, 11, 14, 3, 4, 0.25);
  orv_node_t p = add_states(d, "P", 2), q = add_states(d, "Q", 3), r = add_states(d, "R", 2);
  orv_node_t s = add_states(d, "S", 2), t = add_states(d, "T", 2);
  link(p, q), link(q, r), link(p, s), link(s, t), link(r, t);  // a cycle of five after marrying R and S
}

template <class Operation>
void sweep(orv_domain_t d, Operation operation, const char *what) {
  const auto clean =
      test::expect_no_memory_sweep(what, operation, [&] { EXPECT_EQ(compiled_domain(d), nullptr); });
  ASSERT_EQ(clean.result, orv_error_none) << what;
  EXPECT_GT(clean.n, 10u) << what;
  EXPECT_EQ(test::check_domain(d), "") << what;
  uncompile(d);
}

TEST(TriangulationFailure, EveryAllocationFailureLeavesTheDomainUntriangulated) {
  auto d = new_domain();
  build_sweep_network(d.get());
  std::FILE *log = std::tmpfile();
  for (std::FILE *stream : {static_cast<std::FILE *>(nullptr), log}) {
    orv_domain_set_log_file(d.get(), stream);
    for (orv_triangulation_method_t method :
         {orv_tm_clique_size, orv_tm_clique_weight, orv_tm_fill_in_size, orv_tm_fill_in_weight, orv_tm_best_greedy})
      sweep(d.get(), [&] { return orv_domain_triangulate(d.get(), method); }, "triangulate");
    std::vector<orv_node_t> order;
    for (orv_node_t n = orv_domain_get_first_node(d.get()); n; n = orv_node_get_next(n))
      if (orv_node_get_kind(n) == orv_kind_continuous) order.push_back(n);
    for (orv_node_t n = orv_domain_get_first_node(d.get()); n; n = orv_node_get_next(n))
      if (orv_node_get_kind(n) == orv_kind_discrete) order.push_back(n);
    order.push_back(nullptr);
    sweep(d.get(), [&] { return orv_domain_triangulate_with_order(d.get(), order.data()); }, "with order");
  }
  orv_domain_set_log_file(d.get(), nullptr);
  std::fclose(log);

  // Listing the order can fail on its own; the triangulation stays.
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
  const auto clean = test::expect_no_memory_sweep("order", [&] { return orv_domain_get_elimination_order(d.get()); },
                                                  [&] { EXPECT_NE(compiled_domain(d.get()), nullptr); });
  EXPECT_NE(clean.result, nullptr);
}

TEST(TriangulationFailure, LogWriteFailuresGiveIoAndUntriangulate) {
  auto d = new_domain();
  build_sweep_network(d.get());
  // A stream open for reading refuses the first write.
  std::FILE *read_only = std::fopen("/dev/null", "r");
  ASSERT_NE(read_only, nullptr);
  orv_domain_set_log_file(d.get(), read_only);
  test::LiveBlocks live;
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_io);
  EXPECT_EQ(compiled_domain(d.get()), nullptr);
  EXPECT_EQ(live.delta(), 0);
  std::fclose(read_only);
  // A full device accepts buffered writes and fails the final flush, after
  // the new state was committed: it must be dropped again.
  std::FILE *full = std::fopen("/dev/full", "w");
  if (full) {
    orv_domain_set_log_file(d.get(), full);
    EXPECT_RESULT(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_io, orv_error_io);
    EXPECT_EQ(compiled_domain(d.get()), nullptr);
    EXPECT_EQ(live.delta(), 0);
    std::fclose(full);
  }
  orv_domain_set_log_file(d.get(), nullptr);
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
}

TEST(TriangulationContract, StructuralChangesDropTheTriangulation) {
  auto d = new_domain();
  orv_node_t a = add_states(d.get(), "A", 2), b = add_states(d.get(), "B", 2), c = add_states(d.get(), "C", 2);
  ASSERT_EQ(orv_node_add_parent(b, a), orv_error_none);
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(c, b), orv_error_none);  // a new link
  EXPECT_EQ(compiled_domain(d.get()), nullptr);
  EXPECT_EQ(orv_node_get_moral_neighbors(b), nullptr);
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_none);
  EXPECT_EQ(test::names_of(orv_node_get_moral_neighbors(b)).size(), 2u);
  add_states(d.get(), "D", 2);  // a new node
  EXPECT_EQ(compiled_domain(d.get()), nullptr);
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
  ASSERT_EQ(orv_node_delete(a), orv_error_none);  // a deleted node
  EXPECT_EQ(compiled_domain(d.get()), nullptr);
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
  EXPECT_EQ(test::check_domain(d.get()), "");
}

}  // namespace
}  // namespace orv
