// Compilation and propagation of every network in data/networks: compile
// time, a full sum propagation with evidence, and an incremental propagation
// after one more finding. Each propagation is also reported as a multiple of
// a streaming pass (read and write) over as many doubles as the junction
// forest's total table size, timed in the same run (counter `passes`).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <dirent.h>
#include <string>
#include <vector>

#include "orvel.h"

namespace {

using Clock = std::chrono::steady_clock;

const std::string kNetworks = std::string(ORVEL_DATA_DIR) + "/networks";

std::vector<std::string> network_names() {
  std::vector<std::string> names;
  if (DIR *dir = opendir(kNetworks.c_str())) {
    while (dirent *entry = readdir(dir)) {
      const std::string file = entry->d_name;
      if (file.size() > 4 && file.substr(file.size() - 4) == ".net") names.push_back(file.substr(0, file.size() - 4));
    }
    closedir(dir);
  }
  std::sort(names.begin(), names.end());
  return names;
}

void quiet(size_t, const char *, void *) {}

orv_domain_t parse(const std::string &name) {
  return orv_net_parse_domain((kNetworks + "/" + name + ".net").c_str(), quiet, nullptr);
}

double seconds(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

std::size_t total_size(orv_domain_t d) {
  std::size_t total = 0;
  for (orv_junction_tree_t t = orv_domain_get_first_junction_tree(d); t; t = orv_jt_get_next(t))
    total += orv_jt_get_total_size(t);
  return total;
}

// One read-and-write pass over n doubles.
double stream_seconds(std::vector<double> &buffer) {
  const auto start = Clock::now();
  for (double &x : buffer) x = x * 1.0000000001;
  benchmark::DoNotOptimize(buffer.data());
  benchmark::ClobberMemory();
  return seconds(start);
}

// Evidence that is certainly possible: the most probable state of every
// `stride`-th node, each entered after propagating the previous ones.
std::vector<orv_node_t> enter_likely_evidence(orv_domain_t d, std::size_t stride) {
  std::vector<orv_node_t> observed;
  std::size_t k = 0;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n), ++k) {
    if (k % stride != 0 || orv_node_get_kind(n) != orv_kind_discrete) continue;
    size_t best = 0;
    for (size_t s = 1; s < orv_node_get_number_of_states(n); ++s)
      if (orv_node_get_belief(n, s) > orv_node_get_belief(n, best)) best = s;
    orv_node_select_state(n, best);
    orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal);
    observed.push_back(n);
  }
  return observed;
}

orv_node_t unobserved_node(orv_domain_t d) {
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    if (orv_node_get_kind(n) == orv_kind_discrete && orv_node_evidence_is_entered(n) == 0) return n;
  return nullptr;
}

void report(benchmark::State &state, double operation, double pass, std::size_t iterations, std::size_t size) {
  state.counters["total_size"] = static_cast<double>(size);
  state.counters["passes"] = pass > 0 ? operation / pass : 0.0;
  state.counters["stream_ms"] = 1e3 * pass / static_cast<double>(iterations);
}

void compile_network(benchmark::State &state, const std::string &name) {
  std::size_t size = 0;
  for (auto _ : state) {
    orv_domain_t d = parse(name);
    const auto start = Clock::now();
    if (orv_domain_compile(d) != orv_error_none) state.SkipWithError("compile failed");
    state.SetIterationTime(seconds(start));
    size = total_size(d);
    orv_domain_delete(d);
  }
  state.counters["total_size"] = static_cast<double>(size);
}

void full_propagation(benchmark::State &state, const std::string &name) {
  orv_domain_t d = parse(name);
  if (!d || orv_domain_compile(d) != orv_error_none) {
    state.SkipWithError("cannot compile");
    return;
  }
  enter_likely_evidence(d, 10);
  std::vector<double> buffer(total_size(d), 1.0);
  double operation = 0, pass = 0;
  std::size_t iterations = 0;
  for (auto _ : state) {
    orv_domain_reset_inference_engine(d);
    pass += stream_seconds(buffer);
    const auto start = Clock::now();
    if (orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal) != orv_error_none)
      state.SkipWithError("propagation failed");
    const double t = seconds(start);
    state.SetIterationTime(t);
    operation += t;
    ++iterations;
  }
  report(state, operation, pass, iterations, buffer.size());
  orv_domain_delete(d);
}

void incremental_propagation(benchmark::State &state, const std::string &name) {
  orv_domain_t d = parse(name);
  if (!d || orv_domain_compile(d) != orv_error_none) {
    state.SkipWithError("cannot compile");
    return;
  }
  enter_likely_evidence(d, 10);
  orv_node_t extra = unobserved_node(d);
  std::vector<double> buffer(total_size(d), 1.0);
  double operation = 0, pass = 0;
  std::size_t iterations = 0;
  for (auto _ : state) {
    orv_node_retract_findings(extra);
    orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal);  // back to the base evidence (a reset)
    size_t best = 0;
    for (size_t s = 1; s < orv_node_get_number_of_states(extra); ++s)
      if (orv_node_get_belief(extra, s) > orv_node_get_belief(extra, best)) best = s;
    orv_node_select_state(extra, best);
    pass += stream_seconds(buffer);
    const auto start = Clock::now();
    if (orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal) != orv_error_none)
      state.SkipWithError("propagation failed");
    const double t = seconds(start);
    state.SetIterationTime(t);
    operation += t;
    ++iterations;
  }
  report(state, operation, pass, iterations, buffer.size());
  orv_domain_delete(d);
}

const int registered = [] {
  for (const std::string &name : network_names()) {
    benchmark::RegisterBenchmark(("Compile/" + name).c_str(), compile_network, name)->UseManualTime()->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("Propagate/" + name).c_str(), full_propagation, name)->UseManualTime()->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("Incremental/" + name).c_str(), incremental_propagation, name)->UseManualTime()->Unit(benchmark::kMillisecond);
  }
  return 0;
}();

}  // namespace

BENCHMARK_MAIN();
