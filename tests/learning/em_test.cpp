// EM on small networks worked out by hand: complete data, the M-step rules
// for zero and negative experience, preconditions, the progress handler and
// log lines, scores, and allocation failure at every step.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

// A (2 states, experience 2) -> B (3 states, experience 0 and 1), and C with
// experience -1 that is never learned.
const char *kNet =
    "net { }\n"
    "node A { states = (\"a0\" \"a1\"); }\n"
    "node B { states = (\"b0\" \"b1\" \"b2\"); }\n"
    "node C { states = (\"c0\" \"c1\"); }\n"
    "potential (A) { data = (0.3 0.7); experience = (2); }\n"
    "potential (B | A) { data = ((0.2 0.3 0.5) (0.6 0.2 0.2)); experience = (0 1); }\n"
    "potential (C | A B) { data = (((0.5 0.5) (0.4 0.6) (0.3 0.7)) ((0.2 0.8) (0.1 0.9) (0.9 0.1)));\n"
    "  experience = ((-1 -1 -1) (-1 -1 -1)); }\n";

struct Fixture {
  orv_domain_t d = orv_net_parse_domain(kNet, nullptr, nullptr);
  orv_node_t a = orv_domain_get_node_by_name(d, "A"), b = orv_domain_get_node_by_name(d, "B"),
             c = orv_domain_get_node_by_name(d, "C");
  explicit Fixture(bool compiled = true) {
    if (compiled) {
      EXPECT_EQ(orv_domain_compile(d), orv_error_none);
    }
  }
  ~Fixture() { orv_domain_delete(d); }
  // One case: states (-1 for missing) and a weight.
  void add(long sa, long sb, long sc, double weight = 1.0) {
    const size_t i = orv_domain_new_case(d);
    if (sa >= 0) orv_node_set_case_state(a, i, static_cast<size_t>(sa));
    if (sb >= 0) orv_node_set_case_state(b, i, static_cast<size_t>(sb));
    if (sc >= 0) orv_node_set_case_state(c, i, static_cast<size_t>(sc));
    orv_domain_set_case_count(d, i, weight);
  }
  std::vector<double> table(orv_node_t n) const { return test::table_values(orv_node_get_table(n)); }
  std::vector<double> experience(orv_node_t n) const { return test::table_values(orv_node_get_experience_table(n)); }
};

int count_iterations(double, size_t, void *data) {
  ++*static_cast<int *>(data);
  return 1;
}

TEST(EmLearning, CompleteDataTakesOneIterationOfNormalisedCountsPlusPrior) {
  Fixture f;
  f.add(0, 0, 0);
  f.add(0, 2, 1, 2.0);
  f.add(1, 1, 0);
  f.add(1, 1, 1, 0.5);
  f.add(1, 0, 1, 0.0);  // inactive
  int iterations = 0;
  _orv_domain_set_progress_handler(f.d, count_iterations, &iterations);
  ASSERT_EQ(orv_domain_learn_tables(f.d), orv_error_none);
  EXPECT_EQ(iterations, 1);
  // A: counts (3, 1.5) + prior 2 x (0.3, 0.7).
  test::expect_all_near(f.table(f.a), {3.6 / 6.5, 2.9 / 6.5}, 1e-12);
  // B | a0: experience 0, counts only; B | a1: counts (0, 1.5, 0) + prior (0.6, 0.2, 0.2).
  test::expect_all_near(f.table(f.b), {1.0 / 3, 0.0, 2.0 / 3, 0.6 / 2.5, 1.7 / 2.5, 0.2 / 2.5}, 1e-12);
  test::expect_all_near(f.experience(f.a), {6.5}, 1e-12);
  test::expect_all_near(f.experience(f.b), {3.0, 2.5}, 1e-12);
  // C is not learned and keeps its experience.
  test::expect_all_near(f.table(f.c), {0.5, 0.5, 0.4, 0.6, 0.3, 0.7, 0.2, 0.8, 0.1, 0.9, 0.9, 0.1}, 1e-12);
  test::expect_all_near(f.experience(f.c), std::vector<double>(6, -1.0), 1e-12);
  // Learning leaves the domain propagated with the new tables.
  EXPECT_NEAR(orv_node_get_belief(f.a, 0), 3.6 / 6.5, 1e-12);
}

TEST(EmLearning, ConfigurationWithoutCountsOrExperienceKeepsItsDistribution) {
  Fixture f;
  f.add(1, 0, -1);
  f.add(1, -1, 1);
  ASSERT_EQ(orv_domain_learn_tables(f.d), orv_error_none);
  const std::vector<double> b = f.table(f.b);
  test::expect_all_near({b[0], b[1], b[2]}, {0.2, 0.3, 0.5}, 1e-12);
  EXPECT_EQ(f.experience(f.b)[0], 0.0);
}

// P(e) of each case by hand: (a0, *, *) has 0.3; (*, b1, *) has
// 0.3 * 0.3 + 0.7 * 0.2; (a1, b2, c0) has 0.7 * 0.2 * 0.9.
TEST(EmScores, LogLikelihoodAicAndBic) {
  Fixture f;
  EXPECT_EQ(orv_domain_get_log_likelihood(f.d), 0.0);
  f.add(0, -1, -1);
  f.add(-1, 1, -1, 2.0);
  f.add(1, 2, 0);
  const double expected = std::log(0.3) + 2 * std::log(0.23) + std::log(0.7 * 0.2 * 0.9);
  EXPECT_NEAR(orv_domain_get_log_likelihood(f.d), expected, 1e-12);
  const double k = 1 + 2 * 2 + 6 * 1;
  EXPECT_NEAR(orv_domain_get_AIC(f.d), expected - k, 1e-12);
  EXPECT_NEAR(orv_domain_get_BIC(f.d), expected - k / 2 * std::log(4.0), 1e-12);
  // A changed case is seen at once.
  orv_node_unset_case(f.b, 1);
  EXPECT_NEAR(orv_domain_get_log_likelihood(f.d), std::log(0.3) + std::log(0.7 * 0.2 * 0.9), 1e-12);
  EXPECT_EQ(orv_error_code(), orv_error_none);
  // A table change must be propagated first (an uncompiled domain: see PreconditionsInOrder).
  orv_node_touch_table(f.a);
  EXPECT_RESULT(orv_domain_get_AIC(f.d), 1.0, orv_error_usage);
}

