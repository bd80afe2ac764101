// CG propagation against a brute-force oracle on random small networks with
// random discrete and continuous evidence (beliefs, means, variances and
// joint marginals of discrete nodes); arc reversal between continuous nodes
// keeps the joint; impossible continuous evidence and its retraction;
// allocation failures while compiling and propagating, and argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

#include "orvel.h"
#include "support/cg_oracle.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/reference_checks.h"

namespace orv {
namespace {

using test::CgEvidence;
using test::CgNetwork;
using test::CgPosterior;
using test::reference_tolerance;

orv_domain_t parse(const CgNetwork &net) {
  const std::string text = net.net_text();
  orv_domain_t d = orv_net_parse_domain(text.c_str(), nullptr, nullptr);
  EXPECT_NE(d, nullptr) << text;
  return d;
}

orv_node_t node(orv_domain_t d, const CgNetwork &net, std::size_t i) {
  return orv_domain_get_node_by_name(d, net.nodes[i].name.c_str());
}

// Each node observed with a chance of share * (0.35 continuous, 0.25 discrete).
CgEvidence random_evidence(std::mt19937 &rng, const CgNetwork &net, double share = 1.0) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  CgEvidence e;
  for (const test::CgNode &n : net.nodes) {
    const bool observe = unit(rng) < share * (n.continuous ? 0.35 : 0.25);
    e.state.push_back(!n.continuous && observe ? static_cast<long>(rng() % n.states) : -1);
    e.observed.push_back(n.continuous && observe);
    e.value.push_back(-4.0 + 8.0 * unit(rng));
  }
  return e;
}

void enter(orv_domain_t d, const CgNetwork &net, const CgEvidence &e) {
  ASSERT_EQ(orv_domain_retract_findings(d), orv_error_none);
  for (std::size_t i = 0; i < net.nodes.size(); ++i) {
    const orv_status_t status = e.state[i] >= 0 ? orv_node_select_state(node(d, net, i), e.state[i])
                                : e.observed[i]   ? orv_node_enter_value(node(d, net, i), e.value[i])
                                                  : orv_error_none;
    EXPECT_EQ(status, orv_error_none) << net.nodes[i].name;
  }
}

void expect_posterior(orv_domain_t d, const CgNetwork &net, const CgPosterior &r, const std::string &what) {
  EXPECT_NEAR(orv_domain_get_log_normalization_constant(d), r.log_constant, 1e-9) << what;
  for (std::size_t i = 0; i < net.nodes.size(); ++i) {
    orv_node_t n = node(d, net, i);
    if (net.nodes[i].continuous) {
      EXPECT_NEAR(orv_node_get_mean(n), r.mean[i], reference_tolerance(r.mean[i]))
          << what << " mean of " << net.nodes[i].name;
      EXPECT_NEAR(orv_node_get_variance(n), r.variance[i], reference_tolerance(r.variance[i]))
          << what << " variance of " << net.nodes[i].name;
      continue;
    }
    for (std::size_t s = 0; s < net.nodes[i].states; ++s)
      EXPECT_NEAR(orv_node_get_belief(n, s), r.beliefs[i][s], 1e-9) << what << " " << net.nodes[i].name << s;
  }
}

// Whether one clique of n's tree holds all of `nodes`.
bool share_a_clique(const std::vector<orv_node_t> &nodes) {
  for (orv_clique_t *c = orv_jt_get_cliques(orv_node_get_junction_tree(nodes[0])); *c; ++c) {
    bool all = true;
    for (orv_node_t n : nodes) {
      bool member = false;
      for (orv_node_t *m = orv_clique_get_members(*c); *m; ++m) member = member || *m == n;
      all = all && member;
    }
    if (all) return true;
  }
  return false;
}

// The joint marginal of two or three unobserved discrete nodes: each entry is
// P(configuration | e), which the oracle gives as the ratio of the
// normalization constants with and without the configuration entered.
// Returns whether the nodes share no clique (the joint is then gathered).
bool expect_joint_marginal(orv_domain_t d, const CgNetwork &net, const CgEvidence &e, const CgPosterior &given,
                           std::mt19937 &rng, const std::string &what) {
  std::vector<std::size_t> pick;
  for (std::size_t i = 0; i < net.nodes.size(); ++i)
    if (!net.nodes[i].continuous && e.state[i] < 0) pick.push_back(i);
  std::shuffle(pick.begin(), pick.end(), rng);
  pick.resize(std::min<std::size_t>(pick.size(), 2 + rng() % 2));
  if (pick.size() < 2) return false;
  std::vector<orv_node_t> list;
  for (std::size_t i : pick) list.push_back(node(d, net, i));
  const bool spread = !share_a_clique(list);
  list.push_back(nullptr);
  orv_table_t joint = orv_domain_get_marginal(d, list.data());
  EXPECT_NE(joint, nullptr) << orv_error_name(orv_error_code()) << " " << what;
  if (!joint) return spread;
  const double *data = orv_table_get_data(joint);  // row-major, the last node fastest
  for (std::size_t index = 0; index < orv_table_get_size(joint); ++index) {
    CgEvidence with = e;
    for (std::size_t k = pick.size(), rest = index; k-- > 0; rest /= net.nodes[pick[k]].states)
      with.state[pick[k]] = static_cast<long>(rest % net.nodes[pick[k]].states);
    const CgPosterior r = test::brute_force_posterior(net, with);
    EXPECT_NEAR(data[index], r.possible ? std::exp(r.log_constant - given.log_constant) : 0.0, 1e-9) << what;
  }
  orv_table_delete(joint);
  return spread;
}

TEST(CgOracle, RandomNetworksAndEvidenceMatchBruteForce) {
  std::mt19937 rng(2024);
  int spread = 0;  // joints of nodes that share no clique
  for (int round = 0; round < 150; ++round) {
    const CgNetwork net = test::random_cg_network(rng, 1 + rng() % 6, 1 + rng() % 10);
    orv_domain_t d = parse(net);
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(orv_domain_compile(d), orv_error_none) << net.net_text();
    for (int k = 0; k < 4; ++k) {
      const CgEvidence e = random_evidence(rng, net, k == 0 ? 0.0 : 1.0);  // first no evidence
      enter(d, net, e);
      ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none) << net.net_text();
      const CgPosterior r = test::brute_force_posterior(net, e);
      const std::string what = "round " + std::to_string(round) + " case " + std::to_string(k) + "\n" + net.net_text();
      expect_posterior(d, net, r, what);
      spread += expect_joint_marginal(d, net, e, r, rng, what);
    }
    orv_domain_delete(d);
  }
  EXPECT_GT(spread, 20);
}

