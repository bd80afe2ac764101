// Division-based absorption through separators: the new separator table is
// built in a buffer sized for the widest separator, so nothing is allocated.
#include "inference/absorption.h"

#include <algorithm>
#include <utility>

#include "inference/evidence.h"
#include "runtime/error.h"
#include "tables/control.h"

namespace orv {

namespace {

const CliqueLink &link_to(const orv_clique_s *from, const orv_clique_s *to) {
  for (const CliqueLink &link : from->links)
    if (link.neighbor == to) return link;
  fail(orv_error_error);
}

JunctionForest &forest_of(const orv_clique_s *c) { return *junction_forest(c->domain); }

bool has_propagated_evidence(orv_node_t n) { return n->is_discrete() && n->propagated_state != kNoEvidence; }

// Fast retraction loses information when the old separator is zero where the
// receiver's own table is not: the sender's message there is unknown.
void check_retraction_loss(orv_clique_s *receiver, const CliqueLink &receiver_link) {
  const Separator *s = receiver_link.separator;
  const double *old = s->table->data;
  const std::size_t n = s->table->size;
  if (std::find(old, old + n, 0.0) == old + n) return;
  double *mass = forest_of(receiver).check_buffer;
  _orv_marginalize(receiver_link.control, orv_equilibrium_sum, kMarginalizeOut, mass, nullptr);
  for (std::size_t i = 0; i < n; ++i)
    if (old[i] == 0.0 && mass[i] > 0.0) fail(orv_error_fast_retraction);
}

}  // namespace

bool holds_evidence(const orv_clique_s *c, orv_node_t excluded) {
  for (orv_node_t n : c->top_nodes)
    if (n != excluded && has_propagated_evidence(n)) return true;
  return false;
}

void apply_evidence_copy(orv_clique_s *c, orv_node_t excluded) {
  JunctionForest &f = forest_of(c);
  std::copy(c->table->data, c->table->data + c->table->size, f.clique_buffer);
  std::swap(c->table->data, f.clique_buffer);
  try {
    for (orv_node_t n : c->top_nodes)
      if (n != excluded && has_propagated_evidence(n)) _orv_combine(n->results->top_control);
  } catch (...) {
    restore_after_copy(c);
    throw;
  }
}

void restore_after_copy(orv_clique_s *c) noexcept { std::swap(c->table->data, forest_of(c).clique_buffer); }

void absorb(orv_clique_s *receiver, orv_clique_s *sender, orv_equilibrium_t equilibrium,
            orv_evidence_mode_t mode, Direction direction) {
  JunctionForest &f = forest_of(receiver);
  const CliqueLink &out = link_to(sender, receiver);
  const CliqueLink &in = link_to(receiver, sender);
  Separator *s = out.separator;
  const bool fast = mode == orv_mode_fast_retraction;
  const bool utility = s->utility != nullptr;

  auto marginalize = [&] {
    _orv_marginalize(out.control, equilibrium, kMarginalizeOut, f.separator_buffer,
                     utility ? f.separator_utility_buffer : nullptr);
  };
  if (fast) with_evidence_applied(sender, nullptr, marginalize);
  else marginalize();
  if (fast && direction == Direction::distribute) check_retraction_loss(receiver, in);

  // The old separator becomes the quotient that the receiver multiplies in;
  // the new table then replaces it.
  double *quotient = s->table->data;
  const double *fresh = f.separator_buffer;
  for (std::size_t i = 0, n = s->table->size; i < n; ++i)
    quotient[i] = quotient[i] == 0.0 ? 0.0 : fresh[i] / quotient[i];
  if (utility) {
    double *difference = s->utility->data;
    const double *fresh_utility = f.separator_utility_buffer;
    for (std::size_t i = 0, n = s->utility->size; i < n; ++i) difference[i] = fresh_utility[i] - difference[i];
  }
  _orv_combine(in.control);
  std::copy(fresh, fresh + s->table->size, s->table->data);
  if (utility) std::copy(f.separator_utility_buffer, f.separator_utility_buffer + s->utility->size, s->utility->data);
}

double clique_total(orv_clique_s *c, orv_equilibrium_t equilibrium, orv_evidence_mode_t mode) {
  double total = 0.0;
  auto add_up = [&] {
    const double *data = c->table->data;
    const std::size_t n = c->table->size;
    if (equilibrium == orv_equilibrium_sum) {
      for (std::size_t i = 0; i < n; ++i) total += data[i];
    } else {
      for (std::size_t i = 0; i < n; ++i) total = std::max(total, data[i]);
    }
  };
  if (mode == orv_mode_fast_retraction) with_evidence_applied(c, nullptr, add_up);
  else add_up();
  return total;
}

}  // namespace orv
