// Test-side XMLBIF and UAI writers (see foreign_writers.h).
#include "support/foreign_writers.h"

#include <cstdio>
#include <map>
#include <vector>

namespace orv::test {
namespace {

std::string number(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

std::vector<orv_node_t> nodes_of(orv_domain_t d) {
  std::vector<orv_node_t> nodes;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) nodes.push_back(n);
  return nodes;
}

// Table nodes (parents in table order, then the node) and the data.
std::vector<orv_node_t> table_nodes(orv_node_t n) {
  std::vector<orv_node_t> order;
  for (orv_node_t *m = orv_table_get_nodes(orv_node_get_table(n)); *m; ++m) order.push_back(*m);
  return order;
}

std::string xml_escaped(const char *text) {
  std::string out;
  for (; *text; ++text) {
    if (*text == '<') out += "&lt;";
    else if (*text == '&') out += "&amp;";
    else if (*text == '>') out += "&gt;";
    else out += *text;
  }
  return out;
}

}  // namespace

std::string to_xmlbif(orv_domain_t d) {
  std::string out = "<?xml version=\"1.0\"?>\n<BIF VERSION=\"0.3\">\n<NETWORK>\n<NAME>test</NAME>\n";
  for (orv_node_t n : nodes_of(d)) {
    out += "<VARIABLE TYPE=\"nature\">\n  <NAME>" + xml_escaped(orv_node_get_name(n)) + "</NAME>\n";
    for (size_t s = 0; s < orv_node_get_number_of_states(n); ++s)
      out += "  <OUTCOME>" + xml_escaped(orv_node_get_state_label(n, s)) + "</OUTCOME>\n";
    out += "</VARIABLE>\n";
  }
  for (orv_node_t n : nodes_of(d)) {
    out += "<DEFINITION>\n  <FOR>" + std::string(orv_node_get_name(n)) + "</FOR>\n";
    const auto order = table_nodes(n);
    for (std::size_t i = 0; i + 1 < order.size(); ++i)
      out += "  <GIVEN>" + std::string(orv_node_get_name(order[i])) + "</GIVEN>\n";
    out += "  <TABLE>";
    orv_table_t t = orv_node_get_table(n);
    const double *data = orv_table_get_data(t);
    for (size_t i = 0; i < orv_table_get_size(t); ++i) out += (i ? " " : "") + number(data[i]);
    out += "</TABLE>\n</DEFINITION>\n";
  }
  return out + "</NETWORK>\n</BIF>\n";
}

std::string to_uai(orv_domain_t d) {
  const auto nodes = nodes_of(d);
  std::map<orv_node_t, std::size_t> index;
  std::string out = "BAYES\n" + std::to_string(nodes.size()) + "\n";
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    index[nodes[i]] = i;
    out += (i ? " " : "") + std::to_string(orv_node_get_number_of_states(nodes[i]));
  }
  out += "\n" + std::to_string(nodes.size()) + "\n";
  for (orv_node_t n : nodes) {
    const auto order = table_nodes(n);
    out += std::to_string(order.size());
    for (orv_node_t m : order) out += " " + std::to_string(index[m]);
    out += "\n";
  }
  for (orv_node_t n : nodes) {
    orv_table_t t = orv_node_get_table(n);
    const double *data = orv_table_get_data(t);
    out += "\n" + std::to_string(orv_table_get_size(t)) + "\n";
    for (size_t i = 0; i < orv_table_get_size(t); ++i) out += (i ? " " : "") + number(data[i]);
    out += "\n";
  }
  return out;
}

}  // namespace orv::test
