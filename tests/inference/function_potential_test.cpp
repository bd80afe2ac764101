// Discrete function nodes with models take the distribution their model
// induces from their parents' posterior: hand-computed chains with evidence
// above and below (one way), a joint of two parents without a common clique,
// chains of function nodes, real-valued parents, evidence on the node itself,
// refusals, allocation failures, NET round trips and targeted queries.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "runtime/allocate.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/inference_checks.h"

namespace orv {
namespace {

// A -> F -> C: F is "y" for a0 and Distribution(0.2, 0.5, 0.3) for a1.
const char *kChain = R"(net {}
node A { states = ("a0" "a1"); }
discrete function F { states = ("x" "y" "z"); }
node C { states = ("c0" "c1"); }
potential (A) { data = (0.3 0.7); }
potential (F | A) { model_nodes = (A); model_data = ( "y", Distribution(0.2, 0.5, 0.3) ); }
potential (C | F) { data = ((0.9 0.1) (0.4 0.6) (0.5 0.5)); }
)";

struct Net {
  explicit Net(const char *text) : d(orv_net_parse_domain(text, nullptr, nullptr)) {}
  test::DomainPtr d;
  orv_node_t node(const char *name) const { return orv_domain_get_node_by_name(d.get(), name); }
  std::vector<double> beliefs(const char *name) const { return test::beliefs_of({node(name)}); }
  orv_status_t propagate() const { return orv_domain_propagate(d.get(), orv_equilibrium_sum, orv_mode_normal); }
};

TEST(FunctionPotentials, FollowTheirParentsOneWay) {
  Net n(kChain);
  ASSERT_NE(n.d, nullptr);
  ASSERT_EQ(orv_domain_compile(n.d.get()), orv_error_none);
  // The parents are not F's moral neighbours: A has a tree of its own.
  EXPECT_NE(orv_node_get_junction_tree(n.node("A")), orv_node_get_junction_tree(n.node("F")));
  // Prior: P(F) = 0.3 (0, 1, 0) + 0.7 (0.2, 0.5, 0.3).
  test::expect_all_near(n.beliefs("F"), {0.14, 0.65, 0.21}, 1e-15, "prior F");
  test::expect_all_near(n.beliefs("C"), {0.491, 0.509}, 1e-15, "prior C");
  ASSERT_EQ(orv_domain_save_to_memory(n.d.get()), orv_error_none);

  // Evidence above F: F and C follow.
  ASSERT_EQ(orv_node_select_state(n.node("A"), 0), orv_error_none);
  ASSERT_EQ(n.propagate(), orv_error_none);
  test::expect_all_near(n.beliefs("F"), {0.0, 1.0, 0.0}, 1e-15, "F | a0");
  test::expect_all_near(n.beliefs("C"), {0.4, 0.6}, 1e-15, "C | a0");
  EXPECT_NEAR(orv_domain_get_normalization_constant(n.d.get()), 0.3, 1e-15);

  // Evidence below F only: A keeps its prior, F is conditioned within its tree.
  ASSERT_EQ(orv_node_retract_findings(n.node("A")), orv_error_none);
  ASSERT_EQ(orv_node_select_state(n.node("C"), 1), orv_error_none);
  ASSERT_EQ(n.propagate(), orv_error_none);
  test::expect_all_near(n.beliefs("A"), {0.3, 0.7}, 1e-15, "A | c1");
  test::expect_all_near(n.beliefs("F"), {0.014 / 0.509, 0.39 / 0.509, 0.105 / 0.509}, 1e-15, "F | c1");
  EXPECT_NEAR(orv_domain_get_log_normalization_constant(n.d.get()), std::log(0.509), 1e-14);

  // Changing the evidence of the prerequisite tree alone updates F's tree.
  ASSERT_EQ(orv_node_select_state(n.node("A"), 1), orv_error_none);
  ASSERT_EQ(n.propagate(), orv_error_none);
  test::expect_all_near(n.beliefs("F"), {0.02 / 0.47, 0.3 / 0.47, 0.15 / 0.47}, 1e-15, "F | a1, c1");
  EXPECT_NEAR(orv_domain_get_normalization_constant(n.d.get()), 0.7 * 0.47, 1e-15);
  ASSERT_EQ(n.propagate(), orv_error_none);  // nothing to do: the same numbers
  EXPECT_NEAR(orv_domain_get_normalization_constant(n.d.get()), 0.7 * 0.47, 1e-15);

  // One tree at a time: F's tree brings A's tree along first.
  ASSERT_EQ(orv_node_select_state(n.node("A"), 0), orv_error_none);
  ASSERT_EQ(orv_jt_propagate(orv_node_get_junction_tree(n.node("F")), orv_equilibrium_sum, orv_mode_normal),
            orv_error_none);
  test::expect_all_near(n.beliefs("F"), {0.0, 1.0, 0.0}, 1e-15, "F | a0, c1 by tree");

  // Evidence on F itself: P(F = x) = 0 under a0 is impossible; every tree is reset.
  ASSERT_EQ(orv_node_retract_findings(n.node("C")), orv_error_none);
  ASSERT_EQ(orv_node_select_state(n.node("F"), 0), orv_error_none);
  EXPECT_EQ(n.propagate(), orv_error_inconsistency_or_underflow);
  EXPECT_EQ(orv_domain_equilibrium_is(n.d.get(), orv_equilibrium_none), 1);
  ASSERT_EQ(orv_node_retract_findings(n.node("A")), orv_error_none);
  ASSERT_EQ(n.propagate(), orv_error_none);  // from the saved prior, F's tree anew
  test::expect_all_near(n.beliefs("A"), {0.3, 0.7}, 1e-15, "A | F = x");
  test::expect_all_near(n.beliefs("C"), {0.9, 0.1}, 1e-15, "C | F = x");
  EXPECT_NEAR(orv_domain_get_normalization_constant(n.d.get()), 0.14, 1e-15);

  // The belief report lists F with its derived beliefs.
  const std::string report = test::capture_log(n.d.get(), [&] { orv_domain_report_beliefs(n.d.get()); });
  EXPECT_CONTAINS(report, "\n\nBeliefs for discrete function nodes:\n\n    F --> \"x\"\n");
  ASSERT_EQ(orv_node_retract_findings(n.node("F")), orv_error_none);
  ASSERT_EQ(n.propagate(), orv_error_none);
  const std::string prior = test::capture_log(n.d.get(), [&] { orv_node_report_beliefs(n.node("F")); });
  char lines[128];
  std::snprintf(lines, sizeof lines, "\n    F:\n\t%-10s %g\n\t%-10s %g\n\t%-10s %g\n", "x", 0.14, "y", 0.65, "z", 0.21);
  EXPECT_CONTAINS(prior, lines);
}

// F = (A == C) with A -> B -> C: A and C share no clique, so F needs their
// joint (from a CG tree: Y hangs below B); G = f(F) chains a second function
// node; H reads a real-valued R.
const char *kJoint = R"(net {}
node A { states = ("n" "y"); }
node B { states = ("n" "y"); }
node C { states = ("n" "y"); }
continuous node Y {}
node X { states = ("0" "1" "2" "3"); subtype = number; state_values = (0 1 2 3); }
function R {}
discrete function F { states = ("false" "true"); subtype = boolean; }
discrete function G { states = ("0" "1" "2"); subtype = number; state_values = (0 1 2); }
discrete function H { states = ("low" "mid" "high"); }
potential (A) { data = (0.6 0.4); }
potential (B | A) { data = ((0.7 0.3) (0.2 0.8)); }
potential (C | B) { data = ((0.9 0.1) (0.3 0.7)); }
potential (Y | B) { data = ( normal ( 0, 1 ) normal ( 2, 1 ) ); }
potential (X) { data = (0.1 0.2 0.3 0.4); }
potential (R) { model_nodes = (); model_data = ( 1.5 ); }
potential (F | A C) { model_nodes = (); model_data = ( A == C ); }
potential (G | F) { model_nodes = (F); model_data = ( Binomial(2, 0.5), 2 ); }
potential (H | X R) { model_nodes = (); model_data = ( if(X < 1, "low", if(X < R, "mid", "high")) ); }
)";

