// Column statistics against exact rational results and against a two-pass
// computation in extended precision under a large offset; forecast errors.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>

#include "data/data_set_support.h"
#include "support/contract_sweep.h"

namespace orv::test {
namespace {

const Cell M = std::nullopt;

TEST(DataSetStatistics, SmallColumnGivesTheExactMoments) {
  // 1, 2, 3, 4, 10 (written in several number forms; a missing cell is
  // skipped): mean 4, squared deviations 50, cubed 180, fourth powers 1394.
  DataSet d({"x"}, {{"1"}, {" 2.0"}, {M}, {"3e0"}, {"+4"}, {"10 "}});
  EXPECT_DOUBLE_EQ(orv_ds_compute_mean(d.ds, 0), 4.0);
  EXPECT_DOUBLE_EQ(orv_ds_compute_variance(d.ds, 0), 12.5);            // 50 / 4
  const double g1 = orv_ds_compute_skewness(d.ds, 0);                   // 36 / 10^(3/2)
  EXPECT_NEAR(g1 * g1, 1.296, 1e-14);
  EXPECT_GT(g1, 0);
  EXPECT_NEAR(orv_ds_compute_kurtosis(d.ds, 0), -53.0 / 250.0, 1e-14);  // 278.8 / 100 - 3

  DataSet constant({"x"}, {{"5"}, {"5"}});
  EXPECT_EQ(orv_ds_compute_variance(constant.ds, 0), 0.0);
  EXPECT_RESULT(orv_ds_compute_skewness(constant.ds, 0), -1.0, orv_error_usage);
  DataSet single({"x"}, {{"5"}});
  EXPECT_EQ(orv_ds_compute_mean(single.ds, 0), 5.0);
  EXPECT_RESULT(orv_ds_compute_variance(single.ds, 0), -1.0, orv_error_usage);
}

TEST(DataSetStatistics, LargeOffsetAgreesWithTwoPassInExtendedPrecision) {
  constexpr std::size_t kN = 1000000;
  orv_data_set_t ds = orv_new_data_set();
  orv_ds_new_column(ds, "x");
  std::mt19937_64 random(17);
  std::gamma_distribution<double> skewed(2.0, 1.0);
  std::vector<double> x(kN);
  char text[32];
  for (std::size_t i = 0; i < kN; ++i) {
    std::snprintf(text, sizeof text, "%.17g", 1e9 + skewed(random));
    x[i] = std::strtod(text, nullptr);
    ASSERT_EQ(orv_ds_set_data_item(ds, i, 0, text), orv_error_none);
  }
  long double mean = 0;
  for (double v : x) mean += v;
  mean /= kN;
  long double m2 = 0, m3 = 0, m4 = 0;
  for (double v : x) {
    const long double d = v - mean, d2 = d * d;
    m2 += d2, m3 += d2 * d, m4 += d2 * d2;
  }
  const long double n = kN;
  const double variance = static_cast<double>(m2 / (n - 1));
  const double skewness = static_cast<double>((m3 / n) / std::pow(m2 / n, 1.5L));
  const double kurtosis = static_cast<double>((m4 / n) / ((m2 / n) * (m2 / n)) - 3);
  EXPECT_NEAR(orv_ds_compute_mean(ds, 0), static_cast<double>(mean), 1e-6);
  EXPECT_NEAR(orv_ds_compute_variance(ds, 0), variance, 1e-6 * variance);
  EXPECT_NEAR(orv_ds_compute_skewness(ds, 0), skewness, 1e-5);
  EXPECT_NEAR(orv_ds_compute_kurtosis(ds, 0), kurtosis, 1e-4);
  EXPECT_GT(skewness, 1.0);  // gamma(2): sqrt(2); a cancelling formula would lose it entirely
  orv_ds_delete(ds);
}

TEST(DataSetStatistics, ForecastErrorsOverRowsWithBothValues) {
  DataSet d({"actual", "forecast", "text"}, {{"2", "1", "a"}, {"4", "5", M}, {"8", "8", M}, {M, "3", M}});
  EXPECT_DOUBLE_EQ(orv_ds_compute_mean_absolute_error(d.ds, 0, 1), 2.0 / 3.0);
  EXPECT_DOUBLE_EQ(orv_ds_compute_mean_absolute_percentage_error(d.ds, 0, 1), 25.0);
  // Naive one-step scale: mean(|4 - 2|, |8 - 4|) = 3.
  EXPECT_DOUBLE_EQ(orv_ds_compute_mean_absolute_scaled_error(d.ds, 0, 1, 1), 2.0 / 9.0);
  EXPECT_RESULT(orv_ds_compute_mean_absolute_error(d.ds, 0, 2), -1.0, orv_error_usage);
  orv_ds_set_data_item(d.ds, 1, 0, "0");
  EXPECT_RESULT(orv_ds_compute_mean_absolute_percentage_error(d.ds, 0, 1), -1.0, orv_error_division_by_zero);
}

}  // namespace
}  // namespace orv::test
