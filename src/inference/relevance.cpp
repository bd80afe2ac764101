// Which tables a targeted query needs: a Bayes-ball walk from the targets
// through the evidence, and the ancestors of the evidence when P(e) is wanted;
// then the kept tables as factors sliced by hard evidence.
#include <algorithm>
#include <cmath>

#include "inference/targeted.h"
#include "runtime/error.h"

namespace orv {

namespace {

constexpr unsigned char kTop = 1;        // visited from a child: its table is needed
constexpr unsigned char kBottom = 2;     // visited from a parent: passed to its children
constexpr unsigned char kAncestor = 4;   // an ancestor of evidence (or evidence itself)
constexpr unsigned char kKept = 8;       // its table is in the problem
constexpr unsigned char kLikelihood = 16;  // its likelihood vector is in the problem
constexpr unsigned char kCopied = 32;      // its table is used through a normalized copy

// Rows whose sum is this close to 1 are used as they are. Others (tables read
// from files often hold rows rounded to 1 +- 1e-7) are divided by their sum:
// dropping barren and separated nodes is exact only for distributions.
constexpr double kRowSumTolerance = 1e-14;

// A function node's table holds the node alone: its parents do not condition
// it (function nodes with models never come here: see needs_compiled_copy).
bool conditioned_by_parents(const orv_node_s *n) { return n->category != orv_category_function; }
bool probabilistic_child(const orv_node_s *c) { return c->category == orv_category_chance && c->is_discrete(); }
std::size_t slot(const orv_node_s *n) { return n->number - 1; }

struct Visit {
  orv_node_s *node;
  bool from_child;
};

class Selection {
 public:
  Selection(orv_domain_s *d, Problem &p) : d_(d), p_(p), flags_(d->node_count, 0) {
    std::size_t links = 0;
    evidence_.reserve(d->node_count);
    for (orv_node_s *n = d->first_node; n; n = n->next) {
      links += n->parents.size() + n->children.size();
      if (n->is_discrete() && n->selected_state != -1) evidence_.push_back(n);
    }
    stack_.reserve(2 * links + 2 * d->node_count + 1);
    kept_.reserve(d->node_count);
  }

  // Bayes ball: a hard-observed node blocks balls from its children and
  // bounces balls from its parents back up; a likelihood acts as an observed
  // child, so a node that carries one bounces balls back to its own parents.
  void bayes_ball(orv_node_s *const *targets, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
      if (!p_.hard(targets[i])) stack_.push_back({targets[i], true});
    while (!stack_.empty()) {
      const Visit v = stack_.back();
      stack_.pop_back();
      orv_node_s *n = v.node;
      unsigned char &f = flags_[slot(n)];
      if (p_.hard(n)) {
        if (!v.from_child && !(f & kTop)) {
          f |= kTop;
          up(n);
        }
        continue;
      }
      if (v.from_child && !(f & kTop)) {
        f |= kTop;
        up(n);
      }
      if (!(f & kBottom)) {
        f |= kBottom;
        for (orv_node_s *c : n->children)
          if (probabilistic_child(c)) stack_.push_back({c, false});
        if (n->selected_state == -2) stack_.push_back({n, true});
      }
    }
    for (orv_node_s *n = d_->first_node; n; n = n->next) {
      unsigned char &f = flags_[slot(n)];
      if (f & kTop) keep(n);
      if ((f & kBottom) && n->selected_state == -2) f |= kLikelihood;
    }
  }

  // Every evidence node and its ancestors, with every likelihood.
  void evidence_ancestors() {
    for (orv_node_s *e : evidence_) {
      if (e->selected_state == -2) flags_[slot(e)] |= kLikelihood;
      stack_.push_back({e, false});
    }
    while (!stack_.empty()) {
      orv_node_s *n = stack_.back().node;
      stack_.pop_back();
      unsigned char &f = flags_[slot(n)];
      if (f & kAncestor) continue;
      f |= kAncestor;
      keep(n);
      if (!conditioned_by_parents(n)) continue;
      for (orv_node_s *parent : n->parents)
        if (parent->is_discrete() && !(flags_[slot(parent)] & kAncestor)) stack_.push_back({parent, false});
    }
  }

  void build() {
    std::size_t entries = 0, factors = 0;
    for (orv_node_s *n : kept_) {
      entries += n->table ? n->table->discrete_count : 1;
      ++factors;
    }
    for (orv_node_s *e : evidence_)
      if (flags_[slot(e)] & kLikelihood) ++entries, ++factors;
    std::size_t copied = 0;
    for (orv_node_s *n : kept_) {
      const orv_table_s *t = n->table;
      if (!t || !t->data) {
        copied += 1;  // the uniform entry
      } else if (needs_copy(n)) {
        flags_[slot(n)] |= kCopied;
        copied += t->size;
      }
    }
    p_.normalized.allocate(copied);
    next_copy_ = p_.normalized.data();
    p_.local.assign(d_->node_count, kNoFactor);
    p_.vars.reserve(entries);
    p_.states.reserve(entries);
    p_.factors.reserve(factors + 2 * entries);  // room for two more per variable
    p_.scope_vars.reserve(entries);
    p_.scope_strides.reserve(entries);
    for (orv_node_s *n : kept_) add_table(n);
    for (orv_node_s *e : evidence_)
      if (flags_[slot(e)] & kLikelihood) add_likelihood(e);
    p_.network_factors = p_.factors.size();
  }

