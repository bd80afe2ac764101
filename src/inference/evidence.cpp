// Evidence entry, retraction and classification on nodes.
#include "inference/evidence.h"

#include <algorithm>

namespace orv {

namespace {

bool counted(const orv_node_s *n) { return n->junction_tree && n->assigned_clique; }

bool finding_vectors_differ(const orv_node_s *n) {
  const double *propagated = n->results ? n->results->propagated_finding : nullptr;
  if (!propagated || n->entered_finding.size() < n->state_count) return true;
  for (std::size_t i = 0; i < n->state_count; ++i)
    if (n->entered_finding[i] != propagated[i]) return true;
  return false;
}

double weight_for_code(long code, const double *finding, std::size_t state) {
  if (code == kNoEvidence) return 1.0;
  if (code >= 0) return static_cast<std::size_t>(code) == state ? 1.0 : 0.0;
  return finding ? finding[state] : 1.0;
}

bool vector_has_likelihood(const double *finding, std::size_t count) {
  if (!finding) return false;
  for (std::size_t i = 0; i < count; ++i)
    if (finding[i] != 0.0 && finding[i] != 1.0) return true;
  return false;
}

}  // namespace

bool evidence_to_propagate(const orv_node_s *n) {
  if (n->is_continuous()) {
    if (n->cg_entered != n->cg_propagated) return true;
    return n->cg_entered && n->cg_value != n->cg_propagated_value;
  }
  if (!n->is_discrete()) return false;
  const long entered = n->selected_state, propagated = n->propagated_state;
  if (entered != propagated) {
    // Selecting the only state of a node tells nothing.
    const bool trivial = n->state_count == 1 && std::min(entered, propagated) == kNoEvidence &&
                         std::max(entered, propagated) == 0;
    return !trivial;
  }
  return entered == kFindingVector && finding_vectors_differ(n);
}

bool evidence_is_entered(const orv_node_s *n) {
  return n->is_continuous() ? n->cg_entered : n->selected_state != kNoEvidence;
}

bool likelihood_is_entered(const orv_node_s *n) {
  return n->is_discrete() && n->selected_state == kFindingVector &&
         vector_has_likelihood(n->entered_finding.data(), std::min(n->entered_finding.size(), n->state_count));
}

bool evidence_is_propagated(const orv_node_s *n) {
  return n->is_continuous() ? n->cg_propagated : n->propagated_state != kNoEvidence;
}

bool likelihood_is_propagated(const orv_node_s *n) {
  return n->is_discrete() && n->propagated_state == kFindingVector && n->results &&
         vector_has_likelihood(n->results->propagated_finding, n->state_count);
}

double entered_weight(const orv_node_s *n, std::size_t state) {
  return weight_for_code(n->selected_state, n->entered_finding.empty() ? nullptr : n->entered_finding.data(),
                         state);
}

double propagated_weight(const orv_node_s *n, std::size_t state) {
  return weight_for_code(n->propagated_state, n->results ? n->results->propagated_finding : nullptr, state);
}

long convert_entered_findings_to_state_index(const double *finding, std::size_t count) {
  std::size_t ones = 0, last_one = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (finding[i] == 1.0) {
      ++ones;
      last_one = i;
    } else if (finding[i] != 0.0) {
      return kFindingVector;
    }
  }
  if (ones == 1) return static_cast<long>(last_one);
  if (ones == count) return kNoEvidence;
  return kFindingVector;
}

EvidenceCountUpdate::EvidenceCountUpdate(orv_node_s *n) : node_(n) {
  if (counted(n) && evidence_to_propagate(n)) --n->junction_tree->evidence_to_propagate;
}

EvidenceCountUpdate::~EvidenceCountUpdate() {
  if (counted(node_) && evidence_to_propagate(node_)) ++node_->junction_tree->evidence_to_propagate;
}

void select_state(orv_node_s *n, std::size_t state) {
  if (n->selected_state == static_cast<long>(state) && !n->value_evidence) return;
  EvidenceCountUpdate update(n);
  n->selected_state = static_cast<long>(state);
  n->value_evidence = false;
}

void enter_finding(orv_node_s *n, std::size_t state, double value) {
  if (n->entered_finding.size() != n->state_count) n->entered_finding.resize(n->state_count);
  EvidenceCountUpdate update(n);
  if (n->selected_state != kFindingVector) {
    for (std::size_t i = 0; i < n->state_count; ++i)
      n->entered_finding[i] = weight_for_code(n->selected_state, nullptr, i);
  }
  n->entered_finding[state] = value;
  n->selected_state = (value != 0.0 && value != 1.0)
                          ? kFindingVector
                          : convert_entered_findings_to_state_index(n->entered_finding.data(), n->state_count);
  n->value_evidence = false;
}

void retract_findings(orv_node_s *n) {
  EvidenceCountUpdate update(n);
  if (n->is_continuous()) {
    n->cg_entered = false;
  } else {
    n->selected_state = kNoEvidence;
    n->value_evidence = false;
  }
}

void enter_continuous_value(orv_node_s *n, double value) {
  EvidenceCountUpdate update(n);
  n->cg_entered = true;
  n->cg_value = value;
}

void _orv_node_copy_evidence(orv_node_s *to, const orv_node_s *from) {
  if (!from || !evidence_is_entered(from)) {
    retract_findings(to);
    return;
  }
  if (to->is_continuous()) {
    enter_continuous_value(to, from->cg_value);
    return;
  }
  if (from->selected_state >= 0) {
    select_state(to, static_cast<std::size_t>(from->selected_state));
  } else {
    const std::size_t count = std::min(to->state_count, from->state_count);
    for (std::size_t i = 0; i < count; ++i) enter_finding(to, i, entered_weight(from, i));
  }
  if (from->value_evidence) {
    to->value_evidence = true;
    to->entered_value = from->entered_value;
  }
}

void recount_evidence_to_propagate(JunctionForest &forest) {
  for (auto &tree : forest.tree_store) {
    tree->evidence_to_propagate = 0;
    for (orv_node_t n : tree->nodes)
      if (counted(n) && evidence_to_propagate(n)) ++tree->evidence_to_propagate;
  }
}

}  // namespace orv
