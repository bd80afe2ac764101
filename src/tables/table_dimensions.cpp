// Adding and removing one dimension of a table, keeping the data of every
// remaining configuration.
#include "tables/table_dimensions.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "model/node.h"

namespace orv {

namespace {

// Product of the state counts of the discrete nodes in [first, last).
std::size_t states_between(const orv_table_s *t, std::size_t first, std::size_t last) {
  std::size_t product = 1;
  for (std::size_t i = first; i < last; ++i) product = size_multiply(product, t->nodes[i]->state_count);
  return product;
}

void repeat_discrete_data(const orv_table_s *from, orv_table_s *to, std::size_t position,
                          std::size_t states) {
  const std::size_t outer = states_between(from, 0, position);
  const std::size_t inner = states_between(from, position, from->discrete_count);
  const std::size_t block = from->block_size;
  for (std::size_t o = 0; o < outer; ++o)
    for (std::size_t s = 0; s < states; ++s) {
      const std::size_t target = (o * states + s) * inner;
      std::memcpy(to->data + target, from->data + o * inner, inner * sizeof(double));
      if (block > 0)
        std::memcpy(to->cg_data + target * block, from->cg_data + o * inner * block,
                    inner * block * sizeof(double));
    }
  std::copy(from->roles.begin(), from->roles.end(), to->roles.begin());
}

// The new continuous node comes last, so each old block is a prefix of the
// new one; the new node's mean and covariances start at 0.
void extend_cg_blocks(const orv_table_s *from, orv_table_s *to, CgRole role) {
  std::memcpy(to->data, from->data, from->size * sizeof(double));
  std::fill(to->cg_data, to->cg_data + to->size * to->block_size, 0.0);
  for (std::size_t c = 0; c < from->size; ++c)
    std::copy(from->cg_data + c * from->block_size, from->cg_data + (c + 1) * from->block_size,
              to->cg_data + c * to->block_size);
  std::copy(from->roles.begin(), from->roles.end(), to->roles.begin());
  to->roles.back() = role;
}

}  // namespace

Owned<orv_table_s> table_with_dimension(const orv_table_s *t, orv_node_s *node,
                                        std::size_t position, CgRole role) {
  NodeList nodes;
  nodes.assign(const_cast<orv_table_s *>(t)->nodes.c_list());
  if (node->is_discrete()) {
    assert(position <= t->discrete_count);
  } else {
    position = nodes.size();
  }
  nodes.insert_at(position, node);
  Owned<orv_table_s> staged(_orv_create_table(t->domain, nodes.c_list(), t->type, t->structure,
                                              t->data != nullptr, false));
  if (!t->data) return staged;
  if (node->is_discrete())
    repeat_discrete_data(t, staged.get(), position, node->state_count);
  else
    extend_cg_blocks(t, staged.get(), role);
  return staged;
}

void swap_table_contents(orv_table_s *a, orv_table_s *b) noexcept {
  a->nodes.swap(b->nodes);
  std::swap(a->discrete_count, b->discrete_count);
  std::swap(a->continuous_count, b->continuous_count);
  std::swap(a->size, b->size);
  std::swap(a->block_size, b->block_size);
  a->roles.swap(b->roles);
  std::swap(a->data, b->data);
  std::swap(a->cg_data, b->cg_data);
}

void remove_discrete_dimension(orv_table_s *t, orv_node_s *node, std::size_t state) noexcept {
  const long found = t->nodes.index_of(node);
  if (found < 0) return;
  const std::size_t position = static_cast<std::size_t>(found);
  assert(position < t->discrete_count && state < node->state_count);
  const std::size_t states = node->state_count;
  const std::size_t outer = states_between(t, 0, position);
  const std::size_t inner = states_between(t, position + 1, t->discrete_count);
  const std::size_t block = t->block_size;
  if (t->data && states > 1) {
    // Targets never pass their sources: moving blocks forward is safe.
    for (std::size_t o = 0; o < outer; ++o) {
      const std::size_t source = (o * states + state) * inner;
      std::memmove(t->data + o * inner, t->data + source, inner * sizeof(double));
      if (block > 0)
        std::memmove(t->cg_data + o * inner * block, t->cg_data + source * block,
                     inner * block * sizeof(double));
    }
    t->data = static_cast<double *>(_orv_shrink(t->data, outer * inner * sizeof(double)));
    if (block > 0)
      t->cg_data =
          static_cast<double *>(_orv_shrink(t->cg_data, outer * inner * block * sizeof(double)));
  }
  t->nodes.remove_at(position);
  --t->discrete_count;
  t->size = t->size == kSizeSentinel ? states_between(t, 0, t->discrete_count) : t->size / states;
}

void remove_continuous_dimension(orv_table_s *t, orv_node_s *node) noexcept {
  const long found = t->nodes.index_of(node);
  if (found < 0) return;
  const std::size_t removed = static_cast<std::size_t>(found) - t->discrete_count;
  const std::size_t n = t->continuous_count;
  const std::size_t new_block = (n - 1) * (n + 2) / 2;
  if (t->cg_data) {
    // Copy the surviving entries of every block forward, block by block.
    double *write = t->cg_data;
    for (std::size_t c = 0; c < t->size; ++c) {
      const double *block = t->cg_data + c * t->block_size;
      for (std::size_t k = 0; k < n; ++k) {
        if (k == removed) continue;
        *write++ = block[cg_vector_index(k)];
        for (std::size_t j = 0; j <= k; ++j)
          if (j != removed) *write++ = block[cg_matrix_index(j, k)];
      }
    }
    t->cg_data = static_cast<double *>(_orv_shrink(t->cg_data, t->size * new_block * sizeof(double)));
  }
  if (removed < t->roles.size()) t->roles.erase(t->roles.begin() + static_cast<std::ptrdiff_t>(removed));
  t->nodes.remove_at(static_cast<std::size_t>(found));
  --t->continuous_count;
  t->block_size = new_block;
}

}  // namespace orv
