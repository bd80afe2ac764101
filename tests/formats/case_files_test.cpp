// Case files, case data files and node-list files: round trips through the
// writer, every counted and fatal message of the readers with its line, and
// what a failed read leaves behind.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/formats_checks.h"
#include "support/net_compare.h"

namespace orv {
namespace {

using test::describe_cases;
using test::Messages;
using test::read_file;
using test::temp_file;

const std::string kEm = std::string(ORVEL_DATA_DIR) + "/em/";

const char *kNet =
    "net { }\n"
    "node A { states = (\"yes\" \"no\"); }\n"
    "node B { subtype = boolean; states = (\"false\" \"true\"); }\n"
    "node N { subtype = number; states = (\"1\" \"2\" \"3\"); state_values = (1 2.5 4); }\n"
    "node I { subtype = interval; states = (\"lo\" \"hi\"); state_values = (0 1 2); }\n"
    "node D { states = (\"same\" \"same\"); }\n"
    "decision Q { states = (\"q0\" \"q1\"); }\n"
    "utility U { }\n";

// kNet parsed, for the tests that write or read its case data, case files and node lists.
struct KnownNodes : ::testing::Test {
  test::DomainPtr owner{orv_net_parse_domain(kNet, nullptr, nullptr)};
  orv_domain_t d = owner.get();
  orv_node_t node(const char *name) const { return orv_domain_get_node_by_name(d, name); }
};
using CaseDataFiles = KnownNodes;
using CaseFiles = KnownNodes;
using NodeListFiles = KnownNodes;

TEST_F(CaseDataFiles, SaveThenParseGivesTheSameStore) {
  for (const char *name : {"asia", "child"}) {
    test::DomainPtr read(orv_net_parse_domain((kEm + name + ".net").c_str(), nullptr, nullptr));
    ASSERT_EQ(orv_domain_parse_cases(read.get(), (kEm + name + ".dat").c_str(), nullptr, nullptr), orv_error_none);
    std::vector<orv_node_t> nodes;
    for (orv_node_t n = orv_domain_get_first_node(read.get()); n; n = orv_node_get_next(n)) nodes.push_back(n);
    nodes.push_back(nullptr);
    const std::string path = ::testing::TempDir() + name + ".saved";
    ASSERT_EQ(orv_domain_save_cases(read.get(), path.c_str(), nodes.data(), nullptr, 1, ", ", "?"), orv_error_none);
    test::DomainPtr back(orv_net_parse_domain((kEm + name + ".net").c_str(), nullptr, nullptr));
    Messages messages;
    ASSERT_EQ(orv_domain_parse_cases(back.get(), path.c_str(), Messages::handler, &messages), orv_error_none)
        << messages.first();
    EXPECT_EQ(describe_cases(back.get()), describe_cases(read.get())) << name;
  }
}

TEST_F(CaseDataFiles, WriterFormsAndCountRules) {
  orv_node_t nodes[] = {node("A"), node("B"), node("N"), node("I"), node("D"), nullptr};
  orv_domain_set_number_of_cases(d, 2);
  for (int k = 0; k < 5; ++k) orv_node_set_case_state(nodes[k], 0, 1);
  orv_domain_set_case_count(d, 1, 2.0);
  const std::string path = ::testing::TempDir() + "forms.dat";
  ASSERT_EQ(orv_domain_save_cases(d, path.c_str(), nodes, nullptr, 0, " ", "*"), orv_error_none);
  EXPECT_EQ(read_file(path), "A B N I D\n\n\"no\" true 2.5 #1 #1\n* * * * *\n* * * * *\n");
  const long only_first[] = {0, -1};
  ASSERT_EQ(orv_domain_save_cases(d, path.c_str(), nodes, only_first, 1, ",", "?"), orv_error_none);
  EXPECT_EQ(read_file(path), "#,A,B,N,I,D\n\n1,\"no\",true,2.5,#1,#1\n");
  orv_domain_set_case_count(d, 1, 2.5);
  EXPECT_EQ(orv_domain_save_cases(d, path.c_str(), nodes, nullptr, 0, " ", "*"), orv_error_usage);
  const long out_of_range[] = {2, -1};
  EXPECT_EQ(orv_domain_save_cases(d, path.c_str(), nodes, out_of_range, 1, " ", "*"), orv_error_usage);
  orv_node_t twice[] = {nodes[0], nodes[0], nullptr};
  EXPECT_EQ(orv_domain_save_cases(d, path.c_str(), twice, nullptr, 1, " ", "*"), orv_error_usage);
  orv_node_t decision[] = {node("Q"), nullptr};
  EXPECT_EQ(orv_domain_save_cases(d, path.c_str(), decision, nullptr, 1, " ", "*"), orv_error_usage);
  EXPECT_EQ(orv_domain_save_cases(d, path.c_str(), nodes, nullptr, 2, " ", "*"), orv_error_usage);
  EXPECT_EQ(orv_domain_save_cases(d, "/nonexistent/x.dat", nodes, nullptr, 1, " ", "*"), orv_error_io);
}

// A malformed file, its message and the message's line (usage where the API refuses a call).
struct Bad {
  std::string text, message;
  size_t line;
  orv_error_t code() const { return message == "API error: usage" ? orv_error_usage : orv_error_parse; }
};

using Reader = orv_status_t (*)(orv_domain_t, const char *, orv_error_handler_t, void *);

// A malformed file read into a domain with two cases: the message at its
// line, the error code, and the domain as it was (the cases appended by the
// read removed, the findings entered retracted). Nothing outlives the domain
// (a finding's storage, made on the first read, may stay with it).
void expect_refused(Reader read, const Bad &c) {
  SCOPED_TRACE(c.text);
  test::LiveBlocks live;
  test::DomainPtr d(orv_net_parse_domain(kNet, nullptr, nullptr));
  orv_domain_set_number_of_cases(d.get(), 2);
  orv_node_set_case_state(orv_domain_get_node_by_name(d.get(), "A"), 1, 1);
  const std::string before = describe_cases(d.get()), path = temp_file("bad.input", c.text);
  Messages messages;
  EXPECT_EQ(read(d.get(), path.c_str(), Messages::handler, &messages), c.code());
  EXPECT_TRUE(messages.reported(c.message, c.line)) << messages.wanted(c.message, c.line);
  EXPECT_EQ(describe_cases(d.get()), before);
  EXPECT_EQ(orv_node_get_selected_state(orv_domain_get_node_by_name(d.get(), "A")), -1);
  d.reset();
  EXPECT_EQ(live.delta(), 0);
}

TEST_F(CaseDataFiles, MessagesWithLinesAndNothingLeftBehind) {
  const Bad cases[] = {
      {"A B\n\n\"yes\" true\n\"no\"\n", "the case has too few data items", 4},
      {"A B\n\"yes\" true false\n", "the case has extra stuff at the end", 2},
      {"A, B,\n\"yes\" true\n", "line is incomplete", 2},
      {"A Z\n", "the domain has no node named `Z'", 1},
      {"A U\n", "node `U' is not a chance, a decision, or a discrete function node", 1},
      {"A A\n", "node `A' listed twice", 1},
      {"# A\n\"yes\"\n", "case count expected", 2},
      {"# A\n-1 \"yes\"\n", "case counts must be nonnegative", 2},
      {"A N\n#\n1 2\n", "`#' must be followed by a valid state index", 3},
      {"A N\n#1 #\n2\n", "`#' must be followed by a valid state index", 3},
      {"A N\n#5 2.5\n", "`#' must be followed by a valid state index", 2},
      {"N A\n#0 #1.5\n", "`#' must be followed by a valid state index", 2},
      {"A\n\"maybe\"\n", "\"maybe\" is not a (unique) state label of `A'", 2},
      {"D\n\"same\"\n", "\"same\" is not a (unique) state label of `D'", 2},
      {"N\n\"1\"\n", "state labels are only allowed for labeled nodes", 2},
      {"B\nyes\n", "state of boolean node should be `false' or `true'", 2},
      {"A\n3\n", "node A: numeric findings are only allowed for CG, numbered, and interval nodes", 2},
      {"N\n7\n", "no state of `N' corresponds to the value 7", 2},
      {"A\n(1 0)\n", "illegal token", 2},
      {"Q\n#1\n", "API error: usage", 2},
      {"A\n\"yes\" @\n", "unexpected character: `@'", 2},
  };
  for (const Bad &c : cases) expect_refused(orv_domain_parse_cases, c);
}

TEST_F(CaseDataFiles, EveryCountedErrorIsReported) {
  Messages messages;
  const std::string path = temp_file("counted.dat", "A B\n\"x\" true\n\"yes\"\n\"no\" maybe\n\"yes\" false\n");
  EXPECT_EQ(orv_domain_parse_cases(d, path.c_str(), Messages::handler, &messages), orv_error_parse);
  ASSERT_EQ(messages.items.size(), 3u);
  EXPECT_EQ(messages.items[0], std::make_pair(size_t{2}, std::string("\"x\" is not a (unique) state label of `A'")));
  EXPECT_EQ(messages.items[1], std::make_pair(size_t{3}, std::string("the case has too few data items")));
  EXPECT_EQ(messages.items[2].first, 4u);
  EXPECT_EQ(orv_domain_get_number_of_cases(d), 0u);
}

TEST_F(CaseDataFiles, HeaderOnlyWarnsAndCountColumnWithNumbersAndMissing) {
  Messages messages;
  EXPECT_EQ(orv_domain_parse_cases(d, temp_file("empty.dat", "% nothing\nA B\n").c_str(), Messages::handler,
                                   &messages),
            orv_error_none);
  EXPECT_EQ(messages.first(), "warning: file contains no cases");
  EXPECT_EQ(orv_domain_get_number_of_cases(d), 0u);
  const std::string path = temp_file("counts.dat", "#, N, I, A\n2.5, 2.5, 0.5, ?\n0, *, 1.5, #0\n");
  ASSERT_EQ(orv_domain_parse_cases(d, path.c_str(), nullptr, nullptr), orv_error_none);
  ASSERT_EQ(orv_domain_get_number_of_cases(d), 2u);
  EXPECT_EQ(orv_domain_get_case_count(d, 0), 2.5);
  EXPECT_EQ(orv_node_get_case_state(node("N"), 0), 1);
  EXPECT_EQ(orv_node_get_case_state(node("I"), 1), 1);
  EXPECT_EQ(orv_node_case_is_set(node("A"), 0), 0);
  EXPECT_EQ(orv_domain_parse_cases(d, "/nonexistent.dat", nullptr, nullptr), orv_error_io);
  EXPECT_EQ(orv_domain_parse_cases(d, ::testing::TempDir().c_str(), nullptr, nullptr), orv_error_io);
  EXPECT_EQ(orv_domain_parse_cases(nullptr, "x", nullptr, nullptr), orv_error_usage);
}

// The same findings from the file and from the case saved after reading it.
TEST_F(CaseFiles, FindingsEnteredAndSavedBack) {
  const std::string saved = ::testing::TempDir() + "saved.case";
  for (const std::string &path : {temp_file("one.case", "A: \"no\"\nB: true\nN: 4 % a value\nI: (0.25 1)\n"), saved}) {
    ASSERT_EQ(orv_domain_retract_findings(d), orv_error_none);
    ASSERT_EQ(orv_domain_parse_case(d, path.c_str(), nullptr, nullptr), orv_error_none) << path;
    for (const char *name : {"A", "B"}) EXPECT_EQ(orv_node_get_selected_state(node(name)), 1);
    EXPECT_EQ(orv_node_get_selected_state(node("N")), 2) << path;
    EXPECT_EQ(orv_node_get_entered_finding(node("I"), 0), 0.25) << path;
    if (path != saved) {
      ASSERT_EQ(orv_domain_save_case(d, saved.c_str()), orv_error_none);
    }
  }
}

TEST_F(CaseFiles, MessagesAndRetractionOnFailure) {
  const Bad cases[] = {
      {"A: \"no\"\nA: \"yes\"\n", "findings specified twice for `A'", 2},
      {"A \"no\"\n", "`:' expected", 1},
      {"5: 1\n", "node name expected", 1},
      {"Z: 1\n", "the domain has no node named `Z'", 1},
      {"U: 1\n", "only chance, decision, and discrete function nodes can have findings", 1},
      {"I: (1)\n", "likelihood vector too short", 1},
      {"I: (1 2 3)\n", "likelihood vector too long", 1},
      {"I: (1 -2)\n", "likelihood values must be nonnegative", 1},
      {"I: (1 x)\n", "number expected", 1},
      {"I: (1 2 ;\n", "')' expected", 1},
      {"A: \n", "unexpected end-of-file", 2},
      {"A: ;\n", "illegal token", 1},
  };
  for (const Bad &c : cases) expect_refused(orv_domain_parse_case, c);
}

TEST_F(NodeListFiles, NamesAndMessages) {
  orv_node_t *list = orv_domain_parse_nodes(d, temp_file("nodes", "A N\n% comment\nI\n").c_str(), nullptr, nullptr);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(test::names_of(list), (std::vector<std::string>{"A", "N", "I"}));
  std::free(list);
  Messages messages;
  EXPECT_RESULT(orv_domain_parse_nodes(d, temp_file("nodes", "A\nZ\n").c_str(), Messages::handler, &messages), nullptr,
                orv_error_parse);
  EXPECT_EQ(messages.items.back(), std::make_pair(size_t{2}, std::string("node `Z' not found")));
  EXPECT_EQ(orv_domain_parse_nodes(d, temp_file("nodes", "A 3\n").c_str(), Messages::handler, &messages), nullptr);
  EXPECT_EQ(messages.items.back().second, "node name expected");
}

}  // namespace
}  // namespace orv
