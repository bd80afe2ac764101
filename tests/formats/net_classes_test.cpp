// Class files (every class message with its line, nothing left behind by a
// failed parse, the class loader, parse -> write -> parse as a fixed point) and
// every benchmark and CG network parsed, written and parsed back to the same
// domain, whose text written again is identical.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/formats_checks.h"
#include "support/model_checks.h"
#include "support/net_compare.h"

namespace orv {
namespace {

using namespace test;

// A used class: input In, output Out, hidden H.
const char *kUsed =
    "class B {\n"
    "  inputs = (In);\n"
    "  outputs = (Out);\n"
    "  node In { states = (\"a\" \"b\"); }\n"
    "  node Out { states = (\"a\" \"b\"); }\n"
    "  node H { states = (\"a\" \"b\"); }\n"
    "}\n";  // 7 lines

struct Case {
  const char *body;  // after kUsed, starting on line 8
  const char *message;
  size_t line;
  orv_error_t code = orv_error_parse;
};

TEST(NetClasses, EveryClassMessageWithItsLine) {
  const Case cases[] = {
      {"net {}\n", "expected `class' keyword", 8},
      {"class\n{\n}\n", "class name expected", 9},
      {"class B {}\n", "a class with name `B' already exists", 8, orv_error_twice},
      {"class A {\n  class C {}\n}\n", "nested classes are not permitted", 9},
      {"class A {\n 5 }\n", "unexpected token", 9},
      {"class A {\n  instance I : Nope () {}\n}\n", "loading class `Nope' failed", 9},
      {"class A {\n  node X {}\n  instance X : B () {}\n}\n", "a node named `X' already exists", 10, orv_error_twice},
      {"class A {\n  instance I : A () {}\n}\n", "adding class instance `I' creates a cycle in the instance hierarchy", 9,
       orv_error_cyclic_instance_hierarchy},
      {"class A {\n  instance I : B (; C = Q) {}\n}\n", "class `B' does not have a node named `Q'", 9},
      {"class A {\n  instance I : B (; C = H) {}\n}\n", "node `H' is not an output node in class `B'", 9},
      {"class A {\n  instance I : B (= X) {}\n}\n", "name, `;', or `)' expected", 9},
      {"class A {\n  node X {}\n  instance I : B (In = X\n X) {}\n}\n", "`,', `;', or `)' expected", 11},
      {"class A {\n  instance I : B (;\n = ) {}\n}\n", "name or `)' expected", 10},
      {"class A {\n  instance I : B (; C = Out Out) {}\n}\n", "`,' or `)' expected", 9},
      {"class A {\n  instance : B () {}\n}\n", "name expected", 9},
      {"class A {\n  node X {}\n  temporal T : X {}\n}\n", "invalid creation of a temporal clone of `X'", 10},
      {"class A {\n  node X {}\n  potential (X | Q) {}\n}\n", "class `A' has no node named `Q'", 10},
      {"class A {\n  node X {}\n  node Y {}\n  potential (Y | X.Q) {}\n}\n",
       "node `X' is not an instance node in class `A'", 11},
      {"class A {\n  node Y {}\n  instance I : B () {}\n  potential (Y | I.In) {}\n}\n",
       "node `In' is not an output node in class `B'", 11},
      {"class A {\n  instance I : B (; C = Out) {}\n  potential (C) {}\n}\n",
       "output clone `C' found in potential specification", 10},
      {"class A {\n  node X {}\n  inputs = (X);\n  inputs = (X);\n}\n", "attribute `inputs' defined twice", 11},
      {"class A {\n  outputs = (\"X\");\n}\n", "node name or `)' expected", 9},
      {"class A {\n  node a.b {}\n}\n", "name expected", 9},
      {"class A {\n  node X {}\n  instance I : B (In = Z) {}\n}\n", "class `A' has no node named `Z'", 11},
  };
  for (const Case &c : cases) {
    const std::string text = std::string(kUsed) + c.body;
    const std::string path = temp_file("classes_case.net", text);
    Collection cc;
    Messages messages;
    LiveBlocks live;
    EXPECT_EQ(orv_net_parse_classes(path.c_str(), cc.cc, nullptr, Messages::handler, &messages), c.code) << text;
    EXPECT_EQ(orv_error_code(), c.code) << text;
    EXPECT_TRUE(messages.reported(c.message, c.line)) << text << messages.wanted(c.message, c.line);
    EXPECT_EQ(live.delta(), 0) << text;
    EXPECT_EQ(cc.size(), 0u) << "a failed parse leaves no class behind\n" << text;
  }
}

// The loader reads "<name>.net" from a directory of its choice. It shares
// the data pointer with the message handler.
struct Loader : Messages {
  explicit Loader(std::string d) : directory(std::move(d)) {}
  std::string directory;
  int calls = 0;
  static void load(const char *name, orv_class_collection_t cc, void *data) {
    auto *self = static_cast<Loader *>(data);
    ++self->calls;
    orv_net_parse_classes((self->directory + name + ".net").c_str(), cc, nullptr, nullptr, nullptr);
  }
};

TEST(NetClasses, LoaderSuppliesMissingClasses) {
  temp_file("B.net", kUsed);
  Loader loader(::testing::TempDir());
  const char *user = "class A {\n  node X { states = (\"a\" \"b\"); }\n  instance I : B (In = X; C = Out) {}\n}\n";
  Collection cc;
  ASSERT_EQ(orv_net_parse_classes(user, cc.cc, Loader::load, nullptr, &loader), 0);
  EXPECT_EQ(loader.calls, 1);
  ASSERT_EQ(cc.size(), 2u);
  orv_class_t a = orv_cc_get_class_by_name(cc.cc, "A");
  orv_node_t i = orv_class_get_node_by_name(a, "I");
  EXPECT_EQ(orv_node_get_input(i, orv_class_get_inputs(orv_cc_get_class_by_name(cc.cc, "B"))[0]),
            orv_class_get_node_by_name(a, "X"));
  // A class the loader cannot find fails the parse; the loaded B goes too.
  Collection other;
  Loader again(::testing::TempDir());
  const std::string bad = std::string(user) + "class D {\n  instance J : Missing () {}\n}\n";
  EXPECT_EQ(orv_net_parse_classes(bad.c_str(), other.cc, Loader::load, Messages::handler, &again), orv_error_parse);
  EXPECT_EQ(again.first(), "loading class `Missing' failed");
  EXPECT_EQ(again.calls, 2);
  EXPECT_EQ(other.size(), 0u);
}

TEST(NetClasses, WriteThenReadIsAFixedPointAndUsedClassesComeFirst) {
  Collection cc;
  ASSERT_EQ(orv_net_parse_classes(class_file("hierarchy.net").c_str(), cc.cc, nullptr, nullptr, nullptr), 0);
  const std::string text = take_text(orv_cc_to_net_string(cc.cc));
  Collection again;
  ASSERT_EQ(orv_net_parse_classes(text.c_str(), again.cc, nullptr, nullptr, nullptr), 0) << text;
  EXPECT_EQ(take_text(orv_cc_to_net_string(again.cc)), text);
  EXPECT_CONTAINS(text, "class Leaf\n{\n    inputs = (U);\n    outputs = (Y);\n    node_size = (0 0);\n");
  EXPECT_CONTAINS(text, "\n    instance L1 : Leaf (U = M_in; Y1 = Y)\n    {\n    }\n");
  EXPECT_CONTAINS(text, "\n    instance L2 : Leaf (; L2_Y = Y)\n");  // an unnamed clone with a child
  EXPECT_CONTAINS(text, "\n    potential (Z | Y1 L2_Y)\n    {\n\tdata = ((( 0.99 0.01 )\t%  Y1=y0  L2_Y=y0\n\t\t ( 0.7 0.3 ))\t%  Y1=y0  L2_Y=y1\n");
  EXPECT_CONTAINS(text, "} % class Top\n");

  // Users created before the classes they use are still written after them.
  Collection order;
  orv_class_t user = orv_cc_new_class(order.cc), used = orv_cc_new_class(order.cc);
  ASSERT_EQ(orv_class_set_name(user, "User"), 0);
  ASSERT_EQ(orv_class_set_name(used, "Used"), 0);
  ASSERT_NE(orv_class_new_instance(user, used), nullptr);
  const std::string o = take_text(orv_cc_to_net_string(order.cc));
  EXPECT_LT(o.find("class Used"), o.find("class User")) << o;
  EXPECT_CONTAINS(o, "} % class Used\n\nclass User\n");
  Collection empty;
  EXPECT_RESULT(orv_cc_to_net_string(empty.cc), nullptr, orv_error_usage);
}

TEST(NetClasses, ParsingSurvivesEveryAllocationFailure) {
  const std::string text = read_file(class_file("hierarchy.net"));
  Collection cc;
  const auto done = expect_no_memory_sweep(
      "parse classes", [&] { return orv_net_parse_classes(text.c_str(), cc.cc, nullptr, nullptr, nullptr); },
      [&] { EXPECT_EQ(cc.size(), 0u); });
  EXPECT_EQ(done.result, 0);
  EXPECT_EQ(cc.size(), 4u);
}

TEST(NetRoundTrip, EveryBenchmarkNetworkIsAFixedPoint) {
  const std::vector<std::string> files = network_files({"/networks"});
  ASSERT_GE(files.size(), 21u);
  for (const std::string &file : files) {
    test::Messages messages;
    DomainPtr first(orv_net_parse_domain(file.c_str(), test::Messages::handler, &messages));
    ASSERT_NE(first, nullptr) << file << ": " << messages.first();
    EXPECT_EQ(messages.items.size(), 0u) << file << ": " << messages.first();
    const std::string text = test::take_text(orv_domain_to_net_string(first.get()));
    DomainPtr second(orv_net_parse_domain(text.c_str(), test::Messages::handler, &messages));
    ASSERT_NE(second, nullptr) << file << ": " << messages.first();
    // A failed comparison of these multi-line texts prints only their diff.
    EXPECT_EQ(test::describe_domain(second.get(), 6), test::describe_domain(first.get(), 6)) << file;
    EXPECT_EQ(test::take_text(orv_domain_to_net_string(second.get())), text) << file;
  }
}

// A domain built through the API (unnamed nodes, tables from the node table
// accessor) writes text that reads back to the same domain.
TEST(NetRoundTrip, ApiBuiltDomainReadsBack) {
  orv_domain_t d = orv_new_domain();
  orv_node_t a = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
  orv_node_t b = orv_domain_new_node(d, orv_category_decision, orv_kind_discrete);
  orv_node_t u = orv_domain_new_node(d, orv_category_utility, orv_kind_other);
  ASSERT_EQ(orv_node_set_number_of_states(a, 3), 0);
  ASSERT_EQ(orv_node_set_state_label(a, 1, "mid \"q\""), 0);
  add_parents({{b, a}, {u, a}, {u, b}});
  ASSERT_EQ(orv_node_set_attribute(u, "unit", "EUR"), 0);
  ASSERT_EQ(orv_domain_set_attribute(d, "author", "tests"), 0);
  double *utility = orv_table_get_data(orv_node_get_table(u));
  ASSERT_NE(utility, nullptr);
  for (int i = 0; i < 3; ++i) utility[i] = -2.5 * i;
  const std::string text = test::take_text(orv_domain_to_net_string(d));
  EXPECT_CONTAINS(text, "\nutility U3\n{\n    unit = \"EUR\";\n}\n");
  EXPECT_CONTAINS(text, "potential (U3 | D2 C1)");
  test::Messages messages;
  DomainPtr back(orv_net_parse_domain(text.c_str(), test::Messages::handler, &messages));
  ASSERT_NE(back, nullptr) << messages.first();
  EXPECT_EQ(test::take_text(orv_domain_to_net_string(back.get())), text);
  EXPECT_EQ(orv_table_get_data(orv_node_get_table(orv_domain_get_node_by_name(back.get(), "U3")))[2], -5.0);
  orv_domain_delete(d);
}

}  // namespace
}  // namespace orv
