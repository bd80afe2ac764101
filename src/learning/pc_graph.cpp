// The learning graph: the skeleton from the dependence flags and edge
// constraints, colliders from the separating sets, the check for a DAG
// extension, and the links it finally gives the domain.
#include <cstdarg>

#include "learning/pc.h"
#include "model/links.h"
#include "runtime/error.h"

namespace orv {

orv_edge_constraint_t edge_constraint(const orv_node_s *a, const orv_node_s *b) noexcept {
  for (const EdgeConstraintRecord &r : a->edge_constraints)
    if (r.other == b) return r.code;
  return orv_constraint_none;
}

LearningGraph::LearningGraph(orv_domain_s *d, const CaseColumns &columns, const Vector<PairRecord> &pairs)
    : d_(d), columns_(columns), pairs_(pairs), n_(columns.size()) {
  adjacency_.assign(n_ * n_, kNoEdge);
  seen_.assign(n_, 0);
}

void LearningGraph::log(const char *format, ...) {
  if (!d_->log) return;
  std::va_list arguments;
  va_start(arguments, format);
  const int written = std::vfprintf(d_->log, format, arguments);
  va_end(arguments);
  if (written < 0) fail(orv_error_io);
}

const char *LearningGraph::name(std::size_t v) const { return columns_.node(v)->name.c_str(); }

bool LearningGraph::directed_from(std::size_t x, std::size_t y) const {
  const std::size_t e = edge_at(x, y);
  return e != kNoEdge && edges_[e].directed && edges_[e].a == x;
}

bool LearningGraph::undirected(std::size_t x, std::size_t y) const {
  const std::size_t e = edge_at(x, y);
  return e != kNoEdge && !edges_[e].directed;
}

// Depth-first search along directed edges; seen_ is scratch.
bool LearningGraph::path_exists(std::size_t from, std::size_t to) const {
  std::fill(seen_.begin(), seen_.end(), 0);
  Vector<std::size_t> stack;
  stack.push_back(from);
  seen_[from] = 1;
  while (!stack.empty()) {
    const std::size_t v = stack.back();
    stack.pop_back();
    if (v == to) return true;
    for (std::size_t w = 0; w < n_; ++w)
      if (!seen_[w] && directed_from(v, w)) {
        seen_[w] = 1;
        stack.push_back(w);
      }
  }
  return false;
}

void LearningGraph::add_edge(std::size_t x, std::size_t y, bool directed) {
  edges_.push_back(Edge{static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), directed});
  adjacency_[x * n_ + y] = adjacency_[y * n_ + x] = edges_.size() - 1;
}

void LearningGraph::direct(std::size_t e, std::size_t tail) {
  Edge &edge = edges_[e];
  if (edge.a != tail) std::swap(edge.a, edge.b);
  edge.directed = true;
}

void LearningGraph::identify_skeleton() {
  log("\nIdentifying skeleton:\n");
  for (std::size_t i = 0; i < n_; ++i)
    for (std::size_t j = i + 1; j < n_; ++j) {
      if (pairs_[pair_index(i, j, n_)].dependent <= 0) continue;
      const orv_edge_constraint_t c = edge_constraint(columns_.node(i), columns_.node(j));
      std::size_t tail = i, head = j;
      if (c == orv_constraint_backward_edge_required || c == orv_constraint_forward_edge_forbidden) std::swap(tail, head);
      else if (c != orv_constraint_forward_edge_required && c != orv_constraint_backward_edge_forbidden) {
        if (columns_.continuous(i) == columns_.continuous(j)) {
          add_edge(i, j, false);
        } else {  // a continuous node cannot be the parent of a discrete one
          if (columns_.continuous(i)) std::swap(tail, head);
          add_edge(tail, head, true);
          log("%s -> %s (CG constraint)\n", name(tail), name(head));
        }
        continue;
      }
      if (path_exists(head, tail)) {
        add_edge(head, tail, true);
        log("%s <- %s (constraint violated to maintain acyclicity)\n", name(tail), name(head));
      } else {
        add_edge(tail, head, true);
        log("%s -> %s (constraint)\n", name(tail), name(head));
      }
    }
  log("%s edges out of %s\n", _orv_print_size(d_, edges_.size()), _orv_print_size(d_, n_ * (n_ - 1) / 2));
}

