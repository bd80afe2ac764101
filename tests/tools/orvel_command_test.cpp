// Drives the orvel command as a user would: good queries, bad arguments,
// impossible evidence and malformed files, with their exit codes.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "support/json.h"

namespace {

struct Outcome {
  int status;
  std::string output;  // standard output and standard error together
};

Outcome orvel(const std::string &arguments) {
  const std::string command = std::string(ORVEL_BIN) + " " + arguments + " 2>&1";
  std::FILE *pipe = popen(command.c_str(), "r");
  if (!pipe) return {-1, "popen failed"};
  std::string output;
  char buffer[4096];
  while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

const std::string kAsia = std::string(ORVEL_DATA_DIR) + "/networks/asia.net";

std::string write_temp(const std::string &name, const std::string &text) {
  const std::string path = ::testing::TempDir() + name;
  std::ofstream(path) << text;
  return path;
}

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

TEST(OrvelCommand, QueryPrintsPosteriorBeliefsAndEvidenceProbability) {
  const Outcome r = orvel("query " + kAsia + " -e smoke=yes -n lung");
  ASSERT_EQ(r.status, 0) << r.output;
  EXPECT_TRUE(contains(r.output, "P(evidence) = 0.5")) << r.output;
  EXPECT_TRUE(contains(r.output, "lung")) << r.output;
  EXPECT_TRUE(contains(r.output, "0.100000")) << r.output;  // P(lung = yes | smoke = yes)

  const Outcome json = orvel("query " + kAsia + " -e smoke=yes -n lung --json");
  ASSERT_EQ(json.status, 0) << json.output;
  EXPECT_TRUE(contains(json.output, "\"beliefs\": {\"lung\": {\"yes\": 0.1")) << json.output;
  EXPECT_TRUE(contains(json.output, "\"log_pe\": -0.69314718055994")) << json.output;

  const Outcome soft = orvel("query " + kAsia + " --likelihood xray=1,0 -n xray --json");
  ASSERT_EQ(soft.status, 0) << soft.output;
  EXPECT_TRUE(contains(soft.output, "\"xray\": {\"yes\": 1, \"no\": 0}")) << soft.output;
}

TEST(OrvelCommand, BadArgumentsAreUsageErrorsWithOneClearLine) {
  struct Case {
    std::string arguments, message;
  } cases[] = {
      {"", "usage: orvel"},
      {"frobnicate", "unknown command 'frobnicate'"},
      {"query", "a NET file is required"},
      {"query " + kAsia + " -e nosuchnode=yes", "no node named 'nosuchnode'"},
      {"query " + kAsia + " -e smoke=maybe", "has no state 'maybe' (states: yes, no)"},
      {"query " + kAsia + " -e smoke", "-e expects NODE=VALUE"},
      {"query " + kAsia + " --likelihood xray=1", "needs 2 values, got 1"},
      {"query " + kAsia + " --likelihood xray=1,-2", "is not a nonnegative number"},
      {"query " + kAsia + " --bogus", "unknown option '--bogus'"},
      {"compile " + kAsia + " --method sideways", "unknown triangulation method 'sideways'"},
      {"convert " + kAsia, "expected an input and an output file"},
  };
  for (const auto &c : cases) {
    const Outcome r = orvel(c.arguments);
    EXPECT_EQ(r.status, 2) << c.arguments << "\n" << r.output;
    EXPECT_TRUE(contains(r.output, c.message)) << c.arguments << "\n" << r.output;
  }
}

TEST(OrvelCommand, ImpossibleEvidenceAndBrokenFilesFailWithExitOne) {
  // either = yes is the logical or of tub and lung: both no makes it impossible.
  const Outcome impossible = orvel("query " + kAsia + " -e tub=no -e lung=no -e either=yes");
  EXPECT_EQ(impossible.status, 1) << impossible.output;
  EXPECT_TRUE(contains(impossible.output, "zero probability")) << impossible.output;

  const Outcome missing = orvel("info /nonexistent/network.net");
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(contains(missing.output, "cannot open '/nonexistent/network.net'")) << missing.output;

  struct Unusable {
    std::string path, message;
  } unusable[] = {
      {::testing::TempDir(), "cannot read '" + ::testing::TempDir() + "': is a directory"},
      {write_temp("empty.net", ""), "empty.net: the network has no nodes"},
      {write_temp("byte.net", "net {}\n\x8f\n"), "byte.net:2: unexpected character: `\\x8f'"},
  };
  for (const auto &u : unusable) {
    const Outcome r = orvel("query " + u.path);
    EXPECT_EQ(r.status, 1) << r.output;
    EXPECT_TRUE(contains(r.output, u.message)) << r.output;
  }

  const std::string broken = write_temp("broken.net", "net\n{\n}\nnode A\n{\n  states = (\"a\" \"b\";\n}\n");
  const Outcome parse = orvel("info " + broken);
  EXPECT_EQ(parse.status, 1) << parse.output;
  EXPECT_TRUE(contains(parse.output, broken + ":6: ")) << parse.output;  // file and line
}

TEST(OrvelCommand, InfoCompileAndConvertWorkOnARealNetwork) {
  const Outcome info = orvel("info " + kAsia);
  ASSERT_EQ(info.status, 0) << info.output;
  EXPECT_TRUE(contains(info.output, "nodes: 8 (chance 8")) << info.output;
  EXPECT_TRUE(contains(info.output, "links: 8")) << info.output;
  EXPECT_TRUE(contains(info.output, "junction trees: 1")) << info.output;

  const std::string log = ::testing::TempDir() + "asia.log";
  const Outcome compile = orvel("compile " + kAsia + " --method clique-size --log " + log);
  ASSERT_EQ(compile.status, 0) << compile.output;
  std::ifstream in(log);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_FALSE(text.empty());

  const std::string once = ::testing::TempDir() + "asia1.net", twice = ::testing::TempDir() + "asia2.net";
  ASSERT_EQ(orvel("convert " + kAsia + " " + once).status, 0);
  ASSERT_EQ(orvel("convert " + once + " " + twice).status, 0);
  std::ifstream a(once), b(twice);
  const std::string ta((std::istreambuf_iterator<char>(a)), std::istreambuf_iterator<char>());
  const std::string tb((std::istreambuf_iterator<char>(b)), std::istreambuf_iterator<char>());
  EXPECT_EQ(ta, tb);  // canonical layout is a fixed point
  EXPECT_EQ(orvel("query --help").status, 0);
}

}  // namespace

namespace solve {

const std::string kLimid = std::string(ORVEL_DATA_DIR) + "/networks/limid/limited1.net";

TEST(OrvelCommand, SolvePrintsPoliciesAndExpectedUtilities) {
  const Outcome table = orvel("solve " + kLimid);
  ASSERT_EQ(table.status, 0) << table.output;
  EXPECT_TRUE(contains(table.output, "decision order: D2 D1")) << table.output;
  EXPECT_TRUE(contains(table.output, "overall expected utility: 57.62941")) << table.output;

  const Outcome json = orvel("solve " + kLimid + " --json");
  ASSERT_EQ(json.status, 0) << json.output;
  const auto result = orv::test::parse_json(json.output);
  const auto reference = orv::test::read_json_file(std::string(ORVEL_DATA_DIR) + "/reference/limid/limited1.json");
  EXPECT_NEAR(result["expected_utility"].number, reference["spu"]["expected_utility"].number, 1e-9);
  for (const auto &[name, policy] : reference["spu"]["policies"].members) {
    const auto &rows = result["decisions"][name]["rows"].items;
    std::size_t i = 0;
    for (const auto &row : rows)
      for (const auto &p : row["policy"].items) EXPECT_EQ(p.number, policy["table"].items[i++].number) << name;
    EXPECT_EQ(i, policy["table"].items.size()) << name;
    const auto &options = result["decisions"][name]["expected_utilities"].items;
    const auto &expected = reference["results"]["eu_if_chosen"][name].items;
    ASSERT_EQ(options.size(), expected.size());
    for (std::size_t k = 0; k < options.size(); ++k) EXPECT_NEAR(options[k].number, expected[k].number, 1e-9);
  }

  const Outcome invalid = orvel("solve " + kLimid + " -e Y1=low");
  EXPECT_EQ(invalid.status, 1) << invalid.output;
  EXPECT_TRUE(contains(invalid.output, "a decision not yet made")) << invalid.output;
  const Outcome plain = orvel("solve " + kAsia);
  EXPECT_EQ(plain.status, 1) << plain.output;
  EXPECT_TRUE(contains(plain.output, "no utility nodes")) << plain.output;
}

}  // namespace solve
