// Drives the orvel command as a user would: good queries, bad arguments,
// impossible evidence and malformed files, with their exit codes.
#include <gtest/gtest.h>

#include <string>

#include "support/json.h"
#include "tools/orvel_runner.h"

namespace {

using namespace orv::test;

const std::string kAsia = std::string(ORVEL_DATA_DIR) + "/networks/asia.net";

// Exit codes: 0 success, 1 a failure of the work, 2 a usage error.
TEST(OrvelCommand, ExitCodesAndOutputs) {
  const std::string dir = ::testing::TempDir();
  const std::string broken = temp_file("broken.net", "net\n{\n}\nnode A\n{\n  states = (\"a\" \"b\";\n}\n");
  const std::string cg = "query " + std::string(ORVEL_DATA_DIR) + "/networks/cg/cg_fillin.net -e X1=-0.764 ";
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
  });
}

TEST(OrvelCommand, CompileWritesTheLogAndConvertIsAFixedPoint) {
  // Sizes of a triangulation without compiling it; a bad method is a usage error.
  const std::string log = ::testing::TempDir() + "asia.log";
  expect_runs({{"info " + kAsia + " --method total-weight", 0, {"clique states: 40, total table size: 56"}},
               {"info " + kAsia + " --method cheapest", 2, {}},
               {"compile " + kAsia + " --method total-weight --log " + log, 0, {}}});
  EXPECT_TRUE(contains(read_file(log), "exact search: total weight"));
  const std::string once = ::testing::TempDir() + "asia1.net", twice = ::testing::TempDir() + "asia2.net";
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
  expect_runs({{"query " + kAsia + " -e smoke=no --json", 0, {"\"path\": \"compiled\""}},
               {"query " + kAsia + " -e tub=no -e lung=no -e either=yes -n dysp", 1, {"zero probability"}}});
}

// A network whose tables all come from models: they are generated before
// compiling. The figures were computed independently from the models' normal
// masses (Reading sampled at 10 points per Truth interval), binomials and the
// noisy-or.
TEST(OrvelCommand, NetworksWithModelsGenerateTheirTables) {
  const std::string sensor = std::string(ORVEL_DATA_DIR) + "/networks/models/sensor.net";
  expect_runs({{"query " + sensor + " -e Alarm=true -n Mode --json", 0,
                {"\"log_pe\": -0.7945665473", "\"Mode\": {\"normal\": 0.5500146266"}}});
}

const std::string kEm = std::string(ORVEL_DATA_DIR) + "/em/";

TEST(OrvelLearn, LearnsStructureThenTables) {
  const std::string out = ::testing::TempDir() + "structure.net";
  expect_runs({{"learn-structure " + kEm + "alarm.net " + kEm + "alarm.dat -o " + out + " --threads 2", 0,
                {"links learned in", "TPR -> BP\n"}},
               {"learn-structure " + kEm + "alarm.net " + kEm + "alarm.dat --alpha 1", 2, {}},
               {"learn-structure " + kEm + "alarm.net", 2, {}}});
  EXPECT_TRUE(contains(read_file(out), "potential (BP | ")) << read_file(out);
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
  const std::string out = ::testing::TempDir() + "cg_structure_learned.net";
  expect_run({"learn-structure " + net + " " + temp_file("cg_structure.dat", cases) + " -o " + out, 0,
              {"D -> X\n", "X -> Y\n", "2 links learned"}});
  EXPECT_TRUE(contains(read_file(out), "potential (Y | X)")) << read_file(out);
  EXPECT_TRUE(contains(read_file(out), " * X, ")) << read_file(out);
}

