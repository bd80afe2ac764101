// Refining and coarsening interval nodes: every interval split in two, or
// neighbouring pairs merged, with the tables, models and case data that
// involve the node carried along.
#include <algorithm>
#include <cfloat>

#include "expr/model_upkeep.h"
#include "model/states.h"
#include "runtime/error.h"
#include "tables/table_reshape.h"

namespace orv {

namespace {

// The new states and where they come from: source[j] is the old state that
// new state j lies in (doubling) or starts at (halving); parts[s] counts the
// new states of old state s (doubling) or the old states of new state s
// (halving).
struct Regrouping {
  Vector<double> values;       // the new boundaries
  Vector<std::size_t> source;
  Vector<std::size_t> parts;
  std::size_t count = 0;
};

// Splits each interval of positive width at its midpoint. An infinite end
// interval is split one width of its finite neighbour (or 1.0 when it has
// none) from its finite end; (-inf, inf) is split at 0. Point intervals stay.
Regrouping doubled(const orv_node_s *node) {
  const Vector<double> &v = node->state_values;
  const std::size_t n = node->state_count;
  Regrouping r;
  r.parts.assign(n, 1);
  r.values.push_back(v[0]);
  for (std::size_t s = 0; s < n; ++s) {
    const double lo = v[s], hi = v[s + 1];
    double cut;
    if (lo == hi) {
      cut = lo;
    } else if (lo <= -DBL_MAX && hi >= DBL_MAX) {
      cut = 0.0;
    } else if (lo <= -DBL_MAX) {
      const double w = (n > s + 1 && v[s + 2] < DBL_MAX && v[s + 2] > hi) ? v[s + 2] - hi : 1.0;
      cut = hi - w;
    } else if (hi >= DBL_MAX) {
      const double w = (s > 0 && v[s - 1] > -DBL_MAX && lo > v[s - 1]) ? lo - v[s - 1] : 1.0;
      cut = lo + w;
    } else {
      cut = lo + (hi - lo) / 2;
    }
    if (lo != hi && cut > lo && cut < hi) {
      r.values.push_back(cut);
      r.source.push_back(s);
      r.parts[s] = 2;
    }
    r.values.push_back(hi);
    r.source.push_back(s);
  }
  r.count = r.source.size();
  return r;
}

// Merges states 2k and 2k + 1; an odd last state stays alone.
Regrouping halved(const orv_node_s *node) {
  const Vector<double> &v = node->state_values;
  const std::size_t n = node->state_count;
  Regrouping r;
  for (std::size_t s = 0; s < n; s += 2) {
    r.values.push_back(v[s]);
    r.source.push_back(s);
    r.parts.push_back(std::min<std::size_t>(2, n - s));
  }
  r.values.push_back(v[n]);
  r.count = r.source.size();
  return r;
}

// Weights (new x old) for the tables where the node is the head or the
// entries are counts (mass splits evenly on refinement and adds up on
// coarsening), and for those where it conditions (columns are copied on
// refinement and averaged on coarsening).
void weights_for(const Regrouping &r, std::size_t old_count, bool doubling, Vector<double> &mass,
                 Vector<double> &condition) {
  mass.assign(r.count * old_count, 0.0);
  condition.assign(r.count * old_count, 0.0);
  for (std::size_t j = 0; j < r.count; ++j) {
    const std::size_t s = r.source[j];
    if (doubling) {
      mass[j * old_count + s] = 1.0 / static_cast<double>(r.parts[s]);
      condition[j * old_count + s] = 1.0;
    } else {
      for (std::size_t k = 0; k < r.parts[j]; ++k) {
        mass[j * old_count + s + k] = 1.0;
        condition[j * old_count + s + k] = 1.0 / static_cast<double>(r.parts[j]);
      }
    }
  }
}

bool counts_mass(const orv_table_s *t, const orv_node_s *node) {
  return (t == node->table && t->type == orv_table_probability) || t->type == orv_table_experience;
}

void regroup(orv_node_s *node, bool doubling) {
  const std::size_t old_count = node->state_count;
  Vector<orv_node_s *> group{node};
  append_output_clones(node, group);

  Regrouping r = doubling ? doubled(node) : halved(node);
  if (r.count == old_count) return;
  Vector<double> mass, condition;
  weights_for(r, old_count, doubling, mass, condition);

  // Build every replacement first.
  Vector<PendingTable> pending;
  Vector<PendingModel> models;
  Vector<Vector<double>> values;
  Vector<orv_table_s *> tables;
  for (orv_node_s *m : group) {
    values.push_back(r.values);
    for (orv_table_s *t : tables_with_node(m)) {
      pending.push_back(prepare_state_mix(t, m, r.count, (counts_mass(t, m) ? mass : condition).data()));
      tables.push_back(t);
    }
    prepare_model_regrouping(m, r.source, models);
  }

  // Commit: nothing below can fail.
  for (PendingTable &p : pending) p.commit();
  for (PendingModel &p : models) p.commit();
  for (std::size_t i = 0; i < group.size(); ++i) {
    orv_node_s *m = group[i];
    m->state_values.swap(values[i]);
    m->state_labels.clear();  // labels named the old intervals
    m->state_count = r.count;
    m->table_valid = false;
    // Case states: merged intervals keep their cases; a split interval's
    // cases cannot tell which half they fell in and become missing.
    if (m->case_states)
      for (std::size_t c = 0; c < m->owner->number_of_cases; ++c) {
        std::int16_t &state = m->case_states[c];
        if (state < 0) continue;
        if (!doubling) {
          state = static_cast<std::int16_t>(state / 2);
        } else {
          const auto s = static_cast<std::size_t>(state);
          const std::size_t j = static_cast<std::size_t>(std::find(r.source.begin(), r.source.end(), s) - r.source.begin());
          state = r.parts[s] == 1 ? static_cast<std::int16_t>(j) : std::int16_t{-1};
        }
      }
  }
  for (orv_table_s *t : tables)
    if (t->node) t->node->table_valid = false;
  for (orv_node_s *m : group) {
    m->selected_state = -1;
    m->value_evidence = false;
    m->owner->log_likelihood_valid = false;
    mark_models_for_regeneration(m);
    uncompile(m->owner);
  }
}

bool may_regroup(const orv_node_s *node) {
  return is_node(node) && node->is_discrete() && !node->class_node && !node->temporal_clone &&
         node->subtype == orv_subtype_interval && !node->state_values.empty() &&
         _orv_node_check_status_of_state_values(node) == 0;
}

}  // namespace

}  // namespace orv

extern "C" {

orv_status_t orv_node_double_number_of_intervals(orv_node_t node) {
  if (!orv::may_regroup(node) || node->state_count >= 16384) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] { orv::regroup(node, true); });
}

orv_status_t orv_node_halve_number_of_intervals(orv_node_t node) {
  if (!orv::may_regroup(node) || node->state_count < 2) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] { orv::regroup(node, false); });
}

}  // extern "C"
