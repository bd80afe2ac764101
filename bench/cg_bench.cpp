// Compilation and propagation of the CG networks (cg_medium_1..3 and the
// generated network of 100 discrete and 200 continuous nodes), with and
// without continuous evidence. Each propagation is also reported as a
// multiple of a streaming pass (read and write) over as many doubles as the
// forest's total size plus total CG size, timed in the same run (`passes`).
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <vector>

#include "orvel.h"

namespace {

using Clock = std::chrono::steady_clock;

const std::string kNetworks = std::string(ORVEL_DATA_DIR) + "/networks/cg/";
const char *const kNames[] = {"cg_medium_1", "cg_medium_2", "cg_medium_3", "cg_generated"};

void quiet(size_t, const char *, void *) {}

double seconds(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

orv_domain_t parse(const std::string &name) {
  return orv_net_parse_domain((kNetworks + name + ".net").c_str(), quiet, nullptr);
}

struct Sizes {
  std::size_t total = 0, cg = 0;
};

Sizes sizes(orv_domain_t d) {
  Sizes s;
  for (orv_junction_tree_t t = orv_domain_get_first_junction_tree(d); t; t = orv_jt_get_next(t)) {
    s.total += orv_jt_get_total_size(t);
    s.cg += orv_jt_get_total_cg_size(t);
  }
  return s;
}

void report_sizes(benchmark::State &state, const Sizes &s) {
  state.counters["total_size"] = static_cast<double>(s.total);
  state.counters["total_cg_size"] = static_cast<double>(s.cg);
}

void compile_network(benchmark::State &state, const std::string &name) {
  Sizes s;
  for (auto _ : state) {
    orv_domain_t d = parse(name);
    const auto start = Clock::now();
    if (!d || orv_domain_compile(d) != orv_error_none) state.SkipWithError("compile failed");
    state.SetIterationTime(seconds(start));
    if (d) s = sizes(d);
    orv_domain_delete(d);
  }
  report_sizes(state, s);
}

// Every fifth continuous node observed at its prior mean (a value of
// positive density).
void enter_evidence(orv_domain_t d) {
  std::size_t k = 0;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n), ++k)
    if (orv_node_get_kind(n) == orv_kind_continuous && k % 5 == 0) orv_node_enter_value(n, orv_node_get_mean(n));
}

void propagate_network(benchmark::State &state, const std::string &name, bool evidence) {
  orv_domain_t d = parse(name);
  if (!d || orv_domain_compile(d) != orv_error_none) {
    state.SkipWithError("cannot compile");
    if (d) orv_domain_delete(d);
    return;
  }
  if (evidence) enter_evidence(d);
  const Sizes s = sizes(d);
  std::vector<double> buffer(s.total + s.cg, 1.0);
  double operation = 0, pass = 0;
  for (auto _ : state) {
    orv_domain_reset_inference_engine(d);  // untimed: the next propagation starts afresh
    auto start = Clock::now();
    for (double &x : buffer) x = x * 1.0000000001;
    benchmark::DoNotOptimize(buffer.data());
    benchmark::ClobberMemory();
    pass += seconds(start);
    start = Clock::now();
    if (orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal) != orv_error_none)
      state.SkipWithError("propagation failed");
    const double t = seconds(start);
    state.SetIterationTime(t);
    operation += t;
  }
  report_sizes(state, s);
  state.counters["passes"] = pass > 0 ? operation / pass : 0.0;
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * (s.total + s.cg)));
  orv_domain_delete(d);
}

const int registered = [] {
  for (const char *name : kNames) {
    const std::string n = name;
    benchmark::RegisterBenchmark(("CgCompile/" + n).c_str(), compile_network, n)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("CgPropagate/" + n).c_str(), propagate_network, n, false)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("CgPropagateContinuousEvidence/" + n).c_str(), propagate_network, n, true)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  return 0;
}();

}  // namespace

BENCHMARK_MAIN();
