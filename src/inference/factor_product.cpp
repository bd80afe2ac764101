// The fused product-and-sum kernel of targeted queries: the product of a
// bucket's factors summed over some variables, without ever forming the
// product table. The walk visits the clique's configurations with the summed
// variables outermost, so the output is written in row-major order.
#include <algorithm>

#include "inference/targeted.h"

namespace orv {

namespace {

// One row of the innermost dimension: out[i * so] += product of the factors'
// entries at their offsets plus i times their strides.
inline void product_row(double *out, std::size_t so, const double *const *data, const std::size_t *offsets,
                        const std::size_t *strides, std::size_t factors, std::size_t count) {
  switch (factors) {
    case 0:
      for (std::size_t i = 0; i < count; ++i) out[i * so] += 1.0;
      return;
    case 1: {
      const double *a = data[0] + offsets[0];
      const std::size_t sa = strides[0];
      for (std::size_t i = 0; i < count; ++i) out[i * so] += a[i * sa];
      return;
    }
    case 2: {
      const double *a = data[0] + offsets[0], *b = data[1] + offsets[1];
      const std::size_t sa = strides[0], sb = strides[1];
      for (std::size_t i = 0; i < count; ++i) out[i * so] += a[i * sa] * b[i * sb];
      return;
    }
    case 3: {
      const double *a = data[0] + offsets[0], *b = data[1] + offsets[1], *c = data[2] + offsets[2];
      const std::size_t sa = strides[0], sb = strides[1], sc = strides[2];
      for (std::size_t i = 0; i < count; ++i) out[i * so] += a[i * sa] * b[i * sb] * c[i * sc];
      return;
    }
    default:
      for (std::size_t i = 0; i < count; ++i) {
        double product = data[0][offsets[0] + i * strides[0]];
        for (std::size_t f = 1; f < factors && product != 0.0; ++f) product *= data[f][offsets[f] + i * strides[f]];
        out[i * so] += product;
      }
  }
}

}  // namespace

double product_marginal(const Problem &p, ProductWorkspace &w, const std::uint32_t *factor_ids,
                        std::size_t factor_count, const std::uint32_t *out_vars, std::size_t out_count,
                        const std::uint32_t *sum_vars, std::size_t sum_count, double *out) {
  // Column 0 of each dimension's stride row is the output, then one per factor.
  const std::size_t width = factor_count + 1;
  std::size_t *strides = w.strides.data();
  std::size_t *counts = w.counts.data();
  const std::size_t dims = sum_count + out_count;
  auto var_of = [&](std::size_t d) { return d < sum_count ? sum_vars[d] : out_vars[d - sum_count]; };

  std::size_t out_size = 1;
  for (std::size_t d = dims; d-- > 0;) {
    counts[d] = p.states[var_of(d)];
    strides[d * width] = d < sum_count ? 0 : out_size;
    if (d >= sum_count) out_size *= counts[d];
  }
  for (std::size_t f = 0; f < factor_count; ++f) {
    const Factor &x = p.factors[factor_ids[f]];
    w.data[f] = x.data;
    for (std::uint32_t i = 0; i < x.count; ++i) w.stride_of[p.scope_vars[x.first + i]] = p.scope_strides[x.first + i];
    for (std::size_t d = 0; d < dims; ++d) strides[d * width + 1 + f] = w.stride_of[var_of(d)];
    for (std::uint32_t i = 0; i < x.count; ++i) w.stride_of[p.scope_vars[x.first + i]] = 0;
  }
  // Drop single-state dimensions and merge neighbours that step as one.
  std::size_t kept = 0;
  for (std::size_t d = 0; d < dims; ++d) {
    if (counts[d] == 1) continue;
    std::size_t *row = strides + d * width;
    if (kept > 0) {
      std::size_t *outer = strides + (kept - 1) * width;
      bool mergeable = true;
      for (std::size_t c = 0; c < width && mergeable; ++c) mergeable = outer[c] == row[c] * counts[d];
      if (mergeable) {
        counts[kept - 1] *= counts[d];
        std::copy(row, row + width, outer);
        continue;
      }
    }
    counts[kept] = counts[d];
    if (kept != d) std::copy(row, row + width, strides + kept * width);
    ++kept;
  }

  std::fill(out, out + out_size, 0.0);
  std::size_t *offsets = w.offsets.data();
  std::fill(offsets, offsets + width, 0);
  if (kept == 0) {
    product_row(out, 0, w.data.data(), offsets + 1, strides + 1, factor_count, 1);
  } else {
    const std::size_t last = kept - 1;
    const std::size_t *row_strides = strides + last * width;
    std::size_t *index = w.index.data();
    std::fill(index, index + kept, 0);
    for (bool more = true; more;) {
      product_row(out + offsets[0], row_strides[0], w.data.data(), offsets + 1, row_strides + 1, factor_count,
                  counts[last]);
      // Odometer over the outer dimensions.
      more = false;
      for (std::size_t d = last; d-- > 0;) {
        const std::size_t *s = strides + d * width;
        if (++index[d] < counts[d]) {
          for (std::size_t c = 0; c < width; ++c) offsets[c] += s[c];
          more = true;
          break;
        }
        index[d] = 0;
        const std::size_t back = counts[d] - 1;
        for (std::size_t c = 0; c < width; ++c) offsets[c] -= back * s[c];
      }
    }
  }
  return *std::max_element(out, out + out_size);
}

}  // namespace orv
