// Builders of replacement table layouts: resizing and permuting one discrete
// dimension, and reordering the node list.
#include "tables/table_reshape.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "model/node.h"

namespace orv {

PendingTable::PendingTable(PendingTable &&other) noexcept
    : size(other.size),
      data(other.data),
      cg_data(other.cg_data),
      replaces_nodes(other.replaces_nodes),
      table_(other.table_) {
  nodes.swap(other.nodes);
  roles.swap(other.roles);
  other.data = nullptr;
  other.cg_data = nullptr;
}

PendingTable::~PendingTable() {
  _orv_free(data);
  _orv_free(cg_data);
}

void PendingTable::commit() noexcept {
  std::swap(table_->size, size);
  std::swap(table_->data, data);
  std::swap(table_->cg_data, cg_data);
  if (replaces_nodes) {
    table_->nodes.swap(nodes);
    table_->roles.swap(roles);
  }
}

namespace {

double *allocate_doubles(std::size_t count) {
  auto *block = static_cast<double *>(_orv_allocate(size_multiply(count, sizeof(double))));
  if (!block) throw std::bad_alloc();
  return block;
}

std::size_t discrete_position(const orv_table_s *t, const orv_node_s *node) {
  const long i = t->nodes.index_of(const_cast<orv_node_s *>(node));
  return static_cast<std::size_t>(i);
}

// Allocates the pending arrays for `size` discrete configurations when the
// table has data.
void allocate_pending(PendingTable &p, const orv_table_s *t, std::size_t size) {
  p.size = size;
  if (!t->data) return;
  p.data = allocate_doubles(size);
  if (t->cg_data) p.cg_data = allocate_doubles(size_multiply(size, t->block_size));
}

}  // namespace

PendingTable prepare_state_count(orv_table_s *t, const orv_node_s *node, std::size_t new_count) {
  PendingTable p(t);
  const std::size_t position = discrete_position(t, node);
  const std::size_t before = stride_before(t, position), after = stride_after(t, position);
  const std::size_t old_count = node->state_count;
  allocate_pending(p, t, size_multiply(size_multiply(before, new_count), after));
  if (!p.data) return p;
  const std::size_t kept = std::min(old_count, new_count) * after;
  const std::size_t old_run = old_count * after, new_run = new_count * after;
  const double fill = initial_entry(t);
  for (std::size_t b = 0; b < before; ++b) {
    std::memcpy(p.data + b * new_run, t->data + b * old_run, kept * sizeof(double));
    std::fill(p.data + b * new_run + kept, p.data + (b + 1) * new_run, fill);
  }
  if (p.cg_data) {
    const std::size_t bs = t->block_size;
    for (std::size_t b = 0; b < before; ++b) {
      std::memcpy(p.cg_data + b * new_run * bs, t->cg_data + b * old_run * bs, kept * bs * sizeof(double));
      for (std::size_t k = kept; k < new_run; ++k) init_cg_block(t, p.cg_data + (b * new_run + k) * bs);
    }
  }
  return p;
}

PendingTable prepare_state_permutation(orv_table_s *t, const orv_node_s *node,
                                       const std::size_t *to_new) {
  PendingTable p(t);
  allocate_pending(p, t, t->size);
  if (!p.data) return p;
  const std::size_t position = discrete_position(t, node);
  const std::size_t before = stride_before(t, position), after = stride_after(t, position);
  const std::size_t count = node->state_count, bs = t->block_size;
  for (std::size_t b = 0; b < before; ++b)
    for (std::size_t s = 0; s < count; ++s) {
      const std::size_t from = (b * count + s) * after, to = (b * count + to_new[s]) * after;
      std::memcpy(p.data + to, t->data + from, after * sizeof(double));
      if (p.cg_data) std::memcpy(p.cg_data + to * bs, t->cg_data + from * bs, after * bs * sizeof(double));
    }
  return p;
}

PendingTable prepare_state_mix(orv_table_s *t, const orv_node_s *node, std::size_t new_count,
                               const double *weights) {
  PendingTable p(t);
  const std::size_t position = discrete_position(t, node);
  const std::size_t before = stride_before(t, position), after = stride_after(t, position);
  const std::size_t old_count = node->state_count, bs = t->block_size;
  allocate_pending(p, t, size_multiply(size_multiply(before, new_count), after));
  if (!p.data) return p;
  std::fill(p.data, p.data + p.size, 0.0);
  if (p.cg_data) std::fill(p.cg_data, p.cg_data + p.size * bs, 0.0);
  for (std::size_t b = 0; b < before; ++b)
    for (std::size_t j = 0; j < new_count; ++j)
      for (std::size_t s = 0; s < old_count; ++s) {
        const double w = weights[j * old_count + s];
        if (w == 0.0) continue;
        const std::size_t from = (b * old_count + s) * after, to = (b * new_count + j) * after;
        for (std::size_t a = 0; a < after; ++a) p.data[to + a] += w * t->data[from + a];
        if (p.cg_data)
          for (std::size_t q = 0; q < after * bs; ++q) p.cg_data[to * bs + q] += w * t->cg_data[from * bs + q];
      }
  return p;
}

PendingTable prepare_node_order(orv_table_s *t, orv_node_t const *order) {
  PendingTable p(t);
  const std::size_t n = t->nodes.size(), dc = t->discrete_count, cc = t->continuous_count;
  p.replaces_nodes = true;
  p.nodes.assign(order);
  // old_of[k]: the old position of the node at new position k.
  Vector<std::size_t> old_of(n);
  for (std::size_t k = 0; k < n; ++k) old_of[k] = static_cast<std::size_t>(t->nodes.index_of(order[k]));
  p.roles.resize(t->roles.size());
  for (std::size_t k = 0; k < p.roles.size(); ++k) p.roles[k] = t->roles[old_of[dc + k] - dc];

  allocate_pending(p, t, t->size);
  if (!p.data) return p;
  // Old strides seen in the new order, and an odometer over new configurations.
  Vector<std::size_t> stride(dc), counts(dc), state(dc, 0);
  for (std::size_t k = 0; k < dc; ++k) {
    stride[k] = stride_after(t, old_of[k]);
    counts[k] = order[k]->state_count;
  }
  // block_map[q]: the old block position read for new block position q.
  Vector<std::size_t> block_map(t->block_size);
  for (std::size_t k = 0; k < cc; ++k) {
    const std::size_t ok = old_of[dc + k] - dc;
    block_map[cg_vector_index(k)] = cg_vector_index(ok);
    for (std::size_t l = 0; l <= k; ++l) block_map[cg_matrix_index(k, l)] = cg_matrix_index(ok, old_of[dc + l] - dc);
  }
  std::size_t old_index = 0;
  for (std::size_t index = 0; index < t->size; ++index) {
    p.data[index] = t->data[old_index];
    if (p.cg_data) {
      const double *from = t->cg_data + old_index * t->block_size;
      double *to = p.cg_data + index * t->block_size;
      for (std::size_t q = 0; q < t->block_size; ++q) to[q] = from[block_map[q]];
    }
    for (std::size_t k = dc; k-- > 0;) {
      old_index += stride[k];
      if (++state[k] < counts[k]) break;
      old_index -= stride[k] * counts[k];
      state[k] = 0;
    }
  }
  return p;
}

}  // namespace orv
