// One-pass central moments (mean, M2, M3, M4) by pairwise-stable updates,
// exact enough under large offsets where sums of powers cancel.
#pragma once

#include <cstddef>

namespace orv {

struct Moments {
  std::size_t n = 0;
  double mean = 0, m2 = 0, m3 = 0, m4 = 0;  // m2..m4: sums of powers of deviations

  void add(double x) {
    const double n1 = static_cast<double>(n);
    ++n;
    const double nn = static_cast<double>(n);
    const double delta = x - mean;
    const double delta_n = delta / nn;
    const double delta_n2 = delta_n * delta_n;
    const double term1 = delta * delta_n * n1;
    mean += delta_n;
    m4 += term1 * delta_n2 * (nn * nn - 3 * nn + 3) + 6 * delta_n2 * m2 - 4 * delta_n * m3;
    m3 += term1 * delta_n * (nn - 2) - 3 * delta_n * m2;
    m2 += term1;
  }
};

}  // namespace orv
