// Numbers and interval labels in cells.
#include "data/cell_values.h"

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>

#include "runtime/error.h"

namespace orv {

namespace {

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

// A finite number filling [first, last) exactly.
bool parse_span(const char *first, const char *last, double &value) {
  if (first < last && *first == '+') ++first;
  if (first == last || *first == '+') return false;
  // from_chars also takes "inf", "nan" and hexadecimal-free forms only.
  const auto [end, ec] = std::from_chars(first, last, value, std::chars_format::general);
  return ec == std::errc() && end == last && std::isfinite(value);
}

// The bound text "-inf"/"inf" or a number.
bool parse_bound(const char *first, const char *last, bool lower, double &value) {
  const std::size_t n = static_cast<std::size_t>(last - first);
  if (lower && n == 4 && std::memcmp(first, "-inf", 4) == 0) {
    value = -DBL_MAX;
    return true;
  }
  if (!lower && n == 3 && std::memcmp(first, "inf", 3) == 0) {
    value = DBL_MAX;
    return true;
  }
  return parse_span(first, last, value) && std::fabs(value) != DBL_MAX;
}

std::size_t write_bound(char *out, std::size_t room, double value) {
  if (value <= -DBL_MAX) {
    std::memcpy(out, "-inf", 4);
    return 4;
  }
  if (value >= DBL_MAX) {
    std::memcpy(out, "inf", 3);
    return 3;
  }
  const auto result = std::to_chars(out, out + room, value);
  return static_cast<std::size_t>(result.ptr - out);
}

}  // namespace

bool read_number(const char *text, double &value) {
  if (!text) return false;
  const char *first = text;
  const char *last = text + std::strlen(text);
  while (first < last && is_space(*first)) ++first;
  while (last > first && is_space(last[-1])) --last;
  return parse_span(first, last, value);
}

bool read_interval(const char *text, double &lower, double &upper) {
  if (!text) return false;
  const std::size_t n = std::strlen(text);
  if (n < 5 || (text[0] != '[' && text[0] != '(') || text[n - 1] != ')') return false;
  const char *semicolon = static_cast<const char *>(std::memchr(text, ';', n));
  if (!semicolon) return false;
  if (!parse_bound(text + 1, semicolon, true, lower) || !parse_bound(semicolon + 1, text + n - 1, false, upper))
    return false;
  // "(" exactly for the open lower end.
  if ((text[0] == '(') != (lower == -DBL_MAX)) return false;
  return lower < upper;
}

std::size_t write_interval(char *out, double lower, double upper) {
  std::size_t n = 0;
  out[n++] = lower <= -DBL_MAX ? '(' : '[';
  n += write_bound(out + n, 30, lower);
  out[n++] = ';';
  n += write_bound(out + n, 30, upper);
  out[n++] = ')';
  out[n] = '\0';
  return n;
}

Vector<double> column_numbers(const orv_data_set_s *ds, std::size_t column) {
  Vector<double> numbers;
  const DataColumn &c = ds->columns[column];
  numbers.reserve(ds->rows);
  for (const char *cell : c.cells) {
    if (!cell) continue;
    double value;
    if (!read_number(cell, value)) fail(orv_error_usage);
    numbers.push_back(value);
  }
  return numbers;
}

}  // namespace orv
