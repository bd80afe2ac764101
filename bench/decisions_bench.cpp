// Single policy updating on a generated LIMID of 10 decisions and 60 chance
// nodes (fixed seed): the time of a whole solve, its passes and updates, and
// the time per pass, against the baseline of one full propagation per
// decision (what a pass costs without reusing messages), timed in the same run.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "decisions/spu.h"
#include "runtime/error.h"
#include "orvel.h"

namespace {

constexpr int kStages = 10;        // one decision per stage
constexpr int kChancePerStage = 6;
constexpr std::uint32_t kSeed = 20261123u;

struct Limid {
  orv_domain_t domain = nullptr;
  std::vector<orv_node_t> decisions;
};

// Uniform in [0, 1) from the raw generator, the same on every platform.
double uniform(std::mt19937 &rng) { return static_cast<double>(rng()) / 4294967296.0; }

orv_node_t make_node(orv_domain_t d, orv_category_t category, const std::string &name, std::size_t states) {
  orv_node_t n = orv_domain_new_node(d, category, category == orv_category_utility ? orv_kind_other : orv_kind_discrete);
  orv_node_set_name(n, name.c_str());
  if (category != orv_category_utility) orv_node_set_number_of_states(n, states);
  return n;
}

// Stage i holds X(i,0..5): X(i,j) depends on X(i-1,j) and X(i-1,j+1), and
// X(i,0), X(i,1) on the previous decision too; decision i observes X(i,2) and
// X(i,3) only; utility i depends on decision i and X(i,4).
Limid generate() {
  std::mt19937 rng(kSeed);
  Limid g;
  g.domain = orv_new_domain();
  std::vector<orv_node_t> previous;
  orv_node_t last_decision = nullptr;
  for (int i = 0; i < kStages; ++i) {
    std::vector<orv_node_t> stage;
    for (int j = 0; j < kChancePerStage; ++j) {
      orv_node_t x = make_node(g.domain, orv_category_chance, "X" + std::to_string(i) + "_" + std::to_string(j), 2);
      if (!previous.empty()) {
        orv_node_add_parent(x, previous[j]);
        orv_node_add_parent(x, previous[(j + 1) % kChancePerStage]);
      }
      if (last_decision && j < 2) orv_node_add_parent(x, last_decision);
      stage.push_back(x);
    }
    orv_node_t d = make_node(g.domain, orv_category_decision, "D" + std::to_string(i), 3);
    orv_node_add_parent(d, stage[2]);
    orv_node_add_parent(d, stage[3]);
    orv_table_t policy = orv_node_get_table(d);
    for (std::size_t k = 0; k < orv_table_get_size(policy); ++k) orv_table_get_data(policy)[k] = 1.0 / 3.0;
    orv_node_t u = make_node(g.domain, orv_category_utility, "U" + std::to_string(i), 0);
    orv_node_add_parent(u, d);
    orv_node_add_parent(u, stage[4]);
    for (orv_node_t x : stage) {
      orv_table_t t = orv_node_get_table(x);
      double *data = orv_table_get_data(t);
      for (std::size_t k = 0; k < orv_table_get_size(t); k += 2) {
        const double p = 0.05 + 0.9 * uniform(rng);
        data[k] = p;
        data[k + 1] = 1.0 - p;
      }
    }
    orv_table_t ut = orv_node_get_table(u);
    for (std::size_t k = 0; k < orv_table_get_size(ut); ++k)
      orv_table_get_data(ut)[k] = static_cast<double>(static_cast<int>(rng() % 201) - 100);
    g.decisions.push_back(d);
    previous = stage;
    last_decision = d;
  }
  return g;
}

void uniform_policies(const Limid &g) {
  for (orv_node_t d : g.decisions) {
    orv_table_t t = orv_node_get_table(d);
    double *data = orv_table_get_data(t);
    for (std::size_t k = 0; k < orv_table_get_size(t); ++k) data[k] = 1.0 / 3.0;
    orv_node_touch_table(d);
  }
  const orv_status_t status = orv_domain_propagate(g.domain, orv_equilibrium_sum, orv_mode_normal);
  if (status != orv_error_none) std::fprintf(stderr, "propagate: %s\n", orv_error_name(static_cast<orv_error_t>(status)));
}

struct Counter : orv::PolicyUpdateObserver {
  std::size_t updates = 0, passes = 0;
  void updated(const orv::PolicyUpdate &u) override {
    ++updates;
    passes = u.pass;
  }
};

void BM_SinglePolicyUpdating(benchmark::State &state) {
  Limid g = generate();
  if (orv_domain_compile(g.domain) != orv_error_none) {
    state.SkipWithError("compilation failed");
    return;
  }
  Counter counter;
  double solves = 0;
  for (auto _ : state) {
    state.PauseTiming();
    uniform_policies(g);
    counter = Counter{};
    state.ResumeTiming();
    try {
      orv::update_policies(g.domain, &counter);
    } catch (const orv::Failure &f) {
      state.SkipWithError(orv_error_name(f.code));
      break;
    }
    benchmark::DoNotOptimize(orv_domain_get_expected_utility(g.domain));
    ++solves;
  }
  state.counters["passes"] = static_cast<double>(counter.passes);
  state.counters["updates"] = static_cast<double>(counter.updates);
  state.counters["pass_time"] =
      benchmark::Counter(solves * static_cast<double>(counter.passes), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["expected_utility"] = orv_domain_get_expected_utility(g.domain);
  orv_domain_delete(g.domain);
}
BENCHMARK(BM_SinglePolicyUpdating)->Unit(benchmark::kMillisecond);

// Baseline: a full propagation from freshly loaded tables for every decision,
// the cost of one pass that reuses nothing.
void BM_FullPropagationPerDecision(benchmark::State &state) {
  Limid g = generate();
  if (orv_domain_compile(g.domain) != orv_error_none) {
    state.SkipWithError("compilation failed");
    return;
  }
  for (auto _ : state) {
    for (std::size_t k = 0; k < g.decisions.size(); ++k) {
      orv_domain_reset_inference_engine(g.domain);
      orv_domain_propagate(g.domain, orv_equilibrium_sum, orv_mode_normal);
    }
    benchmark::DoNotOptimize(orv_domain_get_expected_utility(g.domain));
  }
  std::size_t total = 0;
  for (orv_junction_tree_t t = orv_domain_get_first_junction_tree(g.domain); t; t = orv_jt_get_next(t))
    total += orv_jt_get_total_size(t);
  state.counters["forest_size"] = static_cast<double>(total);
  state.counters["decisions"] = static_cast<double>(g.decisions.size());
  orv_domain_delete(g.domain);
}
BENCHMARK(BM_FullPropagationPerDecision)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
