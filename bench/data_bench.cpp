// Data sets: reading and writing 100 MB of generated delimiter-separated
// text (1e6 rows x 10 columns), in MB/s, with the peak memory of a read
// relative to the file size.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "orvel.h"

namespace {

constexpr std::size_t kRows = 1000000;

const std::string &data_file() {
  static const std::string path = [] {
    const std::string p = "/tmp/orvel-data-bench-" + std::to_string(getpid()) + ".csv";
    std::FILE *f = std::fopen(p.c_str(), "w");
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> u(0, 1000);
    const char *labels[] = {"low", "medium", "high", "\"quoted, text\"", ""};
    std::fputs("id,x1,x2,x3,x4,label,count,flag,note,y\n", f);
    for (std::size_t r = 0; r < kRows; ++r)
      std::fprintf(f, "%zu,%.9f,%.9f,%.8f,%.8f,%s,%zu,%s,%s,%.10f\n", r, u(random), u(random), u(random),
                   u(random), labels[r % 4], static_cast<std::size_t>(u(random)), r % 2 ? "true" : "false",
                   labels[(r / 3) % 5], u(random) / 7);
    std::fclose(f);
    return p;
  }();
  return path;
}

std::size_t file_size(const std::string &path) {
  std::FILE *f = std::fopen(path.c_str(), "rb");
  std::fseek(f, 0, SEEK_END);
  const long n = std::ftell(f);
  std::fclose(f);
  return static_cast<std::size_t>(n);
}

double peak_rss_mb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// Runs first: the peak it raises is the read's own.
void BM_ReadFile(benchmark::State &state) {
  const std::string &path = data_file();
  const std::size_t size = file_size(path);
  const double before = peak_rss_mb();
  for (auto _ : state) {
    orv_data_set_t ds = orv_csv_parse_data_set(path.c_str(), ',', nullptr, nullptr);
    if (!ds) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(ds);
    orv_ds_delete(ds);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
  state.counters["file_MB"] = static_cast<double>(size) / 1e6;
  state.counters["peak_MB"] = peak_rss_mb() - before;
  state.counters["peak_per_file"] = (peak_rss_mb() - before) * 1024 * 1024 / static_cast<double>(size);
}
BENCHMARK(BM_ReadFile)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_WriteFile(benchmark::State &state) {
  const std::string &path = data_file();
  const std::size_t size = file_size(path);
  orv_data_set_t ds = orv_csv_parse_data_set(path.c_str(), ',', nullptr, nullptr);
  const std::string out = path + ".out";
  for (auto _ : state)
    if (orv_ds_save(ds, out.c_str(), ',') != 0) state.SkipWithError("write failed");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
  state.counters["same_size"] = file_size(out) == size ? 1 : 0;
  std::remove(out.c_str());
  orv_ds_delete(ds);
}
BENCHMARK(BM_WriteFile)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_WriteString(benchmark::State &state) {
  const std::string &path = data_file();
  orv_data_set_t ds = orv_csv_parse_data_set(path.c_str(), ',', nullptr, nullptr);
  std::size_t bytes = 0;
  for (auto _ : state) {
    char *text = orv_ds_to_csv_string(ds, ',');
    bytes += text ? std::char_traits<char>::length(text) : 0;
    std::free(text);
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
  orv_ds_delete(ds);
}
BENCHMARK(BM_WriteString)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_Describe(benchmark::State &state) {
  orv_data_set_t ds = orv_csv_parse_data_set(data_file().c_str(), ',', nullptr, nullptr);
  for (auto _ : state) {
    benchmark::DoNotOptimize(orv_ds_compute_variance(ds, 1));
    benchmark::DoNotOptimize(orv_ds_compute_kurtosis(ds, 9));
  }
  orv_ds_delete(ds);
  std::remove(data_file().c_str());
}
BENCHMARK(BM_Describe)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
