// Triangulation results checked by the independent oracle on random networks,
// best greedy's choice among the heuristics, the triangulation section of the
// log, and the error convention of the entry points: bad arguments give usage
// and change nothing; memory and log failures leave the domain untriangulated.
#include <gtest/gtest.h>

#include "compile/compile_log.h"
#include "compile/compiled_domain.h"
#include "compile/elimination.h"
#include "compile/network_builder.h"
#include "support/contract_sweep.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

using namespace test;
using Cliques = std::vector<std::vector<std::string>>;

const orv_triangulation_method_t kMethods[] = {orv_tm_clique_size, orv_tm_clique_weight, orv_tm_fill_in_size,
                                               orv_tm_fill_in_weight, orv_tm_best_greedy};

// Random networks, a share with continuous nodes: every method gives chordal
// maximal cliques by the independent checker, and best greedy costs no more
// than the cheapest single heuristic.
TEST(Triangulation, EveryMethodIsValidAndBestGreedyIsNeverWorse) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    const double continuous_share = seed % 4 == 0 ? 0.3 : 0.0;
    double best = 0.0, cheapest_single = 1e300;
    for (orv_triangulation_method_t method : kMethods) {
      auto d = new_domain();
      test::random_network(d.get(), seed, 8 + static_cast<int>(seed % 30), 1 + seed % 4, 5, continuous_share);
      ASSERT_EQ(orv_domain_triangulate(d.get(), method), orv_error_none) << seed;
      EXPECT_EQ(check_domain(d.get()), "") << "seed " << seed << " method " << method;
      const double cost = compiled_domain(d.get())->cost;
      if (method == orv_tm_best_greedy)
        best = cost;
      else
        cheapest_single = std::min(cheapest_single, cost);
    }
    EXPECT_LE(best, cheapest_single) << seed;
  }
}

TEST(Triangulation, RedundantFillInsAreRemoved) {
  // Eliminating the centre of a star first joins its leaves pairwise; no
  // later clique holds two leaves, so all three fill-ins go again.
  const Fragment star = test::make_fragment({2, 2, 2, 2}, {{0, 1}, {0, 2}, {0, 3}});
  Vector<EliminatedClique> run = eliminate_in_order(star, VertexList{0, 1, 2, 3}, nullptr);
  ASSERT_EQ(run.size(), 1u);
  EXPECT_EQ(run[0].fill_ins.size(), 6u);
  EXPECT_EQ(test::as_sets(_orv_remove_redundant_fill_ins(star, run, nullptr)),
            (std::vector<std::vector<int>>{{0, 1}, {0, 2}, {0, 3}}));

  // K(2,3): eliminating 0 joins 1, 2, 3, and eliminating 1 next forms
  // {1, 2, 3, 4}: every fill-in lies in two cliques and stays.
  const Fragment k23 = test::make_fragment({2, 2, 2, 2, 2}, {{0, 1}, {0, 2}, {0, 3}, {4, 1}, {4, 2}, {4, 3}});
  run = eliminate_in_order(k23, VertexList{0, 1, 2, 3, 4}, nullptr);
  EXPECT_EQ(test::as_sets(_orv_remove_redundant_fill_ins(k23, run, nullptr)),
            (std::vector<std::vector<int>>{{0, 1, 2, 3}, {1, 2, 3, 4}}));
}

