// Table lifecycle: creation, data allocation, initialisation, cloning, freeing.
#include "tables/table.h"

#include <algorithm>
#include <cstring>

#include "model/chain.h"
#include "model/node.h"
#include "runtime/error.h"

orv_table_s::~orv_table_s() {
  if (!data_pooled) orv::_orv_free(data);
  orv::_orv_free(cg_data);
}

namespace orv {

bool is_table(const orv_table_s *t) { return t && t->tag == Tag::table; }

namespace {

void set_shape(orv_table_s *t, orv_node_t const *nodes) {
  t->nodes.assign(nodes);
  t->discrete_count = 0;
  t->size = 1;
  for (orv_node_t n : t->nodes) {
    if (!n->is_discrete()) break;
    ++t->discrete_count;
    t->size = size_multiply(t->size, n->state_count);
  }
  t->continuous_count = t->nodes.size() - t->discrete_count;
  const std::size_t c = t->continuous_count;
  t->block_size = c * (c + 3) / 2;
}

}  // namespace

void chain_table(orv_table_s *t) noexcept {
  orv_domain_s *d = t->domain;
  t->next = d->first_table;
  d->first_table = t;
  t->number = ++d->table_count;
  t->chained = true;
}

orv_table_s *new_table(orv_domain_s *d, bool in_chain) {
  orv_table_s *t = make<orv_table_s>(d);
  if (in_chain) chain_table(t);
  return t;
}

namespace {

// Shapes a new record held by `t` (which frees it on failure) and releases it.
template <class Holder>
orv_table_s *shape_new_table(Holder t, orv_node_t const *nodes, orv_table_type_t type, int structure,
                             bool allocate_data, bool in_chain) {
  t->type = type;
  t->structure = structure;
  set_shape(t.get(), nodes);
  if (allocate_data) _orv_allocate_data_arrays(t.get());
  if (in_chain) chain_table(t.get());
  return t.release();
}

}  // namespace

orv_table_s *_orv_create_table(orv_domain_s *d, orv_node_t const *nodes, orv_table_type_t type,
                               int structure, bool allocate_data, bool in_chain, Arena *arena) {
  if (!arena) return shape_new_table(Owned<orv_table_s>(make<orv_table_s>(d)), nodes, type, structure, allocate_data, in_chain);
  ArenaOwned<orv_table_s> t(arena->make<orv_table_s>(d));
  t->in_arena = true;
  return shape_new_table(std::move(t), nodes, type, structure, allocate_data, in_chain);
}

void _orv_allocate_data_arrays(orv_table_s *t, bool initialise) {
  if (t->data) return;
  auto *data = static_cast<double *>(_orv_allocate(size_multiply(t->size, sizeof(double))));
  if (!data) throw std::bad_alloc();
  double *cg = nullptr;
  Vector<unsigned char> roles;
  if (t->continuous_count > 0) {
    cg = static_cast<double *>(
        _orv_allocate(size_multiply(size_multiply(t->size, t->block_size), sizeof(double))));
    if (!cg) {
      _orv_free(data);
      throw std::bad_alloc();
    }
    try {
      roles.resize(t->continuous_count);
    } catch (...) {
      _orv_free(data);
      _orv_free(cg);
      throw;
    }
  }
  t->data = data;
  t->cg_data = cg;
  t->roles.swap(roles);
  if (initialise) _orv_init_table(t);
}

double initial_entry(const orv_table_s *t) {
  return (t->type == orv_table_probability || t->type == orv_table_fading) ? 1.0 : 0.0;
}

void init_cg_block(const orv_table_s *t, double *block) {
  std::fill(block, block + t->block_size, 0.0);
  if (!t->node || !t->node->is_continuous()) return;
  for (std::size_t i = 0; i < t->roles.size(); ++i)
    if (t->roles[i] == kRoleHead) block[cg_matrix_index(i, i)] = 1.0;
}

std::size_t cg_tail_count(const orv_table_s *t) {
  return static_cast<std::size_t>(std::count(t->roles.begin(), t->roles.end(), kRoleTail));
}

void _orv_init_table(orv_table_s *t) {
  if (t->data) std::fill(t->data, t->data + t->size, initial_entry(t));
  if (t->cg_data) std::fill(t->cg_data, t->cg_data + t->size * t->block_size, 0.0);
  const unsigned char role = t->type == orv_table_probability ? kRoleAbsent : kRoleHead;
  std::fill(t->roles.begin(), t->roles.end(), role);
}

orv_table_s *_orv_clone_table(const orv_table_s *source, bool in_chain) {
  Owned<orv_table_s> t(make<orv_table_s>(source->domain));
  t->type = source->type;
  t->structure = source->structure;
  t->node = nullptr;
  set_shape(t.get(), const_cast<orv_table_s *>(source)->nodes.c_list());
  if (source->data) {
    _orv_allocate_data_arrays(t.get());
    _orv_copy_table_data(t.get(), source);
  }
  if (in_chain) chain_table(t.get());
  return t.release();
}

orv_table_s *_orv_discrete_clone_table(const orv_table_s *source) {
  Owned<orv_table_s> t(make<orv_table_s>(source->domain));
  t->type = source->type;
  NodeList discrete;
  discrete.reserve(source->discrete_count);
  for (std::size_t i = 0; i < source->discrete_count; ++i) discrete.push_back(source->nodes[i]);
  set_shape(t.get(), discrete.c_list());
  if (source->data) {
    _orv_allocate_data_arrays(t.get());
    std::memcpy(t->data, source->data, source->size * sizeof(double));
  }
  return t.release();
}

orv_table_s *_orv_c_clone_table(const orv_table_s *source, std::size_t index) {
  Owned<orv_table_s> t(make<orv_table_s>(source->domain));
  t->type = source->type;
  NodeList continuous;
  continuous.reserve(source->continuous_count);
  for (std::size_t i = source->discrete_count; i < source->nodes.size(); ++i)
    continuous.push_back(source->nodes[i]);
  set_shape(t.get(), continuous.c_list());
  if (source->data) {
    _orv_allocate_data_arrays(t.get());
    t->data[0] = source->data[index];
    if (source->cg_data && t->cg_data)
      std::memcpy(t->cg_data, source->cg_data + index * source->block_size,
                  source->block_size * sizeof(double));
    std::copy(source->roles.begin(), source->roles.end(), t->roles.begin());
  }
  return t.release();
}

std::size_t _orv_table_list_length(orv_table_s *const *list) {
  std::size_t n = 0;
  if (list)
    while (list[n]) ++n;
  return n;
}

void _orv_copy_table_data(orv_table_s *target, const orv_table_s *source) {
  if (target == source) return;
  if (source->data && target->data) std::memcpy(target->data, source->data, source->size * sizeof(double));
  if (source->cg_data && target->cg_data)
    std::memcpy(target->cg_data, source->cg_data, source->size * source->block_size * sizeof(double));
  if (target->roles.size() == source->roles.size())
    std::copy(source->roles.begin(), source->roles.end(), target->roles.begin());
}

void _orv_free_table(orv_table_s *t) noexcept {
  if (!t) return;
  if (t->chained) unlink_and_renumber(&t->domain->first_table, t->domain->table_count, t);
  if (t->in_arena) t->~orv_table_s();
  else destroy(t);
}

}  // namespace orv
