// Drives the orvel command as a user would: good queries, bad arguments,
// impossible evidence and malformed files, with their exit codes.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <string>

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

const std::string kEm = std::string(ORVEL_DATA_DIR) + "/em/";

TEST(OrvelLearn, LearnsWithProgressLinesAndWritesTheNetwork) {
  const std::string out = ::testing::TempDir() + "learned.net";
  const Outcome r = orvel("learn " + kEm + "asia.net " + kEm + "asia.dat -o " + out + " --threads 2");
  ASSERT_EQ(r.status, 0) << r.output;
  EXPECT_TRUE(contains(r.output, "iteration 1: log-likelihood -1162.703666")) << r.output;
  EXPECT_TRUE(contains(r.output, "iteration 7: log-likelihood -1086.553999")) << r.output;
  EXPECT_FALSE(contains(r.output, "iteration 8")) << r.output;
  EXPECT_TRUE(contains(r.output, "final: log-likelihood -1086.501823")) << r.output;
  std::ifstream learned(out);
  const std::string text((std::istreambuf_iterator<char>(learned)), std::istreambuf_iterator<char>());
  EXPECT_TRUE(contains(text, "experience = ( 501 )")) << text;  // smoke: experience 1 + 500 cases

  const Outcome limited = orvel("learn " + kEm + "asia.net " + kEm + "asia.dat --max-iterations 2 -o " + out);
  ASSERT_EQ(limited.status, 0) << limited.output;
  EXPECT_FALSE(contains(limited.output, "iteration 3")) << limited.output;

  EXPECT_EQ(orvel("learn " + kEm + "asia.net").status, 2);
  EXPECT_EQ(orvel("learn " + kEm + "asia.net " + kEm + "asia.dat --threads 0").status, 2);
  EXPECT_EQ(orvel("learn " + kEm + "asia.net " + kEm + "asia.dat --tolerance x").status, 2);
  const Outcome bad = orvel("learn " + kEm + "asia.net " + write_temp("bad.dat", "asia tub\n\"maybe\" \"no\"\n"));
  EXPECT_EQ(bad.status, 1) << bad.output;
  EXPECT_TRUE(contains(bad.output, "bad.dat:2: \"maybe\" is not a (unique) state label of `asia'")) << bad.output;
}

TEST(OrvelLearn, CasesCountsCasesAndIncompleteOnes) {
  const Outcome r = orvel("cases " + kEm + "child.net " + kEm + "child.dat");
  ASSERT_EQ(r.status, 0) << r.output;
  EXPECT_TRUE(contains(r.output, "cases: 1000\n")) << r.output;
  EXPECT_TRUE(contains(r.output, "incomplete: 1000\n")) << r.output;  // LungParench is never observed
  EXPECT_TRUE(contains(r.output, "inactive (weight 0): 105\n")) << r.output;
}

}  // namespace
