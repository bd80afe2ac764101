// What decision networks refuse, the compilation and belief log, saved initial
// equilibria, conflict, numeric means, and incremental propagation: beliefs
// equal to a propagation from scratch, only nodes d-connected to new evidence
// recomputed.
#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "compile/compile.h"
#include "compile/junction_forest.h"
#include "inference/numeric.h"
#include "model/node.h"
#include "support/contract_sweep.h"
#include "support/inference_checks.h"
#include "support/network_fixture.h"

namespace orv {
namespace {

using namespace test;

// Everything the compilation writes to the domain's log.
std::string compile_log(orv_domain_t d) {
  return capture_log(d, [&] { EXPECT_EQ(compile_simply(d), orv_error_none); });
}

// Decision networks propagate to sum equilibrium only and have no conflict
// measure. (Expected utilities are checked against the LIMID references,
// evidence on decisions by the decisions tests.)
TEST(ExpectedUtility, DecisionNetworksRefuseMaxPropagationAndConflict) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), dec = variable(d.get(), "D", 2, orv_category_decision);
  orv_node_t u = variable(d.get(), "U", 0, orv_category_utility);
  family(a, {}, {0.3, 0.7});
  family(dec, {}, {});  // uniform policy
  family(u, {a, dec}, {10.0, 0.0, -5.0, 8.0});
  ASSERT_EQ(compile_simply(d.get()), orv_error_none);
  orv_node_select_state(a, 0);
  EXPECT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_max, orv_mode_normal), orv_error_usage);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_RESULT(orv_domain_get_conflict(d.get()), -1.0, orv_error_usage);
}

TEST(CompilationLog, PotentialCheckAndBeliefReport) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 2);
  family(a, {}, {0.25, 0.75});
  family(b, {a}, {-1.0, 1.0, 0.5, 0.5});
  // The invalid entry is only reported: the total stays positive, so the
  // first propagation succeeds.
  std::string text = compile_log(d.get());
  EXPECT_CONTAINS(text, "\n\nChecking conditional probability potentials:\n"
                        "\nPotential for B has an invalid value (-1) for:\n    A = #0\n    B = #0\n"
                        "\nPotential for B has a zero-sum distribution for:\n    A = #0\n");
  EXPECT_EQ(text.find("No errors found"), std::string::npos);

  auto e = new_domain();
  orv_node_t c = variable(e.get(), "A", 2), f = variable(e.get(), "B", 3);
  family(c, {}, {1.0, 0.0});
  family(f, {c}, {0.2, 0.3, 0.5, 0.1, 0.1, 0.8});
  text = compile_log(e.get());
  EXPECT_CONTAINS(text, "\n    No errors found\n");
  // B's beliefs, and A known.
  const std::string beliefs = "\n    B:\n\tstate0   0.2\n\tstate1   0.3\n\tstate2   0.5\n\n    A --> #0\n";
  EXPECT_CONTAINS(text, "\n\nBeliefs for chance nodes:\n" + beliefs);

  // The same report on request, for the domain or for one node.
  const std::string report = capture_log(e.get(), [&] {
    ASSERT_EQ(orv_domain_report_beliefs(e.get()), orv_error_none);
    ASSERT_EQ(orv_node_report_beliefs(f), orv_error_none);
    ASSERT_EQ(orv_node_report_beliefs(c), orv_error_none);
  });
  EXPECT_EQ(report, "\n\nBeliefs for chance nodes:\n" + beliefs + beliefs);
  EXPECT_EQ(orv_node_report_beliefs(f), orv_error_none);  // no log: nothing to do
  orv_domain_set_log_file(e.get(), stdout);
  ASSERT_EQ(orv_domain_uncompile(e.get()), orv_error_none);
  EXPECT_EQ(orv_domain_report_beliefs(e.get()), orv_error_not_compiled);
  EXPECT_EQ(orv_node_report_beliefs(c), orv_error_not_compiled);
  EXPECT_EQ(orv_node_report_beliefs(nullptr), orv_error_usage);
  EXPECT_EQ(orv_domain_report_beliefs(nullptr), orv_error_usage);
  orv_domain_set_log_file(e.get(), nullptr);
}

TEST(SaveToMemory, ResetsReloadTheSavedEquilibrium) {
  std::mt19937 rng(17);
  auto d = new_domain();
  const auto nodes = test::random_network(d.get(), 7, 3, 3, rng);
  ASSERT_EQ(compile_simply(d.get()), orv_error_none);
  const std::vector<double> prior = test::beliefs_of(nodes);
  ASSERT_EQ(orv_domain_save_to_memory(d.get()), orv_error_none);
  orv_node_select_state(nodes[2], 1);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_EQ(orv_domain_save_to_memory(d.get()), orv_error_usage);  // evidence is propagated
  ASSERT_EQ(orv_domain_initialize(d.get()), orv_error_none);
  EXPECT_EQ(orv_node_evidence_is_entered(nodes[2]), 0);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  test::expect_all_near(test::beliefs_of(nodes), prior, 1e-12, "the saved prior");
  EXPECT_NEAR(orv_domain_get_normalization_constant(d.get()), 1.0, 1e-12);
  orv_node_select_state(nodes[2], 1);
  const test::Exact exact = test::brute_force(d.get());
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_NEAR(orv_domain_get_normalization_constant(d.get()), exact.probability, 1e-12);
}

