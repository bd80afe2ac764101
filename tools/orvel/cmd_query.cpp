// orvel query: beliefs under evidence, either by a targeted query of the named
// nodes (nothing compiled) or by compiling and propagating.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "cli.h"

namespace cli {
namespace {

constexpr const char *kHelp =
    "usage: orvel query NET [-e NODE=STATE ...] [--likelihood NODE=v1,v2,...] [-n NODE ...]\n"
    "                       [--max] [--compiled] [--json] [--class NAME]\n"
    "Prints the beliefs of the nodes named with -n under the evidence, and P(evidence). Named\n"
    "nodes are answered by a targeted query on the part of the network that bears on them;\n"
    "without -n (or with --compiled, --max, or decision, utility or continuous nodes) the network\n"
    "is compiled and propagated, and every node, the expected utilities and the conflict are shown.\n"
    "Continuous nodes are reported by mean, variance and standard deviation; with continuous\n"
    "evidence P(evidence) is a density.\n"
    "  -e, --evidence NODE=STATE       the node is observed in STATE (a number for a continuous node)\n"
    "  --likelihood NODE=v1,v2,...     soft evidence: one nonnegative weight per state\n"
    "  -n, --node NODE                 report this node (repeatable; default: all nodes)\n"
    "  --max                           max-propagation: values are max-marginals\n"
    "  --compiled                      compile and propagate even when nodes are named\n"
    "  --json                          print JSON instead of a table\n"
    "  --class NAME                    for a file of classes: unfold class NAME (default: the last\n"
    "                                  class of the file); its nodes are named like I.J.X\n";

struct Query {
  std::optional<std::string> path;
  std::vector<std::pair<std::string, std::string>> evidence;
  std::vector<std::pair<std::string, std::vector<double>>> likelihoods;
  std::vector<std::string> report;
  bool max = false;
  bool compiled = false;
  bool json = false;
  std::optional<std::string> class_name;
};

// How the beliefs were computed: by a targeted query (no conflict measure
// then) or by propagation in the compiled network.
struct Answer {
  bool targeted = false;
  double log_pe = 0.0;
  std::vector<double> beliefs;  // targeted: the named nodes' states in order
};

std::vector<double> parse_weights(const std::string &node, const std::string &text) {
  std::vector<double> weights;
  std::size_t start = 0;
  while (start <= text.size()) {
    const auto comma = std::min(text.find(',', start), text.size());
    const std::string item = text.substr(start, comma - start);
    char *end = nullptr;
    const double w = std::strtod(item.c_str(), &end);
    if (item.empty() || *end != '\0' || !(w >= 0) || !std::isfinite(w))
      usage_error("likelihood for '" + node + "': '" + item + "' is not a nonnegative number");
    weights.push_back(w);
    start = comma + 1;
  }
  return weights;
}

Query parse(Args &args) {
  Query q;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs(kHelp, stdout);
      std::exit(kExitOk);
    }
    if (args.option("--evidence", "-e")) {
      q.evidence.push_back(split_assignment(args.value("-e"), "-e"));
    } else if (args.option("--likelihood")) {
      auto [node, values] = split_assignment(args.value("--likelihood"), "--likelihood");
      q.likelihoods.emplace_back(node, parse_weights(node, values));
    } else if (args.option("--node", "-n")) {
      q.report.push_back(args.value("-n"));
    } else if (args.option("--max")) {
      q.max = true;
    } else if (args.option("--compiled")) {
      q.compiled = true;
    } else if (args.option("--class")) {
      q.class_name = args.value("--class");
    } else if (args.option("--json")) {
      q.json = true;
    } else if (!q.path) {
      q.path = args.positional();
    } else {
      args.reject();
    }
  }
  if (!q.path) usage_error("a NET file is required (try --help)");
  return q;
}

