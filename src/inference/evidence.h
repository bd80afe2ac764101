// Evidence stored on nodes, its classification, and the per-tree count of
// nodes whose entered evidence differs from what was propagated.
#pragma once

#include <cstddef>

#include "compile/junction_forest.h"

namespace orv {

constexpr long kNoEvidence = -1;
constexpr long kFindingVector = -2;

// Entered evidence differs from propagated evidence.
bool evidence_to_propagate(const orv_node_s *n);
bool evidence_is_entered(const orv_node_s *n);
// A vector with some entry other than 0 and 1.
bool likelihood_is_entered(const orv_node_s *n);
bool evidence_is_propagated(const orv_node_s *n);
bool likelihood_is_propagated(const orv_node_s *n);

// The weight of a state under entered / propagated evidence.
double entered_weight(const orv_node_s *n, std::size_t state);
double propagated_weight(const orv_node_s *n, std::size_t state);

// The state code a finding vector stands for: k for exactly one 1 and zeros,
// -1 for all ones, -2 otherwise.
long convert_entered_findings_to_state_index(const double *finding, std::size_t count);

// Brackets an evidence change: removes the node's contribution to its tree's
// count on construction and adds it back on destruction.
class EvidenceCountUpdate {
 public:
  explicit EvidenceCountUpdate(orv_node_s *n);
  ~EvidenceCountUpdate();
  EvidenceCountUpdate(const EvidenceCountUpdate &) = delete;
  EvidenceCountUpdate &operator=(const EvidenceCountUpdate &) = delete;

 private:
  orv_node_s *node_;
};

// Entry operations (arguments already checked); each keeps the count exact.
void select_state(orv_node_s *n, std::size_t state);
void enter_finding(orv_node_s *n, std::size_t state, double value);  // may throw bad_alloc
void retract_findings(orv_node_s *n);
void enter_continuous_value(orv_node_s *n, double value);

// Copies another node's evidence (retracts when from is null or has none).
void _orv_node_copy_evidence(orv_node_s *to, const orv_node_s *from);

// Recounts every tree's evidence to propagate (after compilation).
void recount_evidence_to_propagate(JunctionForest &forest);

}  // namespace orv
