// Arc reversal between continuous nodes: X | P ~ N(ax + bx.C, vx) and
// Y | X, P ~ N(ay + beta X + by.C, vy) become Y | P ~ N(ay + beta ax +
// (by + beta bx).C, vy + beta^2 vx) and X | Y, P, the regression of X on Y
// with gamma = beta vx / Var(Y), per configuration of the discrete parents.
#include "model/cg_reversal.h"

#include "runtime/error.h"
#include "tables/cg_regression.h"

namespace orv {

namespace {

// A node's regression in one configuration of a table over its new family.
class Regression {
 public:
  Regression(orv_node_s *node, const orv_table_s *over) : table_(node->table) {
    if (table_ && table_->cg_data)
      map_ = discrete_config_map(over->nodes.begin(), over->discrete_count, table_->nodes.begin(),
                                 table_->discrete_count);
  }

  void select(std::size_t config) {
    block_ = map_.empty() ? nullptr : table_->cg_data + map_[config] * table_->block_size;
  }
  double intercept() const { return block_ ? block_[cg_vector_index(0)] : 0.0; }
  double variance() const { return block_ ? block_[cg_matrix_index(0, 0)] : 1.0; }
  double coefficient(orv_node_t parent) const {
    if (!block_) return 0.0;
    for (std::size_t k = 1; k < table_->continuous_count; ++k)
      if (table_->nodes[table_->discrete_count + k] == parent) return block_[cg_vector_index(k)];
    return 0.0;
  }

 private:
  const orv_table_s *table_;
  Vector<std::size_t> map_;
  const double *block_ = nullptr;
};

Owned<orv_table_s> table_over(orv_node_s *node, const Vector<orv_node_s *> &parents) {
  NodeList nodes;
  for (orv_node_s *p : parents)
    if (p->is_discrete()) nodes.push_back(p);
  nodes.push_back(node);
  for (orv_node_s *p : parents)
    if (p->is_continuous()) nodes.push_back(p);
  Owned<orv_table_s> t(_orv_create_table(node->owner, nodes.c_list(), orv_table_probability, 0, true, false));
  for (std::size_t i = 0; i < t->roles.size(); ++i) t->roles[i] = i == 0 ? kRoleHead : kRoleTail;
  return t;
}

void add_missing(Vector<orv_node_s *> &list, orv_node_s *n, const orv_node_s *except) {
  if (n == except || !n->counts_as_variable()) return;
  for (orv_node_s *m : list)
    if (m == n) return;
  list.push_back(n);
}

}  // namespace

void reverse_continuous_edge(orv_node_s *x, orv_node_s *y, Owned<orv_table_s> &tx, Owned<orv_table_s> &ty) {
  Vector<orv_node_s *> x_parents, y_parents;
  for (orv_node_s *p : x->parents) add_missing(x_parents, p, nullptr);
  for (orv_node_s *p : y->parents) add_missing(x_parents, p, x);
  add_missing(x_parents, y, nullptr);
  for (orv_node_s *p : y->parents) add_missing(y_parents, p, x);
  for (orv_node_s *p : x->parents) add_missing(y_parents, p, nullptr);
  tx = table_over(x, x_parents);
  ty = table_over(y, y_parents);

  for (orv_table_s *t : {ty.get(), tx.get()}) {
    const bool new_y = t == ty.get();
    Regression rx(x, t), ry(y, t);
    for (std::size_t i = 0; i < t->size; ++i) {
      rx.select(i);
      ry.select(i);
      const double beta = ry.coefficient(x), vx = rx.variance(), vy = ry.variance();
      const double ay = ry.intercept() + beta * rx.intercept(), var_y = vy + beta * beta * vx;
      const double gamma = var_y > 0.0 ? beta * vx / var_y : 0.0;
      double *block = t->cg_data + i * t->block_size;
      block[cg_vector_index(0)] = new_y ? ay : rx.intercept() - gamma * ay;
      block[cg_matrix_index(0, 0)] = new_y ? var_y : (var_y > 0.0 ? vx * vy / var_y : vx);
      for (std::size_t k = 1; k < t->continuous_count; ++k) {
        orv_node_t p = t->nodes[t->discrete_count + k];
        const double by = ry.coefficient(p) + beta * rx.coefficient(p);  // Y on p, X integrated out
        block[cg_vector_index(k)] = new_y ? by : (p == y ? gamma : rx.coefficient(p) - gamma * by);
      }
    }
  }
}

}  // namespace orv
