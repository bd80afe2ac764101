// NET reading and writing of individual features: string escapes, state
// values, negative table entries, dotted names, CG data, models, learning
// tables, the old format, the text/file decision and the writer's layout.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstdio>
#include <string>

#include "expr/model.h"
#include "formats/net_parse.h"
#include "model/node.h"
#include "runtime/allocate.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/net_compare.h"
#include "tables/table.h"

namespace orv {
namespace {

using test::Messages;

// NET text or a file parsed, with its messages; the domain is owned.
struct Parsed {
  Messages messages;
  orv_domain_t d;
  explicit Parsed(const std::string &text) : d(orv_net_parse_domain(text.c_str(), Messages::handler, &messages)) {}
  ~Parsed() { if (d) orv_domain_delete(d); }
  orv_node_t node(const char *name) const { return orv_domain_get_node_by_name(d, name); }
  std::string text() const { return test::take_text(orv_domain_to_net_string(d)); }
};

// Written NET text reads back to the domain it was written from and is
// written again unchanged.
void expect_fixed_point(const Parsed &written, const std::string &text) {
  Parsed again(text);
  ASSERT_NE(again.d, nullptr) << again.messages.first();
  EXPECT_EQ(test::describe_domain(again.d, 6), test::describe_domain(written.d, 6));
  EXPECT_EQ(again.text(), text);
}

TEST(NetStrings, EscapesContinuationsAndNullCharacters) {
  Parsed p("net { }\nnode A { label = \"\\x41\\101\\x4a\\t\\\"\\?\\'\\\\\"; }\n"
           "node B { label = \"ab\\\ncd\"; }\n"
           "node C { label = \"x\\0y\"; }\n");
  ASSERT_NE(p.d, nullptr) << p.messages.first();
  EXPECT_STREQ(orv_node_get_label(p.node("A")), "AAJ\t\"?'\\");
  EXPECT_STREQ(orv_node_get_label(p.node("B")), "abcd");
  EXPECT_STREQ(orv_node_get_label(p.node("C")), "x");
  ASSERT_EQ(p.messages.items.size(), 1u);
  EXPECT_EQ(p.messages.items[0].second, "warning: null character in string");
  // A continuation counts its line: the error below is on line 3.
  Parsed continued(test::temp_file("orvel_continued.net", "net { a = \"x\\\ny\"; }\nnode A { label = 4; }\n"));
  EXPECT_EQ(continued.d, nullptr);
  ASSERT_EQ(continued.messages.items.size(), 1u);
  EXPECT_EQ(continued.messages.items[0].first, 3u);
}

TEST(NetStrings, SniffingAndEscapeRemoval) {
  EXPECT_EQ(_orv_string_is_net_description("  % comment\nnet {"), 1);
  EXPECT_EQ(_orv_string_is_net_description("class C {"), 1);
  EXPECT_EQ(_orv_string_is_net_description("class {"), 0);
  EXPECT_EQ(_orv_string_is_net_description("net.net"), 0);
  EXPECT_EQ(_orv_string_is_net_description("\"open"), 0);
  EXPECT_EQ(orv_error_code(), orv_error_none);  // a lexical error is not an error here
  char *s = _orv_remove_escapes(" \"a\\x42\\n\" ");
  ASSERT_NE(s, nullptr);
  EXPECT_STREQ(s, "aB\n");
  _orv_free(s);
  EXPECT_RESULT(_orv_remove_escapes("\"a\" \"b\""), nullptr, orv_error_syntax);
  EXPECT_RESULT(_orv_remove_escapes("abc"), nullptr, orv_error_syntax);
}

TEST(NetStates, StateValuesWithInfinityAndSigns) {
  Parsed p("net { }\nnode I { states = (\"lo\" \"hi\"); subtype = interval;"
           " state_values = (-infinity 0 infinity); }\n"
           "node N { states = (\"a\" \"b\" \"c\"); subtype = number; state_values = (-1 +2 3.5); }\n"
           "node B { states = (\"no\" \"yes\"); subtype = boolean; }\n");
  ASSERT_NE(p.d, nullptr) << p.messages.first();
  const auto values = [&](const char *name) {
    std::vector<double> v;
    for (size_t s = 0; s < 3; ++s) v.push_back(orv_node_get_state_value(p.node(name), s));
    return v;
  };
  EXPECT_EQ(values("I"), (std::vector<double>{-DBL_MAX, 0.0, DBL_MAX}));
  EXPECT_EQ(values("N"), (std::vector<double>{-1.0, 2.0, 3.5}));
  EXPECT_EQ(orv_node_get_subtype(p.node("B")), orv_subtype_boolean);
  const std::string text = p.text();
  EXPECT_CONTAINS(text, "    state_values = (-infinity 0 infinity);\n");
  EXPECT_CONTAINS(text, "    state_values = (-1 2 3.5);\n");
  EXPECT_CONTAINS(text, "    subtype = boolean;\n");
}

TEST(NetTables, NegativeEntriesInNestedDataWarn) {
  const std::string head = "net { }\nnode A { states = (\"a\" \"b\"); }\nnode B { states = (\"a\" \"b\"); }\n";
  // (A negative entry in flat data is an error: see NetMessages.)
  Parsed nested(head + "potential (B | A) { data = ((0.5 -0.5) (1 0)); }");
  ASSERT_NE(nested.d, nullptr);
  ASSERT_EQ(nested.messages.items.size(), 1u);
  EXPECT_EQ(nested.messages.first(), "warning: negative value in probability potential");
  EXPECT_EQ(orv_node_get_table(nested.node("B"))->data[1], -0.5);
  Parsed utility(head + "utility U {} potential (U | A) { data = (-5 7); }");
  ASSERT_NE(utility.d, nullptr) << utility.messages.first();
  EXPECT_TRUE(utility.messages.items.empty());
  // An empty body warns and leaves no table behind.
  Parsed empty(head + "potential (B | A) { }");
  ASSERT_NE(empty.d, nullptr);
  EXPECT_EQ(empty.messages.first(), "warning: no potential data specified");
  EXPECT_EQ(empty.node("B")->table, nullptr);
  EXPECT_EQ(empty.node("B")->parents.size(), 1u);
}

TEST(NetCg, MeansWithRegressionRoundTrip) {
  Parsed p("net { }\nnode A { states = (\"a\" \"b\"); }\ncontinuous node X {}\ncontinuous node Y {}\n"
           "potential (X) { data = (normal (0, 1)); }\n"
           "potential (Y | A X) { data = (normal (1 + 2 * X - X, 0.1234567891) normal (-X, 2)); }\n");
  ASSERT_NE(p.d, nullptr) << p.messages.first();
  orv_table_t t = p.node("Y")->table;
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(test::names_of(t->nodes.c_list()), (std::vector<std::string>{"A", "Y", "X"}));
  // Intercept, variance and the coefficient of X for A = a; X's for A = b.
  EXPECT_EQ(std::vector<double>(t->cg_data, t->cg_data + 3), (std::vector<double>{1.0, 0.1234567891, 1.0}));
  EXPECT_EQ(t->cg_data[t->block_size + 2], -1.0);
  const std::string text = p.text();
  EXPECT_CONTAINS(text, "( normal ( 1 + X, 0.12345679 )\t%  A=a\n\t normal ( -X, 2 ) );\t%  A=b\n");
  EXPECT_CONTAINS(text, "    data\n     = normal ( 0, 1 );\n");  // a lone entry stands bare
}

TEST(NetModels, ModelsAndLearningTablesRoundTrip) {
  Parsed p("net { }\nnode A { states = (\"a\" \"b\"); }\nnode B { states = (\"x\" \"y\" \"z\"); }\n"
           "node C { states = (\"lo\" \"hi\"); subtype = interval; state_values = (0 1 2); }\n"
           "potential (A) { data = (0.1234567891 0.9); experience = (4); fading = (0.9); }\n"
           "potential (B | A) { model_nodes = (A); samples_per_interval = 7;"
           " model_data = (Distribution (1, 2, 3), ); experience = (1 -1); }\n"
           "potential (C | A) { model_nodes = (); model_data = (Normal (-2^2, 1)); data = ((1 0) (0 1)); }\n");
  ASSERT_NE(p.d, nullptr) << p.messages.first();
  orv_model_t m = orv_node_get_model(p.node("B"));
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(orv_model_get_size(m), 2u);
  EXPECT_EQ(orv_model_get_number_of_samples_per_interval(m), 7u);
  EXPECT_NE(orv_model_get_expression(m, 0), nullptr);
  EXPECT_EQ(orv_model_get_expression(m, 1), nullptr);
  EXPECT_FALSE(m->table_supplied);
  EXPECT_TRUE(orv_node_get_model(p.node("C"))->table_supplied);
  // Without data the model supplies B's table, but an experience table keeps
  // the table with its default contents.
  ASSERT_NE(p.node("B")->table, nullptr);
  EXPECT_EQ(p.node("B")->table->data[0], 1.0);
  ASSERT_NE(p.node("B")->experience, nullptr);
  EXPECT_EQ(p.node("B")->experience->data[1], -1.0);
  const std::string text = p.text();
  EXPECT_CONTAINS(text, "    data = ( 0.123457 0.9 );\n    experience = ( 4 );\n    fading = ( 0.9 );\n");
  EXPECT_CONTAINS(text, "    model_nodes = (A);\n    samples_per_interval = 7;\n"
                        "    model_data\n\t    = ( Distribution (1, 2, 3),\n\t\t );\n");
  EXPECT_CONTAINS(text, "    model_data = ( Normal (-2 ^ 2, 1) );\n    data\n");
  expect_fixed_point(p, text);
}

TEST(NetOldFormat, HeaderNodesAndLinks) {
  const char *text = "old \"An old network\" 60 30 1\n% comment\nA 2 ()\nB 3 (A 2)\nC 2 (A 2 B 3)\n";
  orv_domain_t d = orv_net_parse_from_string(text, nullptr);
  ASSERT_NE(d, nullptr);
  size_t w, h;
  orv_domain_get_node_size(d, &w, &h);
  EXPECT_EQ(w, 60u);
  orv_node_t c = orv_domain_get_node_by_name(d, "C");
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(orv_node_get_number_of_states(orv_domain_get_node_by_name(d, "B")), 3u);
  EXPECT_EQ(test::names_of_parents(c), "A B");
  EXPECT_STREQ(orv_node_get_name(orv_domain_get_first_node(d)), "A");  // file order
  orv_domain_delete(d);

  static std::vector<std::string> messages;
  const auto handler = [](int, const char *m) { messages.push_back(m); };
  const struct {
    const char *lines, *message;
    orv_error_t code;
  } broken[] = {
      {"A 2 (B 3)\nC 2 (B 2 A 2)\n", "number of states (2) does not match previous usage (line 2)", orv_error_parse},
      {"A 2 ()\nA 2 ()\n", "node `A' has already been defined (at line 2)", orv_error_parse},
      {"A 2 (B 2)\nB 2 (A 2)\n", "adding the link A --> B creates a directed cycle", orv_error_cyclic_network},
      {"A 2 (B 2 B 2)\nB 2 ()\n", "node `B' appears twice as a parent of `A'", orv_error_parse},
      {"A 2 x\n", "parent node name or a left parenthesis expected", orv_error_parse},
      {"(\n", "node name (or end-of-file) expected", orv_error_parse},
  };
  for (const auto &b : broken) {
    messages.clear();
    EXPECT_RESULT(orv_net_parse_from_string((std::string("old \"x\" 1 1 1\n") + b.lines).c_str(), handler), nullptr,
                  b.code);
    EXPECT_EQ(messages.at(0), b.message) << b.lines;
  }
  EXPECT_EQ(messages.size(), 1u);
  orv_net_parse_from_string("old \"x\" 1 1 1\nA 2 (B 3)\n", handler);
  EXPECT_EQ(messages.back(), "node `B' (used at line 2) has not been defined");
  // Anything else is the new format, including empty input.
  test::DomainPtr empty(orv_net_parse_from_string("", nullptr));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(orv_domain_get_first_node(empty.get()), nullptr);
}

TEST(NetWriter, LayoutNumbersAndComments) {
  Parsed p("net { node_size = (80.4 40.6); }\n"
           "node A { states = (\"a\" \"two\\nlines\"); label = \"\\0017\"; }\n"
           "node I { states = (\"\" \"\"); subtype = interval; state_values = (-infinity 1 2); }\n"
           "potential (A) { data = (0.1234567891 1); }\n"
           "potential (I | A) { data = ((1 2) (3 4)); }\n"
           "node a.b { states = (\"x\"); }\npotential (a.b | A) { data = ((1) (1)); }\n"
           "utility U {}\npotential (U | I) { data = (5 6); }\n");
  ASSERT_NE(p.d, nullptr) << p.messages.first();
  ASSERT_NE(p.node("a.b"), nullptr);  // a dotted name in a domain
  const std::string text = p.text();
  EXPECT_EQ(text.rfind("net\n{\n    node_size = (80 41);\n}\n\nnode A\n{\n    label = \"\\0017\";\n", 0), 0u)
      << text;
  EXPECT_CONTAINS(text, "potential (A)\n{\n    data = ( 0.123457 1 );\n}\n");
  EXPECT_CONTAINS(text, "    data\n     = (( 1 2 )\t%  A=a\n\t( 3 4 ));\t%  A=<1>\n");
  EXPECT_CONTAINS(text, "\npotential (a.b | A)\n");
  // Utility tables comment every entry; intervals identify themselves.
  EXPECT_CONTAINS(text, "    data\n     = ( 5\t%  I=interval(-infinity,1)\n\t 6 );\t%  I=interval(1,2)\n");
}

TEST(NetWriter, FilesStreamsAndArguments) {
  Parsed p("net { }\nnode A { states = (\"a\" \"b\"); }\npotential (A) { data = (1 3); }\n");
  ASSERT_NE(p.d, nullptr);
  const std::string path = ::testing::TempDir() + "orvel_saved.net";
  EXPECT_RESULT(orv_domain_get_file_name(p.d), nullptr, orv_error_none);  // parsed from text
  EXPECT_EQ(orv_domain_save_as_net(p.d, path.c_str()), orv_error_none);
  EXPECT_STREQ(orv_domain_get_file_name(p.d), path.c_str());
  Parsed loaded(path);
  ASSERT_NE(loaded.d, nullptr);
  EXPECT_STREQ(orv_domain_get_file_name(loaded.d), path.c_str());
  EXPECT_EQ(test::describe_domain(loaded.d, 6), test::describe_domain(p.d, 6));
  std::remove(path.c_str());
  EXPECT_EQ(orv_domain_save_as_net(p.d, "/nonexistent/dir/x.net"), orv_error_io);
  EXPECT_STREQ(orv_domain_get_file_name(p.d), path.c_str());
  EXPECT_EQ(orv_domain_save_as_net(nullptr, "x"), orv_error_usage);
  EXPECT_EQ(orv_domain_save_as_net(p.d, nullptr), orv_error_usage);
  EXPECT_EQ(orv_domain_write_net(p.d, nullptr), orv_error_usage);
  EXPECT_RESULT(orv_domain_to_net_string(nullptr), nullptr, orv_error_usage);
  std::FILE *full = std::fopen("/dev/full", "w");
  if (full) {
    std::setvbuf(full, nullptr, _IONBF, 0);
    EXPECT_EQ(orv_domain_write_net(p.d, full), orv_error_io);
    std::fclose(full);
  }
}

TEST(NetWriter, StringSurvivesEveryAllocationFailure) {
  Parsed p("net { }\nnode A { states = (\"a\" \"b\"); }\nnode B { states = (\"a\" \"b\"); }\n"
           "potential (A) { data = (1 3); }\npotential (B | A) { model_nodes = (A);"
           " model_data = (Distribution (1, 2), Distribution (2, 1)); data = ((1 2) (3 4)); }\n");
  ASSERT_NE(p.d, nullptr) << p.messages.first();
  const std::string expected = p.text();
  const auto clean = test::expect_no_memory_sweep("write", [&] { return orv_domain_to_net_string(p.d); }, [] {});
  ASSERT_NE(clean.result, nullptr);
  EXPECT_EQ(clean.result, expected);
  _orv_free(clean.result);
}

TEST(NetContracts, LearningTablesAndModelsRefuseBadArguments) {
  Parsed p("net { }\nnode A { states = (\"a\" \"b\"); }\ndiscrete function D { states = (\"x\" \"y\"); }\n"
           "continuous node X {}\npotential (D | A) {}\n");
  ASSERT_NE(p.d, nullptr) << p.messages.first();
  EXPECT_RESULT(orv_node_get_experience_table(p.node("D")), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_node_get_fading_table(p.node("X")), nullptr, orv_error_usage);
  EXPECT_EQ(orv_node_has_experience_table(nullptr), -1);
  orv_table_t e = orv_node_get_experience_table(p.node("X"));
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(orv_node_get_experience_table(p.node("X")), e);  // created once
  EXPECT_EQ(orv_node_has_experience_table(p.node("X")), 1);
  EXPECT_EQ(e->type, orv_table_experience);
  EXPECT_EQ(e->data[0], 0.0);
  orv_table_t f = orv_node_get_fading_table(p.node("A"));
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->data[0], 1.0);
  EXPECT_CONTAINS(p.text(), "potential (A)\n{\n    fading = ( 1 );\n}\n");

