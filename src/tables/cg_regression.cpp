// The CG regression algebra: recursive composition of univariate
// regressions into joint ones, LDL decomposition back into univariate ones,
// substitution of observed values, moment matching and extension.
#include "tables/cg_regression.h"

#include <algorithm>
#include <cmath>

#include "runtime/error.h"

namespace orv {

namespace {

long index_in(const Vector<orv_node_t> &list, orv_node_t n) {
  for (std::size_t i = 0; i < list.size(); ++i)
    if (list[i] == n) return static_cast<long>(i);
  return -1;
}

// Kahn's order with the lowest-ranked ready factor first.
void recursive_order(Vector<CgFactor> &factors, CgRank rank, const void *context) {
  const std::size_t n = factors.size();
  Vector<orv_node_t> heads;
  heads.reserve(n);
  for (const CgFactor &f : factors) heads.push_back(f.head);
  Vector<std::size_t> pending(n, 0);
  for (std::size_t i = 0; i < n; ++i)
    for (orv_node_t v : factors[i].vars)
      if (index_in(heads, v) >= 0) ++pending[i];
  Vector<unsigned char> done(n, 0);
  Vector<std::size_t> ranks(n);
  for (std::size_t i = 0; i < n; ++i) ranks[i] = rank(factors[i].head, context);
  Vector<CgFactor> sorted;
  sorted.reserve(n);
  for (std::size_t placed = 0; placed < n; ++placed) {
    std::size_t next = n;
    for (std::size_t i = 0; i < n; ++i)
      if (!done[i] && pending[i] == 0 && (next == n || ranks[i] < ranks[next])) next = i;
    if (next == n) fail(orv_error_error);  // cyclic regressions
    done[next] = 1;
    for (std::size_t i = 0; i < n; ++i)
      if (!done[i] && index_in(factors[i].vars, factors[next].head) >= 0) --pending[i];
    sorted.push_back(std::move(factors[next]));
  }
  factors.swap(sorted);
}

void allocate(CgPotential &p, std::size_t size) {
  const std::size_t h = p.heads.size(), t = p.tails.size();
  p.size = size;
  p.weight.assign(size, 1.0);
  p.mean.assign(size_multiply(size, h), 0.0);
  p.coef.assign(size_multiply(size_multiply(size, h), t), 0.0);
  p.cov.assign(size_multiply(size_multiply(size, h), h), 0.0);
}

}  // namespace

long CgPotential::head_index(orv_node_t n) const { return index_in(heads, n); }

CgPotential cg_compose(Vector<CgFactor> &factors, std::size_t size, CgRank rank, const void *context) {
  recursive_order(factors, rank, context);
  CgPotential p;
  for (const CgFactor &f : factors) p.heads.push_back(f.head);
  for (const CgFactor &f : factors)
    for (orv_node_t v : f.vars)
      if (index_in(p.heads, v) < 0 && index_in(p.tails, v) < 0) p.tails.push_back(v);
  allocate(p, size);
  const std::size_t h = p.heads.size(), t = p.tails.size();
  // Where each mention points: a head (index) or a tail (h + index).
  Vector<Vector<std::size_t>> refs(h);
  for (std::size_t k = 0; k < h; ++k) {
    refs[k].reserve(factors[k].vars.size());
    for (orv_node_t v : factors[k].vars) {
      const long at = index_in(p.heads, v);
      refs[k].push_back(at >= 0 ? static_cast<std::size_t>(at) : h + static_cast<std::size_t>(index_in(p.tails, v)));
    }
  }
  for (std::size_t c = 0; c < size; ++c) {
    double *a = p.mean_of(c), *b = p.coef_of(c), *cv = p.cov_of(c);
    for (std::size_t k = 0; k < h; ++k) {
      const CgFactor &f = factors[k];
      const double *v = f.values.data() + c * f.stride();
      a[k] = v[0];
      double *bk = b + k * t, *ck = cv + k * h;
      for (std::size_t r = 0; r < refs[k].size(); ++r) {
        const double beta = v[2 + r];
        const std::size_t m = refs[k][r];
        if (beta == 0.0) continue;
        if (m >= h) {
          bk[m - h] += beta;
          continue;
        }
        a[k] += beta * a[m];
        for (std::size_t j = 0; j < t; ++j) bk[j] += beta * b[m * t + j];
        for (std::size_t j = 0; j < k; ++j) ck[j] += beta * cv[m * h + j];
      }
      double variance = v[1];
      for (std::size_t r = 0; r < refs[k].size(); ++r)
        if (refs[k][r] < h) variance += v[2 + r] * ck[refs[k][r]];
      ck[k] = variance;
      for (std::size_t j = 0; j < k; ++j) cv[j * h + k] = ck[j];
    }
  }
  return p;
}

Vector<CgFactor> cg_decompose(const CgPotential &p, const Vector<orv_node_t> &order) {
  const std::size_t n = order.size(), h = p.heads.size(), t = p.tails.size();
  Vector<std::size_t> at(n);
  for (std::size_t i = 0; i < n; ++i) at[i] = static_cast<std::size_t>(p.head_index(order[i]));
  Vector<CgFactor> factors(n);
  for (std::size_t i = 0; i < n; ++i) {
    CgFactor &f = factors[i];
    f.head = order[i];
    for (std::size_t m = 0; m < i; ++m) f.vars.push_back(order[m]);
    for (orv_node_t v : p.tails) f.vars.push_back(v);
    f.values.assign(size_multiply(p.size, f.stride()), 0.0);
  }
  Vector<double> l(n * n), d(n), inv(n * n);
  for (std::size_t c = 0; c < p.size; ++c) {
    const double *a = p.mean_of(c), *b = p.coef_of(c), *cv = p.cov_of(c);
    // LDL of the reordered covariance; a zero pivot leaves its column 0.
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        double s = cv[at[i] * h + at[j]];
        for (std::size_t m = 0; m < j; ++m) s -= l[i * n + m] * l[j * n + m] * d[m];
        l[i * n + j] = d[j] > 0.0 ? s / d[j] : 0.0;
      }
      double s = cv[at[i] * h + at[i]];
      for (std::size_t m = 0; m < i; ++m) s -= l[i * n + m] * l[i * n + m] * d[m];
      const double scale = cv[at[i] * h + at[i]];
      d[i] = s > 1e-13 * scale ? s : 0.0;
    }
    // inv = L^-1; x_i = mean_i - sum_{m<i} inv_im (x_m - mean_m) + e_i.
    for (std::size_t i = 0; i < n; ++i) {
      inv[i * n + i] = 1.0;
      for (std::size_t j = 0; j < i; ++j) {
        double s = 0.0;
        for (std::size_t m = j; m < i; ++m) s += l[i * n + m] * inv[m * n + j];
        inv[i * n + j] = -s;
      }
    }
    for (std::size_t i = 0; i < n; ++i) {
      CgFactor &f = factors[i];
      double *v = f.values.data() + c * f.stride();
      double intercept = a[at[i]];
      for (std::size_t j = 0; j < t; ++j) v[2 + i + j] = b[at[i] * t + j];
      for (std::size_t m = 0; m < i; ++m) {
        const double beta = -inv[i * n + m];
        v[2 + m] = beta;
        intercept -= beta * a[at[m]];
        for (std::size_t j = 0; j < t; ++j) v[2 + i + j] -= beta * b[at[m] * t + j];
      }
      v[0] = intercept;
      v[1] = d[i];
    }
  }
  // Leave out mentions that are 0 everywhere.
  for (CgFactor &f : factors) {
    const std::size_t stride = f.stride();
    Vector<std::size_t> kept;
    for (std::size_t r = 0; r < f.vars.size(); ++r) {
      bool zero = true;
      for (std::size_t c = 0; c < p.size && zero; ++c) zero = f.values[c * stride + 2 + r] == 0.0;
      if (!zero) kept.push_back(r);
    }
    if (kept.size() == f.vars.size()) continue;
    Vector<orv_node_t> vars;
    Vector<double> values(size_multiply(p.size, 2 + kept.size()));
    for (std::size_t r : kept) vars.push_back(f.vars[r]);
    for (std::size_t c = 0; c < p.size; ++c) {
      double *to = values.data() + c * (2 + kept.size());
      const double *from = f.values.data() + c * stride;
      to[0] = from[0];
      to[1] = from[1];
      for (std::size_t r = 0; r < kept.size(); ++r) to[2 + r] = from[2 + kept[r]];
    }
    f.vars.swap(vars);
    f.values.swap(values);
  }
  return factors;
}

