// Adding one dimension to a table, keeping the data of every configuration.
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
  std::swap(a->data_pooled, b->data_pooled);
  std::swap(a->cg_data, b->cg_data);
}

}  // namespace orv