  orv_node_t parents[] = {p.node("A"), nullptr};
  EXPECT_RESULT(orv_node_new_model(nullptr, parents), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_node_new_model(p.node("X"), parents), nullptr, orv_error_usage);  // CG nodes have no models
  orv_model_t m = orv_node_new_model(p.node("D"), parents);
  ASSERT_NE(m, nullptr);
  orv_expression_t e1 = orv_string_parse_expression("if (A == \"a\", \"x\", \"y\")", m, nullptr, nullptr);
  ASSERT_NE(e1, nullptr);
  EXPECT_EQ(orv_model_set_expression(m, 1, e1), orv_error_none);
  orv_expression_delete(e1);
  EXPECT_RESULT(orv_model_get_expression(m, 2), nullptr, orv_error_usage);
  EXPECT_EQ(orv_model_get_size(nullptr), static_cast<size_t>(-1));
  EXPECT_RESULT(orv_string_parse_expression("1", nullptr, nullptr, nullptr), nullptr, orv_error_usage);
  // The written model (label subtype written for a node with a model) reads
  // back; A gets its default table with the fading table.
  Parsed first(p.text());
  ASSERT_NE(first.d, nullptr) << first.messages.first();
  const std::string text = first.text();
  EXPECT_CONTAINS(text, "potential (A)\n{\n    data = ( 1 1 );\n    fading = ( 1 );\n}\n");
  EXPECT_CONTAINS(text, "    subtype = label;\n");
  EXPECT_CONTAINS(text, "    model_data\n\t    = ( ,\n\t\tif (A == \"a\", \"x\", \"y\") );\n");
  expect_fixed_point(first, text);
}

TEST(NetChain, ChainGraphPotentialsRoundTrip) {
  const std::string head =
      "net { }\nnode A { states = (\"a0\" \"a1\"); }\nnode B { states = (\"b0\" \"b1\"); }\n"
      "node C { states = (\"c0\" \"c1\"); }\npotential (A) { data = (0.5 0.5); }\n";
  Parsed p(head + "potential (B C | A) { data = (((1 2) (3 4)) ((5 6) (7 8))); }\n");
  ASSERT_NE(p.d, nullptr) << p.messages.first();
  EXPECT_NE(p.node("B")->chain_block, nullptr);
  EXPECT_EQ(p.node("B")->chain_block, p.node("C")->chain_block);
  EXPECT_EQ(test::names_of_parents(p.node("C")), "A");
  const std::string text = p.text();
  EXPECT_CONTAINS(text, "\npotential (B C | A)\n{\n    data = ((( 1 2 )\t%  A=a0  B=b0\n\t ( 3 4 ))\t%  A=a0  B=b1\n"
                        "\t(( 5 6 )\t%  A=a1  B=b0\n\t ( 7 8 )));\t%  A=a1  B=b1\n}\n");
  expect_fixed_point(p, text);
  // The chain potentials a file may not hold are in NetMessages.
}

}  // namespace
}  // namespace orv