void cg_substitute(CgFactor &f, ObservedValue observed) {
  for (std::size_t r = 0; r < f.vars.size();) {
    const double *value = observed(f.vars[r]);
    if (!value) {
      ++r;
      continue;
    }
    const std::size_t stride = f.stride(), configs = f.values.size() / stride;
    Vector<double> values(size_multiply(configs, stride - 1));
    for (std::size_t c = 0; c < configs; ++c) {
      const double *from = f.values.data() + c * stride;
      double *to = values.data() + c * (stride - 1);
      std::copy(from, from + 2 + r, to);
      std::copy(from + 3 + r, from + stride, to + 2 + r);
      to[0] += from[2 + r] * *value;
    }
    f.values.swap(values);
    f.vars.erase(f.vars.begin() + static_cast<long>(r));
  }
}

CgFactor cg_expand(const CgFactor &f, const Vector<std::size_t> &map) {
  CgFactor e;
  e.head = f.head;
  e.vars = f.vars;
  const std::size_t stride = f.stride();
  e.values.resize(size_multiply(map.size(), stride));
  for (std::size_t i = 0; i < map.size(); ++i)
    std::copy(f.values.data() + map[i] * stride, f.values.data() + (map[i] + 1) * stride,
              e.values.data() + i * stride);
  return e;
}

