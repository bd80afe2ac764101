// Helpers for NET tests: a message collector for the parsers' error handler
// and a canonical description of a domain (structure, names, labels,
// attributes and table entries at a given precision).
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "orvel.h"

namespace orv::test {

struct Messages {
  std::vector<std::pair<size_t, std::string>> items;
  static void handler(size_t location, const char *message, void *data) {
    static_cast<Messages *>(data)->items.emplace_back(location, message);
  }
  std::string first() const { return items.empty() ? "" : items[0].second; }
};

// Names of the node's parents, separated by single spaces.
std::string names_of_parents(orv_node_t n);

// Text describing everything the NET format carries; numbers with `digits`
// significant digits.
std::string describe_domain(orv_domain_t d, int digits);

}  // namespace orv::test
