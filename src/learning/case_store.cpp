// The case store: growth and shrink rules of the per-node case arrays and the
// per-case accessors. Arrays that do not exist yet are created at the full
// capacity on first use; entries beyond the number of cases are always clear.
#include "learning/case_store.h"

#include <cstdint>
#include <cstring>

#include "inference/evidence.h"
#include "runtime/error.h"

namespace orv {

namespace {

constexpr std::size_t kMaxCaseState = 32767;

// One resizable per-case array and what its new entries start as.
struct CaseArray {
  void **block;
  std::size_t width;
  void clear(std::size_t from, std::size_t to) const {
    char *base = static_cast<char *>(*block);
    if (width == sizeof(std::int16_t)) {
      for (std::size_t i = from; i < to; ++i) reinterpret_cast<std::int16_t *>(base)[i] = -1;
    } else if (width == sizeof(double)) {
      for (std::size_t i = from; i < to; ++i) reinterpret_cast<double *>(base)[i] = 1.0;
    } else {
      std::memset(base + from, 0, to - from);
    }
  }
};

// Every existing case array of the domain: node states, values, value flags
// and the counts. Values keep stale entries; their flags say they are unset.
template <class Visit>
void for_each_array(orv_domain_s *d, Visit &&visit) {
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (n->case_states) visit(CaseArray{reinterpret_cast<void **>(&n->case_states), sizeof(std::int16_t)});
    if (n->case_values) visit(CaseArray{reinterpret_cast<void **>(&n->case_values), 0});
    if (n->case_value_set) visit(CaseArray{reinterpret_cast<void **>(&n->case_value_set), 1});
  }
  if (d->case_counts) visit(CaseArray{reinterpret_cast<void **>(&d->case_counts), sizeof(double)});
}

std::size_t element_width(const CaseArray &a) { return a.width == 0 ? sizeof(double) : a.width; }

void resize_all(orv_domain_s *d, std::size_t capacity) noexcept {
  for_each_array(d, [&](const CaseArray &a) {
    *a.block = _orv_shrink(*a.block, size_multiply(capacity, element_width(a)));
  });
}

void grow(orv_domain_s *d, std::size_t n) {
  const std::size_t old_capacity = d->case_capacity;
  const std::size_t step = old_capacity / 8 + 32;
  const std::size_t capacity = n - old_capacity < step ? old_capacity + step : n;
  if (old_capacity != 0) {
    bool failed = false;
    for_each_array(d, [&](const CaseArray &a) {
      if (failed) return;
      void *grown = _orv_reallocate(*a.block, size_multiply(capacity, element_width(a)));
      if (!grown) {
        failed = true;
        return;
      }
      *a.block = grown;
      if (a.width != 0) a.clear(old_capacity, capacity);
    });
    if (failed) {
      resize_all(d, old_capacity);
      fail(orv_error_no_memory);
    }
  }
  d->case_capacity = capacity;
}

void clear_cases(orv_domain_s *d, std::size_t from, std::size_t to) noexcept {
  for_each_array(d, [&](const CaseArray &a) {
    if (a.width != 0) a.clear(from, to);
  });
}

template <class T>
T *allocate_cases(orv_domain_s *d) {
  auto *block = static_cast<T *>(_orv_allocate(size_multiply(d->case_capacity, sizeof(T))));
  if (!block) fail(orv_error_no_memory);
  return block;
}

void ensure_states(orv_node_s *n) {
  if (n->case_states) return;
  n->case_states = allocate_cases<std::int16_t>(n->owner);
  CaseArray{reinterpret_cast<void **>(&n->case_states), sizeof(std::int16_t)}.clear(0, n->owner->case_capacity);
}

void ensure_values(orv_node_s *n) {
  if (n->case_values) return;
  double *values = allocate_cases<double>(n->owner);
  unsigned char *flags;
  try {
    flags = allocate_cases<unsigned char>(n->owner);
  } catch (...) {
    _orv_free(values);
    throw;
  }
  std::memset(flags, 0, n->owner->case_capacity);
  n->case_values = values;
  n->case_value_set = flags;
}

void cases_changed(orv_domain_s *d) noexcept { d->log_likelihood_valid = false; }

}  // namespace