 private:
  // Calls row(first entry, step) for every conditional distribution of the
  // node's table; stops early when row returns false.
  template <class Row>
  static void for_each_row(orv_node_s *n, Row &&row) {
    const orv_table_s *t = n->table;
    const long at = t->nodes.index_of(n);
    const std::size_t count = n->state_count;
    const std::size_t after = stride_after(t, static_cast<std::size_t>(at));
    const std::size_t before = stride_before(t, static_cast<std::size_t>(at));
    for (std::size_t b = 0; b < before; ++b)
      for (std::size_t a = 0; a < after; ++a)
        if (!row(b * count * after + a, after)) return;
  }

  static double row_sum(const double *data, std::size_t count, std::size_t step) {
    double sum = 0.0;
    for (std::size_t i = 0; i < count; ++i) sum += data[i * step];
    return sum;
  }

  // Whether the table is used through a normalized copy (a table never
  // filled holds ones: its copy is the uniform distribution).
  static bool needs_copy(orv_node_s *n) {
    const orv_table_s *t = n->table;
    if (!t || !t->data) return false;
    bool off = false;
    for_each_row(n, [&](std::size_t first, std::size_t step) {
      off = !(std::fabs(row_sum(t->data + first, n->state_count, step) - 1.0) <= kRowSumTolerance);
      return !off;
    });
    return off;
  }

  // The normalized copy of the node's table in `copy`; zero rows stay zero.
  static void normalize_into(orv_node_s *n, double *copy) {
    const orv_table_s *t = n->table;
    std::copy(t->data, t->data + t->size, copy);
    for_each_row(n, [&](std::size_t first, std::size_t step) {
      const double sum = row_sum(copy + first, n->state_count, step);
      if (sum > 0.0)
        for (std::size_t i = 0; i < n->state_count; ++i) copy[first + i * step] /= sum;
      return true;
    });
  }

  void up(orv_node_s *n) {
    if (!conditioned_by_parents(n)) return;
    for (orv_node_s *parent : n->parents)
      if (parent->is_discrete()) stack_.push_back({parent, true});
  }

  void keep(orv_node_s *n) {
    unsigned char &f = flags_[slot(n)];
    if (f & kKept) return;
    f |= kKept;
    kept_.push_back(n);
  }

  std::uint32_t variable(orv_node_s *n) {
    std::uint32_t &v = p_.local[slot(n)];
    if (v == kNoFactor) {
      v = static_cast<std::uint32_t>(p_.vars.size());
      p_.vars.push_back(n);
      p_.states.push_back(n->state_count);
    }
    return v;
  }

  void add_factor(const double *data) {
    Factor f;
    f.data = data;
    f.first = static_cast<std::uint32_t>(p_.scope_vars.size());
    p_.factors.push_back(f);
  }
  void add_scope(std::uint32_t var, std::size_t stride) {
    p_.scope_vars.push_back(var);
    p_.scope_strides.push_back(stride);
    ++p_.factors.back().count;
  }

  // A table that was never filled holds ones: normalized, the uniform
  // distribution over the node (stride 0 reads the one entry).
  void add_table(orv_node_s *n) {
    const orv_table_s *t = n->table;
    if (!t || !t->data) {
      *next_copy_ = 1.0 / static_cast<double>(n->state_count);
      add_factor(next_copy_++);
      if (!p_.hard(n)) add_scope(variable(n), 0);
      return;
    }
    const double *data = t->data;
    if (flags_[slot(n)] & kCopied) {
      normalize_into(n, next_copy_);
      data = next_copy_;
      next_copy_ += t->size;
    }
    std::size_t offset = 0, stride = 1;
    for (std::size_t k = t->discrete_count; k-- > 0;) {
      const orv_node_s *m = t->nodes[k];
      if (p_.hard(m)) offset += static_cast<std::size_t>(m->selected_state) * stride;
      stride *= m->state_count;
    }
    add_factor(data + offset);
    stride = 1;
    // Scope entries in table order, strides from the last node back.
    const std::size_t first = p_.scope_vars.size();
    for (std::size_t k = t->discrete_count; k-- > 0;) {
      orv_node_s *m = t->nodes[k];
      if (!p_.hard(m)) add_scope(variable(m), stride);
      stride *= m->state_count;
    }
    // Reverse to table order (outermost first), which suits the kernel's walk.
    for (std::size_t i = first, j = p_.scope_vars.size(); i + 1 < j; ++i, --j) {
      std::swap(p_.scope_vars[i], p_.scope_vars[j - 1]);
      std::swap(p_.scope_strides[i], p_.scope_strides[j - 1]);
    }
  }

  void add_likelihood(orv_node_s *n) {
    add_factor(n->entered_finding.data());
    add_scope(variable(n), 1);
  }

  orv_domain_s *d_;
  Problem &p_;
  Vector<unsigned char> flags_;
  Vector<orv_node_s *> evidence_;
  Vector<Visit> stack_;
  Vector<orv_node_s *> kept_;
  double *next_copy_ = nullptr;
};

}  // namespace

void select_factors(orv_domain_s *d, orv_node_s *const *targets, std::size_t count,
                    bool with_evidence_ancestors, Problem &p) {
  Selection s(d, p);
  s.bayes_ball(targets, count);
  if (with_evidence_ancestors) s.evidence_ancestors();
  s.build();
}

}  // namespace orv
