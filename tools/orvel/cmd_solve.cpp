// orvel solve: compile an influence diagram, improve its policies by single
// policy updating and print every decision's policy and expected utilities.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "cli.h"

namespace cli {
namespace {

constexpr const char *kHelp =
    "usage: orvel solve NET [-e NODE=STATE ...] [--json]\n"
    "Compiles the influence diagram (or LIMID), enters the evidence, improves the policies by\n"
    "single policy updating and prints, for every decision in the order the updates visit them,\n"
    "its policy row by row (one row per configuration of its parents) with the probability of the\n"
    "row and the expected utility of each option in that row (none for an impossible row), the\n"
    "expected utility of each option taken in every row, then the overall expected utility.\n"
    "  -e, --evidence NODE=STATE       the node is observed (or the decision made) in STATE\n"
    "  --json                          print JSON instead of tables\n";

struct Request {
  std::optional<std::string> path;
  std::vector<std::pair<std::string, std::string>> evidence;
  bool json = false;
};

Request parse(Args &args) {
  Request r;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs(kHelp, stdout);
      std::exit(kExitOk);
    }
    if (args.option("--evidence", "-e")) {
      r.evidence.push_back(split_assignment(args.value("-e"), "-e"));
    } else if (args.option("--json")) {
      r.json = true;
    } else if (!r.path) {
      r.path = args.positional();
    } else {
      args.reject();
    }
  }
  if (!r.path) usage_error("a NET file is required (try --help)");
  return r;
}

struct Decision {
  orv_node_t node;
  std::vector<orv_node_t> parents;  // the policy's order
  std::vector<std::string> options;
  std::vector<std::vector<std::string>> rows;  // parent labels per row
  std::vector<std::vector<double>> policy;
  std::vector<double> row_probability;
  std::vector<std::vector<double>> row_utilities;  // per row, per option
  std::vector<double> utilities;  // per option, taken in every row
};

Decision describe(orv_node_t d) {
  Decision out{d, {}, {}, {}, {}, {}, {}, {}};
  orv_table_t table = orv_node_get_table(d);
  for (orv_node_t *n = orv_table_get_nodes(table); *n; ++n)
    if (*n != d) out.parents.push_back(*n);
  const size_t options = orv_node_get_number_of_states(d);
  for (size_t s = 0; s < options; ++s) {
    out.options.push_back(orv_node_get_state_label(d, s));
    out.utilities.push_back(orv_node_get_expected_utility(d, s));
    if (orv_error_code() != orv_error_none) check_engine("expected utilities failed");
  }
  const double *data = orv_table_get_data(table);
  const size_t rows = orv_table_get_size(table) / options;
  std::vector<double> values(orv_table_get_size(table));
  out.row_probability.resize(rows);
  if (orv_node_get_decision_utilities(d, values.data(), out.row_probability.data()) != orv_error_none)
    check_engine("expected utilities failed");
  for (size_t r = 0; r < rows; ++r) {
    std::vector<std::string> labels(out.parents.size());
    for (size_t k = out.parents.size(), rest = r; k-- > 0;) {
      const size_t count = orv_node_get_number_of_states(out.parents[k]);
      labels[k] = orv_node_get_state_label(out.parents[k], rest % count);
      rest /= count;
    }
    out.rows.push_back(labels);
    out.policy.emplace_back(data + r * options, data + (r + 1) * options);
    out.row_utilities.emplace_back(values.begin() + r * options, values.begin() + (r + 1) * options);
  }
  return out;
}

void print_table(const Request &r, const std::vector<Decision> &decisions, double overall) {
  std::printf("network %s\ndecision order:", r.path->c_str());
  for (const auto &d : decisions) std::printf(" %s", orv_node_get_name(d.node));
  std::printf("\n");
  for (const auto &d : decisions) {
    std::printf("\ndecision %s", orv_node_get_name(d.node));
    if (!d.parents.empty()) {
      std::printf(" given");
      for (orv_node_t p : d.parents) std::printf(" %s", orv_node_get_name(p));
    }
    std::printf("\n");
    std::size_t width = 9;  // "every row"
    for (const auto &row : d.rows) {
      std::size_t w = 0;
      for (const auto &label : row) w += label.size() + 1;
      width = std::max(width, w);
    }
    std::size_t column = 10;
    for (const auto &o : d.options) column = std::max(column, o.size() + 6);
    const int c = static_cast<int>(column);
    std::printf("  %-*s%10s", static_cast<int>(width), "", "P(row)");
    for (const auto &o : d.options) std::printf("%*s", c, o.c_str());
    for (const auto &o : d.options) std::printf("%*s", c, ("EU(" + o + ")").c_str());
    std::printf("\n");
    for (std::size_t i = 0; i < d.rows.size(); ++i) {
      std::string key;
      for (const auto &label : d.rows[i]) key += (key.empty() ? "" : " ") + label;
      std::printf("  %-*s%10.4f", static_cast<int>(width), key.empty() ? "-" : key.c_str(), d.row_probability[i]);
      for (double p : d.policy[i]) std::printf("%*.4f", c, p);
      if (d.row_probability[i] > 0.0) {
        for (double u : d.row_utilities[i]) std::printf("%*.6g", c, u);
      } else {
        std::printf("  impossible row (probability 0)");
      }
      std::printf("\n");
    }
    std::printf("  %-*s%10s%*s", static_cast<int>(width), "every row", "", c * static_cast<int>(d.options.size()), "");
    for (double u : d.utilities) std::printf("%*.6g", c, u);
    std::printf("\n");
  }
  std::printf("\noverall expected utility: %.10g\n", overall);
}

