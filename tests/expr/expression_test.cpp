// Expressions: construction with arity and type checks, reference counting,
// printing with minimal parentheses, parsing with messages and locations, and
// models following their nodes (states reordered or added, parents removed or
// switched, mentioned nodes deleted).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "expr/expression.h"
#include "expr/model.h"
#include "orvel.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/net_compare.h"

namespace orv {
namespace {

using namespace test;

std::string text_of(orv_expression_t e) { return take_text(orv_expression_to_string(e)); }

class ExpressionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    a = add_node(d.get(), "a", orv_category_chance, orv_kind_continuous);
    b = add_node(d.get(), "b", orv_category_chance, orv_kind_continuous);
    c = add_node(d.get(), "c", orv_category_chance, orv_kind_continuous);
    label_node = add_node(d.get(), "L");
  }
  orv_expression_t parse(const char *text) {
    messages.items.clear();
    return orv_domain_string_to_expression(d.get(), text, Messages::handler, &messages);
  }
  // Parses, prints and checks that the printed text is a fixed point.
  std::string reprint(const char *text) {
    orv_expression_t e = parse(text);
    EXPECT_NE(e, nullptr) << text << ": " << messages.first();
    if (!e) return "";
    std::string printed = text_of(e);
    orv_expression_t again = parse(printed.c_str());
    EXPECT_NE(again, nullptr) << printed;
    if (again) {
      EXPECT_EQ(text_of(again), printed);
    }
    orv_expression_delete(again);
    orv_expression_delete(e);
    return printed;
  }
  test::DomainPtr d = new_domain();
  orv_node_t a, b, c, label_node;
  Messages messages;
};

TEST_F(ExpressionTest, ArityAndTypeChecks) {
  orv_expression_t one = orv_number_make_expression(1), two = orv_number_make_expression(2);
  orv_expression_t args1[] = {one, nullptr};
  EXPECT_RESULT(orv_make_composite_expression(orv_op_Normal, args1), nullptr, orv_error_invalid_expression);
  EXPECT_EQ(one->references, 0u);  // untouched by the failure
  orv_expression_t args3[] = {one, two, one, nullptr};
  EXPECT_RESULT(orv_make_composite_expression(orv_op_NoisyOR, args3), nullptr, orv_error_invalid_expression);
  orv_expression_t args2[] = {one, two, nullptr};
  EXPECT_RESULT(orv_make_composite_expression(orv_op_number, args2), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_make_composite_expression(orv_op_add, nullptr), nullptr, orv_error_usage);
  // Types: "and" wants booleans, "#" a discrete node.
  EXPECT_RESULT(orv_make_composite_expression(orv_op_and, args2), nullptr, orv_error_invalid_expression);
  orv_expression_t x = orv_node_make_expression(a);
  orv_expression_t idx[] = {x, nullptr};
  EXPECT_RESULT(orv_make_composite_expression(orv_op_state_index, idx), nullptr, orv_error_invalid_expression);
  orv_expression_t nothing[] = {nullptr};
  orv_expression_t empty_and = orv_make_composite_expression(orv_op_and, nothing);
  ASSERT_NE(empty_and, nullptr);
  EXPECT_EQ(text_of(empty_and), "and ()");

  orv_expression_t sum = orv_make_composite_expression(orv_op_add, args2);
  ASSERT_NE(sum, nullptr);
  EXPECT_EQ(orv_expression_is_composite(sum), 1);
  EXPECT_EQ(orv_expression_get_operands(sum)[1], two);
  EXPECT_RESULT(orv_expression_get_number(sum), -1.0, orv_error_usage);
  EXPECT_EQ(orv_expression_get_label(one), nullptr);
  // An operand is not freed while a composite holds it.
  LiveBlocks live;
  EXPECT_EQ(orv_expression_delete(one), 0);
  EXPECT_EQ(live.delta(), 0);
  orv_expression_t copy = orv_expression_clone(sum);
  EXPECT_EQ(text_of(copy), "1 + 2");
  EXPECT_NE(orv_expression_get_operands(copy)[0], one);
  orv_expression_delete(copy);
  orv_expression_delete(sum);  // frees one and two with it
  EXPECT_LT(live.delta(), 0);
  orv_expression_delete(x);
  orv_expression_delete(empty_and);
}

