// Targeted queries against the compiled path on the networks with reference
// cases: one target's posterior (the first node of the reference file) for
// each evidence case, and the first answer on a fresh domain. The other
// engine's figures (lazy propagation with relevance reasoning, measured on
// the same machine) are constants for the results table.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "orvel.h"
#include "support/json.h"

namespace {

using Clock = std::chrono::steady_clock;
const std::string kData = ORVEL_DATA_DIR;

// Other engine: first answer and per-case milliseconds (midpoints of the measured ranges).
struct Other {
  const char *name;
  double first_ms, case_ms;
};
constexpr Other kOther[] = {{"asia", 0.014, 0.046},     {"alarm", 0.049, 0.076},   {"insurance", 0.098, 0.66},
                            {"andes", 0.37, 4.45},      {"mildew", 0.425, 104},    {"water", 0.11, 3.6},
                            {"diabetes", 0.99, 13.9},   {"barley", 0.14, 8.55},    {"munin", 0.51, 0.29},
                            {"link", 6.75, 21.5}};

void quiet(size_t, const char *, void *) {}
double seconds(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

struct Case {
  std::vector<std::pair<orv_node_t, size_t>> evidence;
};

// A parsed network with its reference cases and target.
struct Network {
  orv_domain_t d = nullptr;
  orv_node_t target = nullptr;
  std::vector<Case> cases;
  explicit Network(const std::string &name) {
    d = orv_net_parse_domain((kData + "/networks/" + name + ".net").c_str(), quiet, nullptr);
    const orv::test::Json ref = orv::test::read_json_file(kData + "/reference/" + name + ".json");
    target = orv_domain_get_node_by_name(d, ref["nodes"].members[0].first.c_str());
    for (const auto &c : ref["cases"].items) {
      Case k;
      for (const auto &[node, label] : c["evidence"].members) {
        orv_node_t n = orv_domain_get_node_by_name(d, node.c_str());
        k.evidence.emplace_back(n, static_cast<size_t>(orv_node_get_state_index_from_label(n, label.text.c_str())));
      }
      cases.push_back(k);
    }
  }
  ~Network() { orv_domain_delete(d); }
  void enter(const Case &c) const {
    orv_domain_retract_findings(d);
    for (const auto &[n, s] : c.evidence) orv_node_select_state(n, s);
  }
};

double targeted_answer(orv_domain_t d, orv_node_t target) {
  orv_node_t list[] = {target, nullptr};
  orv_table_t t = orv_domain_query_marginal(d, list, nullptr);
  if (!t) return -1.0;
  const double belief = orv_table_get_data(t)[0];
  orv_table_delete(t);
  return belief;
}

void first_answer(benchmark::State &state, const std::string &name) {
  Network net(name);
  for (auto _ : state) {
    const auto start = Clock::now();
    benchmark::DoNotOptimize(targeted_answer(net.d, net.target));
    state.SetIterationTime(seconds(start));
  }
}

// One iteration answers every case; the time is per case.
void targeted_cases(benchmark::State &state, const std::string &name) {
  Network net(name);
  for (auto _ : state) {
    const auto start = Clock::now();
    for (const Case &c : net.cases) {
      net.enter(c);
      if (targeted_answer(net.d, net.target) < 0) state.SkipWithError("query failed");
    }
    state.SetIterationTime(seconds(start) / static_cast<double>(net.cases.size()));
  }
}

void compiled_cases(benchmark::State &state, const std::string &name) {
  Network net(name);
  if (orv_domain_compile(net.d) != orv_error_none) state.SkipWithError("compile failed");
  for (auto _ : state) {
    const auto start = Clock::now();
    for (const Case &c : net.cases) {
      net.enter(c);
      orv_domain_propagate(net.d, orv_equilibrium_sum, orv_mode_normal);
      benchmark::DoNotOptimize(orv_node_get_belief(net.target, 0));
    }
    state.SetIterationTime(seconds(start) / static_cast<double>(net.cases.size()));
  }
}

void compile_time(benchmark::State &state, const std::string &name) {
  for (auto _ : state) {
    Network net(name);
    const auto start = Clock::now();
    if (orv_domain_compile(net.d) != orv_error_none) state.SkipWithError("compile failed");
    state.SetIterationTime(seconds(start));
  }
}

const int registered = [] {
  for (const Other &o : kOther) {
    const std::string n = o.name;
    benchmark::RegisterBenchmark(("Compile/" + n).c_str(), compile_time, n)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(0.3);
    benchmark::RegisterBenchmark(("CompiledCase/" + n).c_str(), compiled_cases, n)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(0.3);
    benchmark::RegisterBenchmark(("TargetedFirst/" + n).c_str(), first_answer, n)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(0.2);
    benchmark::RegisterBenchmark(("TargetedCase/" + n).c_str(), targeted_cases, n)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(0.3);
  }
  return 0;
}();

class CollectingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs)
      if (run.run_type == Run::RT_Iteration && !run.error_occurred)
        ms[run.benchmark_name()] = run.GetAdjustedRealTime();  // milliseconds (the unit above)
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> ms;
};

void print_table(const std::map<std::string, double> &ms) {
  auto get = [&](const std::string &key) {
    for (const auto &[k, v] : ms)
      if (k.rfind(key, 0) == 0) return v;
    return -1.0;
  };
  std::printf("\n| network | compile ms | targeted first ms | other first ms | compiled case ms | targeted case ms | other case ms |\n");
  std::printf("|---|---|---|---|---|---|---|\n");
  for (const Other &o : kOther) {
    const std::string n = o.name;
    std::printf("| %s | %.3g | %.3g | %.3g | %.3g | %.3g | %.3g |\n", o.name, get("Compile/" + n), get("TargetedFirst/" + n),
                o.first_ms, get("CompiledCase/" + n), get("TargetedCase/" + n), o.case_ms);
  }
}

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  print_table(reporter.ms);
  benchmark::Shutdown();
  return 0;
}
