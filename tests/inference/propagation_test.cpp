// Evidence entry and status (finding vectors, the per-tree count of evidence to
// propagate, value evidence, argument checks), and propagation against brute
// force on random networks: sum and max equilibrium, fast retraction against
// retracting by hand, joint marginals, targeted queries, constants, resets,
// failures, and that propagation allocates nothing.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "compile/junction_forest.h"
#include "inference/evidence.h"
#include "model/node.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"
#include "support/inference_checks.h"
#include "support/network_fixture.h"

namespace orv {
namespace {

using namespace test;

constexpr double kTolerance = 1e-10;

void expect_beliefs(const std::vector<orv_node_t> &nodes, const test::Exact &exact, bool max, const char *what) {
  for (orv_node_t n : nodes)
    for (std::size_t s = 0; s < n->state_count && !(max && n->propagated_state >= 0); ++s) {  // hard evidence: exact
      const double expected = max ? exact.max_marginal.at(n)[s] : exact.marginal.at(n)[s];
      EXPECT_NEAR(orv_node_get_belief(n, s), expected, kTolerance) << what << " " << n->name << " state " << s;
    }
}

// Propagates, expecting that propagation allocates nothing.
orv_status_t propagate(orv_domain_t d, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  const std::size_t before = testing::allocations();
  const orv_status_t status = orv_domain_propagate(d, equilibrium, mode);
  EXPECT_EQ(testing::allocations(), before) << "propagation allocated";
  return status;
}

// Hard findings and likelihoods on random nodes; a likelihood weight is zero
// now and then, so that the evidence is sometimes impossible.
void random_evidence(const std::vector<orv_node_t> &nodes, std::mt19937 &rng, std::size_t count) {
  std::uniform_real_distribution<double> weight(0.1, 1.0);
  for (std::size_t k = 0; k < count; ++k) {
    orv_node_t n = nodes[rng() % nodes.size()];
    if (rng() % 2) {
      orv_node_select_state(n, rng() % n->state_count);
    } else {
      for (std::size_t s = 0; s < n->state_count; ++s) orv_node_enter_finding(n, s, rng() % 2 ? weight(rng) : 0.0);
    }
  }
}

// Per random network and evidence: sum propagation; targeted queries (a
// random target set's joint with and without P(e), all beliefs in one batch);
// a joint of two or three nodes and their mutual information; fast retraction
// (each node's belief without its own evidence, by retracting it by hand) and
// max propagation. Impossible evidence fails both ways. No propagation allocates.
TEST(Propagation, RandomNetworksMatchBruteForce) {
  std::mt19937 rng(7);
  int impossible = 0;
  for (int round = 0; round < 30; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    auto d = new_domain();
    const auto nodes = random_network(d.get(), 3 + rng() % 7, 1 + round % 3, 3, rng);
    ASSERT_EQ(compile_simply(d.get()), orv_error_none);
    expect_beliefs(nodes, brute_force(d.get()), false, "prior");
    EXPECT_NEAR(orv_domain_get_normalization_constant(d.get()), 1.0, 1e-12);

    random_evidence(nodes, rng, 1 + rng() % 3);
    const test::Exact exact = brute_force(d.get());
    if (exact.probability == 0.0) {
      EXPECT_EQ(propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_inconsistency_or_underflow);
      orv_node_t first[] = {nodes[0], nullptr};
      double log_pe = 0.0;
      EXPECT_RESULT(orv_domain_query_marginal(d.get(), first, &log_pe), nullptr, orv_error_inconsistency_or_underflow);
      ++impossible;
      continue;
    }
    ASSERT_EQ(propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
    expect_beliefs(nodes, exact, false, "posterior");
    EXPECT_NEAR(orv_domain_get_normalization_constant(d.get()), exact.probability, 1e-12 * exact.probability);
    EXPECT_NEAR(orv_domain_get_log_normalization_constant(d.get()), std::log(exact.probability), 1e-10);

    std::vector<orv_node_t> targets;
    for (orv_node_t n : nodes)
      if (rng() % 3 == 0) targets.push_back(n);
    const std::vector<double> joint = brute_force_joint(d.get(), targets);
    double log_pe = 0.0, batch_log_pe = 0.0;
    expect_all_near(queried_marginal(d.get(), targets, &log_pe), joint, 1e-12, "targeted joint");
    expect_all_near(queried_marginal(d.get(), targets, nullptr), joint, 1e-12, "targeted joint without P(e)");
    expect_all_near(queried_beliefs(d.get(), nodes, &batch_log_pe), beliefs_of(nodes), 1e-10, "batch");
    EXPECT_NEAR(log_pe, std::log(exact.probability), 1e-9);
    EXPECT_NEAR(batch_log_pe, std::log(exact.probability), 1e-9);

    std::vector<orv_node_t> pick(nodes);
    std::shuffle(pick.begin(), pick.end(), rng);
    pick.resize(2 + rng() % 2);
    expect_all_near(compiled_marginal(d.get(), pick), brute_force_joint(d.get(), pick), 1e-10, "joint");
    const std::vector<double> pair = brute_force_joint(d.get(), {pick[0], pick[1]});
    const std::size_t nb = pick[1]->state_count;
    double information = 0.0;
    for (std::size_t i = 0; i < pick[0]->state_count; ++i)
      for (std::size_t j = 0; j < nb; ++j) {
        double pa = 0.0, pb = 0.0;
        for (std::size_t k = 0; k < nb; ++k) pa += pair[i * nb + k];
        for (std::size_t k = 0; k < pick[0]->state_count; ++k) pb += pair[k * nb + j];
        if (pair[i * nb + j] > 0) information += pair[i * nb + j] * std::log(pair[i * nb + j] / (pa * pb));
      }
    EXPECT_NEAR(orv_node_get_mutual_information(pick[0], pick[1]), information, 1e-10);

    ASSERT_EQ(propagate(d.get(), orv_equilibrium_sum, orv_mode_fast_retraction), orv_error_none);
    EXPECT_EQ(orv_domain_evidence_mode_is(d.get(), orv_mode_fast_retraction), 1);
    EXPECT_NEAR(orv_domain_get_normalization_constant(d.get()), exact.probability, 1e-12 * exact.probability);
    for (orv_node_t n : nodes) {
      std::vector<double> expected = exact.marginal.at(n);
      if (n->selected_state != -1) {
        // Retract by hand, compare, and restore.
        const long code = n->selected_state;
        n->selected_state = -1;
        expected = brute_force(d.get()).marginal.at(n);
        n->selected_state = code;
      }
      expect_all_near(beliefs_of({n}), expected, kTolerance, std::string(orv_node_get_name(n)) + " without evidence");
    }

    ASSERT_EQ(propagate(d.get(), orv_equilibrium_max, orv_mode_normal), orv_error_none);
    EXPECT_EQ(orv_domain_equilibrium_is(d.get(), orv_equilibrium_max), 1);
    expect_beliefs(nodes, exact, true, "max");
    EXPECT_NEAR(orv_domain_get_normalization_constant(d.get()), exact.max_probability,
                1e-12 * exact.max_probability);
  }
  EXPECT_GT(impossible, 0);
  EXPECT_RESULT(orv_domain_get_marginal(nullptr, nullptr), nullptr, orv_error_usage);
}

TEST(Propagation, ImpossibleEvidenceFailsAndResets) {
  auto d = new_domain();
  orv_node_t a = test::variable(d.get(), "A", 2), b = test::variable(d.get(), "B", 2);
  test::family(a, {}, {0.3, 0.7});
  test::family(b, {a}, {1.0, 0.0, 0.4, 0.6});
  ASSERT_EQ(compile_simply(d.get()), orv_error_none);
  orv_node_select_state(a, 0);
  orv_node_select_state(b, 1);
  EXPECT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal),
            orv_error_inconsistency_or_underflow);
  EXPECT_EQ(orv_domain_equilibrium_is(d.get(), orv_equilibrium_none), 1);
  EXPECT_RESULT(orv_node_get_belief(a, 0), -1.0, orv_error_no_equilibrium);
  EXPECT_EQ(orv_node_get_selected_state(b), 1);  // the user's evidence stays
  orv_node_retract_findings(a);
  orv_node_retract_findings(b);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_NEAR(orv_node_get_belief(b, 0), 0.3 + 0.7 * 0.4, 1e-15);
  // Propagating again does nothing and keeps the constant.
  orv_node_select_state(b, 0);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  const double constant = orv_domain_get_normalization_constant(d.get());
  EXPECT_NEAR(constant, 0.58, 1e-15);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_EQ(orv_domain_get_normalization_constant(d.get()), constant);
  EXPECT_EQ(beliefs_of({b}), (std::vector<double>{1.0, 0.0}));
  EXPECT_NEAR(orv_node_get_entropy(a), -(0.3 / 0.58) * std::log(0.3 / 0.58) - (0.28 / 0.58) * std::log(0.28 / 0.58),
              1e-12);
  EXPECT_EQ(orv_node_get_entropy(b), 0.0);
}

TEST(Evidence, FindingVectorsAreClassified) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 3);
  for (std::size_t s = 0; s < 3; ++s) ASSERT_EQ(orv_node_enter_finding(a, s, 1.0), orv_error_none);
  EXPECT_EQ(orv_node_get_selected_state(a), -1);  // all ones: no evidence
  EXPECT_EQ(orv_node_evidence_is_entered(a), 0);

  for (std::size_t s = 0; s < 3; ++s) orv_node_enter_finding(a, s, 0.0);
  EXPECT_EQ(orv_node_get_selected_state(a), -2);  // all zeros
  EXPECT_EQ(orv_node_likelihood_is_entered(a), 0);
  EXPECT_EQ(orv_node_get_entered_finding(a, 1), 0.0);

  orv_node_enter_finding(a, 2, 1.0);
  EXPECT_EQ(orv_node_get_selected_state(a), 2);  // exactly one 1
  orv_node_enter_finding(a, 0, 1.0);
  EXPECT_EQ(orv_node_get_selected_state(a), -2);  // two ones

  ASSERT_EQ(orv_node_select_state(a, 1), orv_error_none);
  ASSERT_EQ(orv_node_enter_finding(a, 0, 0.5), orv_error_none);
  EXPECT_EQ(orv_node_get_selected_state(a), -2);
  EXPECT_EQ(orv_node_get_entered_finding(a, 0), 0.5);
  EXPECT_EQ(orv_node_get_entered_finding(a, 1), 1.0);
  EXPECT_EQ(orv_node_get_entered_finding(a, 2), 0.0);
  EXPECT_EQ(orv_node_likelihood_is_entered(a), 1);

  // Selecting after a likelihood keeps the vector but the code wins.
  ASSERT_EQ(orv_node_select_state(a, 2), orv_error_none);
  EXPECT_EQ(orv_node_get_entered_finding(a, 0), 0.0);
  EXPECT_EQ(orv_node_get_entered_finding(a, 2), 1.0);
  EXPECT_EQ(a->entered_finding[0], 0.5);
  ASSERT_EQ(orv_node_retract_findings(a), orv_error_none);
  EXPECT_EQ(orv_node_get_entered_finding(a, 0), 1.0);
  EXPECT_EQ(orv_node_evidence_is_entered(a), 0);
}