TEST(EmLearning, PreconditionsInOrder) {
  Fixture f(false);
  EXPECT_EQ(orv_domain_learn_tables(nullptr), orv_error_usage);
  EXPECT_EQ(orv_domain_learn_tables(f.d), orv_error_usage);  // no cases, not compiled
  f.add(0, 0, 0, 0.0);
  EXPECT_EQ(orv_domain_learn_tables(f.d), orv_error_usage);  // weight 0
  EXPECT_RESULT(orv_domain_get_BIC(f.d), 1.0, orv_error_usage);  // and no scores
  f.add(0, 0, 0);
  EXPECT_EQ(orv_domain_learn_tables(f.d), orv_error_not_compiled);
  EXPECT_RESULT(orv_domain_get_log_likelihood(f.d), 1.0, orv_error_not_compiled);
  ASSERT_EQ(orv_domain_compile(f.d), orv_error_none);
  orv_node_touch_table(f.a);
  EXPECT_EQ(orv_domain_learn_tables(f.d), orv_error_usage);  // table change not propagated
  orv_node_select_state(f.a, 0);
  ASSERT_EQ(orv_domain_propagate(f.d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_EQ(orv_domain_learn_tables(f.d), orv_error_usage);  // evidence propagated
  orv_domain_retract_findings(f.d);
  ASSERT_EQ(orv_domain_propagate(f.d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  for (orv_node_t n : {f.a, f.b}) orv_table_delete(orv_node_get_experience_table(n));
  EXPECT_EQ(orv_domain_learn_tables(f.d), orv_error_usage);  // nothing to learn
  EXPECT_EQ(orv_domain_set_log_likelihood_tolerance(f.d, -1.0), orv_error_usage);
  EXPECT_EQ(orv_domain_get_log_likelihood_tolerance(f.d), 1e-4);
  EXPECT_EQ(orv_domain_set_em_concurrency_level(f.d, 0), orv_error_usage);
  EXPECT_EQ(orv_domain_get_max_number_of_em_iterations(nullptr), static_cast<size_t>(-1));
  EXPECT_RESULT(orv_domain_get_log_likelihood(nullptr), 1.0, orv_error_usage);
}

int stop_at_second(double, size_t iteration, void *) { return iteration < 2; }

TEST(EmLearning, LogLinesAndProgressHandlerStop) {
  Fixture f;
  for (int i = 0; i < 6; ++i) f.add(i % 2, i % 3 == 0 ? -1 : i % 3, -1, i == 5 ? 1.5 : 1.0);
  orv_domain_set_log_likelihood_tolerance(f.d, 0.0);
  _orv_domain_set_progress_handler(f.d, stop_at_second, nullptr);
  const std::string text =
      test::capture_log(f.d, [&] { ASSERT_EQ(orv_domain_learn_tables(f.d), orv_error_none); });
  char expected[256];
  std::snprintf(expected, sizeof expected, "\nEM learning - final results:\n\n    Log-likelihood: %g\n    AIC: %g\n",
                orv_domain_get_log_likelihood(f.d), orv_domain_get_AIC(f.d));
  EXPECT_EQ(text.find("\n\nEM learning with 6.5 cases:\n\n    Log-likelihood for iteration 1: "), 0u) << text;
  EXPECT_NE(text.find("    Log-likelihood for iteration 2: "), std::string::npos) << text;
  EXPECT_EQ(text.find("iteration 3"), std::string::npos) << text;
  EXPECT_NE(text.find(expected), std::string::npos) << text;
  EXPECT_NE(text.find("    BIC: "), std::string::npos) << text;
}

// Allocation failure anywhere in EM, with and without worker threads:
// no_memory, nothing leaked, tables and experience as they were, and the
// domain ready to learn again.
TEST(EmFaults, NoMemoryOnOneThreadOrWorkerThreadsRestoresTables) {
  for (std::size_t workers : {1, 2}) {
    SCOPED_TRACE(workers);
    Fixture f;
    for (int i = 0; i < 12; ++i) f.add(i % 2, i % 3 == 0 ? -1 : i % 3, i % 4 == 0 ? -1 : i % 2);
    orv_domain_set_em_concurrency_level(f.d, workers);
    const auto tables = f.table(f.a), tables_b = f.table(f.b), experience = f.experience(f.b);
    const auto run = test::expect_no_memory_sweep(
        "learn", [&] { return orv_domain_learn_tables(f.d); },
        [&] {
          EXPECT_EQ(f.table(f.a), tables);
          EXPECT_EQ(f.table(f.b), tables_b);
          EXPECT_EQ(f.experience(f.b), experience);
          EXPECT_EQ(orv_domain_equilibrium_is(f.d, orv_equilibrium_sum), 1);
        });
    EXPECT_EQ(run.result, orv_error_none);
    EXPECT_GT(run.n, 5u);
  }
}

}  // namespace
}  // namespace orv
