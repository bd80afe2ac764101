// orvel dot: the network or its junction forest as Graphviz DOT text.
// Network: chance nodes are ellipses (CG nodes double), decisions boxes,
// utilities diamonds, function nodes octagons; observed nodes are shaded and
// beliefs can be drawn as small bars. Forest: cliques with their sizes,
// linked through separator nodes.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "cli.h"

namespace cli {
namespace {

constexpr const char *kHelp =
    "usage: orvel dot NET [--junction-tree] [-e NODE=STATE ...] [--beliefs] [-o FILE]\n"
    "Writes the network as Graphviz DOT (render it with e.g. 'dot -Tpng -o net.png').\n"
    "  --junction-tree, -j    draw the junction forest instead: cliques with their members\n"
    "                         and table sizes, separators between them\n"
    "  -e, --evidence N=S     node N is observed in state S: it is shaded (in the forest:\n"
    "                         the cliques holding it)\n"
    "  --beliefs, -b          compile, propagate the evidence and show each node's beliefs\n"
    "                         as bars (expected utilities for utility nodes)\n"
    "  -o, --output FILE      write to FILE instead of standard output\n";

constexpr int kBarWidth = 60;

std::string quoted(const std::string &text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

std::string html(const std::string &text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string number(const char *format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

struct Picture {
  std::optional<std::string> path;
  std::string output = "-";
  std::vector<std::pair<std::string, std::string>> evidence;
  bool junction_tree = false;
  bool beliefs = false;
};

std::string shape_of(orv_node_t n) {
  switch (orv_node_get_category(n)) {
    case orv_category_decision: return "shape=box";
    case orv_category_utility: return "shape=diamond";
    case orv_category_function: return "shape=octagon";
    default: return orv_node_get_kind(n) == orv_kind_continuous ? "shape=ellipse, peripheries=2" : "shape=ellipse";
  }
}

// An HTML label: the name, then one row per state with a bar and the belief.
std::string belief_label(orv_node_t n) {
  std::string label = "<<TABLE BORDER=\"0\" CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"1\">";
  label += "<TR><TD COLSPAN=\"3\"><B>" + html(orv_node_get_name(n)) + "</B></TD></TR>";
  if (orv_node_get_category(n) == orv_category_utility) {
    label += "<TR><TD COLSPAN=\"3\">EU " + number("%.4g", orv_node_get_expected_utility(n, 0)) + "</TD></TR>";
  } else if (orv_node_get_kind(n) == orv_kind_discrete) {
    const size_t count = orv_node_get_number_of_states(n);
    for (size_t s = 0; s < count; ++s) {
      const double belief = orv_node_get_belief(n, s);
      const int width = static_cast<int>(std::lround(std::fmin(std::fmax(belief, 0.0), 1.0) * kBarWidth));
      label += "<TR><TD ALIGN=\"LEFT\"><FONT POINT-SIZE=\"9\">" + html(orv_node_get_state_label(n, s)) +
               "</FONT></TD><TD ALIGN=\"LEFT\" WIDTH=\"" + std::to_string(kBarWidth) + "\">";
      // A filled cell and an empty one side by side keep the bar left-aligned.
      label += "<TABLE BORDER=\"0\" CELLPADDING=\"0\" CELLSPACING=\"0\"><TR>";
      if (width > 0)
        label += "<TD BGCOLOR=\"#4a7ebb\" WIDTH=\"" + std::to_string(width) + "\" HEIGHT=\"8\" FIXEDSIZE=\"TRUE\"></TD>";
      if (width < kBarWidth)
        label += "<TD WIDTH=\"" + std::to_string(kBarWidth - width) + "\" HEIGHT=\"8\" FIXEDSIZE=\"TRUE\"></TD>";
      label += "</TR></TABLE>";
      label += "</TD><TD ALIGN=\"RIGHT\"><FONT POINT-SIZE=\"9\">" + number("%.3f", belief) + "</FONT></TD></TR>";
    }
  }
  return label + "</TABLE>>";
}

void write_network(std::FILE *out, const Network &net, const Picture &pic, const std::set<orv_node_t> &observed) {
  std::fputs("digraph network {\n  graph [fontname=\"Helvetica\"];\n"
             "  node [fontname=\"Helvetica\", fontsize=11];\n  edge [arrowsize=0.7];\n",
             out);
  for (orv_node_t n : net.nodes()) {
    std::string attributes = shape_of(n);
    if (pic.beliefs) {
      attributes += ", margin=0.05, label=" + belief_label(n);
    } else {
      std::string label = orv_node_get_name(n);
      for (const auto &[name, state] : pic.evidence)
        if (name == label) label += "\n= " + state;
      attributes += ", label=" + quoted(label);
    }
    if (observed.count(n)) attributes += ", style=filled, fillcolor=\"#c8c8c8\"";
    std::fprintf(out, "  %s [%s];\n", quoted(orv_node_get_name(n)).c_str(), attributes.c_str());
  }
  for (orv_node_t n : net.nodes())
    for (orv_node_t *p = orv_node_get_parents(n); p && *p; ++p)
      std::fprintf(out, "  %s -> %s;\n", quoted(orv_node_get_name(*p)).c_str(), quoted(orv_node_get_name(n)).c_str());
  std::fputs("}\n", out);
}

// Table size of a node set: the product of the discrete state counts.
double table_size(const std::vector<orv_node_t> &nodes) {
  double size = 1;
  for (orv_node_t n : nodes)
    if (orv_node_get_kind(n) == orv_kind_discrete) size *= static_cast<double>(orv_node_get_number_of_states(n));
  return size;
}

std::string member_text(const std::vector<orv_node_t> &nodes) {
  std::string text;
  for (std::size_t i = 0; i < nodes.size(); ++i) text += (i ? (i % 4 ? " " : "\n") : "") + std::string(orv_node_get_name(nodes[i]));
  return text;
}

std::vector<orv_node_t> members(orv_clique_t c) {
  std::vector<orv_node_t> nodes;
  for (orv_node_t *m = orv_clique_get_members(c); m && *m; ++m) nodes.push_back(*m);
  return nodes;
}

void write_forest(std::FILE *out, const Network &net, const std::set<orv_node_t> &observed) {
  std::vector<orv_clique_t> cliques;
  for (orv_clique_t c = orv_domain_get_first_clique(net.get()); c; c = orv_clique_get_next(c)) cliques.push_back(c);
  const auto index_of = [&](orv_clique_t c) {
    for (std::size_t i = 0; i < cliques.size(); ++i)
      if (cliques[i] == c) return i;
    return cliques.size();
  };
  std::fputs("graph junction_forest {\n  graph [fontname=\"Helvetica\"];\n"
             "  node [fontname=\"Helvetica\", fontsize=10];\n",
             out);
  for (std::size_t i = 0; i < cliques.size(); ++i) {
    const auto m = members(cliques[i]);
    bool shaded = false;
    for (orv_node_t n : m) shaded = shaded || observed.count(n);
    std::fprintf(out, "  c%zu [shape=box, style=\"rounded%s\", label=%s];\n", i, shaded ? ",filled\", fillcolor=\"#c8c8c8" : "",
                 quoted(member_text(m) + "\nsize " + number("%.0f", table_size(m))).c_str());
  }
  for (std::size_t i = 0; i < cliques.size(); ++i) {
    for (orv_clique_t *nb = orv_clique_get_neighbors(cliques[i]); nb && *nb; ++nb) {
      const std::size_t j = index_of(*nb);
      if (j <= i) continue;
      std::vector<orv_node_t> shared;
      const auto other = members(*nb);
      for (orv_node_t n : members(cliques[i]))
        for (orv_node_t o : other)
          if (n == o) shared.push_back(n);
      std::fprintf(out, "  s%zu_%zu [shape=ellipse, fontsize=9, style=dashed, label=%s];\n", i, j,
                   quoted(member_text(shared) + "\n" + number("%.0f", table_size(shared))).c_str());
      std::fprintf(out, "  c%zu -- s%zu_%zu -- c%zu;\n", i, i, j, j);
    }
  }
  std::fputs("}\n", out);
}

Picture parse(Args &args) {
  Picture pic;
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs(kHelp, stdout);
      std::exit(kExitOk);
    }
    if (args.option("--junction-tree", "-j")) {
      pic.junction_tree = true;
    } else if (args.option("--beliefs", "-b")) {
      pic.beliefs = true;
    } else if (args.option("--evidence", "-e")) {
      pic.evidence.push_back(split_assignment(args.value("-e"), "-e"));
    } else if (args.option("--output", "-o")) {
      pic.output = args.value("--output");
    } else if (!pic.path) {
      pic.path = args.positional();
    } else {
      args.reject();
    }
  }
  if (!pic.path) usage_error("a network file is required (try --help)");
  if (pic.beliefs && pic.junction_tree) usage_error("--beliefs draws the network; it cannot go with --junction-tree");
  return pic;
}

}  // namespace

int run_dot(Args &args) {
  const Picture pic = parse(args);
  Network net(*pic.path);
  std::set<orv_node_t> observed;
  for (const auto &[name, label] : pic.evidence) {
    orv_node_t n = net.node(name);
    const std::size_t state = state_index(n, label);
    observed.insert(n);
    if (pic.beliefs && orv_node_select_state(n, state) != orv_error_none)
      check_engine("cannot enter evidence on '" + name + "'");
  }
  if (pic.beliefs) {
    if (orv_domain_compile(net.get()) != orv_error_none) check_engine("compilation failed");
    const orv_status_t status = orv_domain_propagate(net.get(), orv_equilibrium_sum, orv_mode_normal);
    if (status == orv_error_inconsistency_or_underflow)
      failure("the evidence is impossible: it has zero probability in this network");
    if (status != orv_error_none) check_engine("propagation failed");
  }
  if (pic.junction_tree && orv_domain_triangulate(net.get(), orv_tm_best_greedy) != orv_error_none)
    check_engine("triangulation failed");
  std::FILE *out = pic.output == "-" ? stdout : std::fopen(pic.output.c_str(), "w");
  if (!out) failure("cannot write '" + pic.output + "'");
  if (pic.junction_tree)
    write_forest(out, net, observed);
  else
    write_network(out, net, pic, observed);
  if (out != stdout ? std::fclose(out) != 0 : std::fflush(out) != 0) failure("cannot write '" + pic.output + "'");
  return kExitOk;
}

}  // namespace cli