TEST(CgOracle, ReversingContinuousArcsKeepsTheJoint) {
  std::mt19937 rng(77);
  int reversed = 0;
  for (int round = 0; round < 40; ++round) {
    const CgNetwork net = test::random_cg_network(rng, 2, 4);
    orv_domain_t d = parse(net);
    ASSERT_NE(d, nullptr);
    const CgEvidence e = random_evidence(rng, net);
    const CgPosterior before = test::brute_force_posterior(net, e);
    // Reverse every continuous link that can be reversed, in turn.
    for (std::size_t i = 0; i < net.nodes.size(); ++i)
      for (std::size_t p : net.nodes[i].parents) {
        if (!net.nodes[i].continuous || !net.nodes[p].continuous) continue;
        const orv_status_t status = orv_node_reverse_edge(node(d, net, p), node(d, net, i));
        ASSERT_TRUE(status == orv_error_none || status == orv_error_cyclic_network) << status;
        if (status == orv_error_none) ++reversed;
      }
    ASSERT_EQ(orv_domain_compile(d), orv_error_none);
    enter(d, net, e);
    ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
    expect_posterior(d, net, before, "reversed round " + std::to_string(round));
    orv_domain_delete(d);
  }
  EXPECT_GT(reversed, 20);
}

// D -> X -> Y (D binary with states a, b) from the three data lines, compiled.
orv_domain_t chain(const std::string &d_data, const std::string &x_data, const std::string &y_data) {
  const std::string text = "net {}\nnode D { states = (\"a\" \"b\"); }\ncontinuous node X {}\ncontinuous node Y {}\n"
                           "potential (D) { data = " + d_data + "; }\npotential (X | D) { data = " + x_data +
                           "; }\npotential (Y | X) { data = " + y_data + "; }\n";
  orv_domain_t d = orv_net_parse_domain(text.c_str(), nullptr, nullptr);
  EXPECT_TRUE(d && orv_domain_compile(d) == orv_error_none) << text;
  return d;
}