// Whether z belongs to a separating set of (x, y); a pair without any
// separating set (a forbidden edge) gives no collider either.
bool LearningGraph::separated_by(std::size_t x, std::size_t y, std::size_t z) const {
  const PairRecord &record = pairs_[pair_index(x, y, n_)];
  if (record.separators.empty()) return true;
  for (const Vector<std::uint32_t> &s : record.separators)
    for (std::uint32_t v : s)
      if (v == z) return true;
  return false;
}

void LearningGraph::identify_colliders() {
  log("\nIdentifying colliders:\n");
  Vector<std::size_t> incident;
  for (std::size_t z = 0; z < n_; ++z) {
    incident.clear();
    for (std::size_t e = 0; e < edges_.size(); ++e)
      if (edges_[e].a == z || edges_[e].b == z) incident.push_back(e);
    for (std::size_t e1 : incident)
      for (std::size_t e2 : incident) {
        const bool was_undirected = !edges_[e1].directed;
        if (e1 == e2 || !(was_undirected || edges_[e1].b == z) || edges_[e2].directed) continue;
        const std::size_t x = edges_[e1].a == z ? edges_[e1].b : edges_[e1].a;
        const std::size_t y = edges_[e2].a == z ? edges_[e2].b : edges_[e2].a;
        if (adjacent(x, y) || separated_by(x, y, z)) continue;
        direct(e1, x);
        direct(e2, y);
        const char *suffix = "";
        if (path_exists(z, x) || path_exists(z, y)) {
          edges_[e1].directed = !was_undirected;
          edges_[e2].directed = false;
          suffix = ". Ignored to maintain acyclicity";
        }
        log("R0: %s -> %s <- %s%s\n", name(x), name(z), name(y), suffix);
      }
  }
}

// Removes, one at a time, a vertex with no outgoing directed edge whose
// undirected neighbours are adjacent to all its other neighbours.
bool LearningGraph::has_extension() const {
  Vector<unsigned char> gone(n_, 0);
  for (std::size_t left = n_; left > 0; --left) {
    std::size_t found = kSizeSentinel;
    for (std::size_t x = 0; x < n_ && found == kSizeSentinel; ++x) {
      if (gone[x]) continue;
      bool ok = true;
      for (std::size_t y = 0; y < n_ && ok; ++y) {
        if (gone[y] || y == x) continue;
        if (directed_from(x, y)) ok = false;
        else if (undirected(x, y))
          for (std::size_t w = 0; w < n_ && ok; ++w)
            if (w != x && w != y && !gone[w] && adjacent(x, w) && !adjacent(y, w)) ok = false;
      }
      if (ok) found = x;
    }
    if (found == kSizeSentinel) return false;
    gone[found] = 1;
  }
  return true;
}

void LearningGraph::log_extension_check() {
  if (d_->log) log("\nPDAG %s an admissible DAG extension.\n", has_extension() ? "has" : "does not have");
}

void LearningGraph::to_domain() {
  Vector<std::size_t> added;
  added.reserve(edges_.size());
  try {
    for (std::size_t e = 0; e < edges_.size(); ++e) {
      add_parent(columns_.node(edges_[e].b), columns_.node(edges_[e].a));
      added.push_back(e);
    }
  } catch (...) {
    for (std::size_t i = added.size(); i-- > 0;)
      eliminate_parent(columns_.node(edges_[added[i]].b), columns_.node(edges_[added[i]].a), 0);
    // The domain had no links: release what the rolled-back lists grew.
    for (std::size_t v = 0; v < n_; ++v) {
      NodeList().swap(columns_.node(v)->parents);
      NodeList().swap(columns_.node(v)->children);
    }
    throw;
  }
}

}  // namespace orv
