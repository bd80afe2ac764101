// Reading cells as numbers and as interval labels, and writing interval
// labels; locale-independent, so a host's decimal comma changes nothing.
#pragma once

#include <cstddef>

#include "data/data_set.h"

namespace orv {

// Whether text, surrounding white space aside, is one finite number in C
// syntax (optional sign, digits, point, exponent); sets value.
bool read_number(const char *text, double &value);

// Whether text is an interval label "[a;b)" ("(-inf;b)" and "[a;inf)" for
// the open ends, the infinite ends as -/+ the largest finite double).
bool read_interval(const char *text, double &lower, double &upper);

// The label of [lower, upper) in the form read_interval reads, numbers in
// their shortest exact form; returns its length (< kIntervalLabelSize).
constexpr std::size_t kIntervalLabelSize = 64;
std::size_t write_interval(char *out, double lower, double upper);

// The numbers of the present cells of a column (missing cells skipped);
// fails with usage when a present cell is not a number. Throws.
Vector<double> column_numbers(const orv_data_set_s *ds, std::size_t column);

}  // namespace orv
