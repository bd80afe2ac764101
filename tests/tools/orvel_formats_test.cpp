// The orvel command with the other formats, --exact, --dry-run and the
// Graphviz pictures (checked with dot -Tsvg when Graphviz is installed).
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tools/orvel_runner.h"

namespace {

using namespace orv::test;

std::string data(const std::string &relative) { return std::string(ORVEL_DATA_DIR) + "/networks/" + relative; }
std::string temp(const std::string &name) { return ::testing::TempDir() + name; }

TEST(OrvelFormats, EveryReadableFormatAnswersTheSameQuery) {
  const std::string bad = temp_file("bad.bif", "network n {\n}\nvariable a {\n  type discrete [ 2 ] { y, n }\n}\n");
  expect_runs({
      // P(lung = yes | smoke = yes) in every format.
      {"query " + data("asia.net") + " -e smoke=yes -n lung", 0, {"0.100000"}},
      {"query " + data("bif/asia.bif") + " -e smoke=yes -n lung", 0, {"0.100000"}},
      {"query " + data("xmlbif/asia.xml") + " -e smoke=yes -n lung", 0, {"0.100000"}},
      // P(X2 | X0 = 1) = 0.92 * (0.5, 0.25, 0.25) + 0.08 * (1, 0, 0).
      {"query " + data("uai/chain.uai") + " -e X0=1 -n X2", 0, {"0      0.540000"}},
      {"query " + bad, 1, {bad + ":5: `;' expected"}},
  });
}

TEST(OrvelFormats, ConvertWritesBifOrExactNetByExtension) {
  const std::string net = temp("alarm.net"), bif = temp("alarm.bif"), exact = temp("alarm_exact.net");
  ASSERT_EQ(orvel("convert " + data("bif/alarm.bif") + " " + net).status, 0);
  ASSERT_EQ(orvel("convert " + net + " " + bif).status, 0);
  EXPECT_EQ(read_file(bif).rfind("network", 0), 0u);
  ASSERT_EQ(orvel("convert --exact " + data("bif/alarm.bif") + " " + exact).status, 0);
  const Outcome a = orvel("query " + data("bif/alarm.bif") + " -e HR=HIGH --json");
  const Outcome b = orvel("query " + exact + " -e HR=HIGH --json");
  ASSERT_EQ(a.status, 0) << a.output;
  EXPECT_EQ(a.output.substr(a.output.find("\"equilibrium\"")), b.output.substr(b.output.find("\"equilibrium\"")));
  EXPECT_EQ(orvel("convert " + net + " " + temp("x.uai")).status, 2);
  EXPECT_EQ(orvel("convert --exact " + net + " " + temp("x.bif")).status, 2);
}

// KB files by content wherever a network is read, sealed ones through the
// password variable, and conversion both ways keeping classes as classes.
TEST(OrvelFormats, KbFilesAreReadEverywhereAndConverted) {
  const std::string kb = temp("asia.kb"), sealed = temp("asia_sealed.data"), back = temp("asia_back.net");
  const std::string classes = temp("hierarchy.kb"), classes_net = temp("hierarchy_back.net");
  ASSERT_EQ(orvel("convert " + data("asia.net") + " " + kb).status, 0);
  ASSERT_EQ(orvel("convert --password pw " + kb + " " + temp("asia_sealed.kb")).status, 0);
  ASSERT_EQ(std::rename(temp("asia_sealed.kb").c_str(), sealed.c_str()), 0);  // told by content, not name
  ASSERT_EQ(orvel("convert --exact " + kb + " " + back).status, 0);
  EXPECT_EQ(read_file(back), orvel("convert --exact " + data("asia.net") + " /dev/stdout").output);
  const std::string cls = std::string(ORVEL_DATA_DIR) + "/classes/hierarchy.net";
  ASSERT_EQ(orvel("convert " + cls + " " + classes).status, 0);
  ASSERT_EQ(orvel("convert " + classes + " " + classes_net).status, 0);
  EXPECT_TRUE(contains(read_file(classes_net), "class Base")) << read_file(classes_net);
  const Outcome net_answer = orvel("query " + cls + " --class Top -n B");
  ASSERT_EQ(net_answer.status, 0) << net_answer.output;
  expect_runs({
      {"query " + kb + " -e smoke=yes -n lung", 0, {"0.100000"}},
      {"info " + kb, 0, {"dysp"}},
      {"query " + sealed + " -e smoke=yes -n lung", 1, {"password"}},
      {"query " + classes + " --class Top -n B", 0, {net_answer.output.substr(net_answer.output.find('\n'))}},
      {"query " + kb + " --class Top", 2, {"holds a domain"}},
  });
  const std::string with_password = "ORVEL_KB_PASSWORD=pw " + std::string(ORVEL_BIN) + " query " + sealed;
  const std::string opened = run(with_password + " -e smoke=yes -n lung").output;
  EXPECT_TRUE(contains(opened, "yes    0.100000")) << opened;
  EXPECT_TRUE(contains(run("ORVEL_KB_PASSWORD=wrong " + std::string(ORVEL_BIN) + " query " + sealed).output, "password"));
}

TEST(OrvelFormats, DryRunReportsTheMemoryOfTheChosenTriangulation) {
  const Outcome r = expect_run({"compile " + data("alarm.net") + " --dry-run --method clique-size", 0,
                                {"clique table entries", "memory to allocate"}});
  EXPECT_FALSE(contains(r.output, "compiled")) << r.output;
}

TEST(OrvelFormats, DotPicturesAreValidGraphviz) {
  const std::string base = "dot " + data("asia.net");
  expect_runs({
      {base + " -e smoke=yes", 0,
       {"\"smoke\" [shape=ellipse, label=\"smoke\\n= yes\", style=filled", "\"either\" -> \"xray\";"}},
      {base + " -e smoke=yes --beliefs", 0, {">0.100</FONT>"}},  // P(lung = yes | smoke = yes)
      {base + " --junction-tree", 0, {"graph junction_forest", "size 8"}},
      {base + " --junction-tree --beliefs", 2, {}},
      {base + " -e smoke=maybe", 2, {}},
  });

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
