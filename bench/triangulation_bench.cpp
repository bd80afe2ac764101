// Triangulation of the benchmark networks with each heuristic and with best
// greedy: time per run, and as counters the total clique weight (the cost
// the heuristics minimise) and the clique count. The baseline is the fixed
// part of every run: moralization and the prime-component split.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "compile/compiled_domain.h"
#include "compile/moralize.h"
#include "compile/prime_components.h"
#include "orvel.h"

namespace {

struct Network {
  std::string name;
  orv_domain_t domain;
};

std::vector<Network> &networks() {
  static std::vector<Network> loaded;
  return loaded;
}

const std::pair<orv_triangulation_method_t, const char *> kMethods[] = {
    {orv_tm_clique_size, "clique_size"},     {orv_tm_clique_weight, "clique_weight"},
    {orv_tm_fill_in_size, "fill_in_size"},   {orv_tm_fill_in_weight, "fill_in_weight"},
    {orv_tm_best_greedy, "best_greedy"}};

void triangulate(benchmark::State &state, orv_domain_t d, orv_triangulation_method_t method) {
  double cost = 0.0, cliques = 0.0;
  for (auto _ : state) {
    orv::uncompile(d);
    if (orv_domain_triangulate(d, method) != orv_error_none) {
      state.SkipWithError("triangulation failed");
      return;
    }
    const orv::CompiledDomain *compiled = orv::compiled_domain(d);
    cost = compiled->cost;
    cliques = static_cast<double>(compiled->cliques.size());
    benchmark::DoNotOptimize(compiled);
  }
  state.counters["cost"] = cost;
  state.counters["cliques"] = cliques;
}

void moral_graph_baseline(benchmark::State &state, orv_domain_t d) {
  for (auto _ : state) {
    orv::CompiledDomain compiled;
    orv::_orv_domain_moralize(d, compiled, nullptr);
    auto components = orv::find_prime_components(compiled.moral_graph);
    benchmark::DoNotOptimize(components.data());
  }
}

void report_parse_error(size_t location, const char *message, void *) {
  std::fprintf(stderr, "%zu: %s\n", location, message);
}

// The cost table: one row per network, one column per method.
void print_cost_table() {
  std::printf("%-12s %6s", "network", "nodes");
  for (auto [method, name] : kMethods) std::printf(" %16s", name);
  std::printf("\n");
  for (const Network &net : networks()) {
    std::printf("%-12s %6zu", net.name.c_str(), net.domain->node_count);
    for (auto [method, name] : kMethods) {
      orv::uncompile(net.domain);
      orv_domain_triangulate(net.domain, method);
      std::printf(" %16.0f", orv::compiled_domain(net.domain)->cost);
    }
    std::printf("\n");
  }
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char **argv) {
  const std::filesystem::path dir = std::filesystem::path(ORVEL_DATA_DIR) / "networks";
  std::vector<std::filesystem::path> files;
  for (const auto &entry : std::filesystem::directory_iterator(dir))
    if (entry.path().extension() == ".net") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const auto &file : files) {
    if (orv_domain_t d = orv_net_parse_domain(file.c_str(), report_parse_error, nullptr))
      networks().push_back({file.stem().string(), d});
    else
      std::fprintf(stderr, "%s: not loaded (error %d)\n", file.c_str(), static_cast<int>(orv_error_code()));
  }

  for (const Network &net : networks()) {
    benchmark::RegisterBenchmark(("moral_graph/" + net.name).c_str(), moral_graph_baseline, net.domain)
        ->Unit(benchmark::kMicrosecond);
    for (auto [method, name] : kMethods)
      benchmark::RegisterBenchmark((std::string(name) + "/" + net.name).c_str(), triangulate, net.domain, method)
          ->Unit(benchmark::kMicrosecond);
  }
  benchmark::Initialize(&argc, argv);
  print_cost_table();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  for (const Network &net : networks()) orv_domain_delete(net.domain);
  return 0;
}
