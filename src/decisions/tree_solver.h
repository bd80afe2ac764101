// Message passing over one junction tree with every decision's factor (its
// policy, or its instantiation once made) kept out of the clique tables, so
// that the family values of a decision can be read with its own factor left
// out. Messages are kept per direction and reused while still valid.
#pragma once

#include <cstddef>

#include "compile/junction_forest.h"

namespace orv {

class TreeSolver {
 public:
  // Allocates every buffer, message and control up front; throws bad_alloc
  // (or no_memory) leaving nothing behind. The tree must have utility tables.
  explicit TreeSolver(orv_junction_tree_s *tree);
  ~TreeSolver();
  TreeSolver(const TreeSolver &) = delete;
  TreeSolver &operator=(const TreeSolver &) = delete;

  // Builds each clique's base pair from the node potentials and the
  // propagated evidence, decisions left out; invalidates every message. The
  // clique tables themselves are not touched.
  void load_base();
  // For the decision's family, laid out like its policy: the probability of
  // each configuration and that probability times the expected total
  // utility, with the decision's own factor left out and the others in.
  void family_values(orv_node_t decision, double *probability, double *weighted);
  // After the factor of a decision in this clique changed: every message
  // except those leading into the clique is stale.
  void invalidate_from(orv_clique_s *clique);

  // The size of the largest decision family.
  std::size_t widest_family() const { return widest_family_; }

 private:
  struct Family {
    orv_node_t decision;
    orv_table_s *table;           // over the decision's family; receives contractions
    orv_control_s *contraction;   // clique pair onto the family
    orv_control_s *probability;   // clique probabilities onto the family
  };
  // Owns the families' tables and controls.
  struct FamilyStore {
    Vector<Family> items;
    FamilyStore() = default;
    FamilyStore(const FamilyStore &) = delete;
    FamilyStore &operator=(const FamilyStore &) = delete;
    ~FamilyStore();
  };

  std::size_t index_of(const orv_clique_s *c) const { return position_[c->number]; }
  void ensure_message(std::size_t clique, std::size_t link);
  // Runs body while the clique's tables hold its base times the messages
  // from every link except `skip`, times every decision factor but `left_out`.
  template <class Body>
  void with_combined(std::size_t clique, std::size_t skip, orv_node_t left_out, Body &&body);
  void invalidate_away(std::size_t clique, const orv_clique_s *from);
  const Family &family_of(orv_node_t decision) const;

  orv_junction_tree_s *tree_;
  Vector<orv_clique_s *> cliques_;
  Vector<std::size_t> position_;      // clique number -> index in cliques_
  Vector<std::size_t> base_offset_;   // per clique, into base_
  Vector<std::size_t> first_slot_;    // per clique, its first message slot (one per link)
  Vector<std::size_t> slot_offset_;   // per slot, into messages_
  Vector<unsigned char> valid_;       // per slot
  Vector<double> base_;               // probability then utility per clique
  Vector<double> messages_;           // probability then utility per slot
  Vector<double> work_;               // widest clique, probability then utility
  FamilyStore families_;
  std::size_t widest_clique_ = 0;
  std::size_t widest_family_ = 0;
};

// The factor a decision contributes: its instantiation once propagated as
// made, its policy otherwise.
bool decision_is_instantiated(const orv_node_s *decision);
// Whether the decision's policy took part in the compilation (a table that
// existed then, mapped into its clique).
bool has_compiled_policy(const orv_node_s *decision);

}  // namespace orv
