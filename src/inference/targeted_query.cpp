// The two targeted queries: the joint posterior of a target set (eliminate
// everything else, multiply what is left), and the beliefs of many single
// targets (eliminate everything, then send messages back down the
// elimination tree to the cliques that hold the targets).
#include <cmath>

#include "inference/targeted.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {

namespace {

struct TableDeleter {
  void operator()(orv_table_s *t) const noexcept { _orv_free_table(t); }
};
using TablePtr = std::unique_ptr<orv_table_s, TableDeleter>;

double checked_log_pe(double total, double log_scale) {
  if (!(total > 0.0) || !std::isfinite(total)) fail(orv_error_inconsistency_or_underflow);
  return std::log(total) + log_scale;
}

double normalize(double *data, std::size_t size) {
  double total = 0.0;
  for (std::size_t i = 0; i < size; ++i) total += data[i];
  if (!(total > 0.0) || !std::isfinite(total)) fail(orv_error_inconsistency_or_underflow);
  for (std::size_t i = 0; i < size; ++i) data[i] /= total;
  return total;
}

}  // namespace

orv_table_s *targeted_marginal(orv_domain_s *d, orv_node_s *const *targets, double *log_pe) {
  if (needs_compiled_copy(d)) return compiled_copy_marginal(d, targets, log_pe);
  std::size_t count = 0;
  while (targets[count]) ++count;
  TablePtr result(_orv_create_table(d, targets, orv_table_probability, 0, true, false));
  Problem p;
  select_factors(d, targets, count, log_pe != nullptr, p);

  // The free targets (caller order) are kept; their joint goes first in the arena.
  Vector<unsigned char> kept(p.vars.size(), 0);
  Vector<std::uint32_t> free_vars;
  free_vars.reserve(count);
  for (std::size_t i = 0; i < count; ++i)
    if (!p.hard(targets[i])) {
      const std::uint32_t v = p.local[targets[i]->number - 1];
      kept[v] = 1;
      free_vars.push_back(v);
    }
  const std::size_t joint_size = configurations(p, free_vars.data(), free_vars.size());
  plan_elimination(p, kept.data(), joint_size);
  ProductWorkspace w(p);
  run_eliminations(p, w);
  double *joint = p.arena.data();
  const std::size_t factors = bucket_factors(p, w, p.steps());
  product_marginal(p, w, w.ids.data(), factors, free_vars.data(), free_vars.size(), nullptr, 0, joint);
  const double total = normalize(joint, joint_size);
  if (log_pe) *log_pe = checked_log_pe(total, p.log_scale);

  // Spread the joint of the free targets over the full table: hard-evidence
  // targets are fixed at their state, every other entry is 0.
  Vector<std::size_t> stride(count), digit(count, 0);
  std::size_t base = 0, s = 1;
  for (std::size_t i = count; i-- > 0;) {
    stride[i] = s;
    if (p.hard(targets[i])) base += static_cast<std::size_t>(targets[i]->selected_state) * s;
    s *= targets[i]->state_count;
  }
  double *data = result->data;
  std::fill(data, data + result->size, 0.0);
  std::size_t at = base;
  for (std::size_t j = 0; j < joint_size; ++j) {
    data[at] = joint[j];
    for (std::size_t i = count; i-- > 0;) {  // next configuration of the free targets
      if (p.hard(targets[i])) continue;
      if (++digit[i] < targets[i]->state_count) {
        at += stride[i];
        break;
      }
      at -= (digit[i] - 1) * stride[i];
      digit[i] = 0;
    }
  }
  return result.release();
}

namespace {

// Hard-evidence targets get their indicator; the others the joint of `single`.
void single_target_beliefs(orv_node_s *const *targets, std::size_t count, const double *joint, double *out) {
  for (std::size_t i = 0; i < count; ++i) {
    const orv_node_s *t = targets[i];
    for (std::size_t k = 0; k < t->state_count; ++k)
      out[k] = Problem::hard(t) ? (k == static_cast<std::size_t>(t->selected_state) ? 1.0 : 0.0) : joint[k];
    out += t->state_count;
  }
}

}  // namespace

