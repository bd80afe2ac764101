// Control lifecycle: creation with the standard control data and its
// arrangement into sections, the domain's control chain, freeing.
#include "tables/control.h"

#include "model/chain.h"
#include "model/node.h"
#include "runtime/error.h"

orv_control_s::~orv_control_s() {
  if (!in_arena) orv::_orv_free(dimensions);
}

namespace orv {

namespace {

void chain_control(orv_control_s *c) noexcept {
  orv_domain_s *d = c->domain;
  c->next = d->first_control;
  d->first_control = c;
  c->number = ++d->control_count;
  c->chained = true;
}

// Positions of the smaller table's continuous nodes among the larger's.
void compute_cg_positions(orv_control_s *c, const orv_table_s *larger, const orv_table_s *smaller) {
  Vector<std::size_t> positions;
  positions.reserve(smaller->continuous_count);
  for (std::size_t i = 0; i < smaller->continuous_count; ++i) {
    const orv_node_t node = smaller->nodes[smaller->discrete_count + i];
    const long k = larger->nodes.index_of(node);
    if (k < 0 || static_cast<std::size_t>(k) < larger->discrete_count) fail(orv_error_usage);
    positions.push_back(static_cast<std::size_t>(k) - larger->discrete_count);
  }
  c->cg_positions.swap(positions);
}

bool has_discrete_node(const orv_table_s *t, orv_node_t node) {
  for (std::size_t i = 0; i < t->discrete_count; ++i)
    if (t->nodes[i] == node) return true;
  return false;
}

// The saved copy: the larger table's dimensions whose nodes the smaller
// table has (first section) followed by the others (second section), each
// in the larger table's order, so that the outermost dimension can be split
// among threads writing disjoint parts of either table. Membership is decided
// by the node lists: a one-state node has stride 0 even when present.
void arrange_sections(const Dimension *standard, const orv_table_s *larger,
                      const orv_table_s *smaller, Dimension *saved, std::size_t *first_count) {
  const std::size_t count = larger->discrete_count;
  std::size_t n = 0;
  for (std::size_t pass = 0; pass < 2; ++pass) {
    for (std::size_t k = 0; k < count; ++k) {
      const bool member = has_discrete_node(smaller, larger->nodes[standard[k].position]);
      if (member == (pass == 0)) saved[n++] = standard[k];
    }
    if (pass == 0) *first_count = n;
  }
}

}  // namespace

void compute_standard_control_data(const orv_table_s *larger, const orv_table_s *smaller,
                                   Dimension *dimensions) {
  const std::size_t count = larger->discrete_count;
  std::size_t larger_stride = 1;
  for (std::size_t k = count; k-- > 0;) {
    dimensions[k] = Dimension{larger->nodes[k]->state_count, 0, 0, larger_stride, k};
    larger_stride = size_multiply(larger_stride, dimensions[k].count);
  }
  std::size_t product = 1;
  for (std::size_t i = smaller->discrete_count; i-- > 0;) {
    const long k = larger->nodes.index_of(smaller->nodes[i]);
    if (k < 0 || static_cast<std::size_t>(k) >= count) fail(orv_error_usage);
    dimensions[k].stride = product;
    product = size_multiply(product, smaller->nodes[i]->state_count);
  }
}

void _orv_create_control_contents(orv_control_s *c, const orv_table_s *larger,
                                  const orv_table_s *smaller, Arena *arena) {
  const std::size_t count = larger->discrete_count;
  Dimension *dimensions = nullptr;
  const std::size_t bytes = size_multiply(size_multiply(count, 2), sizeof(Dimension));
  if (count > 0 && arena) {
    dimensions = static_cast<Dimension *>(arena->allocate(bytes, alignof(Dimension)));
  } else if (count > 0) {
    dimensions = static_cast<Dimension *>(_orv_allocate(bytes));
    if (!dimensions) throw std::bad_alloc();
  }
  const auto drop = [&] {
    if (!arena) _orv_free(dimensions);
  };
  try {
    compute_standard_control_data(larger, smaller, dimensions);
    std::size_t first = 0;
    arrange_sections(dimensions, larger, smaller, dimensions + count, &first);
    if (smaller->continuous_count > 0) compute_cg_positions(c, larger, smaller);
    if (!c->in_arena) _orv_free(c->dimensions);
    c->dimensions = dimensions;
    c->in_arena = arena != nullptr;
    c->saved_count = count;
    c->first_saved = first;
  } catch (...) {
    drop();
    throw;
  }
  reset_control(c);
}

orv_control_s *_orv_create_control(orv_table_s *larger_probability, orv_table_s *larger_utility,
                                   orv_table_s *smaller_probability,
                                   orv_table_s *smaller_utility, bool chained, Arena *arena) {
  orv_table_s *larger = larger_probability ? larger_probability : larger_utility;
  orv_table_s *smaller = smaller_probability ? smaller_probability : smaller_utility;
  if (!larger || !smaller) fail(orv_error_usage);
  orv_control_s *c = arena ? arena->make<orv_control_s>(larger->domain) : make<orv_control_s>(larger->domain);
  c->larger_probability = larger_probability;
  c->larger_utility = larger_utility;
  c->smaller_probability = smaller_probability;
  c->smaller_utility = smaller_utility;
  try {
    _orv_create_control_contents(c, larger, smaller, arena);
  } catch (...) {
    if (arena) c->~orv_control_s();
    else destroy(c);
    throw;
  }
  if (chained) chain_control(c);
  return c;
}

orv_control_s *_orv_create_control1(orv_table_s *larger_probability, orv_table_s *larger_utility,
                                    orv_table_s *smaller_probability,
                                    orv_table_s *smaller_utility, bool chained) {
  return _orv_create_control(larger_probability, larger_utility, smaller_probability,
                             smaller_utility, chained);
}

orv_control_s *_orv_create_control2(orv_table_s *larger_probability, orv_table_s *larger_utility,
                                    orv_table_s *smaller_probability,
                                    orv_table_s *smaller_utility, bool chained) {
  return _orv_create_control(larger_probability, larger_utility, smaller_probability,
                             smaller_utility, chained);
}

orv_control_s *_orv_create_temporary_control(orv_table_s *larger_probability,
                                             orv_table_s *larger_utility,
                                             orv_table_s *smaller_probability,
                                             orv_table_s *smaller_utility) {
  return _orv_create_control(larger_probability, larger_utility, smaller_probability,
                             smaller_utility, false);
}

void _orv_free_control(orv_control_s *c) noexcept {
  if (!c) return;
  if (c->chained) unlink_and_renumber(&c->domain->first_control, c->domain->control_count, c);
  if (c->in_arena) c->~orv_control_s();
  else destroy(c);
}

void _orv_free_temporary_control(orv_control_s *c) noexcept { _orv_free_control(c); }

}  // namespace orv
