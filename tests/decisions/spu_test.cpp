// Policy updating rules, free-will validity, made decisions, requisite
// parents, utility spread, per-row expected utilities of decisions, the
// belief report of a decision and the failure behaviour of policy updating.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "decisions/policy_update.h"
#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

using test::DomainPtr;

// H is hidden, O observes it; D sees O and N (noise); R follows D; U rewards
// matching D to H and depends on R.
constexpr const char *kDiagram = R"(net {}
node H { states = ("lo" "hi"); }
node O { states = ("y" "n"); }
node N { states = ("x" "z"); }
decision D { states = ("a" "b" "c"); }
node R { states = ("r0" "r1"); }
utility U { }
potential (H) { data = (0.3 0.7); }
potential (O | H) { data = ((0.8 0.2) (0.1 0.9)); }
potential (N) { data = (0.5 0.5); }
potential (D | O N) { }
potential (R | D) { data = ((0.5 0.5) (0.2 0.8) (0.9 0.1)); }
potential (U | D H R) { data = (((10 20) (-5 0)) ((3 4) (30 25)) ((8 8) (8 8))); }
)";

DomainPtr compiled(const char *text) {
  DomainPtr d(orv_net_parse_from_string(text, nullptr));
  EXPECT_NE(d, nullptr) << orv_error_name(orv_error_code());
  if (d) {
    EXPECT_EQ(orv_domain_compile(d.get()), orv_error_none) << orv_error_name(orv_error_code());
  }
  return d;
}

orv_node_t node(const DomainPtr &d, const char *name) { return orv_domain_get_node_by_name(d.get(), name); }

std::vector<double> table_of(orv_node_t n) { return test::table_values(orv_node_get_table(n)); }

// The diagram above, compiled.
struct Diagram : ::testing::Test {
  void SetUp() override { ASSERT_NE(d, nullptr); }
  DomainPtr d = compiled(kDiagram);
  orv_domain_t dd = d.get();
};

std::vector<double> policies(orv_domain_t d) {
  std::vector<double> all;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    if (orv_node_get_category(n) == orv_category_decision)
      for (double p : table_of(n)) all.push_back(p);
  return all;
}

TEST(PolicyUpdate, ToleranceTiesAndRenormalization) {
  struct Case {
    const char *what;
    std::vector<double> values, before, after;
    bool changed;
  };
  const double near = 1.0 - 5e-13, far = 1.0 - 2e-12;
  const std::vector<Case> cases = {
      {"one of three uniform options worse", {10, 10, 5}, {1 / 3.0, 1 / 3.0, 1 / 3.0}, {0.5, 0.5, 0}, true},
      {"tie within tolerance keeps the mixture", {100, 100 * near, 50}, {0.3, 0.7, 0}, {0.3, 0.7, 0}, false},
      {"just outside tolerance", {100, 100 * far}, {0.5, 0.5}, {1, 0}, true},
      {"negative maximum within tolerance", {-100, -100 / near}, {0.5, 0.5}, {0.5, 0.5}, false},
      {"negative maximum outside tolerance", {-100, -100 / far}, {0.5, 0.5}, {1, 0}, true},
      {"no mass on the optimal options", {1, 5, 5}, {1, 0, 0}, {0, 0.5, 0.5}, true},
      {"row of probability zero", {0, 0, 0}, {0.2, 0.8, 0}, {0.2, 0.8, 0}, false},
      {"mass moves onto the remaining optimal option", {7, 1, 7}, {0.25, 0.5, 0.25}, {0.5, 0, 0.5}, true},
  };
  for (const Case &c : cases) {
    std::vector<double> policy = c.before;
    EXPECT_EQ(update_policy(policy.data(), c.values.data(), 1, policy.size()), c.changed) << c.what;
    for (std::size_t k = 0; k < policy.size(); ++k) EXPECT_DOUBLE_EQ(policy[k], c.after[k]) << c.what << " " << k;
  }
}