TEST(Evidence, TreeCountIsKeptExact) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 2), one = variable(d.get(), "One", 1);
  ASSERT_EQ(build_forest(d.get(), {{a, b}, {one}}), orv_error_none);
  orv_junction_tree_t ab = a->junction_tree, single = one->junction_tree;
  ASSERT_NE(ab, single);
  orv_node_select_state(a, 0);
  EXPECT_EQ(ab->evidence_to_propagate, 1u);
  EXPECT_EQ(orv_node_evidence_to_propagate(a), 1);
  orv_node_select_state(a, 0);  // no change
  orv_node_select_state(a, 1);
  EXPECT_EQ(ab->evidence_to_propagate, 1u);
  orv_node_enter_finding(b, 0, 0.25);
  EXPECT_EQ(ab->evidence_to_propagate, 2u);
  orv_node_select_state(one, 0);  // the only state tells nothing
  EXPECT_EQ(single->evidence_to_propagate, 0u);
  EXPECT_EQ(orv_node_evidence_to_propagate(one), 0);
  EXPECT_EQ(orv_node_evidence_is_entered(one), 1);
  ASSERT_EQ(orv_domain_retract_findings(d.get()), orv_error_none);
  EXPECT_EQ(ab->evidence_to_propagate, 0u);
  // Retraction of something never propagated changes nothing to propagate.
  orv_node_retract_findings(b);
  EXPECT_EQ(ab->evidence_to_propagate, 0u);
}

