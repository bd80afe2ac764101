// Every CG network against the independent exact results in
// data/reference/cg: prior and posterior beliefs, means and variances, the
// log normalization constant (a log density with continuous evidence), and
// the necessary fill-ins in the compilation log.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "orvel.h"
#include "support/domain_fixture.h"
#include "support/reference_checks.h"

namespace orv {
namespace {

const std::string kData = ORVEL_DATA_DIR;

std::string compile_logged(orv_domain_t d) {
  return test::capture_log(d, [&] { EXPECT_EQ(orv_domain_compile(d), orv_error_none) << orv_error_name(orv_error_code()); });
}

class CgReference : public ::testing::TestWithParam<std::string> {};

TEST_P(CgReference, MeansVariancesBeliefsAndDensities) {
  const std::string name = GetParam();
  const test::Json reference = test::read_json_file(kData + "/reference/cg/" + name + ".json");
  const std::string net = kData + "/networks/cg/" + name + ".net";
  orv_domain_t d = orv_net_parse_domain(net.c_str(), nullptr, nullptr);
  ASSERT_NE(d, nullptr) << name << ": " << orv_error_name(orv_error_code());
  const std::string log = compile_logged(d);
  const auto &fill_ins = reference["meta"]["necessary_fill_ins"].items;
  for (const auto &pair : fill_ins) {
    const std::string a = pair.items[0].text, b = pair.items[1].text;
    const std::string line = "Creating necessary fill-in between ";
    EXPECT_TRUE(log.find(line + a + " and " + b + "\n") != std::string::npos ||
                log.find(line + b + " and " + a + "\n") != std::string::npos)
        << name << ": " << a << " - " << b;
  }
  std::size_t logged = 0;
  for (std::size_t at = log.find("Creating necessary fill-in"); at != std::string::npos;
       at = log.find("Creating necessary fill-in", at + 1))
    ++logged;
  EXPECT_EQ(logged, fill_ins.size()) << name;

  for (const auto &[node, values] : reference["nodes"].members) {
    if (values.kind != test::Json::Kind::object) continue;
    EXPECT_NE(log.find("\n    " + node + ":\n\tMean: "), std::string::npos) << name << " report of " << node;
  }
  test::expect_reference_marginals(d, reference["nodes"], name + " prior");
  const auto &cases = reference["cases"].items;
  for (std::size_t c = 0; c < cases.size(); ++c) {
    const std::string what = name + " case " + std::to_string(c);
    ASSERT_EQ(orv_domain_retract_findings(d), orv_error_none);
    test::enter_reference_evidence(d, cases[c]["evidence"], what);
    ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none)
        << what << ": " << orv_error_name(orv_error_code());
    const double log_constant = cases[c]["log_norm_const"].number;
    EXPECT_NEAR(orv_domain_get_log_normalization_constant(d), log_constant, 1e-9) << what;
    EXPECT_NEAR(orv_domain_get_normalization_constant(d), std::exp(log_constant), 1e-9 * std::exp(log_constant))
        << what;
    test::expect_reference_marginals(d, cases[c]["marginals"], what);
  }
  orv_domain_delete(d);
}

INSTANTIATE_TEST_SUITE_P(Networks, CgReference,
                         ::testing::Values("cg_chain", "cg_three_parents", "cg_fillin", "cg_small_a", "cg_small_b",
                                           "cg_small_c", "cg_medium_1", "cg_medium_2", "cg_medium_3"),
                         [](const auto &info) { return info.param; });

}  // namespace
}  // namespace orv