// The triangle {0, 1, 4} (weights 2, 2, 2) on the four-cycle 0-2-3-4
// (weights 2, 4, 4, 2): the cycle takes chord 0-3 (cliques 2*4*4 + 2*4*2)
// or chord 2-4 (2*4*2 + 4*4*2), both 48, plus 8 for the triangle. The
// weighted run picks vertex 0 (clique weight 16) and chord 2-4; whatever the
// plain run found costs the same, so best greedy keeps the earlier result.
TEST(Triangulation, BestGreedyKeepsTheEarlierOfEqualCosts) {
  const Fragment g =
      test::make_fragment({2, 2, 4, 4, 2}, {{0, 1}, {0, 2}, {0, 4}, {1, 4}, {2, 3}, {3, 4}});
  const ComponentTriangulation plain = triangulate_by_elimination(g, orv_tm_clique_size, nullptr);
  const ComponentTriangulation weighted = triangulate_by_elimination(g, orv_tm_clique_weight, nullptr);
  EXPECT_EQ(plain.cost, 56.0);
  EXPECT_EQ(weighted.cost, 56.0);
  EXPECT_EQ(test::as_sets(weighted.cliques), (std::vector<std::vector<int>>{{0, 1, 4}, {0, 2, 4}, {2, 3, 4}}));
  ASSERT_NE(test::as_sets(plain.cliques), test::as_sets(weighted.cliques));
  EXPECT_EQ(test::as_sets(try_all_greedy_methods(g, nullptr).cliques), test::as_sets(plain.cliques));
}

// A -> B -> C -> D <- E <- A: D's parents C and E marry, leaving the
// chordless cycle A-B-C-E and the triangle C-D-E.
struct Cycle {
  test::DomainPtr d = new_domain();
  orv_node_t a = add_states(d.get(), "A", 2), b = add_states(d.get(), "B", 2), c = add_states(d.get(), "C", 2);
  orv_node_t dd = add_states(d.get(), "D", 2), e = add_states(d.get(), "E", 3);
  Cycle() { link(a, b), link(b, c), link(c, dd), link(a, e), link(e, dd); }
};

// Vertex order E, D, C, B, A. The triangle {E, D, C} (weight 3*2*2) is
// split off by the clique separator {C, E}. In the cycle E-C-B-A every
// vertex has clique size 3 and one fill-in; the heap takes the cycle's first
// vertex, E, and joins its neighbours C and A: cliques {E, C, A} (12) and
// {C, B, A} (8), so the component costs 20 and the whole 32. Best greedy
// writes only its header.
TEST(TriangulationLog, SingleHeuristicReportsFillInsAndCostBestGreedyOnlyItsHeader) {
  const struct {
    orv_triangulation_method_t method;
    const char *from;
    const char *expected;
  } cases[] = {{orv_tm_clique_size, "\n\nMoral links",
                "\n\nMoral links:\n\n"
                "    Marrying C and E\n"
                "\n"
                "\nTriangulating prime component with 3 members:\n"
                "    E, D, C\n"
                "This component is a clique of cost 12\n"
                "\nTriangulating prime component with 4 members:\n"
                "    E, C, B, A\n"
                "\n    Using minimum clique size heuristic for triangulation:\n\n"
                "\tCreating fill-in between C and A\n"
                "\nFound triangulation of prime component of cost 20\n"
                "\n\nTotal cost of triangulation for all prime components is 32\n"},
               {orv_tm_best_greedy, "\nTriangulating prime component with 4",
                "\nTriangulating prime component with 4 members:\n"
                "    E, C, B, A\n"
                "\n    Using the best greedy heuristic for triangulation\n\n"
                "\n\nTotal cost of triangulation for all prime components is 32\n"}};
  for (const auto &c : cases) {
    Cycle net;
    const std::string log = capture_log(
        net.d.get(), [&] { ASSERT_EQ(orv_domain_triangulate(net.d.get(), c.method), orv_error_none); });
    EXPECT_EQ(section(log, c.from, "\n\nElimination"), c.expected) << c.method;
  }
}