CgPotential cg_weak_marginal(const CgPotential &p, const Vector<orv_node_t> &keep, const Vector<std::size_t> &map,
                             std::size_t target_size) {
  CgPotential r;
  r.heads = keep;
  allocate(r, target_size);
  std::fill(r.weight.begin(), r.weight.end(), 0.0);
  const std::size_t k = keep.size(), h = p.heads.size();
  Vector<std::size_t> at(k);
  for (std::size_t i = 0; i < k; ++i) at[i] = static_cast<std::size_t>(p.head_index(keep[i]));
  for (std::size_t c = 0; c < p.size; ++c) {
    const double w = p.weight[c];
    r.weight[map[c]] += w;
    if (w == 0.0) continue;
    double *mean = r.mean_of(map[c]);
    const double *from = p.mean_of(c);
    for (std::size_t i = 0; i < k; ++i) mean[i] += w * from[at[i]];
  }
  for (std::size_t c = 0; c < target_size; ++c)
    if (r.weight[c] > 0.0)
      for (std::size_t i = 0; i < k; ++i) r.mean_of(c)[i] /= r.weight[c];
  for (std::size_t c = 0; c < p.size; ++c) {
    const double w = p.weight[c];
    if (w == 0.0) continue;
    const double *mean = r.mean_of(map[c]), *from = p.mean_of(c), *cv = p.cov_of(c);
    double *to = r.cov_of(map[c]);
    for (std::size_t i = 0; i < k; ++i)
      for (std::size_t j = 0; j <= i; ++j)
        to[i * k + j] += w * (cv[at[i] * h + at[j]] + (from[at[i]] - mean[i]) * (from[at[j]] - mean[j]));
  }
  for (std::size_t c = 0; c < target_size; ++c) {
    double *to = r.cov_of(c);
    const double w = r.weight[c];
    for (std::size_t i = 0; i < k; ++i)
      for (std::size_t j = 0; j <= i; ++j) {
        if (w > 0.0) to[i * k + j] /= w;
        to[j * k + i] = to[i * k + j];
      }
  }
  return r;
}

