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
  // Whether `message` came, each time at `location`.
  bool reported(const std::string &message, size_t location) const {
    bool found = false;
    for (const auto &[at, text] : items)
      if (text == message) {
        if (at != location) return false;
        found = true;
      }
    return found;
  }
  // What a failed check prints: the wanted message and every one received.
  std::string wanted(const std::string &message, size_t location) const {
    std::string text = "\nwanted: " + message + " at " + std::to_string(location) + "\ngot:";
    for (const auto &[at, got] : items) text += "\n  " + got + " at " + std::to_string(at);
    return text;
  }
};

// A table's type, nodes, data and CG data, numbers at `digits` significant digits.
std::string describe_table(const orv_table_s *t, int digits);
// Names of the node's parents, separated by single spaces.
std::string names_of_parents(orv_node_t n);

// Text describing everything the NET format carries; numbers with `digits`
// significant digits.
std::string describe_domain(orv_domain_t d, int digits);

}  // namespace orv::test