TEST_F(Diagram, EmptyPolicyIsUniformAndEvidenceRespectsFreeWill) {
  for (double p : table_of(node(d, "D"))) EXPECT_DOUBLE_EQ(p, 1 / 3.0);
  const double prior_o = orv_node_get_belief(node(d, "O"), 0);
  EXPECT_NEAR(prior_o, 0.3 * 0.8 + 0.7 * 0.1, 1e-12);

  // Observing what the unmade decision influences is refused; observing its parents is fine.
  ASSERT_EQ(orv_node_select_state(node(d, "R"), 0), orv_error_none);
  EXPECT_EQ(orv_domain_propagate(dd, orv_equilibrium_sum, orv_mode_normal), orv_error_invalid_evidence);
  EXPECT_EQ(orv_jt_propagate(orv_node_get_junction_tree(node(d, "R")), orv_equilibrium_sum, orv_mode_normal),
            orv_error_invalid_evidence);
  ASSERT_EQ(orv_node_retract_findings(node(d, "R")), orv_error_none);
  ASSERT_EQ(orv_node_enter_finding(node(d, "D"), 0, 0.5), orv_error_none);
  EXPECT_EQ(orv_domain_propagate(dd, orv_equilibrium_sum, orv_mode_normal), orv_error_invalid_evidence);
  ASSERT_EQ(orv_node_retract_findings(node(d, "D")), orv_error_none);
  ASSERT_EQ(orv_node_select_state(node(d, "O"), 1), orv_error_none);
  EXPECT_EQ(orv_domain_propagate(dd, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  ASSERT_EQ(orv_domain_retract_findings(dd), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(dd, orv_equilibrium_sum, orv_mode_normal), orv_error_none);

  // Solve, then make the decision: each option's expected utility is what
  // the domain expects once that option is chosen, and the choice tells
  // nothing about what the decision observed.
  ASSERT_EQ(orv_domain_update_policies(dd), orv_error_none);
  const std::vector<double> solved = table_of(node(d, "D"));
  std::vector<double> option(3);
  for (std::size_t s = 0; s < 3; ++s) option[s] = orv_node_get_expected_utility(node(d, "D"), s);
  const double best_fixed = std::max({option[0], option[1], option[2]});
  const double solved_eu = orv_domain_get_expected_utility(dd);
  EXPECT_GT(solved_eu, best_fixed + 0.1);  // observing O is worth something here
  for (std::size_t s = 0; s < 3; ++s) {
    ASSERT_EQ(orv_node_select_state(node(d, "D"), s), orv_error_none);
    ASSERT_EQ(orv_node_select_state(node(d, "R"), 1), orv_error_none);  // below a made decision: allowed
    ASSERT_EQ(orv_node_retract_findings(node(d, "R")), orv_error_none);
    ASSERT_EQ(orv_domain_propagate(dd, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
    EXPECT_NEAR(orv_domain_get_expected_utility(dd), option[s], 1e-9) << "option " << s;
    EXPECT_NEAR(orv_node_get_belief(node(d, "O"), 0), prior_o, 1e-12) << "option " << s;
    // A made decision is never updated.
    ASSERT_EQ(orv_domain_update_policies(dd), orv_error_none);
    EXPECT_EQ(table_of(node(d, "D")), solved);
  }
  ASSERT_EQ(orv_node_retract_findings(node(d, "D")), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(dd, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_NEAR(orv_domain_get_expected_utility(dd), solved_eu, 1e-9);
}

TEST_F(Diagram, RequisiteParentsDropWorthlessObservations) {
  EXPECT_EQ(test::names_of(orv_node_get_requisite_parents(node(d, "D"))), std::vector<std::string>{"O"});
  EXPECT_EQ(test::names_of(orv_node_get_requisite_ancestors(node(d, "D"))), (std::vector<std::string>{"O", "H"}));
  // Once the utility ignores H, observing O is worthless as well.
  std::string text = kDiagram;
  const std::string from = "potential (U | D H R) { data = (((10 20) (-5 0)) ((3 4) (30 25)) ((8 8) (8 8))); }";
  text.replace(text.find(from), from.size(), "potential (U | D R) { data = ((10 20) (3 4) (8 8)); }");
  DomainPtr e(orv_net_parse_from_string(text.c_str(), nullptr));
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(test::names_of(orv_node_get_requisite_parents(node(e, "D"))), std::vector<std::string>{});
  EXPECT_EQ(test::names_of(orv_node_get_requisite_ancestors(node(e, "D"))), std::vector<std::string>{});

  // Remembered observations of another problem are not requisite: D2
  // remembers O1 and D1, but its utility depends only on K, which O2
  // observes and nothing else touches.
  DomainPtr f = compiled(R"(net {}
node H { states = ("lo" "hi"); }
node K { states = ("lo" "hi"); }
node O1 { states = ("y" "n"); }
node O2 { states = ("y" "n"); }
decision D1 { states = ("a" "b"); }
decision D2 { states = ("a" "b"); }
utility U1 { }
utility U2 { }
potential (H) { data = (0.4 0.6); }
potential (K) { data = (0.7 0.3); }
potential (O1 | H) { data = ((0.9 0.1) (0.2 0.8)); }
potential (O2 | K) { data = ((0.6 0.4) (0.3 0.7)); }
potential (D1 | O1) { }
potential (D2 | O1 D1 O2) { }
potential (U1 | D1 H) { data = ((5 -2) (0 3)); }
potential (U2 | D2 K) { data = ((4 -4) (-1 2)); }
)");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(test::names_of(orv_domain_get_decision_order(f.get())), (std::vector<std::string>{"D2", "D1"}));
  EXPECT_EQ(test::names_of(orv_node_get_requisite_parents(node(f, "D2"))), std::vector<std::string>{"O2"});
  EXPECT_EQ(test::names_of(orv_node_get_requisite_ancestors(node(f, "D2"))), (std::vector<std::string>{"O2", "K"}));
  EXPECT_EQ(test::names_of(orv_node_get_requisite_parents(node(f, "D1"))), std::vector<std::string>{"O1"});
}

TEST(Decisions, UnrelatedDecisionsAreVisitedInDomainNodeOrder) {
  DomainPtr d = test::new_domain();
  orv_node_t first = test::add_node(d.get(), "First", orv_category_decision);
  orv_node_t second = test::add_node(d.get(), "Second", orv_category_decision);
  orv_node_t u = test::add_node(d.get(), "U", orv_category_utility, orv_kind_other);
  for (orv_node_t x : {first, second}) {
    test::set_state_count(x, 2);
    ASSERT_EQ(orv_node_add_parent(u, x), orv_error_none);
    double *policy = orv_table_get_data(orv_node_get_table(x));
    policy[0] = policy[1] = 0.5;
  }
  const double payoff[] = {1, 2, 3, 4};
  std::copy(payoff, payoff + 4, orv_table_get_data(orv_node_get_table(u)));
  ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
  // The newest node heads a domain built by calls.
  EXPECT_EQ(test::names_of(orv_domain_get_decision_order(d.get())), (std::vector<std::string>{"Second", "First"}));
  ASSERT_EQ(orv_domain_update_policies(d.get()), orv_error_none);
  EXPECT_EQ(orv_domain_get_expected_utility(d.get()), 4.0);
  EXPECT_EQ(orv_node_get_expected_utility(first, 0), 3.0);  // Second follows its policy: option 1
}

TEST(Decisions, UtilitySpreadOverPossibleConfigurations) {
  DomainPtr d = compiled(R"(net {}
node X { states = ("s0" "s1"); }
decision D { states = ("go"); }
utility U { }
potential (X) { data = (0.25 0.75); }
potential (D) { data = (1); }
potential (U | X) { data = (10 2); }
)");
  ASSERT_NE(d, nullptr);
  orv_node_t u = node(d, "U");
  // Expected utility, variance, minimum and maximum over the possible configurations.
  const auto spread = [&] {
    return std::vector<double>{orv_node_get_expected_utility(u, 0), orv_node_get_variance_of_utility(u),
                               orv_node_get_min_utility(u), orv_node_get_max_utility(u)};
  };
  test::expect_all_near(spread(), {4.0, 12.0, 2.0, 10.0}, 1e-12);
  ASSERT_EQ(orv_node_select_state(node(d, "X"), 0), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_EQ(spread(), (std::vector<double>{10.0, 0.0, 10.0, 10.0}));
  EXPECT_EQ(orv_node_get_expected_utility(node(d, "D"), 0), 10.0);
}

TEST_F(Diagram, UsageAndPreconditions) {
  orv_node_t chance = node(d, "H"), decision = node(d, "D"), utility = node(d, "U");
  double out[12];
  test::expect_usage_calls(
      {
          {"update null", [] { return orv_domain_update_policies(nullptr) == orv_error_usage; }},
          {"order null", [] { return orv_domain_get_decision_order(nullptr) == nullptr; }},
          {"requisite parents of chance", [&] { return orv_node_get_requisite_parents(chance) == nullptr; }},
          {"requisite ancestors null", [] { return orv_node_get_requisite_ancestors(nullptr) == nullptr; }},
          {"variance of chance", [&] { return orv_node_get_variance_of_utility(chance) == -1.0; }},
          {"min null", [] { return orv_node_get_min_utility(nullptr) == -1.0; }},
          {"max of decision", [&] { return orv_node_get_max_utility(decision) == -1.0; }},
          {"option out of range", [&] { return orv_node_get_expected_utility(decision, 3) == -1.0; }},
          {"row utilities of chance", [&] { return orv_node_get_decision_utilities(chance, out, nullptr) == orv_error_usage; }},
          {"row utilities into null", [&] { return orv_node_get_decision_utilities(decision, nullptr, out) == orv_error_usage; }},
      },
      [&] { return orv_node_get_max_utility(utility) == 30.0; });
  // Unpropagated evidence or a touched table: usage, nothing changes.
  const std::vector<double> before = policies(dd);
  ASSERT_EQ(orv_node_select_state(node(d, "O"), 0), orv_error_none);
  EXPECT_EQ(orv_domain_update_policies(dd), orv_error_usage);
  ASSERT_EQ(orv_node_retract_findings(node(d, "O")), orv_error_none);
  ASSERT_EQ(orv_node_touch_table(chance), orv_error_none);
  EXPECT_EQ(orv_domain_update_policies(dd), orv_error_usage);
  EXPECT_EQ(policies(dd), before);
  ASSERT_NE(orv_domain_new_node(dd, orv_category_chance, orv_kind_discrete), nullptr);  // uncompiles
  EXPECT_EQ(orv_domain_update_policies(dd), orv_error_not_compiled);
  EXPECT_RESULT(orv_domain_get_decision_order(dd), nullptr, orv_error_not_compiled);
  EXPECT_EQ(orv_node_get_decision_utilities(decision, out, nullptr), orv_error_not_compiled);
}

// On one thread a failing update restores the policies and leaves the
// equilibrium alone; table operations fanned out onto threads allocate as they
// go, so failures there come in the middle of the updates and reset the tree.
TEST(Decisions, FailedUpdateRestoresPoliciesOnOneThreadOrSeveral) {
  for (std::size_t level : {1, 2}) {
    SCOPED_TRACE(level);
    DomainPtr d(orv_net_parse_domain(ORVEL_DATA_DIR "/networks/limid/limited3.net", nullptr, nullptr));
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
    ASSERT_EQ(orv_domain_set_concurrency_level(d.get(), level), orv_error_none);
    ASSERT_EQ(orv_domain_set_grain_size(d.get(), 1), orv_error_none);
    const std::vector<double> before = policies(d.get());
    const double eu = orv_domain_get_expected_utility(d.get());
    ASSERT_NE(orv_domain_get_decision_order(d.get()), nullptr);  // the domain keeps it once built
    std::size_t resets = 0;
    const auto done = test::expect_no_memory_sweep(
        "update policies", [&] { return orv_domain_update_policies(d.get()); },
        [&] {
          EXPECT_EQ(policies(d.get()), before);
          if (orv_domain_equilibrium_is(d.get(), orv_equilibrium_none) == 1) {
            ++resets;
            ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
            EXPECT_NEAR(orv_domain_get_expected_utility(d.get()), eu, 1e-9);
          } else {
            EXPECT_EQ(orv_domain_get_expected_utility(d.get()), eu);
          }
        });
    EXPECT_EQ(done.result, orv_error_none);
    EXPECT_GT(done.n, 3u);
    EXPECT_NE(policies(d.get()), before);
    EXPECT_EQ(resets > 0, level == 2);
  }
}

struct RowValues {
  std::vector<double> utilities, probabilities;
  orv_status_t status;
};

RowValues row_values(orv_node_t decision) {
  RowValues v{std::vector<double>(orv_table_get_size(orv_node_get_table(decision)), -7.0),
              std::vector<double>(4, -7.0), orv_error_none};
  v.status = orv_node_get_decision_utilities(decision, v.utilities.data(), v.probabilities.data());
  return v;
}

// Per-row expected utilities of D (rows O,N; options a b c): observing a
// parent makes the other rows impossible without changing the values of the
// rows that remain, and making the decision changes nothing above it.
TEST_F(Diagram, RowUtilitiesUnderEvidenceAndTheirContract) {
  orv_node_t decision = node(d, "D");
  const RowValues free = row_values(decision);
  ASSERT_EQ(free.status, orv_error_none);
  // P(O = y) = 0.3 * 0.8 + 0.7 * 0.1 = 0.31; N is uniform and independent.
  const std::vector<double> rows{0.155, 0.155, 0.345, 0.345};
  test::expect_all_near(free.probabilities, rows, 1e-12);

  ASSERT_EQ(orv_node_select_state(node(d, "O"), 1), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(dd, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  const RowValues observed = row_values(decision);
  ASSERT_EQ(observed.status, orv_error_none);
  std::vector<double> remaining = free.utilities;  // rows (y, x) and (y, z) are now impossible
  std::fill(remaining.begin(), remaining.begin() + 6, 0.0);
  test::expect_all_near(observed.utilities, remaining, 1e-9);
  test::expect_all_near(observed.probabilities, {0.0, 0.0, 0.5, 0.5}, 1e-12);
  ASSERT_EQ(orv_node_select_state(decision, 2), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(dd, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  const RowValues made = row_values(decision);
  test::expect_all_near(made.utilities, observed.utilities, 1e-12, "utilities");
  test::expect_all_near(made.probabilities, observed.probabilities, 1e-12, "probabilities");

  ASSERT_EQ(orv_domain_retract_findings(dd), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(dd, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  const std::vector<double> policy = table_of(decision);
  const double eu = orv_domain_get_expected_utility(dd);
  RowValues last;
  const auto done = test::expect_no_memory_sweep(
      "row utilities", [&] { return (last = row_values(decision)).status; },
      [&] {
        EXPECT_EQ(last.utilities, std::vector<double>(12, -7.0));  // nothing half written
        EXPECT_EQ(table_of(decision), policy);
        EXPECT_EQ(orv_domain_get_expected_utility(dd), eu);
      });
  EXPECT_EQ(done.result, orv_error_none);
  EXPECT_GT(done.n, 0u);
  const RowValues again = row_values(decision);
  EXPECT_EQ(again.utilities, free.utilities);
  EXPECT_EQ(again.probabilities, free.probabilities);
}

// The belief report writes beside each option of a decision the expected
// utility of taking it in every row, also for options the policy never takes.
TEST_F(Diagram, BeliefReportGivesOptionsTheUtilityOfTakingThem) {
  ASSERT_EQ(orv_domain_update_policies(d.get()), orv_error_none);
  orv_node_t decision = node(d, "D");
  const std::string report = test::capture_log(d.get(), [&] { ASSERT_EQ(orv_node_report_beliefs(decision), orv_error_none); });
  char expected[256];
  std::snprintf(expected, sizeof expected, "\n    D:\n\ta          %g (%g)\n\tb          %g (%g)\n\tc          0 (%g)\n",
                orv_node_get_belief(decision, 0), orv_node_get_expected_utility(decision, 0),
                orv_node_get_belief(decision, 1), orv_node_get_expected_utility(decision, 1),
                orv_node_get_expected_utility(decision, 2));
  EXPECT_EQ(report, expected);
  EXPECT_GT(orv_node_get_expected_utility(decision, 2), 0.0);  // c is never chosen, yet has its utility
}

}  // namespace
}  // namespace orv
