// Small helpers for building domains through the public API in tests.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "orvel.h"

namespace orv::test {

struct DomainDeleter {
  void operator()(orv_domain_t d) const { orv_domain_delete(d); }
};
using DomainPtr = std::unique_ptr<orv_domain_s, DomainDeleter>;

inline DomainPtr new_domain() { return DomainPtr(orv_new_domain()); }

// A class collection owned for a test's scope.
struct Collection {
  Collection() : cc(orv_new_class_collection()) {}
  ~Collection() { orv_cc_delete(cc); }
  size_t size() const {  // the number of classes
    size_t n = 0;
    for (orv_class_t *m = orv_cc_get_members(cc); *m; ++m) ++n;
    return n;
  }
  orv_class_collection_t cc;
};

// The path of a shipped class file.
inline std::string class_file(const char *name) { return std::string(ORVEL_DATA_DIR) + "/classes/" + name; }

// A named node of the given category and kind.
orv_node_t add_node(orv_domain_t d, const char *name, orv_category_t category = orv_category_chance,
                    orv_kind_t kind = orv_kind_discrete);
// A named continuous chance node.
orv_node_t add_continuous(orv_domain_t d, const char *name);

// Gives a discrete node `count` states through the public API.
void set_state_count(orv_node_t node, size_t count);

// Links parent -> child in both lists (the graph half of adding a parent:
// no tables change, no checks run).
void link(orv_node_t parent, orv_node_t child);

// Names of a null-terminated node list, in order.
std::vector<std::string> names_of(orv_node_t const *list);
// Names along the domain's node chain, first node first.
std::vector<std::string> chain_names(orv_domain_t d);

// A string the library handed over, freed ("" for null).
std::string take_text(char *text);

// Entries of a table through the public API.
std::vector<double> table_values(orv_table_t t);

// Everything the stream holds, read from its start.
std::string read_stream(std::FILE *stream);
// Writes `text` to a file of that name in the test's temporary folder; returns its path.
std::string temp_file(const std::string &name, const std::string &text);
// Everything the file holds ("" when it cannot be read).
std::string read_file(const std::string &path);

// Everything written to the domain's log while fn runs.
template <class Fn>
std::string capture_log(orv_domain_t d, Fn fn) {
  std::FILE *log = std::tmpfile();
  orv_domain_set_log_file(d, log);
  fn();
  orv_domain_set_log_file(d, nullptr);
  std::string text = read_stream(log);
  std::fclose(log);
  return text;
}

}  // namespace orv::test
