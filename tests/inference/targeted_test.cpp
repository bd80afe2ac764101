// Targeted queries on small networks: function nodes, impossible evidence,
// argument checks and allocation failures, and that the domain (compiled
// state and evidence) is left as it was; CG networks and LIMIDs against the
// compiled domain. (Random networks against brute force: propagation_test.)
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"
#include "support/inference_checks.h"
#include "support/network_fixture.h"

namespace orv {
namespace {

using test::DomainPtr;
using test::expect_all_near;
using test::queried_marginal;

// Whether a marginal query answers (its table is freed at once).
bool answers(orv_domain_t d, orv_node_t *list, double *log_pe) {
  orv_table_t t = orv_domain_query_marginal(d, list, log_pe);
  if (t) orv_table_delete(t);
  return t != nullptr;
}

// A discrete function node's table holds the node alone: its parents do not
// condition it, as in the compiled path.
TEST(TargetedQuery, FunctionNodesAgreeWithPropagation) {
  DomainPtr d = test::new_domain();
  orv_node_t a = test::variable(d.get(), "A", 2);
  orv_node_t f = test::variable(d.get(), "F", 3, orv_category_function);
  orv_node_t c = test::variable(d.get(), "C", 2);
  test::family(a, {}, {0.3, 0.7});
  ASSERT_EQ(orv_node_add_parent(f, a), orv_error_none);
  double *fd = orv_table_get_data(orv_node_get_table(f));
  fd[0] = 0.2, fd[1] = 0.5, fd[2] = 0.3;
  test::family(c, {a, f}, {0.9, 0.1, 0.4, 0.6, 0.5, 0.5, 0.2, 0.8, 0.7, 0.3, 0.1, 0.9});
  ASSERT_EQ(orv_node_select_state(c, 1), orv_error_none);
  test::expect_queries_match_compiled(d.get(), {f}, {a, f}, 1e-12, "function node");
}

// A small network with evidence entered after propagation: the query sees the
// new evidence, and the domain still reports the old propagation.
struct Entered {
  DomainPtr d = test::new_domain();
  std::vector<orv_node_t> nodes;
  Entered() {
    std::mt19937 rng(7);
    nodes = test::random_network(d.get(), 7, 2, 3, rng);
    orv_domain_compile(d.get());
    orv_node_select_state(nodes[1], 0);
    orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal);
    orv_node_select_state(nodes[5], 1);
    orv_node_enter_finding(nodes[3], 0, 0.5);
  }
  // Beliefs, evidence codes and log P(e) as the domain reports them.
  std::vector<double> snapshot() const {
    std::vector<double> s{orv_domain_get_log_normalization_constant(d.get()),
                          static_cast<double>(orv_domain_evidence_to_propagate(d.get()))};
    for (orv_node_t n : nodes) {
      s.push_back(static_cast<double>(orv_node_get_selected_state(n)));
      for (std::size_t k = 0; k < orv_node_get_number_of_states(n); ++k) {
        s.push_back(orv_node_get_belief(n, k));
        s.push_back(orv_node_get_entered_finding(n, k));
      }
    }
    return s;
  }
};

TEST(TargetedQuery, SeesEnteredEvidenceAndLeavesTheDomainAloneAlsoWhenAllocationsFail) {
  Entered e;
  const std::vector<double> before = e.snapshot();
  double log_pe = 0.0;
  const std::vector<orv_node_t> targets{e.nodes[6], e.nodes[5], e.nodes[0]};
  expect_all_near(queried_marginal(e.d.get(), targets, &log_pe), test::brute_force_joint(e.d.get(), targets), 1e-12,
                  "joint");
  EXPECT_NEAR(log_pe, std::log(test::brute_force(e.d.get()).probability), 1e-12);
  EXPECT_EQ(e.snapshot(), before);

  orv_node_t list[] = {e.nodes[6], e.nodes[2], nullptr};
  const auto run = test::expect_no_memory_sweep(
      "query_marginal", [&] { return answers(e.d.get(), list, &log_pe); }, [&] { EXPECT_EQ(e.snapshot(), before); });
  EXPECT_GT(run.n, 3u);
  std::vector<double> beliefs(16);
  test::expect_no_memory_sweep(
      "query_beliefs", [&] { return orv_domain_query_beliefs(e.d.get(), list, beliefs.data(), &log_pe); },
      [&] { EXPECT_EQ(e.snapshot(), before); });
}

TEST(TargetedQuery, ImpossibleEvidenceIsReportedLikePropagation) {
  DomainPtr d = test::new_domain();
  orv_node_t a = test::variable(d.get(), "A", 2);
  orv_node_t b = test::variable(d.get(), "B", 2);
  orv_node_t c = test::variable(d.get(), "C", 2);
  test::family(a, {}, {0.5, 0.5});
  test::family(b, {a}, {1.0, 0.0, 0.0, 1.0});
  test::family(c, {}, {0.4, 0.6});
  orv_node_select_state(a, 0);
  orv_node_select_state(b, 1);
  orv_node_t list[] = {c, nullptr};
  double log_pe = 0.0;
  std::vector<double> beliefs(2);
  EXPECT_RESULT(orv_domain_query_marginal(d.get(), list, &log_pe), nullptr, orv_error_inconsistency_or_underflow);
  EXPECT_EQ(orv_domain_query_beliefs(d.get(), list, beliefs.data(), &log_pe), orv_error_inconsistency_or_underflow);
  // C is independent of the impossible pair: without P(e) nothing bears on it.
  EXPECT_EQ(queried_marginal(d.get(), {c}, nullptr), (std::vector<double>{0.4, 0.6}));
  // A target that carries hard evidence is known without any table.
  orv_node_t on_b[] = {b, nullptr};
  EXPECT_EQ(orv_domain_query_beliefs(d.get(), on_b, beliefs.data(), nullptr), orv_error_none);
  EXPECT_EQ(beliefs, (std::vector<double>{0.0, 1.0}));
}

TEST(TargetedQuery, BadArgumentsAreUsageErrors) {
  DomainPtr d = test::new_domain();
  DomainPtr other = test::new_domain();
  DomainPtr clean = test::new_domain();
  test::variable(clean.get(), "C", 2);
  orv_node_t a = test::variable(d.get(), "A", 2);
  orv_node_t x = test::variable(other.get(), "X", 2);
  test::add_node(other.get(), "U", orv_category_utility, orv_kind_other);
  orv_node_t g = test::add_continuous(d.get(), "G");
  orv_node_t own[] = {a, nullptr}, repeated[] = {a, a, nullptr}, foreign[] = {x, nullptr}, cg[] = {g, nullptr},
             none[] = {nullptr};
  double beliefs[4];
  auto marginal_fails = [&](orv_domain_t dom, orv_node_t *list) { return !orv_domain_query_marginal(dom, list, nullptr); };
  auto beliefs_fail = [&](orv_domain_t dom, orv_node_t *list, double *out) {
    return orv_domain_query_beliefs(dom, list, out, nullptr) == orv_error_usage;
  };
  test::expect_usage_calls(
      {{"null domain", [&] { return marginal_fails(nullptr, own); }},
       {"node as domain", [&] { return marginal_fails(reinterpret_cast<orv_domain_t>(a), own); }},
       {"null list", [&] { return marginal_fails(d.get(), nullptr); }},
       {"repeated node", [&] { return marginal_fails(d.get(), repeated); }},
       {"other domain's node", [&] { return marginal_fails(d.get(), foreign); }},
       {"continuous node", [&] { return marginal_fails(d.get(), cg); }},
       {"beliefs: null domain", [&] { return beliefs_fail(nullptr, own, beliefs); }},
       {"beliefs: null output", [&] { return beliefs_fail(d.get(), own, nullptr); }},
       {"beliefs: other domain's node", [&] { return beliefs_fail(d.get(), foreign, beliefs); }}},
      [&] {
        double log_pe = 1.0;
        return orv_domain_query_beliefs(clean.get(), none, nullptr, &log_pe) == orv_error_none && log_pe == 0.0;
      });
}

// CG networks and LIMIDs are answered on a compiled copy: the same numbers
// as compiling the domain itself, which is left uncompiled and unchanged.
TEST(TargetedQuery, ConditionalGaussianNetworksAndLimidsMatchTheCompiledDomain) {
  for (const char *file : {"cg/cg_small_a", "cg/cg_medium_1", "limid/soluble1"}) {
    SCOPED_TRACE(file);
    DomainPtr d = test::load_network(file);
    ASSERT_NE(d, nullptr);
    std::vector<orv_node_t> discrete;
    bool value_entered = false;
    for (orv_node_t n = orv_domain_get_first_node(d.get()); n; n = orv_node_get_next(n)) {
      if (orv_node_get_category(n) != orv_category_chance) continue;
      if (orv_node_get_kind(n) == orv_kind_discrete) discrete.push_back(n);
      else if (!value_entered) value_entered = orv_node_enter_value(n, 0.5) == orv_error_none;
    }
    ASSERT_GE(discrete.size(), 3u);
    ASSERT_EQ(orv_node_select_state(discrete[0], 0), orv_error_none);
    test::expect_queries_match_compiled(d.get(), {discrete[2], discrete[1]}, discrete, 1e-12, file);
  }
}

TEST(TargetedQuery, AllocationFailuresOnTheCompiledCopyLeaveNothingBehind) {
  DomainPtr d = test::load_network("cg/cg_small_a");
  ASSERT_NE(d, nullptr);
  orv_node_t first = orv_domain_get_first_node(d.get());
  orv_node_t list[] = {first, nullptr};
  double log_pe = 0.0;
  const auto run = test::expect_no_memory_sweep("query_marginal on a CG network",
                                                [&] { return answers(d.get(), list, &log_pe); },
                                                [&] { EXPECT_FALSE(orv_domain_is_compiled(d.get())); });
  EXPECT_GT(run.n, 10u);
}

}  // namespace
}  // namespace orv
