// The C side of the Java binding's cost: the same loops as bench/java/
// BindingBench.java through the shared library's C API, so that the Java
// figures have their baseline. Belief reads on alarm, and the typical request
// (retract, select the reference evidence, propagate, read every belief) on munin.
#include <benchmark/benchmark.h>

#include <algorithm>

#include <string>
#include <vector>

#include "orvel.h"
#include "support/json.h"

namespace {

const std::string kData = ORVEL_DATA_DIR;

struct Compiled {
  orv_domain_t domain;
  std::vector<std::vector<std::pair<orv_node_t, size_t>>> cases;
  explicit Compiled(const std::string &name) {
    domain = orv_net_parse_domain((kData + "/networks/" + name + ".net").c_str(), nullptr, nullptr);
    orv_domain_compile(domain);
    const orv::test::Json ref = orv::test::read_json_file(kData + "/reference/" + name + ".json");
    for (const auto &c : ref["cases"].items) {
      cases.emplace_back();
      for (const auto &[node, label] : c["evidence"].members) {
        orv_node_t n = orv_domain_get_node_by_name(domain, node.c_str());
        cases.back().emplace_back(n, static_cast<size_t>(orv_node_get_state_index_from_label(n, label.text.c_str())));
      }
    }
  }
  ~Compiled() { orv_domain_delete(domain); }
};

// One orv_node_get_belief call per iteration (Java: orvNodeGetBelief).
void BM_NodeGetBelief(benchmark::State &state) {
  Compiled net("alarm");
  orv_node_t node = orv_domain_get_first_node(net.domain);
  double sum = 0;
  for (auto _ : state) {
    sum += orv_node_get_belief(node, 0);
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_NodeGetBelief)->Iterations(10000000);

// One typical request per reference case of munin.
void BM_TypicalRequestMunin(benchmark::State &state) {
  Compiled net("munin");
  double sum = 0;
  for (auto _ : state) {
    for (const auto &c : net.cases) {
      orv_domain_retract_findings(net.domain);
      for (const auto &[node, s] : c) orv_node_select_state(node, s);
      orv_domain_propagate(net.domain, orv_equilibrium_sum, orv_mode_normal);
      for (orv_node_t n = orv_domain_get_first_node(net.domain); n; n = orv_node_get_next(n))
        for (size_t s = 0, k = orv_node_get_number_of_states(n); s < k; ++s) sum += orv_node_get_belief(n, s);
    }
    benchmark::DoNotOptimize(sum);
  }
}
// Single runs, best of 10, as the Java half measures it.
BENCHMARK(BM_TypicalRequestMunin)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(10)
    ->ComputeStatistics("best", [](const std::vector<double> &v) { return *std::min_element(v.begin(), v.end()); });

}  // namespace

BENCHMARK_MAIN();
