// orvel learn: EM learning of the tables of a network from a case data file,
// with a progress line per iteration on stderr; orvel learn-structure: links
// by independence tests, then tables by EM; orvel cases: what a case data
// file holds for a network.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "cli.h"

namespace cli {

namespace {

void print_message(size_t line, const char *message, void *data) {
  std::fprintf(stderr, "%s:%zu: %s\n", static_cast<const char *>(data), line, message);
}

void read_cases(orv_domain_t d, const std::string &path) {
  if (orv_domain_parse_cases(d, path.c_str(), print_message, const_cast<char *>(path.c_str())) != orv_error_none)
    check_engine("cannot read cases from '" + path + "'");
}

struct Progress {
  double previous = 0.0;
};

int report_iteration(double log_likelihood, size_t iteration, void *data) {
  auto *progress = static_cast<Progress *>(data);
  if (iteration == 1)
    std::fprintf(stderr, "iteration %zu: log-likelihood %.10g\n", iteration, log_likelihood);
  else
    std::fprintf(stderr, "iteration %zu: log-likelihood %.10g (change %.3g)\n", iteration, log_likelihood,
                 log_likelihood - progress->previous);
  progress->previous = log_likelihood;
  return 1;
}

double number(const std::string &text, const char *option) {
  char *end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !std::isfinite(value) || value < 0)
    usage_error(std::string("option ") + option + " needs a nonnegative number, not '" + text + "'");
  return value;
}

std::size_t count(const std::string &text, const char *option, std::size_t least) {
  const double value = number(text, option);
  if (value != std::floor(value) || value < static_cast<double>(least))
    usage_error(std::string("option ") + option + " needs a whole number of at least " + std::to_string(least));
  return static_cast<std::size_t>(value);
}

// Learns every chance node that has no experience table yet from scratch
// (experience 0 everywhere): those nodes are what a user asks to learn when
// the network carries no experience at all.
void default_experience(orv_domain_t d) {
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    if (orv_node_has_experience_table(n) == 1) return;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    if (orv_node_get_category(n) == orv_category_chance) orv_node_get_experience_table(n);
}

// The tables a network had mean nothing under learned links (and their zeros
// could make cases impossible): EM starts from uniform tables instead.
void uniform_tables(orv_domain_t d) {
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) {
    if (orv_node_get_kind(n) != orv_kind_discrete) continue;  // CG nodes start at their regressions' zero slopes
    orv_table_t t = orv_node_get_table(n);
    const std::vector<double> data(orv_table_get_size(t), 1.0 / double(orv_node_get_number_of_states(n)));
    if (orv_table_set_data(t, data.data(), 0, data.size()) != orv_error_none) check_engine("cannot reset the tables");
  }
}

}  // namespace

int run_learn(Args &args) {
  std::vector<std::string> paths;
  std::string output;
  double tolerance = -1;
  std::size_t iterations = 0, threads = 1;
  bool have_iterations = false;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs("usage: orvel learn NET DATA [-o OUT.net] [--tolerance T] [--max-iterations N] [--threads K]\n"
                 "Learns the tables of NET from the case data file DATA by EM, using the\n"
                 "experience tables as prior (a network without any learns every chance\n"
                 "node, discrete and continuous), and writes the learned network to OUT.net or stdout.\n"
                 "Each iteration's log-likelihood and change go to stderr.\n",
                 stdout);
      return kExitOk;
    }
    if (args.option("--output", "-o")) output = args.value("-o");
    else if (args.option("--tolerance")) tolerance = number(args.value("--tolerance"), "--tolerance");
    else if (args.option("--max-iterations")) {
      iterations = count(args.value("--max-iterations"), "--max-iterations", 0);
      have_iterations = true;
    } else if (args.option("--threads")) threads = count(args.value("--threads"), "--threads", 1);
    else paths.push_back(*args.positional());
  }
  if (paths.size() != 2) usage_error("expected a network and a case data file (try --help)");
  Network net(paths[0]);
  orv_domain_t d = net.get();
  if (orv_domain_compile(d) != orv_error_none) check_engine("cannot compile '" + paths[0] + "'");
  read_cases(d, paths[1]);
  default_experience(d);
  if (tolerance >= 0) orv_domain_set_log_likelihood_tolerance(d, tolerance);
  if (have_iterations) orv_domain_set_max_number_of_em_iterations(d, iterations);
  orv_domain_set_em_concurrency_level(d, threads);
  Progress progress;
  _orv_domain_set_progress_handler(d, report_iteration, &progress);
  if (orv_domain_learn_tables(d) != orv_error_none) check_engine("learning failed");
  const double log_likelihood = orv_domain_get_log_likelihood(d);
  check_engine("cannot compute the log-likelihood");
  std::fprintf(stderr, "final: log-likelihood %.10g, AIC %.10g, BIC %.10g\n", log_likelihood,
               orv_domain_get_AIC(d), orv_domain_get_BIC(d));
  if (output.empty()) {
    if (orv_domain_write_net(d, stdout) != orv_error_none) check_engine("cannot write the network");
  } else if (orv_domain_save_as_net(d, output.c_str()) != orv_error_none) {
    check_engine("cannot write '" + output + "'");
  }
  return kExitOk;
}