TEST_F(ExpressionTest, PrintingParenthesisRules) {
  const std::pair<const char *, const char *> cases[] = {
      {"(a - b) - c", "a - b - c"}, {"a - (b - c)", "a - (b - c)"}, {"2 ^ (3 ^ 4)", "2 ^ 3 ^ 4"},
      {"(2 ^ 3) ^ 4", "(2 ^ 3) ^ 4"}, {"(a + b) * (b * c)", "(a + b) * (b * c)"}, {"(a * b) / c", "a * b / c"},
      {"a * (-2)", "a * (-2)"}, {"(a * b) ^ (-c)", "(a * b) ^ (-c)"}, {"-a * b", "-a * b"}, {"-(a + b)", "-(a + b)"},
      {"(a < b) == (b > c)", "(a < b) == (b > c)"}, {"0.1234567", "0.123457"}, {"1e10 + 2.5E-7", "1E+10 + 2.5E-07"},
      {"if (L = \"x\\ty\", Normal (a, 1), Normal(0,1))", "if (L == \"x\\ty\", Normal (a, 1), Normal (0, 1))"},
      {"#L + max(1, 2, 3)", "#L + max (1, 2, 3)"}, {"or (not (true), false)", "or (not (true), false)"},
  };
  for (const auto &[text, printed] : cases) EXPECT_EQ(reprint(text), printed) << text;
  EXPECT_EQ(parse("a * -2"), nullptr);               // a factor never starts with a sign
  EXPECT_EQ(parse("not (true) or false"), nullptr);  // "or" is a call, not infix
}

TEST_F(ExpressionTest, LeadingMinusAndComparisons) {
  // A minus before a number literal is part of it, unless a power follows;
  // "<>" and "!=" are one token, "=" and "==" too.
  const struct {
    const char *text;
    orv_operator_t op, first_operand;
  } cases[] = {
      {"-2^2", orv_op_negate, orv_op_power},      {"-2", orv_op_number, orv_op_error},
      {"a <> b", orv_op_not_equals, orv_op_node}, {"a != b", orv_op_not_equals, orv_op_node},
      {"a = b", orv_op_equals, orv_op_node},
  };
  for (const auto &c : cases) {
    orv_expression_t e = parse(c.text);
    ASSERT_NE(e, nullptr) << c.text;
    EXPECT_EQ(orv_expression_get_operator(e), c.op) << c.text;
    orv_expression_t *operands = orv_expression_get_operands(e);
    EXPECT_EQ(operands ? orv_expression_get_operator(operands[0]) : orv_op_error, c.first_operand) << c.text;
    if (c.op == orv_op_number) {
      EXPECT_EQ(orv_expression_get_number(e), -2.0);
    }
    orv_expression_delete(e);
  }
}

TEST_F(ExpressionTest, SyntaxErrorsCarryMessageAndOffset) {
  struct Case {
    const char *text;
    const char *message;
    size_t location;
    orv_error_t code = orv_error_syntax;
  };
  const Case cases[] = {
      {"a < b < c", "unexpected token", 7}, {"(a + b", "`)' expected", 6},
      {"#a", "`#' must be followed by the name of a discrete node", 2}, {"foo (1)", "unknown operator `foo'", 5},
      {"min (1 2)", "`,' or `)' expected", 8}, {"zz + 1", "no such node: zz", 4}, {"x.y", "no such node: x.y", 3},
      {"x.", "`.' must be followed by a letter or an `_'", 2}, {"a ! b", "`!' must be followed by `='", 4},
      {"a $ b", "unexpected character: `$'", 3}, {"*", "unexpected token", 1}, {"\"abc", "string did not end", 4},
      {"Normal (1)", "API error: invalid_expression", 10, orv_error_invalid_expression},
      {"a + \"s\"", "API error: invalid_expression", 7, orv_error_invalid_expression},
      // "probability" needs a condition on exactly one discrete node.
      {"probability (a > 1)", "API error: invalid_expression", 19, orv_error_invalid_expression},
      {"probability (probability (L == \"s\") > 0)", "API error: invalid_expression", 40,
       orv_error_invalid_expression},
  };
  for (const Case &c : cases) {
    LiveBlocks live;
    EXPECT_EQ(parse(c.text), nullptr) << c.text;
    EXPECT_EQ(orv_error_code(), c.code) << c.text;
    ASSERT_EQ(messages.items.size(), 1u) << c.text;
    EXPECT_EQ(messages.items[0].second, c.message) << c.text;
    EXPECT_EQ(messages.items[0].first, c.location) << c.text;
    EXPECT_EQ(live.delta(), 0) << c.text;
  }
  // A node named "true" hides the literal.
  orv_expression_t e = parse("true");
  EXPECT_EQ(orv_expression_get_operator(e), orv_op_boolean);
  orv_expression_delete(e);
  add_node(d.get(), "true");
  e = parse("true");
  EXPECT_EQ(orv_expression_get_operator(e), orv_op_node);
  orv_expression_delete(e);
}

