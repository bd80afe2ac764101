// Controls of whole-table operations: flat ones on the stack for tables of
// the same layout, temporary ones otherwise.
#include "runtime/error.h"
#include "tables/control.h"

namespace orv {

namespace {

bool same_discrete_layout(const orv_table_s *a, const orv_table_s *b) {
  if (a->discrete_count != b->discrete_count) return false;
  for (std::size_t i = 0; i < a->discrete_count; ++i)
    if (a->nodes[i] != b->nodes[i]) return false;
  return true;
}

void assign_slots(orv_control_s *c, orv_table_s *larger, orv_table_s *smaller) {
  if (larger->type == orv_table_utility) {
    c->larger_utility = larger;
    c->smaller_utility = smaller;
  } else {
    c->larger_probability = larger;
    c->smaller_probability = smaller;
  }
}

}  // namespace

TableOperationControl::TableOperationControl(orv_table_s *larger, orv_table_s *smaller)
    : flat_(larger ? larger->domain : nullptr) {
  if (!is_table(larger) || !is_table(smaller) || larger->domain != smaller->domain)
    fail(orv_error_usage);
  _orv_allocate_data_arrays(larger);
  _orv_allocate_data_arrays(smaller);
  if (same_discrete_layout(larger, smaller)) {
    assign_slots(&flat_, larger, smaller);
    const Dimension all{larger->size, 1, 0, 1, 0};
    flat_dimensions_[0] = flat_dimensions_[1] = all;
    flat_.dimensions = flat_dimensions_;
    flat_.saved_count = 1;
    flat_.first_saved = 1;
    _orv_setup_control_fast_retraction(&flat_);
    return;
  }
  temporary_ = larger->type == orv_table_utility
                   ? _orv_create_temporary_control(nullptr, larger, nullptr, smaller)
                   : _orv_create_temporary_control(larger, nullptr, smaller, nullptr);
  _orv_setup_control_fast_retraction(temporary_);
}

TableOperationControl::~TableOperationControl() {
  flat_.dimensions = nullptr;  // the flat list lives here, not in the funnel
  _orv_free_temporary_control(temporary_);
}

}  // namespace orv