TEST(TriangulationLog, NameListsWrapBeforeColumn75AndHugeCostsPrintAsHuge) {
  auto d = new_domain();
  std::vector<orv_node_t> nodes;
  for (int i = 0; i < 12; ++i) nodes.push_back(add_states(d.get(), ("Node_number_" + std::to_string(i)).c_str(), 2));
  std::FILE *log = std::tmpfile();
  log_name_list(log, nodes.data(), nodes.size());
  const std::string text = read_stream(log);
  std::fclose(log);
  EXPECT_EQ(text,
            "    Node_number_0, Node_number_1, Node_number_2, Node_number_3,\n"
            "    Node_number_4, Node_number_5, Node_number_6, Node_number_7,\n"
            "    Node_number_8, Node_number_9, Node_number_10, Node_number_11\n");
  // Costs beyond exact doubles print as HUGE.
  EXPECT_STREQ(cost_text(d.get(), 9007199254740991.0), "9007199254740991");
  EXPECT_STREQ(cost_text(d.get(), 9007199254740992.0), "HUGE");
  EXPECT_STREQ(cost_text(d.get(), 1e300), "HUGE");
}

TEST(TriangulationContract, BadArgumentsGiveUsageAndChangeNothing) {
  auto d = new_domain();
  EXPECT_EQ(orv_domain_triangulate(nullptr, orv_tm_best_greedy), orv_error_usage);
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_usage);  // no nodes
  orv_node_t u = add_node(d.get(), "U", orv_category_utility, orv_kind_other);
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_usage);  // only a utility node
  EXPECT_EQ(orv_domain_triangulate(reinterpret_cast<orv_domain_t>(u), orv_tm_best_greedy), orv_error_usage);
  orv_node_t a = add_states(d.get(), "A", 2), b = add_states(d.get(), "B", 2);
  link(a, b), link(b, u);
  for (int method : {0, 14, 21}) {
    EXPECT_EQ(orv_domain_triangulate(d.get(), static_cast<orv_triangulation_method_t>(method)), orv_error_usage);
    EXPECT_EQ(orv_error_code(), orv_error_usage);
  }
  EXPECT_RESULT(orv_domain_get_elimination_order(d.get()), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_node_get_moral_neighbors(a), nullptr, orv_error_usage);
  EXPECT_EQ(orv_domain_triangulate_with_order(d.get(), nullptr), orv_error_usage);
  orv_node_t order[] = {a, b, nullptr};
  EXPECT_EQ(orv_domain_triangulate_with_order(nullptr, order), orv_error_usage);
  EXPECT_EQ(orv_domain_get_elimination_order(nullptr), nullptr);
  EXPECT_EQ(orv_node_get_moral_neighbors(nullptr), nullptr);
  EXPECT_EQ(compiled_domain(d.get()), nullptr);

  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_fill_in_size), orv_error_none);
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_fill_in_size), orv_error_usage);  // already triangulated
  EXPECT_EQ(orv_domain_triangulate_with_order(d.get(), order), orv_error_usage);
  EXPECT_NE(orv_domain_get_elimination_order(d.get()), nullptr);
  EXPECT_EQ(orv_error_code(), orv_error_none);  // the next good call reads 0
  EXPECT_EQ(test::names_of(orv_node_get_moral_neighbors(a)), std::vector<std::string>{"B"});

  uncompile(d.get());  // what every structural change does
  EXPECT_EQ(orv_domain_get_elimination_order(d.get()), nullptr);
  EXPECT_EQ(orv_domain_triangulate_with_order(d.get(), order), orv_error_none);
}

// A network with fill-ins, redundant ones, CG boundaries and several prime
// components, so that every allocation site runs.
void build_sweep_network(orv_domain_t d) {
  test::random_network(d, 11, 14, 3, 4, 0.25);
  orv_node_t p = add_states(d, "P", 2), q = add_states(d, "Q", 3), r = add_states(d, "R", 2);
  orv_node_t s = add_states(d, "S", 2), t = add_states(d, "T", 2);
  link(p, q), link(q, r), link(p, s), link(s, t), link(r, t);  // a cycle of five after marrying R and S
}

template <class Operation>
void sweep(orv_domain_t d, Operation operation, const char *what) {
  const auto clean =
      test::expect_no_memory_sweep(what, operation, [&] { EXPECT_EQ(compiled_domain(d), nullptr); });
  ASSERT_EQ(clean.result, orv_error_none) << what;
  EXPECT_GT(clean.n, 10u) << what;
  EXPECT_EQ(test::check_domain(d), "") << what;
  uncompile(d);
}

