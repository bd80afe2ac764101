// The table record: a potential over an ordered node list (discrete nodes
// first) with row-major discrete data and one CG block per configuration.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/domain.h"
#include "model/node_list.h"
#include "model/records.h"
#include "orvel.h"
#include "runtime/allocate.h"
#include "runtime/arena.h"

struct orv_table_s : orv::Tagged {
  explicit orv_table_s(orv_domain_s *d) : Tagged(orv::Tag::table), domain(d) {}

  std::size_t number = 0;  // position in the domain's chain; 0 when unchained
  orv_domain_s *domain;
  orv_node_s *node = nullptr;  // the node whose table this is
  orv_table_type_t type = orv_table_probability;
  int structure = 0;  // set on compiled structure tables: no reordering
  orv::NodeList nodes;
  std::size_t discrete_count = 0;
  std::size_t continuous_count = 0;
  std::size_t size = 1;        // product of discrete state counts; sentinel on overflow
  std::size_t block_size = 0;  // n(n + 3)/2 for n continuous nodes
  orv::Vector<unsigned char> roles;  // CG role per continuous node
  double *data = nullptr;      // `size` entries, or null until needed
  double *cg_data = nullptr;   // size x block_size entries
  // `data` lies in a block owned elsewhere (a compiled forest's table pool):
  // never freed or resized through the table.
  bool data_pooled = false;
  void *java_reference = nullptr;
  void *user_data = nullptr;  // the application's pointer; never interpreted
  orv_table_s *next = nullptr;
  bool chained = false;
  bool in_arena = false;  // the record lives in a forest's arena: destroyed in place

  ~orv_table_s();
};

namespace orv {

enum CgRole : unsigned char { kRoleHead = 0, kRoleTail = 1, kRoleAbsent = 2 };

bool is_table(const orv_table_s *t);

// An empty table (no nodes, size 1, no data); chained tables are numbered.
orv_table_s *new_table(orv_domain_s *d, bool in_chain);
// Links a table at the head of its domain's chain and numbers it.
void chain_table(orv_table_s *t) noexcept;
// Throws on failure, leaving nothing allocated. With an arena the record is
// made there (which must outlive the table).
orv_table_s *_orv_create_table(orv_domain_s *d, orv_node_t const *nodes, orv_table_type_t type,
                               int structure, bool allocate_data, bool in_chain, Arena *arena = nullptr);
// Allocates and initialises the data arrays if absent. Throws bad_alloc.
// Without `initialise` the entries are left unwritten, for tables whose every
// entry the caller writes before any read (clique tables loaded at reset),
// so that fresh memory is touched once.
void _orv_allocate_data_arrays(orv_table_s *t, bool initialise = true);
void _orv_init_table(orv_table_s *t);
orv_table_s *_orv_clone_table(const orv_table_s *t, bool in_chain);
// An unchained copy over the discrete nodes only, with the discrete data.
orv_table_s *_orv_discrete_clone_table(const orv_table_s *t);
// An unchained table over the continuous nodes only holding the discrete
// entry and the CG block (and roles) of discrete configuration `index`.
orv_table_s *_orv_c_clone_table(const orv_table_s *t, std::size_t index);
void _orv_copy_table_data(orv_table_s *target, const orv_table_s *source);
// Unlinks from the chain (renumbering), frees everything; null is ignored.
void _orv_free_table(orv_table_s *t) noexcept;
std::size_t _orv_table_list_length(orv_table_s *const *list);

// Removes discrete `node` by keeping the slice where it is in `state` (the
// caller checks state < count). Shrinks in place, so it never fails; a node
// that is not a discrete node of the table is ignored.
void _orv_table_instantiate(orv_table_s *t, orv_node_s *node, std::size_t state) noexcept;

// Removes continuous `node` with its mean, row and column from every CG
// block and its role byte. Shrinks in place, so it never fails; a node that
// is not a continuous node of the table is ignored.
void remove_continuous_node(orv_table_s *t, orv_node_s *node) noexcept;

// Row-major index of a configuration of the discrete nodes (last node
// fastest); kSizeSentinel when a state is out of range or the size overflowed.
std::size_t _orv_table_get_index_from_configuration(const orv_table_s *t,
                                                    const std::size_t *configuration);
// Fills one state per discrete node; the caller checks index < size.
void _orv_table_get_configuration_from_index(const orv_table_s *t, std::size_t *configuration,
                                             std::size_t index);
// Product of the state counts of the discrete nodes before (B) and after (A)
// discrete node position `position`: the data are B blocks of count x A.
std::size_t stride_before(const orv_table_s *t, std::size_t position);
std::size_t stride_after(const orv_table_s *t, std::size_t position);

// Initial discrete entry of a fresh table of this type (1.0 or 0.0).
double initial_entry(const orv_table_s *t);
// Fills one CG block as a fresh table has it: zeros, and variance 1.0 for the
// head of a node's own CG table.
void init_cg_block(const orv_table_s *t, double *block);
std::size_t cg_tail_count(const orv_table_s *t);

// Reorders the table's nodes (see orv_table_reorder_nodes); a node's own
// table takes its experience and fading tables along. Throws; on failure
// nothing changed.
void reorder_table_nodes(orv_table_s *t, orv_node_t const *order);

// Position of node i's mean, and of the covariance of nodes i and j, in a block.
inline std::size_t cg_vector_index(std::size_t i) { return i * (i + 3) / 2; }
inline std::size_t cg_matrix_index(std::size_t i, std::size_t j) {
  const std::size_t lo = i < j ? i : j, hi = i < j ? j : i;
  return lo + hi * (hi + 3) / 2 + 1;
}

}  // namespace orv