TEST(OrvelLearn, LearnsWithProgressLinesAndWritesTheNetwork) {
  const std::string out = ::testing::TempDir() + "learned.net", learn = "learn " + kEm + "asia.net ";
  const Outcome r = expect_run({learn + kEm + "asia.dat -o " + out + " --threads 2", 0,
                                {"iteration 1: log-likelihood -1162.703666", "iteration 7: log-likelihood -1086.553999",
                                 "final: log-likelihood -1086.501823"}});
  EXPECT_FALSE(contains(r.output, "iteration 8")) << r.output;
  EXPECT_TRUE(contains(read_file(out), "experience = ( 501 )")) << read_file(out);  // smoke: experience 1 + 500 cases
  const Outcome limited = expect_run({learn + kEm + "asia.dat --max-iterations 2 -o " + out, 0, {}});
  EXPECT_FALSE(contains(limited.output, "iteration 3")) << limited.output;
  expect_runs({{learn, 2, {}},
               {learn + kEm + "asia.dat --threads 0", 2, {}},
               {learn + kEm + "asia.dat --tolerance x", 2, {}},
               {learn + temp_file("bad.dat", "asia tub\n\"maybe\" \"no\"\n"), 1,
                {"bad.dat:2: \"maybe\" is not a (unique) state label of `asia'"}}});
}

TEST(OrvelLearn, LearnsConditionalGaussianNodes) {
  const std::string net = temp_file("cg.net", R"(net {}
node A { states = ("a" "b"); }
continuous node X {}
potential (A) { data = (0.5 0.5); experience = (0); }
potential (X | A) { data = ( normal (0, 1) normal (0, 1) ); experience = (0 0); }
)");
  const std::string data = temp_file("cg.dat", "A X\na 1\na 3\nb 10\nb 14\n");
  const std::string out = ::testing::TempDir() + "cg_learned.net";
  expect_run({"learn " + net + " " + data + " -o " + out, 0, {}});
  const std::string text = read_file(out);
  // Complete cases: the configuration means, and two cases of experience each.
  EXPECT_TRUE(contains(text, "normal ( 2,")) << text;
  EXPECT_TRUE(contains(text, "normal ( 12,")) << text;
  EXPECT_TRUE(contains(text, "experience = ( 4 )")) << text;
}

TEST(OrvelLearn, CasesCountsCasesAndIncompleteOnes) {
  // LungParench is never observed, so every case is incomplete.
  expect_run({"cases " + kEm + "child.net " + kEm + "child.dat", 0,
              {"cases: 1000\n", "incomplete: 1000\n", "inactive (weight 0): 105\n"}});
}

const std::string kLimid = std::string(ORVEL_DATA_DIR) + "/networks/limid/";

// soluble2: D2 sees D1 and O1; once D1 = act is chosen the rows with
// D1 = wait cannot occur.
TEST(OrvelCommand, SolvePrintsPoliciesAndExpectedUtilities) {
  // P(row), policy, expected utility of each option given the row.
  expect_run({"solve " + kLimid + "soluble2.net", 0,
              {"decision order: D3 D2 D1", "overall expected utility: 90.29444",
               "  act yes      0.4784    0.0000    1.0000   87.8218   90.4646\n",
               "  wait no      0.0000    1.0000    0.0000  impossible row (probability 0)\n"}});

  const Outcome json = expect_run({"solve " + kLimid + "soluble2.net --json", 0, {}});
  const auto result = parse_json(json.output);
  const auto reference = read_json_file(std::string(ORVEL_DATA_DIR) + "/reference/limid/soluble2.json");
  EXPECT_NEAR(result["expected_utility"].number, reference["spu"]["expected_utility"].number, 1e-9);
  // D2's rows in JSON: probability, expected utilities given the row, null when it cannot occur.
  const auto &d2 = result["decisions"]["D2"]["rows"].items;
  ASSERT_EQ(d2.size(), 4u);
  EXPECT_NEAR(d2[1]["probability"].number, 0.52156, 1e-12);
  EXPECT_NEAR(d2[1]["expected_utilities"].items.at(0).number, 47.0125412 / 0.52156, 1e-9);  // traced P(row) x EU
  EXPECT_EQ(d2[3]["expected_utilities"].kind, Json::Kind::null);
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
  const std::string hierarchy = std::string(ORVEL_DATA_DIR) + "/classes/hierarchy.net";
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

}  // namespace