// X | D is a point mass: any other value has density 0 everywhere.
TEST(CgEvidence, ImpossibleValueFailsAndRetractionRestoresTheBeliefs) {
  orv_domain_t d = chain("(0.3 0.7)", "( normal ( 1, 0 ) normal ( 2, 0 ) )", "normal ( 0.5 + 2 * X, 1 )");
  ASSERT_NE(d, nullptr);
  orv_node_t dn = orv_domain_get_node_by_name(d, "D"), x = orv_domain_get_node_by_name(d, "X"),
             y = orv_domain_get_node_by_name(d, "Y");
  const double prior_mean = orv_node_get_mean(y), prior_variance = orv_node_get_variance(y);
  EXPECT_NEAR(prior_mean, 0.5 + 2 * 1.7, 1e-12);
  EXPECT_NEAR(prior_variance, 1 + 4 * 0.21, 1e-12);

  ASSERT_EQ(orv_node_enter_value(x, 1.5), orv_error_none);
  EXPECT_EQ(orv_node_evidence_to_propagate(x), 1);
  EXPECT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_inconsistency_or_underflow);
  EXPECT_EQ(orv_domain_cg_evidence_is_propagated(d), 0);
  EXPECT_EQ(orv_node_get_entered_value(x), 1.5);
  ASSERT_EQ(orv_node_retract_findings(x), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_EQ(orv_node_get_mean(y), prior_mean);
  EXPECT_EQ(orv_node_get_variance(y), prior_variance);

  // Evidence on Y (a child with a continuous parent) moves D by the density ratio.
  ASSERT_EQ(orv_node_enter_value(y, 4.0), orv_error_none);
  ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  const double la = 0.3 * std::exp(-0.5 * 1.5 * 1.5), lb = 0.7 * std::exp(-0.5 * 0.5 * 0.5);
  EXPECT_NEAR(orv_node_get_belief(dn, 0), la / (la + lb), 1e-12);
  EXPECT_NEAR(orv_domain_get_normalization_constant(d), (la + lb) / std::sqrt(2 * M_PI), 1e-12);
  EXPECT_EQ(orv_domain_cg_evidence_is_propagated(d), 1);
  // Y observed: its propagated value, mean and variance.
  EXPECT_EQ((std::vector<double>{orv_node_get_propagated_value(y), orv_node_get_mean(y), orv_node_get_variance(y)}),
            (std::vector<double>{4.0, 4.0, 0.0}));
  EXPECT_RESULT(orv_domain_get_conflict(d), -1.0, orv_error_cg_evidence_incorporated);
  EXPECT_EQ(orv_domain_propagate(d, orv_equilibrium_max, orv_mode_normal), orv_error_usage);

  // The mixture of X: one component per state of D, weights the posterior.
  orv_table_t mixture = orv_node_get_distribution(x);
  ASSERT_NE(mixture, nullptr);
  EXPECT_EQ(test::names_of(orv_table_get_nodes(mixture)), (std::vector<std::string>{"D", "X"}));
  test::expect_all_near(test::table_values(mixture), {la / (la + lb), lb / (la + lb)}, 1e-12, "mixture weights");
  EXPECT_NEAR(orv_table_get_mean(mixture, 1, x), 2.0, 1e-12);
  EXPECT_NEAR(orv_table_get_variance(mixture, 1, x), 0.0, 1e-12);
  EXPECT_EQ(orv_table_delete(mixture), orv_error_none);
  EXPECT_RESULT(orv_node_get_distribution(dn), nullptr, orv_error_usage);
  orv_domain_delete(d);
}

// Mutual information in Gaussian form against closed forms.
TEST(CgEvidence, MutualInformationOfContinuousNodes) {
  orv_domain_t d = chain("(0.5 0.5)", "( normal ( -1, 1 ) normal ( 1, 1 ) )", "normal ( X, 2 )");
  ASSERT_NE(d, nullptr);
  orv_node_t dn = orv_domain_get_node_by_name(d, "D"), x = orv_domain_get_node_by_name(d, "X"),
             y = orv_domain_get_node_by_name(d, "Y");
  // Var X = 2, Var(X | D) = 1; Var Y = 4, Cov(X, Y) = 2.
  EXPECT_NEAR(orv_node_get_mutual_information(dn, x), 0.5 * std::log(2.0), 1e-12);
  EXPECT_NEAR(orv_node_get_mutual_information(x, dn), 0.5 * std::log(2.0), 1e-12);
  EXPECT_NEAR(orv_node_get_mutual_information(x, y), -0.5 * std::log(1 - 4.0 / 8.0), 1e-12);
  orv_domain_delete(d);
}

