// Combining a smaller table into a larger one through a control: multiply
// probabilities, add utilities, divide (x / 0 gives 0). Each kernel walks the
// larger table's slice and broadcasts the smaller table over absent nodes.
#include "runtime/error.h"
#include "tables/control.h"
#include "tables/kernels.h"

namespace orv {

namespace {

using kernels::Loop;
using kernels::Loops;

struct Multiply {
  static double apply(double a, double b) { return a * b; }
};
struct Add {
  static double apply(double a, double b) { return a + b; }
};
struct Replace {
  static double apply(double, double b) { return b; }
};
struct Divide {
  static double apply(double a, double b) { return b == 0.0 ? 0.0 : a / b; }
};

// larger[slot L] = op(larger, smaller[slot S]) over the whole slice.
template <class Op, std::size_t L, std::size_t S>
void binary_kernel(const KernelArgs &args) {
  Loops loops;
  kernels::load_loops(args, loops);
  if (loops.first_empty || loops.second_empty) return;
  double *const larger = args.positions[L];
  const double *const smaller = args.positions[S];
  // Each entry is visited once, so any order gives the same result: walk the
  // larger table in row-major order.
  const std::size_t n = kernels::order_row_major(loops.loop, loops.size());
  kernels::for_each_row(loops.loop, n,
                        [&](std::size_t l, std::size_t s, const Loop &row) {
                          kernels::binary_row<Op>(larger + l, smaller + s, row);
                        });
}

constexpr TableKernel kMultiply{binary_kernel<Multiply, kLargerProbability, kSmallerProbability>,
                                false};
constexpr TableKernel kAddUtilities{binary_kernel<Add, kLargerUtility, kSmallerUtility>, false};
constexpr TableKernel kReplaceProbabilities{
    binary_kernel<Replace, kLargerProbability, kSmallerProbability>, false};
constexpr TableKernel kReplaceUtilities{binary_kernel<Replace, kLargerUtility, kSmallerUtility>, false};
constexpr TableKernel kDivide{binary_kernel<Divide, kLargerProbability, kSmallerProbability>,
                              false};

bool has_data(const orv_table_s *t) { return t && t->data; }

// CG parts are combined by the CG table operations, which do not exist yet:
// refuse rather than combine only the discrete half.
void refuse_cg(const orv_table_s *a, const orv_table_s *b) {
  if ((a && a->continuous_count > 0) || (b && b->continuous_count > 0)) fail(orv_error_error);
}

}  // namespace

void _orv_combine(const orv_control_s *c) {
  refuse_cg(c->larger_probability, c->smaller_probability);
  if (has_data(c->larger_utility) && has_data(c->smaller_utility))
    _orv_do_table_operation(c, kAddUtilities, nullptr, nullptr, 0, 0);
  if (has_data(c->larger_probability) && has_data(c->smaller_probability))
    _orv_do_table_operation(c, kMultiply, nullptr, nullptr, 0, 0);
}

CombinedParts _orv_combine_into_fresh(const orv_control_s *c, CombinedParts fresh) {
  refuse_cg(c->larger_probability, c->smaller_probability);
  CombinedParts written;
  written.utility = has_data(c->larger_utility) && has_data(c->smaller_utility);
  written.probability = has_data(c->larger_probability) && has_data(c->smaller_probability);
  if (written.utility)
    _orv_do_table_operation(c, fresh.utility ? kReplaceUtilities : kAddUtilities, nullptr, nullptr, 0, 0);
  if (written.probability)
    _orv_do_table_operation(c, fresh.probability ? kReplaceProbabilities : kMultiply, nullptr, nullptr, 0, 0);
  return written;
}

void _orv_combine_tables(orv_table_s *target, orv_table_s *source) {
  if (is_table(target) && is_table(source)) refuse_cg(target, source);
  const TableOperationControl control(target, source);
  _orv_combine(control.get());
}

void control_divide(const orv_control_s *c) {
  refuse_cg(c->larger_probability, c->smaller_probability);
  if (has_data(c->larger_probability) && has_data(c->smaller_probability))
    _orv_do_table_operation(c, kDivide, nullptr, nullptr, 0, 0);
}

void _orv_divide_tables(orv_table_s *target, orv_table_s *source) {
  if (is_table(target) && target->type == orv_table_utility) fail(orv_error_usage);
  if (is_table(target) && is_table(source)) refuse_cg(target, source);
  const TableOperationControl control(target, source);
  control_divide(control.get());
}

}  // namespace orv
