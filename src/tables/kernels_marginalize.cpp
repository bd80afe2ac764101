// Marginalizing a larger table onto a smaller one through a control: sum,
// max, the probability/utility pair, and contraction (expected utilities).
// Every smaller-table entry is written only by the thread owning its slice
// and receives its larger-table entries in ascending index order, so results
// do not depend on the number of threads.
#include <cmath>

#include "runtime/error.h"
#include "tables/control.h"
#include "tables/kernels.h"

namespace orv {

namespace {

using kernels::Loops;

struct Sum {
  static constexpr double kStart = 0.0;
  static double apply(double a, double b) { return a + b; }
};
struct Max {
  static constexpr double kStart = -HUGE_VAL;
  static double apply(double a, double b) { return b > a ? b : a; }
};

struct Entries {
  const double *data;
  double operator()(std::size_t l) const { return data[l]; }
};
struct Products {
  const double *probability;
  const double *utility;
  double operator()(std::size_t l) const { return probability[l] * utility[l]; }
};

template <class Op, std::size_t Source, std::size_t Target>
void fold_kernel(const KernelArgs &args) {
  Loops loops;
  kernels::load_loops(args, loops);
  kernels::fold_slice<Op>(loops, args.positions[Target], Entries{args.positions[Source]});
}

// Sum of probability x utility: the expected utility, unnormalized.
template <std::size_t Target>
void contraction_kernel(const KernelArgs &args) {
  Loops loops;
  kernels::load_loops(args, loops);
  kernels::fold_slice<Sum>(
      loops, args.positions[Target],
      Products{args.positions[kLargerProbability], args.positions[kLargerUtility]});
}

// Probabilities summed; utilities averaged with the probabilities as weights
// (0 where the weight is 0): the weighted sums are folded into the utility
// target and divided at the end.
template <std::size_t TargetProbability, std::size_t TargetUtility>
void pair_kernel(const KernelArgs &args) {
  const double *probability = args.positions[kLargerProbability];
  double *const weights = args.positions[TargetProbability];
  double *const utilities = args.positions[TargetUtility];
  Loops loops;
  kernels::load_loops(args, loops);
  Loops folded = loops;  // folding reorders its loops
  kernels::fold_slice<Sum>(folded, weights, Entries{probability});
  folded = loops;
  kernels::fold_slice<Sum>(folded, utilities,
                           Products{probability, args.positions[kLargerUtility]});
  if (loops.first_empty) return;
  kernels::for_each_target(loops.loop, loops.first, [&](std::size_t s) {
    utilities[s] = weights[s] == 0.0 ? 0.0 : utilities[s] / weights[s];
  });
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

// Refuses CG tables (combined by the CG table operations, not here) and a
// target that shares data with the source.
void refuse_operands(const orv_control_s *c) {
  for (const orv_table_s *t : {c->larger_probability, c->smaller_probability})
    if (t && t->continuous_count > 0) fail(orv_error_error);
  for (const orv_table_s *t : {c->smaller_probability, c->smaller_utility})
    if (t && (t == c->larger_probability || t == c->larger_utility)) fail(orv_error_usage);
}

bool has_data(const orv_table_s *t) { return t && t->data; }

}  // namespace

void _orv_marginalize(const orv_control_s *c, int operation, int mode, double *out,
                      double *out_utility) {
  refuse_operands(c);
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
  refuse_operands(c);
  if (!has_data(c->larger_probability) || !has_data(c->larger_utility) ||
      !has_data(c->target()))
    fail(orv_error_usage);
  const TableKernel kernel = c->smaller_probability
                                 ? TableKernel{contraction_kernel<kSmallerProbability>, true}
                                 : TableKernel{contraction_kernel<kSmallerUtility>, true};
  _orv_do_table_operation(c, kernel, nullptr, nullptr, 0, 1);
}

void _orv_marginalize_tables(orv_table_s *source, orv_table_s *target, int operation, int mode) {
  if (!is_table(source) || !is_table(target) || source == target ||
      source->domain != target->domain || mode == kMarginalizeOut)
    fail(orv_error_usage);
  if (source->continuous_count > 0 || target->continuous_count > 0) fail(orv_error_error);
  const TableOperationControl control(source, target);
  _orv_marginalize(control.get(), operation, kMarginalizeInto);
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
