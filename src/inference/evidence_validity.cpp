// Free-will validity of entered evidence: a decision may only be
// instantiated, and while a decision is unmade no chance node reachable from
// it through chance children may carry evidence.
#include "inference/evidence_validity.h"

#include "inference/evidence.h"

namespace orv {

namespace {

// Node marks of the walk: unvisited, evidence below, none below. Marks are
// left cleared, as other graph searches expect.
constexpr std::uint64_t kUnvisited = 0, kEvidenceBelow = 1, kNoneBelow = 2;

void clear_marks(orv_domain_s *d) {
  for (orv_node_s *n = d->first_node; n; n = n->next) n->mark = kUnvisited;
}

// Whether some chance child of n, or a chance node below one through chance
// children, has entered evidence; memoised in the marks.
bool evidence_below(orv_node_s *n) {
  if (n->mark != kUnvisited) return n->mark == kEvidenceBelow;
  n->mark = kNoneBelow;
  for (orv_node_s *child : n->children) {
    if (child->category != orv_category_chance) continue;
    if (evidence_is_entered(child) || evidence_below(child)) {
      n->mark = kEvidenceBelow;
      return true;
    }
  }
  return false;
}

bool decisions_valid(orv_junction_tree_s *t) {
  for (orv_node_t n : t->nodes) {
    if (n->category != orv_category_decision) continue;
    if (n->is_discrete() && n->selected_state == kFindingVector) return false;
    const bool made = evidence_is_entered(n) || n->state_count == 1;
    if (!made && evidence_below(n)) return false;
  }
  return true;
}

}  // namespace

bool tree_evidence_is_valid(orv_junction_tree_s *t) {
  clear_marks(t->domain);
  const bool valid = decisions_valid(t);
  clear_marks(t->domain);
  return valid;
}

bool _orv_domain_evidence_is_valid(orv_domain_s *d) {
  JunctionForest *f = junction_forest(d);
  if (!f || d->decision_count == 0) return true;
  clear_marks(d);
  bool valid = true;
  for (orv_junction_tree_s *t = f->first_tree; t && valid; t = t->next) valid = decisions_valid(t);
  clear_marks(d);
  return valid;
}

}  // namespace orv
