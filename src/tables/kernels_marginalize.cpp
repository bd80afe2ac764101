// Marginalizing a larger table onto a smaller one through a control: sum,
// max, the probability/utility pair, and contraction (expected utilities).
// Every smaller-table entry is written once by the thread owning its slice,
// from the larger table's entries in row-major order.
#include <cmath>

#include "runtime/error.h"
#include "tables/control.h"
#include "tables/kernels.h"

namespace orv {

namespace {

using kernels::Loops;

// Probabilities summed; utilities averaged with the probabilities as weights.
struct PairAccumulator {
  const double *probability;
  const double *utility;
  double *target_probability;
  double *target_utility;
  double weight, weighted;
  void start() { weight = weighted = 0.0; }
  void add(std::size_t l) {
    weight += probability[l];
    weighted += probability[l] * utility[l];
  }
  void store(std::size_t s) {
    target_probability[s] = weight;
    target_utility[s] = weight == 0.0 ? 0.0 : weighted / weight;
  }
};

// Sum of probability x utility: the expected utility, unnormalized.
struct ContractionAccumulator {
  const double *probability;
  const double *utility;
  double *target;
  double total;
  void start() { total = 0.0; }
  void add(std::size_t l) { total += probability[l] * utility[l]; }
  void store(std::size_t s) { target[s] = total; }
};

template <class Accumulator>
void run_reduction(const KernelArgs &args, Accumulator acc) {
  Loops loops;
  kernels::load_loops(args, loops);
  kernels::reduce_rows(loops, acc);
}

struct Sum {
  static constexpr double kStart = 0.0;
  static double apply(double a, double b) { return a + b; }
};
struct Max {
  static constexpr double kStart = -HUGE_VAL;
  static double apply(double a, double b) { return b > a ? b : a; }
};

// Sum and max: the slice's targets start at the operation's neutral value,
// then the larger table is walked in row-major order and folded into them,
// so every target receives its entries in ascending index order.
template <class Op, std::size_t Source, std::size_t Target>
void fold_kernel(const KernelArgs &args) {
  Loops loops;
  kernels::load_loops(args, loops);
  if (loops.first_empty) return;
  double *const target = args.positions[Target];
  kernels::fill_targets(target, loops.loop, loops.first, Op::kStart);
  if (loops.second_empty) return;
  const std::size_t n = kernels::order_row_major(loops.loop, loops.size());
  kernels::accumulate_rows<Op>(target, args.positions[Source], loops.loop, n);
}

template <std::size_t TargetProbability, std::size_t TargetUtility>
void pair_kernel(const KernelArgs &args) {
  run_reduction(args, PairAccumulator{args.positions[kLargerProbability],
                                      args.positions[kLargerUtility],
                                      args.positions[TargetProbability],
                                      args.positions[TargetUtility], 0.0, 0.0});
}

template <std::size_t Target>
void contraction_kernel(const KernelArgs &args) {
  run_reduction(args, ContractionAccumulator{args.positions[kLargerProbability],
                                             args.positions[kLargerUtility],
                                             args.positions[Target], 0.0});
}

// Kernels by (source, destination) slots; each writes the smaller layout.
template <std::size_t Source, std::size_t Target>
TableKernel reduction_kernel(int operation) {
  return operation == orv_equilibrium_sum ? TableKernel{fold_kernel<Sum, Source, Target>, true}
                                          : TableKernel{fold_kernel<Max, Source, Target>, true};
}

// The pair's probability accumulations and the weighted utilities: two
// operations per entry.
constexpr std::size_t kPairWork = 2;

void refuse_cg(const orv_control_s *c) {
  for (const orv_table_s *t : {c->larger_probability, c->smaller_probability})
    if (t && t->continuous_count > 0) fail(orv_error_error);
}

bool has_data(const orv_table_s *t) { return t && t->data; }

}  // namespace

void _orv_marginalize(const orv_control_s *c, int operation, int mode, double *out,
                      double *out_utility) {
  refuse_cg(c);
  const bool into = mode != kMarginalizeOut;
  const bool pair = has_data(c->larger_probability) && has_data(c->larger_utility);
  if (pair) {
    if (into && (!has_data(c->smaller_probability) || !has_data(c->smaller_utility)))
      fail(orv_error_usage);
    if (!into && (!out || !out_utility)) fail(orv_error_usage);
    const TableKernel kernel =
        into ? TableKernel{pair_kernel<kSmallerProbability, kSmallerUtility>, true}
             : TableKernel{pair_kernel<kFirstCallerArray, kSecondCallerArray>, true};
    _orv_do_table_operation(c, kernel, out, out_utility, 0, kPairWork);
    return;
  }
  const bool utility = !has_data(c->larger_probability);
  if (!has_data(utility ? c->larger_utility : c->larger_probability)) fail(orv_error_usage);
  if (into && !has_data(utility ? c->smaller_utility : c->smaller_probability))
    fail(orv_error_usage);
  if (!into && !out) fail(orv_error_usage);
  TableKernel kernel;
  if (utility)
    kernel = into ? reduction_kernel<kLargerUtility, kSmallerUtility>(operation)
                  : reduction_kernel<kLargerUtility, kFirstCallerArray>(operation);
  else
    kernel = into ? reduction_kernel<kLargerProbability, kSmallerProbability>(operation)
                  : reduction_kernel<kLargerProbability, kFirstCallerArray>(operation);
  _orv_do_table_operation(c, kernel, out, nullptr, 0, 0);
}

void _orv_marginalize_contraction(const orv_control_s *c) {
  refuse_cg(c);
  if (!has_data(c->larger_probability) || !has_data(c->larger_utility) ||
      !has_data(c->target()))
    fail(orv_error_usage);
  const TableKernel kernel = c->smaller_probability
                                 ? TableKernel{contraction_kernel<kSmallerProbability>, true}
                                 : TableKernel{contraction_kernel<kSmallerUtility>, true};
  _orv_do_table_operation(c, kernel, nullptr, nullptr, 0, 1);
}

void _orv_marginalize_tables(orv_table_s *source, orv_table_s *target, int operation, int mode) {
  if (!is_table(source) || !is_table(target) || source->domain != target->domain ||
      mode == kMarginalizeOut)
    fail(orv_error_usage);
  if (source->continuous_count > 0 || target->continuous_count > 0) fail(orv_error_error);
  _orv_allocate_data_arrays(source);
  _orv_allocate_data_arrays(target);
  const bool utility = source->type == orv_table_utility;
  orv_control_s *c = utility ? _orv_create_temporary_control(nullptr, source, nullptr, target)
                             : _orv_create_temporary_control(source, nullptr, target, nullptr);
  try {
    _orv_setup_control_fast_retraction(c);
    _orv_marginalize(c, operation, kMarginalizeInto);
  } catch (...) {
    _orv_free_temporary_control(c);
    throw;
  }
  _orv_free_temporary_control(c);
}

orv_table_s *_orv_table_get_marginal(orv_table_s *table, orv_node_t const *nodes) {
  if (!is_table(table) || !nodes) fail(orv_error_usage);
  for (orv_node_t const *n = nodes; *n; ++n) {
    const long k = table->nodes.index_of(*n);
    if (k < 0 || static_cast<std::size_t>(k) >= table->discrete_count) fail(orv_error_usage);
    for (orv_node_t const *m = nodes; m != n; ++m)
      if (*m == *n) fail(orv_error_usage);
  }
  Owned<orv_table_s> marginal(
      _orv_create_table(table->domain, nodes, table->type, 0, true, false));
  _orv_marginalize_tables(table, marginal.get(), orv_equilibrium_sum, kMarginalizeInto);
  return marginal.release();
}

}  // namespace orv
