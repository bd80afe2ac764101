// Malformed BIF, XMLBIF and UAI files: each message with its line, the error
// code, and nothing left behind; argument checks and allocation failures of
// the readers, the BIF writer and the compilation estimate.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/net_compare.h"

namespace orv {
namespace {

using Reader = orv_domain_t (*)(const char *, orv_error_handler_t, void *);

struct Case {
  Reader read;
  std::string text;
  std::string message;  // the first message, or its beginning when it ends in "..."
  size_t line;
  orv_error_t code = orv_error_parse;
};

const std::string kBifHead = "network n {\n}\nvariable a {\n  type discrete [ 2 ] { y, n };\n}\n";  // 5 lines
const std::string kBifB = "variable b {\n  type discrete [ 2 ] { y, n };\n}\n";                  // lines 6-8
const std::string kUaiHead = "BAYES\n2\n2 2\n2\n1 0\n2 0 1\n";                                   // 6 lines
const std::string kXmlHead = "<?xml version=\"1.0\"?>\n<BIF VERSION=\"0.3\">\n<NETWORK>\n"
                             "<VARIABLE TYPE=\"nature\"><NAME>a</NAME><OUTCOME>y</OUTCOME><OUTCOME>n</OUTCOME>"
                             "</VARIABLE>\n";  // 4 lines

TEST(ForeignMessages, MalformedFilesReportTheLineOfTheFault) {
  const Reader bif = orv_bif_parse_domain, uai = orv_uai_parse_domain, xml = orv_xmlbif_parse_domain;
  const std::string b_given_a = kBifHead + kBifB + "probability ( b | a ) {\n";  // lines 9 on
  const Case cases[] = {
      {bif, kBifHead + "probability ( b ) {\n}\n", "node `b' not found", 6},
      {bif, kBifHead + "frob x {}\n", "unknown block `frob'", 6},
      {bif, "network n {\n}\nvariable a {\n  type discrete [ 3 ] { y, n };\n}\n",
       "variable `a' declares 3 states but lists 2", 5},
      {bif, "network n {\n}\nvariable a {\n  type continuous;\n}\n",
       "only discrete variables can be read (`discrete' expected)", 4},
      {bif, kBifHead + "variable a {\n  type discrete [ 1 ] { z };\n}\n",
       "a node with name `a' already exists", 8, orv_error_twice},
      {bif, kBifHead + "variable 1a {\n  type discrete [ 1 ] { z };\n}\n",
       "invalid node name `1a'", 8, orv_error_invalid_name},
      {bif, kBifHead + "probability ( a ) {\n  table 0.5 0.5\n}\n", "number expected", 8},
      {bif, kBifHead + "probability ( a ) {\n  table 0.2, 0.3, 0.5;\n}\n", "2 numbers expected, 3 given", 7},
      {bif, kBifHead + "probability ( a ) {\n  table -0.5, 1.5;\n}\n", "<number> must be nonnegative", 7},
      {bif, b_given_a + "  (y) 0.5, 0.5;\n  (x) 0.5, 0.5;\n}\n", "node `a' has no state `x'", 11},
      {bif, b_given_a + "  (y) 0.5, 0.5;\n}\n", "probabilities of `b' missing for 1 parent configurations", 11},
      {bif, b_given_a + "  (y, n) 0.5, 0.5;\n}\n", "too many states in parent configuration", 10},
      {bif, b_given_a + "  default 1, 0;\n}\nprobability ( a | b ) {\n}\n", "link from `b' to `a' makes a cycle", 12,
       orv_error_cyclic_network},
      {bif, kBifHead + "probability ( a ) {\n table 1, 0;\n}\nprobability ( a ) {\n}\n",
       "probability of `a' given twice", 9},
      {bif, kBifHead + "/* open\n\n", "comment did not end", 8},
      {bif, "network \"n\n", "string did not end", 2},
      {uai, "MARKOV\n1\n2\n", "only BAYES networks can be read (this is a MARKOV network)", 1},
      {uai, "BAYES\n2\n2 x\n", "cardinality expected", 3},
      {uai, "BAYES\n1\n2\n1\n1 3\n", "variable index 3 out of range", 5},
      {uai, kUaiHead + "\n2\n0.5 0.5\n\n3\n0 1 0\n", "4 table entries expected for `X1', 3 given", 11},
      {uai, kUaiHead + "\n2\n0.5 0.5\n\n4\n0 1 0 zero\n", "number expected", 12},
      {uai, kUaiHead + "\n2\n0.5 0.5\n\n4\n0 1 0 1\nmore\n", "end of input expected", 13},
      {uai, "BAYES\n1\n2\n2\n1 0\n1 0\n", "variable 0 is the child of two functions", 6},
      {xml, kXmlHead + "<DEFINITION>\n<FOR>b</FOR>\n</DEFINITION>\n</NETWORK></BIF>\n", "node `b' not found", 5},
      {xml, kXmlHead + "<DEFINITION><FOR>a</FOR>\n<TABLE>1 0 0</TABLE></DEFINITION>\n</NETWORK></BIF>\n",
       "2 numbers expected, 3 given", 6},
      {xml, kXmlHead + "<DEFINITION><FOR>a</FOR>\n<TABLE>1 x</TABLE></DEFINITION>\n</NETWORK></BIF>\n",
       "number expected", 6},
      {xml, kXmlHead + "<VARIABLE TYPE=\"odd\"><NAME>c</NAME></VARIABLE>\n</NETWORK></BIF>\n",
       "unknown variable type `odd'", 5},
      {xml, kXmlHead + "<DEFINITION>\n</NETWORK></BIF>\n", "XML error: ...", 6},
      {xml, "<?xml version=\"1.0\"?>\n<NET>\n</NET>\n", "`BIF' element with a `NETWORK' element expected", 2},
  };
  int index = 0;
  for (const Case &c : cases) {
    const std::string path = test::temp_file("malformed" + std::to_string(index++), c.text);
    test::Messages messages;
    test::LiveBlocks live;
    orv_domain_t d = c.read(path.c_str(), test::Messages::handler, &messages);
    EXPECT_EQ(d, nullptr) << c.text;
    EXPECT_EQ(orv_error_code(), c.code) << c.text;
    ASSERT_FALSE(messages.items.empty()) << c.text;
    const std::string &got = messages.items[0].second;
    if (c.message.size() > 3 && c.message.compare(c.message.size() - 3, 3, "...") == 0)
      EXPECT_EQ(got.rfind(c.message.substr(0, c.message.size() - 3), 0), 0u) << got;
    else
      EXPECT_EQ(got, c.message) << c.text;
    EXPECT_EQ(messages.items[0].first, c.line) << c.text << "\n" << got;
    EXPECT_EQ(live.delta(), 0) << c.text;
    orv_domain_delete(d);
  }
}

TEST(ForeignMessages, TextInMemoryReportsCharacterOffsets) {
  const std::string text = kBifHead + "probability ( b ) {\n}\n";
  test::Messages messages;
  EXPECT_EQ(orv_bif_parse_domain(text.c_str(), test::Messages::handler, &messages), nullptr);
  ASSERT_EQ(messages.items.size(), 1u);
  EXPECT_EQ(messages.items[0].first, text.find(" b )") + 2);
  EXPECT_RESULT(orv_bif_parse_domain("no-such-file.bif", nullptr, nullptr), nullptr, orv_error_io);
}

TEST(ForeignMessages, BadArgumentsGiveUsage) {
  orv_domain_t d = orv_bif_parse_domain((kBifHead + "probability ( a ) { table 1, 0; }\n").c_str(), nullptr, nullptr);
  ASSERT_NE(d, nullptr);
  orv_domain_t id = orv_new_domain();
  orv_domain_new_node(id, orv_category_decision, orv_kind_discrete);
  test::expect_usage_calls(
      {
          {"bif null", [] { return orv_bif_parse_domain(nullptr, nullptr, nullptr) == nullptr; }},
          {"xmlbif null", [] { return orv_xmlbif_parse_domain(nullptr, nullptr, nullptr) == nullptr; }},
          {"uai null", [] { return orv_uai_parse_domain(nullptr, nullptr, nullptr) == nullptr; }},
          {"to bif null", [] { return orv_domain_to_bif_string(nullptr) == nullptr; }},
          {"to bif decision", [&] { return orv_domain_to_bif_string(id) == nullptr; }},
          {"save bif null file", [&] { return orv_domain_save_as_bif(d, nullptr) == orv_error_usage; }},
          {"save bif decision", [&] { return orv_domain_save_as_bif(id, "x.bif") == orv_error_usage; }},
          {"exact null", [] { return orv_domain_to_net_string_exact(nullptr) == nullptr; }},
          {"save exact null", [&] { return orv_domain_save_as_net_exact(d, nullptr) == orv_error_usage; }},
          {"estimate null", [] { return orv_domain_estimate_compilation(nullptr, nullptr, nullptr, nullptr) == orv_error_usage; }},
          {"estimate untriangulated", [&] { return orv_domain_estimate_compilation(d, nullptr, nullptr, nullptr) == orv_error_usage; }},
      },
      [&] {
        char *text = orv_domain_to_bif_string(d);
        const bool ok = text != nullptr;
        std::free(text);
        return ok;
      });
  orv_domain_delete(id);
  orv_domain_delete(d);
}

TEST(ForeignMessages, AllocationFailuresLeaveNothingBehind) {
  const std::string bif = kBifHead + kBifB + "probability ( a ) { table 0.5, 0.5; }\n"
                          "probability ( b | a ) { (y) 0.1, 0.9; (n) 0.2, 0.8; }\n";
  const std::string uai = kUaiHead + "\n2\n0.5 0.5\n\n4\n0.1 0.9 0.2 0.8\n";
  const std::string xml = kXmlHead + "<DEFINITION><FOR>a</FOR><TABLE>0.5 0.5</TABLE></DEFINITION>\n</NETWORK></BIF>\n";
  const std::pair<Reader, std::string> inputs[] = {
      {orv_bif_parse_domain, bif}, {orv_uai_parse_domain, uai}, {orv_xmlbif_parse_domain, xml}};
  for (const auto &[read, text] : inputs) {
    const auto run = test::expect_no_memory_sweep(text.substr(0, 5), [&] { return read(text.c_str(), nullptr, nullptr); },
                                                  [] {});
    ASSERT_NE(run.result, nullptr);
    EXPECT_GT(run.n, 3u);
    orv_domain_t d = run.result;
    if (read == orv_bif_parse_domain) {
      const auto write = test::expect_no_memory_sweep("bif writer", [&] { return orv_domain_to_bif_string(d); }, [] {});
      EXPECT_EQ(std::string(write.result).rfind("network", 0), 0u);
      std::free(write.result);
    }
    orv_domain_delete(d);
  }
}

}  // namespace
}  // namespace orv
