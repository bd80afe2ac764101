// Queries on continuous nodes read from the posterior clique tables of a CG
// tree: the mixture that is a node's marginal, and mutual information in its
// Gaussian form.
#include <cmath>

#include "inference/cg_queries.h"
#include "inference/queries.h"
#include "runtime/error.h"
#include "tables/cg_regression.h"
#include "tables/table.h"

namespace orv {

namespace {

std::size_t continuous_position(const orv_table_s *t, orv_node_t n) {
  for (std::size_t k = 0; k < t->continuous_count; ++k)
    if (t->nodes[t->discrete_count + k] == n) return k;
  fail(orv_error_usage);
}

const orv_clique_s *common_clique(orv_node_t a, orv_node_t b) {
  if (a->junction_tree != b->junction_tree) return nullptr;
  for (orv_clique_s *c : a->junction_tree->cliques)
    if (c && c->table->nodes.contains(a) && c->table->nodes.contains(b)) return c;
  return nullptr;
}

double moment(const orv_table_s *t, std::size_t i, std::size_t k) {
  return t->cg_data[i * t->block_size + cg_vector_index(k)];
}

double covariance(const orv_table_s *t, std::size_t i, std::size_t k, std::size_t l) {
  return t->cg_data[i * t->block_size + cg_matrix_index(k, l)];
}

double gaussian_information(const orv_table_s *t, orv_node_t x, orv_node_t y) {
  const std::size_t k = continuous_position(t, x), l = continuous_position(t, y);
  double mx = 0.0, my = 0.0;
  for (std::size_t i = 0; i < t->size; ++i) {
    mx += t->data[i] * moment(t, i, k);
    my += t->data[i] * moment(t, i, l);
  }
  double vx = 0.0, vy = 0.0, cxy = 0.0;
  for (std::size_t i = 0; i < t->size; ++i) {
    const double dx = moment(t, i, k) - mx, dy = moment(t, i, l) - my, w = t->data[i];
    vx += w * (covariance(t, i, k, k) + dx * dx);
    vy += w * (covariance(t, i, l, l) + dy * dy);
    cxy += w * (covariance(t, i, k, l) + dx * dy);
  }
  if (!(vx > 0.0) || !(vy > 0.0)) return 0.0;
  const double rho2 = cxy * cxy / (vx * vy);
  return rho2 >= 1.0 ? HUGE_VAL : -0.5 * std::log1p(-rho2);
}

double mixed_information(const orv_table_s *t, orv_node_t d, orv_node_t x) {
  const std::size_t k = continuous_position(t, x);
  const orv_node_t alone[] = {d};
  const Vector<std::size_t> map = discrete_config_map(t->nodes.begin(), t->discrete_count, alone, 1);
  Vector<double> weight(d->state_count, 0.0), first(d->state_count, 0.0), second(d->state_count, 0.0);
  for (std::size_t i = 0; i < t->size; ++i) {
    const double w = t->data[i], m = moment(t, i, k);
    weight[map[i]] += w;
    first[map[i]] += w * m;
    second[map[i]] += w * (covariance(t, i, k, k) + m * m);
  }
  double mean = 0.0, total = 0.0, within = 0.0;
  for (std::size_t s = 0; s < d->state_count; ++s) {
    mean += first[s];
    total += second[s];
    if (weight[s] > 0.0) within += second[s] - first[s] * first[s] / weight[s];
  }
  const double variance = total - mean * mean;
  if (!(variance > 0.0)) return 0.0;
  return within > 0.0 ? 0.5 * std::log(variance / within) : HUGE_VAL;
}

}  // namespace

double cg_mutual_information(orv_node_t a, orv_node_t b) {
  require_results(a);
  require_results(b);
  require_sum_normal(a);
  const orv_clique_s *c = common_clique(a, b);
  if (!c) fail(orv_error_usage);
  if (a->is_discrete()) return mixed_information(c->table, a, b);
  if (b->is_discrete()) return mixed_information(c->table, b, a);
  return gaussian_information(c->table, a, b);
}

orv_table_s *cg_distribution(orv_node_t n) {
  require_results(n);
  const orv_table_s *clique = n->assigned_clique->table;
  NodeList nodes;
  for (std::size_t i = 0; i < clique->discrete_count; ++i) nodes.push_back(clique->nodes[i]);
  nodes.push_back(n);
  Owned<orv_table_s> t(_orv_create_table(n->owner, nodes.c_list(), orv_table_probability, 0, true, false));
  const std::size_t k = continuous_position(clique, n);
  t->roles[0] = kRoleHead;
  for (std::size_t i = 0; i < t->size; ++i) {
    t->data[i] = clique->data[i];
    t->cg_data[i * t->block_size + cg_vector_index(0)] = moment(clique, i, k);
    t->cg_data[i * t->block_size + cg_matrix_index(0, 0)] = covariance(clique, i, k, k);
  }
  return t.release();
}

}  // namespace orv

extern "C" {

orv_table_t orv_node_get_distribution(orv_node_t node) {
  if (!orv::is_node(node) || node->owner->is_class() || !node->is_continuous())
    return orv::usage<orv_table_t>(nullptr);
  return orv::guarded<orv_table_t>(nullptr, [&] { return orv::cg_distribution(node); });
}

}  // extern "C"
