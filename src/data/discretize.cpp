// Discretization of numeric columns: equal-width and equal-frequency
// boundaries, supervised boundaries by the recursive minimum-description-
// length entropy split, and rewriting numbers as interval labels.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "data/cell_values.h"
#include "runtime/error.h"

using orv::guarded;
using orv::guarded_status;
using orv::usage;

namespace orv {
namespace {

// A point strictly between a < b, as near the middle as rounding allows.
double cut_between(double a, double b) {
  const double mid = a + (b - a) / 2;
  return mid > a && mid < b ? mid : b;
}

// The boundaries -inf, cuts..., +inf in a new array (funnel memory, which the
// caller frees with free()); cuts must be increasing.
double *boundaries_from(const Vector<double> &cuts, std::size_t *intervals) {
  const std::size_t count = cuts.size() + 2;
  auto *b = static_cast<double *>(_orv_allocate(size_multiply(count, sizeof(double))));
  if (!b) fail(orv_error_no_memory);
  b[0] = -DBL_MAX;
  std::copy(cuts.begin(), cuts.end(), b + 1);
  b[count - 1] = DBL_MAX;
  *intervals = count - 1;
  return b;
}

Vector<double> equal_width_cuts(const Vector<double> &x, std::size_t count) {
  const auto [lo, hi] = std::minmax_element(x.begin(), x.end());
  Vector<double> cuts;
  const double min = *lo, width = *hi - *lo;
  for (std::size_t i = 1; i < count && width > 0; ++i) {
    const double cut = min + width * (static_cast<double>(i) / static_cast<double>(count));
    if (cut > min && (cuts.empty() || cut > cuts.back())) cuts.push_back(cut);
  }
  return cuts;
}

Vector<double> equal_frequency_cuts(Vector<double> x, std::size_t count) {
  std::sort(x.begin(), x.end());
  const std::size_t n = x.size();
  Vector<double> cuts;
  for (std::size_t i = 1; i < count; ++i) {
    // First index of the i-th share; inside a run of ties it moves to the
    // nearer end of the run.
    std::size_t at = static_cast<std::size_t>(static_cast<unsigned __int128>(i) * n / count);
    if (at == 0 || at >= n) continue;
    if (x[at - 1] == x[at]) {
      const auto first = static_cast<std::size_t>(std::lower_bound(x.begin(), x.end(), x[at]) - x.begin());
      const auto last = static_cast<std::size_t>(std::upper_bound(x.begin(), x.end(), x[at]) - x.begin());
      at = first > 0 && at - first <= last - at ? first : last;
      if (at >= n) continue;
    }
    const double cut = cut_between(x[at - 1], x[at]);
    if (cuts.empty() || cut > cuts.back()) cuts.push_back(cut);
  }
  return cuts;
}

double entropy(const std::size_t *counts, std::size_t classes, std::size_t n, std::size_t *present) {
  double h = 0;
  std::size_t k = 0;
  for (std::size_t c = 0; c < classes; ++c) {
    if (counts[c] == 0) continue;
    const double p = static_cast<double>(counts[c]) / static_cast<double>(n);
    h -= p * std::log2(p);
    ++k;
  }
  if (present) *present = k;
  return h;
}

struct Labelled {
  double value;
  std::size_t label;
};

// The accepted cuts of the recursive split of the sorted range [lo, hi).
void mdl_cuts(const Vector<Labelled> &s, std::size_t classes, Vector<double> &cuts) {
  struct Range {
    std::size_t lo, hi;
  };
  Vector<Range> todo{Range{0, s.size()}};
  Vector<std::size_t> total(classes), left(classes), right(classes);
  while (!todo.empty()) {
    const Range range = todo.back();
    todo.pop_back();
    const std::size_t n = range.hi - range.lo;
    if (n < 2) continue;
    std::fill(total.begin(), total.end(), 0);
    for (std::size_t i = range.lo; i < range.hi; ++i) ++total[s[i].label];
    std::size_t k = 0;
    const double h = entropy(total.data(), classes, n, &k);
    // Best boundary: the smallest weighted entropy of the two parts.
    std::fill(left.begin(), left.end(), 0);
    std::size_t best = 0;
    double best_e = INFINITY;
    for (std::size_t i = range.lo + 1; i < range.hi; ++i) {
      ++left[s[i - 1].label];
      if (s[i - 1].value == s[i].value) continue;
      const std::size_t n1 = i - range.lo, n2 = range.hi - i;
      for (std::size_t c = 0; c < classes; ++c) right[c] = total[c] - left[c];
      const double e = (static_cast<double>(n1) * entropy(left.data(), classes, n1, nullptr) +
                        static_cast<double>(n2) * entropy(right.data(), classes, n2, nullptr)) /
                       static_cast<double>(n);
      if (e < best_e) {
        best_e = e;
        best = i;
      }
    }
    if (best == 0) continue;
    std::fill(left.begin(), left.end(), 0);
    for (std::size_t i = range.lo; i < best; ++i) ++left[s[i].label];
    for (std::size_t c = 0; c < classes; ++c) right[c] = total[c] - left[c];
    std::size_t k1 = 0, k2 = 0;
    const std::size_t n1 = best - range.lo, n2 = range.hi - best;
    const double h1 = entropy(left.data(), classes, n1, &k1);
    const double h2 = entropy(right.data(), classes, n2, &k2);
    const double gain = h - best_e;
    const double delta = std::log2(std::pow(3.0, static_cast<double>(k)) - 2) -
                         (static_cast<double>(k) * h - static_cast<double>(k1) * h1 - static_cast<double>(k2) * h2);
    const double nn = static_cast<double>(n);
    if (!(gain > (std::log2(nn - 1) + delta) / nn)) continue;
    cuts.push_back(cut_between(s[best - 1].value, s[best].value));
    todo.push_back(Range{range.lo, best});
    todo.push_back(Range{best, range.hi});
  }
  std::sort(cuts.begin(), cuts.end());
}

Vector<double> iem_cuts(const orv_data_set_s *ds, std::size_t column, std::size_t class_column) {
  const auto &values = ds->columns[column].cells;
  const auto &classes = ds->columns[class_column].cells;
  Vector<const char *> names;
  for (std::size_t r = 0; r < ds->rows; ++r)
    if (values[r] && classes[r]) names.push_back(classes[r]);
  const auto less = [](const char *a, const char *b) { return std::strcmp(a, b) < 0; };
  std::sort(names.begin(), names.end(), less);
  names.erase(std::unique(names.begin(), names.end(), same_cell), names.end());
  Vector<Labelled> s;
  s.reserve(ds->rows);
  for (std::size_t r = 0; r < ds->rows; ++r) {
    if (!values[r] || !classes[r]) continue;
    double x;
    if (!read_number(values[r], x)) fail(orv_error_usage);
    const auto at = std::lower_bound(names.begin(), names.end(), classes[r], less);
    s.push_back(Labelled{x, static_cast<std::size_t>(at - names.begin())});
  }
  if (s.empty()) fail(orv_error_usage);
  std::sort(s.begin(), s.end(), [](const Labelled &a, const Labelled &b) { return a.value < b.value; });
  Vector<double> cuts;
  mdl_cuts(s, names.size(), cuts);
  return cuts;
}

bool boundaries_ok(const double *b, std::size_t intervals) {
  if (!b || intervals == 0 || intervals == kSizeSentinel) return false;
  for (std::size_t i = 0; i < intervals; ++i)
    if (!(b[i] < b[i + 1])) return false;
  return true;
}

}  // namespace
}  // namespace orv

