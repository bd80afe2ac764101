// Every shared network against the independent exact results in
// data/reference: prior marginals, and for each evidence case the posterior
// marginals and log P(e).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvel.h"
#include "support/reference_checks.h"

namespace orv {
namespace {

const std::string kData = ORVEL_DATA_DIR;

// Compiles the network (after triangulating it with `method` when given) and
// checks the prior and every evidence case against the reference.
void expect_reference_results(const std::string &name, orv_triangulation_method_t method) {
  const test::Json reference = test::read_json_file(kData + "/reference/" + name + ".json");
  const std::string net = kData + "/networks/" + name + ".net";
  orv_domain_t d = orv_net_parse_domain(net.c_str(), nullptr, nullptr);
  ASSERT_NE(d, nullptr) << name << ": " << orv_error_name(orv_error_code());
  if (method != orv_tm_best_greedy) {
    ASSERT_EQ(orv_domain_triangulate(d, method), orv_error_none) << name;
  }
  ASSERT_EQ(orv_domain_compile(d), orv_error_none) << name << ": " << orv_error_name(orv_error_code());
  test::expect_reference_marginals(d, reference["nodes"], name + " prior");
  const auto &cases = reference["cases"].items;
  for (std::size_t c = 0; c < cases.size(); ++c) {
    const std::string what = name + " case " + std::to_string(c);
    ASSERT_EQ(orv_domain_retract_findings(d), orv_error_none);
    test::enter_reference_evidence(d, cases[c]["evidence"], what);
    ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none) << what;
    const double log_pe = cases[c]["log_pe"].number;
    EXPECT_NEAR(orv_domain_get_log_normalization_constant(d), log_pe, test::reference_tolerance(log_pe)) << what;
    test::expect_reference_marginals(d, cases[c]["marginals"], what);
  }
  orv_domain_delete(d);
}

class Reference : public ::testing::TestWithParam<std::string> {};

TEST_P(Reference, MarginalsAndEvidenceProbabilities) { expect_reference_results(GetParam(), orv_tm_best_greedy); }

// The total-weight triangulation gives other cliques, the same results.
TEST_P(Reference, SameResultsAfterTheTotalWeightTriangulation) {
  expect_reference_results(GetParam(), orv_tm_total_weight);
}

INSTANTIATE_TEST_SUITE_P(Networks, Reference, ::testing::ValuesIn(test::json_file_names(kData + "/reference")),
                         [](const auto &info) { return info.param; });

}  // namespace
}  // namespace orv