TEST(Evidence, ValuesSelectStatesOfNumericNodes) {
  auto d = new_domain();
  orv_node_t n = variable(d.get(), "N", 3), i = variable(d.get(), "I", 3), l = variable(d.get(), "L", 2);
  n->subtype = orv_subtype_number;
  n->state_values.assign({1.0, 2.5, 7.0, -1.0});
  i->subtype = orv_subtype_interval;
  i->state_values.assign({0.0, 1.0, 1.0, 2.0});
  // Each value in turn: the status, then the node's selected state (kept
  // when the value is refused).
  const struct {
    orv_node_t node;
    double value;
    orv_status_t status;
    long selected;
  } values[] = {{n, 2.5, orv_error_none, 1},  {n, 3.0, orv_error_usage, 1}, {i, 1.0, orv_error_none, 1},  // the point
                {i, 0.5, orv_error_none, 0},  {i, 1.5, orv_error_none, 2},  {i, 2.5, orv_error_usage, 2},
                {l, 0.0, orv_error_usage, -1}};  // a labelled node
  for (const auto &v : values) {
    EXPECT_EQ(orv_node_enter_value(v.node, v.value), v.status) << v.value;
    EXPECT_EQ(orv_node_get_selected_state(v.node), v.selected) << v.value;
  }
  EXPECT_EQ(orv_node_get_entered_value(n), 2.5);
  orv_node_select_state(n, 0);
  EXPECT_RESULT(orv_node_get_entered_value(n), -1.0, orv_error_usage);  // selecting clears the value

  orv_node_t x = test::add_node(d.get(), "X", orv_category_chance, orv_kind_continuous);
  ASSERT_EQ(orv_node_enter_value(x, -3.5), orv_error_none);
  EXPECT_EQ(orv_node_get_entered_value(x), -3.5);
  EXPECT_EQ(orv_node_evidence_is_entered(x), 1);
  EXPECT_EQ(orv_node_select_state(x, 0), orv_error_usage);
  orv_node_retract_findings(x);
  EXPECT_EQ(orv_node_evidence_is_entered(x), 0);
}

