// Reads "variable NAME {" / "type discrete [ K ]" and
// "probability ( CHILD | P1, P2 ) {" lines; everything else is skipped.
#include "support/bif_structure.h"

#include <fstream>
#include <sstream>
#include <vector>

#include "model/node.h"

namespace orv::test {
namespace {

std::vector<std::string> words_of(std::string line) {
  for (char &c : line)
    if (c == '(' || c == ')' || c == '|' || c == ',' || c == '[' || c == ']' || c == '{' || c == '}' || c == ';')
      c = ' ';
  std::istringstream in(line);
  std::vector<std::string> words;
  for (std::string w; in >> w;) words.push_back(w);
  return words;
}

void link(orv_node_t parent, orv_node_t child) {
  child->parents.insert_discrete_first(parent);
  parent->children.insert_discrete_first(child);
}

}  // namespace

orv_domain_t load_bif_structure(const std::string &path) {
  std::ifstream in(path);
  if (!in) return nullptr;
  orv_domain_t d = orv_new_domain();
  orv_node_t current = nullptr;
  for (std::string line; std::getline(in, line);) {
    const std::vector<std::string> words = words_of(line);
    if (words.size() >= 2 && words[0] == "variable") {
      current = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
      orv_node_set_name(current, words[1].c_str());
    } else if (words.size() >= 3 && words[0] == "type" && words[1] == "discrete" && current) {
      current->state_count = std::stoul(words[2]);
    } else if (words.size() >= 2 && words[0] == "probability") {
      orv_node_t child = orv_domain_get_node_by_name(d, words[1].c_str());
      for (std::size_t i = 2; child && i < words.size(); ++i)
        if (orv_node_t parent = orv_domain_get_node_by_name(d, words[i].c_str())) link(parent, child);
    }
  }
  _orv_reverse_node_and_table_lists(d);  // file order, as a reader leaves it
  return d;
}

}  // namespace orv::test
