// Every shared network against the independent exact results in data/reference:
// prior marginals, and per evidence case the posterior marginals and log P(e),
// compiled and by targeted queries (also random evidence and target sets against
// compile + propagate + joint marginal); the CG networks (data/reference/cg) with
// means, variances, log densities and the necessary fill-ins of the log.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/inference_checks.h"
#include "support/reference_checks.h"

namespace orv {
namespace {

const std::string kData = ORVEL_DATA_DIR;

// The prior and every evidence case of the reference: marginals, and log P(e)
// (a log density for CG networks, then also checked through its exponent).
void expect_reference_cases(orv_domain_t d, const test::Json &reference, const std::string &name, bool cg) {
  test::expect_reference_marginals(d, reference["nodes"], name + " prior");
  const auto &cases = reference["cases"].items;
  for (std::size_t c = 0; c < cases.size(); ++c) {
    const std::string what = name + " case " + std::to_string(c);
    ASSERT_EQ(orv_domain_retract_findings(d), orv_error_none);
    test::enter_reference_evidence(d, cases[c]["evidence"], what);
    ASSERT_EQ(orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal), orv_error_none)
        << what << ": " << orv_error_name(orv_error_code());
    const double log_pe = cases[c][cg ? "log_norm_const" : "log_pe"].number;
    EXPECT_NEAR(orv_domain_get_log_normalization_constant(d), log_pe, cg ? 1e-9 : test::reference_tolerance(log_pe))
        << what;
    if (cg) {
      EXPECT_NEAR(orv_domain_get_normalization_constant(d), std::exp(log_pe), 1e-9 * std::exp(log_pe)) << what;
    }
    test::expect_reference_marginals(d, cases[c]["marginals"], what);
  }
}

// Every necessary fill-in of the reference is logged, once, and so is the
// mean of every continuous node.
void expect_cg_log(const std::string &log, const test::Json &reference, const std::string &name) {
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
}

// Compiles the network (after triangulating it with `method` unless best
// greedy) and checks it against the reference; CG networks (under cg/) also
// by the compilation log.
void expect_reference_results(const std::string &name, orv_triangulation_method_t method) {
  const bool cg = name.starts_with("cg/");
  const test::Json reference = test::read_json_file(kData + "/reference/" + name + ".json");
  test::DomainPtr d = test::load_network(name);
  ASSERT_NE(d, nullptr) << name << ": " << orv_error_name(orv_error_code());
  if (method != orv_tm_best_greedy) {
    ASSERT_EQ(orv_domain_triangulate(d.get(), method), orv_error_none) << name;
  }
  const std::string log = test::capture_log(d.get(), [&] {
    ASSERT_EQ(orv_domain_compile(d.get()), orv_error_none) << name << ": " << orv_error_name(orv_error_code());
  });
  if (cg) expect_cg_log(log, reference, name);
  expect_reference_cases(d.get(), reference, name, cg);
}

class Reference : public ::testing::TestWithParam<std::string> {};

TEST_P(Reference, MarginalsAndEvidenceProbabilities) { expect_reference_results(GetParam(), orv_tm_best_greedy); }

// The total-weight triangulation gives other cliques, the same results.
TEST_P(Reference, SameResultsAfterTheTotalWeightTriangulation) {
  expect_reference_results(GetParam(), orv_tm_total_weight);
}

INSTANTIATE_TEST_SUITE_P(Networks, Reference, ::testing::ValuesIn(test::json_file_names(kData + "/reference")),
                         [](const auto &info) { return info.param; });

class CgReference : public ::testing::TestWithParam<std::string> {};

TEST_P(CgReference, MeansVariancesBeliefsAndDensities) {
  expect_reference_results("cg/" + GetParam(), orv_tm_best_greedy);
}

INSTANTIATE_TEST_SUITE_P(Networks, CgReference,
                         ::testing::Values("cg_chain", "cg_three_parents", "cg_fillin", "cg_small_a", "cg_small_b",
                                           "cg_small_c", "cg_medium_1", "cg_medium_2", "cg_medium_3"),
                         [](const auto &info) { return info.param; });

class Targeted : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    d_ = test::load_network(GetParam()).release();
    ASSERT_NE(d_, nullptr);
    for (orv_node_t n = orv_domain_get_first_node(d_); n; n = orv_node_get_next(n)) nodes_.push_back(n);
  }
  void TearDown() override { orv_domain_delete(d_); }

  // Divides every conditional distribution by its sum (when apply), as the
  // targeted path reads them; returns the largest |sum - 1| found. (NET tables list the
  // node itself last, so each distribution is a run of its states.)
  double normalize_tables(bool apply = true) {
    double largest = 0.0;
    for (orv_node_t n : nodes_) {
      double *data = orv_table_get_data(orv_node_get_table(n));
      const std::size_t size = orv_table_get_size(orv_node_get_table(n)), count = orv_node_get_number_of_states(n);
      for (std::size_t row = 0; row < size; row += count) {
        double sum = 0.0;
        for (std::size_t i = 0; i < count; ++i) sum += data[row + i];
        largest = std::max(largest, std::fabs(sum - 1.0));
        if (apply)
          for (std::size_t i = 0; i < count; ++i) data[row + i] /= sum;
      }
    }
    return largest;
  }
  orv_domain_t d_ = nullptr;
  std::vector<orv_node_t> nodes_;
};

