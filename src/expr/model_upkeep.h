// Keeps models in step with the nodes they depend on: a model node removed,
// switched, resized or reordered, and a node that expressions mention deleted.
#pragma once

#include <cstddef>

#include "expr/model.h"

namespace orv {

constexpr std::size_t kNoState = static_cast<std::size_t>(-1);

// A model's expressions rebuilt along one model node's new states, freed
// unless committed.
class PendingModel {
 public:
  explicit PendingModel(orv_model_s *model) : model_(model) {}
  PendingModel(PendingModel &&o) noexcept : model_(o.model_) { expressions_.swap(o.expressions_); }
  PendingModel &operator=(PendingModel &&) = delete;
  ~PendingModel();
  Vector<orv_expression_s *> &expressions() { return expressions_; }
  // Swaps the new expressions in (the old ones are freed with this object).
  void commit() noexcept;

 private:
  orv_model_s *model_;
  Vector<orv_expression_s *> expressions_;
};

// For every model with `node` among its model nodes (its children's), the
// expressions after the node's states change: new state j takes a copy of
// the expressions of old state source[j], or none for kNoState. Call before
// the node's state count changes. Appends to `out`; throws bad_alloc.
void prepare_model_regrouping(const orv_node_s *node, const Vector<std::size_t> &source,
                              Vector<PendingModel> &out);

// The child's model drops `parent` from its model nodes, keeping the
// expressions of the parent's `state`.
void drop_model_node(orv_node_s *child, const orv_node_s *parent, std::size_t state) noexcept;
// `replacement` (with as many states) takes `old_node`'s place among the
// child's model nodes and in its expressions.
void replace_model_node(orv_node_s *child, const orv_node_s *old_node, orv_node_s *replacement) noexcept;
// Deletes from every model of the node's domain the expressions that mention
// the node, which is about to be deleted.
void forget_node_in_models(const orv_node_s *node) noexcept;

// Whether the expression refers to the node anywhere.
bool mentions(const orv_expression_s *e, const orv_node_s *node);

}  // namespace orv
