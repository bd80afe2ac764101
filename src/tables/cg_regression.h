// Conditional-Gaussian potentials in regression form, the algebra of CG
// propagation: per discrete configuration a weight and the joint normal
// distribution of the heads given the tails (mean a + B t, covariance C).
// Potentials are combined by splitting them into univariate regressions and
// composing those again in a recursive order, which never inverts a
// covariance matrix and tolerates zero variances.
#pragma once

#include <cstddef>

#include "model/node.h"
#include "runtime/allocate.h"

namespace orv {

// Univariate regressions sharing one structure over the configurations:
// head = intercept + sum(coefficient * var) + N(0, variance).
struct CgFactor {
  orv_node_t head = nullptr;
  Vector<orv_node_t> vars;
  Vector<double> values;  // per configuration: intercept, variance, one coefficient per var
  std::size_t stride() const { return 2 + vars.size(); }
};

struct CgPotential {
  std::size_t size = 0;  // discrete configurations
  Vector<orv_node_t> heads, tails;
  Vector<double> weight;  // size
  Vector<double> mean;    // size x heads: intercepts a
  Vector<double> coef;    // size x heads x tails: B, row-major
  Vector<double> cov;     // size x heads x heads: C, full and symmetric

  std::size_t head_count() const { return heads.size(); }
  std::size_t tail_count() const { return tails.size(); }
  double *mean_of(std::size_t config) { return mean.data() + config * heads.size(); }
  const double *mean_of(std::size_t config) const { return mean.data() + config * heads.size(); }
  double *cov_of(std::size_t config) { return cov.data() + config * heads.size() * heads.size(); }
  const double *cov_of(std::size_t config) const { return cov.data() + config * heads.size() * heads.size(); }
  double *coef_of(std::size_t config) { return coef.data() + config * heads.size() * tails.size(); }
  const double *coef_of(std::size_t config) const {
    return coef.data() + config * heads.size() * tails.size();
  }
  // Position of a head, or -1.
  long head_index(orv_node_t n) const;
};

// Observed values of continuous nodes: null when the node is not observed.
using ObservedValue = const double *(*)(orv_node_t);

// A rank per variable that orders them topologically (parents first).
using CgRank = std::size_t (*)(orv_node_t, const void *context);

// Joint regression of the factors' heads given every other variable they
// mention, with unit weights. The factors are first put into a recursive
// order (each head after the heads it depends on, lower ranks first among
// those that are ready); a cyclic set fails with `error`. Every factor has
// `size` configurations.
CgPotential cg_compose(Vector<CgFactor> &factors, std::size_t size, CgRank rank, const void *context);

// Univariate regressions of the heads in the given order, each given the
// heads before it and the tails; mentions whose coefficient is 0 in every
// configuration are left out.
Vector<CgFactor> cg_decompose(const CgPotential &p, const Vector<orv_node_t> &order);

// Replaces every observed variable of a factor by its value.
void cg_substitute(CgFactor &f, ObservedValue observed);

// The factor's configurations re-indexed: configuration i of the result is
// configuration map[i] of f.
CgFactor cg_expand(const CgFactor &f, const Vector<std::size_t> &map);

// Moment matching of a potential without tails onto some of its heads and a
// coarser discrete domain: map[i] is the target configuration of source
// configuration i. Weights are summed; means and covariances are the
// weighted mixture moments (left 0 where the summed weight is 0).
CgPotential cg_weak_marginal(const CgPotential &p, const Vector<orv_node_t> &keep, const Vector<std::size_t> &map,
                             std::size_t target_size);

// The joint of a potential without tails (heads X) and a conditional
// potential of further heads given tails among X, over the same
// configurations; weights are taken from `marginal`.
CgPotential cg_extend(const CgPotential &marginal, const CgPotential &conditional);

// For each configuration of `from` (row-major over its discrete nodes), the
// configuration of `to` that agrees with it; to's nodes are among from's.
Vector<std::size_t> discrete_config_map(const orv_node_t *from, std::size_t from_count, const orv_node_t *to,
                                        std::size_t to_count);

}  // namespace orv
