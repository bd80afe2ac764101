// Propagation in junction trees with conditional-Gaussian nodes. Collect
// runs towards the tree's strong root: each clique composes the regressions
// assigned to it with its children's messages, substitutes observed values,
// turns observed heads without continuous tails into weights (densities),
// keeps the others as heads so that they move towards the root, and leaves
// behind its complement (the regression of what stays given the separator).
// Distribute extends each separator's moment-matched marginal by the
// complement. Every propagation starts again from the node tables.
#include "inference/cg_propagation.h"

#include <cfloat>
#include <cmath>

#include "inference/evidence.h"
#include "runtime/error.h"
#include "tables/cg_regression.h"
#include "tables/table.h"

namespace orv {

namespace {

constexpr double kPi = 3.14159265358979323846;

const double *observed_value(orv_node_t n) { return n->cg_entered ? &n->cg_value : nullptr; }

bool observed(orv_node_t n) { return n->cg_entered; }

const orv_node_t *discrete_nodes(const orv_table_s *t) { return t->nodes.begin(); }

Vector<std::size_t> table_map(const orv_table_s *from, const orv_table_s *to) {
  return discrete_config_map(discrete_nodes(from), from->discrete_count, discrete_nodes(to), to->discrete_count);
}

// The regression of a continuous node over the clique's configurations.
CgFactor node_factor(const orv_clique_s *c, orv_node_t n) {
  CgFactor f;
  f.head = n;
  const orv_table_s *t = n->table;
  const std::size_t size = c->table->size;
  if (!t || !t->cg_data) {
    f.values.assign(size_multiply(size, 2), 0.0);
    for (std::size_t i = 0; i < size; ++i) f.values[i * 2 + 1] = 1.0;
    return f;
  }
  for (std::size_t i = 1; i < t->continuous_count; ++i) f.vars.push_back(t->nodes[t->discrete_count + i]);
  const Vector<std::size_t> map = table_map(c->table, t);
  const std::size_t stride = f.stride();
  f.values.resize(size_multiply(size, stride));
  for (std::size_t i = 0; i < size; ++i) {
    const double *block = t->cg_data + map[i] * t->block_size;
    double *v = f.values.data() + i * stride;
    v[0] = block[cg_vector_index(0)];
    v[1] = block[cg_matrix_index(0, 0)];
    for (std::size_t k = 1; k < t->continuous_count; ++k) v[1 + k] = block[cg_vector_index(k)];
  }
  cg_substitute(f, observed_value);
  return f;
}

// Multiplies a table over some of the clique's discrete nodes into weights.
void multiply_discrete(Vector<double> &weight, const orv_clique_s *c, const orv_node_t *nodes, std::size_t count,
                       const double *values) {
  const Vector<std::size_t> map = discrete_config_map(discrete_nodes(c->table), c->table->discrete_count, nodes, count);
  for (std::size_t i = 0; i < weight.size(); ++i) weight[i] *= values[map[i]];
}

// What a clique leaves behind in collect for the distribute pass.
struct CliqueState {
  const orv_clique_s *clique = nullptr;
  const Separator *up = nullptr;  // towards the root; null at the root
  bool discrete_separator = false;
  CgPotential complement;         // heads outside the separator given the separator
  Vector<double> complement_weight;  // discrete separators: weight / separator weight
};

struct Message {
  bool discrete = false;
  Vector<double> weight;  // over the separator's configurations
  CgPotential potential;  // continuous messages
};

class CgPropagation {
 public:
  explicit CgPropagation(orv_junction_tree_s *t) : tree_(t) {}

  void run() {
    rank_continuous_nodes();
    for (orv_clique_s *c : tree_->cliques)
      if (c) states_.push_back(CliqueState{c, nullptr, false, {}, {}});
    CgPotential root = collect(tree_->root, nullptr, nullptr);
    double total = 0.0;
    for (double w : root.weight) total += w;
    if (!(total < DBL_MAX) || total < DBL_MIN)
      fail(std::isfinite(total) || std::isnan(total) ? orv_error_inconsistency_or_underflow : orv_error_overflow);
    for (double &w : root.weight) w /= total;
    log_scale_ += std::log(total);
    tree_->log_constant = tree_->accumulated_log = log_scale_;
    tree_->constant = tree_->accumulated_constant = std::exp(log_scale_);
    distribute(tree_->root, root);
  }

 private:
  CliqueState &state(const orv_clique_s *c) {
    for (CliqueState &s : states_)
      if (s.clique == c) return s;
    fail(orv_error_error);
  }

