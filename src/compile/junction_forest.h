// The junction forest of a compiled domain: cliques, separators, links and
// junction trees, and the attachment that owns them all for the domain.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/domain.h"
#include "model/node.h"
#include "model/records.h"
#include "orvel.h"
#include "runtime/allocate.h"
#include "runtime/arena.h"
#include "tables/table.h"

struct orv_control_s;

namespace orv {

struct Separator;

// One direction of a link between two cliques.
struct CliqueLink {
  orv_clique_s *neighbor = nullptr;
  Separator *separator = nullptr;   // shared by both directions
  orv_control_s *control = nullptr; // this clique's tables onto the separator's
};

// The potential on the intersection of two linked cliques. `table` holds the
// current message product; `scratch` receives the new one during absorption.
struct Separator {
  orv_table_s *table = nullptr;    // chained, structure flag set
  orv_table_s *utility = nullptr;  // present when the cliques have utility tables
  orv_clique_s *child = nullptr;   // the clique farther from the tree's root
  orv_clique_s *parent = nullptr;
  ~Separator();
};

}  // namespace orv

// Made in its forest's arena, which also holds its lists.
struct orv_clique_s : orv::Tagged {
  orv_clique_s(orv_domain_s *d, orv::Arena &arena)
      : Tagged(orv::Tag::clique), domain(d), links(orv::ArenaAllocator<orv::CliqueLink>(arena)),
        assigned(orv::ArenaAllocator<orv_node_t>(arena)), belief_nodes(orv::ArenaAllocator<orv_node_t>(arena)),
        top_nodes(orv::ArenaAllocator<orv_node_t>(arena)), neighbor_list(orv::ArenaAllocator<orv_clique_s *>(arena)) {}
  ~orv_clique_s();

  std::size_t number = 0;  // from 1 per domain, in creation order
  orv_domain_s *domain;
  orv_junction_tree_s *tree = nullptr;
  orv::ArenaVector<orv::CliqueLink> links;  // newest first
  orv_table_s *table = nullptr;        // probability table over the members
  orv_table_s *utility = nullptr;      // utility table, when the domain has utilities
  std::int32_t status = 0;
  orv_clique_s *way_to_strong_root = nullptr;
  double scale = 1.0;  // conflict/scale factor of propagation
  orv_clique_s *parent = nullptr;
  orv_clique_s *next = nullptr;  // the domain's list runs newest first

  std::int32_t mark = 0;                     // takes part in the current propagation
  orv::ArenaVector<orv_node_t> assigned;          // nodes whose potential is multiplied in here
  orv::ArenaVector<orv_node_t> belief_nodes;      // nodes whose beliefs and evidence live here
  orv::ArenaVector<orv_node_t> top_nodes;         // nodes whose clique nearest the root this is
  orv::ArenaVector<orv_clique_s *> neighbor_list; // null-terminated, built with the links
  void *user_data = nullptr;

  std::size_t member_count() const { return table->nodes.size(); }
};

struct orv_junction_tree_s : orv::Tagged {
  explicit orv_junction_tree_s(orv_domain_s *d) : Tagged(orv::Tag::junction_tree), domain(d) {}

  std::size_t number = 0;
  orv_domain_s *domain;
  orv_junction_tree_s *next = nullptr;
  orv_clique_s *root = nullptr;
  orv::Vector<orv_clique_s *> cliques;  // null-terminated
  orv::NodeList nodes;                  // members of kind >= 0, domain node order

  orv_equilibrium_t equilibrium = orv_equilibrium_none;
  orv_evidence_mode_t mode = orv_mode_normal;
  double constant = 1.0;  // normalization constant of the last propagation
  double log_constant = 0.0;
  double accumulated_constant = 1.0;  // over successive incremental propagations
  double accumulated_log = 0.0;
  double conflict = 1.0;

  std::size_t evidence_to_propagate = 0;  // nodes whose entered evidence is unpropagated
  bool discrete_evidence = false;         // incorporated evidence flags
  bool likelihood_evidence = false;
  bool cg_evidence = false;
  bool tables_changed = false;  // a node table was touched since the last propagation
  bool initialize_tables = true;
  bool freshly_loaded = false;  // tables reloaded, nothing propagated since
  bool visited = false;
  bool has_utility = false;
  bool has_continuous = false;
  bool refuses_max = false;
  void *user_data = nullptr;
  // Bumped whenever the tables change state (propagation, reset), so that
  // results derived from them can tell when they are stale.
  std::uint64_t serial = 0;
  // Trees holding what the derived potentials of this tree's function nodes
  // depend on: they are made consistent first. The stamp is the sum of their
  // serials when the derived potentials were last computed.
  orv::Vector<orv_junction_tree_s *> prerequisites;
  std::uint64_t prerequisite_stamp = 0;