TEST(Conflict, TreesMultiplyAndFastRetractionUsesOwnEvidenceProbabilities) {
  auto d = new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 2);
  orv_node_t x = variable(d.get(), "X", 2), y = variable(d.get(), "Y", 2);
  family(a, {}, {0.4, 0.6});
  family(b, {a}, {0.9, 0.1, 0.2, 0.8});
  family(x, {}, {0.5, 0.5});
  family(y, {x}, {0.7, 0.3, 0.3, 0.7});
  ASSERT_EQ(compile_simply(d.get()), orv_error_none);
  for (auto [node, state] : {std::pair{a, 0}, {b, 1}, {x, 1}, {y, 0}}) orv_node_select_state(node, state);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_fast_retraction), orv_error_none);
  // Per tree: the product of each evidence node's probability with its own
  // evidence retracted, over P(e) of the tree.
  orv_junction_tree_t t1 = orv_node_get_junction_tree(a), t2 = orv_node_get_junction_tree(x);
  const double tree1 = (0.04 / 0.52) * 0.1 / 0.04;  // P(a=0 | b=1) P(b=1 | a=0) / P(a=0, b=1)
  const double tree2 = 0.3 * 0.3 / 0.15;            // P(x=1 | y=0) P(y=0 | x=1) / P(x=1, y=0)
  EXPECT_NEAR(orv_jt_get_conflict(t1), tree1, 1e-12);
  EXPECT_NEAR(orv_jt_get_conflict(t2), tree2, 1e-12);
  EXPECT_NEAR(orv_domain_get_conflict(d.get()), tree1 * tree2, 1e-12);
  EXPECT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_max, orv_mode_normal), orv_error_none);
  EXPECT_RESULT(orv_domain_get_conflict(d.get()), -1.0, orv_error_usage);
  // Forcing a root gives the same beliefs.
  ASSERT_EQ(orv_clique_propagate(orv_jt_get_root(t1), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_EQ(orv_jt_equilibrium_is(t1, orv_equilibrium_sum), 1);
  EXPECT_EQ(orv_jt_equilibrium_is(t2, orv_equilibrium_max), 1);
  EXPECT_EQ(orv_domain_equilibrium_is(d.get(), orv_equilibrium_sum), 0);
}

TEST(NumericNodes, MeansOfNumberedAndIntervalNodes) {
  auto d = new_domain();
  orv_node_t n = variable(d.get(), "N", 3), i = variable(d.get(), "I", 3);
  n->subtype = orv_subtype_number;
  n->state_values.assign({1.0, 2.0, 4.0, -1.0});
  i->subtype = orv_subtype_interval;
  i->state_values.assign({-std::numeric_limits<double>::infinity(), 0.0, 10.0, std::numeric_limits<double>::infinity()});
  family(n, {}, {0.5, 0.25, 0.25});
  family(i, {}, {0.2, 0.3, 0.5});
  ASSERT_EQ(compile_simply(d.get()), orv_error_none);
  EXPECT_NEAR(numeric_mean(n), 0.5 + 0.5 + 1.0, 1e-12);
  EXPECT_NEAR(numeric_variance(n), 0.5 * 1 + 0.25 * 0 + 0.25 * 4, 1e-12);
  EXPECT_NEAR(numeric_mean(i), 0.2 * 0.0 + 0.3 * 5.0 + 0.5 * 10.0, 1e-12);
  orv_node_select_state(n, 2);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  EXPECT_EQ(numeric_mean(n), 4.0);
}

std::vector<orv_node_t> discrete_nodes(orv_domain_t d) {
  std::vector<orv_node_t> nodes;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    if (orv_node_get_kind(n) == orv_kind_discrete) nodes.push_back(n);
  return nodes;
}

// One random evidence change on node k of both domains that keeps the
// evidence possible: a hard finding on a state of positive belief, a new
// likelihood, reweighting an existing likelihood, or (rarely) a retraction.
void change_evidence(orv_node_t n, orv_node_t twin, std::mt19937 &rng) {
  const std::size_t states = n->state_count;
  std::vector<std::size_t> possible;
  for (std::size_t s = 0; s < states; ++s)
    if (orv_node_get_belief(n, s) > 1e-6) possible.push_back(s);
  const unsigned action = rng() % 10;
  if (action == 0 || possible.empty()) {
    orv_node_retract_findings(n);
    orv_node_retract_findings(twin);
  } else if (action < 4 && n->selected_state == -1) {
    const std::size_t s = possible[rng() % possible.size()];
    orv_node_select_state(n, s);
    orv_node_select_state(twin, s);
  } else {
    // Reweighting: states already ruled out stay ruled out, so no reset.
    std::uniform_real_distribution<double> weight(0.2, 1.0);
    const std::size_t zero = possible.size() > 1 && rng() % 2 ? possible[rng() % possible.size()] : states;
    for (std::size_t s = 0; s < states; ++s) {
      const double w = s == zero ? 0.0 : orv_node_get_entered_finding(n, s) * weight(rng);
      orv_node_enter_finding(n, s, w);
      orv_node_enter_finding(twin, s, w);
    }
  }
}

TEST(IncrementalBeliefs, SharedNetworksMatchAPropagationFromScratch) {
  std::mt19937 rng(2024);
  for (const char *name : {"asia", "alarm", "child", "insurance", "hepar2", "water", "andes", "pathfinder", "sachs"}) {
    test::DomainPtr d = test::load_network(name), twin = test::load_network(name);
    ASSERT_TRUE(d && twin) << name;
    ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none) << name;
    ASSERT_EQ(orv_domain_compile(twin.get()), orv_error_none) << name;
    const auto nodes = discrete_nodes(d.get()), twins = discrete_nodes(twin.get());
    for (int step = 0; step < 12; ++step) {
      const std::string what = std::string(name) + " step " + std::to_string(step);
      for (unsigned k = 1 + rng() % 2; k > 0; --k) {
        const std::size_t i = rng() % nodes.size();
        change_evidence(nodes[i], twins[i], rng);
      }
      ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none) << what;
      ASSERT_EQ(orv_domain_reset_inference_engine(twin.get()), orv_error_none);
      ASSERT_EQ(orv_domain_propagate(twin.get(), orv_equilibrium_sum, orv_mode_normal), orv_error_none) << what;
      test::expect_all_near(test::beliefs_of(nodes), test::beliefs_of(twins), 1e-10, what);
    }
  }
}

