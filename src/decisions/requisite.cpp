// Requisite parents and ancestors of decisions: the minimal reduction of the
// diagram drops every informational link whose parent is d-separated from
// the utilities below the decision given the decision's other parents and
// the decision itself, until no link can be dropped.
#include "decisions/decision_order.h"
#include "model/node.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {

// The diagram as index lists (node number - 1), so links can be dropped.
struct Graph {
  Vector<orv_node_t> nodes;
  Vector<Vector<std::size_t>> parents, children;

  explicit Graph(orv_domain_s *d) : nodes(d->node_count), parents(d->node_count), children(d->node_count) {
    for (orv_node_s *n = d->first_node; n; n = n->next) nodes[n->number - 1] = n;
    for (orv_node_s *n = d->first_node; n; n = n->next)
      for (orv_node_s *p : n->parents) {
        parents[n->number - 1].push_back(p->number - 1);
        children[p->number - 1].push_back(n->number - 1);
      }
  }

  void drop_link(std::size_t from, std::size_t to) {
    std::erase(parents[to], from);
    std::erase(children[from], to);
  }
};

// Bayes-ball reachability: whether some target is d-connected to `source`
// given `given` (flags per node).
bool d_connected(const Graph &g, std::size_t source, const Vector<unsigned char> &given,
                 const Vector<unsigned char> &target) {
  const std::size_t n = g.nodes.size();
  // Ancestors of the conditioning set (a collider there passes the ball).
  Vector<unsigned char> ancestor(given);
  Vector<std::size_t> stack;
  for (std::size_t i = 0; i < n; ++i)
    if (given[i]) stack.push_back(i);
  while (!stack.empty()) {
    const std::size_t v = stack.back();
    stack.pop_back();
    for (std::size_t p : g.parents[v])
      if (!ancestor[p]) {
        ancestor[p] = 1;
        stack.push_back(p);
      }
  }
  // States: node x 2 (0: arrived from a child / going up, 1: from a parent).
  Vector<unsigned char> seen(2 * n, 0);
  Vector<std::size_t> queue{2 * source};
  seen[2 * source] = 1;
  auto visit = [&](std::size_t v, std::size_t from_parent) {
    if (!seen[2 * v + from_parent]) {
      seen[2 * v + from_parent] = 1;
      queue.push_back(2 * v + from_parent);
    }
  };
  while (!queue.empty()) {
    const std::size_t state = queue.back();
    queue.pop_back();
    const std::size_t v = state / 2;
    const bool down = state % 2 == 1;
    if (!given[v] && target[v]) return true;
    if (!down) {
      if (given[v]) continue;
      for (std::size_t p : g.parents[v]) visit(p, 0);
      for (std::size_t c : g.children[v]) visit(c, 1);
    } else {
      if (!given[v])
        for (std::size_t c : g.children[v]) visit(c, 1);
      if (ancestor[v])
        for (std::size_t p : g.parents[v]) visit(p, 0);
    }
  }
  return false;
}

// Drops the non-requisite informational links of one decision; returns
// whether any was dropped.
bool reduce_decision(Graph &g, std::size_t d) {
  const std::size_t n = g.nodes.size();
  // The utility nodes below the decision.
  Vector<unsigned char> utilities(n, 0), below(n, 0);
  Vector<std::size_t> stack{d};
  while (!stack.empty()) {
    const std::size_t v = stack.back();
    stack.pop_back();
    for (std::size_t c : g.children[v])
      if (!below[c]) {
        below[c] = 1;
        if (g.nodes[c]->category == orv_category_utility) utilities[c] = 1;
        stack.push_back(c);
      }
  }
  bool dropped = false;
  const Vector<std::size_t> parents = g.parents[d];
  for (std::size_t p : parents) {
    Vector<unsigned char> given(n, 0);
    given[d] = 1;
    for (std::size_t q : g.parents[d])
      if (q != p) given[q] = 1;
    if (d_connected(g, p, given, utilities)) continue;
    g.drop_link(p, d);
    dropped = true;
  }
  return dropped;
}

// The minimal reduction: decisions in decision order (the last ones first),
// repeated until no link is dropped.
Graph minimal_reduction(orv_domain_s *d) {
  Graph g(d);
  Vector<orv_node_t> decisions;
  if (JunctionForest *f = junction_forest(d); f && domain_is_compiled(d)) {
    for (orv_node_t const *x = _orv_domain_create_decision_order(*f).order.data(); *x; ++x) decisions.push_back(*x);
  } else {
    for (orv_node_s *n = d->first_node; n; n = n->next)
      if (n->category == orv_category_decision) decisions.push_back(n);
  }
  for (bool dropped = true; dropped;) {
    dropped = false;
    for (orv_node_t x : decisions)
      if (reduce_decision(g, x->number - 1)) dropped = true;
  }
  return g;
}

// Writes the listed nodes into the node's result array, null-terminated.
orv_node_t *node_array(orv_node_s *node, const Graph &g, const Vector<std::size_t> &indexes) {
  NodeArray &result = node->relatives;
  if (_orv_allocate_node_array(&result, size_add(indexes.size(), 1)) != orv_error_none) fail(error_code());
  std::size_t count = 0;
  for (std::size_t i : indexes) result.items[count++] = g.nodes[i];
  result.items[count] = nullptr;
  return result.items;
}

}  // namespace

orv_node_t *requisite_parents(orv_node_s *decision) {
  const Graph g = minimal_reduction(decision->owner);
  // In the node's own parent order.
  Vector<std::size_t> kept;
  const Vector<std::size_t> &reduced = g.parents[decision->number - 1];
  for (orv_node_s *p : decision->parents)
    if (std::find(reduced.begin(), reduced.end(), p->number - 1) != reduced.end()) kept.push_back(p->number - 1);
  return node_array(decision, g, kept);
}

orv_node_t *requisite_ancestors(orv_node_s *decision) {
  const Graph g = minimal_reduction(decision->owner);
  const std::size_t n = g.nodes.size();
  Vector<unsigned char> seen(n, 0);
  Vector<std::size_t> found{decision->number - 1};
  seen[decision->number - 1] = 1;
  for (std::size_t head = 0; head < found.size(); ++head)
    for (std::size_t p : g.parents[found[head]])
      if (!seen[p]) {
        seen[p] = 1;
        found.push_back(p);
      }
  found.erase(found.begin());
  return node_array(decision, g, found);
}

}  // namespace orv

extern "C" {

orv_node_t *orv_node_get_requisite_parents(orv_node_t node) {
  if (!orv::is_node(node) || node->owner->is_class() || node->category != orv_category_decision)
    return orv::usage<orv_node_t *>(nullptr);
  return orv::guarded<orv_node_t *>(nullptr, [&] { return orv::requisite_parents(node); });
}

orv_node_t *orv_node_get_requisite_ancestors(orv_node_t node) {
  if (!orv::is_node(node) || node->owner->is_class() || node->category != orv_category_decision)
    return orv::usage<orv_node_t *>(nullptr);
  return orv::guarded<orv_node_t *>(nullptr, [&] { return orv::requisite_ancestors(node); });
}

}  // extern "C"
