// The class and instance API: cycle checks, declarations, bindings, output
// clones, substitution, deletion rules, the argument contract, allocation
// failure during unfolding, and unfolding against the flat network it stands
// for, written out by hand (nested instances, bound and unbound inputs).
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

namespace {

using orv::test::Collection;
using orv::test::expect_no_memory_sweep;
using orv::test::expect_usage_calls;

orv_class_t named_class(orv_class_collection_t cc, const char *name) {
  orv_class_t c = orv_cc_new_class(cc);
  EXPECT_EQ(orv_class_set_name(c, name), 0);
  return c;
}

orv_node_t chance(orv_class_t c, const char *name, size_t states) {
  orv_node_t n = orv_class_new_node(c, orv_category_chance, orv_kind_discrete);
  EXPECT_EQ(orv_node_set_name(n, name), 0);
  EXPECT_EQ(orv_node_set_number_of_states(n, states), 0);
  return n;
}

// Sensor: input In (2 states) -> output Out (2 states), plus a hidden node.
struct Sensor {
  explicit Sensor(orv_class_collection_t cc) : c(named_class(cc, "Sensor")) {
    in = chance(c, "In", 2);
    out = chance(c, "Out", 2);
    EXPECT_EQ(orv_node_add_parent(out, in), 0);
    EXPECT_EQ(orv_node_add_to_inputs(in), 0);
    EXPECT_EQ(orv_node_add_to_outputs(out), 0);
  }
  orv_class_t c;
  orv_node_t in, out;
};

TEST(Classes, InstanceHierarchiesMustStayAcyclic) {
  Collection cc;
  orv_class_t a = named_class(cc.cc, "A"), b = named_class(cc.cc, "B"), c = named_class(cc.cc, "C");
  EXPECT_RESULT(orv_class_new_instance(a, a), nullptr, orv_error_cyclic_instance_hierarchy);
  ASSERT_NE(orv_class_new_instance(a, b), nullptr);
  ASSERT_NE(orv_class_new_instance(b, c), nullptr);
  EXPECT_RESULT(orv_class_new_instance(b, a), nullptr, orv_error_cyclic_instance_hierarchy);
  EXPECT_RESULT(orv_class_new_instance(c, a), nullptr, orv_error_cyclic_instance_hierarchy);
  EXPECT_NE(orv_class_new_instance(a, c), nullptr);  // a diamond is fine
  // A class with instances cannot go; its users can, and then it can.
  EXPECT_RESULT(orv_class_delete(c), orv_error_usage, orv_error_usage);
  for (orv_class_t k : {a, b, c}) EXPECT_EQ(orv_class_delete(k), 0);
  EXPECT_EQ(orv_cc_get_members(cc.cc)[0], nullptr);
  Collection other;
  orv_class_t foreign = orv_cc_new_class(other.cc);
  orv_class_t local = orv_cc_new_class(cc.cc);
  EXPECT_RESULT(orv_class_new_instance(local, foreign), nullptr, orv_error_usage);
}

TEST(Classes, DeclarationsBindingsAndClonesFollowTheirRules) {
  Collection cc;
  Sensor s(cc.cc);
  orv_class_t top = named_class(cc.cc, "Top");
  orv_node_t t = chance(top, "T", 2), three = chance(top, "Three", 3);
  orv_node_t i = orv_class_new_instance(top, s.c);
  ASSERT_NE(i, nullptr);
  EXPECT_EQ(orv_class_get_instances(s.c)[0], i);
  orv_node_t clone = orv_node_get_output(i, s.out);
  ASSERT_NE(clone, nullptr);
  EXPECT_EQ(orv_node_get_instance(clone), i);
  EXPECT_EQ(orv_node_get_number_of_states(clone), 2u);
  EXPECT_EQ(orv_node_get_outputs(i)[0], clone);

  // Inputs have no parents; an output clone is neither input nor output and
  // cannot be deleted on its own; inputs cannot get parents.
  EXPECT_RESULT(orv_node_add_to_inputs(s.out), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_node_add_to_outputs(s.in), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_node_add_to_inputs(clone), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_node_delete(clone), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_node_add_parent(s.in, s.out), orv_error_usage, orv_error_usage);
  EXPECT_EQ(orv_node_add_to_inputs(s.in), 0);  // again: nothing happens
  EXPECT_EQ(orv_class_get_inputs(s.c)[1], nullptr);

  // Bindings: same home class, category and kind; states only at unfolding.
  EXPECT_RESULT(orv_node_set_input(i, s.in, s.out), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_node_set_input(i, s.out, t), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_node_get_input(i, s.in), nullptr, orv_error_none);
  ASSERT_EQ(orv_node_set_input(i, s.in, three), 0);
  EXPECT_RESULT(orv_class_create_domain(top), nullptr, orv_error_illegal_binding);
  ASSERT_EQ(orv_node_set_input(i, s.in, t), 0);
  EXPECT_EQ(orv_node_get_input(i, s.in), t);
  orv_node_t child = chance(top, "Child", 2);
  ASSERT_EQ(orv_node_add_parent(child, clone), 0);
  // Clones follow their master: states (with the tables of their children)
  // and labels.
  ASSERT_EQ(orv_node_set_number_of_states(s.out, 3), 0);
  EXPECT_EQ(orv_node_get_number_of_states(clone), 3u);
  EXPECT_EQ(orv_table_get_size(orv_node_get_table(child)), 6u);
  ASSERT_EQ(orv_node_set_state_label(s.out, 2, "broken"), 0);
  EXPECT_STREQ(orv_node_get_state_label(clone, 2), "broken");
  EXPECT_RESULT(orv_node_set_number_of_states(clone, 2), orv_error_usage, orv_error_usage);
  // Subtype, values and category as well, in every instance.
  orv_node_t second = orv_class_new_instance(top, s.c);
  orv_node_t clone2 = orv_node_get_output(second, s.out);
  ASSERT_EQ(orv_node_set_subtype(s.out, orv_subtype_number), 0);
  ASSERT_EQ(orv_node_set_state_value(s.out, 1, 2.5), 0);
  for (orv_node_t k : {clone, clone2}) {
    EXPECT_EQ(orv_node_get_subtype(k), orv_subtype_number);
    EXPECT_EQ(orv_node_get_state_value(k, 1), 2.5);
    EXPECT_EQ(orv_node_get_state_index_from_value(k, 2.5), 1);
  }
  EXPECT_RESULT(orv_node_set_state_value(clone, 1, 4.0), orv_error_usage, orv_error_usage);
  ASSERT_EQ(orv_node_set_category(s.out, orv_category_decision), 0);
  EXPECT_EQ(orv_node_get_category(clone2), orv_category_decision);
  EXPECT_EQ(orv_domain_get_number_of_decision_nodes(reinterpret_cast<orv_domain_t>(top)), 2u);
  ASSERT_EQ(orv_node_set_discrete_type(s.out, orv_category_chance, orv_subtype_label), 0);
  EXPECT_EQ(orv_node_get_category(clone), orv_category_chance);
  EXPECT_EQ(orv_node_get_subtype(clone2), orv_subtype_label);
  EXPECT_EQ(orv_domain_get_number_of_decision_nodes(reinterpret_cast<orv_domain_t>(top)), 0u);
  ASSERT_EQ(orv_node_delete(second), 0);
  // Reordering the master's states permutes the tables of the clones' children.
  orv_table_t child_table = orv_node_get_table(child);
  const double before[] = {0.1, 0.9, 0.2, 0.8, 0.3, 0.7};
  std::copy(before, before + 6, orv_table_get_data(child_table));
  ASSERT_EQ(orv_node_set_state_label(s.out, 0, "ok"), 0);
  ASSERT_EQ(orv_node_set_state_label(s.out, 1, "weak"), 0);
  const char *order[] = {"broken", "ok", "weak", nullptr};
  ASSERT_EQ(orv_node_reorder_states(s.out, order), 0);
  EXPECT_STREQ(orv_node_get_state_label(clone, 0), "broken");
  EXPECT_EQ(orv::test::table_values(child_table), (std::vector<double>{0.3, 0.7, 0.1, 0.9, 0.2, 0.8}));
  ASSERT_EQ(orv_node_set_number_of_states(s.out, 2), 0);
  EXPECT_EQ(orv_table_get_size(orv_node_get_table(child)), 4u);
  orv_domain_t d = orv_class_create_domain(top);
  ASSERT_NE(d, nullptr);
  const std::string out_name = std::string(orv_node_get_name(i)) + ".Out";
  orv_node_t out = orv_domain_get_node_by_name(d, out_name.c_str());
  ASSERT_NE(out, nullptr);
  EXPECT_STREQ(orv_node_get_name(orv_node_get_parents(out)[0]), "T");
  EXPECT_EQ(orv_node_get_parents(orv_domain_get_node_by_name(d, "Child"))[0], out);
  orv_domain_delete(d);

  // A new output reaches existing instances; removing it deletes the clones
  // (and their links); deleting a bound node unbinds it.
  orv_node_t extra = chance(s.c, "Extra", 4);
  ASSERT_EQ(orv_node_add_to_outputs(extra), 0);
  orv_node_t extra_clone = orv_node_get_output(i, extra);
  ASSERT_NE(extra_clone, nullptr);
  EXPECT_EQ(orv_node_get_number_of_states(extra_clone), 4u);
  ASSERT_EQ(orv_node_remove_from_outputs(s.out), 0);
  EXPECT_EQ(orv_node_get_outputs(i)[0], extra_clone);
  EXPECT_EQ(orv_node_get_parents(child)[0], nullptr);
  ASSERT_EQ(orv_node_delete(t), 0);
  EXPECT_RESULT(orv_node_get_input(i, s.in), nullptr, orv_error_none);
  ASSERT_EQ(orv_node_delete(i), 0);
  EXPECT_EQ(orv_class_get_instances(s.c)[0], nullptr);
  EXPECT_EQ(orv_class_delete(s.c), 0);
}

TEST(Classes, SubstitutionKeepsBindingsAndCloneLinks) {
  Collection cc;
  Sensor s(cc.cc);
  orv_class_t other = named_class(cc.cc, "Other");
  orv_node_t extra_in = chance(other, "Bias", 2), in = chance(other, "In", 2), out = chance(other, "Out", 2),
             more = chance(other, "More", 3);
  ASSERT_EQ(orv_node_add_parent(out, in), 0);
  for (orv_node_t n : {extra_in, in}) ASSERT_EQ(orv_node_add_to_inputs(n), 0);
  for (orv_node_t n : {more, out}) ASSERT_EQ(orv_node_add_to_outputs(n), 0);
  orv_class_t top = named_class(cc.cc, "Top");
  orv_node_t t = chance(top, "T", 2), child = chance(top, "Child", 2);
  orv_node_t i = orv_class_new_instance(top, s.c);
  ASSERT_EQ(orv_node_set_input(i, s.in, t), 0);
  orv_node_t clone = orv_node_get_output(i, s.out);
  ASSERT_EQ(orv_node_add_parent(child, clone), 0);

  // Incompatible counterparts are refused and change nothing.
  orv_class_t bad = named_class(cc.cc, "Bad");
  orv_node_t bad_in = chance(bad, "In", 2), bad_out = chance(bad, "Out", 5);
  ASSERT_EQ(orv_node_add_to_inputs(bad_in), 0);
  ASSERT_EQ(orv_node_add_to_outputs(bad_out), 0);
  EXPECT_RESULT(orv_node_substitute_class(i, bad), orv_error_usage, orv_error_usage);
  EXPECT_EQ(orv_node_get_instance_class(i), s.c);
  EXPECT_RESULT(orv_node_substitute_class(i, top), orv_error_cyclic_instance_hierarchy,
                orv_error_cyclic_instance_hierarchy);

  ASSERT_EQ(orv_node_substitute_class(i, other), 0);
  EXPECT_EQ(orv_node_get_instance_class(i), other);
  EXPECT_EQ(orv_class_get_instances(s.c)[0], nullptr);
  EXPECT_EQ(orv_node_get_input(i, in), t);
  EXPECT_EQ(orv_node_get_input(i, extra_in), nullptr);
  EXPECT_EQ(orv_node_get_output(i, out), clone);
  EXPECT_EQ(orv_node_get_master(clone), out);
  EXPECT_EQ(orv_node_get_parents(child)[0], clone);
  orv_node_t more_clone = orv_node_get_output(i, more);
  ASSERT_NE(more_clone, nullptr);
  EXPECT_EQ(orv_node_get_outputs(i)[0], more_clone);
  EXPECT_EQ(orv_node_get_outputs(i)[1], clone);
}

TEST(Classes, EntryPointsRefuseBadArguments) {
  Collection cc;
  Sensor s(cc.cc);
  orv_domain_t plain = orv_new_domain();
  orv_node_t plain_node = orv_domain_new_node(plain, orv_category_chance, orv_kind_discrete);
  orv_class_t c = s.c;
  auto cls = reinterpret_cast<orv_class_t>(plain);  // a domain is not a class
  expect_usage_calls(
      {
          {"cc_get_class_by_name", [&] { return !orv_cc_get_class_by_name(cc.cc, nullptr); }},
          {"cc_add_classes self", [&] { return orv_cc_add_classes(cc.cc, cc.cc) == orv_error_usage; }},
          {"cc_add_domain class", [&] { return !orv_cc_add_domain(cc.cc, reinterpret_cast<orv_domain_t>(c)); }},
          {"class_delete domain", [&] { return orv_class_delete(cls) == orv_error_usage; }},
          {"class_set_name", [&] { return orv_class_set_name(c, nullptr) == orv_error_usage; }},
          {"class_get_name", [&] { return !orv_class_get_name(cls); }},
          {"class_new_node", [&] { return !orv_class_new_node(cls, orv_category_chance, orv_kind_discrete); }},
          {"class_new_instance", [&] { return !orv_class_new_instance(c, nullptr); }},
          {"class_create_domain", [&] { return !orv_class_create_domain(cls); }},
          {"add_to_inputs domain node", [&] { return orv_node_add_to_inputs(plain_node) == orv_error_usage; }},
          {"remove_from_outputs not output", [&] { return orv_node_remove_from_outputs(s.in) == orv_error_usage; }},
          {"get_instance_class", [&] { return !orv_node_get_instance_class(s.in); }},
          {"get_master", [&] { return !orv_node_get_master(s.in); }},
          {"get_output", [&] { return !orv_node_get_output(s.in, s.out); }},
          {"set_input", [&] { return orv_node_set_input(s.in, s.in, s.in) == orv_error_usage; }},
          {"substitute", [&] { return orv_node_substitute_class(s.in, c) == orv_error_usage; }},
          {"get_source", [&] { return !orv_node_get_source(nullptr); }},
          {"parse_classes", [&] { return orv_net_parse_classes("class A {}", nullptr, nullptr, nullptr, nullptr) == orv_error_usage; }},
      },
      [&] { return orv_cc_get_class_by_name(cc.cc, "Sensor") == c; });
  EXPECT_RESULT(orv_class_set_name(c, "a.b"), orv_error_invalid_name, orv_error_invalid_name);
  EXPECT_RESULT(orv_node_set_name(s.in, "a.b"), orv_error_invalid_name, orv_error_invalid_name);
  orv_class_t second = orv_cc_new_class(cc.cc);
  EXPECT_RESULT(orv_class_set_name(second, "Sensor"), orv_error_twice, orv_error_twice);
  orv_domain_delete(plain);
}

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
    const bool bound = std::string(leaf) == "L1";
    const std::string u = bound ? in : l + ".U";
    if (!bound) s += "node " + u + " { states = (\"s0\" \"s1\"); }\npotential (" + u + ") { data = (0.3 0.7); }\n";
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

// Every allocation of an unfolding may fail (no domain, no leak); the clean
// run equals the flat network. Then a domain becomes a class.
TEST(Unfolding, EqualsTheHandWrittenFlatNetworkAndSurvivesEveryAllocationFailure) {
  Collection c;
  ASSERT_EQ(orv_net_parse_classes(class_file("hierarchy.net").c_str(), c.cc, nullptr, nullptr, nullptr), 0);
  orv_class_t top = orv_cc_get_class_by_name(c.cc, "Top");
  const auto done = expect_no_memory_sweep("unfold", [&] { return orv_class_create_domain(top); }, [] {});
  orv_domain_t unfolded = done.result;
  ASSERT_NE(unfolded, nullptr);
  EXPECT_GT(done.n, 50u);
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
  EXPECT_EQ(orv::test::names_of(orv_node_get_source(q)), (std::vector<std::string>{"M1", "L1", "B1", "Q"}));

  expect_same_beliefs(flat, unfolded, {});
  expect_same_beliefs(flat, unfolded, {{"M1.L1.Y", 1}, {"M2.L2.X", 2}, {"B", 0}});
  orv_domain_delete(flat);
  orv_domain_delete(unfolded);

  // A domain turned into a class may fail at every allocation, leaving the
  // domain as it was; dotted names do not fit a class.
  orv_domain_t base = orv_class_create_domain(orv_cc_get_class_by_name(c.cc, "Base"));
  ASSERT_NE(base, nullptr);
  const auto moved = expect_no_memory_sweep(
      "add_domain", [&] { return orv_cc_add_domain(c.cc, base); },
      [&] {
        EXPECT_EQ(orv_cc_get_members(c.cc)[4], nullptr);
        EXPECT_NE(orv_domain_get_node_by_name(base, "Q"), nullptr);
        EXPECT_EQ(orv_node_get_next(orv_node_get_next(orv_domain_get_first_node(base))), nullptr);
      });
  ASSERT_NE(moved.result, nullptr);
  orv_node_t class_q = orv_class_get_node_by_name(moved.result, "Q");
  ASSERT_NE(class_q, nullptr);
  EXPECT_STREQ(orv_node_get_name(orv_node_get_parents(class_q)[0]), "P");
  EXPECT_NEAR(orv_table_get_data(orv_node_get_table(class_q))[2], 0.3, 1e-15);
  orv_domain_t dotted = orv_class_create_domain(top);
  EXPECT_RESULT(orv_cc_add_domain(c.cc, dotted), nullptr, orv_error_invalid_name);
  orv_domain_delete(dotted);
}

}  // namespace
