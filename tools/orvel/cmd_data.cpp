// orvel data: what a delimiter-separated data file holds (rows, columns,
// and with --describe each column's type, missing cells and, for numbers,
// mean and variance), and discretization of numeric columns.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli.h"

namespace cli {

namespace {

void print_message(size_t line, const char *message, void *data) {
  std::fprintf(stderr, "%s:%zu: %s\n", static_cast<const char *>(data), line, message);
}

struct DataFile {
  orv_data_set_t ds = nullptr;
  ~DataFile() { orv_ds_delete(ds); }
};

// A column by name, or by index when no column has that name.
std::size_t find_column(orv_data_set_t ds, const std::string &name) {
  const std::size_t columns = orv_ds_get_number_of_columns(ds);
  for (std::size_t c = 0; c < columns; ++c)
    if (name == orv_ds_get_column_name(ds, c)) return c;
  char *end = nullptr;
  const unsigned long index = std::strtoul(name.c_str(), &end, 10);
  if (!name.empty() && *end == '\0' && index < columns) return index;
  usage_error("no column named '" + name + "'");
}

const char *column_type(orv_data_set_t ds, std::size_t c) {
  if (orv_ds_column_is_empty(ds, c) == 1) return "empty";
  if (orv_ds_column_data_are_numbers(ds, c) == 1) return "number";
  if (orv_ds_column_data_are_intervals(ds, c) == 1) return "interval";
  return "text";
}

void describe(std::FILE *out, orv_data_set_t ds) {
  const std::size_t columns = orv_ds_get_number_of_columns(ds);
  for (std::size_t c = 0; c < columns; ++c) {
    const char *type = column_type(ds, c);
    std::fprintf(out, "  %s: %s, %zu missing", orv_ds_get_column_name(ds, c), type, orv_ds_count_data(ds, c, nullptr));
    if (std::string(type) == "number") {
      std::fprintf(out, ", mean %.10g", orv_ds_compute_mean(ds, c));
      const double variance = orv_ds_compute_variance(ds, c);
      if (orv_error_code() == orv_error_none) std::fprintf(out, ", variance %.10g", variance);
    } else {
      const char **values = orv_ds_get_distinct_values(ds, c);
      std::size_t n = 0;
      while (values && values[n]) ++n;
      std::fprintf(out, ", %zu distinct", n);
    }
    std::fprintf(out, "\n");
  }
}

// "COL:N" into the column and the number of intervals.
std::pair<std::size_t, std::size_t> discretize_spec(orv_data_set_t ds, const std::string &text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) usage_error("--discretize needs COL:N, not '" + text + "'");
  char *end = nullptr;
  const std::string count = text.substr(colon + 1);
  const unsigned long n = std::strtoul(count.c_str(), &end, 10);
  if (count.empty() || *end != '\0' || n == 0) usage_error("--discretize needs a number of intervals of at least 1");
  return {find_column(ds, text.substr(0, colon)), n};
}

}  // namespace

int run_data(Args &args) {
  std::vector<std::string> paths, discretize;
  std::string output;
  bool show = false, equal_frequency = false;
  int delimiter = ',';
  while (!args.done()) {
    if (args.option("--help", "-h")) {
      std::fputs("usage: orvel data FILE.csv [--describe] [--discretize COL:N]... [--equal-frequency]\n"
                 "                  [--delimiter C] [-o OUT.csv]\n"
                 "Reads a delimiter-separated data file (first row: column names) and prints\n"
                 "its numbers of rows and columns; --describe adds each column's type\n"
                 "(number, interval, text, empty), missing cells, and mean and sample\n"
                 "variance of number columns. --discretize replaces the numbers of column COL\n"
                 "(a name or an index) by labels of N equal-width intervals (equal-frequency\n"
                 "with --equal-frequency) and writes the data to OUT.csv or stdout.\n",
                 stdout);
      return kExitOk;
    }
    if (args.option("--describe")) show = true;
    else if (args.option("--discretize")) discretize.push_back(args.value("--discretize"));
    else if (args.option("--equal-frequency")) equal_frequency = true;
    else if (args.option("--output", "-o")) output = args.value("-o");
    else if (args.option("--delimiter")) {
      const std::string d = args.value("--delimiter");
      delimiter = d == "\\t" || d == "tab" ? '\t' : d.size() == 1 ? static_cast<unsigned char>(d[0]) : -1;
      if (delimiter < 0) usage_error("--delimiter needs one character");
    } else paths.push_back(*args.positional());
  }
  if (paths.size() != 1) usage_error("expected one data file (try --help)");
  DataFile data;
  data.ds = _orv_parse_data_set(1, paths[0].c_str(), delimiter, print_message, const_cast<char *>(paths[0].c_str()));
  if (!data.ds) check_engine("cannot read '" + paths[0] + "'");
  orv_data_set_t ds = data.ds;
  for (const std::string &spec : discretize) {
    const auto [column, count] = discretize_spec(ds, spec);
    size_t intervals = 0;
    const orv_discretization_t method =
        equal_frequency ? orv_discretization_equal_frequency : orv_discretization_equal_width;
    double *bounds = orv_ds_discretize_column(ds, column, method, count, &intervals);
    if (!bounds) check_engine("cannot discretize column '" + std::string(orv_ds_get_column_name(ds, column)) + "'");
    const orv_status_t status = orv_ds_apply_discretization(ds, column, bounds, intervals);
    std::free(bounds);
    if (status != orv_error_none) check_engine("cannot discretize");
  }
  // The data itself may go to stdout; the report then goes to stderr.
  std::FILE *report = discretize.empty() || !output.empty() ? stdout : stderr;
  std::fprintf(report, "%s: %zu rows, %zu columns\n", paths[0].c_str(), orv_ds_get_number_of_rows(ds),
               orv_ds_get_number_of_columns(ds));
  if (show) describe(report, ds);
  if (discretize.empty()) return kExitOk;
  if (!output.empty()) {
    if (orv_ds_save(ds, output.c_str(), delimiter) != orv_error_none) check_engine("cannot write '" + output + "'");
    return kExitOk;
  }
  char *text = orv_ds_to_csv_string(ds, delimiter);
  if (!text) check_engine("cannot write the data");
  std::fputs(text, stdout);
  std::free(text);
  return kExitOk;
}

}  // namespace cli