// P(A = C) by enumeration, with B observed when b >= 0.
double brute_equal(int b) {
  const double pa[2] = {0.6, 0.4}, pb[2][2] = {{0.7, 0.3}, {0.2, 0.8}}, pc[2][2] = {{0.9, 0.1}, {0.3, 0.7}};
  double equal = 0, total = 0;
  for (int a = 0; a < 2; ++a)
    for (int bb = 0; bb < 2; ++bb)
      for (int c = 0; c < 2; ++c) {
        if (b >= 0 && bb != b) continue;
        const double p = pa[a] * pb[a][bb] * pc[bb][c];
        total += p;
        if (a == c) equal += p;
      }
  return equal / total;
}

TEST(FunctionPotentials, UseTheJointOfTheirParentsAndChain) {
  Net n(kJoint);
  ASSERT_NE(n.d, nullptr);
  // Targeted queries answer as propagation does (the check compiles).
  ASSERT_EQ(orv_node_select_state(n.node("B"), 1), orv_error_none);
  test::expect_queries_match_compiled(n.d.get(), {n.node("G"), n.node("A")}, {n.node("F"), n.node("G")}, 1e-15,
                                      "joint of G and A");
  for (int b : {1, 0, -1}) {
    orv_node_t on = n.node("B");
    ASSERT_EQ(b >= 0 ? orv_node_select_state(on, b) : orv_node_retract_findings(on), orv_error_none);
    ASSERT_EQ(n.propagate(), orv_error_none);
    const double t = brute_equal(b);
    test::expect_all_near(n.beliefs("F"), {1 - t, t}, 1e-15, "F, B = " + std::to_string(b));
    // G is Binomial(2, 0.5) when F is false and 2 when true.
    test::expect_all_near(n.beliefs("G"), {0.25 * (1 - t), 0.5 * (1 - t), 0.25 * (1 - t) + t}, 1e-15, "G");
  }
  // Not the product of the marginals: P(A) = (0.6, 0.4), P(C) = (0.6, 0.4).
  EXPECT_NEAR(brute_equal(-1), 0.664, 1e-15);
  // H: X < 1 low, X < 1.5 mid, else high.
  test::expect_all_near(n.beliefs("H"), {0.1, 0.2, 0.7}, 1e-15, "H");
  ASSERT_EQ(orv_node_select_state(n.node("X"), 2), orv_error_none);
  ASSERT_EQ(n.propagate(), orv_error_none);
  test::expect_all_near(n.beliefs("H"), {0.0, 0.0, 1.0}, 1e-15, "H | X = 2");
}