  Vector<double> initial_weights(const orv_clique_s *c) {
    Vector<double> w(c->table->size, 1.0);
    for (orv_node_t n : c->assigned)
      if (n->is_discrete() && n->table && n->table->data)
        multiply_discrete(w, c, n->table->nodes.begin(), n->table->discrete_count, n->table->data);
    for (orv_node_t n : c->belief_nodes) {
      if (!n->is_discrete() || n->selected_state == kNoEvidence) continue;
      Vector<double> e(n->state_count);
      for (std::size_t s = 0; s < n->state_count; ++s) e[s] = entered_weight(n, s);
      const orv_node_t alone[] = {n};
      multiply_discrete(w, c, alone, 1, e.data());
    }
    return w;
  }

  // Collects the subtree of c; returns c's potential when c is the root.
  CgPotential collect(const orv_clique_s *c, const orv_clique_s *from, const Separator *up) {
    Vector<double> weight = initial_weights(c);
    Vector<CgFactor> factors;
    for (orv_node_t n : c->assigned)
      if (n->is_continuous()) factors.push_back(node_factor(c, n));
    for (const CliqueLink &link : c->links) {
      if (link.neighbor == from) continue;
      Message m;
      collect_child(link.neighbor, c, link.separator, m);
      // Discrete messages come over the separator's configurations, continuous
      // ones over the child's (which has the separator's discrete nodes).
      const Vector<std::size_t> map = table_map(c->table, m.discrete ? link.separator->table : link.neighbor->table);
      for (std::size_t i = 0; i < weight.size(); ++i) weight[i] *= m.weight[map[i]];
      if (m.discrete) continue;
      // Observed heads last: nothing refers to them, so no cycle can arise.
      Vector<CgFactor> parts = split(m.potential, {in_list(m.potential.heads, false), in_list(m.potential.heads, true)});
      for (CgFactor &f : parts) factors.push_back(cg_expand(f, map));
    }
    CgPotential joint = compose(factors, c->table->size);
    joint.weight.swap(weight);
    CliqueState &s = state(c);
    s.up = up;
    s.discrete_separator = up && up->table->continuous_count == 0;
    if (up && !s.discrete_separator && up->table->discrete_count != c->table->discrete_count)
      fail(orv_error_error);  // not a strong junction tree
    return settle(joint, s);
  }

  void collect_child(const orv_clique_s *c, const orv_clique_s *from, const Separator *up, Message &m) {
    CgPotential p = collect(c, from, up);
    CliqueState &s = state(c);
    if (!s.discrete_separator) {
      m.weight = p.weight;
      m.potential = std::move(p);
      return;
    }
    m.discrete = true;
    const Vector<std::size_t> map = table_map(c->table, up->table);
    m.weight.assign(up->table->size, 0.0);
    for (std::size_t i = 0; i < p.size; ++i) m.weight[map[i]] += p.weight[i];
    s.complement_weight.resize(p.size);
    for (std::size_t i = 0; i < p.size; ++i) {
      const double total = m.weight[map[i]];
      s.complement_weight[i] = total > 0.0 ? p.weight[i] / total : 0.0;
    }
  }

  // Continuous nodes by depth (parents first), ties in domain order.
  void rank_continuous_nodes() {
    Vector<orv_node_t> nodes;
    for (orv_node_t n : tree_->nodes)
      if (n->is_continuous()) nodes.push_back(n);
    Vector<std::size_t> depth(nodes.size(), 0);
    for (bool changed = true; changed;) {
      changed = false;
      for (std::size_t i = 0; i < nodes.size(); ++i)
        for (orv_node_t p : nodes[i]->parents)
          for (std::size_t j = 0; j < nodes.size(); ++j)
            if (nodes[j] == p && depth[i] < depth[j] + 1) {
              depth[i] = depth[j] + 1;
              changed = true;
            }
    }
    for (std::size_t d = 0, placed = 0; placed < nodes.size(); ++d)
      for (std::size_t i = 0; i < nodes.size(); ++i)
        if (depth[i] == d) ranks_.emplace_back(nodes[i], placed++);
  }

  CgPotential compose(Vector<CgFactor> &factors, std::size_t size) const {
    return cg_compose(factors, size, rank_of, &ranks_);
  }

  static std::size_t rank_of(orv_node_t n, const void *context) {
    const auto &ranks = *static_cast<const Vector<std::pair<orv_node_t, std::size_t>> *>(context);
    for (const auto &[node, rank] : ranks)
      if (node == n) return rank;
    return ranks.size();
  }

  // Heads (observed or not) in topological order; with a separator only those
  // in it (in_sep) or not in it.
  Vector<orv_node_t> in_list(const Vector<orv_node_t> &heads, bool want_observed, const orv_table_s *sep = nullptr,
                             bool in_sep = false) const {
    Vector<orv_node_t> list;
    for (const auto &[n, rank] : ranks_)
      if (observed(n) == want_observed && p_contains(heads, n) && (!sep || sep->nodes.contains(n) == in_sep))
        list.push_back(n);
    return list;
  }

