// Chain blocks and chain-graph potentials: creation, merging and freeing.
#include "model/chain_blocks.h"

#include <algorithm>

#include "model/graph_checks.h"
#include "model/links.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {

ChainBlock *_orv_new_chain_block(orv_domain_s *d) {
  ChainBlock *block = make<ChainBlock>(d);
  block->next = d->first_chain_block;
  d->first_chain_block = block;
  return block;
}

namespace {

void unlink_block(ChainBlock *block) noexcept {
  ChainBlock **link = &block->domain->first_chain_block;
  while (*link != block) link = &(*link)->next;
  *link = block->next;
}

bool is_potential(const orv_domain_s *d, const orv_table_s *t) {
  for (const ChainBlock *b = d->first_chain_block; b; b = b->next)
    for (const orv_table_s *p : b->potentials)
      if (p == t) return true;
  return false;
}

void check_chain_potential(orv_domain_s *d, orv_table_s *t, std::size_t k) {
  if (!is_table(t) || t->domain != d || t->node || t->type != orv_table_probability ||
      t->continuous_count > 0 || k < 2 || k > t->discrete_count || is_potential(d, t))
    fail(orv_error_usage);
  const std::size_t first = t->discrete_count - k;
  for (std::size_t i = first; i < t->discrete_count; ++i) {
    orv_node_s *head = t->nodes[i];
    if (head->category != orv_category_chance) fail(orv_error_usage);
    for (std::size_t j = 0; j < first; ++j)
      if (!head->parents.contains(t->nodes[j])) fail(orv_error_usage);
  }
  for (std::size_t i = first; i < t->discrete_count; ++i)
    for (std::size_t j = i + 1; j < t->discrete_count; ++j) {
      orv_node_s *a = t->nodes[i], *b = t->nodes[j];
      if (a == b) fail(orv_error_usage);
      const bool same_block = a->chain_block && a->chain_block == b->chain_block;
      if (!same_block && (_orv_path_exists(a, b) || _orv_path_exists(b, a)))
        fail(orv_error_cyclic_network);
      _orv_check_undirected_link(a, b);
    }
}

}  // namespace

void _orv_free_chain_block(ChainBlock *block) noexcept {
  if (!block) return;
  unlink_block(block);
  for (orv_node_s *m : block->members) m->chain_block = nullptr;
  for (orv_table_s *t : block->potentials) _orv_free_table(t);
  destroy(block);
}

void free_chain_blocks(orv_domain_s *d) noexcept {
  while (d->first_chain_block) _orv_free_chain_block(d->first_chain_block);
}

void _orv_domain_add_chain_potential(orv_domain_s *d, orv_table_s *t, std::size_t k) {
  check_chain_potential(d, t, k);
  const std::size_t first = t->discrete_count - k;

  // The new block takes over the members and potentials of the blocks that
  // some of the heads already belong to.
  Owned<ChainBlock> merged(make<ChainBlock>(d));
  Vector<ChainBlock *> joined;
  for (std::size_t i = first; i < t->discrete_count; ++i) {
    orv_node_s *head = t->nodes[i];
    ChainBlock *old = head->chain_block;
    if (!old) {
      merged->members.push_back(head);
      continue;
    }
    if (std::find(joined.begin(), joined.end(), old) != joined.end()) continue;
    joined.push_back(old);
    for (orv_node_s *m : old->members) merged->members.push_back(m);
    merged->potentials.insert(merged->potentials.end(), old->potentials.begin(), old->potentials.end());
  }
  merged->potentials.push_back(t);

  // Commit: nothing below can fail.
  for (ChainBlock *old : joined) {
    unlink_block(old);
    destroy(old);
  }
  ChainBlock *block = merged.release();
  block->next = d->first_chain_block;
  d->first_chain_block = block;
  for (orv_node_s *m : block->members) m->chain_block = block;
  discard_graph_caches(d);
  uncompile(d);
}

}  // namespace orv