void enter_evidence(const Network &net, const Query &q) {
  for (const auto &[name, label] : q.evidence) {
    orv_node_t node = net.node(name);
    if (orv_node_get_kind(node) == orv_kind_continuous) {
      char *end = nullptr;
      const double value = std::strtod(label.c_str(), &end);
      if (*end != '\0' || !std::isfinite(value)) usage_error("value for '" + name + "': '" + label + "' is not a number");
      if (orv_node_enter_value(node, value) != orv_error_none) check_engine("cannot enter the value of '" + name + "'");
      continue;
    }
    if (orv_node_select_state(node, state_index(node, label)) != orv_error_none)
      check_engine("cannot enter evidence on '" + name + "'");
  }
  for (const auto &[name, weights] : q.likelihoods) {
    orv_node_t node = net.node(name);
    if (orv_node_get_kind(node) != orv_kind_discrete) usage_error("node '" + name + "' is not discrete");
    const size_t states = orv_node_get_number_of_states(node);
    if (weights.size() != states)
      usage_error("likelihood for '" + name + "' needs " + std::to_string(states) + " values, got " +
                  std::to_string(weights.size()));
    for (size_t s = 0; s < states; ++s)
      if (orv_node_enter_finding(node, s, weights[s]) != orv_error_none)
        check_engine("cannot enter the likelihood on '" + name + "'");
  }
}

void propagate(const Network &net, const Query &q) {
  const orv_status_t status =
      orv_domain_propagate(net.get(), q.max ? orv_equilibrium_max : orv_equilibrium_sum, orv_mode_normal);
  if (status == orv_error_inconsistency_or_underflow)
    failure("the evidence is impossible: it has zero probability (or density) in this network");
  if (status != orv_error_none) check_engine("propagation failed");
}

struct Row {
  orv_node_t node;
  std::vector<std::pair<std::string, double>> states;  // label and belief
  double utility = NAN;                                // utility nodes
  std::string evidence;
  bool continuous = false;
  double mean = NAN, variance = NAN;
};

std::vector<Row> collect(const Network &net, const Query &q, const Answer &a) {
  std::vector<orv_node_t> nodes;
  if (q.report.empty()) {
    nodes = net.nodes();
  } else {
    for (const auto &name : q.report) nodes.push_back(net.node(name));
  }
  std::vector<Row> rows;
  std::size_t next = 0;  // into a targeted answer's beliefs
  for (orv_node_t n : nodes) {
    Row row{n, {}, NAN, {}};
    if (orv_node_get_category(n) == orv_category_utility) {
      row.utility = orv_node_get_expected_utility(n, 0);
    } else if (orv_node_get_kind(n) == orv_kind_discrete) {
      const size_t count = orv_node_get_number_of_states(n);
      for (size_t s = 0; s < count; ++s)
        row.states.emplace_back(orv_node_get_state_label(n, s), a.targeted ? a.beliefs[next++] : orv_node_get_belief(n, s));
    } else if (orv_node_get_kind(n) == orv_kind_continuous && !q.max) {
      row.continuous = true;
      row.mean = orv_node_get_mean(n);
      row.variance = orv_node_get_variance(n);
    } else {
      continue;
    }
    for (const auto &[name, label] : q.evidence)
      if (name == orv_node_get_name(n)) row.evidence = label;
    for (const auto &l : q.likelihoods)
      if (l.first == orv_node_get_name(n)) row.evidence = "likelihood";
    rows.push_back(std::move(row));
  }
  return rows;
}

void print_table(const Network &net, const Query &q, const Answer &a, const std::vector<Row> &rows) {
  if (a.targeted) {
    std::printf("network %s (targeted query)\n", net.path().c_str());
    std::printf("P(evidence) = %.6g   log P(evidence) = %.6f\n", std::exp(a.log_pe), a.log_pe);
  } else {
    std::printf("network %s (%s propagation)\n", net.path().c_str(), q.max ? "max" : "sum");
  }
  if (!a.targeted && !q.max) {
    const double log_pe = orv_domain_get_log_normalization_constant(net.get());
    const double conflict = orv_domain_get_conflict(net.get());  // undefined with continuous evidence
    std::printf("P(evidence) = %.6g   log P(evidence) = %.6f   conflict = ", std::exp(log_pe), log_pe);
    if (conflict >= 0) std::printf("%.4g\n", conflict);
    else std::printf("n/a\n");
  }
  std::size_t width = 5;
  for (const auto &row : rows)
    for (const auto &s : row.states) width = std::max(width, s.first.size());
  for (const auto &row : rows) {
    std::printf("\n%s", orv_node_get_name(row.node));
    if (!row.evidence.empty()) std::printf("  [evidence: %s]", row.evidence.c_str());
    if (!std::isnan(row.utility)) {
      std::printf("\n  expected utility  %.6g\n", row.utility);
      continue;
    }
    if (row.continuous) {
      std::printf("\n  mean %.6g   variance %.6g   SD %.6g\n", row.mean, row.variance, std::sqrt(row.variance));
      continue;
    }
    std::printf("\n");
    for (const auto &[label, belief] : row.states)
      std::printf("  %-*s  %.6f  %s\n", static_cast<int>(width), label.c_str(), belief, bar(belief, 30).c_str());
  }
}

