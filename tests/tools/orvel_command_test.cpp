// Drives the orvel command as a user would: good queries, bad arguments,
// impossible evidence and malformed files with their exit codes, the other
// formats, --exact, --dry-run and the Graphviz pictures (checked with
// dot -Tsvg when Graphviz is installed).
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/contract_sweep.h"
#include "support/json.h"
#include "tools/orvel_runner.h"

namespace {

using namespace orv::test;

std::string data(const std::string &relative) { return std::string(ORVEL_DATA_DIR) + "/networks/" + relative; }
std::string temp(const std::string &name) { return ::testing::TempDir() + name; }

const std::string kAsia = data("asia.net");

// Exit codes: 0 success, 1 a failure of the work, 2 a usage error; every
// readable format.
TEST(OrvelCommand, ExitCodesAndOutputs) {
  const std::string dir = ::testing::TempDir();
  const std::string broken = temp_file("broken.net", "net\n{\n}\nnode A\n{\n  states = (\"a\" \"b\";\n}\n");
  const std::string cg = "query " + data("cg/cg_fillin.net") + " -e X1=-0.764 ";
  const std::string bad_bif = temp_file("bad.bif", "network n {\n}\nvariable a {\n  type discrete [ 2 ] { y, n }\n}\n");
  expect_runs({
      // 0.1 is P(lung = yes | smoke = yes).
      {"query " + kAsia + " -e smoke=yes -n lung", 0, {"P(evidence) = 0.5", "lung", "0.100000"}},
      {"query " + kAsia + " -e smoke=yes -n lung --json", 0,
       {"\"beliefs\": {\"lung\": {\"yes\": 0.1", "\"log_pe\": -0.69314718055994"}},
      {"query " + kAsia + " --likelihood xray=1,0 -n xray --json", 0, {"\"xray\": {\"yes\": 1, \"no\": 0}"}},
      {"info " + kAsia, 0, {"nodes: 8 (chance 8", "links: 8", "junction trees: 1"}},
      {"query --help", 0, {}},
      {"", 2, {"usage: orvel"}},
      {"frobnicate", 2, {"unknown command 'frobnicate'"}},
      {"query", 2, {"a NET file is required"}},
      {"query " + kAsia + " -e nosuchnode=yes", 2, {"no node named 'nosuchnode'"}},
      {"query " + kAsia + " -e smoke=maybe", 2, {"has no state 'maybe' (states: yes, no)"}},
      {"query " + kAsia + " -e smoke", 2, {"-e expects NODE=VALUE"}},
      {"query " + kAsia + " --likelihood xray=1", 2, {"needs 2 values, got 1"}},
      {"query " + kAsia + " --likelihood xray=1,-2", 2, {"is not a nonnegative number"}},
      {"query " + kAsia + " --bogus", 2, {"unknown option '--bogus'"}},
      {"compile " + kAsia + " --method sideways", 2, {"unknown triangulation method 'sideways'"}},
      {"convert " + kAsia, 2, {"expected an input and an output file"}},
      // either = yes is the logical or of tub and lung: both no makes it impossible.
      {"query " + kAsia + " -e tub=no -e lung=no -e either=yes", 1, {"zero probability"}},
      {"info /nonexistent/network.net", 1, {"cannot open '/nonexistent/network.net'"}},
      {"query " + dir, 1, {"cannot read '" + dir + "': is a directory"}},
      {"query " + temp_file("empty.net", ""), 1, {"empty.net: the network has no nodes"}},
      {"query " + temp_file("byte.net", "net {}\n\x8f\n"), 1, {"byte.net:2: unexpected character: `\\x8f'"}},
      {"info " + broken, 1, {broken + ":6: "}},  // file and line
      // Continuous nodes: values as evidence, mean, variance and SD in both outputs.
      {cg + "-e X2=2.1 -n X3 -n D1", 0,
       {"log P(evidence) = -3.165599", "mean 0.498768   variance 11.7273   SD 3.42451", "0.997347"}},
      {cg + "-e X2=2.1 -n X3 -n X1 --json", 0,
       {"\"X3\": {\"mean\": 0.4987681814880", "\"X1\": {\"mean\": -0.764000000000000",
        "\"variance\": 0, \"sd\": 0", "\"conflict\": null"}},
      {cg + "-e X2=abc", 2, {"'abc' is not a number"}},
      // A network whose tables all come from models: they are generated before
      // compiling. The figures were computed independently from the models'
      // normal masses (Reading sampled at 10 points per Truth interval),
      // binomials and the noisy-or.
      {"query " + data("models/sensor.net") + " -e Alarm=true -n Mode --json", 0,
       {"\"log_pe\": -0.7945665473", "\"Mode\": {\"normal\": 0.5500146266"}},
      // P(lung = yes | smoke = yes), as from asia.net, in the other formats.
      {"query " + data("bif/asia.bif") + " -e smoke=yes -n lung", 0, {"0.100000"}},
      {"query " + data("xmlbif/asia.xml") + " -e smoke=yes -n lung", 0, {"0.100000"}},
      // P(X2 | X0 = 1) = 0.92 * (0.5, 0.25, 0.25) + 0.08 * (1, 0, 0).
      {"query " + data("uai/chain.uai") + " -e X0=1 -n X2", 0, {"0      0.540000"}},
      {"query " + bad_bif, 1, {bad_bif + ":5: `;' expected"}},
  });
}

TEST(OrvelCommand, CompileWritesTheLogAndConvertIsAFixedPoint) {
  // Sizes of a triangulation without compiling it; a bad method is a usage error.
  const std::string log = temp("asia.log");
  expect_runs({{"info " + kAsia + " --method total-weight", 0, {"clique states: 40, total table size: 56"}},
               {"info " + kAsia + " --method cheapest", 2, {}},
               {"compile " + kAsia + " --method total-weight --log " + log, 0, {}},
               // --dry-run reports the memory of the chosen triangulation and compiles nothing.
               {"compile " + data("alarm.net") + " --dry-run --method clique-size", 0,
                {"clique table entries", "memory to allocate"}, {"compiled"}}});
  expect_file_contains(log, {"exact search: total weight"});
  const std::string once = temp("asia1.net"), twice = temp("asia2.net");
  ASSERT_EQ(orvel("convert " + kAsia + " " + once).status, 0);
  ASSERT_EQ(orvel("convert " + once + " " + twice).status, 0);
  EXPECT_EQ(read_file(once), read_file(twice));  // canonical layout is a fixed point
}

TEST(OrvelCommand, NamedNodesTakeTheTargetedPathUnlessCompiledIsAsked) {
  const std::string query = "query " + kAsia + " -e xray=yes -e smoke=no -n lung -n bronc --json";
  const Outcome targeted = expect_run({query, 0, {"\"path\": \"targeted\""}});
  const Outcome compiled = expect_run({query + " --compiled", 0, {"\"path\": \"compiled\""}});
  // The same figures to the printed precision.
  const auto beliefs = [](const std::string &json) { return json.substr(json.find("\"lung\": {\"yes\": 0."), 30); };
  EXPECT_EQ(beliefs(targeted.output), beliefs(compiled.output));
  expect_runs({{"query " + kAsia + " -e smoke=no --json", 0, {"\"path\": \"compiled\""}},  // no nodes named
               {"query " + kAsia + " -e tub=no -e lung=no -e either=yes -n dysp", 1, {"zero probability"}}});
}

const std::string kEm = std::string(ORVEL_DATA_DIR) + "/em/";

// learn-structure and learn: the links and tables they write, the progress
// lines of EM, the case counts of `cases`, and their usage errors.
TEST(OrvelLearn, LearnsStructureAndTablesAndCountsCases) {
  const std::string structure = temp("structure.net"), learned = temp("learned.net");
  const std::string learn = "learn " + kEm + "asia.net ";
  const std::string cg = temp_file("cg.net", R"(net {}
node A { states = ("a" "b"); }
continuous node X {}
potential (A) { data = (0.5 0.5); experience = (0); }
potential (X | A) { data = ( normal (0, 1) normal (0, 1) ); experience = (0 0); }
)");
  const std::string cg_learned = temp("cg_learned.net");
  expect_runs({
      {"learn-structure " + kEm + "alarm.net " + kEm + "alarm.dat -o " + structure + " --threads 2", 0,
       {"links learned in", "TPR -> BP\n"}},
      {"learn-structure " + kEm + "alarm.net " + kEm + "alarm.dat --alpha 1", 2, {}},
      {"learn-structure " + kEm + "alarm.net", 2, {}},
      {learn + kEm + "asia.dat --max-iterations 2 -o " + learned, 0, {}, {"iteration 3"}},
      {learn + kEm + "asia.dat -o " + learned + " --threads 2", 0,
       {"iteration 1: log-likelihood -1162.703666", "iteration 7: log-likelihood -1086.553999",
        "final: log-likelihood -1086.501823"},
       {"iteration 8"}},
      {learn, 2, {}},
      {learn + kEm + "asia.dat --threads 0", 2, {}},
      {learn + kEm + "asia.dat --tolerance x", 2, {}},
      {learn + temp_file("bad.dat", "asia tub\n\"maybe\" \"no\"\n"), 1,
       {"bad.dat:2: \"maybe\" is not a (unique) state label of `asia'"}},
      {"learn " + cg + " " + temp_file("cg.dat", "A X\na 1\na 3\nb 10\nb 14\n") + " -o " + cg_learned, 0, {}},
      // LungParench is never observed, so every case is incomplete.
      {"cases " + kEm + "child.net " + kEm + "child.dat", 0,
       {"cases: 1000\n", "incomplete: 1000\n", "inactive (weight 0): 105\n"}},
  });
  expect_file_contains(structure, {"potential (BP | "});
  expect_file_contains(learned, {"experience = ( 501 )"});  // smoke: experience 1 + 500 cases
  // Complete CG cases: the configuration means, and two cases of experience each.
  expect_file_contains(cg_learned, {"normal ( 2,", "normal ( 12,", "experience = ( 4 )"});
}

// A CG network: D -> X by the CG rule, X -> Y by R1, and EM fits Y's slope.
TEST(OrvelLearn, LearnsConditionalGaussianStructure) {
  const std::string net = temp_file("cg_structure.net", R"(net {}
node D { states = ("a" "b"); }
continuous node X {}
continuous node Y {}
)");
  std::string cases = "D X Y\n";
  for (int i = 0; i < 400; ++i) {  // scattered noise without a generator
    const double x = 2.0 * (i % 2) + ((i * 7) % 11 - 5) / 5.0, y = x + ((i * 13) % 17 - 8) / 8.0;
    cases += std::string(i % 2 ? "b " : "a ") + std::to_string(x) + " " + std::to_string(y) + "\n";
  }
  const std::string out = temp("cg_structure_learned.net");
  expect_run({"learn-structure " + net + " " + temp_file("cg_structure.dat", cases) + " -o " + out, 0,
              {"D -> X\n", "X -> Y\n", "2 links learned"}});
  expect_file_contains(out, {"potential (Y | X)", " * X, "});
}

const std::string kLimid = data("limid/");

// soluble2: D2 sees D1 and O1; once D1 = act is chosen the rows with
// D1 = wait cannot occur.
TEST(OrvelCommand, SolvePrintsPoliciesAndExpectedUtilities) {
  // P(row), policy, expected utility of each option given the row.
  expect_run({"solve " + kLimid + "soluble2.net", 0,
              {"decision order: D3 D2 D1", "overall expected utility: 90.29444",
               "  act yes      0.4784    0.0000    1.0000   87.8218   90.4646\n",
               "  wait no      0.0000    1.0000    0.0000  impossible row (probability 0)\n"}});

  const auto result = parse_json(expect_run({"solve " + kLimid + "soluble2.net --json", 0, {}}).output);
  const auto reference = read_json_file(std::string(ORVEL_DATA_DIR) + "/reference/limid/soluble2.json");
  EXPECT_NEAR(result["expected_utility"].number, reference["spu"]["expected_utility"].number, 1e-9);
  // D2's rows in JSON: probability, expected utilities given the row, null when it cannot occur.
  const auto &d2 = result["decisions"]["D2"]["rows"].items;
  ASSERT_EQ(d2.size(), 4u);
  EXPECT_NEAR(d2[1]["probability"].number, 0.52156, 1e-12);
  EXPECT_NEAR(d2[1]["expected_utilities"].items.at(0).number, 47.0125412 / 0.52156, 1e-9);  // traced P(row) x EU
  EXPECT_EQ(d2[3]["expected_utilities"].kind, Json::Kind::null);
  for (const auto &[name, policy] : reference["spu"]["policies"].members) {
    std::vector<double> table;  // the policy, row after row
    for (const auto &row : result["decisions"][name]["rows"].items)
      for (const auto &p : row["policy"].items) table.push_back(p.number);
    EXPECT_EQ(table, policy["table"].numbers()) << name;
    expect_all_near(result["decisions"][name]["expected_utilities"].numbers(),
                    reference["results"]["eu_if_chosen"][name].numbers(), 1e-9, name);
  }
  expect_runs({{"solve " + kLimid + "limited1.net -e Y1=low", 1, {"a decision not yet made"}},
               {"solve " + kAsia, 1, {"no utility nodes"}}});
}

TEST(OrvelData, DescribesAndDiscretizesADataFile) {
  const std::string data = temp_file("people.csv",
                                      "name,height,weight,city\nann,1.62,55,\"Oslo\"\nbob,1.80,,Bergen\n"
                                      "cid,1.75,80,\ndan,,72,\"Oslo\"\n");
  expect_runs({
      // Weights 55, 80, 72: mean 69, sample variance (196 + 121 + 9) / 2.
      {"data " + data + " --describe", 0,
       {"4 rows, 4 columns", "name: text, 0 missing, 4 distinct", "weight: number, 1 missing, mean 69, variance 163",
        "city: text, 1 missing"}},
      {"data " + data + " --discretize weight:2", 0,
       {"ann,1.62,(-inf;67.5),Oslo\n", "bob,1.80,,Bergen\n", "cid,1.75,[67.5;inf),\n"}},
      {"data " + data + " --discretize 2:2 --describe", 0, {"weight: interval, 1 missing, 2 distinct"}},
      {"data " + data + " --discretize nope:2", 2, {"no column named 'nope'"}},
      {"data " + temp_file("cut.csv", "a,b\n1,2"), 1, {"cut.csv:2: unexpected end-of-file"}},
  });
}

// Class files: the classes listed by info, the class to unfold chosen with
// --class (default the file's last class), classes loaded from "<name>.net"
// beside the file, and parse messages with their lines.
TEST(OrvelCommand, ClassFiles) {
  const std::string hierarchy = class_file("hierarchy.net");
  temp_file("Sensor.net",
             "class Sensor {\n inputs = (In);\n outputs = (Out);\n node In { states = (\"lo\" \"hi\"); }\n"
             " node Out { states = (\"ok\" \"bad\"); }\n potential (Out | In) { data = ((0.9 0.1) (0.2 0.8)); }\n}\n");
  const std::string plant = temp_file(
      "plant.net", "% a plant with one sensor\nclass Plant {\n node T { states = (\"lo\" \"hi\"); }\n"
                   " instance S : Sensor (In = T) {}\n potential (T) { data = (0.5 0.5); }\n}\n");
  const std::string broken = temp_file("broken_class.net", "class A {\n node X {}\n instance I : Gone () {}\n}\n");
  expect_runs({
      {"info " + hierarchy + " --no-compile", 0,
       {"class Leaf\n  inputs: U\n  outputs: Y\n  instances: B1 : Base\n", "instances: L1 : Leaf, L2 : Leaf",
        "unfolded class Top", "nodes: 19 (chance 19", "M1.L1.B1.Q  chance"}},
      // P(Z = z0 | L1.Y = y1) = 0.4286 * 0.2 + 0.5714 * 0.1, worked out by hand.
      {"query " + hierarchy + " --class Mid -n Z -e L1.Y=y1", 0, {"z0     0.142860"}},
      {"query " + hierarchy + " --class Nope", 2, {"no class named 'Nope'"}},
      // 0.5 * 0.1 + 0.5 * 0.8 = 0.45 for S.Out = bad.
      {"query " + plant + " -n S.Out", 0, {"bad    0.450000"}},
      {"info " + broken, 1, {"broken_class.net:3: loading class `Gone' failed"}},
  });
}

TEST(OrvelFormats, ConvertWritesBifOrExactNetByExtension) {
  const std::string net = temp("alarm.net"), bif = temp("alarm.bif"), exact = temp("alarm_exact.net");
  ASSERT_EQ(orvel("convert " + data("bif/alarm.bif") + " " + net).status, 0);
  ASSERT_EQ(orvel("convert " + net + " " + bif).status, 0);
  EXPECT_EQ(read_file(bif).rfind("network", 0), 0u);
  ASSERT_EQ(orvel("convert --exact " + data("bif/alarm.bif") + " " + exact).status, 0);
  const Outcome a = expect_run({"query " + data("bif/alarm.bif") + " -e HR=HIGH --json", 0, {}});
  const Outcome b = expect_run({"query " + exact + " -e HR=HIGH --json", 0, {}});
  EXPECT_EQ(a.output.substr(a.output.find("\"equilibrium\"")), b.output.substr(b.output.find("\"equilibrium\"")));
  EXPECT_EQ(orvel("convert " + net + " " + temp("x.uai")).status, 2);
  EXPECT_EQ(orvel("convert --exact " + net + " " + temp("x.bif")).status, 2);
}

// KB files by content wherever a network is read, sealed ones through the
// password variable, and conversion both ways keeping classes as classes.
TEST(OrvelFormats, KbFilesAreReadEverywhereAndConverted) {
  const std::string kb = temp("asia.kb"), sealed = temp("asia_sealed.data"), back = temp("asia_back.net");
  const std::string classes = temp("hierarchy.kb"), classes_net = temp("hierarchy_back.net");
  ASSERT_EQ(orvel("convert " + kAsia + " " + kb).status, 0);
  ASSERT_EQ(orvel("convert --password pw " + kb + " " + temp("asia_sealed.kb")).status, 0);
  ASSERT_EQ(std::rename(temp("asia_sealed.kb").c_str(), sealed.c_str()), 0);  // told by content, not name
  ASSERT_EQ(orvel("convert --exact " + kb + " " + back).status, 0);
  EXPECT_EQ(read_file(back), orvel("convert --exact " + kAsia + " /dev/stdout").output);
  const std::string cls = class_file("hierarchy.net");
  ASSERT_EQ(orvel("convert " + cls + " " + classes).status, 0);
  ASSERT_EQ(orvel("convert " + classes + " " + classes_net).status, 0);
  expect_file_contains(classes_net, {"class Base"});
  const Outcome net_answer = expect_run({"query " + cls + " --class Top -n B", 0, {}});
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

TEST(OrvelFormats, DotPicturesAreValidGraphviz) {
  const std::string base = "dot " + kAsia;
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
