// Delimiter-separated data-set text: every reader message with its
// location, the field rules, write -> read as a fixed point, files, and
// allocation failure anywhere in the reader.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "data/data_set_support.h"
#include "support/contract_sweep.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/net_compare.h"

namespace orv::test {
namespace {

const Cell M = std::nullopt;

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
  for (const int delimiter : {0, 256, int{'"'}, int{'\n'}, int{'\r'}, int{'\f'}}) {
    EXPECT_RESULT(orv_csv_parse_data_set("a\n", delimiter, nullptr, nullptr), nullptr, orv_error_usage);
  }
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
  DataSet from_file(orv_csv_parse_data_set(path.c_str(), ';', nullptr, nullptr));
  ASSERT_NE(from_file.ds, nullptr);
  EXPECT_EQ(from_file.rows(), d.rows());
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
