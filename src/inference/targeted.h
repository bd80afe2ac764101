// Targeted queries: the posterior of a few nodes under the entered evidence,
// computed by variable elimination over the part of the network that bears on
// them, without compiling or touching the junction forest.
//
// Conditional distributions are used normalized (rows divided by their sum)
// since dropping barren and separated nodes is exact only for distributions.
// Steps: a Bayes-ball walk from the targets keeps the tables the evidence does
// not separate from them (plus, when P(e) is wanted, every ancestor of the
// evidence); hard evidence slices those tables in place (a base offset, no
// copy); the free variables are eliminated in a greedy order (clique weight,
// or for costly problems the cheapest of the four greedy heuristics), each
// elimination multiplying exactly the factors that hold its variable in
// one fused product-and-sum pass whose output is the elimination clique minus
// the variable. The batch form keeps the elimination tree and sends messages
// back from its roots, so every target is read from its own clique.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/node.h"
#include "tables/table.h"
#include "runtime/allocate.h"

namespace orv {

// A factor: data viewed through one stride per scope variable. Network tables
// are viewed in place with hard evidence folded into the data pointer.
struct Factor {
  const double *data = nullptr;
  std::uint32_t first = 0;  // scope entries at Problem::scope_vars[first..first+count)
  std::uint32_t count = 0;
  std::uint32_t bucket = 0;  // elimination step that consumes it; steps() for none
  std::uint32_t next = 0;    // next factor of the same bucket; kNoFactor ends
};

constexpr std::uint32_t kNoFactor = 0xffffffffu;

// Doubles from the allocation funnel, left uninitialized (every use writes
// before it reads).
class DoubleBuffer {
 public:
  DoubleBuffer() = default;
  DoubleBuffer(const DoubleBuffer &) = delete;
  DoubleBuffer &operator=(const DoubleBuffer &) = delete;
  ~DoubleBuffer() { _orv_free(data_); }
  // Throws bad_alloc (no_memory) and then keeps nothing.
  void allocate(std::size_t count) {
    void *block = _orv_allocate(size_multiply(count == 0 ? 1 : count, sizeof(double)));
    if (!block) throw std::bad_alloc();
    _orv_free(data_);
    data_ = static_cast<double *>(block);
  }
  double *data() const { return data_; }

 private:
  double *data_ = nullptr;
};

// Everything one query works on, sized once from the domain and the plan.
struct Problem {
  // Variables: free (not hard-observed) nodes that occur in a kept factor.
  Vector<orv_node_s *> vars;
  Vector<std::size_t> states;
  Vector<std::uint32_t> local;  // node number - 1 -> variable, kNoFactor when none

  Vector<Factor> factors;  // network factors first, then one per elimination
  std::size_t network_factors = 0;
  Vector<std::uint32_t> scope_vars;
  Vector<std::size_t> scope_strides;

  // Elimination: the variable of each step, its step, the bucket heads; the
  // factor produced by step i is factors[network_factors + i].
  Vector<std::uint32_t> order;
  Vector<std::uint32_t> step_of;  // variable -> step; steps() for kept variables
  Vector<std::uint32_t> bucket_head;  // steps() + 1 heads; the last holds the rest
  std::size_t widest_bucket = 0;      // most factors in one bucket (+2 for messages)
  std::size_t widest_clique = 0;      // most variables in one clique

  DoubleBuffer normalized;  // copies of tables whose rows do not sum to 1
  DoubleBuffer arena;       // data of the produced factors (and messages)
  double log_scale = 0.0;  // ln of what was divided out of the produced factors

  std::size_t steps() const { return order.size(); }
  static bool hard(const orv_node_s *n) { return n->selected_state >= 0; }
};

// Domains with decision, utility or continuous nodes, undirected links or
// discrete function nodes with models are answered on a compiled and
// propagated copy of the domain instead.
bool needs_compiled_copy(const orv_domain_s *d);
orv_table_s *compiled_copy_marginal(orv_domain_s *d, orv_node_s *const *targets, double *log_pe);
void compiled_copy_beliefs(orv_domain_s *d, orv_node_s *const *targets, double *beliefs, double *log_pe);

// Builds the variables and network factors for the free targets (targets
// with hard evidence need nothing); with_evidence_ancestors keeps every
// ancestor of the evidence too, so the factors' total is P(e).
void select_factors(orv_domain_s *d, orv_node_s *const *targets, std::size_t count,
                    bool with_evidence_ancestors, Problem &p);

// Chooses the elimination order of every variable that is not kept, fills
// the buckets and the produced factors' scopes, and sizes the arena
// (extra_doubles more for the caller). Throws size_too_large.
void plan_elimination(Problem &p, const unsigned char *kept, std::size_t extra_doubles);

// Reusable bookkeeping of the product kernel, sized from the plan.
struct ProductWorkspace {
  explicit ProductWorkspace(const Problem &p);
  Vector<std::size_t> stride_of;  // variable -> stride in the factor at hand
  Vector<std::size_t> strides;    // dimension-major: (factors + 1) per dimension
  Vector<std::size_t> counts;
  Vector<std::size_t> index;
  Vector<std::size_t> offsets;
  Vector<const double *> data;
  Vector<std::uint32_t> ids;      // a bucket's factors
};

// The factors of a bucket, into w.ids; returns their number.
std::size_t bucket_factors(const Problem &p, ProductWorkspace &w, std::size_t bucket);

// Runs the eliminations in order, filling every produced factor. Throws
// inconsistency_or_underflow when the evidence is impossible.
void run_eliminations(Problem &p, ProductWorkspace &w);

// out[config of out_vars] = sum over the configurations of sum_vars of the
// product of the listed factors, out laid out row-major in out_vars order.
// Returns the largest entry written.
double product_marginal(const Problem &p, ProductWorkspace &w, const std::uint32_t *factor_ids,
                        std::size_t factor_count, const std::uint32_t *out_vars, std::size_t out_count,
                        const std::uint32_t *sum_vars, std::size_t sum_count, double *out);

// Divides data by its largest entry when that left the comfortable range of
// doubles, adding the logarithm to *log_scale when given.
void rescale(double *data, std::size_t size, double largest, double *log_scale);

// Product of the state counts of the listed variables (saturating).
std::size_t configurations(const Problem &p, const std::uint32_t *vars, std::size_t count);

// The joint posterior table of the targets (caller order); log_pe when wanted.
orv_table_s *targeted_marginal(orv_domain_s *d, orv_node_s *const *targets, double *log_pe);
// One belief vector per target, concatenated into beliefs.
void targeted_beliefs(orv_domain_s *d, orv_node_s *const *targets, double *beliefs, double *log_pe);

}  // namespace orv
