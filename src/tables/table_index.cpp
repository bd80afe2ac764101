// Configuration indexing (row-major over the discrete nodes, last node
// fastest) and instantiation of a discrete node in place.
#include <algorithm>
#include <cstring>

#include "model/node.h"
#include "tables/table.h"

namespace orv {

std::size_t stride_before(const orv_table_s *t, std::size_t position) {
  std::size_t b = 1;
  for (std::size_t i = 0; i < position; ++i) b = size_multiply(b, t->nodes[i]->state_count);
  return b;
}

std::size_t stride_after(const orv_table_s *t, std::size_t position) {
  std::size_t a = 1;
  for (std::size_t i = position + 1; i < t->discrete_count; ++i)
    a = size_multiply(a, t->nodes[i]->state_count);
  return a;
}

std::size_t _orv_table_get_index_from_configuration(const orv_table_s *t,
                                                    const std::size_t *configuration) {
  if (t->size == kSizeSentinel) return kSizeSentinel;
  std::size_t index = 0;
  for (std::size_t i = 0; i < t->discrete_count; ++i) {
    const std::size_t count = t->nodes[i]->state_count;
    if (configuration[i] >= count) return kSizeSentinel;
    index = index * count + configuration[i];  // bounded by size: no overflow
  }
  return index;
}

void _orv_table_get_configuration_from_index(const orv_table_s *t, std::size_t *configuration,
                                             std::size_t index) {
  for (std::size_t i = t->discrete_count; i-- > 0;) {
    const std::size_t count = t->nodes[i]->state_count;
    configuration[i] = index % count;
    index /= count;
  }
}

void _orv_table_instantiate(orv_table_s *t, orv_node_s *node, std::size_t state) noexcept {
  const long found = t->nodes.index_of(node);
  if (found < 0 || static_cast<std::size_t>(found) >= t->discrete_count) return;
  const auto position = static_cast<std::size_t>(found);
  const std::size_t count = node->state_count;
  if (count > 1 && t->size != kSizeSentinel) {
    const std::size_t before = stride_before(t, position), after = stride_after(t, position);
    const std::size_t new_size = before * after;
    if (t->data) {
      // Slice b (the block for `state` within block b) moves down to b * after.
      for (std::size_t b = 0; b < before; ++b)
        std::memmove(t->data + b * after, t->data + (b * count + state) * after, after * sizeof(double));
      if (!t->data_pooled) t->data = static_cast<double *>(_orv_shrink(t->data, new_size * sizeof(double)));
    }
    if (t->cg_data && t->block_size > 0) {
      const std::size_t run = after * t->block_size;
      for (std::size_t b = 0; b < before; ++b)
        std::memmove(t->cg_data + b * run, t->cg_data + (b * count + state) * run, run * sizeof(double));
      t->cg_data = static_cast<double *>(_orv_shrink(t->cg_data, new_size * t->block_size * sizeof(double)));
    }
    t->size = new_size;
  } else if (count > 1) {
    // An overflowing table has no data; recompute the size without the node.
    t->size = 1;
    for (std::size_t i = 0; i < t->discrete_count; ++i)
      if (i != position) t->size = size_multiply(t->size, t->nodes[i]->state_count);
  }
  t->nodes.remove_at(position);
  --t->discrete_count;
}

void remove_continuous_node(orv_table_s *t, orv_node_s *node) noexcept {
  const long found = t->nodes.index_of(node);
  if (found < 0 || static_cast<std::size_t>(found) < t->discrete_count) return;
  const std::size_t removed = static_cast<std::size_t>(found) - t->discrete_count;
  const std::size_t n = t->continuous_count, old_bs = t->block_size;
  const std::size_t new_bs = (n - 1) * (n + 2) / 2;
  if (t->cg_data && t->size != kSizeSentinel) {
    // Compact every block forward: each entry moves to a position at or below
    // its own, and later sources lie above every destination written so far.
    double *cg = t->cg_data;
    for (std::size_t b = 0; b < t->size; ++b) {
      const double *from = cg + b * old_bs;
      double *to = cg + b * new_bs;
      for (std::size_t k = 0, nk = 0; k < n; ++k) {
        if (k == removed) continue;
        to[cg_vector_index(nk)] = from[cg_vector_index(k)];
        for (std::size_t l = 0, nl = 0; l <= k; ++l) {
          if (l == removed) continue;
          to[cg_matrix_index(nk, nl)] = from[cg_matrix_index(k, l)];
          ++nl;
        }
        ++nk;
      }
    }
    t->cg_data = static_cast<double *>(_orv_shrink(cg, t->size * new_bs * sizeof(double)));
  }
  if (removed < t->roles.size()) t->roles.erase(t->roles.begin() + static_cast<std::ptrdiff_t>(removed));
  t->nodes.remove_at(static_cast<std::size_t>(found));
  --t->continuous_count;
  t->block_size = new_bs;
}

}  // namespace orv
