// The triangulation section of the log for a single heuristic and for best
// greedy, and the wrapping of long name lists.
#include <gtest/gtest.h>

#include "compile/compile_log.h"
#include "compile/network_builder.h"

namespace orv {
namespace {

using namespace test;

std::string section(const std::string &log, const char *from, const char *to) {
  const std::size_t start = log.find(from);
  return log.substr(start, log.find(to, start) - start);
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
// {C, B, A} (8), so the component costs 20 and the whole 32.
TEST(TriangulationLog, SingleHeuristicReportsFillInsAndCost) {
  Cycle net;
  const std::string log = capture_log(
      net.d.get(), [&] { ASSERT_EQ(orv_domain_triangulate(net.d.get(), orv_tm_clique_size), orv_error_none); });
  EXPECT_EQ(section(log, "\n\nMoral links", "\n\nElimination"),
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
            "\n\nTotal cost of triangulation for all prime components is 32\n");
}

TEST(TriangulationLog, BestGreedyWritesOnlyItsHeader) {
  Cycle net;
  const std::string log = capture_log(
      net.d.get(), [&] { ASSERT_EQ(orv_domain_triangulate(net.d.get(), orv_tm_best_greedy), orv_error_none); });
  EXPECT_EQ(section(log, "\nTriangulating prime component with 4", "\n\nElimination"),
            "\nTriangulating prime component with 4 members:\n"
            "    E, C, B, A\n"
            "\n    Using the best greedy heuristic for triangulation\n\n"
            "\n\nTotal cost of triangulation for all prime components is 32\n");
}

TEST(TriangulationLog, NameListsWrapBeforeColumn75) {
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
}

TEST(TriangulationLog, HugeCostsPrintAsHuge) {
  auto d = new_domain();
  EXPECT_STREQ(cost_text(d.get(), 9007199254740991.0), "9007199254740991");
  EXPECT_STREQ(cost_text(d.get(), 9007199254740992.0), "HUGE");
  EXPECT_STREQ(cost_text(d.get(), 1e300), "HUGE");
}

}  // namespace
}  // namespace orv
