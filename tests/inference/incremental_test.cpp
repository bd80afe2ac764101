// Incremental propagation recomputes only the beliefs of nodes d-connected to
// the new evidence: the beliefs must still equal a propagation from scratch,
// and the nodes cut off by the evidence must not be recomputed.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "compile/junction_forest.h"
#include "model/node.h"
#include "support/network_fixture.h"

namespace orv {
namespace {

void quiet(size_t, const char *, void *) {}

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
    const std::string path = std::string(ORVEL_DATA_DIR) + "/networks/" + name + ".net";
    test::DomainPtr d(orv_net_parse_domain(path.c_str(), quiet, nullptr));
    test::DomainPtr twin(orv_net_parse_domain(path.c_str(), quiet, nullptr));
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
      std::size_t wrong = 0;
      for (std::size_t i = 0; i < nodes.size(); ++i)
        for (std::size_t s = 0; s < nodes[i]->state_count; ++s) {
          const double a = orv_node_get_belief(nodes[i], s), b = orv_node_get_belief(twins[i], s);
          if (!(std::fabs(a - b) <= 1e-10) && wrong++ == 0)
            ADD_FAILURE() << what << ": " << nodes[i]->name << " state " << s << ": " << a << " vs " << b;
        }
      EXPECT_EQ(wrong, 0u) << what;
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
  orv_node_t a = test::variable(d.get(), "A", 2), b = test::variable(d.get(), "B", 2),
             c = test::variable(d.get(), "C", 2), dd = test::variable(d.get(), "D", 2),
             e = test::variable(d.get(), "E", 2), f = test::variable(d.get(), "F", 2),
             g = test::variable(d.get(), "G", 2);
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