TEST(EvidenceAndPropagation, EntryPointsRefuseBadArguments) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2);
  orv_node_t u = variable(d.get(), "U", 0, orv_category_utility);
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(orv_node_select_state(nullptr, 0), orv_error_usage);
  EXPECT_EQ(orv_node_select_state(a, 2), orv_error_usage);
  EXPECT_EQ(orv_node_select_state(u, 0), orv_error_usage);
  EXPECT_EQ(orv_node_enter_finding(a, 0, -0.5), orv_error_usage);
  EXPECT_EQ(orv_node_enter_finding(a, 0, inf), orv_error_usage);
  EXPECT_EQ(orv_node_enter_finding(a, 0, std::numeric_limits<double>::quiet_NaN()), orv_error_usage);
  EXPECT_EQ(orv_node_enter_finding(a, 5, 0.5), orv_error_usage);
  EXPECT_EQ(orv_node_get_selected_state(a), -1);  // nothing changed
  EXPECT_EQ(orv_node_retract_findings(u), orv_error_usage);
  EXPECT_EQ(orv_domain_retract_findings(nullptr), orv_error_usage);
  EXPECT_EQ(orv_node_get_entered_finding(a, 2), -1.0);
  EXPECT_RESULT(orv_node_evidence_is_entered(nullptr), -1, orv_error_usage);
  // Propagated queries need a compiled domain.
  EXPECT_RESULT(orv_node_get_propagated_finding(a, 0), -1.0, orv_error_not_compiled);
  EXPECT_RESULT(orv_node_evidence_is_propagated(a), -1, orv_error_not_compiled);
  EXPECT_RESULT(orv_domain_evidence_to_propagate(d.get()), -1, orv_error_not_compiled);
  EXPECT_RESULT(orv_node_get_entered_finding(a, 1), 1.0, orv_error_none);
  // Propagation and its results.
  family(a, {}, {0.5, 0.5});
  EXPECT_EQ(orv_domain_propagate(nullptr, orv_equilibrium_sum, orv_mode_normal), orv_error_usage);
  EXPECT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_none, orv_mode_normal), orv_error_usage);
  EXPECT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, static_cast<orv_evidence_mode_t>(22)),
            orv_error_usage);
  EXPECT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_not_compiled);
  EXPECT_RESULT(orv_domain_get_normalization_constant(d.get()), -1.0, orv_error_not_compiled);
  EXPECT_EQ(orv_domain_get_log_normalization_constant(d.get()), 1.0);
  EXPECT_EQ(orv_domain_reset_inference_engine(d.get()), orv_error_not_compiled);
  EXPECT_EQ(orv_jt_propagate(nullptr, orv_equilibrium_sum, orv_mode_normal), orv_error_usage);
  EXPECT_EQ(orv_clique_propagate(nullptr, orv_equilibrium_sum, orv_mode_normal), orv_error_usage);
  EXPECT_EQ(orv_domain_equilibrium_is(nullptr, orv_equilibrium_sum), -1);
  EXPECT_EQ(orv_jt_get_conflict(nullptr), -1.0);
  EXPECT_RESULT(orv_node_get_belief(a, 0), -1.0, orv_error_not_compiled);
  ASSERT_EQ(compile_simply(d.get()), orv_error_none);
  EXPECT_RESULT(orv_node_get_belief(a, 2), -1.0, orv_error_usage);
  EXPECT_RESULT(orv_node_get_belief(a, 1), 0.5, orv_error_none);
  EXPECT_EQ(orv_domain_reset_inference_engine(d.get()), orv_error_none);
  EXPECT_RESULT(orv_node_get_belief(a, 1), -1.0, orv_error_no_equilibrium);
  EXPECT_RESULT(orv_domain_get_normalization_constant(d.get()), -1.0, orv_error_no_equilibrium);
}

}  // namespace
}  // namespace orv