extern "C" {

double *orv_ds_discretize_column(orv_data_set_t data_set, size_t column, orv_discretization_t method,
                                 size_t count, size_t *intervals) {
  int code;  // read as int: a C caller may pass any value, outside the enumeration's C++ range
  std::memcpy(&code, &method, sizeof code);
  if (!orv::is_column(data_set, column) || count == 0 || !intervals ||
      (code != orv_discretization_equal_width && code != orv_discretization_equal_frequency))
    return usage<double *>(nullptr);
  return guarded<double *>(nullptr, [&] {
    const orv::Vector<double> x = orv::column_numbers(data_set, column);
    if (x.empty()) orv::fail(orv_error_usage);
    const orv::Vector<double> cuts = code == orv_discretization_equal_width ? orv::equal_width_cuts(x, count)
                                                                               : orv::equal_frequency_cuts(x, count);
    return orv::boundaries_from(cuts, intervals);
  });
}

double *orv_ds_compute_iem_intervals(orv_data_set_t data_set, size_t column, size_t class_column,
                                     size_t *intervals) {
  if (!orv::is_column(data_set, column) || !orv::is_column(data_set, class_column) || column == class_column ||
      !intervals)
    return usage<double *>(nullptr);
  return guarded<double *>(nullptr, [&] {
    return orv::boundaries_from(orv::iem_cuts(data_set, column, class_column), intervals);
  });
}

orv_status_t orv_ds_apply_discretization(orv_data_set_t data_set, size_t column, const double *boundaries,
                                         size_t intervals) {
  if (!orv::is_column(data_set, column) || !orv::boundaries_ok(boundaries, intervals))
    return usage(orv_error_usage);
  return guarded_status([&] {
    auto &cells = data_set->columns[column].cells;
    // Which interval each present cell falls in; nothing changes before all fit.
    orv::Vector<std::size_t> slot(cells.size(), orv::kSizeSentinel);
    for (std::size_t r = 0; r < cells.size(); ++r) {
      if (!cells[r]) continue;
      double x;
      if (!orv::read_number(cells[r], x) || x < boundaries[0] || x >= boundaries[intervals])
        orv::fail(orv_error_usage);
      slot[r] = static_cast<std::size_t>(std::upper_bound(boundaries, boundaries + intervals + 1, x) - boundaries) - 1;
    }
    orv::Vector<const char *> labels(intervals, nullptr);
    orv::with_arena_undo(data_set, [&] {
      char text[orv::kIntervalLabelSize];
      for (std::size_t i = 0; i < intervals; ++i) {
        const std::size_t n = orv::write_interval(text, boundaries[i], boundaries[i + 1]);
        labels[i] = orv::store_text(data_set, text, n);
      }
      return 0;
    });
    for (std::size_t r = 0; r < cells.size(); ++r) {
      if (slot[r] == orv::kSizeSentinel) continue;
      orv::release_text(data_set, cells[r]);
      cells[r] = labels[slot[r]];
    }
    orv::settle(data_set);
  });
}

}  // extern "C"
