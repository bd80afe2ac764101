#include "support/domain_fixture.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>

#include "model/node.h"

namespace orv::test {

orv_node_t add_node(orv_domain_t d, const char *name, orv_category_t category, orv_kind_t kind) {
  orv_node_t n = orv_domain_new_node(d, category, kind);
  if (!n || orv_node_set_name(n, name) != orv_error_none)
    throw std::runtime_error(std::string("cannot create node ") + name);
  return n;
}

orv_node_t add_continuous(orv_domain_t d, const char *name) {
  return add_node(d, name, orv_category_chance, orv_kind_continuous);
}

void set_state_count(orv_node_t node, size_t count) {
  if (orv_node_set_number_of_states(node, count) != orv_error_none)
    throw std::runtime_error("cannot set the number of states");
}

void link(orv_node_t parent, orv_node_t child) {
  child->parents.insert_discrete_first(parent);
  parent->children.insert_discrete_first(child);
}

std::vector<std::string> names_of(orv_node_t const *list) {
  std::vector<std::string> names;
  for (; list && *list; ++list) names.emplace_back(orv_node_get_name(*list));
  return names;
}

std::vector<std::string> chain_names(orv_domain_t d) {
  std::vector<std::string> names;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    names.emplace_back(orv_node_get_name(n));
  return names;
}

std::string take_text(char *text) {
  std::string s = text ? text : "";
  std::free(text);
  return s;
}

std::vector<double> table_values(orv_table_t t) {
  const double *data = orv_table_get_data(t);
  return std::vector<double>(data, data + orv_table_get_size(t));
}

std::string read_stream(std::FILE *stream) {
  std::fflush(stream);
  std::rewind(stream);
  std::string text;
  for (int c; (c = std::fgetc(stream)) != EOF;) text.push_back(static_cast<char>(c));
  return text;
}

std::string temp_file(const std::string &name, const std::string &text) {
  const std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

}  // namespace orv::test
