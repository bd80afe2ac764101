// Numeric columns: statistics against exact rational results and against a
// two-pass computation in extended precision under a large offset, forecast
// errors, discretization (equal width, equal frequency, entropy-based), interval
// labels, and cases from data sets matched as case data files match them.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "data/data_set_support.h"
#include "support/contract_sweep.h"
#include "support/formats_checks.h"

namespace orv::test {
namespace {

std::vector<double> take(double *b, size_t intervals) {
  EXPECT_NE(b, nullptr) << orv_error_code();
  if (!b) return {};
  std::vector<double> out(b, b + intervals + 1);
  std::free(b);
  return out;
}

TEST(Discretization, EqualWidthAndEqualFrequencyBoundaries) {
  DataSet d({"x"}, {{"0"}, {"1"}, {"1"}, {"1"}, {"2"}, {M}, {"10"}});
  size_t k = 0;
  double *b = orv_ds_discretize_column(d.ds, 0, orv_discretization_equal_width, 4, &k);
  EXPECT_EQ(take(b, k), (std::vector<double>{-DBL_MAX, 2.5, 5, 7.5, DBL_MAX}));
  // Shares of 0 1 1 1 2 10 in 3: cuts before the 3rd and 5th value; the
  // first falls inside the run of 1s and moves to its nearer end.
  b = orv_ds_discretize_column(d.ds, 0, orv_discretization_equal_frequency, 3, &k);
  EXPECT_EQ(take(b, k), (std::vector<double>{-DBL_MAX, 0.5, 1.5, DBL_MAX}));
  DataSet constant({"x"}, {{"3"}, {"3"}});
  b = orv_ds_discretize_column(constant.ds, 0, orv_discretization_equal_frequency, 5, &k);
  EXPECT_EQ(take(b, k), (std::vector<double>{-DBL_MAX, DBL_MAX}));
}

TEST(Discretization, EntropySplitsThatPayForThemselves) {
  // a a a a b b b b c c c c over 1..12. First split at 4.5: gain log2(3) -
  // 8/12 = 0.918 against (log2(11) + log2(25) - (3 log2(3) - 2)) / 12 =
  // 0.446; then b|c at 8.5: gain 1 against (log2(7) + log2(7) - 2) / 8 =
  // 0.452; pure parts never split.
  Rows rows;
  for (int i = 1; i <= 12; ++i) rows.push_back({std::to_string(i), std::string(1, "abc"[(i - 1) / 4])});
  rows.push_back({"7", M});  // a missing class: skipped
  DataSet three({"x", "class"}, rows);
  size_t k = 0;
  double *b = orv_ds_compute_iem_intervals(three.ds, 0, 1, &k);
  EXPECT_EQ(take(b, k), (std::vector<double>{-DBL_MAX, 4.5, 8.5, DBL_MAX}));
  // Alternating a b a b a b: the best cut (after 1) gains 0.191 but needs
  // (log2(5) + log2(7) - 2 + 2 H(2/5)) / 6 = 0.845: no cut.
  DataSet alternating({"x", "class"}, {{"1", "a"}, {"2", "b"}, {"3", "a"}, {"4", "b"}, {"5", "a"}, {"6", "b"}});
  b = orv_ds_compute_iem_intervals(alternating.ds, 0, 1, &k);
  EXPECT_EQ(take(b, k), (std::vector<double>{-DBL_MAX, DBL_MAX}));
}

TEST(Discretization, AppliedLabelsAreIntervalsAndNameIntervalStates) {
  DataSet d({"x", "C", "L", "B"}, {{"-3", "1.5", "yes", "true"},
                                   {"2.5", "#1", "\"no\"", "#0"},
                                   {M, "*", "?", M},
                                   {"7", "-2e3", "no", "false"}});
  const double b[] = {-DBL_MAX, 2.5, 7, DBL_MAX};
  ASSERT_EQ(orv_ds_apply_discretization(d.ds, 0, b, 3), orv_error_none);
  EXPECT_EQ(d.column(0), (std::vector<Cell>{"(-inf;2.5)", "[2.5;7)", M, "[7;inf)"}));
  EXPECT_EQ(orv_ds_column_data_are_intervals(d.ds, 0), 1);
  EXPECT_EQ(orv_ds_column_data_are_numbers(d.ds, 0), 0);

  orv_domain_t domain = orv_net_parse_domain(
      "net { }\n"
      "node x { subtype = interval; states = (\"lo\" \"mid\" \"hi\"); state_values = (-infinity 2.5 7 infinity); }\n"
      "node L { states = (\"yes\" \"no\"); }\n"
      "node B { subtype = boolean; states = (\"false\" \"true\"); }\n"
      "continuous node C { }\n",
      nullptr, nullptr);
  ASSERT_NE(domain, nullptr);
  // Row 1's C cell "#1" names no value of a continuous node: nothing is added.
  EXPECT_EQ(orv_domain_add_cases(domain, d.ds, 0, 4), orv_error_usage);
  EXPECT_EQ(orv_domain_get_number_of_cases(domain), 0u);
  ASSERT_EQ(orv_ds_set_data_item(d.ds, 1, 1, "4"), orv_error_none);
  ASSERT_EQ(orv_domain_add_cases(domain, d.ds, 0, 4), orv_error_none);
  const std::string cases = "case 0 count 1: x=0 L=0 B=1 C=1.5\ncase 1 count 1: x=1 L=1 B=0 C=4\ncase 2 count 1:\n"
                            "case 3 count 1: x=2 L=1 B=0 C=-2000\n";
  EXPECT_EQ(describe_cases(domain), cases);
  // A label that is no state: usage, and the store keeps its four cases.
  orv_ds_set_data_item(d.ds, 0, 2, "maybe");
  EXPECT_EQ(orv_domain_add_cases(domain, d.ds, 0, 1), orv_error_usage);
  EXPECT_EQ(describe_cases(domain), cases);
  orv_domain_delete(domain);
}

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
  DataSet column({"x"}, {});
  orv_data_set_t ds = column.ds;
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
