// EM learning on alarm with 10,000 forward-sampled cases (fixed seed): seconds
// per EM iteration with 20 % of the values missing, at one and two worker
// threads, against the baseline of one log-likelihood pass over the same
// cases (entering and propagating each case without collecting counts); and
// complete-data learning, which is a single counting pass.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "orvel.h"

namespace {

const std::string kNetwork = std::string(ORVEL_DATA_DIR) + "/networks/alarm.net";
constexpr std::size_t kCases = 10000;
constexpr double kMissing = 0.2;
constexpr std::size_t kIterations = 3;

struct Learning {
  orv_domain_t d = nullptr;
  std::vector<orv_node_t> nodes;               // parents before children
  std::vector<std::vector<double>> original;   // starting tables

  explicit Learning(double missing) {
    d = orv_net_parse_domain(kNetwork.c_str(), nullptr, nullptr);
    if (!d || orv_domain_compile(d) != orv_error_none) return;
    for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) nodes.push_back(n);
    order_topologically();
    for (orv_node_t n : nodes) {
      orv_node_get_experience_table(n);
      orv_table_t t = orv_node_get_table(n);
      original.emplace_back(orv_table_get_data(t), orv_table_get_data(t) + orv_table_get_size(t));
    }
    sample(missing);
  }
  ~Learning() { orv_domain_delete(d); }

  void order_topologically() {
    std::vector<orv_node_t> sorted;
    std::vector<bool> placed(nodes.size(), false);
    while (sorted.size() < nodes.size())
      for (std::size_t k = 0; k < nodes.size(); ++k) {
        if (placed[k]) continue;
        bool ready = true;
        for (orv_node_t *p = orv_node_get_parents(nodes[k]); *p; ++p)
          for (std::size_t j = 0; j < nodes.size(); ++j)
            if (nodes[j] == *p && !placed[j]) ready = false;
        if (!ready) continue;
        placed[k] = true;
        sorted.push_back(nodes[k]);
      }
    nodes = sorted;
  }

  // Forward sampling from the network's own tables; values hidden at random.
  void sample(double missing) {
    std::mt19937 rng(20261123u);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    orv_domain_set_number_of_cases(d, kCases);
    std::vector<std::size_t> state(nodes.size());
    for (std::size_t i = 0; i < kCases; ++i) {
      for (std::size_t k = 0; k < nodes.size(); ++k) {
        orv_table_t t = orv_node_get_table(nodes[k]);
        orv_node_t *members = orv_table_get_nodes(t);
        std::size_t index = 0;
        for (orv_node_t *m = members; *m != nodes[k]; ++m) {
          std::size_t j = 0;
          while (nodes[j] != *m) ++j;
          index = index * orv_node_get_number_of_states(*m) + state[j];
        }
        const std::size_t states = orv_node_get_number_of_states(nodes[k]);
        const double *row = orv_table_get_data(t) + index * states;
        double u = uniform(rng);
        std::size_t s = 0;
        while (s + 1 < states && u >= row[s]) u -= row[s++];
        state[k] = s;
      }
      for (std::size_t k = 0; k < nodes.size(); ++k)
        if (uniform(rng) >= missing) orv_node_set_case_state(nodes[k], i, state[k]);
    }
  }

  // Puts the starting tables back and brings the domain into equilibrium.
  void restore() {
    for (std::size_t k = 0; k < nodes.size(); ++k) {
      orv_table_t t = orv_node_get_table(nodes[k]);
      std::copy(original[k].begin(), original[k].end(), orv_table_get_data(t));
      std::fill(orv_table_get_data(orv_node_get_experience_table(nodes[k])),
                orv_table_get_data(orv_node_get_experience_table(nodes[k])) +
                    orv_table_get_size(orv_node_get_experience_table(nodes[k])),
                0.0);
      orv_node_touch_table(nodes[k]);
    }
    orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal);
  }
};

Learning &incomplete() {
  static Learning data(kMissing);
  return data;
}

Learning &complete() {
  static Learning data(0.0);
  return data;
}

// Seconds per EM iteration at state.range(0) worker threads.
void BM_EmIteration(benchmark::State &state) {
  Learning &l = incomplete();
  orv_domain_set_em_concurrency_level(l.d, static_cast<std::size_t>(state.range(0)));
  orv_domain_set_max_number_of_em_iterations(l.d, kIterations);
  for (auto _ : state) {
    state.PauseTiming();
    l.restore();
    state.ResumeTiming();
    if (orv_domain_learn_tables(l.d) != orv_error_none) state.SkipWithError("learning failed");
  }
  state.counters["s_per_iteration"] =
      benchmark::Counter(static_cast<double>(state.iterations() * kIterations),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kIterations * kCases));
}
BENCHMARK(BM_EmIteration)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

// Baseline: one pass entering and propagating every case, no counts.
void BM_LogLikelihoodPass(benchmark::State &state) {
  Learning &l = incomplete();
  l.restore();
  for (auto _ : state) {
    orv_node_touch_table(l.nodes[0]);  // drops the cached value
    orv_domain_propagate(l.d, orv_equilibrium_sum, orv_mode_normal);
    benchmark::DoNotOptimize(orv_domain_get_log_likelihood(l.d));
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCases));
}
BENCHMARK(BM_LogLikelihoodPass)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// Complete data: EM ends after one counting pass.
void BM_CompleteDataLearning(benchmark::State &state) {
  Learning &l = complete();
  for (auto _ : state) {
    state.PauseTiming();
    l.restore();
    state.ResumeTiming();
    if (orv_domain_learn_tables(l.d) != orv_error_none) state.SkipWithError("learning failed");
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCases));
}
BENCHMARK(BM_CompleteDataLearning)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

}  // namespace

BENCHMARK_MAIN();
