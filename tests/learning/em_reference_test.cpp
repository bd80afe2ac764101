// EM against independent exact results (data/em): every learned table and
// experience entry, the iteration count, every iteration's log-likelihood,
// and the final log-likelihood, AIC and BIC; at one and at three workers,
// which must agree to the last bit.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/json.h"

namespace orv {
namespace {

const std::string kEm = std::string(ORVEL_DATA_DIR) + "/em/";

int record_iteration(double log_likelihood, size_t, void *data) {
  static_cast<std::vector<double> *>(data)->push_back(log_likelihood);
  return 1;
}

struct Learned {
  std::vector<double> iterations;
  std::vector<std::vector<double>> tables, experience;
  double log_likelihood = 0, aic = 0, bic = 0;
};

Learned learn(const std::string &name, std::size_t workers, const test::Json &reference) {
  Learned result;
  orv_domain_t d = orv_net_parse_domain((kEm + name + ".net").c_str(), nullptr, nullptr);
  EXPECT_NE(d, nullptr) << orv_error_name(orv_error_code());
  if (!d) return result;
  EXPECT_EQ(orv_domain_compile(d), orv_error_none);
  EXPECT_EQ(orv_domain_parse_cases(d, (kEm + name + ".dat").c_str(), nullptr, nullptr), orv_error_none);
  EXPECT_EQ(orv_domain_get_number_of_cases(d), reference["cases"]["number_of_cases"].number);
  const auto &settings = reference["settings"];
  orv_domain_set_log_likelihood_tolerance(d, settings["log_likelihood_tolerance"].number);
  orv_domain_set_max_number_of_em_iterations(d, static_cast<size_t>(settings["max_number_of_em_iterations"].number));
  orv_domain_set_em_concurrency_level(d, workers);
  _orv_domain_set_progress_handler(d, record_iteration, &result.iterations);
  EXPECT_EQ(orv_domain_learn_tables(d), orv_error_none) << orv_error_name(orv_error_code());
  for (const auto &[node, values] : reference["tables"].members)
    result.tables.push_back(test::table_values(orv_node_get_table(orv_domain_get_node_by_name(d, node.c_str()))));
  for (const auto &[node, values] : reference["experience"].members)
    result.experience.push_back(
        test::table_values(orv_node_get_experience_table(orv_domain_get_node_by_name(d, node.c_str()))));
  result.log_likelihood = orv_domain_get_log_likelihood(d);
  result.aic = orv_domain_get_AIC(d);
  result.bic = orv_domain_get_BIC(d);
  orv_domain_delete(d);
  return result;
}

// Entrywise within 1e-9 relative to the reference values.
void expect_relative(const std::vector<double> &actual, const std::vector<double> &expected, const std::string &what) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i)
    EXPECT_NEAR(actual[i], expected[i], 1e-9 * std::fabs(expected[i])) << what << " entry " << i;
}

void expect_matches(const Learned &r, const test::Json &reference, const std::string &name) {
  expect_relative(r.iterations, reference["log_likelihood_per_iteration"].numbers(), name + " iterations");
  std::size_t k = 0;
  for (const auto &[node, values] : reference["tables"].members)
    test::expect_all_near(r.tables[k++], values.numbers(), 1e-9, name + " table " + node);
  k = 0;
  for (const auto &[node, values] : reference["experience"].members)
    expect_relative(r.experience[k++], values.numbers(), name + " experience " + node);
  const auto &final = reference["final"];
  expect_relative({r.log_likelihood, r.aic, r.bic},
                  {final["log_likelihood"].number, final["AIC"].number, final["BIC"].number},
                  name + " log-likelihood, AIC, BIC");
}

class EmReference : public ::testing::TestWithParam<std::string> {};

// One worker matches the reference; three give the same numbers, bit for bit.
TEST_P(EmReference, OneAndThreeThreadsMatchBitForBit) {
  const test::Json reference = test::read_json_file(kEm + GetParam() + ".json");
  const Learned single = learn(GetParam(), 1, reference);
  expect_matches(single, reference, GetParam());
  const Learned threaded = learn(GetParam(), 3, reference);
  EXPECT_EQ(threaded.iterations, single.iterations);
  EXPECT_EQ(threaded.tables, single.tables);
  EXPECT_EQ(threaded.experience, single.experience);
  EXPECT_EQ(threaded.log_likelihood, single.log_likelihood);
}

INSTANTIATE_TEST_SUITE_P(Networks, EmReference, ::testing::Values("asia", "child", "alarm"),
                         [](const auto &info) { return info.param; });

}  // namespace
}  // namespace orv