int run_learn_structure(Args &args) {
  std::vector<std::string> paths;
  std::string output;
  double alpha = 0.05;
  std::size_t threads = 1;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs("usage: orvel learn-structure NET DATA [-o OUT.net] [--alpha A] [--threads K]\n"
                 "Learns the links among the nodes of NET (its own links are dropped) from the\n"
                 "case data file DATA by independence tests at significance level A (default\n"
                 "0.05) on K threads, then the tables by EM, and writes the learned network to\n"
                 "OUT.net or stdout. The links found and the time taken go to stderr.\n",
                 stdout);
      return kExitOk;
    }
    if (args.option("--output", "-o")) output = args.value("-o");
    else if (args.option("--alpha")) {
      alpha = number(args.value("--alpha"), "--alpha");
      if (!(alpha > 0.0 && alpha < 1.0)) usage_error("option --alpha needs a number between 0 and 1 (both excluded)");
    } else if (args.option("--threads")) threads = count(args.value("--threads"), "--threads", 1);
    else paths.push_back(*args.positional());
  }
  if (paths.size() != 2) usage_error("expected a network and a case data file (try --help)");
  Network net(paths[0]);
  orv_domain_t d = net.get();
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    while (orv_node_t *parents = orv_node_get_parents(n))
      if (!*parents || orv_node_remove_parent(n, *parents) != orv_error_none) break;
  check_engine("cannot drop the links of '" + paths[0] + "'");
  read_cases(d, paths[1]);
  orv_domain_set_significance_level(d, alpha);
  orv_domain_set_concurrency_level(d, threads);
  orv_domain_set_em_concurrency_level(d, threads);
  const auto start = std::chrono::steady_clock::now();
  if (orv_domain_learn_structure(d) != orv_error_none) check_engine("structure learning failed");
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::size_t links = 0;
  for (orv_node_t n : net.nodes())
    for (orv_node_t *p = orv_node_get_parents(n); *p; ++p, ++links)
      std::fprintf(stderr, "%s -> %s\n", orv_node_get_name(*p), orv_node_get_name(n));
  std::fprintf(stderr, "%zu links learned in %.3f s\n", links, seconds);
  uniform_tables(d);
  if (orv_domain_compile(d) != orv_error_none) check_engine("cannot compile the learned network");
  default_experience(d);
  if (orv_domain_learn_tables(d) != orv_error_none) check_engine("learning the tables failed");
  if (output.empty()) {
    if (orv_domain_write_net(d, stdout) != orv_error_none) check_engine("cannot write the network");
  } else if (orv_domain_save_as_net(d, output.c_str()) != orv_error_none) {
    check_engine("cannot write '" + output + "'");
  }
  return kExitOk;
}

int run_cases(Args &args) {
  std::vector<std::string> paths;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs("usage: orvel cases NET CASES\n"
                 "Reads the case data file CASES for the network NET and prints how many\n"
                 "cases it holds, their total weight and how many are incomplete.\n",
                 stdout);
      return kExitOk;
    }
    paths.push_back(*args.positional());
  }
  if (paths.size() != 2) usage_error("expected a network and a case data file (try --help)");
  Network net(paths[0]);
  orv_domain_t d = net.get();
  read_cases(d, paths[1]);
  const std::size_t n = orv_domain_get_number_of_cases(d);
  std::size_t incomplete = 0, missing = 0, inactive = 0;
  double weight = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const double w = orv_domain_get_case_count(d, i);
    weight += w;
    if (!(w > 0)) ++inactive;
    std::size_t unset = 0;
    for (orv_node_t node = orv_domain_get_first_node(d); node; node = orv_node_get_next(node))
      if (orv_node_get_category(node) == orv_category_chance && orv_node_case_is_set(node, i) == 0) ++unset;
    missing += unset;
    if (unset > 0) ++incomplete;
  }
  std::printf("cases: %zu\ntotal weight: %g\nincomplete: %zu\ninactive (weight 0): %zu\nmissing values: %zu\n", n,
              weight, incomplete, inactive, missing);
  return kExitOk;
}

}  // namespace cli
