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
  void *java_reference = nullptr;
  orv_table_s *next = nullptr;
  bool chained = false;

  ~orv_table_s();
};

namespace orv {

enum CgRole : unsigned char { kRoleHead = 0, kRoleTail = 1, kRoleAbsent = 2 };

bool is_table(const orv_table_s *t);

// An empty table (no nodes, size 1, no data); chained tables are numbered.
orv_table_s *new_table(orv_domain_s *d, bool in_chain);
// Links a table at the head of its domain's chain and numbers it.
void chain_table(orv_table_s *t) noexcept;
// Throws on failure, leaving nothing allocated.
orv_table_s *_orv_create_table(orv_domain_s *d, orv_node_t const *nodes, orv_table_type_t type,
                               int structure, bool allocate_data, bool in_chain);
// Allocates and initialises the data arrays if absent. Throws bad_alloc.
void _orv_allocate_data_arrays(orv_table_s *t);
void _orv_init_table(orv_table_s *t);
orv_table_s *_orv_clone_table(const orv_table_s *t, bool in_chain);
void _orv_copy_table_data(orv_table_s *target, const orv_table_s *source);
// Unlinks from the chain (renumbering), frees everything; null is ignored.
void _orv_free_table(orv_table_s *t) noexcept;

// Position of node i's mean, and of the covariance of nodes i and j, in a block.
inline std::size_t cg_vector_index(std::size_t i) { return i * (i + 3) / 2; }
inline std::size_t cg_matrix_index(std::size_t i, std::size_t j) {
  const std::size_t lo = i < j ? i : j, hi = i < j ? j : i;
  return lo + hi * (hi + 3) / 2 + 1;
}

}  // namespace orv