double total_case_weight(const orv_domain_s *d) {
  if (!d->case_counts) return static_cast<double>(d->number_of_cases);
  double total = 0.0;
  for (std::size_t i = 0; i < d->number_of_cases; ++i) total += d->case_counts[i];
  return total;
}

void set_number_of_cases(orv_domain_s *d, std::size_t n) {
  if (d->max_number_of_cases != 0 && n > d->max_number_of_cases) fail(orv_error_demo);
  const std::size_t count = d->number_of_cases, capacity = d->case_capacity;
  if (n > capacity) {
    grow(d, n);
  } else if (n < count) {
    if (n == 0) {
      resize_all(d, 0);
      for (orv_node_s *node = d->first_node; node; node = node->next) {
        node->case_states = nullptr;
        node->case_values = nullptr;
        node->case_value_set = nullptr;
      }
      d->case_counts = nullptr;
      d->case_capacity = 0;
    } else if (capacity - n < capacity / 4 + 64) {
      clear_cases(d, n, count);
    } else {
      resize_all(d, n);
      d->case_capacity = n;
    }
  }
  d->number_of_cases = n;
  cases_changed(d);
}

void set_case_count(orv_domain_s *d, std::size_t i, double count) {
  if (!d->case_counts) {
    if (count == 1.0) return;
    double *counts = allocate_cases<double>(d);
    for (std::size_t k = 0; k < d->case_capacity; ++k) counts[k] = 1.0;
    d->case_counts = counts;
  }
  d->case_counts[i] = count;
  cases_changed(d);
}

void set_case_state(orv_node_s *n, std::size_t i, std::size_t state) {
  if (state >= n->state_count) fail(orv_error_usage);
  if (state > kMaxCaseState) fail(orv_error_case_state_too_large);
  ensure_states(n);
  n->case_states[i] = static_cast<std::int16_t>(state);
  cases_changed(n->owner);
}

void set_case_value(orv_node_s *n, std::size_t i, double value) {
  ensure_values(n);
  n->case_values[i] = value;
  n->case_value_set[i] = 1;
  cases_changed(n->owner);
}

void unset_case(orv_node_s *n, std::size_t i) noexcept {
  if (n->case_states) n->case_states[i] = -1;
  if (n->case_value_set) n->case_value_set[i] = 0;
  cases_changed(n->owner);
}

bool case_is_set(const orv_node_s *n, std::size_t i) {
  if (n->is_discrete()) return n->case_states && n->case_states[i] >= 0;
  return n->case_value_set && n->case_value_set[i];
}

long case_state(const orv_node_s *n, std::size_t i) { return n->case_states ? n->case_states[i] : -1; }

CaseStoreMark::CaseStoreMark(orv_domain_s *d)
    : d_(d), cases_(d->number_of_cases), had_counts_(d->case_counts != nullptr) {
  for (const orv_node_s *n = d->first_node; n; n = n->next)
    if (n->case_states || n->case_values) had_arrays_.push_back(n);
}

void CaseStoreMark::roll_back() noexcept {
  set_number_of_cases(d_, cases_);  // shrinking never fails
  for (orv_node_s *n = d_->first_node; n; n = n->next) {
    bool had = false;
    for (const orv_node_s *m : had_arrays_) had = had || m == n;
    if (had) continue;
    _orv_free(n->case_states);
    _orv_free(n->case_values);
    _orv_free(n->case_value_set);
    n->case_states = nullptr;
    n->case_values = nullptr;
    n->case_value_set = nullptr;
  }
  if (!had_counts_) {
    _orv_free(d_->case_counts);
    d_->case_counts = nullptr;
  }
}

void enter_case(orv_domain_s *d, std::size_t i) noexcept {
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (!holds_cases(n)) continue;
    if (!case_is_set(n, i)) {
      retract_findings(n);
    } else if (n->is_discrete()) {
      select_state(n, static_cast<std::size_t>(n->case_states[i]));
    } else {
      enter_continuous_value(n, n->case_values[i]);
    }
  }
}

}  // namespace orv
