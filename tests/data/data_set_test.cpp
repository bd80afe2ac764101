// The data-set store through the public API: argument checks, row and column
// operations, cell queries, the stable sorts; and delimiter-separated text: every
// reader message with its location, the field rules, write -> read as a fixed
// point, files, and allocation failure anywhere in the reader.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "data/data_set_support.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/net_compare.h"

namespace orv::test {
namespace {

TEST(DataSet, BadHandlesAndIndexesGiveUsageAndChangeNothing) {
  DataSet d({"x", "y"}, {{"1", "a"}, {"2", M}});
  orv_domain_t domain = orv_new_domain();
  auto bad = reinterpret_cast<orv_data_set_t>(domain);  // a handle of another kind
  const Rows before = d.rows();
  const size_t kNo = static_cast<size_t>(-1);
  size_t n = 0;
  const double empty_interval[] = {0, 0}, above_cells[] = {1.5, 9};  // the cell 1 lies below 1.5
  std::vector<UsageCall> calls = {
      {"delete", [&] { return orv_ds_delete(bad) == orv_error_usage; }},
      {"new_row", [&] { return orv_ds_new_row(nullptr) == kNo; }},
      {"new_column", [&] { return orv_ds_new_column(d.ds, nullptr) == kNo; }},
      {"delete_row", [&] { return orv_ds_delete_row(d.ds, 2) == orv_error_usage; }},
      {"delete_column", [&] { return orv_ds_delete_column(d.ds, 2) == orv_error_usage; }},
      {"move_row", [&] { return orv_ds_move_row(d.ds, 0, 2) == orv_error_usage; }},
      {"move_column", [&] { return orv_ds_move_column(d.ds, 2, 0) == orv_error_usage; }},
      {"copy_column", [&] { return orv_ds_copy_column(d.ds, 2, "z") == kNo; }},
      {"set_name", [&] { return orv_ds_set_column_name(d.ds, 0, nullptr) == orv_error_usage; }},
      {"get_name", [&] { return orv_ds_get_column_name(d.ds, 2) == nullptr; }},
      {"rows", [&] { return orv_ds_get_number_of_rows(bad) == kNo; }},
      {"columns", [&] { return orv_ds_get_number_of_columns(nullptr) == kNo; }},
      {"set_item", [&] { return orv_ds_set_data_item(bad, 0, 0, "v") == orv_error_usage; }},
      {"get_item", [&] { return orv_ds_get_data_item(d.ds, 2, 0) == nullptr; }},
      {"numbers", [&] { return orv_ds_get_numbers(d.ds, 2, 0) == nullptr; }},
      {"distinct", [&] { return orv_ds_get_distinct_values(d.ds, 2) == nullptr; }},
      {"count", [&] { return orv_ds_count_data(d.ds, 2, "a") == kNo; }},
      {"find", [&] { return orv_ds_find_row(d.ds, 0, "1", 3) == kNo; }},
      {"replace", [&] { return orv_ds_replace_values(d.ds, 2, "a", "b") == kNo; }},
      {"shift", [&] { return orv_ds_shift_column_data(d.ds, 2, 1) == orv_error_usage; }},
      {"is_empty", [&] { return orv_ds_column_is_empty(d.ds, 2) == -1; }},
      {"are_numbers", [&] { return orv_ds_column_data_are_numbers(bad, 0) == -1; }},
      {"are_intervals", [&] { return orv_ds_column_data_are_intervals(d.ds, 2) == -1; }},
      {"sort", [&] { return orv_ds_sort_rows(d.ds, 0, 2) == orv_error_usage; }},
      {"sort_numbers", [&] { return orv_ds_sort_rows_numerically(d.ds, 2, 1) == orv_error_usage; }},
      {"mean", [&] { return orv_ds_compute_mean(d.ds, 1) == -1.0; }},  // "a" is no number
      {"variance", [&] { return orv_ds_compute_variance(d.ds, 2) == -1.0; }},
      {"skewness", [&] { return orv_ds_compute_skewness(bad, 0) == -1.0; }},
      {"kurtosis", [&] { return orv_ds_compute_kurtosis(d.ds, 2) == -1.0; }},
      {"mae", [&] { return orv_ds_compute_mean_absolute_error(d.ds, 0, 2) == -1.0; }},
      {"mape", [&] { return orv_ds_compute_mean_absolute_percentage_error(d.ds, 2, 0) == -1.0; }},
      {"mase", [&] { return orv_ds_compute_mean_absolute_scaled_error(d.ds, 0, 0, 0) == -1.0; }},
      {"discretize", [&] { return orv_ds_discretize_column(d.ds, 0, orv_discretization_equal_width, 0, &n) == nullptr; }},
      {"method", [&] { return orv_ds_discretize_column(d.ds, 0, static_cast<orv_discretization_t>(2), 2, &n) == nullptr; }},
      {"iem", [&] { return orv_ds_compute_iem_intervals(d.ds, 0, 0, &n) == nullptr; }},
      {"apply", [&] { return orv_ds_apply_discretization(d.ds, 0, empty_interval, 1) == orv_error_usage; }},
      {"apply_range", [&] { return orv_ds_apply_discretization(d.ds, 0, above_cells, 1) == orv_error_usage; }},
      {"save", [&] { return orv_ds_save(d.ds, "/tmp/x.csv", '"') == orv_error_usage; }},
      {"to_string", [&] { return orv_ds_to_csv_string(d.ds, '\n') == nullptr; }},
      {"add_cases", [&] { return orv_domain_add_cases(domain, d.ds, 1, 2) == orv_error_usage; }},
  };
  expect_usage_calls(calls, [&] { return orv_ds_get_number_of_rows(d.ds) == 2; });
  EXPECT_EQ(d.rows(), before);
  EXPECT_EQ(d.names(), (std::vector<std::string>{"x", "y"}));
  orv_domain_delete(domain);
}

TEST(DataSet, RowAndColumnOperationsKeepCellsInPlace) {
  DataSet d({"a", "b"}, {{"1", "x"}, {"2", ""}, {"3", M}});
  // Missing and empty stay apart; setting beyond the edge grows both ways.
  EXPECT_RESULT(orv_ds_get_data_item(d.ds, 2, 1), nullptr, orv_error_none);
  EXPECT_STREQ(orv_ds_get_data_item(d.ds, 1, 1), "");
  ASSERT_EQ(orv_ds_set_data_item(d.ds, 4, 2, "far"), orv_error_none);
  EXPECT_EQ(d.names(), (std::vector<std::string>{"a", "b", ""}));
  EXPECT_EQ(d.rows(), (Rows{{"1", "x", M}, {"2", "", M}, {"3", M, M}, {M, M, M}, {M, M, "far"}}));

  EXPECT_EQ(orv_ds_move_row(d.ds, 4, 0), orv_error_none);
  EXPECT_EQ(orv_ds_move_column(d.ds, 0, 2), orv_error_none);
  EXPECT_EQ(orv_ds_delete_row(d.ds, 4), orv_error_none);
  EXPECT_EQ(d.names(), (std::vector<std::string>{"b", "", "a"}));
  EXPECT_EQ(d.rows(), (Rows{{M, "far", M}, {"x", M, "1"}, {"", M, "2"}, {M, M, "3"}}));
  EXPECT_EQ(orv_ds_copy_column(d.ds, 2, nullptr), 3u);
  EXPECT_EQ(orv_ds_delete_column(d.ds, 0), orv_error_none);
  EXPECT_EQ(orv_ds_set_column_name(d.ds, 0, "c"), orv_error_none);
  EXPECT_EQ(d.names(), (std::vector<std::string>{"c", "a", "a"}));
  EXPECT_EQ(d.column(2), d.column(1));

  // Shifts drop what passes an end and leave missing cells behind.
  EXPECT_EQ(orv_ds_shift_column_data(d.ds, 1, 1), orv_error_none);
  EXPECT_EQ(d.column(1), (std::vector<Cell>{M, M, "1", "2"}));
  EXPECT_EQ(orv_ds_shift_column_data(d.ds, 1, -3), orv_error_none);
  EXPECT_EQ(d.column(1), (std::vector<Cell>{"2", M, M, M}));
  EXPECT_EQ(orv_ds_shift_column_data(d.ds, 2, -100), orv_error_none);
  EXPECT_EQ(orv_ds_column_is_empty(d.ds, 2), 1);
  EXPECT_EQ(orv_ds_column_is_empty(d.ds, 1), 0);
}

TEST(DataSet, CellQueriesTellMissingFromEmptyAndReadNumbersInCLocale) {
  DataSet d({"v"}, {{"b"}, {M}, {""}, {"a"}, {"b"}, {" 2.5e1 "}, {"1,5"}, {"+3"}, {"inf"}});
  EXPECT_EQ(orv_ds_count_data(d.ds, 0, "b"), 2u);
  EXPECT_EQ(orv_ds_count_data(d.ds, 0, nullptr), 1u);
  EXPECT_EQ(orv_ds_count_data(d.ds, 0, ""), 1u);
  EXPECT_EQ(orv_ds_find_row(d.ds, 0, "b", 1), 4u);
  EXPECT_EQ(orv_ds_find_row(d.ds, 0, nullptr, 0), 1u);
  EXPECT_RESULT(orv_ds_find_row(d.ds, 0, "zz", 0), static_cast<size_t>(-1), orv_error_none);
  const char **distinct = orv_ds_get_distinct_values(d.ds, 0);
  ASSERT_NE(distinct, nullptr);
  std::vector<std::string> values;
  for (; *distinct; ++distinct) values.push_back(*distinct);
  EXPECT_EQ(values, (std::vector<std::string>{"", " 2.5e1 ", "+3", "1,5", "a", "b", "inf"}));
  double *x = orv_ds_get_numbers(d.ds, 0, -7);
  ASSERT_NE(x, nullptr);
  const std::vector<double> got(x, x + 9);
  std::free(x);
  EXPECT_EQ(got, (std::vector<double>{-7, -7, -7, -7, -7, 25, -7, 3, -7}));
  EXPECT_EQ(orv_ds_column_data_are_numbers(d.ds, 0), 0);
  EXPECT_EQ(orv_ds_replace_values(d.ds, 0, "b", nullptr), 2u);
  EXPECT_EQ(orv_ds_replace_values(d.ds, 0, nullptr, "1"), 3u);
  EXPECT_EQ(d.column(0), (std::vector<Cell>{"1", "1", "", "a", "1", " 2.5e1 ", "1,5", "+3", "inf"}));
  for (const char *cell : {"", "a", "1,5", "inf"}) orv_ds_replace_values(d.ds, 0, cell, nullptr);
  EXPECT_EQ(orv_ds_column_data_are_numbers(d.ds, 0), 1);
  EXPECT_EQ(orv_ds_column_data_are_intervals(d.ds, 0), 0);
}

TEST(DataSet, SortsAreStableAndPutCellsWithoutKeysLast) {
  const Rows rows = {{"10", "a"}, {M, "b"}, {"9", "c"}, {"x", "d"}, {"10", "e"}, {"-1.5", "f"}};
  struct Case {
    bool numeric;
    int ascending;
    std::vector<Cell> order;
  } cases[] = {
      {false, 1, {"f", "a", "e", "c", "d", "b"}},  // "-1.5" < "10" < "9" < "x" bytewise
      {false, 0, {"d", "c", "a", "e", "f", "b"}},
      {true, 1, {"f", "c", "a", "e", "b", "d"}},  // "x" has no number either
      {true, 0, {"a", "e", "c", "f", "b", "d"}},
  };
  for (const Case &c : cases) {
    DataSet d({"k", "tag"}, rows);
    const orv_status_t status = c.numeric ? orv_ds_sort_rows_numerically(d.ds, 0, c.ascending)
                                          : orv_ds_sort_rows(d.ds, 0, c.ascending);
    ASSERT_EQ(status, orv_error_none);
    EXPECT_EQ(d.column(1), c.order) << c.numeric << c.ascending;
  }
}

TEST(DataSet, FailedAllocationsLeaveTheDataSetAsItWas) {
  DataSet d({"a"}, {{"1"}, {"2"}});
  const Rows before = d.rows();
  expect_no_memory_sweep(
      "set far item", [&] { return orv_ds_set_data_item(d.ds, 5, 3, "new text"); },
      [&] {
        EXPECT_EQ(d.rows(), before);
        EXPECT_EQ(orv_ds_get_number_of_columns(d.ds), 1u);
      });
  EXPECT_EQ(orv_ds_get_number_of_rows(d.ds), 6u);
  const Rows grown = d.rows();
  expect_no_memory_sweep(
      "sort", [&] { return orv_ds_sort_rows_numerically(d.ds, 0, 0); }, [&] { EXPECT_EQ(d.rows(), grown); });
  EXPECT_EQ(d.column(0)[0], Cell("2"));
}

TEST(CsvReader, EveryMessageAtItsLocation) {
  struct Case {
    std::string text;
    std::string message;
    size_t offset;  // in text
    size_t line;    // in a file
  } cases[] = {
      {"\n \n", "empty file", 3, 3},
      {"a,,b\n", "missing field in header", 0, 1},
      {"a,b\n\n1,2,3\n", "too many fields", 5, 3},
      {"a,b\n1,2", "unexpected end-of-file", 7, 2},
      {"a\n\"x\ny\"\n", "unexpected end-of-line", 4, 2},
      {"a\n \"x", "unexpected end-of-file", 5, 2},
      {"a,b\n\"x\" y,1\n", "unexpected character: `y'", 8, 2},
      {"a,b\nx\"y,1\n", "unexpected character: `\"'", 5, 2},
  };
  for (const Case &c : cases) {
    for (const bool file : {false, true}) {
      SCOPED_TRACE(c.text + (file ? " (file)" : ""));
      Messages m;
      const std::string path = file ? temp_file("messages.csv", c.text) : "";
      orv_data_set_t ds = _orv_parse_data_set(file, file ? path.c_str() : c.text.c_str(), ',', Messages::handler, &m);
      EXPECT_RESULT(ds, nullptr, orv_error_parse);
      ASSERT_EQ(m.items.size(), 1u);
      EXPECT_EQ(m.items[0].second, c.message);
      EXPECT_EQ(m.items[0].first, file ? c.line : c.offset);
      if (file) std::remove(path.c_str());
    }
  }
}

TEST(CsvReader, FieldRules) {
  struct Case {
    std::string text;
    int delimiter;
    std::vector<std::string> names;
    Rows rows;
  } cases[] = {
      {"a,b\n1,\"\"\n1,\n", ',', {"a", "b"}, {{"1", ""}, {"1", M}}},
      {"\n\n a , \"b\" \n\n1\n\n", ',', {"a", "b"}, {{"1", M}}},
      {"a,b,c\r\n\" x \",  y z  \r\n", ',', {"a", "b", "c"}, {{" x ", "y z", M}}},
      {"q\n\"say \"\"hi\"\"\"\n", ',', {"q"}, {{"say \"hi\""}}},
      {"a;b\n\"1;2\";3\n", ';', {"a", "b"}, {{"1;2", "3"}}},
      {"a\tb\n\t2\n", '\t', {"a", "b"}, {{M, "2"}}},
      {"\"\",x\n1,2\n", ',', {"", "x"}, {{"1", "2"}}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.text);
    DataSet d(orv_csv_parse_data_set(c.text.c_str(), c.delimiter, nullptr, nullptr));
    ASSERT_NE(d.ds, nullptr) << orv_error_code();
    EXPECT_EQ(d.names(), c.names);
    EXPECT_EQ(d.rows(), c.rows);
  }
  for (const int delimiter : {0, 256, int{'"'}, int{'\n'}, int{'\r'}, int{'\f'}})
    EXPECT_RESULT(orv_csv_parse_data_set("a\n", delimiter, nullptr, nullptr), nullptr, orv_error_usage);
  // A NUL byte in a file is dropped with a warning.
  const std::string path = temp_file("nul.csv", std::string("a,b\n1\0 2,x\n", 11));
  Messages m;
  DataSet d(orv_csv_parse_data_set(path.c_str(), ',', Messages::handler, &m));
  ASSERT_NE(d.ds, nullptr);
  EXPECT_EQ(d.rows(), (Rows{{"1 2", "x"}}));
  ASSERT_EQ(m.items.size(), 1u);
  EXPECT_EQ(m.items[0], std::make_pair(size_t{2}, std::string("warning: null character ignored")));
  std::remove(path.c_str());
  EXPECT_RESULT(orv_csv_parse_data_set("/nonexistent/x.csv", ',', nullptr, nullptr), nullptr, orv_error_io);
}

TEST(CsvWriter, WriteThenReadIsAFixedPoint) {
  DataSet d({"plain", "odd name", ""}, {{"", M, " lead"},
                                        {"trail ", "has \"quote\"", "a,b"},
                                        {M, M, M},
                                        {"1.5", "tab\there", "x"}});
  for (const int delimiter : {',', ';', '\t', ' '}) {
    SCOPED_TRACE(delimiter);
    const std::string first = take_text(orv_ds_to_csv_string(d.ds, delimiter));
    DataSet back(orv_csv_parse_data_set(first.c_str(), delimiter, nullptr, nullptr));
    ASSERT_NE(back.ds, nullptr) << first;
    EXPECT_EQ(back.names(), d.names());
    EXPECT_EQ(back.rows(), d.rows());
    EXPECT_EQ(take_text(orv_ds_to_csv_string(back.ds, delimiter)), first);
  }
  EXPECT_EQ(take_text(orv_ds_to_csv_string(d.ds, ',')),
            "plain,odd name,\"\"\n\"\",,\" lead\"\n\"trail \",\"has \"\"quote\"\"\",\"a,b\"\n,,\n1.5,tab\there,x\n");
  const std::string path = ::testing::TempDir() + "saved.csv";
  ASSERT_EQ(orv_ds_save(d.ds, path.c_str(), ';'), orv_error_none);
  EXPECT_EQ(read_file(path), take_text(orv_ds_to_csv_string(d.ds, ';')));  // the fixed point above
  std::remove(path.c_str());
  EXPECT_EQ(orv_ds_save(d.ds, "/nonexistent/dir/x.csv", ','), orv_error_io);
}

TEST(CsvReader, RunningOutOfMemoryAnywhereLeavesNothingBehind) {
  const std::string text = "a,b,c\n1,\"two \"\"2\"\"\",3\n,,\n4,5,\n";
  const std::string path = temp_file("oom.csv", text);
  for (const bool file : {false, true}) {
    SCOPED_TRACE(file);
    const auto run = expect_no_memory_sweep(
        "read", [&] { return _orv_parse_data_set(file, file ? path.c_str() : text.c_str(), ',', nullptr, nullptr); },
        [] {});
    DataSet d(run.result);
    EXPECT_EQ(d.rows(), (Rows{{"1", "two \"2\"", "3"}, {M, M, M}, {"4", "5", M}}));
  }
  std::remove(path.c_str());
}

}  // namespace
}  // namespace orv::test
