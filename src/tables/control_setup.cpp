// Preparing a control for one use: reset from the saved copy, slicing by
// selected states, and compression of the dimension list.
#include <algorithm>

#include "model/node.h"
#include "tables/control.h"

namespace orv {

namespace {

bool is_void(const Dimension &d) { return d.count == 1 && d.second_stride == 0; }

bool can_merge(const Dimension &outer, const Dimension &inner) {
  return outer.second_stride == 0 && inner.second_stride == 0 &&
         outer.stride == inner.stride * inner.count &&
         outer.larger_stride == inner.larger_stride * inner.count;
}

// Whether the outermost dimension of the first section may merge: at
// concurrency level L >= 2 a count of 4L or more, or a multiple of L, is kept
// apart so that threads can share it evenly.
bool outermost_may_merge(std::size_t count, std::size_t level) {
  return level < 2 || (count < 4 * level && count % level != 0);
}

// Compresses d[0..n) in place and returns the new length.
std::size_t compress_section(Dimension *d, std::size_t n, std::size_t level) {
  std::size_t kept = 0;
  for (std::size_t k = 0; k < n; ++k)
    if (!is_void(d[k])) d[kept++] = d[k];
  if (kept == 0) return 0;
  std::size_t out = 0;
  for (std::size_t k = 1; k < kept; ++k) {
    Dimension &current = d[out];
    const bool rule_allows = out > 0 || outermost_may_merge(current.count, level);
    if (rule_allows && can_merge(current, d[k])) {
      current.count *= d[k].count;
      current.stride = d[k].stride;
      current.larger_stride = d[k].larger_stride;
      current.position = d[k].position;
    } else {
      d[++out] = d[k];
    }
  }
  return out + 1;
}

}  // namespace

void reset_control(orv_control_s *c) noexcept {
  std::copy(c->saved(), c->saved() + c->saved_count, c->dimensions);
  c->first_section = c->first_saved;
  c->second_section = c->saved_count - c->first_saved;
  c->start_offset = 0;
}

void simplify_control(orv_control_s *c) noexcept {
  const orv_table_s *larger = c->source();
  Dimension *second = c->dimensions + c->first_section;
  std::size_t kept = 0;
  for (std::size_t k = 0; k < c->second_section; ++k) {
    const Dimension &d = second[k];
    const long state = larger->nodes[d.position]->selected_state;
    if (state >= 0 && static_cast<std::size_t>(state) < d.count) {
      c->start_offset += static_cast<std::size_t>(state) * d.larger_stride;
    } else {
      second[kept++] = d;
    }
  }
  c->second_section = kept;
}

void compress_control(orv_control_s *c) noexcept {
  Dimension *d = c->dimensions;
  const std::size_t first = compress_section(d, c->first_section, c->domain->concurrency_level);
  const std::size_t second = compress_section(d + c->first_section, c->second_section, 1);
  for (std::size_t k = 0; k < second; ++k) d[first + k] = d[c->first_section + k];
  c->first_section = first;
  c->second_section = second;
}

void _orv_setup_control_normal(orv_control_s *c) noexcept {
  reset_control(c);
  simplify_control(c);
  compress_control(c);
}

void _orv_setup_control_fast_retraction(orv_control_s *c) noexcept {
  reset_control(c);
  compress_control(c);
}

}  // namespace orv