void targeted_beliefs(orv_domain_s *d, orv_node_s *const *targets, double *beliefs, double *log_pe) {
  if (needs_compiled_copy(d)) return compiled_copy_beliefs(d, targets, beliefs, log_pe);
  std::size_t count = 0;
  while (targets[count]) ++count;
  // One free target (perhaps listed twice): eliminating everything else is
  // one pass instead of two.
  orv_node_s *single = nullptr;
  bool one = true;
  for (std::size_t i = 0; i < count; ++i)
    if (!Problem::hard(targets[i])) {
      one = one && (!single || single == targets[i]);
      single = targets[i];
    }
  if (single && one) {
    orv_node_s *list[] = {single, nullptr};
    const TablePtr joint(targeted_marginal(d, list, log_pe));
    single_target_beliefs(targets, count, joint->data, beliefs);
    return;
  }
  Problem p;
  select_factors(d, targets, count, log_pe != nullptr, p);
  const Vector<unsigned char> kept(p.vars.size(), 0);
  plan_elimination(p, kept.data(), 0);
  ProductWorkspace w(p);
  run_eliminations(p, w);
  const std::size_t steps = p.steps();
  double total = 1.0;  // the roots' results are the constant factors of the last bucket
  for (std::uint32_t f = p.bucket_head[steps]; f != kNoFactor; f = p.factors[f].next) total *= p.factors[f].data[0];
  const double log_total = checked_log_pe(total, p.log_scale);
  if (log_pe) *log_pe = log_total;

  // Steps on the way from a target's clique to its root need the message
  // from their parent (the step whose bucket took their produced factor).
  auto parent = [&](std::size_t step) { return p.factors[p.network_factors + step].bucket; };
  Vector<unsigned char> needed(steps + 1, 0);
  for (std::size_t i = 0; i < count; ++i) {
    if (p.hard(targets[i])) continue;
    for (std::size_t s = p.step_of[p.local[targets[i]->number - 1]]; s < steps && !needed[s]; s = parent(s))
      needed[s] = 1;
  }
  std::size_t message_size = 0;
  for (std::size_t s = 0; s < steps; ++s)
    if (needed[s] && parent(s) < steps) {
      const Factor &x = p.factors[p.network_factors + s];
      message_size += configurations(p, p.scope_vars.data() + x.first, x.count);
    }
  DoubleBuffer messages;
  messages.allocate(message_size);
  Vector<std::uint32_t> down(steps, kNoFactor);  // step -> factor of its parent's message
  Vector<unsigned char> in_separator(p.vars.size(), 0);
  Vector<std::uint32_t> summed(p.widest_clique + 1);
  double *next = messages.data();

  // Parents come after their children in the order: walk it backwards.
  for (std::size_t s = steps; s-- > 0;) {
    const std::size_t up = parent(s);
    if (!needed[s] || up >= steps) continue;
    const std::uint32_t mine = static_cast<std::uint32_t>(p.network_factors + s);
    const Factor &sep = p.factors[mine];
    const Factor &above = p.factors[p.network_factors + up];
    // Everything in the parent's bucket but this step's own factor, and the
    // parent's message from above.
    std::size_t n = 0;
    for (std::uint32_t f = p.bucket_head[up]; f != kNoFactor; f = p.factors[f].next)
      if (f != mine) w.ids[n++] = f;
    if (down[up] != kNoFactor) w.ids[n++] = down[up];
    // The parent clique is its variable plus its separator; sum what is not in ours.
    for (std::uint32_t i = 0; i < sep.count; ++i) in_separator[p.scope_vars[sep.first + i]] = 1;
    std::size_t k = 0;
    if (!in_separator[p.order[up]]) summed[k++] = p.order[up];
    for (std::uint32_t i = 0; i < above.count; ++i)
      if (!in_separator[p.scope_vars[above.first + i]]) summed[k++] = p.scope_vars[above.first + i];
    for (std::uint32_t i = 0; i < sep.count; ++i) in_separator[p.scope_vars[sep.first + i]] = 0;
    const double largest = product_marginal(p, w, w.ids.data(), n, p.scope_vars.data() + sep.first, sep.count,
                                            summed.data(), k, next);
    if (!(largest > 0.0)) fail(orv_error_inconsistency_or_underflow);
    const std::size_t size = configurations(p, p.scope_vars.data() + sep.first, sep.count);
    rescale(next, size, largest, nullptr);
    Factor message = sep;
    message.data = next;
    down[s] = static_cast<std::uint32_t>(p.factors.size());
    p.factors.push_back(message);  // room reserved when the factors were selected
    next += size;
  }

  double *out = beliefs;
  for (std::size_t i = 0; i < count; ++i) {
    const orv_node_s *t = targets[i];
    const std::size_t states = t->state_count;
    if (p.hard(t)) {
      for (std::size_t k = 0; k < states; ++k) out[k] = k == static_cast<std::size_t>(t->selected_state) ? 1.0 : 0.0;
    } else {
      const std::uint32_t v = p.local[t->number - 1];
      const std::size_t s = p.step_of[v];
      std::size_t n = bucket_factors(p, w, s);
      if (down[s] != kNoFactor) w.ids[n++] = down[s];
      const Factor &sep = p.factors[p.network_factors + s];
      product_marginal(p, w, w.ids.data(), n, &v, 1, p.scope_vars.data() + sep.first, sep.count, out);
      normalize(out, states);
    }
    out += states;
  }
}

}  // namespace orv
