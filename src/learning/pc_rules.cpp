// Orientation of the learning graph: the derived directions R1 to R4, and
// the completion of what is left by the number of table parameters an
// edge would add.
#include "learning/pc.h"
#include "runtime/error.h"

namespace orv {

void LearningGraph::conclude(std::size_t a, std::size_t b) {
  const std::size_t e = edge_at(a, b);
  if (path_exists(b, a)) {
    direct(e, b);
    log("%s <- %s to maintain acyclicity\n", name(a), name(b));
  } else {
    direct(e, a);
    log("%s -> %s\n", name(a), name(b));
  }
}

// c -> a, a - b, c not adjacent to b.
bool LearningGraph::rule1(std::size_t a, std::size_t b) {
  for (std::size_t c = 0; c < n_; ++c)
    if (c != b && directed_from(c, a) && !adjacent(c, b)) {
      log("R1: %s -> %s - %s => ", name(c), name(a), name(b));
      conclude(a, b);
      return true;
    }
  return false;
}

// a - b with a -> c -> b.
bool LearningGraph::rule2(std::size_t a, std::size_t b) {
  for (std::size_t c = 0; c < n_; ++c)
    if (directed_from(a, c) && directed_from(c, b)) {
      log("R2: %s - %s, ", name(a), name(b));
      log("%s -> %s -> %s => ", name(a), name(c), name(b));
      conclude(a, b);
      return true;
    }
  return false;
}

// a - b, a - c1 -> b, a - c2 -> b, c1 and c2 not adjacent.
bool LearningGraph::rule3(std::size_t a, std::size_t b) {
  for (std::size_t c1 = 0; c1 < n_; ++c1) {
    if (!undirected(a, c1) || !directed_from(c1, b)) continue;
    for (std::size_t c2 = c1 + 1; c2 < n_; ++c2) {
      if (!undirected(a, c2) || !directed_from(c2, b) || adjacent(c1, c2)) continue;
      log("R3: %s - %s, ", name(a), name(b));
      log("%s - %s -> %s, ", name(a), name(c1), name(b));
      log("%s - %s -> %s, ", name(a), name(c2), name(b));
      log("not %s - %s, ", name(c1), name(c2));
      log("%s - %s -> %s => ", name(c1), name(c2), name(b));
      conclude(a, b);
      return true;
    }
  }
  return false;
}

// a - b, c adjacent to a, c -> d -> b, c not adjacent to b, a adjacent to d.
bool LearningGraph::rule4(std::size_t a, std::size_t b) {
  for (std::size_t c = 0; c < n_; ++c) {
    if (c == b || !adjacent(a, c) || adjacent(c, b)) continue;
    for (std::size_t d = 0; d < n_; ++d) {
      if (d == a || !directed_from(c, d) || !directed_from(d, b) || !adjacent(a, d)) continue;
      log("R4: %s - %s, ", name(a), name(b));
      log("(%s - %s, ", name(a), name(c));
      log("%s -> %s, or ", name(a), name(c));
      log("%s <- %s), ", name(a), name(c));
      log("%s -> %s -> %s => ", name(c), name(d), name(b));
      conclude(a, b);
      return true;
    }
  }
  return false;
}

// Scans the undirected edges in list order; each firing restarts the scan.
void LearningGraph::derive() {
  for (std::size_t e = 0; e < edges_.size();) {
    if (edges_[e].directed) {
      ++e;
      continue;
    }
    const std::size_t a = edges_[e].a, b = edges_[e].b;
    if (rule1(a, b) || rule1(b, a) || rule2(a, b) || rule2(b, a) || rule3(a, b) || rule3(b, a) || rule4(a, b) ||
        rule4(b, a))
      e = 0;
    else
      ++e;
  }
}

void LearningGraph::identify_derived_directions() {
  if (!derived_logged_) log("\nIdentifying derived directions:\n");
  derived_logged_ = true;
  derive();
}

std::size_t LearningGraph::undirected_degree(std::size_t x) const {
  std::size_t degree = 0;
  for (std::size_t y = 0; y < n_; ++y) degree += undirected(x, y);
  return degree;
}

double LearningGraph::parent_configurations(std::size_t x) const {
  double product = 1.0;
  for (std::size_t y = 0; y < n_; ++y)
    if (directed_from(y, x) && !columns_.continuous(y)) product *= static_cast<double>(columns_.states(y));
  return product;
}

// Table parameters the edge tail -> head adds: a discrete head gets a
// distribution per state of the tail, a continuous one a regression
// coefficient per configuration of its discrete parents.
double LearningGraph::added_parameters(std::size_t tail, std::size_t head) const {
  if (columns_.continuous(head)) return parent_configurations(head);
  const double s_tail = static_cast<double>(columns_.states(tail)), s_head = static_cast<double>(columns_.states(head));
  return s_tail * (s_head - 1.0) * parent_configurations(head);
}

void LearningGraph::complete_orientation() {
  log("\nCompleting orientation:\n");
  for (std::size_t e = 0; e < edges_.size(); ++e) {
    if (edges_[e].directed) continue;
    const std::size_t a = edges_[e].a, b = edges_[e].b;
    const double forward = added_parameters(a, b), backward = added_parameters(b, a);
    std::size_t tail = b, head = a;
    if (forward < backward || (forward == backward && undirected_degree(b) < undirected_degree(a))) {
      tail = a;
      head = b;
    }
    if (path_exists(head, tail)) std::swap(tail, head);
    direct(e, tail);
    log("%s -> %s\n", name(tail), name(head));
    derive();
  }
}

}  // namespace orv