  static bool p_contains(const Vector<orv_node_t> &list, orv_node_t n) {
    for (orv_node_t m : list)
      if (m == n) return true;
    return false;
  }

  // Univariate regressions of p's heads in the order of the groups, observed
  // values substituted. When the first group is in topological order, its
  // heads keep no mention of a tail that comes after them (such
  // coefficients are 0 up to rounding, and would close cycles).
  Vector<CgFactor> split(const CgPotential &p, std::initializer_list<Vector<orv_node_t>> groups) const {
    Vector<orv_node_t> order;
    for (const Vector<orv_node_t> &g : groups) order.insert(order.end(), g.begin(), g.end());
    Vector<CgFactor> parts = cg_decompose(p, order);
    const std::size_t first = groups.begin()->size();
    for (std::size_t k = 0; k < parts.size(); ++k) {
      CgFactor &f = parts[k];
      cg_substitute(f, observed_value);
      if (k >= first || observed(f.head)) continue;
      const std::size_t own = rank_of(f.head, &ranks_);
      for (std::size_t r = 0; r < f.vars.size(); ++r)
        if (!p_contains(p.heads, f.vars[r]) && rank_of(f.vars[r], &ranks_) > own)
          for (std::size_t c = 0; c < p.size; ++c) f.values[c * f.stride() + 2 + r] = 0.0;
    }
    return parts;
  }

  // Turns the observed heads of a potential without tails into weights
  // (their joint density) and leaves the unobserved heads given the values.
  void condition(CgPotential &joint) {
    Vector<CgFactor> parts = split(joint, {in_list(joint.heads, true), in_list(joint.heads, false)});
    Vector<CgFactor> rest;
    for (CgFactor &f : parts) {
      if (!observed(f.head)) {
        rest.push_back(std::move(f));
        continue;
      }
      if (!f.vars.empty()) fail(orv_error_error);
      multiply_density(joint.weight, f);
    }
    Vector<double> weight;
    weight.swap(joint.weight);
    joint = compose(rest, weight.size());
    joint.weight.swap(weight);
    rescale(joint.weight);
  }

  // Splits the collected potential into the message (returned; at the root
  // its posterior) and the complement kept in s. Observed heads become
  // weights once nothing continuous outside the subtree bears on them (no
  // tails); until then they travel with the message towards the root.
  CgPotential settle(CgPotential &joint, CliqueState &s) {
    const orv_table_s *sep = s.up ? s.up->table : nullptr;
    const bool strong = !sep || s.discrete_separator;
    if (joint.tails.empty()) condition(joint);
    else if (strong) fail(orv_error_error);  // continuous tails at a strong separator
    Vector<orv_node_t> kept, observed_heads = in_list(joint.heads, true), others = in_list(joint.heads, false);
    if (!strong) {
      kept = in_list(joint.heads, false, sep, true);
      others = in_list(joint.heads, false, sep, false);
    }
    Vector<CgFactor> parts = split(joint, {kept, observed_heads, others});
    Vector<CgFactor> upper, rest;
    for (CgFactor &f : parts) {
      const bool up = !strong && (observed(f.head) || sep->nodes.contains(f.head));
      (up ? upper : rest).push_back(std::move(f));
    }
    CgPotential complement = compose(rest, joint.size);
    if (strong) {
      complement.weight.swap(joint.weight);
      if (sep) s.complement = complement;
      return complement;
    }
    CgPotential message = compose(upper, joint.size);
    message.weight.swap(joint.weight);
    s.complement = std::move(complement);
    return message;
  }

  // Multiplies the density of an observed head into the weights, relative
  // to its largest value (kept in the log scale) so that values far out in
  // the tails do not underflow.
  void multiply_density(Vector<double> &weight, const CgFactor &f) {
    const double x = f.head->cg_value;
    Vector<double> log_density(weight.size());
    double top = -HUGE_VAL;
    for (std::size_t i = 0; i < weight.size(); ++i) {
      const double m = f.values[i * 2], v = f.values[i * 2 + 1];
      log_density[i] = v > 0.0 ? -0.5 * (x - m) * (x - m) / v - 0.5 * std::log(2.0 * kPi * v)
                               : (x == m ? HUGE_VAL : -HUGE_VAL);
      if (weight[i] > 0.0) top = std::max(top, log_density[i]);
    }
    if (top == HUGE_VAL) fail(orv_error_overflow);  // a point mass met exactly: an infinite density
    if (top == -HUGE_VAL) {
      std::fill(weight.begin(), weight.end(), 0.0);  // density 0 wherever the weight is positive
      return;
    }
    for (std::size_t i = 0; i < weight.size(); ++i) weight[i] *= std::exp(log_density[i] - top);
    log_scale_ += top;
  }

