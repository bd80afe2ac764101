// Models follow their nodes: states reordered or added, parents removed or
// switched, and nodes that expressions mention deleted.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "orvel.h"

namespace {

const char *kNet = R"(net {}
node A { states = ("a" "b" "c"); }
node A2 { states = ("a" "b" "c"); }
node B { states = ("u" "v"); }
node T { states = ("t0" "t1"); subtype = interval; state_values = (0 1 2); }
node K { states = ("k0" "k1"); }
potential (A) { data = (0.2 0.3 0.5); }
potential (A2) { data = (0.2 0.3 0.5); }
potential (B) { data = (0.5 0.5); }
potential (T) { data = (0.5 0.5); }
potential (K | A B T) { model_nodes = (A B); model_data = (
  Distribution(1, 1), Distribution(1, 2), Distribution(1, 3),
  Distribution(1, 4), if(A == "c", Distribution(1, 5), Distribution(1, 0)), Distribution(T, 6) ); }
)";

// Each expression as text, "-" where none.
std::vector<std::string> texts(orv_node_t n) {
  orv_model_t m = orv_node_get_model(n);
  std::vector<std::string> out;
  for (size_t i = 0; i < orv_model_get_size(m); ++i) {
    orv_expression_t e = orv_model_get_expression(m, i);
    char *text = e ? orv_expression_to_string(e) : nullptr;
    out.emplace_back(text ? text : "-");
    free(text);
  }
  return out;
}

std::vector<std::string> model_nodes(orv_node_t n) {
  std::vector<std::string> out;
  for (orv_node_t *m = orv_model_get_nodes(orv_node_get_model(n)); *m; ++m) out.emplace_back(orv_node_get_name(*m));
  return out;
}

TEST(ModelUpkeep, ExpressionsFollowStatesLinksAndDeletedNodes) {
  orv_domain_t d = orv_net_parse_domain(kNet, nullptr, nullptr);
  ASSERT_NE(d, nullptr);
  const auto node = [&](const char *name) { return orv_domain_get_node_by_name(d, name); };
  orv_node_t k = node("K");
  using V = std::vector<std::string>;
  const std::string e5 = R"(if (A == "c", Distribution (1, 5), Distribution (1, 0)))";
  ASSERT_EQ(texts(k)[4], e5);
  // The model holds its expressions: deleting one elsewhere does nothing.
  EXPECT_EQ(orv_expression_delete(orv_model_get_expression(orv_node_get_model(k), 4)), orv_error_none);
  ASSERT_EQ(texts(k)[4], e5);

  // Reordering A's states moves the expressions with them (A is slower than B).
  const char *order[] = {"c", "a", "b", nullptr};
  ASSERT_EQ(orv_node_reorder_states(node("A"), order), orv_error_none);
  EXPECT_EQ(texts(k), (V{e5, "Distribution (T, 6)", "Distribution (1, 1)", "Distribution (1, 2)",
                         "Distribution (1, 3)", "Distribution (1, 4)"}));
  // A new state of B has no expression yet; the old ones keep theirs.
  ASSERT_EQ(orv_node_set_number_of_states(node("B"), 3), orv_error_none);
  EXPECT_EQ(texts(k), (V{e5, "Distribution (T, 6)", "-", "Distribution (1, 1)", "Distribution (1, 2)", "-",
                         "Distribution (1, 3)", "Distribution (1, 4)", "-"}));
  // Removing B keeps the expressions of the given state.
  ASSERT_EQ(orv_node_remove_discrete_parent(k, node("B"), 1), orv_error_none);
  EXPECT_EQ(model_nodes(k), (V{"A"}));
  EXPECT_EQ(texts(k), (V{"Distribution (T, 6)", "Distribution (1, 2)", "Distribution (1, 4)"}));
  // A switched parent takes A's place as a model node and in the expressions.
  orv_model_t m = orv_node_get_model(k);
  ASSERT_EQ(orv_model_set_expression_from_string(m, 1, R"(if(A == "a", Distribution(1, 1), Distribution(0, 1)))",
                                                 nullptr, nullptr),
            orv_error_none);
  ASSERT_EQ(orv_node_reorder_states(node("A2"), order), orv_error_none);
  ASSERT_EQ(orv_node_switch_parent(k, node("A"), node("A2")), orv_error_none);
  EXPECT_EQ(model_nodes(k), (V{"A2"}));
  EXPECT_EQ(texts(k)[1], R"(if (A2 == "a", Distribution (1, 1), Distribution (0, 1)))");
  // Deleting T deletes the expression that mentions it; generation then
  // reports the gap instead of reading a deleted node.
  ASSERT_EQ(orv_node_delete(node("T")), orv_error_none);
  EXPECT_EQ(texts(k), (V{"-", texts(k)[1], "Distribution (1, 4)"}));
  EXPECT_EQ(orv_node_generate_table(k), orv_error_invalid_expression);
  ASSERT_EQ(orv_model_set_expression_from_string(m, 0, "Distribution(3, 1)", nullptr, nullptr), orv_error_none);
  ASSERT_EQ(orv_node_generate_table(k), orv_error_none);
  // Deleting the last model node leaves the expression of its state 0.
  ASSERT_EQ(orv_node_delete(node("A2")), orv_error_none);
  EXPECT_EQ(model_nodes(k), V{});
  EXPECT_EQ(texts(k), (V{"Distribution (3, 1)"}));
  ASSERT_EQ(orv_node_generate_table(k), orv_error_none);
  EXPECT_EQ(orv_table_get_data(orv_node_get_table(k))[0], 0.75);
  orv_domain_delete(d);
}

}  // namespace
