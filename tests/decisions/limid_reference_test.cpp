// The nine reference diagrams solved exactly: decision order, every policy
// update of single policy updating (row probabilities, weighted expected
// utilities, optimal options), final policies, beliefs and expected
// utilities under the policies, per option and per policy row.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decisions/spu.h"
#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/json.h"
#include "support/reference_checks.h"

namespace orv {
namespace {

const std::string kData = ORVEL_DATA_DIR;

void expect_close(double actual, double expected, const std::string &what) {
  EXPECT_NEAR(actual, expected, test::reference_tolerance(expected)) << what;
}

orv_node_t node(orv_domain_t d, const std::string &name) {
  orv_node_t n = orv_domain_get_node_by_name(d, name.c_str());
  EXPECT_NE(n, nullptr) << name;
  return n;
}

// The reference key of row r of a decision's policy: "P1=label,P2=label",
// the parents in the order of the policy table.
std::string row_key(orv_node_t decision, std::size_t r) {
  orv_table_t t = orv_node_get_table(decision);
  orv_node_t *nodes = orv_table_get_nodes(t);
  std::vector<std::size_t> state(test::names_of(nodes).size());
  orv_table_get_configuration_from_index(t, state.data(), r * orv_node_get_number_of_states(decision));
  std::string key;
  for (std::size_t k = 0; nodes[k] != decision; ++k)
    key += std::string(k ? "," : "") + orv_node_get_name(nodes[k]) + "=" + orv_node_get_state_label(nodes[k], state[k]);
  return key;
}

struct Recorder : PolicyUpdateObserver {
  struct Entry {
    std::string decision;
    std::size_t pass;
    bool changed;
    std::vector<double> probability, weighted;
    std::vector<unsigned char> optimal;
    orv_node_t node;
    std::size_t rows, options;
  };
  std::vector<Entry> entries;
  void updated(const PolicyUpdate &u) override {
    const std::size_t n = u.rows * u.options;
    entries.push_back({orv_node_get_name(u.decision), u.pass, u.changed,
                       std::vector<double>(u.probability, u.probability + n),
                       std::vector<double>(u.weighted, u.weighted + n),
                       std::vector<unsigned char>(u.optimal, u.optimal + n), u.decision, u.rows, u.options});
  }
};

void expect_trace(const Recorder &recorder, const test::Json &trace, const std::string &name) {
  ASSERT_EQ(recorder.entries.size(), trace.items.size()) << name;
  for (std::size_t i = 0; i < trace.items.size(); ++i) {
    const auto &want = trace.items[i];
    const auto &got = recorder.entries[i];
    const std::string what = name + " update " + std::to_string(i) + " (" + got.decision + ")";
    EXPECT_EQ(got.decision, want["decision"].text) << what;
    EXPECT_EQ(got.pass, static_cast<std::size_t>(want["pass"].number)) << what;
    EXPECT_EQ(got.changed, want["changed"].boolean) << what;
    for (std::size_t r = 0; r < got.rows; ++r) {
      const std::string key = row_key(got.node, r);
      expect_close(got.probability[r * got.options], want["p_parents"][key].number, what + " P(" + key + ")");
      std::vector<std::string> optimal;
      for (std::size_t o = 0; o < got.options; ++o) {
        expect_close(got.weighted[r * got.options + o], want["eu_weighted"][key].items[o].number,
                     what + " " + key + " option " + std::to_string(o));
        if (got.optimal[r * got.options + o]) optimal.push_back(orv_node_get_state_label(got.node, o));
      }
      EXPECT_EQ(optimal, want["optimal"][key].texts()) << what << " " << key;
    }
  }
}

void expect_results(orv_domain_t d, const test::Json &results, const std::string &name) {
  test::expect_reference_marginals(d, results["beliefs"], name);
  for (const auto &[u, value] : results["utility_eu"].members)
    expect_close(orv_node_get_expected_utility(node(d, u), 0), value.number, name + " EU " + u);
  expect_close(orv_domain_get_expected_utility(d), results["overall_eu"].number, name + " overall EU");
  for (const auto &[n, values] : results["eu_if_chosen"].members)
    for (std::size_t s = 0; s < values.items.size(); ++s)
      expect_close(orv_node_get_expected_utility(node(d, n), s), values.items[s].number,
                   name + " EU of option " + std::to_string(s) + " of " + n);
  for (const auto &[n, values] : results["eu_given_state"].members) {
    orv_node_t x = node(d, n);
    if (orv_node_get_category(x) != orv_category_chance) continue;
    for (std::size_t s = 0; s < values.items.size(); ++s)
      if (values.items[s].kind == test::Json::Kind::number)
        expect_close(orv_node_get_expected_utility(x, s), values.items[s].number,
                     name + " EU given " + n + " state " + std::to_string(s));
  }
}

// The per-row values a decision reports after solving are those of its last
// traced update (no policy changed after it); weighted by the row
// probabilities and the policy they give the overall expected utility.
void expect_row_utilities(orv_domain_t d, const test::Json &trace, double overall, const std::string &name) {
  for (orv_node_t *x = orv_domain_get_decision_order(d); *x; ++x) {
    const std::string decision = orv_node_get_name(*x);
    const test::Json *last = nullptr;
    for (const auto &entry : trace.items)
      if (entry["decision"].text == decision) last = &entry;
    ASSERT_NE(last, nullptr) << name << " " << decision;
    orv_table_t t = orv_node_get_table(*x);
    const std::size_t options = orv_node_get_number_of_states(*x), rows = orv_table_get_size(t) / options;
    std::vector<double> utilities(rows * options), probability(rows);
    ASSERT_EQ(orv_node_get_decision_utilities(*x, utilities.data(), probability.data()), orv_error_none);
    double total = 0.0;
    for (std::size_t r = 0; r < rows; ++r) {
      const std::string key = row_key(*x, r), what = name + " " + decision + " row " + key;
      const double p = (*last)["p_parents"][key].number;
      EXPECT_NEAR(probability[r], p, 1e-9) << what;
      for (std::size_t o = 0; o < options; ++o) {
        const double want = p > 0.0 ? (*last)["eu_weighted"][key].items[o].number / p : 0.0;
        expect_close(utilities[r * options + o], want, what + " option " + std::to_string(o));
        total += probability[r] * orv_table_get_data(t)[r * options + o] * utilities[r * options + o];
      }
    }
    expect_close(total, overall, name + " " + decision + " rows weighted");
  }
}

class LimidReference : public ::testing::TestWithParam<std::string> {};

TEST_P(LimidReference, SinglePolicyUpdatingMatchesExactSolution) {
  const std::string name = GetParam();
  const test::Json ref = test::read_json_file(kData + "/reference/limid/" + name + ".json");
  orv_domain_t d = orv_net_parse_domain((kData + "/networks/limid/" + name + ".net").c_str(), nullptr, nullptr);
  ASSERT_NE(d, nullptr) << orv_error_name(orv_error_code());
  ASSERT_EQ(orv_domain_compile(d), orv_error_none) << orv_error_name(orv_error_code());

  EXPECT_EQ(test::names_of(orv_domain_get_decision_order(d)), ref["decision_order"].texts());

  Recorder recorder;
  ASSERT_NO_THROW(update_policies(d, &recorder));
  expect_trace(recorder, ref["spu"]["trace"], name);
  ASSERT_FALSE(recorder.entries.empty());
  EXPECT_EQ(recorder.entries.back().pass, static_cast<std::size_t>(ref["spu"]["passes"].number));

  for (const auto &[decision, policy] : ref["spu"]["policies"].members) {
    test::expect_all_near(test::table_values(orv_node_get_table(node(d, decision))), policy["table"].numbers(), 1e-12,
                          name + " policy " + decision);
  }
  expect_close(orv_domain_get_expected_utility(d), ref["spu"]["expected_utility"].number, name + " SPU EU");
  expect_results(d, ref["results"], name);
  expect_row_utilities(d, ref["spu"]["trace"], ref["results"]["overall_eu"].number, name);
  if (!ref["spu_is_optimal"].boolean) {  // a local optimum below the best strategy
    EXPECT_LT(orv_domain_get_expected_utility(d), ref["optimum"]["expected_utility"].number - 1e-6);
  }

  // A second run finds nothing to change.
  Recorder again;
  ASSERT_NO_THROW(update_policies(d, &again));
  for (const auto &entry : again.entries) EXPECT_FALSE(entry.changed) << entry.decision;
  orv_domain_delete(d);
}

INSTANTIATE_TEST_SUITE_P(Diagrams, LimidReference,
                         ::testing::Values("soluble1", "soluble2", "soluble3", "soluble4", "soluble5", "limited1",
                                           "limited2", "limited3", "parentless1"),
                         [](const auto &info) { return info.param; });

}  // namespace
}  // namespace orv