TEST(FunctionPotentials, RefuseWhatTheyCannotDerive) {
  // The link checks keep F's parents out of F's tree; a link made behind
  // their back (C's parents A and F are married) puts A there.
  Net own(kChain);
  ASSERT_NE(own.d, nullptr);
  test::link(own.node("A"), own.node("C"));
  const std::string log = test::capture_log(own.d.get(), [&] {
    EXPECT_EQ(orv_domain_compile(own.d.get()), orv_error_cyclic_functional_dependency);
  });
  EXPECT_CONTAINS(log, "function node F cannot be derived: its model reads a node of its own junction tree");
  EXPECT_EQ(orv_domain_is_compiled(own.d.get()), 0);
  EXPECT_EQ(orv_domain_get_first_junction_tree(own.d.get()), nullptr);
  // Without its model F keeps its own table, as before.
  ASSERT_EQ(orv_model_delete(orv_node_get_model(own.node("F"))), orv_error_none);
  EXPECT_EQ(orv_domain_compile(own.d.get()), orv_error_none);

  // A continuous parent cannot determine a discrete function node.
  Net cg(R"(net {}
continuous node X {}
discrete function F { states = ("x" "y"); }
potential (X) { data = (normal (0, 1)); }
potential (F | X) { model_nodes = (); model_data = ( if(X > 0, "x", "y") ); }
)");
  // A configuration without an expression fails at the first propagation.
  Net gap(kChain);
  ASSERT_TRUE(cg.d && gap.d);
  ASSERT_EQ(orv_model_set_expression(orv_node_get_model(gap.node("F")), 1, nullptr), orv_error_none);
  for (const Net *net : {&cg, &gap}) {
    EXPECT_EQ(orv_domain_compile(net->d.get()), orv_error_invalid_expression);
    EXPECT_EQ(orv_domain_is_compiled(net->d.get()), 0);
  }
}

TEST(FunctionPotentials, FailedAllocationsLeaveTheDomain) {
  Net n(kChain);
  ASSERT_NE(n.d, nullptr);
  test::expect_no_memory_sweep("compile", [&] { return orv_domain_compile(n.d.get()); }, [&] {
    EXPECT_EQ(orv_domain_is_compiled(n.d.get()), 0);
    EXPECT_EQ(orv_domain_get_first_junction_tree(n.d.get()), nullptr);
  });
  test::expect_all_near(n.beliefs("F"), {0.14, 0.65, 0.21}, 1e-15, "compiled");
  ASSERT_EQ(orv_node_select_state(n.node("A"), 1), orv_error_none);
  ASSERT_EQ(orv_node_select_state(n.node("C"), 1), orv_error_none);
  const auto clean = test::expect_no_memory_sweep("propagate", [&] { return n.propagate(); }, [&] {
    EXPECT_EQ(orv_domain_equilibrium_is(n.d.get(), orv_equilibrium_none), 1);
    EXPECT_EQ(orv_node_get_selected_state(n.node("A")), 1);
    EXPECT_EQ(orv_node_get_selected_state(n.node("C")), 1);
  });
  EXPECT_GT(clean.n, 0u);  // deriving F's potential allocates: the sweep saw failures
  test::expect_all_near(n.beliefs("F"), {0.02 / 0.47, 0.3 / 0.47, 0.15 / 0.47}, 1e-15, "propagated");
}

TEST(FunctionPotentials, NetFilesRoundTrip) {
  for (const char *text : {kChain, kJoint}) {
    Net first(text);
    ASSERT_NE(first.d, nullptr);
    const std::string written = test::take_text(orv_domain_to_net_string(first.d.get()));
    EXPECT_CONTAINS(written, "discrete function F");
    Net second(written.c_str());
    ASSERT_NE(second.d, nullptr) << written;
    EXPECT_EQ(test::take_text(orv_domain_to_net_string(second.d.get())), written);
    ASSERT_EQ(orv_domain_compile(first.d.get()), orv_error_none);
    ASSERT_EQ(orv_domain_compile(second.d.get()), orv_error_none);
    test::expect_all_near(second.beliefs("F"), first.beliefs("F"), 0.0, "F after the round trip");
  }
}

}  // namespace
}  // namespace orv
