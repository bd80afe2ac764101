// Malformed NET input: each message with its location (character offset for
// text, line number for files), counted versus fatal errors, error codes, and
// nothing left behind by a failed parse.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/net_compare.h"

namespace orv {
namespace {

using namespace test;

const char *kHead = "net { }\nnode A { states = (\"a0\" \"a1\"); }\nnode B { states = (\"b0\" \"b1\"); }\n";

struct Case {
  std::string text;
  const char *message;
  const char *after;  // the location is the offset just after this snippet
  orv_error_t code = orv_error_parse;
};

// Text that does not begin with "net {" would be taken for a file name.
void expect_failure(Case c) {
  if (c.text.rfind("net", 0) != 0) c.text = "net { }\n" + c.text;
  Messages messages;
  LiveBlocks live;
  orv_domain_t d = orv_net_parse_domain(c.text.c_str(), Messages::handler, &messages);
  EXPECT_EQ(d, nullptr) << c.text;
  EXPECT_EQ(orv_error_code(), c.code) << c.text;
  const size_t at = c.text.find(c.after);
  ASSERT_NE(at, std::string::npos) << c.after;
  const size_t location = at + std::strlen(c.after);
  EXPECT_TRUE(messages.reported(c.message, location)) << c.text << messages.wanted(c.message, location);
  EXPECT_EQ(live.delta(), 0) << c.text;
  orv_domain_delete(d);
}

TEST(NetMessages, SyntaxAndSemanticErrorsWithOffsets) {
  const std::string h = kHead, x = h + "continuous node X {} ", m = h + "potential (A | B) { model_nodes = (B); ";
  const std::string c = h + "node C { states = (\"c0\" \"c1\"); } ";
  const Case cases[] = {
      {"net { } 42", "unexpected token", "42"},
      {"net { } frob", "unknown object type: frob", "frob"},
      {"continuous decision X {}", "keyword `node' expected", "decision"},
      {"discrete utility U {}", "keyword `node', `decision', or `function' expected", "utility"},
      {"net { }\nnet ( )", "`{' expected", "net ("},
      {"net { node_size = (1 -2); }", "<number> must be nonnegative", "-2"},
      {"net { a = 1; }", "value of a user-defined attribute must be a string", "1"},
      {"net { a = \"x\" }", "`;' expected", "}"},
      {"net { 7 }", "`}' or an attribute name expected", "7"},
      {"node 7 {}", "name expected", "7"},
      {"node A {} node A {}", "a node with name `A' already exists", "node A {} node A", orv_error_twice},
      {"node A { label = 3; }", "string expected", "3"},
      {"node A { states = (\"x\" 3); }", "state or `)' expected", "3"},
      {"node A { states = (); }", "empty list of states", ")"},
      {"utility U { states = (\"x\"); }", "only discrete nodes can have states", "\")"},
      {"node A { states = (\"x\"); states = (\"y\"); }", "states specified twice (or more)", "(\"y\")"},
      {"utility U { subtype = number; }", "subtype designations only make sense for discrete nodes", "="},
      {"node A { subtype = 3; }", "`label', `boolean', `number', or `interval' expected", "3"},
      {"node A { subtype = real; }", "`label', `boolean', `number', or `interval' expected", "real"},
      {"utility U { state_values = (1); }", "only discrete nodes can have state values", "="},
      {"node A { states = (\"x\"); state_values = (1); }", "only numeric nodes can have state values",
       "state_values ="},
      {"node A { subtype = number; state_values = (1); }", "states must be specified before state values",
       "state_values ="},
      {"node A { states = (\"x\"); subtype = number; state_values = (1); state_values = (2); }",
       "state values have already been specified", "state_values = (1); state_values ="},
      {"node A { states = (\"x\"); subtype = number; state_values = (\"1\"); }", "state value expected", "\"1\""},
      {"node A { states = (\"x\" \"y\"); subtype = interval; state_values = (1 2); }",
       "incorrect number of state values", "(1 2)"},
      {"node A { states = (\"x\" \"y\" \"z\"); subtype = boolean; }", "a boolean node must have exactly two states",
       "boolean; }"},
      {h + "potential A", "`(' expected", "potential A"},
      {h + "potential (A , B)", "`|', `)', or a node name expected", "(A ,"},
      {h + "potential (A | B ,)", "`)' or a node name expected", "B ,"},
      {h + "potential (A | Z)", "node `Z' not found", "Z"},
      {h + "potential ( | B)", "empty child node list", "| B)"},
      {h + "utility U {} potential (A | U)", "utility node `U' specified as parent", "(A | U)"},
      {h + "potential (A | B B)", "node `B' appears twice in potential specification", "B B)"},
      {x + "potential (A | X)", "continuous node `X' is not allowed as parent of discrete node `A'", "(A | X)"},
      {x + "continuous node Y {} potential (Y | X A)", "discrete parents must appear first", "(Y | X A)"},
      {h + "function R {} utility U {} potential (R | A) potential (U | R A)",
       "real-valued function parents must appear last", "(U | R A)"},
      {h + "node C { states = (\"x\"); } potential (C | A B) potential (A | C) potential (B | A)",
       "adding the link C --> A creates a directed cycle", "(A | C)", orv_error_cyclic_network},
      {h + "potential (A) { data = (1 1); } potential (A | B)",
       "the directed link B --> A should have been included in the potential for A", "(A | B)"},
      {h + "potential (A | B) potential (A)", "potential for node A must include all parents", "potential (A)"},
      {h + "potential (A) { data = (1 1); } potential (A) { data = (1 1); }",
       "potential specified twice for node `A'", "} potential (A)"},
      {h + "potential (A) { 7 }", "`}' or an attribute name expected", "7"},
      {h + "potential (A) { colour = (1 1); }", "unknown field: `colour'", "colour ="},
      {h + "potential (A) { data = (1 1); data = (1 1); }", "`data' attribute specified twice", "1); data ="},
      {h + "function R {} potential (R | A) { data = (1); }",
       "`data' attribute is not allowed for real-valued function nodes", "{ data ="},
      {h + "potential (A) { data = (1 1) }", "`;' expected", "(1 1) }"},
      {h + "potential (A) { data = (1 x); }", "number expected", "1 x"},
      {h + "potential (A) { data = (1 1 1); }", "`)' expected", "1 1 1"},
      {h + "potential (A) { data = (0.5 -1); }", "<number> must be nonnegative", "-1"},
      {h + "potential (B | A) { data = (0.5 -0.5 1 0); }", "<number> must be nonnegative", "-0.5"},
      {c + "potential (B | A) potential (C | B) potential (A C)", "adding chain potential creates a directed cycle",
       "(A C)", orv_error_cyclic_network},
      {c + "decision D { states = (\"d\"); } potential (B D)",
       "undirected links can only be specified for discrete chance nodes", "(B D)"},
      {c + "function R {} potential (R | A) potential (B C | A R)",
       "real-valued function nodes are not allowed in chain potentials", "A R)"},
      {c + "potential (B C | A) { model_nodes = (); }", "models cannot be specified for chain graph potentials",
       "model_nodes ="},
      {h + "potential (A | B) { model_nodes = (A); }", "node `A' is not a parent of node `A'", "model_nodes = (A"},
      {h + "potential (A | B) { model_nodes = (B B); }", "node `B' appears twice in `model_nodes' attribute", "B B"},
      {x + "potential (A | B X) { model_nodes = (X); }",
       "continuous node `X' is not allowed as parent of discrete node `A'", "(A | B X)"},
      {x + "potential (X | A) { model_nodes = (A); }", "models cannot be specified for CG nodes", "model_nodes ="},
      {h + "potential (A | B) { model_data = (1, 2); }", "`model_nodes' attribute has not been specified",
       "model_data ="},
      {m + "model_data = (1, 2); model_data = (1, 2); }", "`model_data' attribute specified twice", "2); model_data ="},
      {m + "model_data = (1; 2); }", "`,' expected", "(1;"},
      {m + "model_data = (1, 2, 3); }", "`)' expected", "(1, 2,"},
      {m + "model_data = (1, zz); }", "no such node: zz", "zz)"},
      {m + "model_data = (1, Normal(1)); }",
       "API error: invalid_expression", "Normal(1)", orv_error_invalid_expression},
      {h + "potential (A | B) { model_nodes = (); samples_per_interval = 2.5; }",
       "`samples_per_interval' must be a positive integer", "2.5"},
      {h + "potential (A | B) { model_nodes = (); samples_per_interval = x; }", "number expected", "= x"},
      {h + "decision D { states = (\"d\"); } potential (D | A) { experience = (1 1); }",
       "experience data can only be specified for chance nodes", "experience ="},
      {h + "potential (A) { experience = (1); experience = (1); }", "`experience' attribute specified twice",
       "(1); experience ="},
      {x + "potential (X) { fading = (1); }",
       "fading data can only be specified for discrete chance nodes", "fading ="},
      {x + "potential (X) { data = (1); }", "the keyword `normal' was expected", "(1"},
      {x + "potential (X) { data = (normal (*, 1)); }",
       "<number> or <node name> expected in mean value expression", "(*"},
      {x + "potential (X) { data = (normal (1 2, 1)); }", "expected one of: ,+-", "1 2"},
      {x + "potential (X) { data = (normal (A, 1)); }", "node `A' is not part of the table", "(A"},
      {x + "potential (X) { data = (normal (1, x)); }", "variance (a nonnegative <number>) expected", ", x"},
      {x + "potential (X) { data = (normal (1, -2)); }", "variance must be nonnegative", "-2"},
      {"node A { label = \"abc\n\"; }", "string did not end", "\"abc\n"},
      {"node A { label = \"a\\qb\"; }", "illegal escape sequence: `\\q'", "\\q"},
      {"node A { label = \"a\\x\"; }", "string expected", "\\x"},
      {"node a. { }", "`.' must be followed by a letter or an `_'", "a."},
      {"node a.1 { }", "`.' must be followed by a letter or an `_'", "a.1"},
      {"node A { } $", "unexpected character: `$'", "$"},
      {"node A { } \x8f", "unexpected character: `\\x8f'", "\x8f"},  // never raw
      {"node A { label = \"a\\\x01\"; }", "illegal escape sequence: `\\\\x01'", "\x01"},
  };
  for (const Case &c : cases) expect_failure(c);
}

TEST(NetMessages, CountedErrorsAreAllReported) {
  Messages messages;
  const char *text =
      "net { node_size = (-1 -1); }\n"
      "node A { states = (\"a\" \"b\" \"c\"); subtype = boolean; states = (\"x\"); }\n";
  EXPECT_RESULT(orv_net_parse_domain(text, Messages::handler, &messages), nullptr, orv_error_parse);
  ASSERT_EQ(messages.items.size(), 4u);
  EXPECT_EQ(messages.items[0].second, "<number> must be nonnegative");
  EXPECT_EQ(messages.items[2].second, "states specified twice (or more)");
  EXPECT_EQ(messages.items[3].second, "a boolean node must have exactly two states");
}

TEST(NetMessages, FilesAndStreamsReportLineNumbers) {
  const char *text = "net\n{\n}\n\nnode A\n{\n    states = (\"a\" 7);\n}\n";
  const std::string path = temp_file("orvel_bad.net", text);
  Messages messages;
  EXPECT_EQ(orv_net_parse_domain(path.c_str(), Messages::handler, &messages), nullptr);
  ASSERT_EQ(messages.items.size(), 1u);
  EXPECT_EQ(messages.items[0].first, 7u);
  EXPECT_EQ(messages.items[0].second, "state or `)' expected");
  // The same text in memory reports the character offset.
  messages.items.clear();
  EXPECT_EQ(orv_net_parse_domain(text, Messages::handler, &messages), nullptr);
  EXPECT_EQ(messages.items[0].first, std::string(text).find("7)") + 1);
  // A stream through the legacy handler: line numbers too.
  static std::vector<int> lines;
  lines.clear();
  std::FILE *f = std::fopen(path.c_str(), "r");
  EXPECT_EQ(orv_net_parse(f, [](int line, const char *) { lines.push_back(line); }), nullptr);
  std::fclose(f);
  EXPECT_EQ(lines, std::vector<int>{7});
  // A missing file is an io error.
  EXPECT_RESULT(orv_net_parse_domain("/nonexistent/x.net", nullptr, nullptr), nullptr, orv_error_io);
  EXPECT_RESULT(orv_net_parse_domain(::testing::TempDir().c_str(), nullptr, nullptr), nullptr, orv_error_io);  // a directory
  EXPECT_RESULT(orv_net_parse_domain(nullptr, nullptr, nullptr), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_net_parse(nullptr, nullptr), nullptr, orv_error_usage);
  std::remove(path.c_str());
}

TEST(NetMessages, ParseSurvivesEveryAllocationFailure) {
  const char *text =
      "net { node_size = (80 40); author = \"x\"; }\n"
      "node A { states = (\"a0\" \"a1\"); color = \"red\"; }\n"
      "node B { states = (\"b0\" \"b1\" \"b2\"); subtype = number; state_values = (1 2 3); }\n"
      "continuous node X {}\n"
      "potential (A) { data = (0.3 0.7); experience = (2); }\n"
      "potential (B | A) { data = ((0.1 0.2 0.7) (0.3 0.3 0.4)); model_nodes = (A);"
      " model_data = (Distribution(1, 2, 3), Distribution(3, 2, 1)); }\n"
      "potential (X | A) { data = (normal (1, 2) normal (-1, 1)); }\n";
  Messages messages;
  const auto clean = test::expect_no_memory_sweep(
      "parse", [&] { return orv_net_parse_domain(text, Messages::handler, &messages); }, [] {});
  ASSERT_NE(clean.result, nullptr) << messages.first();
  orv_domain_delete(clean.result);
  EXPECT_GT(clean.n, 20u);
}

}  // namespace
}  // namespace orv
