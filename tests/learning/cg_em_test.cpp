// Conditional-Gaussian EM: complete data against weighted least squares
// computed here, missing values against a direct likelihood computation,
// thread independence and restore on allocation failure.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "orvel.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

// D -> X -> Y, D -> Y, with experience 0 everywhere (no prior).
const char *kNet =
    "net { }\n"
    "node D { states = (\"d0\" \"d1\"); }\n"
    "continuous node X { }\n"
    "continuous node Y { }\n"
    "potential (D) { data = (0.4 0.6); experience = (0); }\n"
    "potential (X | D) { data = (normal (0, 1) normal (0, 1)); experience = (0 0); }\n"
    "potential (Y | D X) { data = (normal (0, 1) normal (0, 1)); experience = (0 0); }\n";

struct Case {
  int d;
  double x, y, w;
};

// The network compiled with the cases; X is missing where k % missing_every == 1.
struct Net {
  orv_domain_t dom = orv_net_parse_domain(kNet, nullptr, nullptr);
  orv_node_t d = orv_domain_get_node_by_name(dom, "D"), x = orv_domain_get_node_by_name(dom, "X"),
             y = orv_domain_get_node_by_name(dom, "Y");
  ~Net() { orv_domain_delete(dom); }
  Net(const std::vector<Case> &cases, std::size_t missing_every) {
    for (std::size_t k = 0; k < cases.size(); ++k) {
      const size_t i = orv_domain_new_case(dom);
      orv_node_set_case_state(d, i, cases[k].d);
      if (missing_every == 0 || k % missing_every != 1) orv_node_set_case_value(x, i, cases[k].x);
      orv_node_set_case_value(y, i, cases[k].y);
      orv_domain_set_case_count(dom, i, cases[k].w);
    }
    EXPECT_EQ(orv_domain_compile(dom), orv_error_none);
  }
  std::vector<double> parameters() const {
    std::vector<double> p;
    for (size_t j = 0; j < 2; ++j)
      p.insert(p.end(), {orv_node_get_alpha(y, j), orv_node_get_beta(y, x, j), orv_node_get_gamma(y, j),
                         orv_node_get_alpha(x, j), orv_node_get_gamma(x, j)});
    return p;
  }
};

std::vector<Case> sample(std::size_t n) {
  std::mt19937_64 random(12345);
  std::uniform_real_distribution<double> uniform;
  std::normal_distribution<double> normal;
  std::vector<Case> cases;
  for (std::size_t k = 0; k < n; ++k) {
    Case c;
    c.d = uniform(random) < 0.4 ? 0 : 1;
    c.x = c.d ? 2.0 + 0.5 * normal(random) : -1.0 + 1.5 * normal(random);
    c.y = c.d ? 1.0 - 2.0 * c.x + 0.3 * normal(random) : 3.0 + 0.5 * c.x + normal(random);
    c.w = k % 3 == 0 ? 2.0 : 1.0;
    cases.push_back(c);
  }
  return cases;
}

TEST(CgEm, CompleteDataGivesWeightedLeastSquares) {
  const std::vector<Case> cases = sample(200);
  Net net(cases, 0);
  ASSERT_EQ(orv_domain_learn_tables(net.dom), 0);
  for (int d = 0; d < 2; ++d) {
    // Centred sums: slope = Sxy / Sxx, intercept = my - slope mx.
    double w = 0, mx = 0, my = 0;
    for (const Case &c : cases)
      if (c.d == d) w += c.w, mx += c.w * c.x, my += c.w * c.y;
    mx /= w;
    my /= w;
    double sxx = 0, sxy = 0, syy = 0;
    for (const Case &c : cases)
      if (c.d == d) sxx += c.w * (c.x - mx) * (c.x - mx), sxy += c.w * (c.x - mx) * (c.y - my),
                    syy += c.w * (c.y - my) * (c.y - my);
    const double slope = sxy / sxx;
    EXPECT_NEAR(orv_node_get_beta(net.y, net.x, d), slope, 1e-9);
    EXPECT_NEAR(orv_node_get_alpha(net.y, d), my - slope * mx, 1e-9);
    EXPECT_NEAR(orv_node_get_gamma(net.y, d), (syy - slope * sxy) / w, 1e-9);
    EXPECT_NEAR(orv_node_get_alpha(net.x, d), mx, 1e-9);
    EXPECT_NEAR(orv_node_get_gamma(net.x, d), sxx / w, 1e-9);
    EXPECT_NEAR(orv_table_get_data(orv_node_get_experience_table(net.y))[d], w, 1e-9);
  }
}


