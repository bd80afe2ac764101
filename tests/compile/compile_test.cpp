// orv_domain_compile end to end: triangulation when needed, the rollback
// rules, refusals, allocation failures over the whole pipeline, the
// estimate, computed from a triangulation without allocating; and the fixed
// costs: a forest's records come from its arena (few funnel allocations per
// compile), compile and uncompile cycles stay exact and leak nothing, and
// domains compile on two threads at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>

#include "compile/junction_forest.h"
#include "model/node.h"
#include "orvel.h"
#include "runtime/allocate.h"
#include "support/fault_injection.h"
#include "support/inference_checks.h"
#include "support/network_fixture.h"
#include "support/reference_checks.h"

namespace orv {
namespace {

using namespace test;

TEST(Compile, FailureKeepsOnlyAForestTheUserMade) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 2);
  family(a, {}, {0.0, 0.0});  // nothing is possible
  family(b, {a}, {0.5, 0.5, 0.5, 0.5});
  EXPECT_EQ(orv_domain_compile(d.get()), orv_error_inconsistency_or_underflow);
  EXPECT_EQ(orv_domain_get_first_clique(d.get()), nullptr);
  EXPECT_EQ(orv_domain_is_compiled(d.get()), 0);

  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_none);
  orv_clique_t clique = orv_domain_get_first_clique(d.get());
  ASSERT_NE(clique, nullptr);
  EXPECT_EQ(orv_domain_compile(d.get()), orv_error_inconsistency_or_underflow);
  EXPECT_EQ(orv_domain_get_first_clique(d.get()), clique);
  EXPECT_EQ(orv_domain_is_compiled(d.get()), 0);
  a->table->data[0] = 1.0;
  ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
  EXPECT_EQ(orv_node_get_belief(a, 0), 1.0);
}

// Every allocation failure leaves the domain as it was; a compiled domain
// refuses a second compile, and so does a domain of utilities only.
TEST(Compile, AllocationFailuresLeaveTheDomainAsItWasAndCompilingTwiceIsRefused) {
  std::mt19937 rng(43);
  auto d = new_domain();
  const auto nodes = test::random_network(d.get(), 7, 2, 3, rng);
  orv_node_t u = variable(d.get(), "U", 0, orv_category_utility);
  family(u, {nodes[2], nodes[5]}, {});
  orv_node_select_state(nodes[1], 0);
  const std::size_t tables = d->table_count;
  const auto done = test::expect_no_memory_sweep(
      "compile", [&] { return orv_domain_compile(d.get()); },
      [&] {
        EXPECT_EQ(orv_domain_get_first_clique(d.get()), nullptr);
        EXPECT_EQ(d->table_count, tables);
        EXPECT_EQ(d->control_count, 0u);
        EXPECT_EQ(orv_domain_is_compiled(d.get()), 0);
        EXPECT_EQ(nodes[2]->junction_tree, nullptr);
        EXPECT_EQ(u->assigned_clique, nullptr);
      });
  ASSERT_EQ(done.result, orv_error_none);
  EXPECT_EQ(orv_node_get_belief(nodes[1], 0), 1.0);
  EXPECT_EQ(orv_domain_is_compiled(d.get()), 1);
  EXPECT_EQ(orv_domain_compile(d.get()), orv_error_usage);
  EXPECT_EQ(orv_domain_is_compiled(d.get()), 1);
  EXPECT_EQ(orv_domain_is_compiled(nullptr), -1);
  EXPECT_EQ(orv_domain_compile(nullptr), orv_error_usage);

  auto utilities_only = new_domain();
  variable(utilities_only.get(), "U", 0, orv_category_utility);
  EXPECT_EQ(orv_domain_compile(utilities_only.get()), orv_error_usage);
}

TEST(CompileEstimate, MatchesTheCompiledTablesWithoutAllocating) {
  for (const char *name : {"asia", "alarm", "hepar2", "water"}) {
    for (orv_triangulation_method_t method : {orv_tm_clique_size, orv_tm_fill_in_weight, orv_tm_best_greedy}) {
      SCOPED_TRACE(std::string(name) + " method " + std::to_string(method));
      const DomainPtr network = load_network(name);
      orv_domain_t d = network.get();
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
    }
  }
}

// Compiles and uncompiles `cycles` times, checking the prior against the
// reference after each compile.
void compile_cycles(const std::string &name, int cycles) {
  const test::Json reference = test::read_json_file(std::string(ORVEL_DATA_DIR) + "/reference/" + name + ".json");
  const DomainPtr network = load_network(name);
  orv_domain_t d = network.get();
  ASSERT_NE(d, nullptr) << name;
  for (int i = 0; i < cycles; ++i) {
    ASSERT_EQ(orv_domain_compile(d), orv_error_none) << name << " cycle " << i;
    test::expect_reference_marginals(d, reference["nodes"], name + " cycle " + std::to_string(i));
    ASSERT_EQ(orv_domain_uncompile(d), orv_error_none);
  }
}

TEST(CompileArena, AlarmCompilesWithFewAllocationsAndUncompilesWithoutLeaks) {
  const DomainPtr network = load_network("alarm");
  orv_domain_t d = network.get();
  ASSERT_NE(d, nullptr);
  for (int round = 0; round < 2; ++round) {
    test::LiveBlocks live;
    const std::size_t before = testing::allocations();
    ASSERT_EQ(orv_domain_compile(d), orv_error_none);
    const std::size_t made = testing::allocations() - before;
    // 27 cliques, 26 separators, 37 evidence tables and about 150 controls
    // come from a few arena chunks; what remains (about 730 blocks) is the
    // triangulation's lists and the tables' node lists. A block per record
    // and per record list would be well over a thousand more.
    EXPECT_EQ(orv_domain_get_number_of_cliques(d), 27u);
    EXPECT_LT(made, 800u) << "round " << round;
    ASSERT_EQ(orv_domain_uncompile(d), orv_error_none);
    EXPECT_EQ(live.delta(), 0) << "round " << round;
  }
}

// Each thread compiles its own domain again and again; under the thread
// sanitizer this shows the allocator and the engine share no unguarded state.
TEST(CompileThreads, TwoDomainsCompiledAtOnceMatchTheReference) {
  std::thread other([] { compile_cycles("alarm", 8); });
  compile_cycles("hepar2", 4);
  other.join();
}

}  // namespace
}  // namespace orv
