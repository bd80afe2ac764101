// KB files against NET text: saving and loading munin and link (exact NET,
// 17 digits, is the text that reads back bit for bit), with the file sizes.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "orvel.h"

namespace {

std::string network(const char *name) { return std::string(ORVEL_DATA_DIR "/networks/") + name + ".net"; }
std::string temp(const char *name, const char *extension) {
  return "/tmp/orvel-kb-bench-" + std::to_string(getpid()) + "-" + name + extension;
}

long file_size(const std::string &path) {
  std::FILE *f = std::fopen(path.c_str(), "rb");
  if (!f) return -1;
  std::fseek(f, 0, SEEK_END);
  const long n = std::ftell(f);
  std::fclose(f);
  return n;
}

// A saved copy of the network in the given form, made once per benchmark.
struct Saved {
  orv_domain_t domain;
  std::string file;
  Saved(const char *name, const char *extension, const char *password) : file(temp(name, extension)) {
    domain = orv_net_parse_domain(network(name).c_str(), nullptr, nullptr);
    if (std::string(extension) == ".kb")
      orv_domain_save_as_kb(domain, file.c_str(), password);
    else
      orv_domain_save_as_net_exact(domain, file.c_str());
  }
  ~Saved() {
    orv_domain_delete(domain);
    std::remove(file.c_str());
  }
};

void load(benchmark::State &state, const char *name, const char *extension, const char *password) {
  Saved saved(name, extension, password);
  const bool kb = std::string(extension) == ".kb";
  for (auto _ : state) {
    orv_domain_t d = kb ? orv_kb_load_domain(saved.file.c_str(), password)
                        : orv_net_parse_domain(saved.file.c_str(), nullptr, nullptr);
    if (!d) state.SkipWithError("load failed");
    orv_domain_delete(d);
  }
  state.counters["file_bytes"] = static_cast<double>(file_size(saved.file));
}

void save(benchmark::State &state, const char *name, const char *extension, const char *password) {
  Saved saved(name, extension, password);
  const bool kb = std::string(extension) == ".kb";
  for (auto _ : state) {
    const orv_status_t s = kb ? orv_domain_save_as_kb(saved.domain, saved.file.c_str(), password)
                              : orv_domain_save_as_net_exact(saved.domain, saved.file.c_str());
    if (s != orv_error_none) state.SkipWithError("save failed");
  }
  state.counters["file_bytes"] = static_cast<double>(file_size(saved.file));
}

}  // namespace

BENCHMARK_CAPTURE(load, munin_net, "munin", ".net", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(load, munin_kb, "munin", ".kb", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(load, munin_kb_sealed, "munin", ".kb", "secret")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(save, munin_net, "munin", ".net", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(save, munin_kb, "munin", ".kb", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(load, link_net, "link", ".net", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(load, link_kb, "link", ".kb", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(save, link_net, "link", ".net", nullptr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(save, link_kb, "link", ".kb", nullptr)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
