// The model record: one expression per configuration of the model nodes,
// from which a node's table is generated, plus its generation settings.
#pragma once

#include <cstddef>

#include "expr/expression.h"
#include "model/node.h"
#include "model/records.h"
#include "runtime/allocate.h"

struct orv_model_s : orv::Tagged {
  explicit orv_model_s(orv_node_s *owner) : Tagged(orv::Tag::model), node(owner) {}
  ~orv_model_s();

  orv_node_s *node;
  orv::NodeList nodes;                          // the model nodes (discrete parents)
  orv::Vector<orv_expression_s *> expressions;  // one per configuration, null when absent
  std::size_t samples_per_interval = 25;
  // Set when the node's table was supplied together with the model, so the
  // table is kept rather than generated.
  bool table_supplied = false;
  // Set when the table was generated from the model; cleared when the model
  // or a node it depends on changes.
  bool table_generated = false;
  void *user_data = nullptr;

  bool has_expressions() const {
    for (orv_expression_s *e : expressions)
      if (e) return true;
    return false;
  }
};

namespace orv {

constexpr std::size_t kDefaultSamplesPerInterval = 25;

bool is_model(const orv_model_s *m);
// Number of configurations of the model nodes (sentinel on overflow).
std::size_t model_size(orv_node_t const *nodes);
// Replaces node's model by a new one over `nodes`. Throws on failure and then
// leaves the old model in place.
orv_model_s *new_model(orv_node_s *node, orv_node_t const *nodes);
// Stores e at index (the model holds it) and releases the old one.
void set_model_expression(orv_model_s *m, std::size_t index, orv_expression_s *e) noexcept;

}  // namespace orv