// Poisons the stored belief of every node, so that a node whose belief was
// not recomputed still reads the poison.
constexpr double kPoison = 42.0;
void poison(const std::vector<orv_node_t> &nodes) {
  for (orv_node_t n : nodes) n->results->belief[0] = kPoison;
}
bool recomputed(orv_node_t n) { return n->results->belief[0] != kPoison; }

TEST(IncrementalBeliefs, OnlyNodesDConnectedToTheNewEvidenceAreRecomputed) {
  // A -> B <- C -> D -> E, and F -> G on a tree of its own.
  auto d = test::new_domain();
  orv_node_t a = variable(d.get(), "A", 2), b = variable(d.get(), "B", 2), c = variable(d.get(), "C", 2);
  orv_node_t dd = variable(d.get(), "D", 2), e = variable(d.get(), "E", 2), f = variable(d.get(), "F", 2);
  orv_node_t g = variable(d.get(), "G", 2);
  for (orv_node_t root : {a, c, f}) test::family(root, {}, {0.3, 0.7});
  test::family(b, {a, c}, {0.9, 0.1, 0.4, 0.6, 0.2, 0.8, 0.5, 0.5});
  for (auto [child, parent] : {std::pair{dd, c}, {e, dd}, {g, f}}) test::family(child, {parent}, {0.8, 0.2, 0.3, 0.7});
  ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
  const std::vector<orv_node_t> all{a, b, c, dd, e, f, g};
  const auto propagate = [&] { ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), 0); };
  const auto expect_recomputed = [&](const std::vector<orv_node_t> &expected, const char *what) {
    for (orv_node_t n : all)
      EXPECT_EQ(recomputed(n), std::find(expected.begin(), expected.end(), n) != expected.end()) << what << " " << n->name;
  };

  struct Step {
    orv_node_t node;
    long state;  // -2: a likelihood
    std::vector<orv_node_t> recomputed;
    const char *what;
  } steps[] = {
      {a, 0, {a, b}, "head to head at B without evidence: C and beyond unchanged"},
      {e, -2, {c, dd, e, b}, "a likelihood on E reaches C and B; A stays cut off by the empty collider"},
      {b, -2, {a, b, c, dd, e}, "evidence at the collider opens A - B - C"},
      {c, 1, {a, b, c, dd, e}, "a hard finding on C itself reaches everything connected"},
      {e, -2, {c, dd, e}, "C observed blocks the chain from E (C itself is reached)"},
      {g, 0, {f, g}, "the other tree"},
  };
  for (const Step &step : steps) {
    poison(all);
    if (step.state >= 0) orv_node_select_state(step.node, static_cast<std::size_t>(step.state));
    else orv_node_enter_finding(step.node, 0, orv_node_get_entered_finding(step.node, 0) * 0.5);
    propagate();
    expect_recomputed(step.recomputed, step.what);
  }
  // Max-marginals do not keep the independence, and a retraction reloads
  // the tables: both recompute every belief.
  poison(all);
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_max, orv_mode_normal), 0);
  expect_recomputed(all, "max equilibrium");
  ASSERT_EQ(orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal), 0);
  poison(all);
  orv_node_retract_findings(g);
  propagate();
  expect_recomputed({f, g}, "a retraction reloads only its own tree");
}

}  // namespace
}  // namespace orv