  // Keeps weights within range by moving their largest value into the log scale.
  void rescale(Vector<double> &weight) {
    double top = 0.0;
    for (double w : weight) top = std::max(top, w);
    if (!(top > 0.0) || !std::isfinite(top)) return;
    for (double &w : weight) w /= top;
    log_scale_ += std::log(top);
  }

  void distribute(const orv_clique_s *c, const CgPotential &posterior) {
    write_clique(c, posterior);
    for (const CliqueLink &link : c->links) {
      if (link.separator->parent != c) continue;
      const orv_clique_s *child = link.neighbor;
      CliqueState &s = state(child);
      CgPotential next;
      if (s.discrete_separator) {
        const Vector<std::size_t> map = table_map(c->table, link.separator->table);
        Vector<double> marginal(link.separator->table->size, 0.0);
        for (std::size_t i = 0; i < posterior.size; ++i) marginal[map[i]] += posterior.weight[i];
        next = s.complement;
        const Vector<std::size_t> down = table_map(child->table, link.separator->table);
        for (std::size_t i = 0; i < next.size; ++i) next.weight[i] = s.complement_weight[i] * marginal[down[i]];
      } else {
        Vector<orv_node_t> keep;
        for (orv_node_t n : posterior.heads)
          if (link.separator->table->nodes.contains(n)) keep.push_back(n);
        const CgPotential marginal =
            cg_weak_marginal(posterior, keep, table_map(c->table, child->table), child->table->size);
        next = cg_extend(marginal, s.complement);
      }
      distribute(child, next);
    }
  }

  // The posterior into the clique table (observed nodes as point masses)
  // and into the results of the nodes that read their beliefs here.
  void write_clique(const orv_clique_s *c, const CgPotential &p) {
    orv_table_s *t = c->table;
    const std::size_t dc = t->discrete_count, cc = t->continuous_count;
    Vector<long> at(cc);
    for (std::size_t k = 0; k < cc; ++k) at[k] = p.head_index(t->nodes[dc + k]);
    const std::size_t h = p.head_count();
    for (std::size_t i = 0; i < t->size; ++i) {
      t->data[i] = p.weight[i];
      if (cc == 0) continue;
      double *block = t->cg_data + i * t->block_size;
      const double *mean = p.mean_of(i), *cov = p.cov_of(i);
      for (std::size_t k = 0; k < cc; ++k) {
        block[cg_vector_index(k)] = at[k] >= 0 ? mean[at[k]] : t->nodes[dc + k]->cg_value;
        for (std::size_t l = 0; l <= k; ++l)
          block[cg_matrix_index(k, l)] = at[k] >= 0 && at[l] >= 0 ? cov[at[k] * h + at[l]] : 0.0;
      }
    }
    for (std::size_t k = 0; k < cc; ++k) t->roles[k] = kRoleHead;
    for (orv_node_t n : c->belief_nodes) write_node(c, n);
  }

  void write_node(const orv_clique_s *c, orv_node_t n) {
    const orv_table_s *t = c->table;
    double *belief = n->results->belief;
    if (n->is_discrete()) {
      const orv_node_t alone[] = {n};
      const Vector<std::size_t> map = discrete_config_map(discrete_nodes(t), t->discrete_count, alone, 1);
      std::fill(belief, belief + n->state_count, 0.0);
      for (std::size_t i = 0; i < t->size; ++i) belief[map[i]] += t->data[i];
      return;
    }
    if (n->cg_entered) {
      belief[0] = n->cg_value;
      belief[1] = 0.0;
      return;
    }
    std::size_t k = 0;
    while (t->nodes[t->discrete_count + k] != n) ++k;
    double mean = 0.0, second = 0.0;
    for (std::size_t i = 0; i < t->size; ++i) mean += t->data[i] * t->cg_data[i * t->block_size + cg_vector_index(k)];
    for (std::size_t i = 0; i < t->size; ++i) {
      const double *block = t->cg_data + i * t->block_size;
      const double d = block[cg_vector_index(k)] - mean;
      second += t->data[i] * (block[cg_matrix_index(k, k)] + d * d);
    }
    belief[0] = mean;
    belief[1] = second;
  }

  orv_junction_tree_s *tree_;
  Vector<CliqueState> states_;
  Vector<std::pair<orv_node_t, std::size_t>> ranks_;  // topological order of the continuous nodes
  double log_scale_ = 0.0;
};

}  // namespace

void propagate_cg_tree(orv_junction_tree_s *t) { CgPropagation(t).run(); }

}  // namespace orv