TEST(TriangulationFailure, EveryAllocationFailureLeavesTheDomainUntriangulated) {
  auto d = new_domain();
  build_sweep_network(d.get());
  std::FILE *log = std::tmpfile();
  for (std::FILE *stream : {static_cast<std::FILE *>(nullptr), log}) {
    orv_domain_set_log_file(d.get(), stream);
    for (orv_triangulation_method_t method : {orv_tm_clique_size, orv_tm_clique_weight, orv_tm_fill_in_size,
                                              orv_tm_fill_in_weight, orv_tm_total_weight, orv_tm_best_greedy})
      sweep(d.get(), [&] { return orv_domain_triangulate(d.get(), method); }, "triangulate");
    std::vector<orv_node_t> order;  // continuous nodes first
    for (orv_node_t n = orv_domain_get_first_node(d.get()); n; n = orv_node_get_next(n)) order.push_back(n);
    std::stable_partition(order.begin(), order.end(), [](orv_node_t n) { return n->is_continuous(); });
    order.push_back(nullptr);
    sweep(d.get(), [&] { return orv_domain_triangulate_with_order(d.get(), order.data()); }, "with order");
  }
  orv_domain_set_log_file(d.get(), nullptr);
  std::fclose(log);

  // Listing the order can fail on its own; the triangulation stays.
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
  const auto clean = test::expect_no_memory_sweep("order", [&] { return orv_domain_get_elimination_order(d.get()); },
                                                  [&] { EXPECT_NE(compiled_domain(d.get()), nullptr); });
  EXPECT_NE(clean.result, nullptr);
}

TEST(TriangulationFailure, LogWriteFailuresGiveIoAndUntriangulate) {
  auto d = new_domain();
  build_sweep_network(d.get());
  // A stream open for reading refuses the first write.
  std::FILE *read_only = std::fopen("/dev/null", "r");
  ASSERT_NE(read_only, nullptr);
  orv_domain_set_log_file(d.get(), read_only);
  test::LiveBlocks live;
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_io);
  EXPECT_EQ(compiled_domain(d.get()), nullptr);
  EXPECT_EQ(live.delta(), 0);
  std::fclose(read_only);
  // A full device accepts buffered writes and fails the final flush, after
  // the new state was committed: it must be dropped again.
  std::FILE *full = std::fopen("/dev/full", "w");
  if (full) {
    orv_domain_set_log_file(d.get(), full);
    EXPECT_RESULT(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_io, orv_error_io);
    EXPECT_EQ(compiled_domain(d.get()), nullptr);
    EXPECT_EQ(live.delta(), 0);
    std::fclose(full);
  }
  orv_domain_set_log_file(d.get(), nullptr);
  EXPECT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
}

TEST(TriangulationContract, StructuralChangesDropTheTriangulation) {
  auto d = new_domain();
  orv_node_t a = add_states(d.get(), "A", 2), b = add_states(d.get(), "B", 2), c = add_states(d.get(), "C", 2);
  ASSERT_EQ(orv_node_add_parent(b, a), orv_error_none);
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(c, b), orv_error_none);  // a new link
  EXPECT_EQ(compiled_domain(d.get()), nullptr);
  EXPECT_EQ(orv_node_get_moral_neighbors(b), nullptr);
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_best_greedy), orv_error_none);
  EXPECT_EQ(test::names_of(orv_node_get_moral_neighbors(b)).size(), 2u);
  add_states(d.get(), "D", 2);  // a new node
  EXPECT_EQ(compiled_domain(d.get()), nullptr);
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
  ASSERT_EQ(orv_node_delete(a), orv_error_none);  // a deleted node
  EXPECT_EQ(compiled_domain(d.get()), nullptr);
  ASSERT_EQ(orv_domain_triangulate(d.get(), orv_tm_clique_size), orv_error_none);
  EXPECT_EQ(test::check_domain(d.get()), "");
}

}  // namespace
}  // namespace orv
