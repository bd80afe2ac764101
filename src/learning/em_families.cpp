// The learned nodes of EM: which nodes learn, their prior counts from
// experience, the M-step, the experience update, case flags and the number
// of free parameters.
#include <algorithm>

#include "learning/case_store.h"
#include "learning/em.h"
#include "runtime/error.h"
#include "tables/node_table.h"

namespace orv {

namespace {

const double *experience_data(orv_node_s *n) {
  _orv_allocate_data_arrays(n->experience);
  return n->experience->data;
}

}  // namespace

Vector<signed char> case_flags(orv_domain_s *d) {
  Vector<signed char> flags(d->number_of_cases, 1);
  for (std::size_t i = 0; i < d->number_of_cases; ++i) {
    if (!(case_weight(d, i) > 0.0)) {
      flags[i] = -1;
      continue;
    }
    for (orv_node_s *n = d->first_node; n; n = n->next) {
      if (holds_cases(n) && !case_is_set(n, i)) {
        flags[i] = 0;
        break;
      }
    }
  }
  return flags;
}

Vector<LearnedNode> learned_nodes(orv_domain_s *d) {
  Vector<LearnedNode> learned;
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (!holds_cases(n) || !n->experience) continue;
    const double *experience = experience_data(n);
    const std::size_t configurations = n->experience->size;
    const double largest = *std::max_element(experience, experience + configurations);
    if (!(largest >= 0.0)) continue;
    orv_table_s *t = node_table(n);
    _orv_allocate_data_arrays(t);
    LearnedNode l;
    l.node = n;
    l.counts.assign(t->size, 0.0);
    if (largest > 0.0) {
      l.prior.assign(t->size, 0.0);
      const std::size_t states = n->state_count;
      for (std::size_t j = 0; j < configurations; ++j) {
        if (!(experience[j] > 0.0)) continue;
        for (std::size_t s = 0; s < states; ++s) l.prior[j * states + s] = experience[j] * t->data[j * states + s];
      }
    }
    learned.push_back(std::move(l));
  }
  return learned;
}

void m_step(LearnedNode &l) noexcept {
  orv_node_s *n = l.node;
  if (!l.prior.empty())
    for (std::size_t i = 0; i < l.counts.size(); ++i) l.counts[i] += l.prior[i];
  const double *experience = n->experience->data;
  double *table = n->table->data;
  const std::size_t states = n->state_count;
  for (std::size_t j = 0, configurations = n->experience->size; j < configurations; ++j) {
    if (!(experience[j] >= 0.0)) continue;
    const double *counts = &l.counts[j * states];
    double sum = 0.0;
    for (std::size_t s = 0; s < states; ++s) sum += counts[s];
    if (!(sum > 0.0)) continue;
    for (std::size_t s = 0; s < states; ++s) table[j * states + s] = counts[s] / sum;
  }
  if (n->junction_tree) n->junction_tree->tables_changed = true;
  n->owner->log_likelihood_valid = false;
}

void update_experience(LearnedNode &l) noexcept {
  orv_node_s *n = l.node;
  double *experience = n->experience->data;
  const std::size_t states = n->state_count;
  for (std::size_t j = 0, configurations = n->experience->size; j < configurations; ++j) {
    if (!(experience[j] >= 0.0)) continue;
    double sum = 0.0;
    for (std::size_t s = 0; s < states; ++s) sum += l.counts[j * states + s];
    experience[j] = sum;
  }
}

double free_parameters(const orv_domain_s *d) {
  double k = 0.0;
  for (const orv_node_s *n = d->first_node; n; n = n->next) {
    if (!holds_cases(n)) continue;
    double configurations = 1.0, continuous_parents = 0.0;
    for (const orv_node_s *p : n->parents) {
      if (p->is_discrete()) configurations *= static_cast<double>(p->state_count);
      else if (p->is_continuous()) continuous_parents += 1.0;
    }
    if (n->is_discrete()) k += configurations * (static_cast<double>(n->state_count) - 1.0);
    else k += configurations * (continuous_parents + 2.0);
  }
  return k;
}

}  // namespace orv
