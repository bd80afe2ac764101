// Decision order: each decision's successors are the decisions below its
// children; a depth-first post-order over that relation puts the last
// decisions of the model first.
#include "decisions/decision_order.h"
#include "decisions/tree_solver.h"

namespace orv {

namespace {

constexpr std::uint64_t kUnseen = 0, kSeen = 1;

void clear_marks(orv_domain_s *d) {
  for (orv_node_s *n = d->first_node; n; n = n->next) n->mark = kUnseen;
}

// The decisions among the descendants of d's children, in the order a
// depth-first walk finds them.
Vector<orv_node_t> successors(orv_domain_s *domain, orv_node_t d) {
  clear_marks(domain);
  Vector<orv_node_t> found, stack;
  // Children are pushed last first, so that the walk visits them in order.
  auto push_children = [&](orv_node_t n) {
    for (std::size_t k = n->children.size(); k-- > 0;) stack.push_back(n->children[k]);
  };
  push_children(d);
  while (!stack.empty()) {
    orv_node_t n = stack.back();
    stack.pop_back();
    if (n->mark == kSeen) continue;
    n->mark = kSeen;
    if (n->category == orv_category_decision) found.push_back(n);
    push_children(n);
  }
  clear_marks(domain);
  return found;
}

struct Placement {
  Vector<orv_node_t> decisions;             // of the tree, member order
  Vector<Vector<orv_node_t>> successor_of;  // parallel to decisions
  Vector<unsigned char> placed;

  std::size_t index(orv_node_t d) const {
    for (std::size_t i = 0; i < decisions.size(); ++i)
      if (decisions[i] == d) return i;
    return decisions.size();
  }

  void place(std::size_t i, Vector<orv_node_t> &out) {
    if (placed[i]) return;
    placed[i] = 1;
    for (orv_node_t s : successor_of[i]) {
      const std::size_t k = index(s);
      if (k < decisions.size()) place(k, out);
    }
    out.push_back(decisions[i]);
  }
};

}  // namespace

DecisionData &_orv_domain_create_decision_order(JunctionForest &forest) {
  if (forest.decisions) return static_cast<DecisionData &>(*forest.decisions);
  Owned<DecisionData> data = make_owned<DecisionData>();
  for (orv_junction_tree_s *t = forest.first_tree; t; t = t->next) {
    data->tree_first.push_back(data->order.size());
    Placement p;
    for (orv_node_t n : t->nodes)
      if (n->category == orv_category_decision) p.decisions.push_back(n);
    for (orv_node_t d : p.decisions) p.successor_of.push_back(successors(forest.domain, d));
    p.placed.assign(p.decisions.size(), 0);
    for (std::size_t i = 0; i < p.decisions.size(); ++i) p.place(i, data->order);
  }
  data->tree_first.push_back(data->order.size());
  data->family_first.reserve(data->order.size() + 1);
  std::size_t entries = 0;
  for (orv_node_t d : data->order) {
    data->family_first.push_back(entries);
    if (has_compiled_policy(d)) entries += d->table->size;
  }
  data->family_first.push_back(entries);
  data->family_probability.assign(entries, 0.0);
  data->family_weighted.assign(entries, 0.0);
  data->family_serial.assign(forest.tree_count, DecisionData::kNoSerial);
  data->order.push_back(nullptr);
  forest.decisions.reset(data.release());
  return static_cast<DecisionData &>(*forest.decisions);
}

DecisionRange tree_decisions(const DecisionData &data, const JunctionForest &forest,
                             const orv_junction_tree_s *tree) {
  std::size_t k = 0;
  for (const orv_junction_tree_s *t = forest.first_tree; t && t != tree; t = t->next) ++k;
  const orv_node_t *base = data.order.data();
  return {base + data.tree_first[k], base + data.tree_first[k + 1]};
}

}  // namespace orv