void print_json(const Request &r, const std::vector<Decision> &decisions, double overall) {
  std::printf("{\"network\": %s, \"decision_order\": [", json_string(*r.path).c_str());
  for (std::size_t i = 0; i < decisions.size(); ++i)
    std::printf("%s%s", i ? ", " : "", json_string(orv_node_get_name(decisions[i].node)).c_str());
  std::printf("], \"decisions\": {");
  for (std::size_t i = 0; i < decisions.size(); ++i) {
    const Decision &d = decisions[i];
    std::printf("%s%s: {\"parents\": [", i ? ", " : "", json_string(orv_node_get_name(d.node)).c_str());
    for (std::size_t k = 0; k < d.parents.size(); ++k)
      std::printf("%s%s", k ? ", " : "", json_string(orv_node_get_name(d.parents[k])).c_str());
    std::printf("], \"options\": [");
    for (std::size_t k = 0; k < d.options.size(); ++k) std::printf("%s%s", k ? ", " : "", json_string(d.options[k]).c_str());
    std::printf("], \"rows\": [");
    for (std::size_t row = 0; row < d.rows.size(); ++row) {
      std::printf("%s{\"parents\": {", row ? ", " : "");
      for (std::size_t k = 0; k < d.parents.size(); ++k)
        std::printf("%s%s: %s", k ? ", " : "", json_string(orv_node_get_name(d.parents[k])).c_str(),
                    json_string(d.rows[row][k]).c_str());
      std::printf("}, \"policy\": [");
      for (std::size_t k = 0; k < d.policy[row].size(); ++k) std::printf("%s%.17g", k ? ", " : "", d.policy[row][k]);
      std::printf("], \"probability\": %.17g, \"expected_utilities\": ", d.row_probability[row]);
      if (d.row_probability[row] > 0.0) {
        for (std::size_t k = 0; k < d.row_utilities[row].size(); ++k)
          std::printf("%s%.17g", k ? ", " : "[", d.row_utilities[row][k]);
        std::printf("]}");
      } else {
        std::printf("null}");  // the row cannot occur
      }
    }
    std::printf("], \"expected_utilities\": [");
    for (std::size_t k = 0; k < d.utilities.size(); ++k) std::printf("%s%.17g", k ? ", " : "", d.utilities[k]);
    std::printf("]}");
  }
  std::printf("}, \"expected_utility\": %.17g}\n", overall);
}

}  // namespace

int run_solve(Args &args) {
  const Request r = parse(args);
  Network net(*r.path);
  const auto nodes = net.nodes();
  if (std::none_of(nodes.begin(), nodes.end(), [](orv_node_t n) { return orv_node_get_category(n) == orv_category_utility; }))
    failure("the network has no utility nodes");
  if (orv_domain_compile(net.get()) != orv_error_none) check_engine("compilation failed");
  for (const auto &[name, label] : r.evidence) {
    orv_node_t node = net.node(name);
    if (orv_node_select_state(node, state_index(node, label)) != orv_error_none)
      check_engine("cannot enter evidence on '" + name + "'");
  }
  const orv_status_t status = orv_domain_propagate(net.get(), orv_equilibrium_sum, orv_mode_normal);
  if (status == orv_error_invalid_evidence)
    failure("the evidence observes something a decision not yet made can influence");
  if (status == orv_error_inconsistency_or_underflow)
    failure("the evidence is impossible: it has zero probability in this network");
  if (status != orv_error_none) check_engine("propagation failed");
  if (orv_domain_update_policies(net.get()) != orv_error_none) check_engine("policy updating failed");
  std::vector<Decision> decisions;
  for (orv_node_t *d = orv_domain_get_decision_order(net.get()); d && *d; ++d) decisions.push_back(describe(*d));
  const double overall = orv_domain_get_expected_utility(net.get());
  if (orv_error_code() != orv_error_none) check_engine("expected utility failed");
  if (r.json)
    print_json(r, decisions, overall);
  else
    print_table(r, decisions, overall);
  return kExitOk;
}

}  // namespace cli
