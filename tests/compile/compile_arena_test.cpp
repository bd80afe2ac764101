// The fixed costs of compilation: a forest's records come from its arena
// (few funnel allocations per compile), repeated compile and uncompile cycles
// stay exact and leak nothing, and domains compile on two threads at once.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "orvel.h"
#include "support/fault_injection.h"
#include "support/reference_checks.h"

namespace orv {
namespace {

const std::string kData = ORVEL_DATA_DIR;

orv_domain_t load(const std::string &name) {
  return orv_net_parse_domain((kData + "/networks/" + name + ".net").c_str(), nullptr, nullptr);
}

std::size_t count_cliques(orv_domain_t d) {
  std::size_t count = 0;
  for (orv_clique_t c = orv_domain_get_first_clique(d); c; c = orv_clique_get_next(c)) ++count;
  return count;
}

// Compiles and uncompiles `cycles` times, checking the prior against the
// reference after each compile.
void compile_cycles(const std::string &name, int cycles) {
  const test::Json reference = test::read_json_file(kData + "/reference/" + name + ".json");
  orv_domain_t d = load(name);
  ASSERT_NE(d, nullptr) << name;
  for (int i = 0; i < cycles; ++i) {
    ASSERT_EQ(orv_domain_compile(d), orv_error_none) << name << " cycle " << i;
    test::expect_reference_marginals(d, reference["nodes"], name + " cycle " + std::to_string(i));
    ASSERT_EQ(orv_domain_uncompile(d), orv_error_none);
  }
  orv_domain_delete(d);
}

TEST(CompileArena, AlarmCompilesWithFewAllocationsAndUncompilesWithoutLeaks) {
  orv_domain_t d = load("alarm");
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
    EXPECT_EQ(count_cliques(d), 27u);
    EXPECT_LT(made, 800u) << "round " << round;
    ASSERT_EQ(orv_domain_uncompile(d), orv_error_none);
    EXPECT_EQ(live.delta(), 0) << "round " << round;
  }
  orv_domain_delete(d);
}

TEST(CompileArena, RepeatedCyclesStayExact) { compile_cycles("child", 3); }

// Each thread compiles its own domain again and again; under the thread
// sanitizer this shows the allocator and the engine share no unguarded state.
TEST(CompileThreads, TwoDomainsCompiledAtOnceMatchTheReference) {
  std::thread other([] { compile_cycles("alarm", 8); });
  compile_cycles("hepar2", 4);
  other.join();
}

}  // namespace
}  // namespace orv
