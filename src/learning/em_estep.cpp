// The E-step in one domain (the learning domain or a work domain): cases are
// entered and propagated, or computed from the node tables when complete,
// and expected counts and log-likelihood terms are gathered block by block.
#include <cmath>

#include "inference/evidence.h"
#include "inference/propagation.h"
#include "learning/case_store.h"
#include "learning/em.h"
#include "runtime/error.h"
#include "tables/cg_regression.h"
#include "tables/node_table.h"

namespace orv {

namespace {

constexpr std::size_t kNoColumn = kSizeSentinel;

// Row-major index of the case's configuration over the table's discrete
// nodes, or kNoColumn when some member is not set in the case.
std::size_t case_index(const orv_table_s *t, const Vector<std::size_t> &columns,
                       const Vector<orv_node_s *> &source, std::size_t i) {
  std::size_t index = 0;
  for (std::size_t k = 0; k < t->discrete_count; ++k) {
    if (columns[k] == kNoColumn) return kNoColumn;
    const long state = case_state(source[columns[k]], i);
    if (state < 0) return kNoColumn;
    index = index * t->nodes[k]->state_count + static_cast<std::size_t>(state);
  }
  return index;
}

}  // namespace

void reset_site_domain(orv_domain_s *d) noexcept {
  reset_inference_engine(*junction_forest(d));
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if (n->counts_as_variable()) retract_findings(n);
}

std::size_t block_count(std::size_t cases) {
  const std::size_t blocks = cases < kMaxCaseBlocks ? cases : kMaxCaseBlocks;
  return blocks == 0 ? 1 : blocks;
}

void block_range(std::size_t cases, std::size_t blocks, std::size_t b, std::size_t &first, std::size_t &last) {
  const std::size_t base = cases / blocks, extra = cases % blocks;
  first = b * base + (b < extra ? b : extra);
  last = first + base + (b < extra ? 1 : 0);
}

Site::Site(orv_domain_s *source, orv_domain_s *d, const Vector<LearnedNode> &learned,
           const Vector<signed char> &flags)
    : source_(source), d_(d), flags_(flags) {
  // Nodes correspond by position in the two chains.
  Vector<std::size_t> column_of(source->node_count + 1, kNoColumn);
  Vector<orv_node_s *> counterpart(source->node_count + 1, nullptr);
  direct_ = true;
  for (orv_node_s *s = source->first_node, *n = d->first_node; s; s = s->next, n = n->next) {
    counterpart[s->number] = n;
    if (s->counts_as_variable() && s->category != orv_category_chance) direct_ = false;
    if (!holds_cases(s)) continue;
    column_of[s->number] = source_columns_.size();
    source_columns_.push_back(s);
    columns_.push_back(n);
  }
  const auto columns_of = [&](const orv_table_s *t) {
    Vector<std::size_t> columns;
    for (std::size_t k = 0; k < t->discrete_count; ++k) {
      const orv_node_s *member = t->nodes[k];
      // Tables of the site's domain name its own nodes: map back by number.
      columns.push_back(column_of[member->number]);
    }
    return columns;
  };
  const auto value_columns_of = [&](const orv_table_s *t) {
    Vector<std::size_t> columns;
    for (std::size_t k = 0; k < t->continuous_count; ++k)
      columns.push_back(column_of[t->nodes[t->discrete_count + k]->number]);
    return columns;
  };
  std::size_t widest = 0;
  if (direct_) {
    for (orv_node_s *n : columns_) {
      orv_table_s *t = node_table(n);
      _orv_allocate_data_arrays(t);
      tables_.push_back(t);
      table_columns_.push_back(columns_of(t));
      table_value_columns_.push_back(value_columns_of(t));
      if (t->continuous_count > widest) widest = t->continuous_count;
    }
  }
  families.reserve(learned.size());
  try {
    for (const LearnedNode &l : learned) {
      families.emplace_back();
      SiteFamily &f = families.back();
      f.node = counterpart[l.node->number];
      orv_table_s *t = node_table(f.node);
      f.columns = columns_of(t);
      f.value_columns = value_columns_of(t);
      f.block.assign(l.counts.size(), 0.0);
      if (t->continuous_count > widest) widest = t->continuous_count;
      const orv_table_s *clique = f.node->assigned_clique->table;
      if (clique->continuous_count > 0) {
        f.clique_map = discrete_config_map(clique->nodes.begin(), clique->discrete_count, t->nodes.begin(),
                                           t->discrete_count);
        for (std::size_t k = 0; k < t->continuous_count; ++k) {
          std::size_t at = 0;
          while (clique->nodes[clique->discrete_count + at] != t->nodes[t->discrete_count + k]) ++at;
          f.positions.push_back(at);
        }
        continue;
      }
      f.marginal = _orv_create_table(d, t->nodes.c_list(), orv_table_probability, 0, true, false);
      f.control = _orv_create_temporary_control(f.node->assigned_clique->table, nullptr, f.marginal, nullptr);
      _orv_setup_control_fast_retraction(f.control);
    }
    values_.assign(widest + 1, 0.0);
  } catch (...) {
    release();
    throw;
  }
}

Site::~Site() { release(); }

void Site::release() noexcept {
  for (SiteFamily &f : families) {
    _orv_free_temporary_control(f.control);
    _orv_free_table(f.marginal);
    f.control = nullptr;
    f.marginal = nullptr;
  }
}

void Site::copy_tables_from(const Vector<LearnedNode> &learned) noexcept {
  if (d_ == source_) return;
  for (std::size_t k = 0; k < learned.size(); ++k) {
    const orv_table_s *from = learned[k].node->table;
    orv_table_s *to = families[k].node->table;
    for (std::size_t e = 0; e < from->size; ++e) to->data[e] = from->data[e];
    if (from->cg_data)
      for (std::size_t e = 0, size = from->size * from->block_size; e < size; ++e) to->cg_data[e] = from->cg_data[e];
    if (families[k].node->junction_tree) families[k].node->junction_tree->tables_changed = true;
  }
}

double Site::tree_log_constant() const {
  double sum = 0.0;
  for (orv_junction_tree_s *t = junction_forest(d_)->first_tree; t; t = t->next) sum += t->accumulated_log;
  return sum;
}

void Site::complete_case(std::size_t i, double w, bool with_counts) {
  double log_probability = 0.0;
  for (std::size_t k = 0; k < tables_.size(); ++k) {
    const orv_table_s *t = tables_[k];
    const std::size_t j = case_index(t, table_columns_[k], source_columns_, i);
    if (t->continuous_count > 0) {
      const Vector<std::size_t> &columns = table_value_columns_[k];
      for (std::size_t c = 0; c < columns.size(); ++c) values_[c] = source_columns_[columns[c]]->case_values[i];
      log_probability += cg_log_density(t, j, values_.data());
      continue;
    }
    const double p = t->data[j];
    if (!(p > 0.0)) fail(orv_error_inconsistency_or_underflow);
    log_probability += std::log(p);
  }
  block_log_likelihood += w * log_probability;
  if (!with_counts) return;
  for (SiteFamily &f : families) add_family(f, i, w);
}

bool Site::family_values(const SiteFamily &f, std::size_t i, double *y) const {
  y[0] = 1.0;
  for (std::size_t c = 0; c < f.value_columns.size(); ++c) {
    const orv_node_s *s = source_columns_[f.value_columns[c]];
    if (!case_is_set(s, i)) return false;
    y[1 + c] = s->case_values[i];
  }
  return true;
}

// Adds case i's expected counts (or moments) of the family with weight w,
// from the case itself when it observes the whole family, else from the
// propagated posterior.
void Site::add_family(SiteFamily &f, std::size_t i, double w) {
  const std::size_t observed = case_index(f.node->table, f.columns, source_columns_, i);
  double *block = f.block.data();
  if (f.node->is_continuous()) {
    const std::size_t q = f.positions.size() + 1, qq = q * q;
    double *y = values_.data();
    if (observed != kNoColumn && family_values(f, i, y)) {
      add_moments(block + observed * qq, q, y, w);
      return;
    }
    const orv_table_s *c = f.node->assigned_clique->table;
    double total = 0.0;
    for (std::size_t e = 0; e < c->size; ++e) total += c->data[e];
    for (std::size_t e = 0; e < c->size; ++e) {
      if (!(c->data[e] > 0.0)) continue;
      const double we = w * c->data[e] / total;
      const double *cg = c->cg_data + e * c->block_size;
      for (std::size_t k = 1; k < q; ++k) y[k] = cg[cg_vector_index(f.positions[k - 1])];
      double *m = block + f.clique_map[e] * qq;
      add_moments(m, q, y, we);
      for (std::size_t a = 1; a < q; ++a)
        for (std::size_t b = 1; b < q; ++b)
          m[a * q + b] += we * cg[cg_matrix_index(f.positions[a - 1], f.positions[b - 1])];
    }
    return;
  }
  if (observed != kNoColumn) {
    block[observed] += w;
    return;
  }
  if (!f.control) {
    const orv_table_s *c = f.node->assigned_clique->table;
    double total = 0.0;
    for (std::size_t e = 0; e < c->size; ++e) total += c->data[e];
    for (std::size_t e = 0; e < c->size; ++e) block[f.clique_map[e]] += w * c->data[e] / total;
    return;
  }
  _orv_marginalize(f.control, orv_equilibrium_sum, kMarginalizeInto);
  const double *marginal = f.marginal->data;
  for (std::size_t e = 0, size = f.block.size(); e < size; ++e) block[e] += w * marginal[e];
}

void Site::propagate_case(std::size_t i) {
  for (std::size_t k = 0; k < columns_.size(); ++k) {
    orv_node_s *s = source_columns_[k], *n = columns_[k];
    if (!case_is_set(s, i)) retract_findings(n);
    else if (n->is_discrete()) select_state(n, static_cast<std::size_t>(s->case_states[i]));
    else enter_continuous_value(n, s->case_values[i]);
  }
  try {
    propagate_domain(d_, orv_equilibrium_sum, orv_mode_normal);
    return;
  } catch (const Failure &f) {
    if (f.code != orv_error_inconsistency_or_underflow || d_->discrete_count == 0) throw;
  }
  // Underflow fallback: one discrete finding at a time, normalising after
  // each, then every continuous value together.
  for (orv_node_s *n : columns_) retract_findings(n);
  for (std::size_t k = 0; k < columns_.size(); ++k) {
    orv_node_s *s = source_columns_[k], *n = columns_[k];
    if (!n->is_discrete() || !case_is_set(s, i)) continue;
    select_state(n, static_cast<std::size_t>(s->case_states[i]));
    propagate_domain(d_, orv_equilibrium_sum, orv_mode_normal);
  }
  for (std::size_t k = 0; k < columns_.size(); ++k) {
    orv_node_s *s = source_columns_[k], *n = columns_[k];
    if (n->is_continuous() && case_is_set(s, i)) enter_continuous_value(n, s->case_values[i]);
  }
  propagate_domain(d_, orv_equilibrium_sum, orv_mode_normal);
}

void Site::run_case(std::size_t i, double w, bool with_counts) {
  if (direct_ && flags_[i] == 1) {
    complete_case(i, w, with_counts);
    return;
  }
  propagate_case(i);
  block_log_likelihood += w * tree_log_constant();
  if (!with_counts) return;
  for (SiteFamily &f : families) add_family(f, i, w);
}

void Site::run_block(std::size_t b, std::size_t blocks, bool with_counts) {
  for (SiteFamily &f : families)
    for (double &c : f.block) c = 0.0;
  block_log_likelihood = 0.0;
  reset_site_domain(d_);
  std::size_t first, last;
  block_range(source_->number_of_cases, blocks, b, first, last);
  for (std::size_t i = first; i < last; ++i) {
    if (flags_[i] < 0) continue;
    run_case(i, case_weight(source_, i), with_counts);
  }
}

}  // namespace orv
