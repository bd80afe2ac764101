// orvel compile: triangulate with a chosen method, compile, write the log;
// or, with --dry-run, report what compiling would allocate.
#include <cstdio>
#include <cstring>
#include <string>

#include "cli.h"

namespace cli {
namespace {

constexpr const char *kHelp =
    "usage: orvel compile NET [--method METHOD] [--log FILE] [--dry-run]\n"
    "Triangulates and compiles the network and writes the compilation log to FILE\n"
    "(standard output when FILE is '-' or not given).\n"
    "  --dry-run   triangulate only and report the clique and separator table sizes and\n"
    "              the memory that compiling would allocate\n"
    "METHOD: " METHOD_NAMES "\n";

std::string byte_text(double bytes) {
  const char *units[] = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB"};
  int unit = 0;
  while (bytes >= 1024 && unit < 5) bytes /= 1024, ++unit;
  char text[64];
  std::snprintf(text, sizeof text, unit ? "%.1f %s" : "%.0f %s", bytes, units[unit]);
  return text;
}

// Triangulates without compiling and prints what compilation would allocate.
int report_estimate(const Network &net, orv_triangulation_method_t method) {
  if (orv_domain_triangulate(net.get(), method) != orv_error_none) check_engine("triangulation failed");
  size_t cliques = 0, separators = 0, bytes = 0;
  if (orv_domain_estimate_compilation(net.get(), &cliques, &separators, &bytes) != orv_error_none) {
    if (orv_error_code() == orv_error_size_too_large)
      failure("the tables would not fit in memory (their size overflows)");
    check_engine("cannot estimate the compilation");
  }
  std::printf("%s: %zu cliques\n", net.path().c_str(), orv_domain_get_number_of_cliques(net.get()));
  std::printf("clique table entries     %zu\n", cliques);
  std::printf("separator table entries  %zu\n", separators);
  std::printf("memory to allocate       %zu bytes (%s)\n", bytes, byte_text(static_cast<double>(bytes)).c_str());
  return kExitOk;
}

}  // namespace

int run_compile(Args &args) {
  std::optional<std::string> path;
  std::string log_path = "-";
  orv_triangulation_method_t method = orv_tm_best_greedy;
  bool dry_run = false;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs(kHelp, stdout);
      return kExitOk;
    }
    if (args.option("--method", "-m")) {
      method = method_named(args.value("--method"));
    } else if (args.option("--dry-run")) {
      dry_run = true;
    } else if (args.option("--log", "-l")) {
      log_path = args.value("--log");
    } else if (!path) {
      path = args.positional();
    } else {
      args.reject();
    }
  }
  if (!path) usage_error("a NET file is required (try --help)");
  Network net(*path);
  if (dry_run) return report_estimate(net, method);
  std::FILE *log = log_path == "-" ? stdout : std::fopen(log_path.c_str(), "w");
  if (!log) failure("cannot write the log to '" + log_path + "': " + std::strerror(errno));
  orv_domain_set_log_file(net.get(), log);
  const bool ok = orv_domain_triangulate(net.get(), method) == orv_error_none &&
                  orv_domain_compile(net.get()) == orv_error_none;
  const orv_error_t code = orv_error_code();
  orv_domain_set_log_file(net.get(), nullptr);
  if (log != stdout && std::fclose(log) != 0) failure("cannot write the log to '" + log_path + "'");
  if (!ok) failure(std::string("compilation failed: ") + orv_error_description(code));
  size_t total = 0, trees = 0;
  for (orv_junction_tree_t jt = orv_domain_get_first_junction_tree(net.get()); jt; jt = orv_jt_get_next(jt)) {
    ++trees;
    total += orv_jt_get_total_size(jt);
  }
  std::fprintf(log_path == "-" ? stderr : stdout, "compiled %s: %zu junction tree%s, total table size %zu\n",
               path->c_str(), trees, trees == 1 ? "" : "s", total);
  return kExitOk;
}

}  // namespace cli
