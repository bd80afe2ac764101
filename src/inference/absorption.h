// Absorption of one clique from a neighbour through their separator, and the
// totals of clique tables, for both evidence modes.
#pragma once

#include "compile/junction_forest.h"

namespace orv {

enum class Direction { collect, distribute };

// receiver absorbs from sender: the separator's new table is the sender's
// marginal, the quotient new/old is multiplied into the receiver, and the new
// table replaces the old. Allocates nothing.
void absorb(orv_clique_s *receiver, orv_clique_s *sender, orv_equilibrium_t equilibrium,
            orv_evidence_mode_t mode, Direction direction);

// The sum (or maximum) of a clique's table, with its own evidence applied in
// fast-retraction mode.
double clique_total(orv_clique_s *c, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode);

// Runs body while the clique's table holds a copy of itself multiplied by the
// evidence of the nodes whose top clique it is, except `excluded`. Fast
// retraction keeps evidence out of the clique tables and applies each node's
// evidence in the clique nearest the root that holds the node, so that no
// message towards that clique carries the node's own evidence. Allocates
// nothing.
template <class Body>
void with_evidence_applied(orv_clique_s *c, orv_node_t excluded, Body &&body);

bool holds_evidence(const orv_clique_s *c, orv_node_t excluded);
void apply_evidence_copy(orv_clique_s *c, orv_node_t excluded);
void restore_after_copy(orv_clique_s *c) noexcept;

template <class Body>
void with_evidence_applied(orv_clique_s *c, orv_node_t excluded, Body &&body) {
  if (!holds_evidence(c, excluded)) {
    body();
    return;
  }
  apply_evidence_copy(c, excluded);
  struct Restore {
    orv_clique_s *c;
    ~Restore() { restore_after_copy(c); }
  } restore{c};
  body();
}

}  // namespace orv
