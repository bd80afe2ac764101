// One-pass central moments (mean, M2, M3, M4) by incremental updates of the
// centred sums, on values shifted by the first one: a large common offset
// is removed exactly, so neither the sums nor the running mean lose the
// digits that sums of powers would cancel.
#pragma once

#include <cstddef>

namespace orv {

struct Moments {
  std::size_t n = 0;
  double m2 = 0, m3 = 0, m4 = 0;  // sums of powers of deviations from the mean

  double mean() const { return shift + shifted_mean; }

  void add(double value) {
    if (n == 0) shift = value;
    const double x = value - shift;
    const double n1 = static_cast<double>(n);
    ++n;
    const double nn = static_cast<double>(n);
    const double delta = x - shifted_mean;
    const double delta_n = delta / nn;
    const double delta_n2 = delta_n * delta_n;
    const double term1 = delta * delta_n * n1;
    shifted_mean += delta_n;
    m4 += term1 * delta_n2 * (nn * nn - 3 * nn + 3) + 6 * delta_n2 * m2 - 4 * delta_n * m3;
    m3 += term1 * delta_n * (nn - 2) - 3 * delta_n * m2;
    m2 += term1;
  }

 private:
  double shift = 0, shifted_mean = 0;
};

}  // namespace orv
