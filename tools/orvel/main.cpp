// The orvel command: inspect, query, compile, convert and draw networks, and
// learn their tables from case data.
#include <cstdio>
#include <cstring>
#include <string>

#include "cli.h"

namespace {

constexpr const char *kUsage =
    "usage: orvel <command> [arguments]\n"
    "\n"
    "commands:\n"
    "  info NET                      nodes, states and links; cliques after compilation\n"
    "  query NET [options]           enter evidence, propagate and print beliefs\n"
    "  compile NET [options]         triangulate, compile and write the compilation log\n"
    "  convert IN OUT [options]      read a network (NET, KB, BIF, XMLBIF, UAI), write NET, KB or BIF\n"
    "  dot NET [options]             Graphviz picture of the network or its junction forest\n"
    "  learn NET DATA [options]      learn the tables from a case data file by EM\n"
    "  learn-structure NET DATA [options]  learn links, then tables, from a case data file\n"
    "  cases NET DATA                count the cases of a case data file\n"
    "  solve NET [options]           solve an influence diagram: policies and expected utilities\n"
    "  data FILE.csv [options]       describe or discretize a delimiter-separated data file\n"
    "\n"
    "Wherever a NET file is read, a KB file may be given (told by its content); the password\n"
    "of a sealed one is taken from $ORVEL_KB_PASSWORD.\n"
    "Run 'orvel <command> --help' for the options of a command.\n";

int dispatch(const std::string &command, cli::Args &args) {
  if (command == "info") return cli::run_info(args);
  if (command == "query") return cli::run_query(args);
  if (command == "compile") return cli::run_compile(args);
  if (command == "convert") return cli::run_convert(args);
  if (command == "dot") return cli::run_dot(args);
  if (command == "learn") return cli::run_learn(args);
  if (command == "learn-structure") return cli::run_learn_structure(args);
  if (command == "cases") return cli::run_cases(args);
  if (command == "solve") return cli::run_solve(args);
  if (command == "data") return cli::run_data(args);
  cli::usage_error("unknown command '" + command + "' (try 'orvel --help')");
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    std::fputs(kUsage, stderr);
    return cli::kExitUsage;
  }
  const std::string command = argv[1];
  if (command == "--help" || command == "-h" || command == "help") {
    std::fputs(kUsage, stdout);
    return cli::kExitOk;
  }
  try {
    cli::Args args(argc, argv, 2);
    return dispatch(command, args);
  } catch (const cli::Exit &e) {
    std::fprintf(stderr, "orvel %s: %s\n", command.c_str(), e.what());
    return e.code;
  } catch (const std::exception &e) {
    std::fprintf(stderr, "orvel %s: %s\n", command.c_str(), e.what());
    return cli::kExitFailure;
  }
}
