// orvel compile: triangulate with a chosen method, compile, write the log.
#include <cstdio>
#include <cstring>

#include "cli.h"

namespace cli {
namespace {

constexpr const char *kHelp =
    "usage: orvel compile NET [--method METHOD] [--log FILE]\n"
    "Triangulates and compiles the network and writes the compilation log to FILE\n"
    "(standard output when FILE is '-' or not given).\n"
    "METHOD: " METHOD_NAMES "\n";

}  // namespace

int run_compile(Args &args) {
  std::optional<std::string> path;
  std::string log_path = "-";
  orv_triangulation_method_t method = orv_tm_best_greedy;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs(kHelp, stdout);
      return kExitOk;
    }
    if (args.option("--method", "-m")) {
      method = method_named(args.value("--method"));
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
