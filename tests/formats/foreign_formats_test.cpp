// BIF, XMLBIF and UAI reading against the NET twins of the shipped networks,
// the BIF writer's round trips, exact NET writing, and malformed files: each
// message with its line, the error code and nothing left behind; argument
// checks and allocation failures of the readers, the BIF writer and the
// compilation estimate.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "model/domain.h"
#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/foreign_writers.h"
#include "support/net_compare.h"
#include "tables/table.h"

namespace orv {
namespace {

const char *const kNetworks[] = {"alarm",  "andes",  "asia",   "barley", "cancer",     "child", "diabetes",
                                 "earthquake", "hepar2", "insurance", "link", "mildew", "munin", "munin1",
                                 "munin2", "munin3", "munin4", "pathfinder", "sachs", "survey", "water"};

std::string data_path(const std::string &relative) { return std::string(ORVEL_DATA_DIR) + "/networks/" + relative; }

using Domain = test::DomainPtr;
using test::take_text;

std::vector<orv_node_t> nodes_of(orv_domain_t d) {
  std::vector<orv_node_t> nodes;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) nodes.push_back(n);
  return nodes;
}

// Same nodes in the same order with the same states, each table over the
// corresponding nodes in the same order with the same entries within
// `tolerance` (0: bit-identical). Nodes correspond by name, or by position
// when `by_position`.
void expect_same_network(orv_domain_t expected, orv_domain_t actual, double tolerance, bool by_position,
                         const std::string &what) {
  const auto a = nodes_of(expected), b = nodes_of(actual);
  ASSERT_EQ(a.size(), b.size()) << what;
  std::map<orv_node_t, orv_node_t> twin;
  for (std::size_t i = 0; i < a.size(); ++i) {
    twin[a[i]] = by_position ? b[i] : orv_domain_get_node_by_name(actual, orv_node_get_name(a[i]));
    ASSERT_NE(twin[a[i]], nullptr) << what << " " << orv_node_get_name(a[i]);
  }
  std::size_t differences = 0;
  for (std::size_t i = 0; i < a.size() && differences < 5; ++i) {
    const std::string name = orv_node_get_name(a[i]);
    if (!by_position) {
      ASSERT_EQ(name, orv_node_get_name(b[i])) << what;
    }
    const size_t states = orv_node_get_number_of_states(a[i]);
    ASSERT_EQ(states, orv_node_get_number_of_states(b[i])) << what << " " << name;
    for (size_t s = 0; s < states && !by_position; ++s)
      EXPECT_STREQ(orv_node_get_state_label(a[i], s), orv_node_get_state_label(b[i], s)) << what << " " << name;
    orv_table_t ta = orv_node_get_table(a[i]), tb = orv_node_get_table(twin[a[i]]);
    std::vector<orv_node_t> ours, theirs;
    for (orv_node_t *m = orv_table_get_nodes(ta); *m; ++m) ours.push_back(twin[*m]);
    for (orv_node_t *m = orv_table_get_nodes(tb); *m; ++m) theirs.push_back(*m);
    ASSERT_EQ(ours, theirs) << what << " " << name << ": the table's nodes";
    const double *da = orv_table_get_data(ta), *db = orv_table_get_data(tb);
    for (size_t k = 0; k < orv_table_get_size(ta); ++k) {
      const bool same = tolerance == 0 ? std::memcmp(&da[k], &db[k], sizeof(double)) == 0
                                       : std::fabs(da[k] - db[k]) <= tolerance * std::fmax(1.0, std::fabs(da[k]));
      if (!same && ++differences < 5) ADD_FAILURE() << what << " " << name << "[" << k << "]: " << da[k] << " vs " << db[k];
    }
  }
}

// The shipped BIF files hold the tables of their NET twins; XMLBIF and UAI
// written from the twins read back the same tables.
TEST(ForeignFormats, ForeignFilesHoldTheTablesOfTheirNetTwins) {
  for (const char *name : kNetworks) {
    Domain net(orv_net_parse_domain(data_path(std::string(name) + ".net").c_str(), nullptr, nullptr));
    ASSERT_NE(net.get(), nullptr) << name;
    const std::string bif_path = data_path(std::string("bif/") + name + ".bif");
    test::Messages messages;
    Domain bif(orv_bif_parse_domain(bif_path.c_str(), test::Messages::handler, &messages));
    ASSERT_NE(bif.get(), nullptr) << name << ": " << messages.first();
    EXPECT_TRUE(messages.items.empty()) << name << ": " << messages.first();
    EXPECT_EQ(bif.get()->file_name.c_str(), bif_path) << name;
    // The NET twins keep six significant digits.
    expect_same_network(net.get(), bif.get(), 5e-6, false, name);
    Domain xml(orv_xmlbif_parse_domain(test::to_xmlbif(net.get()).c_str(), test::Messages::handler, &messages));
    ASSERT_NE(xml.get(), nullptr) << name << ": " << messages.first();
    expect_same_network(net.get(), xml.get(), 0, false, std::string(name) + " (XMLBIF)");
    Domain uai(orv_uai_parse_domain(test::to_uai(net.get()).c_str(), test::Messages::handler, &messages));
    ASSERT_NE(uai.get(), nullptr) << name << ": " << messages.first();
    expect_same_network(net.get(), uai.get(), 0, true, std::string(name) + " (UAI)");
  }
}

// BIF text written from a domain reads back bit-identical.
TEST(ForeignFormats, BifWritingRoundTripsExactly) {
  for (const char *name : {"asia", "alarm", "child", "hepar2", "insurance", "water", "sachs"}) {
    const std::string path = data_path(std::string("bif/") + name + ".bif");
    Domain first(orv_bif_parse_domain(path.c_str(), nullptr, nullptr));
    ASSERT_NE(first.get(), nullptr) << name;
    const std::string bif = take_text(orv_domain_to_bif_string(first.get()));
    ASSERT_FALSE(bif.empty()) << name;
    Domain second(orv_bif_parse_domain(bif.c_str(), nullptr, nullptr));
    ASSERT_NE(second.get(), nullptr) << name;
    expect_same_network(first.get(), second.get(), 0, false, name);
  }
}

// Rows, default rows and child-first tables land in the table's own order.
TEST(ForeignFormats, TablesGivenInAnyVariableOrderLandInPlace) {
  // P(X1 | X0) by rows with a default row, and as BIF's child-first "table".
  const std::string head = "network n {}\nvariable X0 { type discrete [ 2 ] { 0, 1 }; }\n"
                           "variable X1 { type discrete [ 3 ] { 0, 1, 2 }; }\n"
                           "probability ( X0 ) { table 0.25, 0.75; }\n";
  Domain b(orv_bif_parse_domain(
      (head + "probability ( X1 | X0 ) { (0) 0.1, 0.3, 0.8; default 0.2, 0.9, 0.7; }\n").c_str(), nullptr, nullptr));
  Domain t(orv_bif_parse_domain((head + "probability ( X1 X0 ) { table 0.1 0.2 0.3 0.9 0.8 0.7; }\n").c_str(),
                                nullptr, nullptr));
  ASSERT_NE(b, nullptr);
  ASSERT_NE(t, nullptr);
  const std::vector<double> expected = {0.1, 0.3, 0.8, 0.2, 0.9, 0.7};  // (X0, X1), X1 fastest
  for (orv_domain_t d : {b.get(), t.get()})
    EXPECT_EQ(test::table_values(orv_node_get_table(orv_domain_get_node_by_name(d, "X1"))), expected);
}

TEST(ForeignFormats, XmlbifDecisionAndUtilityVariablesMakeAnInfluenceDiagram) {
  const char *xml = R"(<?xml version="1.0"?>
<BIF VERSION="0.3"><NETWORK><NAME>id</NAME>
<VARIABLE TYPE="nature"><NAME>W</NAME><OUTCOME>dry</OUTCOME><OUTCOME>wet</OUTCOME>
  <PROPERTY>position = (10, 20)</PROPERTY></VARIABLE>
<VARIABLE TYPE="decision"><NAME>U</NAME><OUTCOME>take</OUTCOME><OUTCOME>leave</OUTCOME></VARIABLE>
<VARIABLE TYPE="utility"><NAME>V</NAME></VARIABLE>
<DEFINITION><FOR>W</FOR><TABLE>0.7 0.3</TABLE></DEFINITION>
<DEFINITION><FOR>U</FOR></DEFINITION>
<DEFINITION><FOR>V</FOR><GIVEN>W</GIVEN><GIVEN>U</GIVEN><TABLE>20 100 70 0</TABLE></DEFINITION>
</NETWORK></BIF>)";
  Domain d(orv_xmlbif_parse_domain(xml, nullptr, nullptr));
  ASSERT_NE(d.get(), nullptr);
  orv_node_t u = orv_domain_get_node_by_name(d.get(), "U"), v = orv_domain_get_node_by_name(d.get(), "V");
  EXPECT_EQ(orv_node_get_category(u), orv_category_decision);
  EXPECT_EQ(orv_node_get_category(v), orv_category_utility);
  int x = 0, y = 0;
  orv_node_get_position(orv_domain_get_node_by_name(d.get(), "W"), &x, &y);
  EXPECT_EQ(x * 100 + y, 1020);
  ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none);
  // Take: 0.7*20 + 0.3*70 = 35; leave: 0.7*100 = 70.
  test::expect_all_near({orv_node_get_expected_utility(u, 0), orv_node_get_expected_utility(u, 1)}, {35.0, 70.0}, 1e-12);
}

