// Chain blocks: groups of chance nodes joined by undirected links, with the
// chain-graph potentials (tables) that the file readers attach to them.
#pragma once

#include <cstddef>

#include "model/node.h"

namespace orv {

struct ChainBlock {
  explicit ChainBlock(orv_domain_s *d) : domain(d) {}
  orv_domain_s *domain;
  NodeList members;
  Vector<orv_table_s *> potentials;  // owned: freed with the block
  ChainBlock *next = nullptr;
};

// A new empty block linked at the head of the domain's block list.
ChainBlock *_orv_new_chain_block(orv_domain_s *d);
// Unlinks the block, clears its members' block field and frees its potentials.
void _orv_free_chain_block(ChainBlock *block) noexcept;
void free_chain_blocks(orv_domain_s *d) noexcept;

// Records a probability table without CG nodes whose last k >= 2 discrete
// nodes are chance nodes as a chain potential: those nodes join one block.
// Throws usage, cyclic_network, cyclic_functional_dependency, bad_alloc.
void _orv_domain_add_chain_potential(orv_domain_s *d, orv_table_s *table, std::size_t k);

}  // namespace orv