const std::string kMedium = std::string(ORVEL_DATA_DIR) + "/networks/cg/cg_medium_1.net";

// The mean and variance of X15 and the belief in D1's first state.
std::vector<double> observe(orv_domain_t d) {
  return {orv_node_get_mean(orv_domain_get_node_by_name(d, "X15")),
          orv_node_get_variance(orv_domain_get_node_by_name(d, "X15")),
          orv_node_get_belief(orv_domain_get_node_by_name(d, "D1"), 0)};
}

// Compiling and propagating survive every allocation failure; bad arguments
// give usage and the failure value.
TEST(CgFailure, AllocationFailuresAndBadArguments) {
  orv_domain_t d = orv_net_parse_domain(kMedium.c_str(), nullptr, nullptr);
  ASSERT_NE(d, nullptr);
  orv_node_t x = orv_domain_get_node_by_name(d, "X3"), dn = orv_domain_get_node_by_name(d, "D1");
  EXPECT_RESULT(orv_node_get_distribution(x), nullptr, orv_error_not_compiled);
  EXPECT_RESULT(orv_node_get_mean(x), -1.0, orv_error_not_compiled);
  orv_node_enter_value(x, 1.25);
  orv_node_select_state(orv_domain_get_node_by_name(d, "D2"), 1);
  const auto compiled = test::expect_no_memory_sweep(
      "compile", [&] { return orv_domain_compile(d); },
      [&] {
        EXPECT_EQ(orv_domain_is_compiled(d), 0);
        EXPECT_EQ(orv_domain_get_first_clique(d), nullptr);
      });
  ASSERT_EQ(compiled.result, orv_error_none);
  const std::vector<double> expected = observe(d);
  EXPECT_EQ(orv_domain_cg_evidence_is_propagated(d), 1);

  orv_node_enter_value(x, -0.5);
  ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  const std::vector<double> moved = observe(d);
  orv_node_enter_value(x, 1.25);
  const auto propagated = test::expect_no_memory_sweep(
      "propagate", [&] { return orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal); },
      [&] {
        // Reset to the initial state, the entered evidence kept for the next try.
        EXPECT_EQ(orv_domain_is_compiled(d), 1);
        EXPECT_EQ(orv_domain_evidence_to_propagate(d), 1);
        EXPECT_EQ(orv_node_get_entered_value(x), 1.25);
      });
  ASSERT_EQ(propagated.result, orv_error_none);
  const std::vector<double> again = observe(d);
  EXPECT_NE(moved[0], again[0]);
  test::expect_all_near(again, expected, 1e-12, "after the sweep");

  const double mean = orv_node_get_mean(x);
  test::expect_usage_calls(
      {
          {"distribution of null", [] { return orv_node_get_distribution(nullptr) == nullptr; }},
          {"distribution of a discrete node", [&] { return orv_node_get_distribution(dn) == nullptr; }},
          {"mean of a discrete node", [&] { return orv_node_get_mean(dn) == -1.0; }},
          {"variance of null", [] { return orv_node_get_variance(nullptr) == -1.0; }},
          {"value of null", [] { return orv_node_enter_value(nullptr, 1.0) == orv_error_usage; }},
          {"value not a number", [&] { return orv_node_enter_value(x, std::nan("")) == orv_error_usage; }},
          {"infinite value", [&] { return orv_node_enter_value(x, HUGE_VAL) == orv_error_usage; }},
          {"information with itself", [&] { return orv_node_get_mutual_information(x, x) == -1.0; }},
          {"information with null", [&] { return orv_node_get_mutual_information(x, nullptr) == -1.0; }},
          {"entered value without evidence",
           [&] { return orv_node_get_entered_value(orv_domain_get_node_by_name(d, "X15")) == -1.0; }},
      },
      [&] { return orv_node_get_mean(x) == mean; });
  orv_domain_delete(d);
}

}  // namespace
}  // namespace orv
