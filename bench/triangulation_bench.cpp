// Triangulation of the benchmark networks with each heuristic, best greedy
// and total weight: time per run, and as counters the total clique weight
// (the cost the methods minimise) and the clique count. The baseline is the
// fixed part of every run: moralization and the prime-component split. A
// table compares best greedy with total weight (cost and time of one run),
// and munin1 is compiled and propagated once after each of the two.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
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
    {orv_tm_best_greedy, "best_greedy"},     {orv_tm_total_weight, "total_weight"}};

// Best totals known from other tools (randomized greedy and exact-treewidth
// decompositions on the same moral graphs), for the comparison table.
const std::map<std::string, double> kBestKnown = {
    {"munin1", 7.00e7}, {"andes", 2.62e5},  {"mildew", 3.44e6}, {"insurance", 2.39e4}, {"water", 3.03e6},
    {"barley", 1.7140796e7}, {"link", 2.48e7},   {"munin", 1.31e7},  {"diabetes", 9.95e6},  {"alarm", 996}};

// CPU seconds of this process: the machine is shared, so wall time says
// more about the load than about the method.
double cpu_seconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

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

// The cost table: one row per network, one column per heuristic; then best
// greedy against total weight with the time of one triangulation each.
void print_cost_table() {
  std::printf("%-12s %6s", "network", "nodes");
  for (auto [method, name] : kMethods)
    if (method != orv_tm_total_weight) std::printf(" %16s", name);
  std::printf("\n");
  for (const Network &net : networks()) {
    std::printf("%-12s %6zu", net.name.c_str(), net.domain->node_count);
    for (auto [method, name] : kMethods) {
      if (method == orv_tm_total_weight) continue;
      orv::uncompile(net.domain);
      orv_domain_triangulate(net.domain, method);
      std::printf(" %16.0f", orv::compiled_domain(net.domain)->cost);
    }
    std::printf("\n");
  }
  std::printf("\n| network | nodes | best greedy | CPU s | total weight | CPU s | ratio | best known "
              "| vs best known |\n");
  std::printf("|---|---:|---:|---:|---:|---:|---:|---:|---:|\n");
  for (const Network &net : networks()) {
    double cost[2], time[2];
    const orv_triangulation_method_t methods[2] = {orv_tm_best_greedy, orv_tm_total_weight};
    for (int m = 0; m < 2; ++m) {
      orv::uncompile(net.domain);
      const double start = cpu_seconds();
      orv_domain_triangulate(net.domain, methods[m]);
      time[m] = cpu_seconds() - start;
      cost[m] = orv::compiled_domain(net.domain)->cost;
    }
    const auto known = kBestKnown.find(net.name);
    char best[32] = "", versus[32] = "";
    if (known != kBestKnown.end()) {
      std::snprintf(best, sizeof best, "%.3g", known->second);
      std::snprintf(versus, sizeof versus, "%.3f", cost[1] / known->second);
    }
    std::printf("| %s | %zu | %.0f | %.3f | %.0f | %.3f | %.3f | %s | %s |\n", net.name.c_str(),
                net.domain->node_count, cost[0], time[0], cost[1], time[1], cost[1] / cost[0], best, versus);
    std::fflush(stdout);
  }
  orv::uncompile(networks().front().domain);
}

// Triangulation with the method, compilation and one full propagation.
void compile_and_propagate(benchmark::State &state, orv_domain_t d, orv_triangulation_method_t method) {
  for (auto _ : state) {
    orv::uncompile(d);
    if (orv_domain_triangulate(d, method) != orv_error_none || orv_domain_compile(d) != orv_error_none ||
        orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal) != orv_error_none) {
      state.SkipWithError("compilation failed");
      return;
    }
    state.counters["cost"] = orv::compiled_domain(d)->cost;
  }
  orv::uncompile(d);
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
    for (auto [method, name] : kMethods) {
      auto *run = benchmark::RegisterBenchmark((std::string(name) + "/" + net.name).c_str(), triangulate,
                                               net.domain, method)
                      ->Unit(benchmark::kMicrosecond);
      if (method == orv_tm_total_weight) run->Iterations(1);  // seconds per run on the larger networks
    }
    if (net.name == "munin1")
      for (auto [method, name] : {kMethods[4], kMethods[5]})
        benchmark::RegisterBenchmark(("compile_propagate/" + net.name + "/" + name).c_str(), compile_and_propagate,
                                     net.domain, method)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1);
  }
  benchmark::Initialize(&argc, argv);
  print_cost_table();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  for (const Network &net : networks()) orv_domain_delete(net.domain);
  return 0;
}
