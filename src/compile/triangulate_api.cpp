// Entry points of the qualitative phase: triangulation by a heuristic or by
// a given order, and the accessors of its results. The new compiled state is
// built off to the side and committed only when complete; a failure after
// the commit uncompiles the domain, so every failure leaves it untriangulated.
#include <algorithm>

#include "compile/build_forest.h"
#include "compile/compile_log.h"
#include "compile/compiled_domain.h"
#include "compile/moralize.h"
#include "compile/triangulate.h"
#include "model/node.h"
#include "runtime/error.h"
#include "runtime/files.h"
#include "tables/node_table.h"

namespace orv {
namespace {

bool has_participants(const orv_domain_s *d) { return d->discrete_count + d->continuous_count > 0; }

bool can_triangulate(orv_domain_s *d) {
  return is_domain(d) && !d->is_class() && has_participants(d) && !d->compiled;
}

// A model's table may be generated only at compilation, after this phase
// has built the forest: its table object must exist now for the forest to
// reach it. A function node's potential is derived at propagation instead.
void give_model_nodes_tables(orv_domain_s *d) {
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if (n->model && !n->table && node_can_have_table(n) && n->category != orv_category_function) node_table(n);
}

// Installs the state, then completes the phase; any failure from here on
// uncompiles the domain again and keeps the first cause.
void commit_and_finish(orv_domain_s *d, Owned<CompiledDomain> state) {
  attach_triangulation(d, std::move(state));
  try {
    compile_qualitatively_from_triangulation(d);
    if (_orv_domain_flush_log_file(d) != orv_error_none) fail(orv_error_io);
  } catch (...) {
    uncompile(d);
    if (d->log) std::fflush(d->log);
    throw;
  }
}

// Vertices of the given nodes, in order.
VertexList vertices_of(const CompiledDomain &state, orv_node_t const *order) {
  VertexList vertices;
  vertices.reserve(state.moral_graph.size());
  for (; *order; ++order) vertices.push_back(static_cast<Vertex>(state.vertex(*order)));
  return vertices;
}

// Limits of the total-weight search (0 = none); any value is valid.
orv_status_t set_search_limit(orv_domain_t domain, std::size_t orv_domain_s::*field, std::size_t value) {
  if (!is_domain(domain)) return usage(orv_error_usage);
  return guarded_status([&] { domain->*field = value; });
}

std::size_t get_search_limit(orv_domain_t domain, std::size_t orv_domain_s::*field) {
  if (!is_domain(domain)) return usage(static_cast<std::size_t>(-1));
  return guarded<std::size_t>(static_cast<std::size_t>(-1), [&] { return domain->*field; });
}

}  // namespace

void triangulate_with_order(orv_domain_s *d, orv_node_t const *order) {
  _orv_check_elimination_order(d, order);
  give_model_nodes_tables(d);
  std::FILE *log = d->log;
  auto state = make_owned<CompiledDomain>();
  log_time_stamp(log);
  _orv_domain_moralize(d, *state, log);
  build_cliques_from_order(*state, vertices_of(*state, order), log);
  state->user_order = true;
  commit_and_finish(d, std::move(state));
}

}  // namespace orv

using orv::guarded;
using orv::guarded_status;

extern "C" {

orv_status_t orv_domain_triangulate(orv_domain_t domain, orv_triangulation_method_t method) {
  if (!orv::can_triangulate(domain) || method < orv_tm_clique_size || method > orv_tm_best_greedy)
    return orv::usage(orv_error_usage);
  return guarded_status([&] {
    orv::give_model_nodes_tables(domain);
    std::FILE *log = domain->log;
    auto state = orv::make_owned<orv::CompiledDomain>();
    orv::log_time_stamp(log);
    orv::_orv_domain_moralize(domain, *state, log);
    orv::triangulate_domain(domain, *state, method, log);
    orv::commit_and_finish(domain, std::move(state));
  });
}

orv_status_t orv_domain_triangulate_with_order(orv_domain_t domain, orv_node_t *order) {
  if (!orv::can_triangulate(domain) || !order) return orv::usage(orv_error_usage);
  return guarded_status([&] { orv::triangulate_with_order(domain, order); });
}

orv_status_t orv_domain_set_max_number_of_separators(orv_domain_t domain, size_t count) {
  return orv::set_search_limit(domain, &orv_domain_s::max_separators, count);
}

size_t orv_domain_get_max_number_of_separators(orv_domain_t domain) {
  return orv::get_search_limit(domain, &orv_domain_s::max_separators);
}

orv_status_t orv_domain_set_max_separator_size(orv_domain_t domain, size_t size) {
  return orv::set_search_limit(domain, &orv_domain_s::max_separator_size, size);
}

size_t orv_domain_get_max_separator_size(orv_domain_t domain) {
  return orv::get_search_limit(domain, &orv_domain_s::max_separator_size);
}

orv_node_t *orv_domain_get_elimination_order(orv_domain_t domain) {
  if (!orv::is_domain(domain)) return orv::usage<orv_node_t *>(nullptr);
  orv::CompiledDomain *state = orv::compiled_domain(domain);
  if (!state) return orv::usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] {
    orv::list_elimination_order(*state);
    return state->elimination_order.data();
  });
}

orv_status_t orv_domain_set_initial_triangulation(orv_domain_t domain, orv_node_t *order) {
  if (!orv::is_domain(domain) || domain->is_class()) return orv::usage(orv_error_usage);
  for (orv_node_t *n = order; n && *n; ++n) {
    if (!orv::is_node(*n) || (*n)->owner != domain || !orv::participates(*n))
      return orv::usage(orv_error_usage);
    for (orv_node_t *m = order; m != n; ++m)
      if (*m == *n) return orv::usage(orv_error_usage);
  }
  return guarded_status([&] {
    orv::NodeList list;
    if (order) list.assign(order);
    domain->initial_triangulation.swap(list);
  });
}

orv_node_t *orv_node_get_moral_neighbors(orv_node_t node) {
  if (!orv::is_node(node) || !orv::is_domain(node->owner)) return orv::usage<orv_node_t *>(nullptr);
  orv::CompiledDomain *state = orv::compiled_domain(node->owner);
  const long v = state ? state->vertex(node) : -1;
  if (v < 0) return orv::usage<orv_node_t *>(nullptr);
  return guarded<orv_node_t *>(nullptr, [&] { return state->moral_neighbors[v].data(); });
}

}  // extern "C"
