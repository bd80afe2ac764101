// The message store and the combination of clique bases with messages and
// decision factors that single policy updating and the per-option expected
// utilities of decisions are computed from.
#include "decisions/tree_solver.h"

#include <algorithm>

#include "inference/evidence.h"
#include "runtime/error.h"
#include "tables/control.h"

namespace orv {

namespace {

// Points a table's data at another array for the lifetime of the guard.
class DataSwap {
 public:
  DataSwap(double *&slot, double *replacement) : slot_(slot), saved_(slot) { slot_ = replacement; }
  ~DataSwap() { slot_ = saved_; }
  DataSwap(const DataSwap &) = delete;
  DataSwap &operator=(const DataSwap &) = delete;

 private:
  double *&slot_;
  double *saved_;
};

bool is_decision(const orv_node_s *n) { return n->category == orv_category_decision; }

// Multiplies a decision's factor into its clique.
void apply_factor(orv_node_t d) {
  NodeResults *r = d->results;
  if (decision_is_instantiated(d)) {
    double *indicator = r->evidence_table->data;
    for (std::size_t s = 0; s < d->state_count; ++s) indicator[s] = propagated_weight(d, s);
    _orv_combine(r->evidence_control);
  } else if (r->potential_control) {
    _orv_combine(r->potential_control);
  }
}

}  // namespace

bool decision_is_instantiated(const orv_node_s *decision) { return decision->propagated_state >= 0; }

bool has_compiled_policy(const orv_node_s *decision) {
  return decision->table && decision->assigned_clique && decision->results && decision->results->potential_control;
}

TreeSolver::TreeSolver(orv_junction_tree_s *tree) : tree_(tree) {
  std::size_t highest = 0, base_size = 0, slots = 0;
  for (orv_clique_s *c : tree->cliques) {
    if (!c) break;
    if (!c->utility) fail(orv_error_usage);
    cliques_.push_back(c);
    highest = std::max(highest, c->number);
  }
  position_.assign(highest + 1, 0);
  std::size_t message_size = 0;
  for (std::size_t i = 0; i < cliques_.size(); ++i) {
    orv_clique_s *c = cliques_[i];
    position_[c->number] = i;
    base_offset_.push_back(base_size);
    base_size = size_add(base_size, size_multiply(c->table->size, 2));
    widest_clique_ = std::max(widest_clique_, c->table->size);
    first_slot_.push_back(slots);
    for (const CliqueLink &link : c->links) {
      slot_offset_.push_back(message_size);
      message_size = size_add(message_size, size_multiply(link.separator->table->size, 2));
      ++slots;
    }
  }
  first_slot_.push_back(slots);
  valid_.assign(slots, 0);
  base_.resize(base_size);
  messages_.resize(message_size);
  work_.resize(size_multiply(widest_clique_, 2));
  families_.items.reserve(tree->nodes.size());
  for (orv_node_t n : tree->nodes) {
    if (!is_decision(n) || !has_compiled_policy(n)) continue;
    Family f{n, nullptr, nullptr, nullptr};
    orv_clique_s *c = n->assigned_clique;
    try {
      f.table = _orv_create_table(tree->domain, n->table->nodes.c_list(), orv_table_probability, 0, true, false);
      f.contraction = _orv_create_control(c->table, c->utility, f.table, nullptr, false);
      _orv_setup_control_fast_retraction(f.contraction);
      f.probability = _orv_create_control(c->table, nullptr, f.table, nullptr, false);
      _orv_setup_control_fast_retraction(f.probability);
    } catch (...) {
      _orv_free_control(f.contraction);
      _orv_free_table(f.table);
      throw;
    }
    families_.items.push_back(f);
    widest_family_ = std::max(widest_family_, f.table->size);
  }
}

TreeSolver::~TreeSolver() = default;

TreeSolver::FamilyStore::~FamilyStore() {
  for (Family &f : items) {
    _orv_free_control(f.probability);
    _orv_free_control(f.contraction);
    _orv_free_table(f.table);
  }
}

void TreeSolver::load_base() {
  std::fill(valid_.begin(), valid_.end(), 0);
  for (std::size_t i = 0; i < cliques_.size(); ++i) {
    orv_clique_s *c = cliques_[i];
    double *p = base_.data() + base_offset_[i];
    DataSwap probability(c->table->data, p), utility(c->utility->data, p + c->table->size);
    _orv_init_table(c->table);
    _orv_init_table(c->utility);
    for (orv_node_t n : c->assigned)
      if (!is_decision(n) && n->results->potential_control) _orv_combine(n->results->potential_control);
  }
  for (orv_node_t n : tree_->nodes) {
    if (!n->is_discrete() || is_decision(n) || n->propagated_state == kNoEvidence) continue;
    orv_clique_s *c = n->assigned_clique;
    double *p = base_.data() + base_offset_[index_of(c)];
    DataSwap probability(c->table->data, p), utility(c->utility->data, p + c->table->size);
    double *weights = n->results->evidence_table->data;
    for (std::size_t s = 0; s < n->state_count; ++s) weights[s] = propagated_weight(n, s);
    _orv_combine(n->results->evidence_control);
  }
}

template <class Body>
void TreeSolver::with_combined(std::size_t i, std::size_t skip, orv_node_t left_out, Body &&body) {
  orv_clique_s *c = cliques_[i];
  const std::size_t n = c->table->size;
  const double *base = base_.data() + base_offset_[i];
  double *wp = work_.data(), *wu = wp + widest_clique_;
  std::copy(base, base + n, wp);
  std::copy(base + n, base + 2 * n, wu);
  DataSwap probability(c->table->data, wp), utility(c->utility->data, wu);
  for (std::size_t j = 0; j < c->links.size(); ++j) {
    if (j == skip) continue;
    const CliqueLink &link = c->links[j];
    Separator *s = link.separator;
    double *m = messages_.data() + slot_offset_[first_slot_[i] + j];
    DataSwap mp(s->table->data, m), mu(s->utility->data, m + s->table->size);
    _orv_combine(link.control);
  }
  for (orv_node_t d : c->assigned)
    if (is_decision(d) && d != left_out) apply_factor(d);
  body();
}

void TreeSolver::ensure_message(std::size_t i, std::size_t j) {
  const std::size_t slot = first_slot_[i] + j;
  if (valid_[slot]) return;
  orv_clique_s *receiver = cliques_[i];
  orv_clique_s *sender = receiver->links[j].neighbor;
  const std::size_t k = index_of(sender);
  std::size_t back = 0;
  for (std::size_t l = 0; l < sender->links.size(); ++l) {
    if (sender->links[l].neighbor == receiver) back = l;
    else ensure_message(k, l);
  }
  const CliqueLink &out = sender->links[back];
  double *m = messages_.data() + slot_offset_[slot];
  with_combined(k, back, nullptr, [&] {
    _orv_marginalize(out.control, orv_equilibrium_sum, kMarginalizeOut, m, m + out.separator->table->size);
  });
  valid_[slot] = 1;
}

const TreeSolver::Family &TreeSolver::family_of(orv_node_t decision) const {
  for (const Family &f : families_.items)
    if (f.decision == decision) return f;
  fail(orv_error_usage);
}

void TreeSolver::family_values(orv_node_t decision, double *probability, double *weighted) {
  const Family &f = family_of(decision);
  const std::size_t i = index_of(decision->assigned_clique);
  for (std::size_t j = 0; j < cliques_[i]->links.size(); ++j) ensure_message(i, j);
  with_combined(i, static_cast<std::size_t>(-1), decision, [&] {
    _orv_marginalize_contraction(f.contraction);
    _orv_marginalize(f.probability, orv_equilibrium_sum, kMarginalizeOut, probability, nullptr);
  });
  std::copy(f.table->data, f.table->data + f.table->size, weighted);
}

void TreeSolver::invalidate_away(std::size_t i, const orv_clique_s *from) {
  orv_clique_s *c = cliques_[i];
  for (const CliqueLink &link : c->links) {
    if (link.neighbor == from) continue;
    const std::size_t k = index_of(link.neighbor);
    for (std::size_t l = 0; l < link.neighbor->links.size(); ++l)
      if (link.neighbor->links[l].neighbor == c) valid_[first_slot_[k] + l] = 0;
    invalidate_away(k, c);
  }
}

void TreeSolver::invalidate_from(orv_clique_s *clique) { invalidate_away(index_of(clique), nullptr); }

}  // namespace orv
