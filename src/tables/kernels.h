// Loop machinery shared by the table kernels: a kernel's dimension list as
// plain loops (void dimensions dropped), a row-major odometer over outer
// loops, and row loops specialised for unit and zero strides. Nothing here
// allocates.
#pragma once

#include <cstddef>

#include "tables/control.h"

namespace orv::kernels {

// One loop: count and the steps in the larger and the smaller table.
struct Loop {
  std::size_t count;
  std::size_t larger;
  std::size_t smaller;
};

// Non-void dimensions of a table whose size fits in memory number at most 64.
constexpr std::size_t kMaxLoops = 64;

struct Loops {
  Loop loop[kMaxLoops];
  std::size_t first = 0;   // loops of the first section (smaller table's nodes)
  std::size_t second = 0;  // loops of the second section, after the first
  bool first_empty = false;   // a first-section count is 0: nothing to visit
  bool second_empty = false;  // a second-section count is 0: empty reductions
  std::size_t size() const { return first + second; }
};

// The slice's loops, outermost first, with the slice's outer count in place.
inline void load_loops(const KernelArgs &args, Loops &out) {
  const std::size_t n = args.first_section + args.second_section;
  for (std::size_t k = 0; k < n; ++k) {
    const Dimension &d = args.dimensions[k];
    const std::size_t count = k == 0 ? args.outer_count : d.count;
    const bool in_first = k < args.first_section;
    if (count == 0) (in_first ? out.first_empty : out.second_empty) = true;
    if (count <= 1) continue;
    // More loops than fit means more than 2^64 entries: only possible with
    // a zero count elsewhere, i.e. nothing to visit.
    if (out.first + out.second == kMaxLoops) {
      out.first_empty = true;
      continue;
    }
    out.loop[out.first + out.second] = Loop{count, d.larger_stride, d.stride};
    ++(in_first ? out.first : out.second);
  }
}

// Calls body(l, s) for every configuration of loops[0..n) in row-major
// order, l and s being the offsets in the larger and smaller table.
template <class Body>
inline void odometer(const Loop *loops, std::size_t n, Body &&body) {
  std::size_t index[kMaxLoops];
  for (std::size_t k = 0; k < n; ++k) {
    if (loops[k].count == 0) return;
    index[k] = 0;
  }
  std::size_t l = 0, s = 0;
  for (;;) {
    body(l, s);
    std::size_t k = n;
    for (;;) {
      if (k == 0) return;
      --k;
      if (++index[k] < loops[k].count) {
        l += loops[k].larger;
        s += loops[k].smaller;
        break;
      }
      index[k] = 0;
      l -= (loops[k].count - 1) * loops[k].larger;
      s -= (loops[k].count - 1) * loops[k].smaller;
    }
  }
}

// Calls row(l, s, loop) for every configuration of all loops but the last,
// `loop` being the last; with no loops, row is called once with a unit loop.
template <class Row>
inline void for_each_row(const Loop *loops, std::size_t n, Row &&row) {
  if (n == 0) {
    row(std::size_t{0}, std::size_t{0}, Loop{1, 0, 0});
    return;
  }
  const Loop last = loops[n - 1];
  if (n == 1) {
    row(std::size_t{0}, std::size_t{0}, last);
    return;
  }
  // Two inner levels per odometer step keep its cost off short rows.
  const Loop middle = loops[n - 2];
  odometer(loops, n - 2, [&](std::size_t l, std::size_t s) {
    for (std::size_t j = 0; j < middle.count; ++j)
      row(l + j * middle.larger, s + j * middle.smaller, last);
  });
}

// target[i * larger] = op(target[i * larger], source[i * smaller]) along a row,
// specialised for the contiguous and broadcast cases.
template <class Op>
inline void binary_row(double *target, const double *source, const Loop &row) {
  const std::size_t n = row.count;
  if (row.larger == 1 && row.smaller == 1) {
    for (std::size_t i = 0; i < n; ++i) target[i] = Op::apply(target[i], source[i]);
  } else if (row.larger == 1 && row.smaller == 0) {
    const double value = *source;
    for (std::size_t i = 0; i < n; ++i) target[i] = Op::apply(target[i], value);
  } else if (row.smaller == 0) {
    const double value = *source;
    for (std::size_t i = 0; i < n; ++i)
      target[i * row.larger] = Op::apply(target[i * row.larger], value);
  } else {
    for (std::size_t i = 0; i < n; ++i)
      target[i * row.larger] = Op::apply(target[i * row.larger], source[i * row.smaller]);
  }
}

// Puts a slice's loops into the larger table's row-major order (descending
// larger stride) and merges loops that became adjacent in both tables. The
// loops describe a set of entries, so reordering them only changes the order
// of the visit. Returns the new number of loops.
inline std::size_t order_row_major(Loop *loops, std::size_t n) {
  for (std::size_t k = 1; k < n; ++k) {
    const Loop moving = loops[k];
    std::size_t j = k;
    for (; j > 0 && loops[j - 1].larger < moving.larger; --j) loops[j] = loops[j - 1];
    loops[j] = moving;
  }
  if (n == 0) return 0;
  std::size_t out = 0;
  for (std::size_t k = 1; k < n; ++k) {
    Loop &outer = loops[out];
    const Loop &inner = loops[k];
    if (outer.larger == inner.larger * inner.count && outer.smaller == inner.smaller * inner.count)
      outer = Loop{outer.count * inner.count, inner.larger, inner.smaller};
    else
      loops[++out] = inner;
  }
  return out + 1;
}

// Folding a walk of the larger table into smaller-table entries. A source
// gives the value of a larger-table offset (an entry, or a product of two
// tables' entries); Op combines it into the target entry.

// One row: target entries advance by the row's smaller stride, which is 0
// when the whole row folds into one entry.
template <class Op, class Source>
inline void accumulate_row(double *target, const Source &source, std::size_t base,
                           const Loop &row) {
  const std::size_t n = row.count;
  if (row.smaller == 0) {
    double acc = *target;
    if (row.larger == 1)
      for (std::size_t i = 0; i < n; ++i) acc = Op::apply(acc, source(base + i));
    else
      for (std::size_t i = 0; i < n; ++i) acc = Op::apply(acc, source(base + i * row.larger));
    *target = acc;
  } else if (row.larger == 1 && row.smaller == 1) {
    for (std::size_t i = 0; i < n; ++i) target[i] = Op::apply(target[i], source(base + i));
  } else {
    for (std::size_t i = 0; i < n; ++i)
      target[i * row.smaller] = Op::apply(target[i * row.smaller], source(base + i * row.larger));
  }
}

// Folds rows into eight different target entries at once, so that their
// dependency chains overlap; each entry still receives its source entries in
// row-major order.
template <class Op, class Source>
inline void accumulate_block(double *target, const Source &source, std::size_t base,
                             const Loop &middle, const Loop &row) {
  constexpr std::size_t kChains = 8;
  const std::size_t ts = middle.smaller, xs = middle.larger, step = row.larger;
  std::size_t j = 0;
  for (; j + kChains <= middle.count; j += kChains) {
    double *const t = target + j * ts;
    const std::size_t x = base + j * xs;
    double a[kChains];
    for (std::size_t c = 0; c < kChains; ++c) a[c] = t[c * ts];
    for (std::size_t i = 0; i < row.count; ++i)
      for (std::size_t c = 0; c < kChains; ++c) a[c] = Op::apply(a[c], source(x + c * xs + i * step));
    for (std::size_t c = 0; c < kChains; ++c) t[c * ts] = a[c];
  }
  for (; j < middle.count; ++j)
    accumulate_row<Op>(target + j * ts, source, base + j * xs, row);
}

// Folds the whole walk of a row-ordered loop list into the target.
template <class Op, class Source>
inline void accumulate_rows(double *target, const Source &source, const Loop *loops,
                            std::size_t n) {
  if (n >= 2 && loops[n - 1].smaller == 0 && loops[n - 2].smaller != 0) {
    const Loop middle = loops[n - 2], row = loops[n - 1];
    odometer(loops, n - 2, [&](std::size_t l, std::size_t s) {
      accumulate_block<Op>(target + s, source, l, middle, row);
    });
    return;
  }
  for_each_row(loops, n, [&](std::size_t l, std::size_t s, const Loop &row) {
    accumulate_row<Op>(target + s, source, l, row);
  });
}

// Calls visit(s) for every target entry of the slice (the first-section loops).
template <class Visit>
inline void for_each_target(const Loop *first, std::size_t n, Visit &&visit) {
  for_each_row(first, n, [&](std::size_t, std::size_t s, const Loop &row) {
    for (std::size_t i = 0; i < row.count; ++i) visit(s + i * row.smaller);
  });
}

// The fold of a slice: its targets start at Op's neutral value, then the
// slice is walked in the larger table's row-major order, so every target
// receives its entries in ascending index order whatever the slicing.
template <class Op, class Source>
inline void fold_slice(Loops &loops, double *target, const Source &source) {
  if (loops.first_empty) return;
  for_each_target(loops.loop, loops.first, [&](std::size_t s) { target[s] = Op::kStart; });
  if (loops.second_empty) return;
  const std::size_t n = order_row_major(loops.loop, loops.size());
  accumulate_rows<Op>(target, source, loops.loop, n);
}

}  // namespace orv::kernels