// Random full-precision entries, also in CG tables and state values, come
// back bit-identical through exact NET text and not through the plain form.
TEST(ExactNet, ParseWriteExactParseGivesBitIdenticalTables) {
  const char *text =
      "net {}\nnode A { states = (\"a0\" \"a1\" \"a2\"); subtype = number; state_values = (0.1 0.2 0.3); }\n"
      "node B { states = (\"b0\" \"b1\"); }\ncontinuous node Y {}\n"
      "potential (A) { data = (0.2 0.3 0.5); }\npotential (B | A) { data = ((0.1 0.9) (0.2 0.8) (0.3 0.7)); }\n"
      "potential (Y | B) { data = (normal (1, 2) normal (3, 4)); }\n";
  Domain d(orv_net_parse_domain(text, nullptr, nullptr));
  ASSERT_NE(d.get(), nullptr);
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (const char *name : {"A", "B"}) {
    orv_table_t t = orv_node_get_table(orv_domain_get_node_by_name(d.get(), name));
    for (size_t i = 0; i < orv_table_get_size(t); ++i) orv_table_get_data(t)[i] = u(rng);
  }
  orv_node_t a = orv_domain_get_node_by_name(d.get(), "A");
  for (size_t s = 0; s < 3; ++s) orv_node_set_state_value(a, s, u(rng));
  orv_table_t y = orv_node_get_table(orv_domain_get_node_by_name(d.get(), "Y"));
  ASSERT_NE(y->cg_data, nullptr);
  for (size_t i = 0; i < y->size * y->block_size; ++i) y->cg_data[i] = u(rng);
  const std::string exact = take_text(orv_domain_to_net_string_exact(d.get()));
  Domain back(orv_net_parse_domain(exact.c_str(), nullptr, nullptr));
  ASSERT_NE(back.get(), nullptr) << exact;
  EXPECT_EQ(test::describe_domain(back.get(), 17), test::describe_domain(d.get(), 17));
  EXPECT_EQ(take_text(orv_domain_to_net_string_exact(back.get())), exact);
  Domain rounded(orv_net_parse_domain(take_text(orv_domain_to_net_string(d.get())).c_str(), nullptr, nullptr));
  EXPECT_NE(test::describe_domain(rounded.get(), 17), test::describe_domain(d.get(), 17));

  const std::string file = ::testing::TempDir() + "exact.net";
  ASSERT_EQ(orv_domain_save_as_net_exact(d.get(), file.c_str()), orv_error_none);
  EXPECT_EQ(test::read_file(file), exact);  // the text that reads back bit-identical
  EXPECT_EQ(d.get()->file_name.c_str(), file);
}

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
  Domain bif(orv_bif_parse_domain((kBifHead + "probability ( a ) { table 1, 0; }\n").c_str(), nullptr, nullptr));
  ASSERT_NE(bif, nullptr);
  Domain diagram = test::new_domain();
  orv_domain_t d = bif.get(), id = diagram.get();
  orv_domain_new_node(id, orv_category_decision, orv_kind_discrete);
  test::expect_usage_calls(
      {
          {"bif null", [] { return orv_bif_parse_domain(nullptr, nullptr, nullptr) == nullptr; }},
          {"xmlbif null", [] { return orv_xmlbif_parse_domain(nullptr, nullptr, nullptr) == nullptr; }},
          {"uai null", [] { return orv_uai_parse_domain(nullptr, nullptr, nullptr) == nullptr; }},
          {"to bif null", [] { return orv_domain_to_bif_string(nullptr) == nullptr; }},
          {"to bif decision", [&] { return orv_domain_to_bif_string(id) == nullptr; }},  // BIF: chance nodes only
          {"save bif null file", [&] { return orv_domain_save_as_bif(d, nullptr) == orv_error_usage; }},
          {"save bif decision", [&] { return orv_domain_save_as_bif(id, "x.bif") == orv_error_usage; }},
          {"exact null", [] { return orv_domain_to_net_string_exact(nullptr) == nullptr; }},
          {"save exact null", [&] { return orv_domain_save_as_net_exact(d, nullptr) == orv_error_usage; }},
          {"estimate null", [] { return orv_domain_estimate_compilation(nullptr, nullptr, nullptr, nullptr) == orv_error_usage; }},
          {"estimate untriangulated", [&] { return orv_domain_estimate_compilation(d, nullptr, nullptr, nullptr) == orv_error_usage; }},
      },
      [&] { return !take_text(orv_domain_to_bif_string(d)).empty(); });
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
      EXPECT_EQ(take_text(write.result).rfind("network", 0), 0u);
    }
    orv_domain_delete(d);
  }
}

}  // namespace
}  // namespace orv