  std::size_t clique_count() const { return cliques.empty() ? 0 : cliques.size() - 1; }
};

namespace orv {

// Per-node results of inference, kept in one block owned by the forest.
struct NodeResults {
  orv_node_t node = nullptr;
  double *belief = nullptr;              // one entry per state
  double *expected_utility = nullptr;    // one per state when the domain has utilities
  double *propagated_finding = nullptr;  // authoritative while propagated_state == -2
  double node_utility = 0.0;             // expected utility of a utility node
  // Controls from the assigned clique: the node's potential into the clique,
  // the evidence table into the clique, the clique onto the node's beliefs,
  // and the clique onto a utility node's family.
  orv_control_s *potential_control = nullptr;
  orv_control_s *evidence_control = nullptr;
  orv_control_s *belief_control = nullptr;
  orv_control_s *family_control = nullptr;
  orv_table_s *evidence_table = nullptr;  // over the node alone; data = evidence factor
  // The clique holding the node nearest the tree's root, and its control onto
  // the evidence table: fast retraction applies evidence there.
  orv_clique_s *top_clique = nullptr;
  orv_control_s *top_control = nullptr;
  // Some distribution of the node's table does not sum to one, so the table
  // also weighs its parents' configurations (set when the tables are loaded).
  bool unnormalized = false;
  // A discrete function node with a model: its potential over the node
  // alone, the distribution its model induces from the parents' posterior.
  orv_table_s *derived = nullptr;
};

// Tables of the junction forest saved by orv_domain_save_to_memory.
struct SavedTables {
  Vector<double> data;  // clique and separator data in forest order
  Vector<double> constants;  // per tree: the constant the saved tables were divided by
};

// Everything compilation attaches to a domain.
struct JunctionForest : Attachment {
  explicit JunctionForest(orv_domain_s *d) : domain(d) {}
  ~JunctionForest() override;

  // The forest's small records (cliques, separators, trees, controls) and
  // their arrays; declared first so that it goes last.
  Arena arena;
  orv_domain_s *domain;
  bool compiled = false;  // the quantitative phase has completed
  orv_clique_s *first_clique = nullptr;
  std::size_t clique_count = 0;
  orv_junction_tree_s *first_tree = nullptr;
  std::size_t tree_count = 0;

  Vector<ArenaOwned<orv_clique_s>> clique_store;  // creation order
  Vector<ArenaOwned<orv_junction_tree_s>> tree_store;
  Vector<ArenaOwned<Separator>> separators;
  Vector<NodeResults> results;  // one per participating or utility node
  Vector<double> result_data;

  // Controls and node tables built once per compilation.
  Vector<orv_control_s *> controls;
  Vector<orv_table_s *> node_tables;

  // Buffers for propagation, allocated by the quantitative phase so that
  // propagation never allocates. The separator buffers trade places with
  // separator data during absorption.
  double *separator_buffer = nullptr;
  double *separator_utility_buffer = nullptr;
  double *check_buffer = nullptr;    // separator-sized, fast retraction checks
  double *clique_buffer = nullptr;   // clique-sized, fast retraction messages
  double *family_buffer = nullptr;   // utility-node family marginals
  // One block holding the data of every discrete clique and separator table:
  // large enough for huge pages, so that its first touch is cheap.
  double *table_pool = nullptr;
  Owned<SavedTables> saved;
  // Work lists of the d-connection walk, reserved for every node.
  Vector<orv_node_t> walk_from_child;
  Vector<orv_node_t> walk_from_parent;
  void release_buffers() noexcept;

  bool has_utility = false;
  bool has_continuous = false;
  bool user_order = false;  // ranks come from a user-given elimination order
  bool has_derived = false;  // some discrete function node has a derived potential

  // Decision order and cached decision results, owned by the decision layer.
  Owned<Attachment> decisions;
};

// The domain's forest, or null when it is not triangulated.
JunctionForest *junction_forest(const orv_domain_s *d);
// Hands the forest to the domain's compiled state (throws bad_alloc when a
// bare state must be made) / drops it again.
void attach_forest(orv_domain_s *d, Owned<JunctionForest> forest);
void detach_forest(orv_domain_s *d) noexcept;
// True when the domain has a forest and has completed the quantitative phase.
bool domain_is_compiled(const orv_domain_s *d);

bool is_clique(const orv_clique_s *c);
bool is_junction_tree(const orv_junction_tree_s *t);

// The results record of a node in a triangulated domain, or null.
NodeResults *node_results(const orv_node_s *n);

}  // namespace orv
