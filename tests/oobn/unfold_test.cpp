// Unfolding against the flat network it stands for, written out by hand:
// nested instances, bound and unbound inputs, outputs used further up.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

namespace {

using orv::test::Collection;
using orv::test::class_file;

// One Mid instance below prefix P ("M1" or "M2"). Its input M_in is either
// replaced by `input` or, when that is empty, kept with its own prior.
std::string mid_block(const std::string &p, const std::string &input) {
  const std::string in = input.empty() ? p + ".M_in" : input;
  std::string s;
  if (input.empty()) s += "node " + in + " { states = (\"s0\" \"s1\"); }\npotential (" + in + ") { data = (0.6 0.4); }\n";
  for (const char *leaf : {"L1", "L2"}) {
    const std::string l = p + "." + leaf;
    // L1's input is bound to M_in; L2 has no bindings, so its U stays.
    std::string u = l + ".U";
    if (std::string(leaf) == "L1") {
      u = in;
    } else {
      s += "node " + u + " { states = (\"s0\" \"s1\"); }\npotential (" + u + ") { data = (0.3 0.7); }\n";
    }
    s += "node " + l + ".B1.Q { states = (\"q0\" \"q1\"); }\n";
    s += "node " + l + ".X { states = (\"x0\" \"x1\" \"x2\"); }\n";
    s += "node " + l + ".Y { states = (\"y0\" \"y1\"); }\n";
    s += "potential (" + l + ".B1.Q | " + u + ") { data = ((0.9 0.1) (0.3 0.7)); }\n";
    s += "potential (" + l + ".X | " + l + ".B1.Q) { data = ((0.5 0.3 0.2) (0.1 0.6 0.3)); }\n";
    s += "potential (" + l + ".Y | " + l + ".X) { data = ((0.8 0.2) (0.4 0.6) (0.05 0.95)); }\n";
  }
  s += "node " + p + ".Z { states = (\"z0\" \"z1\"); }\n";
  s += "potential (" + p + ".Z | " + p + ".L1.Y " + p + ".L2.Y) { data = (((0.99 0.01) (0.7 0.3)) ((0.2 0.8) (0.1 0.9))); }\n";
  return s;
}

std::string flat_top() {
  std::string s = "net {}\nnode A { states = (\"s0\" \"s1\"); }\npotential (A) { data = (0.45 0.55); }\n";
  s += mid_block("M1", "A") + mid_block("M2", "");
  s += "node B { states = (\"b0\" \"b1\"); }\n";
  s += "potential (B | M1.Z M2.Z) { data = (((0.6 0.4) (0.25 0.75)) ((0.5 0.5) (0.9 0.1))); }\n";
  return s;
}

std::set<std::string> node_names(orv_domain_t d) {
  std::set<std::string> names;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) names.insert(orv_node_get_name(n));
  return names;
}

// Every belief of the flat network equals the unfolded one's after the same
// evidence.
void expect_same_beliefs(orv_domain_t flat, orv_domain_t unfolded, const std::vector<std::pair<const char *, size_t>> &evidence) {
  for (orv_domain_t d : {flat, unfolded}) {
    if (orv_domain_is_compiled(d) != 1) {
      ASSERT_EQ(orv_domain_compile(d), orv_error_none);
    }
    ASSERT_EQ(orv_domain_retract_findings(d), orv_error_none);
    for (auto [name, state] : evidence) ASSERT_EQ(orv_node_select_state(orv_domain_get_node_by_name(d, name), state), 0);
    ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none);
  }
  for (orv_node_t n = orv_domain_get_first_node(flat); n; n = orv_node_get_next(n)) {
    orv_node_t u = orv_domain_get_node_by_name(unfolded, orv_node_get_name(n));
    ASSERT_NE(u, nullptr) << orv_node_get_name(n);
    for (size_t s = 0; s < orv_node_get_number_of_states(n); ++s)
      EXPECT_NEAR(orv_node_get_belief(n, s), orv_node_get_belief(u, s), 1e-12) << orv_node_get_name(n) << " " << s;
  }
}

TEST(Unfolding, EqualsTheHandWrittenFlatNetwork) {
  Collection c;
  ASSERT_EQ(orv_net_parse_classes(class_file("hierarchy.net").c_str(), c.cc, nullptr, nullptr, nullptr), 0);
  orv_domain_t unfolded = orv_class_create_domain(orv_cc_get_class_by_name(c.cc, "Top"));
  ASSERT_NE(unfolded, nullptr) << orv_error_code();
  orv_domain_t flat = orv_net_parse_domain(flat_top().c_str(), nullptr, nullptr);
  ASSERT_NE(flat, nullptr);
  EXPECT_EQ(node_names(flat), node_names(unfolded));
  EXPECT_EQ(orv_domain_get_number_of_instance_nodes(unfolded), 0u);

  // Bound inputs are gone; an unbound input keeps its class table.
  EXPECT_EQ(orv_domain_get_node_by_name(unfolded, "M1.M_in"), nullptr);
  EXPECT_EQ(orv_domain_get_node_by_name(unfolded, "M2.L1.U"), nullptr);
  orv_node_t q = orv_domain_get_node_by_name(unfolded, "M1.L1.B1.Q");
  ASSERT_NE(q, nullptr);
  EXPECT_STREQ(orv_node_get_name(orv_node_get_parents(q)[0]), "A");
  orv_node_t *source = orv_node_get_source(q);
  std::string path;
  for (orv_node_t *s = source; *s; ++s) path += std::string(orv_node_get_name(*s)) + "/";
  EXPECT_EQ(path, "M1/L1/B1/Q/");

  expect_same_beliefs(flat, unfolded, {});
  expect_same_beliefs(flat, unfolded, {{"M1.L1.Y", 1}, {"M2.L2.X", 2}, {"B", 0}});
  orv_domain_delete(flat);
  orv_domain_delete(unfolded);
}

}  // namespace
