// orvel info: what a network holds, and its junction forest once compiled.
#include <algorithm>
#include <cstdio>

#include "cli.h"

namespace cli {
namespace {

constexpr const char *kHelp =
    "usage: orvel info NET [--no-compile] [--method METHOD] [--class NAME]\n"
    "Lists the nodes by category and kind with their states and parents, then compiles the\n"
    "network and lists its cliques, junction trees and total table size. With --method the\n"
    "network is only triangulated by METHOD (no tables are allocated), so the sizes of a large\n"
    "network can be seen without compiling it.\n"
    "For a file of classes, the classes with their inputs, outputs and instances come first,\n"
    "then the unfolded class NAME (default: the last class of the file).\n"
    "METHOD: " METHOD_NAMES "\n";

std::string list_names(orv_node_t *nodes) {
  std::string text;
  for (orv_node_t *n = nodes; n && *n; ++n) text += std::string(text.empty() ? "" : ", ") + orv_node_get_name(*n);
  return text.empty() ? "-" : text;
}

void print_classes(const Network &net) {
  std::printf("classes in %s\n", net.path().c_str());
  for (orv_class_t *c = orv_cc_get_members(net.classes()); c && *c; ++c) {
    std::printf("class %s\n", orv_class_get_name(*c));
    std::printf("  inputs: %s\n", list_names(orv_class_get_inputs(*c)).c_str());
    std::printf("  outputs: %s\n", list_names(orv_class_get_outputs(*c)).c_str());
    std::string instances;
    for (orv_node_t n = orv_class_get_first_node(*c); n; n = orv_node_get_next(n))
      if (orv_node_get_category(n) == orv_category_instance)
        instances += std::string(instances.empty() ? "" : ", ") + orv_node_get_name(n) + " : " +
                     orv_class_get_name(orv_node_get_instance_class(n));
    std::printf("  instances: %s\n", instances.empty() ? "-" : instances.c_str());
  }
  std::printf("\nunfolded class %s\n", orv_class_get_name(net.unfolded_class()));
}

std::string parent_names(orv_node_t node) {
  std::string text;
  for (orv_node_t *p = orv_node_get_parents(node); p && *p; ++p)
    text += std::string(text.empty() ? "" : ", ") + orv_node_get_name(*p);
  return text.empty() ? "-" : text;
}

std::string state_text(orv_node_t node) {
  if (orv_node_get_kind(node) != orv_kind_discrete) return "-";
  const size_t count = orv_node_get_number_of_states(node);
  std::string text = std::to_string(count) + " (";
  for (size_t s = 0; s < count; ++s) text += std::string(s ? ", " : "") + orv_node_get_state_label(node, s);
  return text + ")";
}

void print_nodes(const Network &net) {
  const auto nodes = net.nodes();
  size_t counts[10] = {0}, discrete = 0, continuous = 0, links = 0, width = 4;
  for (orv_node_t n : nodes) {
    ++counts[orv_node_get_category(n) % 10];
    discrete += orv_node_get_kind(n) == orv_kind_discrete;
    continuous += orv_node_get_kind(n) == orv_kind_continuous;
    for (orv_node_t *p = orv_node_get_parents(n); p && *p; ++p) ++links;
    width = std::max(width, std::string(orv_node_get_name(n)).size());
  }
  std::printf("network %s\n", net.path().c_str());
  std::printf("nodes: %zu (chance %zu, decision %zu, utility %zu, function %zu; discrete %zu, continuous %zu)\n",
              nodes.size(), counts[orv_category_chance], counts[orv_category_decision],
              counts[orv_category_utility], counts[orv_category_function], discrete, continuous);
  std::printf("links: %zu\n\n", links);
  std::printf("%-*s  %-8s  %-10s  %-24s  %s\n", static_cast<int>(width), "node", "category", "kind", "states",
              "parents");
  for (orv_node_t n : nodes)
    std::printf("%-*s  %-8s  %-10s  %-24s  %s\n", static_cast<int>(width), orv_node_get_name(n),
                category_name(orv_node_get_category(n)).c_str(), kind_name(orv_node_get_kind(n)).c_str(),
                state_text(n).c_str(), parent_names(n).c_str());
}

size_t clique_states(orv_clique_t clique) {
  size_t states = 1;
  for (orv_node_t *m = orv_clique_get_members(clique); m && *m; ++m)
    if (orv_node_get_kind(*m) == orv_kind_discrete) states *= orv_node_get_number_of_states(*m);
  return states;
}

// Compiles, or with a method only triangulates (sizes without tables).
void print_forest(const Network &net, std::optional<orv_triangulation_method_t> method) {
  orv_domain_t d = net.get();
  if (method) {
    if (orv_domain_triangulate(d, *method) != orv_error_none) check_engine("triangulation failed");
  } else if (orv_domain_compile(d) != orv_error_none) {
    check_engine("compilation failed");
  }
  size_t trees = 0, total = 0, cliques = 0, largest = 0, states_sum = 0;
  for (orv_junction_tree_t jt = orv_domain_get_first_junction_tree(d); jt; jt = orv_jt_get_next(jt)) {
    ++trees;
    total += orv_jt_get_total_size(jt);
  }
  std::printf("\ncliques:\n");
  for (orv_clique_t c = orv_domain_get_first_clique(d); c; c = orv_clique_get_next(c)) {
    ++cliques;
    const size_t states = clique_states(c);
    largest = std::max(largest, states);
    states_sum += states;
    std::string members;
    for (orv_node_t *m = orv_clique_get_members(c); m && *m; ++m)
      members += std::string(members.empty() ? "" : " ") + orv_node_get_name(*m);
    std::printf("  %4zu  %10zu states  %s\n", cliques, states, members.c_str());
  }
  std::printf(
      "\ncliques: %zu, junction trees: %zu, largest clique: %zu states, clique states: %zu, total table size: %zu\n",
      cliques, trees, largest, states_sum, total);
}

}  // namespace

int run_info(Args &args) {
  std::optional<std::string> path;
  bool compile = true;
  std::optional<orv_triangulation_method_t> method;
  std::optional<std::string> class_name;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs(kHelp, stdout);
      return kExitOk;
    }
    if (args.option("--no-compile")) {
      compile = false;
    } else if (args.option("--class")) {
      class_name = args.value("--class");
    } else if (args.option("--method", "-m")) {
      method = method_named(args.value("--method"));
    } else if (!path) {
      path = args.positional();
    } else {
      args.reject();
    }
  }
  if (!path) usage_error("a NET file is required (try --help)");
  Network net(*path, class_name);
  if (net.classes()) print_classes(net);
  print_nodes(net);
  if (compile) print_forest(net, method);
  return kExitOk;
}

}  // namespace cli
