// Structure learning on alarm from 10,000 and 100,000 forward-sampled cases
// (fixed seed) at one and two threads, with the skeleton's precision and
// recall against the generating network as counters.
#include <benchmark/benchmark.h>

#include <set>
#include <string>
#include <utility>

#include "orvel.h"
#include "support/forward_sampler.h"

namespace {

using Links = std::set<std::pair<std::string, std::string>>;

Links links_of(orv_domain_t d) {
  Links links;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    for (orv_node_t *p = orv_node_get_parents(n); *p; ++p) links.emplace(orv_node_get_name(*p), orv_node_get_name(n));
  return links;
}

void drop_links(orv_domain_t d) {
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    while (*orv_node_get_parents(n)) orv_node_remove_parent(n, *orv_node_get_parents(n));
}

void BM_LearnAlarmStructure(benchmark::State &state) {
  const std::string path = std::string(ORVEL_DATA_DIR) + "/networks/alarm.net";
  orv_domain_t truth = orv_net_parse_domain(path.c_str(), nullptr, nullptr);
  orv_domain_t d = orv_net_parse_domain(path.c_str(), nullptr, nullptr);
  const Links true_links = links_of(truth);
  drop_links(d);
  orv::test::store_samples(d, orv::test::forward_sample(truth, static_cast<std::size_t>(state.range(0)), 20261123u));
  orv_domain_set_concurrency_level(d, static_cast<std::size_t>(state.range(1)));
  Links learned;
  for (auto _ : state) {
    state.PauseTiming();
    drop_links(d);
    state.ResumeTiming();
    if (orv_domain_learn_structure(d) != orv_error_none) state.SkipWithError("learning failed");
    state.PauseTiming();
    learned = links_of(d);
    state.ResumeTiming();
  }
  std::size_t found = 0, oriented = 0;
  for (const auto &[p, c] : learned) {
    found += true_links.count({p, c}) + true_links.count({c, p});
    oriented += true_links.count({p, c});
  }
  state.counters["precision"] = learned.empty() ? 0.0 : double(found) / double(learned.size());
  state.counters["recall"] = double(found) / double(true_links.size());
  state.counters["oriented"] = double(oriented);
  orv_domain_delete(d);
  orv_domain_delete(truth);
}
BENCHMARK(BM_LearnAlarmStructure)
    ->Args({10000, 1})
    ->Args({10000, 2})
    ->Args({100000, 1})
    ->Args({100000, 2})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(2);

}  // namespace

BENCHMARK_MAIN();
