// Table kernels against a plain streaming pass: multiplying a separator into
// a clique and sum-marginalizing the clique onto the separator, at 1e3..1e8
// entries and concurrency levels 1 and 2, and a naive marginalization. The counter `vs_stream` is each
// operation's time over that of an in-place read-and-write pass over the
// clique's entries, interleaved with it in the same run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
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

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Each iteration times a streaming pass over the clique's own entries and
// then the operation, so both see the same caches and the same load from
// other processes; the reported time is the operation's.
template <class Operation>
void run(benchmark::State &state, Operation &&operation) {
  const int exponent = static_cast<int>(state.range(0));
  const std::size_t level = static_cast<std::size_t>(state.range(1));
  const int shape = static_cast<int>(state.range(2));
  CliqueAndSeparator tables(exponent, shape, level);
  const std::size_t n = tables.clique->size;
  double operation_total = 0.0, stream_total = 0.0;
  for (auto _ : state) {
    auto start = Clock::now();
    stream_pass(tables.clique->data, n);
    stream_total += seconds_since(start);
    start = Clock::now();
    operation(tables);
    const double elapsed = seconds_since(start);
    operation_total += elapsed;
    state.SetIterationTime(elapsed);
  }
  state.counters["vs_stream"] = operation_total / stream_total;
  state.counters["stream_ms"] =
      stream_total * 1e3 / static_cast<double>(state.iterations());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void BM_Stream(benchmark::State &state) {
  const std::size_t n = entries(static_cast<int>(state.range(0)));
  std::vector<double> data(n, 1.0);
  for (auto _ : state) stream_pass(data.data(), n);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(2 * n * sizeof(double)));
}

// The same pass split over two threads: the speed-up the machine allows.
void BM_StreamTwoThreads(benchmark::State &state) {
  const std::size_t n = entries(static_cast<int>(state.range(0)));
  std::vector<double> data(n, 1.0);
  for (auto _ : state) {
    std::thread helper([&] { stream_pass(data.data(), n / 2); });
    stream_pass(data.data() + n / 2, n - n / 2);
    helper.join();
  }
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

// The naive kernel: per entry, the smaller index recomputed from the full
// configuration of the larger table.
void naive_sum_marginalize(const orv_table_s *clique, orv_table_s *separator) {
  const std::size_t k = clique->discrete_count;
  std::vector<std::size_t> config(k, 0), stride(k, 0), count(k);
  std::size_t product = 1;
  for (std::size_t j = separator->discrete_count; j-- > 0;) {
    stride[static_cast<std::size_t>(clique->nodes.index_of(separator->nodes[j]))] = product;
    product *= separator->nodes[j]->state_count;
  }
  for (std::size_t j = 0; j < k; ++j) count[j] = clique->nodes[j]->state_count;
  std::fill(separator->data, separator->data + separator->size, 0.0);
  for (std::size_t i = 0; i < clique->size; ++i) {
    std::size_t index = 0;
    for (std::size_t j = 0; j < k; ++j) index += config[j] * stride[j];
    separator->data[index] += clique->data[i];
    for (std::size_t j = k; j-- > 0;) {
      if (++config[j] < count[j]) break;
      config[j] = 0;
    }
  }
}

void BM_NaiveSumMarginalize(benchmark::State &state) {
  run(state, [](CliqueAndSeparator &t) {
    naive_sum_marginalize(t.clique, t.separator);
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
BENCHMARK(BM_StreamTwoThreads)->DenseRange(6, 8)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Multiply)->Apply(sizes)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SumMarginalize)->Apply(sizes)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NaiveSumMarginalize)
    ->Args({6, 1, 0})
    ->Args({6, 1, 1})
    ->Args({7, 1, 0})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
