// Public entry points of table generation and of the values computed from
// expressions after propagation: function node values and quantiles.
#include <cmath>
#include <cstring>

#include "expr/function_values.h"
#include "expr/model.h"
#include "expr/special_functions.h"
#include "expr/table_generation.h"
#include "model/domain.h"
#include "runtime/error.h"
#include "tables/table.h"

using orv::guarded;
using orv::guarded_status;
using orv::usage;

namespace orv {

namespace {

bool generates_table(const orv_node_s *n) {
  return n->category == orv_category_utility || n->category == orv_category_chance;
}

bool needs_generation(const orv_node_s *n) {
  const orv_model_s *m = n->model;
  return m && generates_table(n) && !m->table_generated && !m->table_supplied;
}

void generate_and_mark(orv_node_s *n) {
  generate_table(n);
  n->model->table_generated = true;
  n->model->table_supplied = false;
}

// What a node's table held before generation, to put back on failure.
struct SavedTable {
  orv_node_s *node;
  bool had_table;
  orv::Vector<double> data, cg;
};

void restore(orv::Vector<SavedTable> &saved) noexcept {
  for (SavedTable &s : saved) {
    orv_table_s *t = s.node->table;
    if (!s.had_table) {
      if (t) {
        _orv_free_table(t);
        s.node->table = nullptr;
      }
    } else if (t && t->data && s.data.size() == t->size) {
      std::memcpy(t->data, s.data.data(), t->size * sizeof(double));
      if (t->cg_data && !s.cg.empty()) std::memcpy(t->cg_data, s.cg.data(), s.cg.size() * sizeof(double));
    }
  }
}

// The probability-quantile of the mixture of normals of a continuous node's
// marginal, by bisection on its distribution function.
double mixture_quantile(orv_node_s *node, double probability) {
  orv_table_s *t = orv_node_get_distribution(node);
  if (!t) fail(error_code());
  struct Free {
    orv_table_s *t;
    ~Free() { _orv_free_table(t); }
  } owner{t};
  const std::size_t components = t->size;
  double low = INFINITY, high = -INFINITY;
  for (std::size_t i = 0; i < components; ++i) {
    if (!(t->data[i] > 0.0)) continue;
    const double mean = orv_table_get_mean(t, i, node);
    const double sd = std::sqrt(orv_table_get_variance(t, i, node));
    low = std::min(low, mean - 40.0 * sd - 1.0);
    high = std::max(high, mean + 40.0 * sd + 1.0);
  }
  auto cdf = [&](double x) {
    double total = 0.0;
    for (std::size_t i = 0; i < components; ++i) {
      const double w = t->data[i];
      if (!(w > 0.0)) continue;
      const double mean = orv_table_get_mean(t, i, node);
      const double variance = orv_table_get_variance(t, i, node);
      total += variance > 0.0 ? w * standard_normal_cdf((x - mean) / std::sqrt(variance)) : (x >= mean ? w : 0.0);
    }
    return total;
  };
  for (int i = 0; i < 200 && high - low > 1e-15 * std::max(1.0, std::fabs(low) + std::fabs(high)); ++i) {
    const double middle = 0.5 * (low + high);
    (cdf(middle) < probability ? low : high) = middle;
  }
  return 0.5 * (low + high);
}

}  // namespace

// Generates every table that is not up to date; all or nothing. Used by
// compilation too.
void generate_domain_tables(orv_domain_s *d) {
  orv::Vector<SavedTable> saved;
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if (needs_generation(n)) {
      SavedTable s{n, n->table != nullptr, {}, {}};
      const orv_table_s *t = n->table;
      if (t && t->data) s.data.assign(t->data, t->data + t->size);
      if (t && t->cg_data) s.cg.assign(t->cg_data, t->cg_data + t->size * t->block_size);
      saved.push_back(std::move(s));
    }
  try {
    for (SavedTable &s : saved) generate_table(s.node);
  } catch (...) {
    restore(saved);
    throw;
  }
  for (SavedTable &s : saved) {
    s.node->model->table_generated = true;
    s.node->model->table_supplied = false;
  }
}

}  // namespace orv

extern "C" {

orv_status_t orv_node_generate_table(orv_node_t node) {
  if (!orv::is_node(node) || !node->model || !orv::generates_table(node)) return usage(orv_error_usage);
  return guarded_status([&] { orv::generate_and_mark(node); });
}

orv_status_t orv_domain_generate_tables(orv_domain_t domain) {
  if (!orv::is_domain(domain)) return usage(orv_error_usage);
  return guarded_status([&] { orv::generate_domain_tables(domain); });
}

int orv_model_table_is_generated(orv_model_t model) {
  if (!orv::is_model(model)) return usage(0);
  return model->table_generated || model->table_supplied ? 1 : 0;
}

double orv_node_get_value(orv_node_t node) {
  if (!orv::is_node(node) || node->category != orv_category_function || node->kind != orv_kind_other)
    return usage(-1.0);
  return guarded<double>(-1.0, [&] { return orv::function_value(node); });
}

double orv_node_get_quantile(orv_node_t node, double probability) {
  if (!orv::is_node(node) || !(probability > 0.0 && probability < 1.0)) return usage(-1.0);
  if (node->is_continuous()) return guarded<double>(-1.0, [&] { return orv::mixture_quantile(node, probability); });
  if (!node->is_discrete() || (node->subtype != orv_subtype_number && node->subtype != orv_subtype_interval))
    return usage(-1.0);
  return guarded<double>(-1.0, [&] { return orv::belief_quantile(node, probability); });
}

}  // extern "C"
