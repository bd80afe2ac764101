// A marking search over the nodes of one domain: visited nodes are marked
// and queued; the destructor clears every mark it set, so searches leave all
// marks 0 whether they finish or unwind.
#pragma once

#include "model/chain_blocks.h"
#include "model/node.h"

namespace orv {

class MarkedSearch {
 public:
  // Room for every node up front: visiting never allocates.
  explicit MarkedSearch(const orv_domain_s *d) { queue_.reserve(d->node_count + 1); }
  ~MarkedSearch() {
    for (orv_node_s *n : queue_) n->mark = 0;
  }
  MarkedSearch(const MarkedSearch &) = delete;
  MarkedSearch &operator=(const MarkedSearch &) = delete;

  void visit(orv_node_s *n) {
    if (n->mark) return;
    queue_.push_back(n);
    n->mark = 1;
  }
  // Visits n and, when it belongs to a chain block, every other member.
  void visit_unit(orv_node_s *n) {
    if (n->mark) return;
    if (!n->chain_block) return visit(n);
    for (orv_node_s *m : n->chain_block->members) visit(m);
  }
  // The next visited node not yet expanded, or null.
  orv_node_s *next() { return head_ < queue_.size() ? queue_[head_++] : nullptr; }
  const Vector<orv_node_s *> &visited() const { return queue_; }

 private:
  Vector<orv_node_s *> queue_;
  std::size_t head_ = 0;
};

}  // namespace orv