TEST(CgEm, MissingValuesClimbAndMatchDirectLikelihood) {
  const std::vector<Case> cases = sample(150);
  std::vector<double> learned[2];
  for (int run = 0; run < 2; ++run) {
    Net net(cases, 4);
    orv_domain_set_em_concurrency_level(net.dom, run == 0 ? 1 : 3);
    orv_domain_set_log_likelihood_tolerance(net.dom, 1e-10);
    std::vector<double> iteration_log;  // the log-likelihood of every iteration
    const auto record = [](double l, size_t, void *log) {
      static_cast<std::vector<double> *>(log)->push_back(l);
      return 1;
    };
    _orv_domain_set_progress_handler(net.dom, record, &iteration_log);
    ASSERT_EQ(orv_domain_learn_tables(net.dom), 0);
    ASSERT_GT(iteration_log.size(), 2u);
    for (std::size_t k = 1; k < iteration_log.size(); ++k)
      EXPECT_GE(iteration_log[k], iteration_log[k - 1] - 1e-9 * std::fabs(iteration_log[k]));
    learned[run] = net.parameters();
    // The data likelihood under the learned tables, case by case.
    double direct = 0.0;
    for (size_t i = 0; i < cases.size(); ++i) {
      ASSERT_EQ(orv_domain_enter_case(net.dom, i), 0);
      ASSERT_EQ(orv_domain_propagate(net.dom, orv_equilibrium_sum, orv_mode_normal), 0);
      direct += orv_domain_get_case_count(net.dom, i) * orv_domain_get_log_normalization_constant(net.dom);
    }
    orv_domain_retract_findings(net.dom);
    orv_domain_propagate(net.dom, orv_equilibrium_sum, orv_mode_normal);
    EXPECT_NEAR(orv_domain_get_log_likelihood(net.dom), direct, 1e-9 * std::fabs(direct));
  }
  EXPECT_EQ(learned[0], learned[1]);  // to the last bit
}

TEST(CgEm, AllocationFailureRestoresCgTables) {
  Net net(sample(6), 3);  // one domain throughout: a failed run must leave it learnable
  orv_domain_set_em_concurrency_level(net.dom, 2);
  orv_domain_set_max_number_of_em_iterations(net.dom, 2);
  const std::vector<double> before = net.parameters();
  const auto done = test::expect_no_memory_sweep("learn tables", [&] { return orv_domain_learn_tables(net.dom); },
                                                 [&] { EXPECT_EQ(net.parameters(), before); });
  EXPECT_EQ(done.result, orv_error_none);
}

// Sub (A -> B) instantiated twice in Top: both copies of A and of B share
// the class's tables, so their counts add up.
const char *kClasses =
    "class Sub {\n"
    "  node A { states = (\"a0\" \"a1\"); }\n"
    "  node B { states = (\"b0\" \"b1\"); }\n"
    "  potential (A) { data = (0.5 0.5); experience = (1); }\n"
    "  potential (B | A) { data = ((0.5 0.5) (0.5 0.5)); experience = (0 0); }\n"
    "}\n"
    "class Top {\n"
    "  instance I1 : Sub () {}\n"
    "  instance I2 : Sub () {}\n"
    "}\n";

// Every failed allocation reports no_memory and leaks nothing; the run that
// completes pools the counts of both copies in the class's tables.
TEST(ClassEm, CopiesOfAClassNodeShareOneTableAndSurviveAllocationFailures) {
  test::Collection cc;
  ASSERT_EQ(orv_net_parse_classes(kClasses, cc.cc, nullptr, nullptr, nullptr), 0);
  test::DomainPtr top(orv_class_create_domain(orv_cc_get_class_by_name(cc.cc, "Top")));
  ASSERT_NE(top, nullptr);
  orv_domain_t d = top.get();
  const char *names[] = {"I1.A", "I1.B", "I2.A", "I2.B"};
  orv_node_t n[4];
  for (int k = 0; k < 4; ++k) n[k] = orv_domain_get_node_by_name(d, names[k]);
  // Cases (A, B) for I1 then I2, by hand: A counts a0: 3, a1: 5; B|a0: 2,1;
  // B|a1: 1,4.
  const int rows[4][4] = {{0, 0, 1, 1}, {0, 1, 1, 1}, {1, 1, 0, 0}, {1, 0, 1, 1}};
  for (const auto &row : rows) {
    const size_t i = orv_domain_new_case(d);
    for (int k = 0; k < 4; ++k) orv_node_set_case_state(n[k], i, row[k]);
  }
  ASSERT_EQ(orv_domain_compile(d), orv_error_none);
  const auto done =
      test::expect_no_memory_sweep("learn class tables", [&] { return orv_domain_learn_class_tables(d); }, [] {});
  ASSERT_EQ(done.result, 0);
  orv_class_t sub = orv_cc_get_class_by_name(cc.cc, "Sub");
  orv_node_t a = orv_class_get_node_by_name(sub, "A");
  const double *b = orv_table_get_data(orv_node_get_table(orv_class_get_node_by_name(sub, "B")));
  // Prior for A: experience 1 x (0.5 0.5).
  EXPECT_NEAR(orv_table_get_data(orv_node_get_table(a))[0], 3.5 / 9.0, 1e-12);
  EXPECT_NEAR(b[0], 2.0 / 3.0, 1e-12);
  EXPECT_NEAR(b[2], 1.0 / 5.0, 1e-12);
  EXPECT_NEAR(orv_table_get_data(orv_node_get_experience_table(a))[0], 9.0, 1e-12);
  EXPECT_NEAR(orv_table_get_data(orv_node_get_table(n[3]))[2], 1.0 / 5.0, 1e-12);
}

}  // namespace
}  // namespace orv