TEST_F(ExpressionTest, ArgumentChecksAndLegacyHandler) {
  EXPECT_RESULT(orv_domain_string_to_expression(nullptr, "1", nullptr, nullptr), nullptr, orv_error_usage);
  EXPECT_RESULT(orv_domain_string_to_expression(d.get(), nullptr, nullptr, nullptr), nullptr, orv_error_usage);
  static std::vector<int> locations;
  locations.clear();
  EXPECT_EQ(orv_string_to_expression("1 +", d.get(), [](int location, const char *) { locations.push_back(location); }),
            nullptr);
  EXPECT_EQ(locations, std::vector<int>{3});
  EXPECT_RESULT(orv_expression_to_string(nullptr), nullptr, orv_error_usage);
  orv_expression_t e = orv_string_to_expression("2 * a", d.get(), nullptr);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(orv_error_code(), orv_error_none);
  orv_expression_delete(e);
}

TEST_F(ExpressionTest, DeepNestingIsRefused) {
  std::string deep(2000, '(');
  deep += "1" + std::string(2000, ')');
  EXPECT_EQ(parse(deep.c_str()), nullptr);
  std::string chain = "1";
  for (int i = 0; i < 2000; ++i) chain += " + 1";
  EXPECT_RESULT(parse(chain.c_str()), nullptr, orv_error_syntax);
}

TEST_F(ExpressionTest, ParseSurvivesEveryAllocationFailure) {
  const char *text = "if (L == \"s\", Normal (a * 2, b ^ 2), Normal (-c, 1))";
  const auto clean = test::expect_no_memory_sweep("parse", [&] { return parse(text); }, [] {});
  ASSERT_NE(clean.result, nullptr);
  orv_expression_delete(clean.result);
}

TEST_F(ExpressionTest, ModelsHoldCopiesPerConfigurationTextAndUserData) {
  orv_node_t child = add_node(d.get(), "child");
  link(label_node, child);
  orv_node_t nodes[] = {label_node, nullptr};
  orv_model_t m = orv_node_new_model(child, nodes);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(orv_model_get_size(m), 1u);
  orv_node_t not_parent[] = {a, nullptr};
  EXPECT_RESULT(orv_node_new_model(child, not_parent), nullptr, orv_error_usage);
  orv_expression_t e = parse("Distribution (1, 2)");
  EXPECT_EQ(orv_model_set_expression(m, 0, e), 0);
  EXPECT_NE(orv_model_get_expression(m, 0), e);
  EXPECT_EQ(orv_model_set_expression(m, 1, e), orv_error_usage);
  orv_expression_delete(e);
  EXPECT_EQ(orv_model_get_number_of_samples_per_interval(m), 25u);
  EXPECT_EQ(orv_model_set_number_of_samples_per_interval(m, 0), orv_error_usage);

  ASSERT_EQ(orv_model_set_expression_from_string(m, 0, "Normal (a + 1, b)", Messages::handler, &messages),
            orv_error_none);
  EXPECT_EQ(text_of(orv_model_get_expression(m, 0)), "Normal (a + 1, b)");
  // A syntax error keeps the old expression and reaches the handler.
  EXPECT_EQ(orv_model_set_expression_from_string(m, 0, "Normal (", Messages::handler, &messages), orv_error_syntax);
  EXPECT_FALSE(messages.items.empty());
  EXPECT_EQ(text_of(orv_model_get_expression(m, 0)), "Normal (a + 1, b)");
  EXPECT_EQ(orv_model_set_expression_from_string(m, 1, "1", nullptr, nullptr), orv_error_usage);
  EXPECT_EQ(orv_model_set_expression_from_string(m, 0, nullptr, nullptr, nullptr), orv_error_usage);

  int marker = 0;
  EXPECT_EQ(orv_model_get_user_data(m), nullptr);
  ASSERT_EQ(orv_model_set_user_data(m, &marker), orv_error_none);
  EXPECT_EQ(orv_model_get_user_data(m), &marker);
  EXPECT_RESULT(orv_model_set_user_data(nullptr, &marker), orv_error_usage, orv_error_usage);
  EXPECT_RESULT(orv_model_get_user_data(nullptr), nullptr, orv_error_usage);
  EXPECT_EQ(orv_node_get_model(child), m);
  EXPECT_EQ(orv_model_delete(m), 0);
  EXPECT_EQ(orv_node_get_model(child), nullptr);
}

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
    out.emplace_back(e ? text_of(e) : "-");
  }
  return out;
}

std::vector<std::string> model_nodes(orv_node_t n) { return names_of(orv_model_get_nodes(orv_node_get_model(n))); }

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
}  // namespace orv