CgPotential cg_extend(const CgPotential &marginal, const CgPotential &conditional) {
  CgPotential r;
  r.heads = marginal.heads;
  for (orv_node_t n : conditional.heads) r.heads.push_back(n);
  allocate(r, marginal.size);
  r.weight = marginal.weight;
  const std::size_t x = marginal.heads.size(), q = conditional.heads.size(), t = conditional.tails.size();
  const std::size_t h = x + q;
  Vector<std::size_t> at(t);
  for (std::size_t j = 0; j < t; ++j) {
    const long i = marginal.head_index(conditional.tails[j]);
    if (i < 0) fail(orv_error_error);
    at[j] = static_cast<std::size_t>(i);
  }
  Vector<double> bs(q * x);  // B Sigma restricted to the marginal's heads
  for (std::size_t c = 0; c < r.size; ++c) {
    const double *mu = marginal.mean_of(c), *sigma = marginal.cov_of(c);
    const double *a = conditional.mean_of(c), *b = conditional.coef_of(c), *cq = conditional.cov_of(c);
    double *mean = r.mean_of(c), *cv = r.cov_of(c);
    for (std::size_t i = 0; i < x; ++i) {
      mean[i] = mu[i];
      for (std::size_t j = 0; j < x; ++j) cv[i * h + j] = sigma[i * x + j];
    }
    for (std::size_t i = 0; i < q; ++i) {
      double m = a[i];
      for (std::size_t j = 0; j < t; ++j) m += b[i * t + j] * mu[at[j]];
      mean[x + i] = m;
      for (std::size_t k = 0; k < x; ++k) {
        double s = 0.0;
        for (std::size_t j = 0; j < t; ++j) s += b[i * t + j] * sigma[at[j] * x + k];
        bs[i * x + k] = s;
        cv[(x + i) * h + k] = cv[k * h + x + i] = s;
      }
    }
    for (std::size_t i = 0; i < q; ++i)
      for (std::size_t k = 0; k <= i; ++k) {
        double s = cq[i * q + k];
        for (std::size_t j = 0; j < t; ++j) s += bs[i * x + at[j]] * b[k * t + j];
        cv[(x + i) * h + x + k] = cv[(x + k) * h + x + i] = s;
      }
  }
  return r;
}

Vector<std::size_t> discrete_config_map(const orv_node_t *from, std::size_t from_count, const orv_node_t *to,
                                        std::size_t to_count) {
  // Stride of each of from's nodes in to's row-major index (0 when absent).
  Vector<std::size_t> stride(from_count, 0), counts(from_count);
  std::size_t total = 1;
  for (std::size_t i = 0; i < from_count; ++i) {
    counts[i] = from[i]->state_count;
    total = size_multiply(total, counts[i]);
  }
  std::size_t step = 1;
  for (std::size_t k = to_count; k-- > 0;) {
    for (std::size_t i = 0; i < from_count; ++i)
      if (from[i] == to[k]) stride[i] = step;
    step *= to[k]->state_count;
  }
  Vector<std::size_t> map(total);
  Vector<std::size_t> digit(from_count, 0);
  std::size_t index = 0;
  for (std::size_t c = 0; c < total; ++c) {
    map[c] = index;
    for (std::size_t i = from_count; i-- > 0;) {
      if (++digit[i] < counts[i]) {
        index += stride[i];
        break;
      }
      index -= stride[i] * (counts[i] - 1);
      digit[i] = 0;
    }
  }
  return map;
}

}  // namespace orv
