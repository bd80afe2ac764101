// The orvel command with the other formats, --exact, --dry-run and the
// Graphviz pictures (checked with dot -Tsvg when Graphviz is installed).
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace {

struct Outcome {
  int status;
  std::string output;  // standard output and standard error together
};

Outcome run(const std::string &command) {
  std::FILE *pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe) return {-1, "popen failed"};
  std::string output;
  char buffer[4096];
  while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

Outcome orvel(const std::string &arguments) { return run(std::string(ORVEL_BIN) + " " + arguments); }

std::string data(const std::string &relative) { return std::string(ORVEL_DATA_DIR) + "/networks/" + relative; }
std::string temp(const std::string &name) { return ::testing::TempDir() + name; }
bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

std::string slurp(const std::string &path) {
  std::ifstream in(path);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

TEST(OrvelFormats, EveryReadableFormatAnswersTheSameQuery) {
  const std::string expected = "0.100000";  // P(lung = yes | smoke = yes)
  for (const std::string file : {"asia.net", "bif/asia.bif", "xmlbif/asia.xml"}) {
    const Outcome r = orvel("query " + data(file) + " -e smoke=yes -n lung");
    ASSERT_EQ(r.status, 0) << file << "\n" << r.output;
    EXPECT_TRUE(contains(r.output, expected)) << file << "\n" << r.output;
  }
  const Outcome uai = orvel("query " + data("uai/chain.uai") + " -e X0=1 -n X2");
  ASSERT_EQ(uai.status, 0) << uai.output;
  // P(X2 | X0 = 1) = 0.92 * (0.5, 0.25, 0.25) + 0.08 * (1, 0, 0).
  EXPECT_TRUE(contains(uai.output, "0      0.540000")) << uai.output;

  const std::string bad = temp("bad.bif");
  std::ofstream(bad) << "network n {\n}\nvariable a {\n  type discrete [ 2 ] { y, n }\n}\n";
  const Outcome broken = orvel("query " + bad);
  EXPECT_EQ(broken.status, 1);
  EXPECT_TRUE(contains(broken.output, bad + ":5: `;' expected")) << broken.output;
}

TEST(OrvelFormats, ConvertWritesBifOrExactNetByExtension) {
  const std::string net = temp("alarm.net"), bif = temp("alarm.bif"), exact = temp("alarm_exact.net");
  ASSERT_EQ(orvel("convert " + data("bif/alarm.bif") + " " + net).status, 0);
  ASSERT_EQ(orvel("convert " + net + " " + bif).status, 0);
  EXPECT_EQ(slurp(bif).rfind("network", 0), 0u);
  ASSERT_EQ(orvel("convert --exact " + data("bif/alarm.bif") + " " + exact).status, 0);
  const Outcome a = orvel("query " + data("bif/alarm.bif") + " -e HR=HIGH --json");
  const Outcome b = orvel("query " + exact + " -e HR=HIGH --json");
  ASSERT_EQ(a.status, 0) << a.output;
  EXPECT_EQ(a.output.substr(a.output.find("\"equilibrium\"")), b.output.substr(b.output.find("\"equilibrium\"")));
  EXPECT_EQ(orvel("convert " + net + " " + temp("x.uai")).status, 2);
  EXPECT_EQ(orvel("convert --exact " + net + " " + temp("x.bif")).status, 2);
}

TEST(OrvelFormats, DryRunReportsTheMemoryOfTheChosenTriangulation) {
  const Outcome r = orvel("compile " + data("alarm.net") + " --dry-run --method clique-size");
  ASSERT_EQ(r.status, 0) << r.output;
  EXPECT_TRUE(contains(r.output, "clique table entries")) << r.output;
  EXPECT_TRUE(contains(r.output, "memory to allocate")) << r.output;
  EXPECT_FALSE(contains(r.output, "compiled")) << r.output;
}

TEST(OrvelFormats, DotPicturesAreValidGraphviz) {
  const std::string base = "dot " + data("asia.net");
  const Outcome plain = orvel(base + " -e smoke=yes");
  ASSERT_EQ(plain.status, 0) << plain.output;
  EXPECT_TRUE(contains(plain.output, "\"smoke\" [shape=ellipse, label=\"smoke\\n= yes\", style=filled")) << plain.output;
  EXPECT_TRUE(contains(plain.output, "\"either\" -> \"xray\";")) << plain.output;
  const Outcome beliefs = orvel(base + " -e smoke=yes --beliefs");
  ASSERT_EQ(beliefs.status, 0) << beliefs.output;
  EXPECT_TRUE(contains(beliefs.output, ">0.100</FONT>")) << beliefs.output;  // P(lung = yes | smoke = yes)
  const Outcome forest = orvel(base + " --junction-tree");
  ASSERT_EQ(forest.status, 0) << forest.output;
  EXPECT_TRUE(contains(forest.output, "graph junction_forest")) << forest.output;
  EXPECT_TRUE(contains(forest.output, "size 8")) << forest.output;
  EXPECT_EQ(orvel(base + " --junction-tree --beliefs").status, 2);
  EXPECT_EQ(orvel(base + " -e smoke=maybe").status, 2);

  if (run("command -v dot").status != 0) GTEST_SKIP() << "Graphviz is not installed";
  for (const std::string options : {" -e smoke=yes", " -e smoke=yes --beliefs", " --junction-tree"}) {
    const std::string out = temp("asia.dot");
    ASSERT_EQ(orvel(base + options + " -o " + out).status, 0) << options;
    const Outcome svg = run("dot -Tsvg " + out);
    EXPECT_EQ(svg.status, 0) << options << "\n" << svg.output;
    EXPECT_TRUE(contains(svg.output, "</svg>")) << options;
    EXPECT_FALSE(contains(svg.output, "Warning")) << options << "\n" << svg.output;
  }
}

}  // namespace
