// Structure learning: the chi-square tail against closed forms, constraints
// and their usage errors, hand-worked logs, alarm sampled, fault injection.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "support/forward_sampler.h"
#include "learning/pc.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

namespace {

using Links = std::set<std::pair<std::string, std::string>>;  // (parent, child)

Links links_of(orv_domain_t d) {
  Links links;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    for (orv_node_t *p = orv_node_get_parents(n); *p; ++p) links.emplace(orv_node_get_name(*p), orv_node_get_name(n));
  return links;
}

// Binary nodes named by the letters of `names`, with 250 copies of each
// configuration of X, Y given by f: (x, y, case) -> states of every node.
template <class F>
orv_domain_t hand_domain(const char *names, F f) {
  orv_domain_t d = orv_new_domain();
  std::vector<orv_node_t> nodes;
  for (const char *c = names; *c; ++c) {
    nodes.push_back(orv::test::add_node(d, std::string(1, *c).c_str()));
    orv::test::set_state_count(nodes.back(), 2);
  }
  orv_domain_set_number_of_cases(d, 1000);
  for (std::size_t i = 0; i < 1000; ++i) {
    const std::vector<int> states = f(static_cast<int>(i % 2), static_cast<int>(i / 2 % 2), i);
    for (std::size_t k = 0; k < nodes.size(); ++k) orv_node_set_case_state(nodes[k], i, states[k]);
  }
  return d;
}

// Z = X and Y, W = Z, each with some blocks of cases flipped.
orv_domain_t collider_domain() {
  return hand_domain("XYZW", [](int x, int y, std::size_t i) {
    const int z = (x & y) ^ (i / 8 % 9 == 0);
    return std::vector<int>{x, y, z, z ^ (i / 4 % 5 == 0)};
  });
}

void remove_all_links(orv_domain_t d) {
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    while (*orv_node_get_parents(n)) orv_node_remove_parent(n, *orv_node_get_parents(n));
}

std::string learn_logged(orv_domain_t d) {
  return orv::test::capture_log(d, [&] { EXPECT_EQ(orv_domain_learn_structure(d), orv_error_none); });
}

TEST(StructureLearning, ChiSquareTailMatchesClosedForms) {
  for (double x : {0.1, 1.0, 3.5, 10.0, 40.0}) {
    EXPECT_NEAR(orv::_orv_chi_square_c(x, 2), std::exp(-x / 2), 1e-12);
    EXPECT_NEAR(orv::_orv_chi_square_c(x, 4), std::exp(-x / 2) * (1 + x / 2), 1e-12);
    EXPECT_NEAR(orv::_orv_chi_square_c(x, 1), std::erfc(std::sqrt(x / 2)), 1e-12);
  }
  EXPECT_NEAR(orv::_orv_chi_square_c(3.841458820694124, 1), 0.05, 1e-12);
  EXPECT_EQ(orv::_orv_chi_square_c(-1, 1), -1.0);
}

// The Gaussian tests against sums computed here: the partial correlation of
// two continuous nodes, and the between-group share of a continuous node's
// variance for a discrete one; an incomplete case is left out of both.
TEST(StructureLearning, GaussianTestsMatchCorrelationAndGroupMeans) {
  orv_domain_t d = orv_new_domain();
  orv_node_t g = orv::test::add_node(d, "G");
  orv_node_t x = orv::test::add_continuous(d, "X"), y = orv::test::add_continuous(d, "Y");
  orv::test::set_state_count(g, 2);
  const std::vector<double> xs = {1.0, 2.5, 2.0, 4.0, 3.5, 6.0, 5.0, 8.5, 7.0, 9.0};
  const std::vector<double> ys = {2.0, 1.0, 4.0, 3.0, 6.5, 5.0, 8.0, 9.0, 7.5, 11.0};
  orv_domain_set_number_of_cases(d, xs.size() + 1);
  for (std::size_t i = 0; i < xs.size(); ++i) {
    orv_node_set_case_state(g, i, i % 2);
    orv_node_set_case_value(x, i, xs[i] + 1e6);  // a large offset must not cost digits
    orv_node_set_case_value(y, i, ys[i]);
  }
  orv_node_set_case_value(x, xs.size(), 100.0);  // y and g missing
  const orv::CaseColumns columns(d);            // vertices run newest first: y, x, g
  const double n = double(xs.size());
  auto sum = [&](auto f) { double t = 0; for (std::size_t i = 0; i < xs.size(); ++i) t += f(i); return t; };
  const double mx = sum([&](std::size_t i) { return xs[i]; }) / n, my = sum([&](std::size_t i) { return ys[i]; }) / n;
  const double sxx = sum([&](std::size_t i) { return (xs[i] - mx) * (xs[i] - mx); });
  const double syy = sum([&](std::size_t i) { return (ys[i] - my) * (ys[i] - my); });
  const double sxy = sum([&](std::size_t i) { return (xs[i] - mx) * (ys[i] - my); });
  const std::uint32_t pair[2] = {0, 1};
  orv::TestResult r = orv::SetTests(columns, pair, 2).test(0, 1);
  EXPECT_EQ(r.df, n - 3);
  EXPECT_NEAR(r.g2, -(n - 3) * std::log(1 - sxy * sxy / (sxx * syy)), 1e-9);
  EXPECT_NEAR(r.p_value, std::erfc(std::sqrt(r.g2 / 2)), 1e-12);
  double within = 0;
  for (int k = 0; k < 2; ++k) {
    const double m = sum([&](std::size_t i) { return i % 2 == std::size_t(k) ? ys[i] : 0.0; }) / (n / 2);
    within += sum([&](std::size_t i) { return i % 2 == std::size_t(k) ? (ys[i] - m) * (ys[i] - m) : 0.0; });
  }
  const std::uint32_t mixed[2] = {0, 2};
  r = orv::SetTests(columns, mixed, 2).test(1, 0);
  EXPECT_EQ(r.df, n - 4);
  EXPECT_NEAR(r.g2, (n - 4) * std::log(syy / within), 1e-9);
  EXPECT_EQ(r.total, n);
  orv_domain_delete(d);
}

TEST(StructureLearning, ConstraintsMirrorAndRefuseBadArguments) {
  orv_domain_t d = hand_domain("AB", [](int x, int y, std::size_t) { return std::vector<int>{x, y}; });
  orv_domain_t other = orv_new_domain();
  orv_node_t a = orv_domain_get_node_by_name(d, "A"), b = orv_domain_get_node_by_name(d, "B");
  orv_node_t c = orv_domain_new_node(other, orv_category_chance, orv_kind_discrete);
  ASSERT_EQ(orv_node_set_edge_constraint(a, b, orv_constraint_forward_edge_required), orv_error_none);
  EXPECT_EQ(orv_node_get_edge_constraint(b, a), orv_constraint_backward_edge_required);
  ASSERT_EQ(orv_node_set_edge_constraint(b, a, orv_constraint_forward_edge_forbidden), orv_error_none);
  EXPECT_EQ(orv_node_get_edge_constraint(a, b), orv_constraint_backward_edge_forbidden);
  ASSERT_EQ(orv_domain_set_significance_level(d, 0.2), orv_error_none);
  orv_domain_t copy = orv_domain_clone(d);  // a copy keeps constraints and level
  ASSERT_NE(copy, nullptr);
  orv_node_t copy_a = orv_domain_get_node_by_name(copy, "A"), copy_b = orv_domain_get_node_by_name(copy, "B");
  EXPECT_EQ(orv_node_get_edge_constraint(copy_a, copy_b), orv_constraint_backward_edge_forbidden);
  EXPECT_EQ(orv_node_get_edge_constraint(copy_b, copy_a), orv_constraint_forward_edge_forbidden);
  EXPECT_EQ(orv_domain_get_significance_level(copy), 0.2);
  orv_domain_delete(copy);
  ASSERT_EQ(orv_domain_set_significance_level(d, 0.05), orv_error_none);
  ASSERT_EQ(orv_node_set_edge_constraint(a, b, orv_constraint_none), orv_error_none);
  EXPECT_EQ(orv_node_get_edge_constraint(b, a), orv_constraint_none);
  orv::test::expect_usage_calls(
      {{"null", [&] { return orv_node_set_edge_constraint(nullptr, b, orv_constraint_edge_required) == orv_error_usage; }},
       {"same", [&] { return orv_node_set_edge_constraint(a, a, orv_constraint_edge_required) == orv_error_usage; }},
       {"domains", [&] { return orv_node_set_edge_constraint(a, c, orv_constraint_edge_required) == orv_error_usage; }},
       {"code", [&] { return orv_node_set_edge_constraint(a, b, orv_constraint_error) == orv_error_usage; }},
       {"get", [&] { return orv_node_get_edge_constraint(a, nullptr) == orv_constraint_error; }},
       {"level 0", [&] { return orv_domain_set_significance_level(d, 0.0) == orv_error_usage; }},
       {"level 1", [&] { return orv_domain_set_significance_level(d, 1.0) == orv_error_usage; }},
       {"get level", [&] { return orv_domain_get_significance_level(nullptr) == -1.0; }},
       {"learn null", [&] { return orv_domain_learn_structure(nullptr) == orv_error_usage; }},
       {"learn other", [&] { return orv_domain_learn_structure(other) == orv_error_usage; }}},
      [&] { return orv_domain_get_significance_level(d) == 0.05; });
  orv_domain_delete(other);
  orv_node_add_parent(b, a);  // a domain with links is refused
  EXPECT_EQ(orv_domain_learn_structure(d), orv_error_usage);
  orv_domain_delete(d);
}

TEST(StructureLearning, HandWorkedLogs) {
  // X -> Z <- Y is a collider (nodes run newest first), R1 gives Z -> W.
  orv_domain_t d = collider_domain();
  std::string log = learn_logged(d);
  EXPECT_CONTAINS(log, "\nIdentifying skeleton:\n3 edges out of 6\n");
  EXPECT_CONTAINS(log, "\nIdentifying colliders:\nR0: Y -> Z <- X\n");
  EXPECT_CONTAINS(log, "\nPDAG has an admissible DAG extension.\n");
  EXPECT_CONTAINS(log, "\nIdentifying derived directions:\nR1: Y -> Z - W => Z -> W\n");
  EXPECT_CONTAINS(log, "\nCompleting orientation:\n");
  EXPECT_EQ(links_of(d), (Links{{"X", "Z"}, {"Y", "Z"}, {"Z", "W"}}));
  orv_domain_delete(d);

  // Two copies: equal costs, equal degrees, so the later vertex (nodes run
  // newest first) is the parent; a forbidden pair stays unlinked.
  d = hand_domain("AB", [](int x, int, std::size_t) { return std::vector<int>{x, x}; });
  log = learn_logged(d);
  EXPECT_CONTAINS(log, "1 edges out of 1\n");
  EXPECT_CONTAINS(log, "\nCompleting orientation:\nA -> B\n");
  EXPECT_EQ(links_of(d), (Links{{"A", "B"}}));
  remove_all_links(d);
  orv_node_set_edge_constraint(orv_domain_get_node_by_name(d, "A"), orv_domain_get_node_by_name(d, "B"),
                               orv_constraint_edge_forbidden);
  learn_logged(d);
  EXPECT_TRUE(links_of(d).empty());
  orv_domain_delete(d);
}

// D -> X -> Y -> Z <- W with D discrete and the rest Gaussian, `count`
// sampled cases (Box-Muller, so the cases do not depend on the library).
orv_domain_t cg_chain_domain(std::size_t count) {
  std::mt19937_64 random(7);
  auto normal = [&] {
    const double u = (double(random() >> 11) + 0.5) * 0x1p-53, v = double(random() >> 11) * 0x1p-53;
    return std::sqrt(-2.0 * std::log(u)) * std::cos(2.0 * M_PI * v);
  };
  orv_domain_t d = orv_new_domain();
  std::vector<orv_node_t> nodes;
  for (const char *name : {"D", "X", "Y", "Z", "W"})
    nodes.push_back(nodes.empty() ? orv::test::add_node(d, name) : orv::test::add_continuous(d, name));
  orv_node_set_number_of_states(nodes[0], 2);
  orv_domain_set_number_of_cases(d, count);
  for (std::size_t i = 0; i < count; ++i) {
    const double x = 2.0 * double(i % 2) + normal(), y = x + normal(), w = 3.0 + normal();
    const double values[5] = {0, x, y, y + w + normal(), w};
    orv_node_set_case_state(nodes[0], i, i % 2);
    for (std::size_t k = 1; k < 5; ++k) orv_node_set_case_value(nodes[k], i, values[k]);
  }
  return d;
}

// The discrete parent is forced by the CG rule, R1 carries it on, Z is a
// collider, and the result is the same at one and two threads.
TEST(StructureLearning, ParallelConditionalGaussianChainAndCollider) {
  Links results[2];
  for (int run = 0; run < 2; ++run) {
    orv_domain_t d = cg_chain_domain(2000);
    orv_domain_set_concurrency_level(d, run + 1);
    const std::string log = learn_logged(d);
    results[run] = links_of(d);
    EXPECT_CONTAINS(log, "D -> X (CG constraint)\n");
    EXPECT_CONTAINS(log, "R0: W -> Z <- Y\n");
    EXPECT_CONTAINS(log, "R1: D -> X - Y => X -> Y\n");
    ASSERT_EQ(orv_domain_compile(d), orv_error_none);  // a DAG the CG rules accept
    orv_domain_delete(d);
  }
  EXPECT_EQ(results[0], (Links{{"D", "X"}, {"X", "Y"}, {"Y", "Z"}, {"W", "Z"}}));
  EXPECT_EQ(results[0], results[1]);
}

TEST(StructureLearning, NoMemoryLeavesNoLinks) {
  const orv::test::LiveBlocks live;
  for (orv_domain_t d : {collider_domain(), cg_chain_domain(300)}) {
    const auto last = orv::test::expect_no_memory_sweep(
        "learn structure", [&] { return orv_domain_learn_structure(d); }, [&] { EXPECT_TRUE(links_of(d).empty()); });
    EXPECT_EQ(last.result, orv_error_none);
    EXPECT_GE(links_of(d).size(), 3u);
    orv_domain_delete(d);
  }
  EXPECT_EQ(live.delta(), 0);
}

// Alarm, 10,000 sampled cases: the learned skeleton against the true one,
// the same result at one and two threads.
TEST(StructureLearning, ParallelAlarmSkeletonAndOrientation) {
  const std::string path = std::string(ORVEL_DATA_DIR) + "/networks/alarm.net";
  orv_domain_t truth = orv_net_parse_domain(path.c_str(), nullptr, nullptr);
  ASSERT_NE(truth, nullptr);
  const orv::test::Samples samples = orv::test::forward_sample(truth, 10000, 20261123u);
  const Links true_links = links_of(truth);
  Links results[2];
  for (int run = 0; run < 2; ++run) {
    orv_domain_t d = orv_net_parse_domain(path.c_str(), nullptr, nullptr);
    remove_all_links(d);
    ASSERT_TRUE(orv::test::store_samples(d, samples));
    orv_domain_set_concurrency_level(d, run + 1);
    ASSERT_EQ(orv_domain_learn_structure(d), orv_error_none);
    results[run] = links_of(d);
    ASSERT_EQ(orv_domain_compile(d), orv_error_none);  // a DAG
    orv_domain_delete(d);
  }
  EXPECT_EQ(results[0], results[1]);
  std::size_t found = 0, oriented = 0;
  for (const auto &[p, c] : results[0]) {
    found += true_links.count({p, c}) + true_links.count({c, p});
    oriented += true_links.count({p, c});
  }
  const double precision = double(found) / results[0].size(), recall = double(found) / true_links.size();
  std::printf("alarm 10000 cases: %zu links, precision %.3f, recall %.3f, oriented %zu of %zu\n",
              results[0].size(), precision, recall, oriented, true_links.size());
  EXPECT_GE(precision, 0.85);
  EXPECT_GE(recall, 0.8);
  EXPECT_GE(oriented, found / 2);
  orv_domain_delete(truth);
}

}  // namespace
