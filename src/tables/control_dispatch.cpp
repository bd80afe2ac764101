// `_orv_do_table_operation`: turns a prepared control into a fan-out request
// (data positions, outer dimension, work per outer index) and runs a kernel.
#include "runtime/error.h"
#include "runtime/parallel.h"
#include "tables/control.h"

namespace orv {

namespace {

struct OperationContext {
  const orv_control_s *control;
  KernelFunction kernel;
};

void run_slice(const void *context, const Slice &slice) {
  const auto &operation = *static_cast<const OperationContext *>(context);
  const orv_control_s *c = operation.control;
  const KernelArgs args{c,
                        c->dimensions,
                        c->first_section,
                        c->second_section,
                        slice.outer_count,
                        slice.positions,
                        slice.scratch};
  operation.kernel(args);
}

double *data_of(const orv_table_s *t) { return t ? t->data : nullptr; }

}  // namespace

void _orv_do_table_operation(const orv_control_s *c, TableKernel kernel, double *first_array,
                             double *second_array, std::size_t scratch_size,
                             std::size_t work_factor) {
  FanOutRequest request;
  request.grain_size = c->domain->grain_size;
  request.concurrency_level = c->domain->concurrency_level;

  double *const larger[2] = {data_of(c->larger_probability), data_of(c->larger_utility)};
  for (std::size_t a = 0; a < 2; ++a)
    request.positions[kLargerProbability + a] = larger[a] ? larger[a] + c->start_offset : nullptr;
  request.positions[kSmallerProbability] = data_of(c->smaller_probability);
  request.positions[kSmallerUtility] = data_of(c->smaller_utility);
  request.positions[kFirstCallerArray] = first_array;
  request.positions[kSecondCallerArray] = second_array;
  const orv_table_s *larger_cg = c->larger_probability, *smaller_cg = c->smaller_probability;
  const std::size_t larger_block = larger_cg ? larger_cg->block_size : 0;
  const std::size_t smaller_block = smaller_cg ? smaller_cg->block_size : 0;
  if (larger_cg && larger_cg->cg_data)
    request.positions[kLargerCg] = larger_cg->cg_data + c->start_offset * larger_block;
  if (smaller_cg && smaller_cg->cg_data) request.positions[kSmallerCg] = smaller_cg->cg_data;

  const std::size_t count = c->dimension_count();
  if (count == 0) {
    request.outer_count = 1;
  } else {
    const Dimension &outer = c->dimensions[0];
    request.outer_count = outer.count;
    std::size_t inner = 1;
    for (std::size_t k = 1; k < count; ++k) inner = size_multiply(inner, c->dimensions[k].count);
    request.work_per_outer = size_multiply(work_factor + 1, inner);
    request.splittable = !kernel.writes_smaller || c->first_section > 0;
    for (std::size_t a = 0; a < kSliceArrays; ++a)
      request.steps[a] = a <= kLargerUtility ? outer.larger_stride : outer.stride;
    request.steps[kLargerCg] = outer.larger_stride * larger_block;
    request.steps[kSmallerCg] = outer.stride * smaller_block;
  }
  request.scratch_size = scratch_size;
  const OperationContext context{c, kernel.run};
  request.run = run_slice;
  request.context = &context;
  if (fan_out(request) != orv_error_none) fail(orv_error_no_memory);
}

}  // namespace orv