// The reference engine multiplies the tables as the files give them; where
// their rows are rounded (up to 1e-7 off 1) the targeted path, which reads
// them normalized, may differ by that rounding.
TEST_P(Targeted, ReferenceCases) {
  const double rounding = normalize_tables(false);
  const double agreement = rounding > 1e-14 ? 1e-6 : 1e-9;
  const test::Json reference = test::read_json_file(kData + "/reference/" + GetParam() + ".json");
  for (const auto &c : reference["cases"].items) {
    orv_domain_retract_findings(d_);
    test::enter_reference_evidence(d_, c["evidence"], GetParam());
    const double expected_log_pe = c["log_pe"].number;
    const double tolerance = agreement * std::max(1.0, std::fabs(expected_log_pe));
    // The first reference node alone, then the first eight at once in the batch.
    const auto &marginals = c["marginals"].members;
    std::vector<orv_node_t> several;
    std::vector<double> expected;
    for (std::size_t i = 0; i < std::min<std::size_t>(8, marginals.size()); ++i) {
      several.push_back(orv_domain_get_node_by_name(d_, marginals[i].first.c_str()));
      for (const auto &x : marginals[i].second.items) expected.push_back(x.number);
    }
    double log_pe = 0.0;
    const std::vector<double> first = test::queried_marginal(d_, {several[0]}, &log_pe);
    EXPECT_NEAR(log_pe, expected_log_pe, tolerance);
    test::expect_all_near(first, {expected.begin(), expected.begin() + first.size()}, agreement, "first node");
    test::expect_all_near(test::queried_beliefs(d_, several, nullptr), expected, agreement, "batch");
  }
}

// Evidence sampled one node at a time from the current posterior (so it is
// possible), sometimes a likelihood; target sets of four shapes.
TEST_P(Targeted, RandomQueriesMatchPropagation) {
  if (GetParam() == "munin1") GTEST_SKIP() << "compiling munin1 takes too long for a unit test";
  normalize_tables();
  ASSERT_EQ(orv_domain_compile(d_), orv_error_none);
  std::mt19937 rng(26);
  auto pick = [&] { return nodes_[rng() % nodes_.size()]; };
  // A parent, child or sibling of n: joints of distant nodes are costly for
  // the compiled path's marginal, not for the targeted one.
  auto near = [&](orv_node_t n) {
    std::vector<orv_node_t> around;
    for (orv_node_t *p = orv_node_get_parents(n); *p; ++p) {
      around.push_back(*p);
      for (orv_node_t *c = orv_node_get_children(*p); *c; ++c) around.push_back(*c);
    }
    for (orv_node_t *c = orv_node_get_children(n); *c; ++c) around.push_back(*c);
    std::erase(around, n);
    return around.empty() ? (n == nodes_[0] ? nodes_[1] : nodes_[0]) : around[rng() % around.size()];
  };
  for (int round = 0; round < 20; ++round) {
    const std::string what = GetParam() + " round " + std::to_string(round);
    orv_domain_retract_findings(d_);
    std::vector<orv_node_t> observed;
    for (std::size_t k = 1 + rng() % 6; k > 0; --k) {
      orv_node_t n = pick();
      const std::size_t states = orv_node_get_number_of_states(n);
      if (rng() % 4 == 0) {
        for (std::size_t s = 0; s < states; ++s) orv_node_enter_finding(n, s, 0.1 + (rng() % 10) / 10.0);
        continue;
      }
      orv_node_t list[] = {n, nullptr};
      std::vector<double> belief(states);
      ASSERT_EQ(orv_domain_query_beliefs(d_, list, belief.data(), nullptr), orv_error_none) << what;
      std::discrete_distribution<std::size_t> draw(belief.begin(), belief.end());
      orv_node_select_state(n, draw(rng));
      observed.push_back(n);
    }
    std::vector<orv_node_t> targets{pick()};
    if (round % 4 == 1) {
      targets.push_back(near(targets[0]));
    } else if (round % 4 == 2) {
      for (orv_node_t *p = orv_node_get_parents(targets[0]); *p; ++p) targets.push_back(*p);
    } else if (round % 4 == 3 && !observed.empty()) {
      targets[0] = observed[0];
      targets.push_back(near(observed[0]));
    }
    ASSERT_EQ(orv_domain_propagate(d_, orv_equilibrium_sum, orv_mode_normal), orv_error_none) << what;
    double log_pe = 0.0;
    test::expect_all_near(test::queried_marginal(d_, targets, &log_pe), test::compiled_marginal(d_, targets), 1e-12,
                          what);
    const double reference = orv_domain_get_log_normalization_constant(d_);
    EXPECT_NEAR(log_pe, reference, test::reference_tolerance(reference)) << what;
  }
}

INSTANTIATE_TEST_SUITE_P(Networks, Targeted, ::testing::ValuesIn(test::json_file_names(kData + "/reference")),
                         [](const auto &info) { return info.param; });

}  // namespace
}  // namespace orv
