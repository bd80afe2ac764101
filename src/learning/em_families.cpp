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

const double *experience_data(orv_table_s *experience) {
  _orv_allocate_data_arrays(experience);
  return experience->data;
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

bool make_learned_node(orv_node_s *n, orv_table_s *experience_table, LearnedNode &l) {
  const double *experience = experience_data(experience_table);
  const std::size_t configurations = experience_table->size;
  const double largest = *std::max_element(experience, experience + configurations);
  if (!(largest >= 0.0)) return false;
  orv_table_s *t = node_table(n);
  _orv_allocate_data_arrays(t);
  l.node = n;
  l.experience = experience_table;
  if (n->is_continuous()) {
    const std::size_t q = moment_dimension(n);
    l.counts.assign(size_multiply(t->size, q * q), 0.0);
    l.scratch.assign(2 * (q - 1) * (q - 1) + 2 * (q - 1), 0.0);
    if (largest > 0.0) cg_prior(l, experience);
    return true;
  }
  l.counts.assign(t->size, 0.0);
  if (largest > 0.0) {
    l.prior.assign(t->size, 0.0);
    const std::size_t states = n->state_count;
    for (std::size_t j = 0; j < configurations; ++j) {
      if (!(experience[j] > 0.0)) continue;
      for (std::size_t s = 0; s < states; ++s) l.prior[j * states + s] = experience[j] * t->data[j * states + s];
    }
  }
  return true;
}

Vector<LearnedNode> learned_nodes(orv_domain_s *d) {
  Vector<LearnedNode> learned;
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (!holds_cases(n) || !n->experience) continue;
    LearnedNode l;
    if (!make_learned_node(n, n->experience, l)) continue;
    l.leader = learned.size();
    learned.push_back(std::move(l));
  }
  return learned;
}

void m_step(LearnedNode &l) noexcept {
  orv_node_s *n = l.node;
  if (n->is_continuous()) {
    cg_m_step(l);
    return;
  }
  if (!l.prior.empty())
    for (std::size_t i = 0; i < l.counts.size(); ++i) l.counts[i] += l.prior[i];
  const double *experience = l.experience->data;
  double *table = n->table->data;
  const std::size_t states = n->state_count;
  for (std::size_t j = 0, configurations = l.experience->size; j < configurations; ++j) {
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

void m_step_all(Vector<LearnedNode> &learned) noexcept {
  for (std::size_t k = 0; k < learned.size(); ++k) {
    if (learned[k].leader == k) continue;
    Vector<double> &to = learned[learned[k].leader].counts;
    const Vector<double> &from = learned[k].counts;
    for (std::size_t e = 0; e < to.size(); ++e) to[e] += from[e];
  }
  for (std::size_t k = 0; k < learned.size(); ++k)
    if (learned[k].leader == k) m_step(learned[k]);
  for (std::size_t k = 0; k < learned.size(); ++k) {
    if (learned[k].leader == k) continue;
    const orv_table_s *from = learned[learned[k].leader].node->table;
    orv_node_s *n = learned[k].node;
    _orv_copy_table_data(n->table, from);
    if (n->junction_tree) n->junction_tree->tables_changed = true;
  }
}

void update_experience(LearnedNode &l) noexcept {
  orv_node_s *n = l.node;
  double *experience = l.experience->data;
  // A continuous node's count of a configuration is its moment E[1].
  const std::size_t q = n->is_continuous() ? moment_dimension(n) : 0;
  const std::size_t states = n->state_count;
  for (std::size_t j = 0, configurations = l.experience->size; j < configurations; ++j) {
    if (!(experience[j] >= 0.0)) continue;
    double sum = 0.0;
    if (q > 0) sum = l.counts[j * q * q];
    else
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
