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
    if (count == 1) continue;
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

// Reductions over the second section for every entry of the first section.
// An accumulator provides start(), add(l) for a larger-table offset, and
// store(s) for a smaller-table offset; entries reach add() in row-major order.
template <class Accumulator>
inline void reduce_rows(const Loops &loops, Accumulator &acc) {
  if (loops.first_empty) return;
  const Loop *first = loops.loop;
  const Loop *second = loops.loop + loops.first;
  const std::size_t m = loops.second;

  auto per_target = [&](auto &&reduce_at) {
    for_each_row(first, loops.first, [&](std::size_t l, std::size_t s, const Loop &row) {
      for (std::size_t i = 0; i < row.count; ++i) {
        acc.start();
        reduce_at(l + i * row.larger);
        acc.store(s + i * row.smaller);
      }
    });
  };

  if (loops.second_empty) {
    per_target([](std::size_t) {});
  } else if (m == 0) {
    per_target([&](std::size_t l) { acc.add(l); });
  } else if (m == 1) {
    const Loop d = second[0];
    if (d.larger == 1) {
      per_target([&](std::size_t l) {
        for (std::size_t j = 0; j < d.count; ++j) acc.add(l + j);
      });
    } else {
      per_target([&](std::size_t l) {
        for (std::size_t j = 0; j < d.count; ++j) acc.add(l + j * d.larger);
      });
    }
  } else {
    per_target([&](std::size_t base) {
      for_each_row(second, m, [&](std::size_t l, std::size_t, const Loop &row) {
        const std::size_t start = base + l;
        if (row.larger == 1) {
          for (std::size_t j = 0; j < row.count; ++j) acc.add(start + j);
        } else {
          for (std::size_t j = 0; j < row.count; ++j) acc.add(start + j * row.larger);
        }
      });
    });
  }
}

}  // namespace orv::kernels
