// Table kernels against a plain streaming pass: multiplying a separator into
// a clique and sum-marginalizing the clique onto the separator, at 1e3..1e8
// entries and concurrency levels 1 and 2. The counter `vs_stream` is each
// operation's time over that of an in-place read-and-write pass over the
// clique's bytes, measured in the same run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <vector>

#include "model/node.h"
#include "orvel.h"
#include "tables/control.h"
#include "tables/table.h"

namespace {

using Clock = std::chrono::steady_clock;

// The streaming pass: every entry read and written once.
void stream_pass(double *data, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) data[i] = data[i] * 1.0000000001;
  benchmark::DoNotOptimize(data);
  benchmark::ClobberMemory();
}

std::size_t entries(int exponent) {
  std::size_t n = 1;
  for (int i = 0; i < exponent; ++i) n *= 10;
  return n;
}

// Seconds per streaming pass over 10^exponent doubles (best of a few).
double stream_seconds(int exponent) {
  static std::map<int, double> cache;
  auto found = cache.find(exponent);
  if (found != cache.end()) return found->second;
  const std::size_t n = entries(exponent);
  std::vector<double> data(n, 1.0);
  const int repeats = exponent >= 8 ? 3 : exponent >= 6 ? 10 : 200;
  double best = 1e30;
  stream_pass(data.data(), n);  // touch the pages first
  for (int r = 0; r < repeats; ++r) {
    const auto start = Clock::now();
    stream_pass(data.data(), n);
    best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
  }
  return cache[exponent] = best;
}

// A clique of 10-state nodes over 10^exponent entries and a separator over
// half its nodes: the leading ones (shape 0) or every other one (shape 1).
struct CliqueAndSeparator {
  orv_domain_t domain = orv_new_domain();
  orv_table_s *clique = nullptr;
  orv_table_s *separator = nullptr;
  orv_control_s *control = nullptr;

  CliqueAndSeparator(int exponent, int shape, std::size_t level) {
    std::vector<orv_node_t> all, part;
    for (int i = 0; i < exponent; ++i) {
      orv_node_t n = orv_domain_new_node(domain, orv_category_chance, orv_kind_discrete);
      n->state_count = 10;
      all.push_back(n);
      const bool in_separator = shape == 0 ? i < exponent / 2 : i % 2 == 1;
      if (in_separator) part.push_back(n);
    }
    all.push_back(nullptr), part.push_back(nullptr);
    clique = orv::_orv_create_table(domain, all.data(), orv_table_probability, 0, true, false);
    separator = orv::_orv_create_table(domain, part.data(), orv_table_probability, 0, true, false);
    orv_domain_set_concurrency_level(domain, level);
    control = orv::_orv_create_control(clique, nullptr, separator, nullptr, false);
    orv::_orv_setup_control_normal(control);
  }
  ~CliqueAndSeparator() {
    orv::_orv_free_control(control);
    orv::_orv_free_table(clique);
    orv::_orv_free_table(separator);
    orv_domain_delete(domain);
  }
};

template <class Operation>
void run(benchmark::State &state, Operation &&operation) {
  const int exponent = static_cast<int>(state.range(0));
  const std::size_t level = static_cast<std::size_t>(state.range(1));
  const int shape = static_cast<int>(state.range(2));
  const double stream = stream_seconds(exponent);
  CliqueAndSeparator tables(exponent, shape, level);
  double total = 0.0;
  for (auto _ : state) {
    const auto start = Clock::now();
    operation(tables);
    total += std::chrono::duration<double>(Clock::now() - start).count();
  }
  const double per_iteration = total / static_cast<double>(state.iterations());
  state.counters["vs_stream"] = per_iteration / stream;
  state.counters["stream_ms"] = stream * 1e3;
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(tables.clique->size));
}

void BM_Stream(benchmark::State &state) {
  const std::size_t n = entries(static_cast<int>(state.range(0)));
  std::vector<double> data(n, 1.0);
  for (auto _ : state) stream_pass(data.data(), n);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(2 * n * sizeof(double)));
}

void BM_Multiply(benchmark::State &state) {
  run(state, [](CliqueAndSeparator &t) { orv::_orv_combine(t.control); });
}

void BM_SumMarginalize(benchmark::State &state) {
  run(state, [](CliqueAndSeparator &t) {
    orv::_orv_marginalize(t.control, orv_equilibrium_sum, orv_mode_normal);
    benchmark::DoNotOptimize(t.separator->data[0]);
  });
}

// (exponent, concurrency level, shape): both levels everywhere; the
// interleaved shape from 1e6 on; 1e8 once per level.
void sizes(benchmark::internal::Benchmark *b) {
  for (int exponent = 3; exponent <= 8; ++exponent)
    for (int level : {1, 2}) {
      b->Args({exponent, level, 0});
      if (exponent >= 6 && exponent <= 7) b->Args({exponent, level, 1});
    }
}

BENCHMARK(BM_Stream)->DenseRange(3, 8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Multiply)->Apply(sizes)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SumMarginalize)->Apply(sizes)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