void print_json(const Network &net, const Query &q, const Answer &a, const std::vector<Row> &rows) {
  std::printf("{\"network\": %s, \"path\": \"%s\", \"equilibrium\": \"%s\"", json_string(net.path()).c_str(),
              a.targeted ? "targeted" : "compiled", q.max ? "max" : "sum");
  if (a.targeted) {
    std::printf(", \"log_pe\": %.17g, \"pe\": %.17g", a.log_pe, std::exp(a.log_pe));
  } else if (!q.max) {
    const double log_pe = orv_domain_get_log_normalization_constant(net.get());
    const double conflict = orv_domain_get_conflict(net.get());
    std::printf(", \"log_pe\": %.17g, \"pe\": %.17g, \"conflict\": ", log_pe, std::exp(log_pe));
    if (conflict >= 0) std::printf("%.17g", conflict);
    else std::printf("null");
  }
  std::printf(", \"evidence\": {");
  for (std::size_t i = 0; i < q.evidence.size(); ++i) {
    const auto &[name, value] = q.evidence[i];
    const bool number = orv_node_get_kind(net.node(name)) == orv_kind_continuous;
    std::printf("%s%s: ", i ? ", " : "", json_string(name).c_str());
    if (number) std::printf("%.17g", std::strtod(value.c_str(), nullptr));
    else std::printf("%s", json_string(value).c_str());
  }
  std::printf("}, \"beliefs\": {");
  bool first = true;
  for (const auto &row : rows) {
    if (!std::isnan(row.utility)) continue;
    std::printf("%s%s: {", first ? "" : ", ", json_string(orv_node_get_name(row.node)).c_str());
    first = false;
    if (row.continuous)
      std::printf("\"mean\": %.17g, \"variance\": %.17g, \"sd\": %.17g", row.mean, row.variance,
                  std::sqrt(row.variance));
    for (std::size_t s = 0; s < row.states.size(); ++s)
      std::printf("%s%s: %.17g", s ? ", " : "", json_string(row.states[s].first).c_str(), row.states[s].second);
    std::printf("}");
  }
  std::printf("}, \"expected_utilities\": {");
  first = true;
  for (const auto &row : rows) {
    if (std::isnan(row.utility)) continue;
    std::printf("%s%s: %.17g", first ? "" : ", ", json_string(orv_node_get_name(row.node)).c_str(), row.utility);
    first = false;
  }
  std::printf("}}\n");
}

}  // namespace

// The targeted query of the named nodes; false when the network needs the
// compiled path (decision, utility or continuous nodes, or a named node that
// is neither a discrete chance nor a function node).
bool answer_targeted(const Network &net, const Query &q, Answer &a) {
  std::vector<orv_node_t> nodes;
  std::size_t states = 0;
  for (const auto &name : q.report) {
    nodes.push_back(net.node(name));
    if (orv_node_get_kind(nodes.back()) == orv_kind_discrete) states += orv_node_get_number_of_states(nodes.back());
  }
  nodes.push_back(nullptr);
  a.beliefs.assign(states, 0.0);
  const orv_status_t status = orv_domain_query_beliefs(net.get(), nodes.data(), a.beliefs.data(), &a.log_pe);
  if (status == orv_error_usage) return false;
  if (status == orv_error_inconsistency_or_underflow)
    failure("the evidence is impossible: it has zero probability in this network");
  if (status != orv_error_none) check_engine("the query failed");
  a.targeted = true;
  return true;
}

int run_query(Args &args) {
  const Query q = parse(args);
  Network net(*q.path, q.class_name);
  Answer a;
  const bool targeted = !q.report.empty() && !q.compiled && !q.max;
  if (targeted) enter_evidence(net, q);
  if (!targeted || !answer_targeted(net, q, a)) {
    orv_domain_retract_findings(net.get());  // compile without evidence, then enter it
    if (orv_domain_compile(net.get()) != orv_error_none) check_engine("compilation failed");
    enter_evidence(net, q);
    propagate(net, q);
  }
  const auto rows = collect(net, q, a);
  if (q.json)
    print_json(net, q, a, rows);
  else
    print_table(net, q, a, rows);
  return kExitOk;
}

}  // namespace cli
