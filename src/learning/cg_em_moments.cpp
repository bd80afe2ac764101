// Conditional-Gaussian EM for continuous nodes: the weighted moments the
// E-step gathers, the density of a complete case, the prior from experience
// and the M-step (weighted least squares per configuration of the discrete
// parents).
#include <cmath>

#include "learning/em.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {

namespace {

constexpr double kPi = 3.14159265358979323846;
// A regressor whose residual sum of squares falls to this fraction of its
// own is linearly dependent on the others and gets coefficient 0.
constexpr double kDependent = 1e-12;

// Solves a x = b for the symmetric positive semi-definite m x m matrix a by
// a Cholesky factorisation that leaves out dependent variables (their x is
// 0). `l` is m x m scratch.
void solve_semidefinite(const double *a, const double *b, double *x, double *l, std::size_t m) noexcept {
  for (std::size_t e = 0; e < m * m; ++e) l[e] = 0.0;
  for (std::size_t i = 0; i < m; ++i) {
    double d = a[i * m + i];
    for (std::size_t k = 0; k < i; ++k) d -= l[i * m + k] * l[i * m + k];
    if (!(d > kDependent * a[i * m + i])) continue;  // column i stays zero
    const double root = std::sqrt(d);
    l[i * m + i] = root;
    for (std::size_t r = i + 1; r < m; ++r) {
      double v = a[r * m + i];
      for (std::size_t k = 0; k < i; ++k) v -= l[r * m + k] * l[i * m + k];
      l[r * m + i] = v / root;
    }
  }
  for (std::size_t i = 0; i < m; ++i) {
    if (l[i * m + i] == 0.0) {
      x[i] = 0.0;
      continue;
    }
    double v = b[i];
    for (std::size_t k = 0; k < i; ++k) v -= l[i * m + k] * x[k];
    x[i] = v / l[i * m + i];
  }
  for (std::size_t i = m; i-- > 0;) {
    if (l[i * m + i] == 0.0) continue;
    double v = x[i];
    for (std::size_t k = i + 1; k < m; ++k) v -= l[k * m + i] * x[k];
    x[i] = v / l[i * m + i];
  }
}

// Index in y of regressor r: the constant, then the continuous parents.
std::size_t regressor(std::size_t r) { return r == 0 ? 0 : r + 1; }

}  // namespace

std::size_t moment_dimension(const orv_node_s *n) {
  std::size_t q = 2;
  for (const orv_node_s *p : n->parents)
    if (p->is_continuous()) ++q;
  return q;
}

void add_moments(double *m, std::size_t q, const double *y, double w) noexcept {
  for (std::size_t r = 0; r < q; ++r) {
    const double wy = w * y[r];
    for (std::size_t c = 0; c < q; ++c) m[r * q + c] += wy * y[c];
  }
}

double cg_log_density(const orv_table_s *t, std::size_t j, const double *values) {
  const double *block = t->cg_data + j * t->block_size;
  double mean = block[cg_vector_index(0)];
  for (std::size_t k = 1; k < t->continuous_count; ++k) mean += block[cg_vector_index(k)] * values[k];
  const double variance = block[cg_matrix_index(0, 0)], d = values[0] - mean;
  if (!(variance > 0.0)) fail(d == 0.0 ? orv_error_overflow : orv_error_inconsistency_or_underflow);
  return -0.5 * d * d / variance - 0.5 * std::log(2.0 * kPi * variance);
}

// Pseudo-cases whose continuous parents have mean 0 and unit covariance and
// whose node follows the current regression: on their own they reproduce
// it, so that e_j plays the part of a number of cases already seen, as the
// experience of a discrete node does.
void cg_prior(LearnedNode &l, const double *experience) {
  const orv_table_s *t = l.node->table;
  const std::size_t q = moment_dimension(l.node), qq = q * q;
  l.prior.assign(l.counts.size(), 0.0);
  for (std::size_t j = 0; j < t->size; ++j) {
    const double e = experience[j];
    if (!(e > 0.0)) continue;
    const double *block = t->cg_data + j * t->block_size;
    double *m = &l.prior[j * qq];
    const double alpha = block[cg_vector_index(0)];
    double second = alpha * alpha + block[cg_matrix_index(0, 0)];
    m[0] = e;
    m[1] = m[q] = e * alpha;
    for (std::size_t k = 2; k < q; ++k) {
      const double beta = block[cg_vector_index(k - 1)];
      m[k * q + k] = e;
      m[k * q + 1] = m[q + k] = e * beta;
      second += beta * beta;
    }
    m[q + 1] = e * second;
  }
}

void cg_m_step(LearnedNode &l) noexcept {
  orv_node_s *n = l.node;
  orv_table_s *t = n->table;
  const std::size_t q = moment_dimension(n), qq = q * q, r = q - 1;
  if (!l.prior.empty())
    for (std::size_t e = 0; e < l.counts.size(); ++e) l.counts[e] += l.prior[e];
  const double *experience = l.experience->data;
  double *a = l.scratch.data(), *l_scratch = a + r * r, *b = l_scratch + r * r, *x = b + r;
  for (std::size_t j = 0; j < t->size; ++j) {
    const double *m = &l.counts[j * qq];
    if (!(experience[j] >= 0.0) || !(m[0] > 0.0)) continue;
    for (std::size_t u = 0; u < r; ++u) {
      b[u] = m[regressor(u) * q + 1];
      for (std::size_t v = 0; v < r; ++v) a[u * r + v] = m[regressor(u) * q + regressor(v)];
    }
    solve_semidefinite(a, b, x, l_scratch, r);
    double residual = m[q + 1];
    for (std::size_t u = 0; u < r; ++u) residual -= x[u] * b[u];
    double *block = t->cg_data + j * t->block_size;
    block[cg_vector_index(0)] = x[0];
    for (std::size_t k = 1; k < r; ++k) block[cg_vector_index(k)] = x[k];
    block[cg_matrix_index(0, 0)] = residual > 0.0 ? residual / m[0] : 0.0;
  }
  if (n->junction_tree) n->junction_tree->tables_changed = true;
  n->owner->log_likelihood_valid = false;
}

}  // namespace orv
