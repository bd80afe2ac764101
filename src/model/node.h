// The node record: identity, graph, presentation, quantitative part, the
// kind-specific fields and the link to the next node of the domain's chain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "model/domain.h"
#include "model/node_list.h"
#include "model/records.h"
#include "orvel.h"
#include "runtime/allocate.h"

struct orv_class_s;

namespace orv {
struct NodeResults;
// An edge constraint towards another node of the domain (codes 101 to 106);
// the other node holds the mirrored record.
struct EdgeConstraintRecord {
  orv_node_s *other;
  orv_edge_constraint_t code;
};
}

namespace orv {
// Installed by the Java binding: releases a node's global reference to the
// Java array mirroring its source list.
using SourceRelease = void (*)(orv_node_s *node) noexcept;
extern SourceRelease source_release;
}  // namespace orv

struct orv_node_s : orv::Tagged {
  orv_node_s(orv_domain_s *owner_, orv_category_t category_, orv_kind_t kind_)
      : Tagged(orv::Tag::node), owner(owner_), category(category_), kind(kind_) {}
  ~orv_node_s() {
    if (java_source) orv::source_release(this);
  }

  // Identity.
  orv_domain_s *owner;
  orv_category_t category;
  orv_kind_t kind;
  std::size_t number = 0;
  orv::String name;  // empty until assigned or generated

  // Graph: discrete parents come first.
  orv::NodeList parents;
  orv::NodeList children;
  orv::ChainBlock *chain_block = nullptr;  // undirected-link block, or null
  std::uint64_t mark = 0;       // scratch flag of graph searches
  orv::NodeArray relatives;     // result of ancestors/descendants

  // Presentation.
  orv::String label;
  std::int32_t x = 0;
  std::int32_t y = 0;

  // Quantitative part.
  orv_table_s *table = nullptr;
  orv_model_s *model = nullptr;
  orv_table_s *experience = nullptr;
  orv_table_s *fading = nullptr;
  orv::Vector<orv::EdgeConstraintRecord> edge_constraints;  // for structure learning
  bool table_valid = false;  // the table was checked as a conditional distribution

  // Inference fields start with these fixed values.
  double evidence_weight = 1.0;
  double value = -1.0;
  long selected_state = -1;
  long clique_index = -1;
  unsigned char flags = 0xff;

  // Class structure.
  orv_node_s *class_node = nullptr;     // the class node this one copies
  orv_node_s *instance_node = nullptr;  // the instance it was copied for
  bool temporal_clone = false;
  orv_node_s *temporal_link = nullptr;
  // An output clone has class_node = its master and instance_node = its
  // instance. An instance node has its class, its output clones in the order
  // of the class's outputs, and its input bindings indexed like the class's
  // inputs (null = unbound; shorter than the input list means unbound).
  orv_class_s *instance_class = nullptr;
  orv::NodeList output_clones;
  orv::Vector<orv_node_s *> input_bindings;
  // A node of an unfolded domain: [instance at depth 0, ..., class node].
  orv::NodeList source;
  // The Java binding's global reference to the source list as an array of
  // the class nodes' Java peers, made when the domain is unfolded from Java.
  void *java_source = nullptr;

  void *user_data = nullptr;
  orv_attribute_s *attributes = nullptr;  // owned list, newest key first

  // Evidence and inference state. selected_state above is the entered
  // state code: -1 no evidence, k hard evidence on state k, -2 the vector.
  orv::Vector<double> entered_finding;  // authoritative while the code is -2
  long propagated_state = -1;
  bool value_evidence = false;  // the evidence came from a numeric value
  double entered_value = 0.0;
  bool cg_entered = false;  // continuous evidence
  double cg_value = 0.0;
  bool cg_propagated = false;
  double cg_propagated_value = 0.0;
  // Set by the junction forest while the domain is triangulated.
  orv_junction_tree_s *junction_tree = nullptr;
  orv_clique_s *assigned_clique = nullptr;
  orv::NodeResults *results = nullptr;

  // Discrete part.
  std::size_t state_count = 1;
  // One entry per state once the first label is set; nullopt: no label.
  orv::Vector<std::optional<orv::String>> state_labels;
  // state_count + 1 entries once the first value is set (interval nodes: the
  // boundaries, the last one the upper end of the last interval).
  orv::Vector<double> state_values;
  orv_subtype_t subtype = orv_subtype_label;

  // Case data, one entry per case of the domain's case capacity, created on
  // first use: discrete states (-1 not set), or continuous values with flags.
  std::int16_t *case_states = nullptr;
  double *case_values = nullptr;
  unsigned char *case_value_set = nullptr;

  orv_node_s *next = nullptr;

  bool is_discrete() const { return kind == orv_kind_discrete; }
  bool is_continuous() const { return kind > 0; }
  bool counts_as_variable() const { return kind == orv_kind_discrete || kind == orv_kind_continuous; }
};

namespace orv {

bool is_node(const orv_node_s *n);

// Class structure around a node of a class, kept by the class layer: whether
// it is a declared input, and the unlinking done before such a node is
// deleted (declarations, bindings, output clones, instance lists).
bool is_class_input(const orv_node_s *node) noexcept;
// Appends the output clones of node in every instance of its class (none
// unless node is a declared output). Throws bad_alloc.
void append_output_clones(orv_node_s *node, Vector<orv_node_s *> &nodes);
void detach_class_structure(orv_node_s *node);

// Creation shared with parsers and class unfolding. Throws Failure.
orv_node_s *_orv_domain_new_node(orv_domain_s *d, orv_category_t category, orv_kind_t kind,
                                 orv_subtype_t subtype, bool uncounted);
// Unlinks and frees a node; renumbers so numbers stay dense. Never fails.
void free_node(orv_node_s *node) noexcept;
// Frees a node's model (defined with the models); null is ignored.
void free_model(orv_model_s *model) noexcept;

// True when the name rule holds (dots only when dots_allowed).
bool is_valid_name(const char *name, bool dots_allowed);
// Checks a name under the C locale; throws invalid_name or locale.
void _orv_check_name(const char *name, bool dots_allowed);

// Makes every named node's name valid in place (older file formats).
void _orv_convert_node_names(orv_domain_s *d);

// Puts the chain into file order after reading and renumbers nodes and tables.
void _orv_reverse_node_and_table_lists(orv_domain_s *d);

// Hook for the graph checks: whether the domain's function nodes satisfy the
// LIMID constraints (needed before the first decision or utility arrives).
bool function_nodes_satisfy_limid_constraints(orv_domain_s *d);

}  // namespace orv
