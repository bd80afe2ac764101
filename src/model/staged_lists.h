// Changes to several node lists, prepared on copies and swapped in at once:
// preparing may fail and then leaves every live list (and its capacity) as
// it was; committing never fails.
#pragma once

#include <utility>

#include "model/node_list.h"

namespace orv {

class StagedLists {
 public:
  // The working copy of a live list, made on first use.
  NodeList &copy_of(NodeList &live) {
    for (auto &entry : lists_)
      if (entry.first == &live) return entry.second;
    lists_.reserve(lists_.size() + 1);
    NodeList copy;
    copy.assign(live.c_list());
    lists_.emplace_back(&live, std::move(copy));
    return lists_.back().second;
  }
  void insert(NodeList &live, orv_node_t node) { copy_of(live).insert_discrete_first(node); }
  void remove(NodeList &live, orv_node_t node) { copy_of(live).remove(node); }

  void commit() noexcept {
    for (auto &entry : lists_) entry.first->swap(entry.second);
  }

 private:
  Vector<std::pair<NodeList *, NodeList>> lists_;
};

}  // namespace orv
